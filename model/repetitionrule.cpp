// Occurrences of a repetition. The answers are those of walking from the
// start one occurrence at a time, with Qt's own date arithmetic; where
// whole periods can be counted instead, they are, so the cost no longer grows
// with the time since the start.
//
// A repetition that cannot advance has its start as its only occurrence: an
// interval number below 1, a weekly repetition without a weekday in 1..7, an
// unknown interval or monthly kind, or a start without a valid date. Any other
// step that gives no moment, or the one it started from, ends the walk there;
// so does a monthly-by-weekday walk whose occurrences keep landing in the hour
// a daylight-saving change skips (invalid moments, never later than anything).
// The count stops where the occurrences stop moving.
#include "repetitionrule.h"

#include <QStringList>
#include <QtNumeric>

#include <limits>

#include "localzone.h"
#include "recurrencewalk.h"
#include "util.h"
#include "weeklyplan.h"

namespace {

// Qt resolves a wall-clock time that occurs twice from the offset of the last
// local conversion it made, whatever that was. Converting the day before first
// fixes the choice: the earlier moment, as a walk arriving from that day gets.
QDateTime localMoment(const QDate& date, const QTime& time) {
    if (date.isValid()) {
        const QDateTime dayBefore(date.addDays(-1), time);
        Q_UNUSED(dayBefore);
    }
    return QDateTime(date, time);
}

} // namespace

void RepetitionRule::setRepetitionFields(int repetition, int stopNumber, const QDate& stopDate,
                                         int intervalNumber, int intervalType,
                                         const QList<int>& weekdays, int monthlyType) {
    repetition_ = repetition;
    repetitionStopNumber_ = stopNumber;
    repetitionStopDate_ = stopDate;
    repeatIntervalNumber_ = intervalNumber;
    repeatIntervalType_ = intervalType;
    weeklyRepeatDays_ = weekdays;
    monthlyRepeatType_ = monthlyType;
}

bool RepetitionRule::hasRepetition() const {
    return repetition_ != RepeatNever;
}

bool RepetitionRule::hasTrivialRepetition() const {
    if (!hasRepetition()) {
        return false;
    }
    return repeatIntervalType_ == IntervalMinutes || repeatIntervalType_ == IntervalHours ||
           repeatIntervalType_ == IntervalDays;
}

QDateTime RepetitionRule::nthRepetitionFromDateTime(const QDateTime& from, int n) const {
    LocalZone::refresh();
    // The stop criteria are not applied here: callers compare with the end.
    if (repetition_ == RepeatNever) {
        return QDateTime();
    }
    const QDateTime start = localMoment(date_, time_);
    if (n < 1) {
        return start;
    }
    return RecurrenceWalk(*this, start, from).at(n);
}

QDateTime RepetitionRule::nthRepetition(int n) const {
    LocalZone::refresh();
    return nthRepetitionFromDateTime(localMoment(date_, time_), n);
}

QDateTime RepetitionRule::calculateEndDateTime() const {
    LocalZone::refresh();
    if (countdown_) {
        return QDateTime();
    }
    if (repetition_ == RepeatUntilDate) {
        return localMoment(repetitionStopDate_, time_);
    }
    // The daemon cannot repeat weeks, months or years by itself: each ring places the
    // next one, so such a "Forever" repetition must not end, or it would ring only once.
    if (repetition_ == RepeatForever &&
        (repeatIntervalType_ == IntervalWeeks || repeatIntervalType_ == IntervalMonths ||
         repeatIntervalType_ == IntervalYears)) {
        return QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max(), Qt::UTC);
    }
    const QDateTime start = localMoment(date_, time_);
    // "Never", a "Forever" the daemon repeats itself and anything unknown end at the start.
    if (repetition_ != RepeatXTimes) {
        return start;
    }
    const WeeklyPlan plan(weeklyRepeatDays_, qMax(1, repeatIntervalNumber_));
    const qint64 every = repeatIntervalNumber_;
    const qint64 last = qint64(repetitionStopNumber_) - 1;
    const bool weekly = repeatIntervalType_ == IntervalWeeks;
    if (every < 1 || !date_.isValid() || (weekly && plan.isEmpty())) {
        return start;
    }
    const qint64 periods = every * last;
    const bool fitsInt =
        periods >= std::numeric_limits<int>::min() && periods <= std::numeric_limits<int>::max();
    qint64 amount = 0;
    switch (repeatIntervalType_) {
    case IntervalMinutes:
    case IntervalHours:
        if (qMulOverflow(periods, qint64(repeatIntervalType_ == IntervalMinutes ? 60 : 3600),
                         &amount)) {
            return QDateTime();
        }
        return start.addSecs(amount);
    case IntervalDays:
        return start.addDays(periods);
    case IntervalYears:
        return fitsInt ? start.addYears(int(periods)) : QDateTime();
    case IntervalWeeks: {
        QDateTime cur = start;
        while (!plan.contains(cur.date().dayOfWeek())) {
            cur = cur.addDays(1);
        }
        // The list's own length, repeated days and all, as the count of chosen days.
        const qint64 chosen = weeklyRepeatDays_.size();
        if (qMulOverflow(last / chosen, every * 7, &amount)) {
            return QDateTime();
        }
        cur = cur.addDays(amount);
        for (qint64 r = last % chosen; r >= 1 && cur.date().isValid(); --r) {
            cur = plan.step(cur);
        }
        return cur;
    }
    case IntervalMonths:
        if (monthlyRepeatType_ == MonthlyByDayOfMonth) {
            return fitsInt ? start.addMonths(int(periods)) : QDateTime();
        }
        if (monthlyRepeatType_ == MonthlyByDayOfWeek) {
            if (!fitsInt) {
                return QDateTime();
            }
            const QDateTime cur = start.addMonths(int(periods));
            return localMoment(Util::nthDayOfWeekInMonth(cur.date(),
                                                         Util::whichDayOfWeekInMonthIsDate(date_),
                                                         date_.dayOfWeek()),
                               cur.time());
        }
        return start;
    }
    return start;
}

int RepetitionRule::getNumberOfRepetitionsFromDateTime(const QDateTime* from) const {
    LocalZone::refresh();
    if (repetition_ == RepeatNever) {
        return 0;
    }
    if (repetition_ == RepeatForever) {
        return -1;
    }
    const QDateTime start = localMoment(date_, time_);
    const QDateTime f = from ? *from : start;
    const QDateTime end = calculateEndDateTime();
    if (end < f) {
        return 0;
    }
    const RecurrenceWalk walk(*this, start, f);

    // Whether counting stops at occurrence n: past the end, or no longer moving.
    const auto stopsAt = [&](qint64 n) {
        const QDateTime t = walk.at(n);
        if (t.isNull()) {
            return true;
        }
        if (n == 1 ? !(f < t) : !RecurrenceWalk::moved(walk.at(n - 1), t)) {
            return true;
        }
        if (!t.isValid()) {
            qint64 i = n + 1;
            while (i < n + RecurrenceWalk::kInvalidRunLimit && !walk.at(i).isValid()) {
                ++i;
            }
            if (i == n + RecurrenceWalk::kInvalidRunLimit) {
                return true;
            }
        }
        return end < t;
    };
    // An invalid occurrence (a skipped wall-clock time) never lies past the end, so the
    // count runs on through it: the stop is at the next valid one, if that stops.
    const auto stopFrom = [&](qint64 n) -> qint64 {
        for (qint64 i = n; i < n + RecurrenceWalk::kInvalidRunLimit; ++i) {
            if (stopsAt(i)) {
                return i;
            }
            if (walk.at(i).isValid()) {
                return 0;
            }
        }
        return 0;
    };

    // Occurrences only move on as n grows: find the first stop by doubling, then halving.
    constexpr qint64 limit = std::numeric_limits<int>::max();
    qint64 low = 0;
    qint64 high = 1;
    qint64 stop = stopFrom(high);
    while (stop == 0) {
        if (high >= limit) {
            return int(limit);
        }
        low = high;
        high = qMin(limit, high * 2);
        stop = stopFrom(high);
    }
    while (high - low > 1) {
        const qint64 middle = low + (high - low) / 2;
        const qint64 found = stopFrom(middle);
        if (found != 0) {
            high = middle;
            stop = found;
        } else {
            low = middle;
        }
    }
    return int(stop - 1);
}

QString RepetitionRule::extraData() const {
    QString extra;
    if (repeatIntervalType_ == IntervalWeeks) {
        extra.append(QLatin1Char('W'));
        for (int day : weeklyRepeatDays_) {
            extra.append(QStringLiteral(":%1").arg(day));
        }
    } else if (repeatIntervalType_ == IntervalMonths) {
        extra.append(QLatin1Char('M'));
        extra.append(QStringLiteral(":%1").arg(monthlyRepeatType_));
    }
    return extra;
}

void RepetitionRule::parseExtraDataAsWeekly(const QString& extra) {
    const QStringList parts = extra.split(QLatin1Char(':'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.first() != QLatin1String("W")) {
        return;
    }
    // Appends without clearing: after an edit the list holds old and new days until restart.
    for (int i = 1; i < parts.size(); ++i) {
        weeklyRepeatDays_.append(parts.at(i).toInt());
    }
}

void RepetitionRule::parseExtraDataAsMonthly(const QString& extra) {
    const QStringList parts = extra.split(QLatin1Char(':'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.first() != QLatin1String("M") || parts.size() < 2) {
        return;
    }
    monthlyRepeatType_ = parts.at(1).toInt();
}
