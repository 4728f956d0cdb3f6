#include "qmaemo5timepickselector.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>

namespace {

// One column of the picker: the numbers 0 .. count-1 with two digits, the
// current one selected and scrolled to the middle.
QListWidget* column(const QString& name, const QString& spoken, int count, int current) {
    auto* list = new QListWidget;
    list->setObjectName(name);
    list->setAccessibleName(spoken);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setUniformItemSizes(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setFixedWidth(120);
    list->setMinimumHeight(5 * 56);
    for (int i = 0; i < count; ++i) {
        auto* item = new QListWidgetItem(QStringLiteral("%1").arg(i, 2, 10, QLatin1Char('0')));
        item->setTextAlignment(Qt::AlignCenter);
        item->setSizeHint(QSize(100, 56));
        list->addItem(item);
    }
    list->setCurrentRow(current);
    // Centring needs the list's final height, known once the dialog is laid out.
    QTimer::singleShot(0, list, [list] {
        list->scrollToItem(list->currentItem(), QAbstractItemView::PositionAtCenter);
    });
    return list;
}

} // namespace

QMaemo5TimePickSelector::QMaemo5TimePickSelector(QObject* parent)
    : QMaemo5AbstractPickSelector(parent) {}

void QMaemo5TimePickSelector::setCurrentTime(const QTime& newTime) {
    const QTime minute = newTime.isValid() ? QTime(newTime.hour(), newTime.minute()) : QTime();
    if (time == minute) {
        return;
    }
    time = minute;
    Q_EMIT selected(currentValueText());
}

QString QMaemo5TimePickSelector::currentValueText() const {
    return time.toString(QStringLiteral("HH:mm"));
}

QWidget* QMaemo5TimePickSelector::widget(QWidget* parent) {
    const QTime shown = time.isValid() ? time : QTime::currentTime();
    auto* content = new QWidget;
    auto* layout = new QHBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addStretch();
    QListWidget* hours = column(QStringLiteral("hourList"), tr("Hours"), 24, shown.hour());
    QListWidget* minutes = column(QStringLiteral("minuteList"), tr("Minutes"), 60, shown.minute());
    layout->addWidget(hours);
    layout->addWidget(new QLabel(QStringLiteral(":")));
    layout->addWidget(minutes);
    layout->addStretch();

    QPushButton* done = nullptr;
    QDialog* dialog = pickerDialog(parent, content, &done);
    connect(done, &QPushButton::clicked, dialog, [this, hours, minutes, dialog] {
        time = QTime(qMax(hours->currentRow(), 0), qMax(minutes->currentRow(), 0));
        Q_EMIT selected(currentValueText());
        dialog->accept();
    });
    return dialog;
}
