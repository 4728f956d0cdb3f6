#include "alarm.h"

#include <QtGlobal>

#include "task.h"
#include "timesource.h"

namespace {

// The editor offers up to 99 units; an offset beyond ten years is a damaged row.
constexpr qint64 kLongestOffsetSecs = 10LL * 365 * 86400;

qint64 unitSecondsOf(Alarm::Unit unit) {
    switch (unit) {
    case Alarm::Minutes:
        return 60;
    case Alarm::Hours:
        return 3600;
    case Alarm::Days:
        return 86400;
    }
    return 0;
}

qint64 boundedUnits(int units, qint64 unitSeconds) {
    return qBound(qint64(0), qint64(units), kLongestOffsetSecs / unitSeconds);
}

QDateTime offsetBy(const QDateTime& base, bool before, int units, Alarm::Unit unit) {
    switch (unit) {
    case Alarm::Minutes:
    case Alarm::Hours: {
        const qint64 secs = boundedUnits(units, unitSecondsOf(unit)) * unitSecondsOf(unit);
        return base.addSecs(before ? -secs : secs);
    }
    case Alarm::Days: {
        // Calendar days keep the time of day across daylight-saving changes.
        const qint64 days = boundedUnits(units, 86400);
        return base.addDays(before ? -days : days);
    }
    }
    return base;
}

} // namespace

Alarm::Alarm(Task& owner, bool isBefore, int units, Alarm::Unit unitType,
             const QString& description)
    : QObject(&owner)
    , isBefore_(isBefore)
    , units_(units)
    , unitType_(unitType)
    , description_(description)
    , task(owner) {}

QDateTime Alarm::addAlarmOffset(const QDateTime& base) const {
    return offsetBy(base, isBefore_, units_, unitType_);
}

bool Alarm::hasUsableOffset() const {
    const qint64 unitSeconds = unitSecondsOf(unitType_);
    return unitSeconds == 0 || (units_ >= 0 && units_ <= kLongestOffsetSecs / unitSeconds);
}

QDateTime Alarm::countdownMoment(const QDateTime& start) const {
    if (!hasUsableOffset()) {
        return QDateTime();
    }
    // Days of 86400 seconds here, unlike addAlarmOffset: a countdown counts elapsed time.
    const qint64 unitSeconds = unitSecondsOf(unitType_);
    if (unitSeconds == 0) {
        return start;
    }
    return start.addSecs(boundedUnits(units_, unitSeconds) * unitSeconds);
}

QDateTime Alarm::dueMoment() const {
    if (!hasUsableOffset()) {
        return QDateTime();
    }
    if (task.hasRepetition() && !task.hasTrivialRepetition()) {
        return getNextOccurrence();
    }
    return addAlarmOffset(QDateTime(task.date(), task.time()));
}

QDateTime Alarm::getNextOccurrence() const {
    const QDateTime now = TimeSource::currentDateTime();
    // An alarm before its occurrence is due only for occurrences later than now by about the
    // offset: start looking there rather than one occurrence at a time from now. Two days
    // less keeps daylight-saving changes from hiding an earlier one.
    QDateTime from = now;
    if (isBefore_ && hasUsableOffset()) {
        const QDateTime ahead = offsetBy(now, false, units_, unitType_).addDays(-2);
        if (ahead.isValid() && now < ahead) {
            from = ahead;
        }
    }
    int n = 1;
    QDateTime occurrence = task.nthRepetitionFromDateTime(from, n);
    QDateTime t = addAlarmOffset(occurrence);
    // An alarm before its occurrence may still lie in the past: step on to later occurrences.
    while (!(now < t)) {
        ++n;
        const QDateTime next = task.nthRepetitionFromDateTime(from, n);
        // A repetition that no longer moves has no later moment for this alarm.
        if (next.isNull() || (next == occurrence && next.date() == occurrence.date() &&
                              next.time() == occurrence.time())) {
            return QDateTime();
        }
        occurrence = next;
        t = addAlarmOffset(occurrence);
    }
    // Past the last occurrence there is no next moment; "Forever" by weeks and up never ends.
    const QDateTime end = task.calculateEndDateTime();
    if (end < t) {
        return QDateTime();
    }
    return t;
}
