#include "alarmmanagertestcase.h"

#include <QtTest>

#include <algorithm>

#include "silentsounddevice.h"
#include "testdatabase.h"
#include "testenvironment.h"

using DaemonClient::Event;
using DaemonClient::text;

const QString AlarmManagerTestCase::kDaemon = QStringLiteral("org.velmar.alarmd");

AlarmManagerTestCase::AlarmManagerTestCase() = default;
AlarmManagerTestCase::~AlarmManagerTestCase() = default;

std::vector<Event> AlarmManagerTestCase::pardoEvents() {
    return DaemonClient::events("PARDO");
}

std::vector<Event> AlarmManagerTestCase::eventsOf(int taskId) {
    std::vector<Event> result;
    for (Event& event : pardoEvents()) {
        if (alarm_event_get_attr_int(event.get(), "task_id", 0) == taskId) {
            result.push_back(std::move(event));
        }
    }
    std::sort(result.begin(), result.end(),
              [](const Event& a, const Event& b) { return a->trigger < b->trigger; });
    return result;
}

void AlarmManagerTestCase::verifyDialogActions(const alarm_event_t* event) {
    QCOMPARE(alarm_event_get_action_count(event), size_t(3));
    const alarm_action_t* stop = alarm_event_get_action(event, 0);
    const alarm_action_t* snooze = alarm_event_get_action(event, 1);
    const alarm_action_t* open = alarm_event_get_action(event, 2);
    QCOMPARE(text(alarm_action_get_label(stop)), QStringLiteral("Stop"));
    QCOMPARE(stop->flags, 0x40u);
    QCOMPARE(text(alarm_action_get_label(snooze)), QStringLiteral("Snooze"));
    QCOMPARE(snooze->flags, 0x41u);
    QCOMPARE(text(alarm_action_get_label(open)), QStringLiteral("PARDO"));
    QCOMPARE(open->flags, 0x42u);
    QCOMPARE(text(alarm_action_get_dbus_service(open)), QStringLiteral("org.velmar.pardoreminder"));
    QCOMPARE(text(alarm_action_get_dbus_path(open)), QStringLiteral("/org/velmar/pardoreminder"));
    QCOMPARE(text(alarm_action_get_dbus_interface(open)),
             QStringLiteral("org.velmar.pardoreminder"));
    QCOMPARE(text(alarm_action_get_dbus_name(open)), QStringLiteral("top_application"));
    QCOMPARE(alarm_action_get_dbus_args_count(open), size_t(0));
}

void AlarmManagerTestCase::verifyCommon(const alarm_event_t* event, int taskId,
                                        const QString& message, int snoozeSecs) {
    QCOMPARE(text(alarm_event_get_alarm_appid(event)), QStringLiteral("PARDO"));
    QCOMPARE(text(alarm_event_get_title(event)), QStringLiteral("PARDO"));
    QCOMPARE(alarm_event_get_attr_int(event, "task_id", -1), taskId);
    QCOMPARE(text(alarm_event_get_message(event)), message);
    QCOMPARE(int(event->snooze_secs), snoozeSecs);
    QVERIFY(event->flags & 0x40);
}

time_t AlarmManagerTestCase::secondsOf(const QDateTime& moment) {
    return time_t(moment.toSecsSinceEpoch());
}

std::vector<Event> AlarmManagerTestCase::callbacksOf(int taskId) {
    std::vector<Event> result;
    for (Event& event : eventsOf(taskId)) {
        if (alarm_event_get_action_count(event.get()) == 1) {
            result.push_back(std::move(event));
        }
    }
    return result;
}

void AlarmManagerTestCase::initTestCase(const QString& daemonPath) {
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(DaemonClient::writeServiceFile(
        TestEnvironment::current()->root() + QStringLiteral("/bus/services"), kDaemon, daemonPath));
}

void AlarmManagerTestCase::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
    alarms = std::make_unique<AlarmManager>();
    // Start every test with an empty queue.
    for (cookie_t cookie : DaemonClient::cookies("")) {
        QVERIFY(cookie > 0);
        alarmd_event_del(cookie);
    }
}

void AlarmManagerTestCase::cleanup() {
    tasks.clear();
    alarms.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void AlarmManagerTestCase::cleanupTestCase() {
    QVERIFY(DaemonClient::stopService(kDaemon));
}

Task* AlarmManagerTestCase::newTask(const QString& name, bool active, Task::Type type) {
    tasks.push_back(std::make_unique<Task>(*manager, int(100 + tasks.size()), name, active, type));
    return tasks.back().get();
}
