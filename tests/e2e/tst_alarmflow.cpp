#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QStandardPaths>

#include "daemonclient.h"
#include "mainwindow.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "testdatabase.h"
#include "xserver.h"

using DaemonClient::callbackEvent;
using DaemonClient::dialogEventsOf;
using DaemonClient::Event;
using DaemonClient::respond;
using DaemonClient::respondWithin;
using DaemonClient::text;

namespace {

const QString kDaemon = QStringLiteral("org.velmar.alarmd");
const QString kApp = QStringLiteral("org.velmar.pardoreminder");
const QString kTitle = QStringLiteral("Pardo Reminder");

} // namespace

// The application, the alarm daemon and the session bus together, as a user has them.
class TestAlarmFlow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();
    void activatingCountdownOpensDialog();
    void pardoButtonStartsTheApplication();
    void weeklyCallbackReachesFreshApplication();
    void foreverWeeklyIsQueuedAgainAfterItRings();
    void callbackBeyondTheAlarmListShowsBareName();

private:
    void insertWeeklyTask();
    Task* inMemoryWeeklyTask();
    // Until the application started by the bus has ended by itself; none of its windows may
    // appear meanwhile.
    void waitForUnseenEnd();

    std::unique_ptr<TaskManager> manager;
    // The application the bus starts puts its windows here, where the test can look for them.
    std::unique_ptr<XServer> screen;
};

void TestAlarmFlow::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    const QString services = TestEnvironment::current()->root() + QStringLiteral("/bus/services");
    QVERIFY(DaemonClient::writeServiceFile(services, kDaemon, QStringLiteral(PARDO_ALARMD_PATH)));
    screen = std::make_unique<XServer>();
    QVERIFY2(screen->isRunning(), "no X server (package xvfb)");
    const QString env = QStandardPaths::findExecutable(QStringLiteral("env"));
    QVERIFY(!env.isEmpty());
    QVERIFY(DaemonClient::writeServiceFile(
        services, kApp,
        QStringLiteral("%1 QT_QPA_PLATFORM=xcb DISPLAY=%2 %3")
            .arg(env, screen->display(), QStringLiteral(PARDO_REMINDER_PATH))));
}

void TestAlarmFlow::init() {
    // One HOME for the whole run: the bus starts the application with the bus's own environment.
    manager = std::make_unique<TaskManager>();
    for (cookie_t cookie : DaemonClient::cookies("")) {
        QVERIFY(cookie > 0);
        alarmd_event_del(cookie);
    }
}

void TestAlarmFlow::cleanup() {
    QVERIFY(DaemonClient::stopService(kApp));
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestAlarmFlow::cleanupTestCase() {
    QVERIFY(DaemonClient::stopService(kDaemon));
    screen.reset();
}

void TestAlarmFlow::waitForUnseenEnd() {
    QElapsedTimer clock;
    clock.start();
    while (DaemonClient::isRunning(kApp) && clock.elapsed() < 80000) {
        QCOMPARE(screen->viewableWindows(kTitle), 0);
        QTest::qWait(500);
    }
    QVERIFY2(!DaemonClient::isRunning(kApp), "the application started by the bus did not end");
    QCOMPARE(screen->viewableWindows(kTitle), 0);
}

void TestAlarmFlow::insertWeeklyTask() {
    const QDate today = QDate::currentDate();
    TestDatabase::exec(QStringLiteral("DELETE FROM tasks WHERE id = 30"));
    TestDatabase::exec(QStringLiteral("DELETE FROM alarms WHERE task_id = 30"));
    TestDatabase::exec(QStringLiteral("DELETE FROM repetitions WHERE task_id = 30"));
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (30, 'Weekly walk', 1, 2, "
                                              "'%1', '06:45')")
                                   .arg(today.addDays(-20).toString(Qt::ISODate))));
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO alarms (task_id, is_before, units, unit_type, description) VALUES "
        "(30, 1, 15, 0, 'shoes')")));
    QVERIFY(TestDatabase::exec(
        QStringLiteral(
            "INSERT INTO repetitions (task_id, repeat_type, repeat_units, repeat_stop_date, "
            "repeat_interval_type, repeat_interval_units, extra_data) VALUES "
            "(30, 3, 0, '%1', 3, 1, 'W:1:2:3:4:5:6:7')")
            .arg(today.addDays(60).toString(Qt::ISODate))));
}

Task* TestAlarmFlow::inMemoryWeeklyTask() {
    manager->loadTasks();
    for (Task* task : manager->allTasks()) {
        if (task->id() == 30) {
            return task;
        }
    }
    return nullptr;
}

void TestAlarmFlow::activatingCountdownOpensDialog() {
    // The seed task is a countdown with one alarm at 0 minutes.
    MainWindow window(*manager);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    Task* seed = manager->allTasks().first();
    QCOMPARE(seed->name(), QStringLiteral("Initial"));
    QTest::mouseDClick(window.windowHandle(), Qt::LeftButton, {},
                       seed->taskButton()->mapTo(&window, QPoint(150, 50)));
    QVERIFY(seed->active());

    std::vector<Event> placed = dialogEventsOf(1);
    QCOMPARE(placed.size(), size_t(1));
    const cookie_t cookie = placed[0]->cookie;
    // The dialog is up within two seconds: "Stop" can be pressed.
    QVERIFY(respondWithin(cookie, 0, 2000));
    // Answered and one-shot: the event is gone.
    QTRY_VERIFY(dialogEventsOf(1).empty());

    // Switching it off withdraws what a new activation placed.
    QTest::mouseDClick(window.windowHandle(), Qt::LeftButton, {},
                       seed->taskButton()->mapTo(&window, QPoint(150, 50)));
    QVERIFY(!seed->active());
    QVERIFY(DaemonClient::events("PARDO").empty());
}

void TestAlarmFlow::pardoButtonStartsTheApplication() {
    QVERIFY(!DaemonClient::isRunning(kApp));
    manager->loadTasks();
    // The dialog the application asks for when an alarm fires.
    manager->handleAlarmTriggeredForTask(1, 0);
    std::vector<Event> placed = dialogEventsOf(1);
    QCOMPARE(placed.size(), size_t(1));
    QCOMPARE(text(alarm_event_get_message(placed[0].get())), QStringLiteral("Initial"));
    // "PARDO" is the third button: it calls top_application, which starts the application.
    QVERIFY(respondWithin(placed[0]->cookie, 2, 5000));
    QTRY_VERIFY_WITH_TIMEOUT(DaemonClient::isRunning(kApp), 20000);
    // Started for this call, it shows its window.
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(kTitle), 1, 20000);

    // With the application running, the same button only brings it up.
    manager->handleAlarmTriggeredForTask(1, 0);
    placed = dialogEventsOf(1);
    QCOMPARE(placed.size(), size_t(1));
    QVERIFY(respondWithin(placed[0]->cookie, 2, 5000));
    QTest::qWait(200);
    QVERIFY(DaemonClient::isRunning(kApp));
    QCOMPARE(screen->viewableWindows(kTitle), 1);
}

void TestAlarmFlow::weeklyCallbackReachesFreshApplication() {
    insertWeeklyTask();
    Task* weekly = inMemoryWeeklyTask();
    QVERIFY(weekly);
    QVERIFY(!DaemonClient::isRunning(kApp));
    Event due = callbackEvent(30, 0, time(nullptr) + 1);
    QVERIFY(alarmd_event_add(due.get()) > 0);

    // The daemon's call starts the application, which places the next occurrence and the dialog.
    QTRY_VERIFY_WITH_TIMEOUT(DaemonClient::isRunning(kApp), 20000);
    QTRY_VERIFY_WITH_TIMEOUT(dialogEventsOf(30).size() == 1, 20000);
    std::vector<Event> dialog = dialogEventsOf(30);
    QCOMPARE(text(alarm_event_get_message(dialog[0].get())), QStringLiteral("Weekly walk - shoes"));

    bool nextPlaced = false;
    for (const Event& event : DaemonClient::events("PARDO")) {
        if (alarm_event_get_action_count(event.get()) == 1 &&
            alarm_event_get_attr_int(event.get(), "task_id", 0) == 30) {
            QCOMPARE(event->trigger,
                     time_t(weekly->getAlarm(0)->getNextOccurrence().toSecsSinceEpoch()));
            nextPlaced = true;
        }
    }
    QVERIFY(nextPlaced);
    QVERIFY(respondWithin(dialog[0]->cookie, 0, 5000));
    // Started only for the call, it did its work without a window.
    QCOMPARE(screen->viewableWindows(kTitle), 0);
}

void TestAlarmFlow::foreverWeeklyIsQueuedAgainAfterItRings() {
    // Bin day, every week on Monday and Thursday at 07:06, forever, started weeks ago.
    const QTime binTime(7, 6);
    const QDateTime now = QDateTime::currentDateTime();
    if (qAbs(QDateTime(now.date(), binTime).secsTo(now)) < 120) {
        QSKIP("too close to the task's time");
    }
    QDate start = QDate::currentDate().addDays(-40);
    while (start.dayOfWeek() != 1) {
        start = start.addDays(1);
    }
    TestDatabase::exec(QStringLiteral("DELETE FROM tasks WHERE id = 31"));
    TestDatabase::exec(QStringLiteral("DELETE FROM alarms WHERE task_id = 31"));
    TestDatabase::exec(QStringLiteral("DELETE FROM repetitions WHERE task_id = 31"));
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (31, 'Bin day', 1, 2, '%1', '07:06')")
                                   .arg(start.toString(Qt::ISODate))));
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO alarms (task_id, is_before, units, unit_type, description) VALUES "
        "(31, 0, 0, 0, 'bins out')")));
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, "
                       "extra_data) VALUES (31, 2, 0, '', 3, 1, 'W:1:4')")));
    manager->loadTasks();
    Task* task = nullptr;
    for (Task* candidate : manager->allTasks()) {
        if (candidate->id() == 31) {
            task = candidate;
        }
    }
    QVERIFY(task);
    // The next Monday or Thursday at 07:06 that is still ahead, from the calendar.
    QDate next = now.date();
    while (!((next.dayOfWeek() == 1 || next.dayOfWeek() == 4) && now < QDateTime(next, binTime))) {
        next = next.addDays(1);
    }
    const time_t expected = time_t(QDateTime(next, binTime).toSecsSinceEpoch());
    const auto queued = [] {
        std::vector<time_t> triggers;
        for (const Event& event : DaemonClient::events("PARDO")) {
            if (alarm_event_get_action_count(event.get()) == 1 &&
                alarm_event_get_attr_int(event.get(), "task_id", 0) == 31) {
                triggers.push_back(event->trigger);
            }
        }
        return triggers;
    };
    manager->setAlarmsForTask(*task);
    QCOMPARE(queued(), std::vector<time_t>{expected});

    // It rings with the application closed: the bus starts it, and it queues the next one
    // without showing a window, then ends by itself.
    QVERIFY(!DaemonClient::isRunning(kApp));
    for (cookie_t cookie : DaemonClient::cookies("PARDO")) {
        alarmd_event_del(cookie);
    }
    Event due = callbackEvent(31, 0, time(nullptr) + 1);
    QVERIFY(alarmd_event_add(due.get()) > 0);
    QTRY_VERIFY_WITH_TIMEOUT(dialogEventsOf(31).size() == 1, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(queued(), std::vector<time_t>{expected}, 10000);
    std::vector<Event> dialog = dialogEventsOf(31);
    QCOMPARE(text(alarm_event_get_message(dialog[0].get())), QStringLiteral("Bin day - bins out"));
    QVERIFY(respondWithin(dialog[0]->cookie, 0, 5000));
    QTRY_VERIFY(dialogEventsOf(31).empty());
    QCOMPARE(queued(), std::vector<time_t>{expected});
    waitForUnseenEnd();
    QCOMPARE(queued(), std::vector<time_t>{expected});

    // Switched off, nothing of it stays queued.
    task->changeActivationState();
    QVERIFY(!task->active());
    QVERIFY(queued().empty());
}

void TestAlarmFlow::callbackBeyondTheAlarmListShowsBareName() {
    insertWeeklyTask();
    QVERIFY(inMemoryWeeklyTask());
    // Alarm 4 of a task with one alarm: nothing crashes and the dialog names the task alone.
    QDBusMessage call = QDBusMessage::createMethodCall(
        kApp, QStringLiteral("/org/velmar/pardoreminder"), kApp, QStringLiteral("alarm_triggered"));
    call << 30 << 4;
    QDBusReply<int> reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 20000);
    QVERIFY2(reply.isValid(), qPrintable(reply.error().message()));
    QCOMPARE(reply.value(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(dialogEventsOf(30).size() == 1, 10000);
    std::vector<Event> dialog = dialogEventsOf(30);
    QCOMPARE(text(alarm_event_get_message(dialog[0].get())), QStringLiteral("Weekly walk"));
    QVERIFY(respondWithin(dialog[0]->cookie, 0, 5000));
    QVERIFY(DaemonClient::isRunning(kApp));
}

PARDO_DBUS_TEST_MAIN(TestAlarmFlow)
#include "tst_alarmflow.moc"
