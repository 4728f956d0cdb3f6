#include "util.h"

#include <QDate>

int Util::whichDayOfWeekInMonthIsDate(const QDate& date) {
    // An invalid date has month 0, as has every step back from it: the walk would never end.
    if (!date.isValid()) {
        return 0;
    }
    int k = 1;
    QDate d = date;
    while (d.addDays(-7).month() == date.month()) {
        d = d.addDays(-7);
        ++k;
    }
    return k;
}

QDate Util::nthDayOfWeekInMonth(const QDate& date, int n, int dayOfWeek) {
    // No first day to start from, or a weekday the search would never meet.
    if (!date.isValid() || dayOfWeek < 1 || dayOfWeek > 7) {
        return QDate();
    }
    QDate x(date.year(), date.month(), 1);
    while (x.dayOfWeek() != dayOfWeek) {
        x = x.addDays(1);
    }
    x = x.addDays(qint64(n) * 7 - 7);
    // Once only: a missing fifth weekday becomes the fourth, the month's last.
    if (x.month() != date.month()) {
        x = x.addDays(-7);
    }
    return x;
}
