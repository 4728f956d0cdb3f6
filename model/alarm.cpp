#include "alarm.h"

#include <QtGlobal>

#include "task.h"

namespace {

// An offset longer than the daemon's whole range of times (from 1970 to the end of 9999)
// cannot land in it from anywhere; more units than that are as good as that many.
constexpr qint64 kLongestOffsetSecs = 253402300799;

qint64 boundedUnits(int units, qint64 unitSeconds) {
    return qBound(qint64(0), qint64(units), kLongestOffsetSecs / unitSeconds);
}

} // namespace

Alarm::Alarm(Task& task, bool isBefore, int units, Alarm::Unit unitType, const QString& description)
    : QObject(&task)
    , isBefore_(isBefore)
    , units_(units)
    , unitType_(unitType)
    , description_(description)
    , task(task) {}

QDateTime Alarm::addAlarmOffset(const QDateTime& base) const {
    switch (unitType_) {
    case Minutes: {
        const qint64 secs = boundedUnits(units_, 60) * 60;
        return base.addSecs(isBefore_ ? -secs : secs);
    }
    case Hours: {
        const qint64 secs = boundedUnits(units_, 3600) * 3600;
        return base.addSecs(isBefore_ ? -secs : secs);
    }
    case Days: {
        // Calendar days keep the time of day across daylight-saving changes.
        const qint64 days = boundedUnits(units_, 86400);
        return base.addDays(isBefore_ ? -days : days);
    }
    }
    return base;
}

QDateTime Alarm::countdownMoment(const QDateTime& start) const {
    qint64 unitSeconds = 0;
    switch (unitType_) {
    case Minutes:
        unitSeconds = 60;
        break;
    case Hours:
        unitSeconds = 3600;
        break;
    case Days:
        // Days of 86400 seconds here, unlike addAlarmOffset: a countdown counts elapsed time.
        unitSeconds = 86400;
        break;
    }
    if (unitSeconds == 0) {
        return start;
    }
    return start.addSecs(boundedUnits(units_, unitSeconds) * unitSeconds);
}

QDateTime Alarm::dueMoment() const {
    if (task.hasRepetition() && !task.hasTrivialRepetition()) {
        return getNextOccurrence();
    }
    return addAlarmOffset(QDateTime(task.date(), task.time()));
}

QDateTime Alarm::getNextOccurrence() const {
    const QDateTime now = QDateTime::currentDateTime();
    int n = 1;
    QDateTime occurrence = task.nthRepetitionFromDateTime(now, n);
    QDateTime t = addAlarmOffset(occurrence);
    // An alarm before its occurrence may still lie in the past: step on to later occurrences.
    while (!(now < t)) {
        ++n;
        const QDateTime next = task.nthRepetitionFromDateTime(now, n);
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
