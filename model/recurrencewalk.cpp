#include "recurrencewalk.h"

#include <QtNumeric>

#include <limits>

#include "repetitionrule.h"
#include "util.h"

namespace {

// The last day an occurrence is looked for on.
const QDate kLastDate(9999, 12, 31);

} // namespace

RecurrenceWalk::Kind RecurrenceWalk::kindOf(const RepetitionRule& rule, const WeeklyPlan& weekly) {
    if (rule.repeatIntervalNumber() < 1 || !rule.date().isValid()) {
        return Stuck;
    }
    switch (rule.repeatIntervalType()) {
    case IntervalMinutes:
    case IntervalHours:
        return Seconds;
    case IntervalDays:
        return Days;
    case IntervalWeeks:
        return weekly.isEmpty() ? Stuck : Weeks;
    case IntervalMonths:
        if (rule.monthlyRepeatType() == MonthlyByDayOfMonth) {
            return MonthsByDay;
        }
        return rule.monthlyRepeatType() == MonthlyByDayOfWeek ? MonthsByWeekday : Stuck;
    case IntervalYears:
        return Years;
    }
    return Stuck;
}

MonthlyPlan RecurrenceWalk::monthlyPlanOf(const RepetitionRule& rule) {
    const qint64 number = qMax<qint64>(1, rule.repeatIntervalNumber());
    if (rule.repeatIntervalType() == IntervalYears) {
        return MonthlyPlan(MonthlyPlan::ByDay, 12 * number, 0, 0);
    }
    if (rule.monthlyRepeatType() == MonthlyByDayOfWeek) {
        return MonthlyPlan(MonthlyPlan::ByWeekday, number,
                           Util::whichDayOfWeekInMonthIsDate(rule.date()), rule.date().dayOfWeek());
    }
    return MonthlyPlan(MonthlyPlan::ByDay, number, 0, 0);
}

RecurrenceWalk::RecurrenceWalk(const RepetitionRule& rule, const QDateTime& first,
                               const QDateTime& after)
    : start(first)
    , from(after)
    , time(rule.time())
    , every(rule.repeatIntervalNumber())
    , plan(rule.weeklyRepeatDays(), qMax<qint64>(1, rule.repeatIntervalNumber()))
    , months(monthlyPlanOf(rule))
    , kind(kindOf(rule, plan))
    , cur(first) {
    switch (kind) {
    case Stuck:
        stopped = true;
        break;
    case Seconds:
        stepSeconds = every * (rule.repeatIntervalType() == IntervalMinutes ? 60 : 3600);
        catchUpBySeconds(stepSeconds);
        break;
    case Days:
        catchUpBySeconds(every * 86400);
        break;
    case Weeks:
        startZoneChanges();
        catchUpWeekly();
        break;
    case MonthsByWeekday:
    case MonthsByDay:
    case Years:
        catchUpMonthly();
        break;
    }
}

// The zone's changes from a little before the start, where weekly and monthly walks look.
void RecurrenceWalk::startZoneChanges() {
    changes.startAt(QDateTime(start.date().addDays(-2), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch());
}

// Each step adds elapsed seconds, so step k from the start is start + k steps:
// count the steps instead of taking them.
void RecurrenceWalk::catchUpBySeconds(qint64 seconds) {
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

void RecurrenceWalk::catchUpWeekly() {
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

QDateTime RecurrenceWalk::literalStep(const QDateTime& moment) const {
    switch (kind) {
    case MonthsByDay:
        return moment.addMonths(int(every));
    case MonthsByWeekday: {
        const QDateTime m = moment.addMonths(int(every));
        return QDateTime(months.weekdayIn(m.date()), time);
    }
    case Years:
        return moment.addYears(int(every));
    default:
        return moment;
    }
}

// Months and years step one period at a time: where a month lacks the day, the
// next step starts from the shortened date. Away from daylight-saving changes the
// steps are counted and taken as one; through a change they are taken one by one.
void RecurrenceWalk::catchUpMonthly() {
    if (from < cur) {
        return;
    }
    startZoneChanges();
    int invalidRun = cur.isValid() ? 0 : 1;
    QDateTime runStart = cur;
    while (!(from < cur)) {
        const qint64 jump = cur.isValid() ? monthlyJump() : 0;
        if (jump > 0) {
            cur = cur.addDays(cur.date().daysTo(months.after(cur.date(), jump)));
            invalidRun = 0;
            continue;
        }
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

// How many occurrences on from cur can be taken as one step: those before from,
// up to the first step that converts its time on a day the clocks change.
qint64 RecurrenceWalk::monthlyJump() {
    const QDate x = cur.date();
    if (!from.isValid() || !changes.isKnown() || x.year() < 1) {
        return 0;
    }
    // Occurrences dated two days or more before from lie before it.
    const QDate limit = qMin(from.date().addDays(-2), kLastDate);
    qint64 m = months.countUpTo(x, limit);
    if (m < 1) {
        return 0;
    }
    const QList<QDate> touched = changes.daysTouched(x, months.after(x, m), cur.time());
    for (const QDate& d : touched) {
        const qint64 step = months.stepOn(x, d);
        if (step > 0 && step <= m) {
            m = step - 1;
        }
    }
    return m;
}

// The first day after x, up to last, that the walk from the occurrence on x
// goes through and on which the given wall-clock time lies at a daylight-saving
// change (skipped, repeated, or within a minute of either).
std::optional<QDate> RecurrenceWalk::firstChangeDay(const QDate& x, const QDate& last,
                                                    const QTime& timeOfDay) const {
    if (!changes.isKnown()) {
        // Nothing known about the changes: every day is treated as touched.
        return x.addDays(1);
    }
    for (const QDate& d : changes.daysTouched(x, last, timeOfDay)) {
        if (!(last < d) && plan.visits(x, d)) {
            return d;
        }
    }
    return std::nullopt;
}

// Moves m occurrences on from cur. Away from daylight-saving changes a day
// step keeps the wall-clock time, so many steps are one addDays; through a
// change (where Qt moves a skipped time on for good, and picks one of a
// repeated hour's two moments from the moment it steps from) the walk is
// replayed as written.
QDateTime RecurrenceWalk::advanceWeekly(QDateTime moment, qint64 m) const {
    while (m > 0) {
        const QDate x = moment.date();
        const QDate target = plan.after(x, m);
        // Past the year 9999 no alarm can be placed; looking for the daylight-saving
        // changes on the way there (every 2^31 weeks, say) would take for ever.
        if (!target.isValid() || kLastDate < target) {
            return QDateTime();
        }
        const std::optional<QDate> change = firstChangeDay(x, target, moment.time());
        if (!change) {
            return moment.addDays(x.daysTo(target));
        }
        const qint64 before = plan.countBefore(x, *change);
        if (before > 0) {
            moment = moment.addDays(x.daysTo(plan.after(x, before)));
            m -= before;
        }
        while (m > 0 && !(*change < moment.date())) {
            const QDateTime next = plan.step(moment);
            if (!moved(moment, next)) {
                return QDateTime();
            }
            moment = next;
            --m;
        }
    }
    return moment;
}

QDateTime RecurrenceWalk::at(qint64 n) const {
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
        return QDateTime(months.weekdayIn(m.date()), time);
    }
    }
    return cur;
}

bool RecurrenceWalk::moved(const QDateTime& before, const QDateTime& after) {
    if (after.isNull()) {
        return false;
    }
    return !(after == before && after.date() == before.date() && after.time() == before.time());
}
