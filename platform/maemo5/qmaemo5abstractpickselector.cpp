#include "qmaemo5abstractpickselector.h"

#include <QAbstractButton>
#include <QDialog>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

QMaemo5AbstractPickSelector::QMaemo5AbstractPickSelector(QObject* parent)
    : QObject(parent) {}

QMaemo5AbstractPickSelector::~QMaemo5AbstractPickSelector() = default;

QDialog* QMaemo5AbstractPickSelector::pickerDialog(QWidget* parent, QWidget* content,
                                                   QPushButton** done) {
    auto* dialog = new QDialog(parent);
    dialog->setObjectName(QStringLiteral("maemo5Picker"));
    dialog->setModal(true);
    // Set off from the window below, also where no window manager draws a frame.
    const QColor window = dialog->palette().color(QPalette::Window);
    const QColor ground = window.lightness() < 128 ? window.lighter(240) : window.darker(108);
    dialog->setStyleSheet(
        QStringLiteral("QDialog#maemo5Picker {background-color: %1; border: 1px solid %2;}")
            .arg(ground.name(), dialog->palette().color(QPalette::Mid).name()));
    QString title;
    if (auto* button = qobject_cast<QAbstractButton*>(parent)) {
        title = button->text();
        if (title.endsWith(QLatin1Char(':'))) {
            title.chop(1);
        }
    }
    dialog->setWindowTitle(title);

    auto* layout = new QHBoxLayout(dialog);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(24);
    layout->addWidget(content, 1);

    auto* side = new QVBoxLayout;
    side->addStretch();
    auto* button = new QPushButton(tr("Done"));
    button->setObjectName(QStringLiteral("doneButton"));
    button->setMinimumSize(160, 70);
    button->setDefault(true);
    side->addWidget(button);
    layout->addLayout(side);

    *done = button;
    return dialog;
}
