#pragma once

#include <QDateTime>
#include <QTime>

#include <optional>

#include "monthlyplan.h"
#include "weeklyplan.h"
#include "zonechanges.h"

class RepetitionRule;

// The occurrences of a repetition after a moment, for one query: catches up
// once, then gives the n-th occurrence later than that moment. The answers are
// those of walking from the start one occurrence at a time, with Qt's own
// date arithmetic; where whole periods can be counted instead, they are.
class RecurrenceWalk {
public:
    // Consecutive invalid occurrences after which a walk counts as stuck.
    static constexpr int kInvalidRunLimit = 100;

    RecurrenceWalk(const RepetitionRule& rule, const QDateTime& first, const QDateTime& after);

    QDateTime at(qint64 n) const;

    // False when a step gave no moment, or gave back the one it started from.
    static bool moved(const QDateTime& before, const QDateTime& after);

private:
    enum Kind { Stuck, Seconds, Days, Weeks, MonthsByDay, MonthsByWeekday, Years };

    static Kind kindOf(const RepetitionRule& rule, const WeeklyPlan& plan);
    static MonthlyPlan monthlyPlanOf(const RepetitionRule& rule);
    void startZoneChanges();
    void catchUpBySeconds(qint64 seconds);
    void catchUpWeekly();
    void catchUpMonthly();
    qint64 monthlyJump();
    QDateTime literalStep(const QDateTime& from) const;
    QDateTime advanceWeekly(QDateTime moment, qint64 m) const;
    std::optional<QDate> firstChangeDay(const QDate& x, const QDate& last,
                                        const QTime& timeOfDay) const;

    QDateTime start;
    QDateTime from;
    QTime time;
    qint64 every;
    WeeklyPlan plan;
    MonthlyPlan months;
    Kind kind;
    qint64 stepSeconds = 0;
    QDateTime cur;
    bool stopped = false;
    mutable ZoneChanges changes;
};
