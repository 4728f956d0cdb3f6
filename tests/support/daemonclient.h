#pragma once

#include <QList>
#include <QString>

#include <alarmd/libalarm.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <vector>

// Owning handles and small helpers for tests that talk to pardo-alarmd.
namespace DaemonClient {

struct EventDeleter {
    void operator()(alarm_event_t* event) const { alarm_event_delete(event); }
};
using Event = std::unique_ptr<alarm_event_t, EventDeleter>;

// Writes a D-Bus activation file for `name` into the private bus's service folder.
bool writeServiceFile(const QString& servicesDir, const QString& name, const QString& exec);
// Ends the process owning `name` on the session bus and waits until the name is free.
bool stopService(const QString& name);
bool isRunning(const QString& name);

// Every cookie of `appid` (all applications for an empty one); {-1} when the daemon is unreachable.
QList<cookie_t> cookies(const char* appid);
// The events of `appid`, fetched one by one.
std::vector<Event> events(const char* appid);

QString text(const char* value);

// Answers the open dialog of `cookie` with button `index`; false while no dialog is open.
bool respond(cookie_t cookie, int index);
// Waits for the dialog of `cookie` and presses button `index` (QTRY would press it twice).
bool respondWithin(cookie_t cookie, int index, int timeoutMs);
// The PARDO events of one task that carry the dialog buttons.
std::vector<Event> dialogEventsOf(int taskId);
// The event the application places for a dated task: at `when` the daemon calls it back.
Event callbackEvent(int taskId, int alarmNo, time_t when);

} // namespace DaemonClient
