#include "monthlyplan.h"

#include <QDate>

#include "util.h"

namespace {

// The calendar repeats every 400 years: a walk meets every month length it ever
// will within that many of its steps.
constexpr qint64 kCycleMonths = 4800;
constexpr qint64 kFirstIndex = 12;        // January of the year 1
constexpr qint64 kLastIndex = 12 * 10000; // January of the year 10000

} // namespace

MonthlyPlan::MonthlyPlan(Kind byWhat, qint64 months, int week, int dayOfWeek)
    : kind(byWhat)
    , every(months)
    , weekOfMonth(week)
    , weekday(dayOfWeek) {}

qint64 MonthlyPlan::monthIndex(const QDate& date) {
    return qint64(date.year()) * 12 + date.month() - 1;
}

int MonthlyPlan::daysInMonth(qint64 index) {
    return QDate(int(index / 12), int(index % 12) + 1, 1).daysInMonth();
}

QDate MonthlyPlan::weekdayIn(const QDate& date) const {
    return Util::nthDayOfWeekInMonth(date, weekOfMonth, weekday);
}

QDate MonthlyPlan::after(const QDate& x, qint64 m) const {
    const qint64 first = monthIndex(x);
    if (!x.isValid() || m < 0 || first < kFirstIndex || m > (kLastIndex - first) / every) {
        return QDate();
    }
    const qint64 index = first + m * every;
    if (index >= kLastIndex) {
        return QDate();
    }
    const QDate month(int(index / 12), int(index % 12) + 1, 1);
    if (kind == ByWeekday) {
        return m == 0 ? x : weekdayIn(month);
    }
    int day = x.day();
    for (qint64 i = 1; i <= qMin(m, kCycleMonths) && day > 28; ++i) {
        day = qMin(day, daysInMonth(first + i * every));
    }
    return QDate(month.year(), month.month(), day);
}

qint64 MonthlyPlan::countUpTo(const QDate& x, const QDate& limit) const {
    if (!x.isValid() || !limit.isValid() || limit < x) {
        return 0;
    }
    qint64 m = (monthIndex(limit) - monthIndex(x)) / every;
    while (m > 0) {
        const QDate date = after(x, m);
        if (date.isValid() && !(limit < date)) {
            return m;
        }
        --m;
    }
    return 0;
}

qint64 MonthlyPlan::stepOn(const QDate& x, const QDate& d) const {
    const qint64 months = monthIndex(d) - monthIndex(x);
    if (months <= 0 || months % every != 0) {
        return 0;
    }
    const qint64 step = months / every;
    if (after(x, step) == d) {
        return step;
    }
    if (kind == ByWeekday) {
        const QDate previous = after(x, step - 1);
        if (previous.isValid() && d.day() == qMin(previous.day(), d.daysInMonth())) {
            return step;
        }
    }
    return 0;
}
