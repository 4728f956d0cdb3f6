#include "daemonclient.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QFile>
#include <QtTest>

#include <csignal>

namespace DaemonClient {

bool writeServiceFile(const QString& servicesDir, const QString& name, const QString& exec) {
    QFile file(servicesDir + QLatin1Char('/') + name + QStringLiteral(".service"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    file.write(QStringLiteral("[D-BUS Service]\nName=%1\nExec=%2\n").arg(name, exec).toUtf8());
    return true;
}

bool isRunning(const QString& name) {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(name);
}

bool stopService(const QString& name) {
    if (!isRunning(name)) {
        return true;
    }
    const uint pid = QDBusConnection::sessionBus().interface()->servicePid(name).value();
    if (pid == 0 || ::kill(pid_t(pid), SIGTERM) != 0) {
        return false;
    }
    return QTest::qWaitFor([&name] { return !isRunning(name); }, 10000);
}

QList<cookie_t> cookies(const char* appid) {
    cookie_t* found = alarmd_event_query(0, 0, 0, 0, appid);
    if (!found) {
        return {cookie_t(-1)};
    }
    QList<cookie_t> list;
    for (const cookie_t* c = found; *c; ++c) {
        list << *c;
    }
    std::free(found);
    return list;
}

std::vector<Event> events(const char* appid) {
    std::vector<Event> result;
    for (cookie_t cookie : cookies(appid)) {
        if (cookie > 0) {
            if (alarm_event_t* event = alarmd_event_get(cookie)) {
                result.emplace_back(event);
            }
        }
    }
    return result;
}

QString text(const char* value) {
    return QString::fromUtf8(value);
}

bool respond(cookie_t cookie, int index) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.velmar.alarmd"), QStringLiteral("/org/velmar/alarmd"),
        QStringLiteral("org.velmar.alarmd"), QStringLiteral("respond"));
    call << qlonglong(cookie) << index;
    QDBusReply<bool> reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
    return reply.isValid() && reply.value();
}

bool respondWithin(cookie_t cookie, int index, int timeoutMs) {
    return QTest::qWaitFor([cookie, index] { return respond(cookie, index); }, timeoutMs);
}

std::vector<Event> dialogEventsOf(int taskId) {
    std::vector<Event> found;
    for (Event& event : events("PARDO")) {
        if (alarm_event_get_attr_int(event.get(), "task_id", 0) == taskId &&
            alarm_event_get_action_count(event.get()) == 3) {
            found.push_back(std::move(event));
        }
    }
    return found;
}

Event callbackEvent(int taskId, int alarmNo, time_t when) {
    Event event(alarm_event_create());
    alarm_event_set_alarm_appid(event.get(), "PARDO");
    alarm_event_set_title(event.get(), "PARDO");
    alarm_event_set_attr_int(event.get(), "task_id", taskId);
    event->alarm_time = when;
    alarm_action_t* action = alarm_event_add_actions(event.get(), 1);
    alarm_action_set_dbus_service(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_path(action, "/org/velmar/pardoreminder");
    alarm_action_set_dbus_interface(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_name(action, "alarm_triggered");
    int32_t task = taskId;
    int32_t alarm = alarmNo;
    alarm_action_set_dbus_args(action, DBUS_TYPE_INT32, &task, DBUS_TYPE_INT32, &alarm,
                               DBUS_TYPE_INVALID);
    action->flags =
        ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED | ALARM_ACTION_DBUS_USE_ACTIVATION;
    return event;
}

} // namespace DaemonClient
