#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <alarmd/libalarm.h>

#include <csignal>
#include <cstring>

#include <unistd.h>

#include "libalarmtestcase.h"
#include "pardotest.h"
#include "silentsounddevice.h"

// The client library with the daemon: events there and back, queries, and a daemon gone.
class TestLibAlarmDaemon : public LibAlarmTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void activationStartsTheDaemon();
    void everyFieldRoundTrips();
    void brokenDownTimeRoundTrips();
    void applicationEventsRoundTrip();
    void deleteAndGet();
    void refusedEventGivesZero();
    void textThatIsNotUtf8IsRefusedHere();
    void queryFiltersByTimeFlagsAndApplication();
    void secondDaemonExitsWithTwo();
    void noBusFailsAtOnce();
    void deadDaemonFailsAtOnce();
    void stoppedDaemonTimesOut();
};

void TestLibAlarmDaemon::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(writeServiceFile(PARDO_ALARMD_PATH));
    now = time(nullptr);
}

void TestLibAlarmDaemon::cleanupTestCase() {
    QVERIFY(stopDaemon());
}

void TestLibAlarmDaemon::activationStartsTheDaemon() {
    QVERIFY(!daemonRunning());
    Event event = dialogEvent("activation", now + 3600);
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    QVERIFY(daemonRunning());
    QCOMPARE(alarmd_event_del(cookie), 0);
}

void TestLibAlarmDaemon::everyFieldRoundTrips() {
    Event event(alarm_event_create());
    alarm_event_set_alarm_appid(event.get(), "round-trip");
    alarm_event_set_title(event.get(), "Title ✓");
    alarm_event_set_message(event.get(), "Line one\nline two — ünïcödé");
    alarm_event_set_sound(event.get(), "/usr/share/sounds/freedesktop/stereo/bell.oga");
    alarm_event_set_icon(event.get(), "alarm-symbolic");
    alarm_event_set_alarm_tz(event.get(), "Europe/Helsinki");
    event->alarm_time = now + 7200;
    event->flags = ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON | ALARM_EVENT_BOOT;
    event->recur_secs = 900;
    event->recur_count = 12;
    event->snooze_secs = 120;
    event->snooze_total = 0;
    event->response = -1;
    alarm_event_set_attr_int(event.get(), "task_id", 77);
    alarm_event_set_attr_string(event.get(), "note", "a note");
    alarm_event_set_attr_time(event.get(), "created", now);

    alarm_action_t* actions = alarm_event_add_actions(event.get(), 4);
    alarm_action_set_label(&actions[0], "Stop");
    actions[0].flags = ALARM_ACTION_WHEN_RESPONDED;
    alarm_action_set_label(&actions[1], "Snooze");
    actions[1].flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE;
    alarm_action_set_label(&actions[2], "Open");
    actions[2].flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_DBUS;
    alarm_action_set_dbus_service(&actions[2], "org.example.App");
    alarm_action_set_dbus_path(&actions[2], "/org/example/App");
    alarm_action_set_dbus_interface(&actions[2], "org.example.App");
    alarm_action_set_dbus_name(&actions[2], "open");
    alarm_action_set_exec_command(&actions[2], "");
    actions[3].flags =
        ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_DELETED | ALARM_ACTION_DBUS_USE_ACTIVATION;
    alarm_action_set_dbus_path(&actions[3], "/org/example/Signal");
    alarm_action_set_dbus_interface(&actions[3], "org.example.Signal");
    alarm_action_set_dbus_name(&actions[3], "gone");
    unsigned char byte = 7;
    uint32_t boolean = 0; // dbus_bool_t
    int16_t i16 = -2;
    uint16_t u16 = 3;
    int32_t i32 = -4;
    uint32_t u32 = 5;
    int64_t i64 = -(int64_t(1) << 50);
    uint64_t u64 = ~uint64_t(0);
    double dbl = 1e-3;
    const char* str = "strings too";
    QCOMPARE(alarm_action_set_dbus_args(
                 &actions[2], DBUS_TYPE_BYTE, &byte, DBUS_TYPE_BOOLEAN, &boolean, DBUS_TYPE_INT16,
                 &i16, DBUS_TYPE_UINT16, &u16, DBUS_TYPE_INT32, &i32, DBUS_TYPE_UINT32, &u32,
                 DBUS_TYPE_INT64, &i64, DBUS_TYPE_UINT64, &u64, DBUS_TYPE_DOUBLE, &dbl,
                 DBUS_TYPE_STRING, &str, DBUS_TYPE_INVALID),
             0);

    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    Event back(alarmd_event_get(cookie));
    QVERIFY(back);
    QCOMPARE(back->cookie, cookie);
    QCOMPARE(back->trigger, now + 7200);
    QCOMPARE(text(back->alarm_appid), QStringLiteral("round-trip"));
    QCOMPARE(text(back->title), QStringLiteral("Title ✓"));
    QCOMPARE(text(back->message), QStringLiteral("Line one\nline two — ünïcödé"));
    QCOMPARE(text(back->sound), text(event->sound));
    QCOMPARE(text(back->icon), QStringLiteral("alarm-symbolic"));
    QCOMPARE(text(back->alarm_tz), QStringLiteral("Europe/Helsinki"));
    QCOMPARE(back->alarm_time, event->alarm_time);
    QVERIFY(std::memcmp(&back->alarm_tm, &event->alarm_tm, 9 * sizeof(int)) == 0);
    QCOMPARE(back->flags, event->flags);
    QCOMPARE(back->recur_secs, time_t(900));
    QCOMPARE(back->recur_count, 12);
    QCOMPARE(back->snooze_secs, time_t(120));
    QCOMPARE(back->snooze_total, time_t(0));
    QCOMPARE(back->response, -1);
    QCOMPARE(alarm_event_get_attr_int(back.get(), "task_id", 0), 77);
    QCOMPARE(text(alarm_event_get_attr_string(back.get(), "note", "")), QStringLiteral("a note"));
    QCOMPARE(alarm_event_get_attr_time(back.get(), "created", 0), now);
    QCOMPARE(back->attr_cnt, size_t(3));
    QCOMPARE(alarm_event_get_action_count(back.get()), size_t(4));
    for (int i = 0; i < 4; ++i) {
        compareActions(alarm_event_get_action(back.get(), i), &actions[i]);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    // Unset texts come back unset; empty ones empty.
    QVERIFY(!alarm_event_get_action(back.get(), 0)->dbus_service);
    QVERIFY(alarm_event_get_action(back.get(), 2)->exec_command);
    QCOMPARE(alarmd_event_del(cookie), 0);
}

void TestLibAlarmDaemon::brokenDownTimeRoundTrips() {
    Event event = dialogEvent("round-trip", -1);
    const time_t tomorrow = now + 86400;
    tm local{};
    localtime_r(&tomorrow, &local);
    local.tm_sec = 0;
    local.tm_isdst = -1;
    tm given = local;
    const time_t expected = mktime(&local);
    alarm_event_set_time(event.get(), &given);
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    Event back(alarmd_event_get(cookie));
    QVERIFY(back);
    QCOMPARE(back->alarm_time, time_t(-1));
    QCOMPARE(back->trigger, expected);
    for (auto field : {&tm::tm_sec, &tm::tm_min, &tm::tm_hour, &tm::tm_mday, &tm::tm_mon,
                       &tm::tm_year, &tm::tm_wday, &tm::tm_yday, &tm::tm_isdst}) {
        QCOMPARE(back->alarm_tm.*field, given.*field);
    }
    QCOMPARE(alarmd_event_del(cookie), 0);
}

void TestLibAlarmDaemon::applicationEventsRoundTrip() {
    // The two kinds of events the reminder places, built as it builds them.
    Event dialog(alarm_event_create());
    alarm_event_set_alarm_appid(dialog.get(), "PARDO");
    alarm_event_set_title(dialog.get(), "PARDO");
    alarm_event_set_attr_int(dialog.get(), "task_id", 3);
    alarm_event_set_message(dialog.get(), "Tea - green");
    dialog->snooze_secs = 600;
    dialog->flags |= ALARM_EVENT_RUN_DELAYED;
    dialog->alarm_time = now + 600;
    alarm_action_t* action = alarm_event_add_actions(dialog.get(), 1);
    alarm_action_set_label(action, "Stop");
    action->flags = 0x40;
    action = alarm_event_add_actions(dialog.get(), 1);
    alarm_action_set_label(action, "Snooze");
    action->flags = 0x41;
    action = alarm_event_add_actions(dialog.get(), 1);
    alarm_action_set_label(action, "PARDO");
    alarm_action_set_dbus_service(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_path(action, "/org/velmar/pardoreminder");
    alarm_action_set_dbus_interface(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_name(action, "top_application");
    action->flags = 0x42;

    Event callback(alarm_event_create());
    alarm_event_set_alarm_appid(callback.get(), "PARDO");
    alarm_event_set_title(callback.get(), "PARDO");
    alarm_event_set_attr_int(callback.get(), "task_id", 3);
    callback->flags |= ALARM_EVENT_RUN_DELAYED;
    callback->alarm_time = now + 86400 * 7;
    action = alarm_event_add_actions(callback.get(), 1);
    alarm_action_set_dbus_service(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_path(action, "/org/velmar/pardoreminder");
    alarm_action_set_dbus_interface(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_name(action, "alarm_triggered");
    int taskId = 3;
    int alarmNo = 1;
    alarm_action_set_dbus_args(action, DBUS_TYPE_INT32, &taskId, DBUS_TYPE_INT32, &alarmNo,
                               DBUS_TYPE_INVALID);
    action->flags = 0x1022;

    for (const Event* event : {&dialog, &callback}) {
        const cookie_t cookie = alarmd_event_add(event->get());
        QVERIFY(cookie > 0);
        Event back(alarmd_event_get(cookie));
        QVERIFY(back);
        QCOMPARE(alarm_event_get_attr_int(back.get(), "task_id", 0), 3);
        QCOMPARE(back->flags, unsigned(ALARM_EVENT_RUN_DELAYED));
        QCOMPARE(back->snooze_secs, (*event)->snooze_secs);
        QCOMPARE(text(back->message), text((*event)->message));
        QCOMPARE(back->action_cnt, (*event)->action_cnt);
        for (int i = 0; i < int(back->action_cnt); ++i) {
            compareActions(alarm_event_get_action(back.get(), i),
                           alarm_event_get_action(event->get(), i));
        }
        QCOMPARE(alarmd_event_del(cookie), 0);
    }
}

void TestLibAlarmDaemon::deleteAndGet() {
    Event event = dialogEvent("delete", now + 600);
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    QCOMPARE(alarmd_event_del(cookie), 0);
    QCOMPARE(alarmd_event_del(cookie), -1);
    QVERIFY(!alarmd_event_get(cookie));
    QVERIFY(!alarmd_event_get(0));
}

void TestLibAlarmDaemon::refusedEventGivesZero() {
    Event event = dialogEvent(nullptr, now + 600);
    QCOMPARE(alarmd_event_add(event.get()), cookie_t(0));
    event = dialogEvent("refused", now - 3600);
    QCOMPARE(alarmd_event_add(event.get()), cookie_t(0));
    QCOMPARE(query(0, 0, 0, 0, "refused"), QList<cookie_t>{});
    QCOMPARE(alarmd_event_add(nullptr), cookie_t(0));
}

void TestLibAlarmDaemon::textThatIsNotUtf8IsRefusedHere() {
    Event event = dialogEvent("latin1", now + 600);
    alarm_event_set_message(event.get(), "caf\xe9");
    QCOMPARE(alarmd_event_add(event.get()), cookie_t(0));
    alarm_event_set_message(event.get(), "café");
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    QCOMPARE(alarmd_event_del(cookie), 0);
    QCOMPARE(query(0, 0, 0, 0, "caf\xe9"), QList<cookie_t>{cookie_t(-1)});
}

void TestLibAlarmDaemon::queryFiltersByTimeFlagsAndApplication() {
    const time_t base = now + 3600;
    Event a = dialogEvent("query-a", base + 300);
    Event b = dialogEvent("query-b", base + 100);
    b->flags = ALARM_EVENT_RUN_DELAYED;
    Event c = dialogEvent("query-a", base + 900);
    c->flags = ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON;
    const cookie_t ca = alarmd_event_add(a.get());
    const cookie_t cb = alarmd_event_add(b.get());
    const cookie_t cc = alarmd_event_add(c.get());
    QVERIFY(ca > 0 && cb > 0 && cc > 0);

    const QList<cookie_t> all = query(0, 0, 0, 0, "");
    QCOMPARE(all, (QList<cookie_t>{cb, ca, cc}));
    QCOMPARE(query(0, 0, 0, 0, nullptr), all);
    QCOMPARE(query(-5, -5, 0, 0, ""), all);
    QCOMPARE(query(base + 300, 0, 0, 0, ""), (QList<cookie_t>{ca, cc}));
    QCOMPARE(query(0, base + 300, 0, 0, ""), (QList<cookie_t>{cb, ca}));
    QCOMPARE(query(base + 101, base + 899, 0, 0, ""), QList<cookie_t>{ca});
    QCOMPARE(query(base + 301, base + 899, 0, 0, ""), QList<cookie_t>{});
    QCOMPARE(query(0, 0, ALARM_EVENT_RUN_DELAYED, ALARM_EVENT_RUN_DELAYED, ""),
             (QList<cookie_t>{cb, cc}));
    QCOMPARE(query(0, 0, ALARM_EVENT_RUN_DELAYED, 0, ""), QList<cookie_t>{ca});
    QCOMPARE(
        query(0, 0, ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON, ALARM_EVENT_RUN_DELAYED, ""),
        QList<cookie_t>{cb});
    QCOMPARE(query(0, 0, 0, 0, "query-a"), (QList<cookie_t>{ca, cc}));
    QCOMPARE(query(0, 0, ALARM_EVENT_SHOW_ICON, ALARM_EVENT_SHOW_ICON, "query-a"),
             QList<cookie_t>{cc});
    QCOMPARE(query(0, 0, 0, 0, "nobody"), QList<cookie_t>{});
    Cookies empty(alarmd_event_query(0, 0, 0, 0, "nobody"));
    QVERIFY(empty);
    QCOMPARE(empty.get()[0], cookie_t(0));
    for (cookie_t cookie : all) {
        QCOMPARE(alarmd_event_del(cookie), 0);
    }
}

void TestLibAlarmDaemon::secondDaemonExitsWithTwo() {
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(cookies);
    QVERIFY(daemonRunning());
    QProcess second;
    second.start(QStringLiteral(PARDO_ALARMD_PATH), {});
    QVERIFY(second.waitForFinished(20000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 2);
    QVERIFY(daemonRunning());
}

void TestLibAlarmDaemon::noBusFailsAtOnce() {
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("DBUS_SESSION_BUS_ADDRESS",
            "unix:path=" + TestEnvironment::current()->root().toUtf8() + "/no-bus-here");
    Event event = dialogEvent("nobus", now + 600);
    QElapsedTimer timer;
    timer.start();
    const cookie_t cookie = alarmd_event_add(event.get());
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    alarm_event_t* fetched = alarmd_event_get(1);
    const int deleted = alarmd_event_del(1);
    const qint64 elapsed = timer.elapsed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QCOMPARE(cookie, cookie_t(0));
    QVERIFY(!cookies);
    QVERIFY(!fetched);
    QCOMPARE(deleted, -1);
    QVERIFY2(elapsed < 2000, qPrintable(QString::number(elapsed)));
    // With the bus back, so is the library.
    Cookies again(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(again);
}

void TestLibAlarmDaemon::deadDaemonFailsAtOnce() {
    QVERIFY(QFile::rename(serviceFile(), serviceFile() + QStringLiteral(".off")));
    QVERIFY(stopDaemon());
    Event event = dialogEvent("dead", now + 600);
    QElapsedTimer timer;
    timer.start();
    const cookie_t cookie = alarmd_event_add(event.get());
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    alarm_event_t* fetched = alarmd_event_get(1);
    const int deleted = alarmd_event_del(1);
    const qint64 elapsed = timer.elapsed();
    QVERIFY(QFile::rename(serviceFile() + QStringLiteral(".off"), serviceFile()));
    QCOMPARE(cookie, cookie_t(0));
    QVERIFY(!cookies);
    QVERIFY(!fetched);
    QCOMPARE(deleted, -1);
    // No waiting for a timeout when nobody can answer.
    QVERIFY2(elapsed < 2000, qPrintable(QString::number(elapsed)));
}

void TestLibAlarmDaemon::stoppedDaemonTimesOut() {
    Cookies started(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(started);
    const pid_t pid = pid_t(daemonPid());
    QVERIFY(pid > 0);
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    QElapsedTimer timer;
    timer.start();
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    const qint64 elapsed = timer.elapsed();
    QCOMPARE(::kill(pid, SIGCONT), 0);
    QVERIFY(!cookies);
    // The call gives up after the library's few seconds instead of hanging.
    QVERIFY2(elapsed >= 3000 && elapsed < 15000, qPrintable(QString::number(elapsed)));
    Cookies again(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(again);
}

PARDO_DBUS_TEST_MAIN(TestLibAlarmDaemon)
#include "tst_libalarmdaemon.moc"
