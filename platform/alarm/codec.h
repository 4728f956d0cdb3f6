#pragma once

#include <alarmd/libalarm.h>

#include <dbus/dbus.h>

// The event dictionary of the daemon's D-Bus interface (a{sv}, keyed by field name).
namespace alarm_codec {

bool appendEvent(DBusMessageIter* iter, const alarm_event_t* event);
// A new event read from the a{sv} at `iter`, or null when it is not one.
alarm_event_t* readEvent(DBusMessageIter* iter);

} // namespace alarm_codec
