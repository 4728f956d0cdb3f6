#include "alarmaction.h"

#include <alarmd/libalarm.h>

bool AlarmAction::isButton() const {
    return !label.isEmpty() && (flags & ALARM_ACTION_WHEN_RESPONDED);
}

bool AlarmAction::isDBus() const {
    return flags & ALARM_ACTION_TYPE_DBUS;
}

bool AlarmAction::isSnooze() const {
    return flags & ALARM_ACTION_TYPE_SNOOZE;
}

bool AlarmAction::doesSomething() const {
    // A bare button still closes the dialog; other actions need a D-Bus call
    // and a moment to run it.
    if (isButton()) {
        return true;
    }
    return isDBus() && (flags & (ALARM_ACTION_WHEN_QUEUED | ALARM_ACTION_WHEN_TRIGGERED |
                                 ALARM_ACTION_WHEN_DELETED));
}

bool AlarmAction::operator==(const AlarmAction& other) const {
    return flags == other.flags && label == other.label && execCommand == other.execCommand &&
           dbusInterface == other.dbusInterface && dbusService == other.dbusService &&
           dbusPath == other.dbusPath && dbusName == other.dbusName && dbusArgs == other.dbusArgs;
}
