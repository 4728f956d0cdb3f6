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
