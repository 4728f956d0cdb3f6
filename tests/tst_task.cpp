#include <QGridLayout>
#include <QPointer>
#include <QWidget>

#include "pardotest.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "testdatabase.h"

class TestTask : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void enumerationValues();
    void freshTaskDefaults_data();
    void freshTaskDefaults();
    void constructorSetsUpButton();
    void repetitionPredicates_data();
    void repetitionPredicates();
    void addAlarmOffset_data();
    void addAlarmOffset();
    void daysKeepTimeOfDayAcrossDaylightSaving();
    void alarmNumbersArePositions();
    void alarmsBelongToTheirTask();
    void toggleMovesActivationMoment();
    void displayFillsTwoColumns();
    void sortOrder();

private:
    std::unique_ptr<TaskManager> manager;
};

void TestTask::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
}

void TestTask::cleanup() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestTask::enumerationValues() {
    QCOMPARE(int(Task::T), 1);
    QCOMPARE(int(Task::D), 2);
    QCOMPARE(int(Alarm::Minutes), 0);
    QCOMPARE(int(Alarm::Hours), 1);
    QCOMPARE(int(Alarm::Days), 2);
    QCOMPARE(int(RepeatNever), 1);
    QCOMPARE(int(RepeatForever), 2);
    QCOMPARE(int(RepeatUntilDate), 3);
    QCOMPARE(int(RepeatXTimes), 4);
    QCOMPARE(int(IntervalMinutes), 0);
    QCOMPARE(int(IntervalHours), 1);
    QCOMPARE(int(IntervalDays), 2);
    QCOMPARE(int(IntervalWeeks), 3);
    QCOMPARE(int(IntervalMonths), 4);
    QCOMPARE(int(IntervalYears), 5);
    QCOMPARE(int(MonthlyByDayOfMonth), 1);
    QCOMPARE(int(MonthlyByDayOfWeek), 2);
}

void TestTask::freshTaskDefaults_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("active");
    QTest::newRow("D active") << int(Task::D) << true;
    QTest::newRow("D inactive") << int(Task::D) << false;
    QTest::newRow("T active") << int(Task::T) << true;
    QTest::newRow("T inactive") << int(Task::T) << false;
}

void TestTask::freshTaskDefaults() {
    QFETCH(int, type);
    QFETCH(bool, active);
    const QDateTime before = QDateTime::currentDateTime();
    Task task(*manager, 42, QStringLiteral("Tea"), active, Task::Type(type));
    const QDateTime after = QDateTime::currentDateTime();

    QCOMPARE(task.id(), 42);
    QCOMPARE(task.name(), QStringLiteral("Tea"));
    QCOMPARE(task.active(), active);
    QCOMPARE(int(task.type()), type);
    if (type == Task::D) {
        QVERIFY(task.date().isNull());
        QVERIFY(task.time().isNull());
    } else {
        const QDateTime moment(task.date(), task.time());
        QVERIFY(moment >= before.addMSecs(-before.time().msec()).addSecs(-1));
        QVERIFY(moment <= after);
    }
    QCOMPARE(task.repetition(), 1);
    QCOMPARE(task.repetitionStopNumber(), 0);
    QVERIFY(task.repetitionStopDate().isNull());
    QCOMPARE(task.repeatIntervalNumber(), 0);
    QCOMPARE(task.repeatIntervalType(), 0);
    QVERIFY(task.weeklyRepeatDays().isEmpty());
    QCOMPARE(task.monthlyRepeatType(), 1);
    QCOMPARE(task.noOfAlarms(), 0);
    QVERIFY(!task.hasRepetition());
    QVERIFY(!task.hasTrivialRepetition());
}

void TestTask::constructorSetsUpButton() {
    Task active(*manager, 1, QStringLiteral("On"), true, Task::D);
    Task inactive(*manager, 2, QStringLiteral("Off"), false, Task::D);
    QCOMPARE(active.taskButton()->text(), QStringLiteral("On"));
    QVERIFY(active.taskButton()->isActivated());
    QVERIFY(!inactive.taskButton()->isActivated());
    QVERIFY(!active.taskButton()->parentWidget());

    active.setName(QStringLiteral("Renamed"));
    QCOMPARE(active.taskButton()->text(), QStringLiteral("On"));
    active.updateDisplay();
    QCOMPARE(active.taskButton()->text(), QStringLiteral("Renamed"));
}

void TestTask::repetitionPredicates_data() {
    QTest::addColumn<int>("repetition");
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<bool>("repeats");
    QTest::addColumn<bool>("trivial");
    QTest::newRow("never, minutes") << 1 << 0 << false << false;
    QTest::newRow("never, weeks") << 1 << 3 << false << false;
    QTest::newRow("forever, minutes") << 2 << 0 << true << true;
    QTest::newRow("until, hours") << 3 << 1 << true << true;
    QTest::newRow("x times, days") << 4 << 2 << true << true;
    QTest::newRow("forever, weeks") << 2 << 3 << true << false;
    QTest::newRow("forever, months") << 2 << 4 << true << false;
    QTest::newRow("forever, years") << 2 << 5 << true << false;
    QTest::newRow("damaged 0, minutes") << 0 << 0 << true << true;
    QTest::newRow("damaged 9, months") << 9 << 4 << true << false;
}

void TestTask::repetitionPredicates() {
    QFETCH(int, repetition);
    QFETCH(int, intervalType);
    QFETCH(bool, repeats);
    QFETCH(bool, trivial);
    // The repetition fields come from the row, as at start-up.
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (77, %1, 3, '', %2, 1, '')")
            .arg(repetition)
            .arg(intervalType)));
    Task task(*manager, 77, QStringLiteral("R"), true, Task::D);
    task.loadRepetitions();
    QCOMPARE(task.repetition(), repetition);
    QCOMPARE(task.repeatIntervalType(), intervalType);
    QCOMPARE(task.hasRepetition(), repeats);
    QCOMPARE(task.hasTrivialRepetition(), trivial);
}

void TestTask::addAlarmOffset_data() {
    QTest::addColumn<bool>("isBefore");
    QTest::addColumn<int>("units");
    QTest::addColumn<int>("unitType");
    QTest::addColumn<QDateTime>("expected");
    const QDateTime base(QDate(2026, 6, 10), QTime(12, 0));
    QTest::newRow("10 minutes after") << false << 10 << 0 << base.addSecs(600);
    QTest::newRow("10 minutes before") << true << 10 << 0 << base.addSecs(-600);
    QTest::newRow("3 hours after") << false << 3 << 1 << base.addSecs(3 * 3600);
    QTest::newRow("3 hours before") << true << 3 << 1 << base.addSecs(-3 * 3600);
    QTest::newRow("2 days after") << false << 2 << 2 << QDateTime(QDate(2026, 6, 12), QTime(12, 0));
    QTest::newRow("2 days before") << true << 2 << 2 << QDateTime(QDate(2026, 6, 8), QTime(12, 0));
    QTest::newRow("0 minutes") << false << 0 << 0 << base;
    QTest::newRow("0 days before") << true << 0 << 2 << base;
    QTest::newRow("unknown unit") << false << 5 << 7 << base;
    QTest::newRow("unknown unit before") << true << 5 << -1 << base;
    QTest::newRow("99 days") << false << 99 << 2 << QDateTime(QDate(2026, 9, 17), QTime(12, 0));
}

void TestTask::addAlarmOffset() {
    QFETCH(bool, isBefore);
    QFETCH(int, units);
    QFETCH(int, unitType);
    QFETCH(QDateTime, expected);
    Task task(*manager, 1, QStringLiteral("A"), true, Task::D);
    task.addAlarm(isBefore, units, Alarm::Unit(unitType), QString());
    const QDateTime base(QDate(2026, 6, 10), QTime(12, 0));
    QCOMPARE(task.getAlarm(0)->addAlarmOffset(base), expected);
}

void TestTask::daysKeepTimeOfDayAcrossDaylightSaving() {
    // The night before the spring change in Europe and in North America.
    const QString zone = QString::fromLocal8Bit(qgetenv("TZ"));
    const QDate day =
        zone == QLatin1String("America/New_York") ? QDate(2026, 3, 7) : QDate(2026, 3, 28);
    const QDateTime base(day, QTime(12, 0));
    Task task(*manager, 1, QStringLiteral("A"), true, Task::D);
    task.addAlarm(false, 1, Alarm::Days, QString());
    task.addAlarm(false, 24, Alarm::Hours, QString());
    task.addAlarm(true, 1, Alarm::Days, QString());

    const QDateTime nextDay = task.getAlarm(0)->addAlarmOffset(base);
    QCOMPARE(nextDay.date(), day.addDays(1));
    QCOMPARE(nextDay.time(), QTime(12, 0));
    const QDateTime back = task.getAlarm(2)->addAlarmOffset(nextDay);
    QCOMPARE(back, base);

    // Hours are elapsed time: across the change they land an hour off the wall clock.
    const QDateTime hours = task.getAlarm(1)->addAlarmOffset(base);
    QCOMPARE(base.secsTo(hours), 24 * 3600);
    if (zone == QLatin1String("Europe/Berlin") || zone == QLatin1String("America/New_York")) {
        QCOMPARE(base.secsTo(nextDay), 23 * 3600);
        QCOMPARE(hours.time(), QTime(13, 0));
    } else {
        QCOMPARE(base.secsTo(nextDay), 24 * 3600);
    }
}

void TestTask::alarmNumbersArePositions() {
    Task task(*manager, 3, QStringLiteral("Three"), true, Task::D);
    task.addAlarm(true, 10, Alarm::Minutes, QStringLiteral("first"));
    task.addAlarm(false, 2, Alarm::Hours, QStringLiteral("second"));
    task.addAlarm(false, 1, Alarm::Days, QString());
    QCOMPARE(task.noOfAlarms(), 3);
    QCOMPARE(task.getAlarm(0)->description(), QStringLiteral("first"));
    QVERIFY(task.getAlarm(0)->isBefore());
    QCOMPARE(task.getAlarm(0)->units(), 10);
    QCOMPARE(task.getAlarm(0)->unitType(), Alarm::Minutes);
    QCOMPARE(task.getAlarm(1)->description(), QStringLiteral("second"));
    QCOMPARE(task.getAlarm(1)->unitType(), Alarm::Hours);
    QCOMPARE(task.getAlarm(2)->unitType(), Alarm::Days);
    QVERIFY(!task.getAlarm(2)->isBefore());
}

void TestTask::alarmsBelongToTheirTask() {
    auto* task = new Task(*manager, 3, QStringLiteral("Gone"), true, Task::D);
    task->addAlarm(false, 1, Alarm::Minutes, QString());
    QPointer<Alarm> alarm = task->getAlarm(0);
    QPointer<TaskButton> button = task->taskButton();
    QCOMPARE(alarm->parent(), task);
    delete task;
    QVERIFY(alarm.isNull());
    QVERIFY(button.isNull());
}

void TestTask::toggleMovesActivationMoment() {
    Task task(*manager, 1, QStringLiteral("Initial"), false, Task::T);
    task.setDate(QDate(2001, 1, 1));
    task.setTime(QTime(1, 1));
    task.changeActivationState();
    QVERIFY(task.active());
    QCOMPARE(task.date(), QDate::currentDate());
    QVERIFY(qAbs(task.time().secsTo(QTime::currentTime())) < 5);
    QCOMPARE(task.taskButton()->borderColor(), QColor(0x199909));

    task.setDate(QDate(2001, 1, 1));
    task.changeActivationState();
    QVERIFY(!task.active());
    QCOMPARE(task.date(), QDate::currentDate());
    QCOMPARE(task.taskButton()->borderColor(), QColor(0x333333));

    Task dated(*manager, 2, QStringLiteral("D"), false, Task::D);
    dated.setDate(QDate(2001, 1, 1));
    dated.setTime(QTime(1, 1));
    dated.changeActivationState();
    QCOMPARE(dated.date(), QDate(2001, 1, 1));
    QCOMPARE(dated.time(), QTime(1, 1));
}

void TestTask::displayFillsTwoColumns() {
    QWidget container;
    auto* grid = new QGridLayout(&container);
    std::vector<std::unique_ptr<Task>> tasks;
    for (int i = 0; i < 5; ++i) {
        tasks.push_back(
            std::make_unique<Task>(*manager, i + 10, QString::number(i), true, Task::D));
        tasks.back()->display(grid);
    }
    const QVector<QPair<int, int>> expected{{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 0}};
    for (int i = 0; i < 5; ++i) {
        int row = -1, column = -1, rowSpan = 0, columnSpan = 0;
        grid->getItemPosition(grid->indexOf(tasks[i]->taskButton()), &row, &column, &rowSpan,
                              &columnSpan);
        QCOMPARE(qMakePair(row, column), expected.at(i));
    }
}

void TestTask::sortOrder() {
    Task activeB(*manager, 1, QStringLiteral("b"), true, Task::D);
    Task inactiveA(*manager, 2, QStringLiteral("a"), false, Task::D);
    Task activeUpper(*manager, 3, QStringLiteral("Z"), true, Task::D);
    QVERIFY(activeB < inactiveA);
    QVERIFY(!(inactiveA < activeB));
    // Plain code-unit order: upper case before lower case.
    QVERIFY(activeUpper < activeB);
    QVERIFY(!(activeB < activeB));
}

PARDO_TEST_MAIN(TestTask)
#include "tst_task.moc"
