#include "alarm.h"

#include "task.h"

Alarm::Alarm(Task& task, bool isBefore, int units, Alarm::Unit unitType, const QString& description)
    : QObject(&task)
    , isBefore_(isBefore)
    , units_(units)
    , unitType_(unitType)
    , description_(description)
    , task(task) {}

QDateTime Alarm::addAlarmOffset(const QDateTime& base) const {
    switch (unitType_) {
    case Minutes:
        return base.addSecs(isBefore_ ? -(units_ * 60) : units_ * 60);
    case Hours:
        return base.addSecs(isBefore_ ? -(units_ * 3600) : units_ * 3600);
    case Days:
        // Calendar days keep the time of day across daylight-saving changes.
        return base.addDays(isBefore_ ? -units_ : units_);
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
    return start.addSecs(qint64(units_) * unitSeconds);
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
