// Occurrences of a repeating task. The answers are those of walking from the
// task's start one occurrence at a time, with Qt's own date arithmetic; where
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
#include "task.h"

#include <QTimeZone>
#include <QtNumeric>

#include <algorithm>
#include <limits>
#include <optional>

#include "localzone.h"
#include "util.h"

namespace {

constexpr qint64 kMSecsPerDay = 86400000;
constexpr qint64 kEpochJulianDay = 2440588; // 1970-01-01
// Consecutive invalid occurrences after which a walk counts as stuck.
constexpr int kInvalidRunLimit = 100;
// The last day an occurrence is looked for on.
const QDate kLastDate(9999, 12, 31);
// How near a daylight-saving change a wall-clock time counts as touched by it.
constexpr qint64 kChangeMarginMSecs = 60000;

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

// False when a step gave no moment, or gave back the one it started from.
bool moved(const QDateTime& before, const QDateTime& after) {
    if (after.isNull()) {
        return false;
    }
    return !(after == before && after.date() == before.date() && after.time() == before.time());
}

qint64 floorDiv(qint64 a, qint64 b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

// The chosen weekdays of a weekly repetition and the week structure of its walk:
// the walk stays in the week of its current occurrence, and every time it enters
// a new week on the Monday it jumps over `every - 1` weeks.
class WeeklyPlan {
public:
    WeeklyPlan(const QList<int>& weekdays, qint64 every)
        : every(every) {
        for (int day = 1; day <= 7; ++day) {
            if (weekdays.contains(day)) {
                days.append(day);
            }
        }
    }

    bool isEmpty() const { return days.isEmpty(); }
    bool contains(int dayOfWeek) const { return days.contains(dayOfWeek); }

    // The date of the m-th occurrence (m >= 1) after the one on x; invalid past the calendar.
    QDate after(const QDate& x, qint64 m) const {
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

    // How many occurrences after the one on x fall before limit.
    qint64 countBefore(const QDate& x, const QDate& limit) const {
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

    // Whether the walk from the occurrence on x goes through day d (a day after x):
    // every day of its active weeks, and the Monday it jumps from.
    bool visits(const QDate& x, const QDate& d) const {
        const QDate monday = x.addDays(1 - x.dayOfWeek());
        const qint64 rel = monday.daysTo(d);
        if (!(x < d)) {
            return false;
        }
        const qint64 week = rel / 7;
        return week % every == 0 || (every > 1 && week % every == 1 && rel % 7 == 0);
    }

    // One step of the walk exactly as written: day by day, jumping on Mondays.
    QDateTime step(QDateTime cur) const {
        do {
            const QDateTime next = cur.addDays(1);
            if (!next.date().isValid()) {
                return QDateTime();
            }
            cur = next.date().dayOfWeek() == 1 ? next.addDays(7 * every - 7) : next;
        } while (!contains(cur.date().dayOfWeek()));
        return cur;
    }

private:
    QList<int> days;
    qint64 every;
};

// The local zone's offset changes from a moment on, found as needed and kept.
// Qt lists a zone's changes only as far as its data file spells them out (to
// 2037); past that the zone's rule still applies, so the offsets are scanned a
// week at a time and each change is narrowed down to the second.
class ZoneChanges {
public:
    struct Change {
        qint64 at;
        int before;
        int after;
    };

    bool isKnown() const { return zone.isValid(); }

    void startAt(qint64 msecs) {
        zone = QTimeZone::systemTimeZone();
        probe = QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
        offset = zone.offsetFromUtc(probe);
    }

    // The changes from the start up to at least `until`, in order.
    const QList<Change>& upTo(qint64 until) {
        while (probe.toMSecsSinceEpoch() < until && findNext(until)) {
        }
        return changes;
    }

private:
    bool findNext(qint64 until) {
        if (listed) {
            const QTimeZone::OffsetData data = zone.nextTransition(probe);
            if (data.atUtc.isValid() && probe < data.atUtc) {
                record(data.atUtc, data.offsetFromUtc);
                return true;
            }
            listed = false;
        }
        if (!zone.hasDaylightTime()) {
            probe = QDateTime::fromMSecsSinceEpoch(until, Qt::UTC);
            return false;
        }
        constexpr qint64 kWeek = 7 * kMSecsPerDay;
        qint64 low = probe.toMSecsSinceEpoch();
        while (low < until) {
            qint64 high = low + kWeek;
            const int next = zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(high, Qt::UTC));
            if (next == offset) {
                low = high;
                continue;
            }
            while (high - low > 1000) {
                const qint64 middle = low + (high - low) / 2000 * 1000;
                if (zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(middle, Qt::UTC)) == offset) {
                    low = middle;
                } else {
                    high = middle;
                }
            }
            record(QDateTime::fromMSecsSinceEpoch(high, Qt::UTC), next);
            return true;
        }
        probe = QDateTime::fromMSecsSinceEpoch(low, Qt::UTC);
        return false;
    }

    void record(const QDateTime& at, int after) {
        if (after != offset) {
            changes.append({at.toMSecsSinceEpoch(), offset, after});
        }
        offset = after;
        probe = at;
    }

    QTimeZone zone;
    QDateTime probe;
    int offset = 0;
    bool listed = true;
    QList<Change> changes;
};

// The occurrences after a moment, for one query: catches up once, then gives
// the n-th occurrence later than that moment.
class Walk {
public:
    Walk(const Task& task, const QDateTime& start, const QDateTime& from);

    QDateTime at(qint64 n) const;

private:
    enum Kind { Stuck, Seconds, Days, Weeks, MonthsByDay, MonthsByWeekday, Years };

    static Kind kindOf(const Task& task, const WeeklyPlan& plan);
    void catchUpBySeconds(qint64 seconds);
    void catchUpWeekly();
    void catchUpByWalking();
    QDateTime literalStep(const QDateTime& cur) const;
    QDateTime advanceWeekly(QDateTime cur, qint64 m) const;
    std::optional<QDate> firstChangeDay(const QDate& x, const QDate& last, const QTime& time) const;

    QDateTime start;
    QDateTime from;
    QTime time;
    qint64 every;
    WeeklyPlan plan;
    Kind kind;
    int weekOfMonth = 0;
    int weekday = 0;
    qint64 stepSeconds = 0;
    QDateTime cur;
    bool stopped = false;
    mutable ZoneChanges changes;
};

Walk::Kind Walk::kindOf(const Task& task, const WeeklyPlan& plan) {
    if (task.repeatIntervalNumber() < 1 || !task.date().isValid()) {
        return Stuck;
    }
    switch (task.repeatIntervalType()) {
    case IntervalMinutes:
    case IntervalHours:
        return Seconds;
    case IntervalDays:
        return Days;
    case IntervalWeeks:
        return plan.isEmpty() ? Stuck : Weeks;
    case IntervalMonths:
        if (task.monthlyRepeatType() == MonthlyByDayOfMonth) {
            return MonthsByDay;
        }
        return task.monthlyRepeatType() == MonthlyByDayOfWeek ? MonthsByWeekday : Stuck;
    case IntervalYears:
        return Years;
    }
    return Stuck;
}

Walk::Walk(const Task& task, const QDateTime& start, const QDateTime& from)
    : start(start)
    , from(from)
    , time(task.time())
    , every(task.repeatIntervalNumber())
    , plan(task.weeklyRepeatDays(), qMax<qint64>(1, task.repeatIntervalNumber()))
    , kind(kindOf(task, plan))
    , cur(start) {
    switch (kind) {
    case Stuck:
        stopped = true;
        break;
    case Seconds:
        stepSeconds = every * (task.repeatIntervalType() == IntervalMinutes ? 60 : 3600);
        catchUpBySeconds(stepSeconds);
        break;
    case Days:
        catchUpBySeconds(every * 86400);
        break;
    case Weeks:
        changes.startAt(
            QDateTime(start.date().addDays(-2), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch());
        catchUpWeekly();
        break;
    case MonthsByWeekday:
        weekOfMonth = Util::whichDayOfWeekInMonthIsDate(task.date());
        weekday = task.date().dayOfWeek();
        catchUpByWalking();
        break;
    case MonthsByDay:
    case Years:
        catchUpByWalking();
        break;
    }
}

// Each step adds elapsed seconds, so step k from the start is start + k steps:
// count the steps instead of taking them.
void Walk::catchUpBySeconds(qint64 seconds) {
    if (from < cur) {
        return;
    }
    if (!start.isValid()) {
        // Seconds cannot be added to a wall-clock time that does not exist.
        stopped = true;
        return;
    }
    const qint64 elapsed = from.toMSecsSinceEpoch() - start.toMSecsSinceEpoch();
    qint64 k = qMax<qint64>(1, elapsed / (seconds * 1000) + 1);
    // Settle on the first step past from by Qt's own comparison, as the walk does.
    while (k > 1 && from < start.addSecs((k - 1) * seconds)) {
        --k;
    }
    cur = start.addSecs(k * seconds);
    while (!(from < cur)) {
        ++k;
        cur = start.addSecs(k * seconds);
    }
}

void Walk::catchUpWeekly() {
    if (from < cur) {
        return;
    }
    // Occurrences dated two days or more before from lie before it: skip them at once.
    if (from.isValid()) {
        const qint64 skip = plan.countBefore(cur.date(), from.date().addDays(-2));
        if (skip > 0) {
            cur = advanceWeekly(cur, skip);
        }
    }
    while (!(from < cur)) {
        const QDateTime next = advanceWeekly(cur, 1);
        if (!moved(cur, next)) {
            stopped = true;
            return;
        }
        cur = next;
    }
}

QDateTime Walk::literalStep(const QDateTime& cur) const {
    switch (kind) {
    case MonthsByDay:
        return cur.addMonths(int(every));
    case MonthsByWeekday: {
        const QDateTime m = cur.addMonths(int(every));
        return QDateTime(Util::nthDayOfWeekInMonth(m.date(), weekOfMonth, weekday), time);
    }
    case Years:
        return cur.addYears(int(every));
    default:
        return cur;
    }
}

// Months and years step one period at a time: where a month lacks the day, the
// next step starts from the shortened date.
void Walk::catchUpByWalking() {
    int invalidRun = cur.isValid() ? 0 : 1;
    QDateTime runStart = cur;
    while (!(from < cur)) {
        const QDateTime next = literalStep(cur);
        if (!moved(cur, next)) {
            stopped = true;
            return;
        }
        if (next.isValid()) {
            invalidRun = 0;
        } else {
            if (invalidRun == 0) {
                runStart = next;
            }
            if (++invalidRun >= kInvalidRunLimit) {
                cur = runStart;
                stopped = true;
                return;
            }
        }
        cur = next;
    }
}

// The first day after x, up to last, that the walk from the occurrence on x
// goes through and on which the given wall-clock time lies at a daylight-saving
// change (skipped, repeated, or within a minute of either).
std::optional<QDate> Walk::firstChangeDay(const QDate& x, const QDate& last,
                                          const QTime& time) const {
    if (!changes.isKnown()) {
        // Nothing known about the changes: every day is treated as touched.
        return x.addDays(1);
    }
    const qint64 timeOfDay = time.isValid() ? time.msecsSinceStartOfDay() : 0;
    const qint64 from = QDateTime(x.addDays(-2), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    const qint64 until = QDateTime(last.addDays(3), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    const QList<ZoneChanges::Change>& list = changes.upTo(until);
    auto it = std::lower_bound(
        list.cbegin(), list.cend(), from,
        [](const ZoneChanges::Change& change, qint64 at) { return change.at < at; });
    for (; it != list.cend() && it->at <= until; ++it) {
        // The wall-clock stretch that is skipped or repeated, in local milliseconds.
        const qint64 low = it->at + qint64(qMin(it->before, it->after)) * 1000 - kChangeMarginMSecs;
        const qint64 high =
            it->at + qint64(qMax(it->before, it->after)) * 1000 + kChangeMarginMSecs;
        for (qint64 day = floorDiv(low - timeOfDay, kMSecsPerDay);
             day * kMSecsPerDay + timeOfDay < high; ++day) {
            if (day * kMSecsPerDay + timeOfDay < low) {
                continue;
            }
            const QDate d = QDate::fromJulianDay(kEpochJulianDay + day);
            if (!(last < d) && plan.visits(x, d)) {
                return d;
            }
        }
    }
    return std::nullopt;
}

// Moves m occurrences on from cur. Away from daylight-saving changes a day
// step keeps the wall-clock time, so many steps are one addDays; through a
// change (where Qt moves a skipped time on for good, and picks one of a
// repeated hour's two moments from the moment it steps from) the walk is
// replayed as written.
QDateTime Walk::advanceWeekly(QDateTime cur, qint64 m) const {
    while (m > 0) {
        const QDate x = cur.date();
        const QDate target = plan.after(x, m);
        // Past the year 9999 no alarm can be placed; looking for the daylight-saving
        // changes on the way there (every 2^31 weeks, say) would take for ever.
        if (!target.isValid() || kLastDate < target) {
            return QDateTime();
        }
        const std::optional<QDate> change = firstChangeDay(x, target, cur.time());
        if (!change) {
            return cur.addDays(x.daysTo(target));
        }
        const qint64 before = plan.countBefore(x, *change);
        if (before > 0) {
            cur = cur.addDays(x.daysTo(plan.after(x, before)));
            m -= before;
        }
        while (m > 0 && !(*change < cur.date())) {
            const QDateTime next = plan.step(cur);
            if (!moved(cur, next)) {
                return QDateTime();
            }
            cur = next;
            --m;
        }
    }
    return cur;
}

QDateTime Walk::at(qint64 n) const {
    if (stopped || n <= 1) {
        return cur;
    }
    const qint64 periods = n - 1;
    qint64 amount = 0;
    switch (kind) {
    case Stuck:
        return cur;
    case Seconds:
        if (qMulOverflow(periods, stepSeconds, &amount)) {
            return QDateTime();
        }
        return cur.addSecs(amount);
    case Days:
        if (qMulOverflow(periods, every, &amount)) {
            return QDateTime();
        }
        return cur.addDays(amount);
    case Weeks:
        return advanceWeekly(cur, periods);
    case MonthsByDay:
    case MonthsByWeekday:
    case Years: {
        if (qMulOverflow(periods, every, &amount) || amount > std::numeric_limits<int>::max()) {
            return QDateTime();
        }
        if (kind == Years) {
            return cur.addYears(int(amount));
        }
        const QDateTime m = cur.addMonths(int(amount));
        if (kind == MonthsByDay) {
            return m;
        }
        return QDateTime(Util::nthDayOfWeekInMonth(m.date(), weekOfMonth, weekday), time);
    }
    }
    return cur;
}

} // namespace

void Task::setRepetitionFields(int repetition, int stopNumber, const QDate& stopDate,
                               int intervalNumber, int intervalType, const QList<int>& weekdays,
                               int monthlyType) {
    repetition_ = repetition;
    repetitionStopNumber_ = stopNumber;
    repetitionStopDate_ = stopDate;
    repeatIntervalNumber_ = intervalNumber;
    repeatIntervalType_ = intervalType;
    weeklyRepeatDays_ = weekdays;
    monthlyRepeatType_ = monthlyType;
}

QDateTime Task::nthRepetitionFromDateTime(const QDateTime& from, int n) const {
    LocalZone::refresh();
    // The stop criteria are not applied here: callers compare with the end.
    if (repetition_ == RepeatNever) {
        return QDateTime();
    }
    const QDateTime start = localMoment(date_, time_);
    if (n < 1) {
        return start;
    }
    return Walk(*this, start, from).at(n);
}

QDateTime Task::nthRepetition(int n) const {
    LocalZone::refresh();
    return nthRepetitionFromDateTime(localMoment(date_, time_), n);
}

QDateTime Task::calculateEndDateTime() const {
    LocalZone::refresh();
    if (type_ == T) {
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

int Task::getNumberOfRepetitionsFromDateTime(const QDateTime* from) const {
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
    const Walk walk(*this, start, f);

    // Whether counting stops at occurrence n: past the end, or no longer moving.
    const auto stopsAt = [&](qint64 n) {
        const QDateTime t = walk.at(n);
        if (t.isNull()) {
            return true;
        }
        if (n == 1 ? !(f < t) : !moved(walk.at(n - 1), t)) {
            return true;
        }
        if (!t.isValid()) {
            qint64 i = n + 1;
            while (i < n + kInvalidRunLimit && !walk.at(i).isValid()) {
                ++i;
            }
            if (i == n + kInvalidRunLimit) {
                return true;
            }
        }
        return end < t;
    };
    // An invalid occurrence (a skipped wall-clock time) never lies past the end, so the
    // count runs on through it: the stop is at the next valid one, if that stops.
    const auto stopFrom = [&](qint64 n) -> qint64 {
        for (qint64 i = n; i < n + kInvalidRunLimit; ++i) {
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
