#pragma once

#include <QtGlobal>

class QDate;

// The dates a monthly or yearly walk visits, counted instead of stepped to. The
// walk moves `every` months at a time; by day it keeps its day of the month, cut
// to the month's last day where a month is shorter and kept so from then on; by
// weekday it takes the month's n-th such weekday, a missing fifth being the last.
class MonthlyPlan {
public:
    enum Kind { ByDay, ByWeekday };

    MonthlyPlan(Kind byWhat, qint64 months, int week, int dayOfWeek);

    // The date of the m-th occurrence after the one on x (m >= 0); invalid outside the
    // years 1 to 9999.
    QDate after(const QDate& x, qint64 m) const;
    // The largest m whose occurrence after the one on x lies on or before limit; 0 if none.
    qint64 countUpTo(const QDate& x, const QDate& limit) const;
    // The step from the occurrence on x that converts a time on day d: the occurrence
    // itself, or by weekday also the day it moves the month from; 0 if none.
    qint64 stepOn(const QDate& x, const QDate& d) const;
    // By weekday: the plan's n-th weekday in the month of `date`.
    QDate weekdayIn(const QDate& date) const;

private:
    static qint64 monthIndex(const QDate& date);
    static int daysInMonth(qint64 index);

    Kind kind;
    qint64 every;
    int weekOfMonth;
    int weekday;
};
