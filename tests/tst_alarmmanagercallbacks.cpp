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

// The daemon's callbacks, other applications' events, a fresh queue, damaged rows and long
// messages.
class TestAlarmManagerCallbacks : public AlarmManagerTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { AlarmManagerTestCase::initTestCase(QStringLiteral(PARDO_ALARMD_PATH)); }
    void init() { AlarmManagerTestCase::init(); }
    void cleanup() { AlarmManagerTestCase::cleanup(); }
    void cleanupTestCase() { AlarmManagerTestCase::cleanupTestCase(); }
    void othersEventsAreNeverDeleted();
    void freshQueueDoesNotMixUpTasks();
    void dialogEventForAlarmBeyondTheList();
    void callbackReplacesNonTrivialRepetitionsFirst();
    void damagedRowValues_data();
    void damagedRowValues();
    void longMessageIsCut();
};

void TestAlarmManagerCallbacks::othersEventsAreNeverDeleted() {
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

void TestAlarmManagerCallbacks::freshQueueDoesNotMixUpTasks() {
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

void TestAlarmManagerCallbacks::dialogEventForAlarmBeyondTheList() {
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

void TestAlarmManagerCallbacks::callbackReplacesNonTrivialRepetitionsFirst() {
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

void TestAlarmManagerCallbacks::damagedRowValues_data() {
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

void TestAlarmManagerCallbacks::damagedRowValues() {
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

void TestAlarmManagerCallbacks::longMessageIsCut() {
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

PARDO_DBUS_TEST_MAIN(TestAlarmManagerCallbacks)
#include "tst_alarmmanagercallbacks.moc"
