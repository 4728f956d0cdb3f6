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

using DaemonClient::Event;
using DaemonClient::text;

namespace {

const QString kDaemon = QStringLiteral("org.velmar.alarmd");

std::vector<Event> pardoEvents() {
    return DaemonClient::events("PARDO");
}

// The events of one task, in the order of their alarm's message or trigger.
std::vector<Event> eventsOf(int taskId) {
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

void verifyDialogActions(const alarm_event_t* event) {
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

void verifyCommon(const alarm_event_t* event, int taskId, const QString& message, int snoozeSecs) {
    QCOMPARE(text(alarm_event_get_alarm_appid(event)), QStringLiteral("PARDO"));
    QCOMPARE(text(alarm_event_get_title(event)), QStringLiteral("PARDO"));
    QCOMPARE(alarm_event_get_attr_int(event, "task_id", -1), taskId);
    QCOMPARE(text(alarm_event_get_message(event)), message);
    QCOMPARE(int(event->snooze_secs), snoozeSecs);
    QVERIFY(event->flags & 0x40);
}

time_t secondsOf(const QDateTime& moment) {
    return time_t(moment.toSecsSinceEpoch());
}

// Only the callback events of a task: the ones that keep a repetition going.
std::vector<Event> callbacksOf(int taskId) {
    std::vector<Event> result;
    for (Event& event : eventsOf(taskId)) {
        if (alarm_event_get_action_count(event.get()) == 1) {
            result.push_back(std::move(event));
        }
    }
    return result;
}

} // namespace

class TestAlarmManager : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();
    void countdownTaskEvents();
    void inactiveOrAlarmlessTaskGetsNone();
    void snoozeIsReadAfresh();
    void datedTaskWithoutRepetition();
    void trivialRepetitionRecursInTheDaemon();
    void finishedTrivialRepetitionIsNotPlaced();
    void weeklyRepetitionUsesCallbacks();
    void foreverRepetitionKeepsRinging_data();
    void foreverRepetitionKeepsRinging();
    void othersEventsAreNeverDeleted();
    void freshQueueDoesNotMixUpTasks();
    void dialogEventForAlarmBeyondTheList();
    void callbackReplacesNonTrivialRepetitionsFirst();
    void damagedRowValues_data();
    void damagedRowValues();
    void longMessageIsCut();

private:
    Task* newTask(const QString& name, bool active, Task::Type type);

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<AlarmManager> alarms;
    std::vector<std::unique_ptr<Task>> tasks;
};

void TestAlarmManager::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(DaemonClient::writeServiceFile(TestEnvironment::current()->root() +
                                               QStringLiteral("/bus/services"),
                                           kDaemon, QStringLiteral(PARDO_ALARMD_PATH)));
}

void TestAlarmManager::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
    alarms = std::make_unique<AlarmManager>();
    // Start every test with an empty queue.
    for (cookie_t cookie : DaemonClient::cookies("")) {
        QVERIFY(cookie > 0);
        alarmd_event_del(cookie);
    }
}

void TestAlarmManager::cleanup() {
    tasks.clear();
    alarms.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestAlarmManager::cleanupTestCase() {
    QVERIFY(DaemonClient::stopService(kDaemon));
}

Task* TestAlarmManager::newTask(const QString& name, bool active, Task::Type type) {
    tasks.push_back(std::make_unique<Task>(*manager, int(100 + tasks.size()), name, active, type));
    return tasks.back().get();
}

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

void TestAlarmManager::othersEventsAreNeverDeleted() {
    Task* task = newTask(QStringLiteral("Mine"), true, Task::T);
    task->addAlarm(false, 9, Alarm::Minutes, QString());
    alarms->setAlarms(*task);

    // Another application's event with the same task id, and one of ours for another task.
    Event foreign(alarm_event_create());
    alarm_event_set_alarm_appid(foreign.get(), "OTHER");
    alarm_event_set_attr_int(foreign.get(), "task_id", task->id());
    foreign->alarm_time = time(nullptr) + 3600;
    alarm_action_t* button = alarm_event_add_actions(foreign.get(), 1);
    alarm_action_set_label(button, "OK");
    button->flags = 0x40;
    QVERIFY(alarmd_event_add(foreign.get()) > 0);
    Task* other = newTask(QStringLiteral("Theirs"), true, Task::T);
    other->addAlarm(false, 9, Alarm::Minutes, QString());
    alarms->setAlarms(*other);

    alarms->deleteAlarms(*task);
    QCOMPARE(eventsOf(task->id()).size(), size_t(0));
    QCOMPARE(eventsOf(other->id()).size(), size_t(1));
    QCOMPARE(DaemonClient::events("OTHER").size(), size_t(1));
}

void TestAlarmManager::freshQueueDoesNotMixUpTasks() {
    const QString queue = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                          QStringLiteral("/pardo-alarmd");
    // A daemon that lost its queue numbers events from 1 again.
    const auto restartEmpty = [&queue] {
        return DaemonClient::stopService(kDaemon) && QDir(queue).removeRecursively();
    };
    QVERIFY(restartEmpty());
    Task* first = newTask(QStringLiteral("First"), true, Task::T);
    first->addAlarm(false, 9, Alarm::Minutes, QString());
    alarms->setAlarms(*first);
    QCOMPARE(DaemonClient::cookies("PARDO"), (QList<cookie_t>{1}));

    QVERIFY(restartEmpty());
    // Placed by another process (a second window, a sync run): this one does not see it come.
    Task* second = newTask(QStringLiteral("Second"), true, Task::T);
    second->addAlarm(false, 9, Alarm::Minutes, QString());
    AlarmManager().setAlarms(*second);
    QCOMPARE(DaemonClient::cookies("PARDO"), (QList<cookie_t>{1}));

    // Cookie 1 is the second task's now: withdrawing the first task's events leaves it.
    alarms->deleteAlarms(*first);
    QCOMPARE(eventsOf(second->id()).size(), size_t(1));
}

void TestAlarmManager::dialogEventForAlarmBeyondTheList() {
    Task* task = newTask(QStringLiteral("Bare"), true, Task::D);
    task->addAlarm(false, 0, Alarm::Minutes, QStringLiteral("described"));
    const time_t before = time(nullptr);
    alarms->setDummyUIAlarmForTask(*task, 0);
    alarms->setDummyUIAlarmForTask(*task, 7);
    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(placed.size(), size_t(2));
    QStringList messages;
    for (const Event& event : placed) {
        QVERIFY(event->alarm_time >= before + 1 && event->alarm_time <= time(nullptr) + 1);
        verifyDialogActions(event.get());
        messages << text(alarm_event_get_message(event.get()));
    }
    messages.sort();
    QCOMPARE(messages, (QStringList{QStringLiteral("Bare"), QStringLiteral("Bare - described")}));
}

void TestAlarmManager::callbackReplacesNonTrivialRepetitionsFirst() {
    // The manager's callback: weekly tasks get their next events and then the dialog;
    // a task repeating every 30 minutes gets only the dialog.
    const QDate today = QDate::currentDate();
    QVERIFY(TestDatabase::exec(
        QStringLiteral(
            "INSERT INTO tasks (id, name, active, type, date, time) VALUES (20, 'Weekly', 1, 2, "
            "'%1', '07:00'), (21, 'Halfhourly', 1, 2, '%1', '07:00')")
            .arg(today.addDays(-10).toString(Qt::ISODate))));
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO alarms (task_id, is_before, units, unit_type, description) VALUES "
        "(20, 0, 0, 0, ''), (21, 0, 0, 0, '')")));
    QVERIFY(TestDatabase::exec(
        QStringLiteral(
            "INSERT INTO repetitions (task_id, repeat_type, repeat_units, repeat_stop_date, "
            "repeat_interval_type, repeat_interval_units, extra_data) VALUES "
            "(20, 3, 0, '%1', 3, 1, 'W:1:2:3:4:5:6:7'), (21, 3, 0, '%1', 0, 30, '')")
            .arg(today.addDays(30).toString(Qt::ISODate))));
    manager->loadTasks();

    manager->handleAlarmTriggeredForTask(21, 0);
    std::vector<Event> half = eventsOf(21);
    QCOMPARE(half.size(), size_t(1));
    QCOMPARE(alarm_event_get_action_count(half[0].get()), size_t(3));

    manager->handleAlarmTriggeredForTask(20, 0);
    std::vector<Event> weekly = eventsOf(20);
    QCOMPARE(weekly.size(), size_t(2));
    int callbacks = 0;
    int dialogs = 0;
    for (const Event& event : weekly) {
        QCOMPARE(text(alarm_event_get_message(event.get())), QStringLiteral("Weekly"));
        const size_t actions = alarm_event_get_action_count(event.get());
        if (actions == 1) {
            ++callbacks;
            Task* task = nullptr;
            for (Task* candidate : manager->allTasks()) {
                if (candidate->id() == 20) {
                    task = candidate;
                }
            }
            QVERIFY(task);
            QCOMPARE(event->trigger, secondsOf(task->getAlarm(0)->getNextOccurrence()));
        } else {
            QCOMPARE(actions, size_t(3));
            ++dialogs;
        }
    }
    QCOMPARE(callbacks, 1);
    QCOMPARE(dialogs, 1);

    manager->handleAlarmTriggeredForTask(4711, 0);
    QCOMPARE(pardoEvents().size(), size_t(3));
}

void TestAlarmManager::damagedRowValues_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("alarm");
    QTest::addColumn<QString>("repetition");
    QTest::addColumn<QString>("snooze");
    QTest::addColumn<int>("events");
    QTest::addColumn<qint64>("snoozeSecs");
    QTest::addColumn<qint64>("offsetSecs");
    QTest::addColumn<bool>("warned");

    const qint64 tenYears = ALARMD_MAX_INTERVAL_SECS;
    // alarm: is_before, units, unit_type; repetition: repeat_type, repeat_units,
    // repeat_interval_type, repeat_interval_units (none when empty).
    QTest::newRow("snooze of 2^31-1 minutes")
        << 1 << "0, 30, 0" << QString() << "2147483647" << 1 << tenYears << qint64(1800) << false;
    QTest::newRow("negative snooze")
        << 1 << "0, 30, 0" << QString() << "-5" << 1 << qint64(0) << qint64(1800) << false;
    QTest::newRow("2^31-1 minutes before")
        << 2 << "1, 2147483647, 0" << QString() << "10" << 0 << qint64(0) << qint64(0) << true;
    QTest::newRow("2^31-1 hours after")
        << 2 << "0, 2147483647, 1" << QString() << "10" << 0 << qint64(0) << qint64(0) << true;
    QTest::newRow("-2^31 days before")
        << 2 << "1, -2147483648, 2" << QString() << "10" << 0 << qint64(0) << qint64(0) << true;
    QTest::newRow("3651 days before")
        << 2 << "1, 3651, 2" << QString() << "10" << 0 << qint64(0) << qint64(0) << true;
    QTest::newRow("3650 days after") << 2 << "0, 3650, 2" << QString() << "10" << 1 << qint64(600)
                                     << qint64(3650) * 86400 << false;
    QTest::newRow("countdown of 2^31-1 days")
        << 1 << "0, 2147483647, 2" << QString() << "10" << 0 << qint64(0) << qint64(0) << true;
    QTest::newRow("every 2^31-1 days") << 2 << "0, 0, 0"
                                       << "2, 0, 2, 2147483647"
                                       << "10" << 0 << qint64(0) << qint64(0) << true;
    QTest::newRow("every -5 minutes") << 2 << "0, 0, 0"
                                      << "2, 0, 0, -5"
                                      << "10" << 1 << qint64(600) << qint64(0) << false;
}

void TestAlarmManager::damagedRowValues() {
    QFETCH(int, type);
    QFETCH(QString, alarm);
    QFETCH(QString, repetition);
    QFETCH(QString, snooze);
    QFETCH(int, events);
    QFETCH(qint64, snoozeSecs);
    QFETCH(qint64, offsetSecs);
    QFETCH(bool, warned);

    // A dated task starts tomorrow at 09:30; a countdown starts now.
    const QDate tomorrow = QDate::currentDate().addDays(1);
    Task* task = newTask(QStringLiteral("Damaged"), true, Task::Type(type));
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (%1, 'Damaged', 1, %2, '%3', '09:30')")
                                   .arg(task->id())
                                   .arg(type)
                                   .arg(tomorrow.toString(QStringLiteral("yyyy-MM-dd")))));
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, "
                                              "unit_type, description) VALUES (%1, %2, '')")
                                   .arg(task->id())
                                   .arg(alarm)));
    if (!repetition.isEmpty()) {
        QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, "
                                                  "repeat_units, repeat_interval_type, "
                                                  "repeat_interval_units) VALUES (%1, %2)")
                                       .arg(task->id())
                                       .arg(repetition)));
    }
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO meta (name, value) VALUES ('gs_snooze_interval', '%1')")
            .arg(snooze)));
    task->loadDateTime();
    task->loadAlarms();
    task->loadRepetitions();

    const QRegularExpression leftOut(
        QStringLiteral("^Alarm 1 of task %1 left out: ").arg(task->id()));
    if (warned) {
        QTest::ignoreMessage(QtWarningMsg, leftOut);
    } else {
        QTest::failOnWarning(leftOut);
    }
    if (snooze != QLatin1String("10")) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^Snooze interval")));
    }
    const time_t before = time(nullptr);
    alarms->setAlarms(*task);

    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(int(placed.size()), events);
    if (events == 0) {
        return;
    }
    const alarm_event_t* event = placed[0].get();
    QCOMPARE(qint64(event->snooze_secs), snoozeSecs);
    QCOMPARE(qint64(event->recur_secs), qint64(0));
    if (type == Task::D) {
        // Whole days are calendar days.
        QCOMPARE(event->trigger, secondsOf(QDateTime(tomorrow, QTime(9, 30))
                                               .addDays(offsetSecs / 86400)
                                               .addSecs(offsetSecs % 86400)));
    } else {
        QVERIFY(event->alarm_time >= before + offsetSecs);
        QVERIFY(event->alarm_time <= time(nullptr) + offsetSecs);
    }
}

void TestAlarmManager::longMessageIsCut() {
    // 3,000 two-byte characters: the message is cut to 4 KiB on a character boundary.
    const QString name = QString(3000, QChar(0xe9));
    Task* task = newTask(name, true, Task::T);
    task->addAlarm(false, 30, Alarm::Minutes, QStringLiteral("soon"));
    alarms->setAlarms(*task);
    std::vector<Event> placed = eventsOf(task->id());
    QCOMPARE(placed.size(), size_t(1));
    const QByteArray message(alarm_event_get_message(placed[0].get()));
    QCOMPARE(message.size(), 4096);
    QCOMPARE(QString::fromUtf8(message), QString(2048, QChar(0xe9)));
}

PARDO_DBUS_TEST_MAIN(TestAlarmManager)
#include "tst_alarmmanager.moc"
