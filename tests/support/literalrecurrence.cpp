#include "literalrecurrence.h"

#include <QtNumeric>

#include <limits>

#include "repetitionrule.h"
#include "util.h"

namespace {

// Occurrences in a row that are invalid moments after which a walk counts as stuck.
constexpr int kInvalidRunLimit = 100;

qint64 stepCount = 0;

// Qt takes the offset of a repeated wall-clock hour from its last local
// conversion; converting the day before first makes it the earlier moment.
QDateTime local(const QDate& date, const QTime& time) {
    if (date.isValid()) {
        const QDateTime dayBefore(date.addDays(-1), time);
        Q_UNUSED(dayBefore);
    }
    return QDateTime(date, time, Qt::LocalTime);
}

QDateTime startOf(const RepetitionRule& rule) {
    return local(rule.date(), rule.time());
}

bool sameMoment(const QDateTime& a, const QDateTime& b) {
    return b.isNull() || (a == b && a.date() == b.date() && a.time() == b.time());
}

bool hasValidWeekday(const RepetitionRule& rule) {
    for (int day : rule.weeklyRepeatDays()) {
        if (day >= 1 && day <= 7) {
            return true;
        }
    }
    return false;
}

// Where the walk cannot advance at all, the start is its only occurrence.
bool cannotAdvance(const RepetitionRule& rule) {
    const int every = rule.repeatIntervalNumber();
    switch (rule.repeatIntervalType()) {
    case IntervalMinutes:
    case IntervalHours:
    case IntervalDays:
        return every < 0 || !rule.date().isValid();
    case IntervalWeeks:
        return every < 1 || !rule.date().isValid() || !hasValidWeekday(rule);
    case IntervalMonths:
    case IntervalYears:
        return every < 1 || !rule.date().isValid();
    }
    return false;
}

QDateTime weeklyStep(const RepetitionRule& rule, QDateTime cur) {
    const qint64 every = rule.repeatIntervalNumber();
    const QList<int> days = rule.weeklyRepeatDays();
    ++stepCount;
    cur = cur.addDays(1);
    if (!cur.date().isValid()) {
        return QDateTime();
    }
    if (cur.date().dayOfWeek() == 1) {
        cur = cur.addDays(every * 7 - 7);
    }
    while (!days.contains(cur.date().dayOfWeek())) {
        ++stepCount;
        cur = cur.addDays(1);
        if (!cur.date().isValid()) {
            return QDateTime();
        }
        if (cur.date().dayOfWeek() == 1) {
            cur = cur.addDays(every * 7 - 7);
        }
    }
    return cur;
}

// while cur is not later than from: cur = step(cur), stopping where the walk stops moving.
template <typename Step> bool catchUp(QDateTime& cur, const QDateTime& from, Step step) {
    int invalidRun = cur.isValid() ? 0 : 1;
    QDateTime runStart = cur;
    while (!(from < cur)) {
        ++stepCount;
        const QDateTime next = step(cur);
        if (sameMoment(cur, next)) {
            return false;
        }
        if (next.isValid()) {
            invalidRun = 0;
        } else {
            if (invalidRun == 0) {
                runStart = next;
            }
            if (++invalidRun >= kInvalidRunLimit) {
                cur = runStart;
                return false;
            }
        }
        cur = next;
    }
    return true;
}

bool fitsInt(qint64 value) {
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

} // namespace

namespace LiteralRecurrence {

qint64 steps() {
    return stepCount;
}

QDateTime nthRepetitionFromDateTime(const RepetitionRule& rule, const QDateTime& from, int n) {
    if (rule.repetition() == RepeatNever) {
        return QDateTime();
    }
    const QDateTime start = startOf(rule);
    QDateTime cur = start;
    if (n < 1) {
        return start;
    }
    if (cannotAdvance(rule)) {
        return start;
    }
    const qint64 every = rule.repeatIntervalNumber();
    const qint64 more = qint64(n) - 1;
    switch (rule.repeatIntervalType()) {
    case IntervalMinutes:
    case IntervalHours:
    case IntervalDays: {
        const qint64 unit = rule.repeatIntervalType() == IntervalMinutes ? 60
                            : rule.repeatIntervalType() == IntervalHours ? 3600
                                                                         : 86400;
        const qint64 s = every * unit;
        if (s == 0) {
            return start;
        }
        if (!catchUp(cur, from, [s](const QDateTime& c) { return c.addSecs(s); })) {
            return cur;
        }
        if (rule.repeatIntervalType() == IntervalDays) {
            return cur.addDays(every * more);
        }
        qint64 seconds = 0;
        if (qMulOverflow(more, every * unit, &seconds)) {
            return QDateTime();
        }
        return cur.addSecs(seconds);
    }
    case IntervalYears:
        if (!catchUp(cur, from, [every](const QDateTime& c) { return c.addYears(int(every)); })) {
            return cur;
        }
        return fitsInt(every * more) ? cur.addYears(int(every * more)) : QDateTime();
    case IntervalMonths:
        if (rule.monthlyRepeatType() == MonthlyByDayOfMonth) {
            if (!catchUp(cur, from,
                         [every](const QDateTime& c) { return c.addMonths(int(every)); })) {
                return cur;
            }
            return fitsInt(every * more) ? cur.addMonths(int(every * more)) : QDateTime();
        }
        if (rule.monthlyRepeatType() == MonthlyByDayOfWeek) {
            const int k = Util::whichDayOfWeekInMonthIsDate(rule.date());
            const int w = rule.date().dayOfWeek();
            const QTime time = rule.time();
            if (!catchUp(cur, from, [&](const QDateTime& c) {
                    const QDateTime m = c.addMonths(int(every));
                    return QDateTime(Util::nthDayOfWeekInMonth(m.date(), k, w), time);
                })) {
                return cur;
            }
            if (!fitsInt(every * more)) {
                return QDateTime();
            }
            const QDateTime m = cur.addMonths(int(every * more));
            return QDateTime(Util::nthDayOfWeekInMonth(m.date(), k, w), time);
        }
        return start;
    case IntervalWeeks:
        if (!catchUp(cur, from, [&rule](const QDateTime& c) { return weeklyStep(rule, c); })) {
            return cur;
        }
        for (qint64 i = 0; i < more; ++i) {
            const QDateTime next = weeklyStep(rule, cur);
            if (sameMoment(cur, next)) {
                return QDateTime();
            }
            cur = next;
        }
        return cur;
    }
    return start;
}

QDateTime nthRepetition(const RepetitionRule& rule, int n) {
    return nthRepetitionFromDateTime(rule, startOf(rule), n);
}

QDateTime calculateEndDateTime(const RepetitionRule& rule) {
    if (rule.isCountdown()) {
        return QDateTime();
    }
    if (rule.repetition() == RepeatUntilDate) {
        return local(rule.repetitionStopDate(), rule.time());
    }
    // "Forever" by weeks, months or years has no end: the latest moment there is.
    if (rule.repetition() == RepeatForever && (rule.repeatIntervalType() == IntervalWeeks ||
                                               rule.repeatIntervalType() == IntervalMonths ||
                                               rule.repeatIntervalType() == IntervalYears)) {
        return QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max(), Qt::UTC);
    }
    const QDateTime start = startOf(rule);
    if (rule.repetition() != RepeatXTimes) {
        return start;
    }
    if (cannotAdvance(rule)) {
        return start;
    }
    const qint64 c = rule.repetitionStopNumber();
    const qint64 every = rule.repeatIntervalNumber();
    qint64 amount = 0;
    switch (rule.repeatIntervalType()) {
    case IntervalMinutes:
        if (qMulOverflow((c - 1) * every, qint64(60), &amount)) {
            return QDateTime();
        }
        return start.addSecs(amount);
    case IntervalHours:
        if (qMulOverflow((c - 1) * every, qint64(3600), &amount)) {
            return QDateTime();
        }
        return start.addSecs(amount);
    case IntervalDays:
        return start.addDays(every * (c - 1));
    case IntervalYears:
        return fitsInt(every * (c - 1)) ? start.addYears(int(every * (c - 1))) : QDateTime();
    case IntervalWeeks: {
        const QList<int> days = rule.weeklyRepeatDays();
        const qint64 d = days.size();
        QDateTime cur = start;
        while (!days.contains(cur.date().dayOfWeek())) {
            cur = cur.addDays(1);
        }
        if (qMulOverflow((c - 1) / d, every * 7, &amount)) {
            return QDateTime();
        }
        cur = cur.addDays(amount);
        const qint64 r = (c - 1) % d;
        if (r >= 1) {
            for (qint64 i = 0; i < r && cur.date().isValid(); ++i) {
                cur = weeklyStep(rule, cur);
            }
        }
        return cur;
    }
    case IntervalMonths:
        if (rule.monthlyRepeatType() == MonthlyByDayOfMonth) {
            return fitsInt(every * (c - 1)) ? start.addMonths(int(every * (c - 1))) : QDateTime();
        }
        if (rule.monthlyRepeatType() == MonthlyByDayOfWeek) {
            if (!fitsInt(every * (c - 1))) {
                return QDateTime();
            }
            const QDateTime cur = start.addMonths(int(every * (c - 1)));
            return local(Util::nthDayOfWeekInMonth(cur.date(),
                                                   Util::whichDayOfWeekInMonthIsDate(rule.date()),
                                                   rule.date().dayOfWeek()),
                         cur.time());
        }
        return start;
    }
    return start;
}

int getNumberOfRepetitionsFromDateTime(const RepetitionRule& rule, const QDateTime* from) {
    if (rule.repetition() == RepeatNever) {
        return 0;
    }
    if (rule.repetition() == RepeatForever) {
        return -1;
    }
    const QDateTime f = from ? *from : startOf(rule);
    const QDateTime end = calculateEndDateTime(rule);
    if (end < f) {
        return 0;
    }
    QDateTime previous = f;
    for (int n = 1; n < std::numeric_limits<int>::max(); ++n) {
        const QDateTime t = nthRepetitionFromDateTime(rule, f, n);
        if (t.isNull()) {
            return n - 1;
        }
        // Stop where the occurrences stop moving on.
        if (n == 1 ? !(f < t) : sameMoment(previous, t)) {
            return n - 1;
        }
        if (!t.isValid()) {
            int run = 1;
            while (run < kInvalidRunLimit &&
                   !nthRepetitionFromDateTime(rule, f, n + run).isValid()) {
                ++run;
            }
            if (run == kInvalidRunLimit) {
                return n - 1;
            }
        }
        if (end < t) {
            return n - 1;
        }
        previous = t;
    }
    return std::numeric_limits<int>::max();
}

QList<QDate> calendarDates(int intervalType, int every, const QList<int>& weekdays, int monthly,
                           const QDate& start, const QDate& limit) {
    QList<QDate> result;
    if (intervalType == IntervalWeeks) {
        const QDate monday = start.addDays(1 - start.dayOfWeek());
        for (QDate d = start; d <= limit; d = d.addDays(1)) {
            if ((monday.daysTo(d) / 7) % every == 0 && weekdays.contains(d.dayOfWeek())) {
                result.append(d);
            }
        }
        return result;
    }
    for (int k = 0;; ++k) {
        QDate d =
            intervalType == IntervalYears ? start.addYears(k * every) : start.addMonths(k * every);
        if (intervalType == IntervalMonths && monthly == MonthlyByDayOfWeek) {
            d = QDate(d.year(), d.month(), 1);
            const int firstWanted = 1 + (start.dayOfWeek() - d.dayOfWeek() + 7) % 7;
            d = QDate(d.year(), d.month(), firstWanted + 7 * ((start.day() - 1) / 7));
        }
        if (limit < d) {
            return result;
        }
        result.append(d);
    }
}

QDate calendarStart(int intervalType, const QList<int>& weekdays, const QDate& from) {
    QDate start = from;
    if (intervalType == IntervalWeeks) {
        while (!weekdays.contains(start.dayOfWeek())) {
            start = start.addDays(1);
        }
    } else if (start.day() > 28) {
        start = start.addDays(-3);
    }
    return start;
}

bool nearNoon(const QList<int>& minutes) {
    const QDateTime now = QDateTime::currentDateTime();
    for (const int minute : minutes) {
        if (qAbs(QDateTime(now.date(), QTime(12, 0)).addSecs(minute * 60).secsTo(now)) < 120) {
            return true;
        }
    }
    return false;
}

} // namespace LiteralRecurrence
