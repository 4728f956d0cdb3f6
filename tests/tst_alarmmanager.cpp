#include <QDateTime>
#include <QDir>
#include <QStandardPaths>

#include "alarmmanager.h"
#include "daemonclient.h"
#include "literalrecurrence.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "task.h"
#include "taskmanager.h"
#include "testdatabase.h"

#include "alarmmanagertestcase.h"

using DaemonClient::Event;
using DaemonClient::text;

// The events a task's alarms become in the daemon: countdowns, dated tasks, repetitions.
class TestAlarmManager : public AlarmManagerTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { AlarmManagerTestCase::initTestCase(QStringLiteral(PARDO_ALARMD_PATH)); }
    void init() { AlarmManagerTestCase::init(); }
    void cleanup() { AlarmManagerTestCase::cleanup(); }
    void cleanupTestCase() { AlarmManagerTestCase::cleanupTestCase(); }
    void countdownTaskEvents();
    void inactiveOrAlarmlessTaskGetsNone();
    void snoozeIsReadAfresh();
    void datedTaskWithoutRepetition();
    void trivialRepetitionRecursInTheDaemon();
    void finishedTrivialRepetitionIsNotPlaced();
    void weeklyRepetitionUsesCallbacks();
    void foreverRepetitionKeepsRinging_data();
    void foreverRepetitionKeepsRinging();
};

void TestAlarmManager::countdownTaskEvents() {
    Task* task = newTask(QStringLiteral("Eggs"), true, Task::T);
    task->addAlarm(true, 5, Alarm::Minutes, QString());
    task->addAlarm(false, 2, Alarm::Hours, QStringLiteral("take them out"));
    task->addAlarm(false, 1, Alarm::Days, QString());
    const time_t before = time(nullptr);
    alarms->setAlarms(*task);
    const time_t after = time(nullptr);

    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(placed.size(), size_t(3));
    // A countdown runs forward from now even for an alarm marked "before".
    const time_t offsets[] = {300, 7200, 86400};
    const QString messages[] = {QStringLiteral("Eggs"), QStringLiteral("Eggs - take them out"),
                                QStringLiteral("Eggs")};
    for (int i = 0; i < 3; ++i) {
        const alarm_event_t* event = placed[i].get();
        QVERIFY(event->alarm_time >= before + offsets[i]);
        QVERIFY(event->alarm_time <= after + offsets[i]);
        QCOMPARE(event->trigger, event->alarm_time);
        QCOMPARE(int(event->recur_secs), 0);
        verifyCommon(event, task->id(), messages[i], 600);
        verifyDialogActions(event);
    }
}

void TestAlarmManager::inactiveOrAlarmlessTaskGetsNone() {
    Task* task = newTask(QStringLiteral("Nap"), true, Task::T);
    task->addAlarm(false, 20, Alarm::Minutes, QString());
    alarms->setAlarms(*task);
    QCOMPARE(eventsOf(task->id()).size(), size_t(1));

    // Deactivated: everything withdrawn, nothing placed.
    Task* off = newTask(QStringLiteral("Nap"), false, Task::T);
    off->setId(task->id());
    off->addAlarm(false, 20, Alarm::Minutes, QString());
    alarms->setAlarms(*off);
    QCOMPARE(eventsOf(task->id()).size(), size_t(0));

    // Active without alarms: the old events still go.
    alarms->setAlarms(*task);
    QCOMPARE(eventsOf(task->id()).size(), size_t(1));
    Task* bare = newTask(QStringLiteral("Nap"), true, Task::T);
    bare->setId(task->id());
    alarms->setAlarms(*bare);
    QCOMPARE(eventsOf(task->id()).size(), size_t(0));

    // Removal withdraws too.
    alarms->setAlarms(*task);
    alarms->deleteAlarms(*task);
    QCOMPARE(eventsOf(task->id()).size(), size_t(0));
}

void TestAlarmManager::snoozeIsReadAfresh() {
    Task* first = newTask(QStringLiteral("One"), true, Task::T);
    first->addAlarm(false, 30, Alarm::Minutes, QString());
    alarms->setAlarms(*first);
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO meta (name, value) VALUES ('gs_snooze_interval', '5')")));
    QCOMPARE(alarms->getGeneralSnoozeTime(), 5);
    Task* second = newTask(QStringLiteral("Two"), true, Task::T);
    second->addAlarm(false, 30, Alarm::Minutes, QString());
    alarms->setAlarms(*second);
    QCOMPARE(int(eventsOf(first->id()).at(0)->snooze_secs), 600);
    QCOMPARE(int(eventsOf(second->id()).at(0)->snooze_secs), 300);
}

void TestAlarmManager::datedTaskWithoutRepetition() {
    const QDateTime start = QDateTime::currentDateTime().addDays(3);
    Task* task = newTask(QStringLiteral("Dentist"), true, Task::D);
    task->setDate(start.date());
    task->setTime(QTime(9, 30));
    task->addAlarm(true, 10, Alarm::Minutes, QStringLiteral("leave"));
    task->addAlarm(false, 1, Alarm::Days, QString());
    alarms->setAlarms(*task);
    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(placed.size(), size_t(2));
    const QDateTime moment(start.date(), QTime(9, 30));
    QCOMPARE(placed[0]->trigger, secondsOf(moment.addSecs(-600)));
    QCOMPARE(placed[1]->trigger, secondsOf(QDateTime(start.date().addDays(1), QTime(9, 30))));
    QCOMPARE(placed[0]->alarm_time, time_t(-1));
    QCOMPARE(placed[0]->alarm_tm.tm_hour, 9);
    QCOMPARE(placed[0]->alarm_tm.tm_min, 20);
    QCOMPARE(placed[0]->alarm_tm.tm_sec, 0);
    verifyCommon(placed[0].get(), task->id(), QStringLiteral("Dentist - leave"), 600);
    verifyDialogActions(placed[0].get());
    QCOMPARE(int(placed[0]->recur_secs), 0);
}

void TestAlarmManager::trivialRepetitionRecursInTheDaemon() {
    // Every 2 hours, 10 times, starting in an hour: all ten are still ahead.
    const QDateTime start = QDateTime::currentDateTime().addSecs(3600);
    Task* task = newTask(QStringLiteral("Water"), true, Task::D);
    task->setDate(start.date());
    task->setTime(QTime(start.time().hour(), start.time().minute()));
    task->setRepetitionFields(RepeatXTimes, 10, QDate(), 2, IntervalHours, {}, 1);
    task->addAlarm(false, 0, Alarm::Minutes, QString());
    Task* endlessTask = newTask(QStringLiteral("Stretch"), true, Task::D);
    endlessTask->setDate(start.date());
    endlessTask->setTime(task->time());
    endlessTask->setRepetitionFields(RepeatForever, 0, QDate(), 45, IntervalMinutes, {}, 1);
    endlessTask->addAlarm(true, 5, Alarm::Minutes, QString());
    alarms->setAlarms(*task);
    alarms->setAlarms(*endlessTask);

    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(placed.size(), size_t(1));
    QCOMPARE(int(placed[0]->recur_secs), 7200);
    const QDateTime now = QDateTime::currentDateTime();
    QCOMPARE(placed[0]->recur_count, task->getNumberOfRepetitionsFromDateTime(&now));
    // The start itself is still ahead, so all ten occurrences are to come.
    QCOMPARE(placed[0]->recur_count, 10);
    QCOMPARE(placed[0]->trigger, secondsOf(QDateTime(task->date(), task->time())));
    verifyDialogActions(placed[0].get());

    std::vector<Event> endless = eventsOf(endlessTask->id());
    QCOMPARE(endless.size(), size_t(1));
    QCOMPARE(endless[0]->recur_count, -1);
    QCOMPARE(int(endless[0]->recur_secs), 45 * 60);
}

void TestAlarmManager::finishedTrivialRepetitionIsNotPlaced() {
    // Every 15 minutes, 3 times, two days ago: recur_count would be 0, which the daemon refuses.
    const QDateTime start = QDateTime::currentDateTime().addDays(-2);
    Task* task = newTask(QStringLiteral("Old"), true, Task::D);
    task->setDate(start.date());
    task->setTime(QTime(10, 0));
    task->setRepetitionFields(RepeatXTimes, 3, QDate(), 15, IntervalMinutes, {}, 1);
    task->addAlarm(false, 0, Alarm::Minutes, QString());
    const QDateTime now = QDateTime::currentDateTime();
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&now), 0);
    alarms->setAlarms(*task);
    QCOMPARE(eventsOf(task->id()).size(), size_t(0));
}

void TestAlarmManager::weeklyRepetitionUsesCallbacks() {
    // Every week on Monday and Thursday, endlessTask bounded by an "Until" a year ahead.
    const QDate today = QDate::currentDate();
    Task* task = newTask(QStringLiteral("Gym"), true, Task::D);
    task->setDate(today.addDays(-30));
    task->setTime(QTime(18, 0));
    task->setRepetitionFields(RepeatUntilDate, 0, today.addYears(1), 1, IntervalWeeks, {1, 4}, 1);
    task->addAlarm(true, 30, Alarm::Minutes, QString());
    task->addAlarm(false, 0, Alarm::Minutes, QStringLiteral("go"));
    alarms->setAlarms(*task);

    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(placed.size(), size_t(2));
    for (const Event& event : placed) {
        QCOMPARE(alarm_event_get_action_count(event.get()), size_t(1));
        const alarm_action_t* callback = alarm_event_get_action(event.get(), 0);
        QCOMPARE(callback->flags, 0x1022u);
        QVERIFY(text(alarm_action_get_label(callback)).isEmpty());
        QCOMPARE(text(alarm_action_get_dbus_name(callback)), QStringLiteral("alarm_triggered"));
        QCOMPARE(text(alarm_action_get_dbus_service(callback)),
                 QStringLiteral("org.velmar.pardoreminder"));
        QCOMPARE(alarm_action_get_dbus_args_count(callback), size_t(2));
        QCOMPARE(alarm_action_get_dbus_arg(callback, 0)->type, int(DBUS_TYPE_INT32));
        QCOMPARE(alarm_action_get_dbus_arg(callback, 0)->value.int32_value, task->id());
        QCOMPARE(int(event->recur_secs), 0);
    }
    // Each alarm at its own next due moment; its number is its position in the list.
    for (int i = 0; i < 2; ++i) {
        const QDateTime due = task->getAlarm(i)->getNextOccurrence();
        bool found = false;
        for (const Event& event : placed) {
            const alarm_action_t* callback = alarm_event_get_action(event.get(), 0);
            if (alarm_action_get_dbus_arg(callback, 1)->value.int32_value == i) {
                QCOMPARE(event->trigger, secondsOf(due));
                found = true;
            }
        }
        QVERIFY(found);
    }
}

void TestAlarmManager::foreverRepetitionKeepsRinging_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<int>("every");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<QString>("extra");
    QTest::addColumn<int>("startInDays");
    QTest::newRow("weekly Mon+Thu")
        << int(IntervalWeeks) << 1 << QList<int>{1, 4} << 1 << QStringLiteral("W:1:4") << -60;
    QTest::newRow("every 2 weeks")
        << int(IntervalWeeks) << 2 << QList<int>{1, 4} << 1 << QStringLiteral("W:1:4") << -100;
    QTest::newRow("monthly by day")
        << int(IntervalMonths) << 1 << QList<int>() << 1 << QStringLiteral("M:1") << -400;
    QTest::newRow("monthly by weekday") << int(IntervalMonths) << 1 << QList<int>()
                                        << int(MonthlyByDayOfWeek) << QStringLiteral("M:2") << -300;
    QTest::newRow("yearly") << int(IntervalYears) << 1 << QList<int>() << 1 << QString() << -1000;
}

void TestAlarmManager::foreverRepetitionKeepsRinging() {
    QFETCH(int, intervalType);
    QFETCH(int, every);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(QString, extra);
    QFETCH(int, startInDays);
    const QTime noon(12, 0);
    // Noon and the alarm moments around it must not be passed while the test runs.
    if (LiteralRecurrence::nearNoon({-30, 0, 10})) {
        QSKIP("too close to an alarm moment of the test");
    }
    const QDateTime now = QDateTime::currentDateTime();
    const QDate start = LiteralRecurrence::calendarStart(intervalType, weekdays,
                                                         QDate::currentDate().addDays(startInDays));
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) VALUES "
                       "(40, 'Bins', 1, 2, '%1', '12:00')")
            .arg(start.toString(Qt::ISODate))));
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO alarms (task_id, is_before, units, unit_type, description) VALUES "
        "(40, 0, 0, 0, 'out'), (40, 1, 30, 0, 'soon'), (40, 1, 1, 2, 'tomorrow'), "
        "(40, 0, 10, 0, 'late')")));
    QVERIFY(TestDatabase::exec(
        QStringLiteral(
            "INSERT INTO repetitions (task_id, repeat_type, repeat_units, repeat_stop_date, "
            "repeat_interval_type, repeat_interval_units, extra_data) VALUES "
            "(40, 2, 0, '', %1, %2, '%3')")
            .arg(intervalType)
            .arg(every)
            .arg(extra)));
    manager->loadTasks();
    Task* task = nullptr;
    for (Task* candidate : manager->allTasks()) {
        if (candidate->id() == 40) {
            task = candidate;
        }
    }
    QVERIFY(task);
    QCOMPARE(task->noOfAlarms(), 4);

    // Each alarm's moment on the first occurrence after now at which it is still ahead.
    const QList<QDate> dates = LiteralRecurrence::calendarDates(
        intervalType, every, weekdays, monthly, start, QDate::currentDate().addYears(3));
    QList<time_t> expected;
    for (int i = 0; i < task->noOfAlarms(); ++i) {
        const Alarm* alarm = task->getAlarm(i);
        for (const QDate& date : dates) {
            const QDateTime occurrence(date, noon);
            if (now < occurrence && now < alarm->addAlarmOffset(occurrence)) {
                expected.append(secondsOf(alarm->addAlarmOffset(occurrence)));
                break;
            }
        }
    }
    QCOMPARE(expected.size(), 4);
    const auto verifyPlaced = [&] {
        std::vector<Event> placed = callbacksOf(40);
        QCOMPARE(placed.size(), size_t(4));
        for (const Event& event : placed) {
            const alarm_action_t* callback = alarm_event_get_action(event.get(), 0);
            QCOMPARE(text(alarm_action_get_dbus_name(callback)), QStringLiteral("alarm_triggered"));
            const int alarmNo = alarm_action_get_dbus_arg(callback, 1)->value.int32_value;
            QVERIFY(alarmNo >= 0 && alarmNo < 4);
            QCOMPARE(event->trigger, expected.at(alarmNo));
        }
    };

    manager->setAlarmsForTask(*task);
    verifyPlaced();
    if (QTest::currentTestFailed()) {
        return;
    }
    // A ring: the next occurrence's events are placed again, with the dialog beside them.
    manager->handleAlarmTriggeredForTask(40, 0);
    verifyPlaced();
    if (QTest::currentTestFailed()) {
        return;
    }
    QCOMPARE(eventsOf(40).size(), size_t(5));
    manager->handleAlarmTriggeredForTask(40, 3);
    verifyPlaced();
    if (QTest::currentTestFailed()) {
        return;
    }

    // Switched off, nothing is left; a late ring then shows its dialog and places nothing.
    task->changeActivationState();
    QVERIFY(!task->active());
    QVERIFY(eventsOf(40).empty());
    manager->handleAlarmTriggeredForTask(40, 1);
    QVERIFY(callbacksOf(40).empty());
    QCOMPARE(eventsOf(40).size(), size_t(1));
}

PARDO_DBUS_TEST_MAIN(TestAlarmManager)
#include "tst_alarmmanager.moc"
