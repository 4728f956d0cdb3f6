#include "libalarmtestcase.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QtTest>

#include <csignal>
#include <cstdlib>

#include "testenvironment.h"

const QString LibAlarmTestCase::daemonName = QStringLiteral("org.velmar.alarmd");

void LibAlarmTestCase::EventDeleter::operator()(alarm_event_t* event) const {
    alarm_event_delete(event);
}

void LibAlarmTestCase::CookiesDeleter::operator()(cookie_t* cookies) const {
    free(cookies);
}

QString LibAlarmTestCase::serviceFile() {
    // PARDO_DBUS_TEST_MAIN starts the private bus in root()/bus.
    return TestEnvironment::current()->root() + QStringLiteral("/bus/services/") + daemonName +
           QStringLiteral(".service");
}

bool LibAlarmTestCase::writeServiceFile(const char* daemonPath) {
    QFile file(serviceFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    file.write("[D-BUS Service]\nName=org.velmar.alarmd\nExec=");
    file.write(daemonPath);
    file.write("\n");
    return true;
}

bool LibAlarmTestCase::daemonRunning() {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(daemonName);
}

uint LibAlarmTestCase::daemonPid() {
    return QDBusConnection::sessionBus().interface()->servicePid(daemonName).value();
}

bool LibAlarmTestCase::stopDaemon() {
    if (!daemonRunning()) {
        return true;
    }
    const uint pid = daemonPid();
    if (pid == 0 || ::kill(pid_t(pid), SIGTERM) != 0) {
        return false;
    }
    return QTest::qWaitFor([] { return !daemonRunning(); }, 10000);
}

QList<cookie_t> LibAlarmTestCase::toList(const cookie_t* cookies) {
    QList<cookie_t> list;
    for (const cookie_t* c = cookies; c && *c; ++c) {
        list << *c;
    }
    return list;
}

QList<cookie_t> LibAlarmTestCase::query(time_t first, time_t last, int32_t mask, int32_t flags,
                                        const char* appid) {
    Cookies cookies(alarmd_event_query(first, last, mask, flags, appid));
    return cookies ? toList(cookies.get()) : QList<cookie_t>{cookie_t(-1)};
}

LibAlarmTestCase::Event LibAlarmTestCase::dialogEvent(const char* appid, time_t when) {
    Event event(alarm_event_create());
    alarm_event_set_alarm_appid(event.get(), appid);
    alarm_event_set_title(event.get(), "Test");
    event->alarm_time = when;
    alarm_action_t* stop = alarm_event_add_actions(event.get(), 1);
    alarm_action_set_label(stop, "Stop");
    stop->flags = ALARM_ACTION_WHEN_RESPONDED;
    return event;
}

QString LibAlarmTestCase::text(const char* value) {
    return QString::fromUtf8(value);
}

void LibAlarmTestCase::compareActions(const alarm_action_t* got, const alarm_action_t* want) {
    QCOMPARE(got->flags, want->flags);
    QCOMPARE(text(alarm_action_get_label(got)), text(alarm_action_get_label(want)));
    QCOMPARE(text(alarm_action_get_exec_command(got)), text(alarm_action_get_exec_command(want)));
    QCOMPARE(text(alarm_action_get_dbus_interface(got)),
             text(alarm_action_get_dbus_interface(want)));
    QCOMPARE(text(alarm_action_get_dbus_service(got)), text(alarm_action_get_dbus_service(want)));
    QCOMPARE(text(alarm_action_get_dbus_path(got)), text(alarm_action_get_dbus_path(want)));
    QCOMPARE(text(alarm_action_get_dbus_name(got)), text(alarm_action_get_dbus_name(want)));
    QCOMPARE(alarm_action_get_dbus_args_count(got), alarm_action_get_dbus_args_count(want));
    for (int i = 0; i < int(alarm_action_get_dbus_args_count(want)); ++i) {
        const alarm_dbus_arg_t* a = alarm_action_get_dbus_arg(got, i);
        const alarm_dbus_arg_t* b = alarm_action_get_dbus_arg(want, i);
        QCOMPARE(a->type, b->type);
        switch (a->type) {
        case DBUS_TYPE_STRING:
            QCOMPARE(text(a->value.string_value), text(b->value.string_value));
            break;
        case DBUS_TYPE_DOUBLE:
            QCOMPARE(a->value.double_value, b->value.double_value);
            break;
        case DBUS_TYPE_BYTE:
            QCOMPARE(a->value.byte_value, b->value.byte_value);
            break;
        case DBUS_TYPE_BOOLEAN:
            QCOMPARE(a->value.bool_value, b->value.bool_value);
            break;
        case DBUS_TYPE_INT16:
            QCOMPARE(a->value.int16_value, b->value.int16_value);
            break;
        case DBUS_TYPE_UINT16:
            QCOMPARE(a->value.uint16_value, b->value.uint16_value);
            break;
        case DBUS_TYPE_INT32:
            QCOMPARE(a->value.int32_value, b->value.int32_value);
            break;
        case DBUS_TYPE_UINT32:
            QCOMPARE(a->value.uint32_value, b->value.uint32_value);
            break;
        case DBUS_TYPE_INT64:
            QCOMPARE(a->value.int64_value, b->value.int64_value);
            break;
        case DBUS_TYPE_UINT64:
            QCOMPARE(a->value.uint64_value, b->value.uint64_value);
            break;
        default:
            QFAIL("unexpected argument type");
        }
    }
}
