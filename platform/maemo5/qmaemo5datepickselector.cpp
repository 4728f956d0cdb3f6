#include "qmaemo5datepickselector.h"

#include <QCalendarWidget>
#include <QDialog>
#include <QLocale>
#include <QPushButton>

QMaemo5DatePickSelector::QMaemo5DatePickSelector(QObject* parent)
    : QMaemo5AbstractPickSelector(parent) {}

void QMaemo5DatePickSelector::setCurrentDate(const QDate& newDate) {
    if (date == newDate) {
        return;
    }
    date = newDate;
    Q_EMIT selected(currentValueText());
}

QString QMaemo5DatePickSelector::currentValueText() const {
    return QLocale::system().toString(date, QLocale::ShortFormat);
}

QWidget* QMaemo5DatePickSelector::widget(QWidget* parent) {
    auto* calendar = new QCalendarWidget;
    calendar->setObjectName(QStringLiteral("calendar"));
    calendar->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
    calendar->setSelectedDate(date.isValid() ? date : QDate::currentDate());

    QPushButton* done = nullptr;
    QDialog* dialog = pickerDialog(parent, calendar, &done);
    auto choose = [this, calendar, dialog] {
        date = calendar->selectedDate();
        Q_EMIT selected(currentValueText());
        dialog->accept();
    };
    connect(done, &QPushButton::clicked, dialog, choose);
    // A double tap on a day chooses it at once, as on the handheld.
    connect(calendar, &QCalendarWidget::activated, dialog, choose);
    return dialog;
}
