#include "weeklyplan.h"

#include <QDateTime>
#include <QtNumeric>

#include <algorithm>

WeeklyPlan::WeeklyPlan(const QList<int>& weekdays, qint64 weeks)
    : every(weeks) {
    for (int day = 1; day <= 7; ++day) {
        if (weekdays.contains(day)) {
            days.append(day);
        }
    }
}

QDate WeeklyPlan::after(const QDate& x, qint64 m) const {
    if (m <= 0) {
        return x;
    }
    const int weekday = x.dayOfWeek();
    const QDate monday = x.addDays(1 - weekday);
    const qint64 count = days.size();
    const qint64 restOfWeek =
        std::count_if(days.cbegin(), days.cend(), [weekday](int day) { return day > weekday; });
    if (m <= restOfWeek) {
        return monday.addDays(days.at(int(count - restOfWeek + m - 1)) - 1);
    }
    const qint64 later = m - restOfWeek - 1;
    qint64 offset = 0;
    if (qMulOverflow(7 * every, 1 + later / count, &offset)) {
        return QDate();
    }
    return monday.addDays(offset + days.at(int(later % count)) - 1);
}

qint64 WeeklyPlan::countBefore(const QDate& x, const QDate& limit) const {
    if (!(x < limit)) {
        return 0;
    }
    qint64 low = 0;
    qint64 high = days.size() * (x.daysTo(limit) / (7 * every) + 2);
    while (high - low > 1) {
        const qint64 middle = low + (high - low) / 2;
        const QDate date = after(x, middle);
        if (date.isValid() && date < limit) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return low;
}

bool WeeklyPlan::visits(const QDate& x, const QDate& d) const {
    const QDate monday = x.addDays(1 - x.dayOfWeek());
    const qint64 rel = monday.daysTo(d);
    if (!(x < d)) {
        return false;
    }
    const qint64 week = rel / 7;
    return week % every == 0 || (every > 1 && week % every == 1 && rel % 7 == 0);
}

QDateTime WeeklyPlan::step(QDateTime cur) const {
    do {
        const QDateTime next = cur.addDays(1);
        if (!next.date().isValid()) {
            return QDateTime();
        }
        cur = next.date().dayOfWeek() == 1 ? next.addDays(7 * every - 7) : next;
    } while (!contains(cur.date().dayOfWeek()));
    return cur;
}
