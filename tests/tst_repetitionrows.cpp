#include "pardotest.h"
#include "task.h"
#include "taskmanager.h"
#include "testdatabase.h"

namespace {

const QString kInsert = QStringLiteral(
    "INSERT INTO repetitions (id, task_id, repeat_type, repeat_units, repeat_stop_date, "
    "repeat_interval_type, repeat_interval_units, extra_data) VALUES (NULL, '%1', %2)");
const QString kSelect =
    QStringLiteral("SELECT repeat_type, repeat_units, repeat_stop_date, repeat_interval_type, "
                   "repeat_interval_units, extra_data FROM repetitions WHERE task_id = %1");

bool storeRow(int taskId, const QString& values) {
    return TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, "
                       "extra_data) VALUES (%1, %2)")
            .arg(taskId)
            .arg(values));
}

} // namespace

class TestRepetitionRows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void insertWritesTheRow_data();
    void insertWritesTheRow();
    void loadReadsTheStoredRow();
    void extraDataIsParsed_data();
    void extraDataIsParsed();
    void nullColumns();
    void updateRewritesTheRowFromTheEditedTask();
    void updateToNeverKeepsTheRow();
    void updateNeverCreatesAMissingRow();
    void weekdaysAccumulateUntilRestart();
    void countdownTasksHaveNoRow();
    void failedInsertLeavesNoRow();
    void failedLoadKeepsTheFields();

private:
    std::unique_ptr<TaskManager> manager;
};

void TestRepetitionRows::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
}

void TestRepetitionRows::cleanup() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestRepetitionRows::insertWritesTheRow_data() {
    QTest::addColumn<int>("repetition");
    QTest::addColumn<int>("stopNumber");
    QTest::addColumn<QDate>("stopDate");
    QTest::addColumn<int>("every");
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<QString>("values");
    QTest::newRow("every 2 days, forever")
        << 2 << 0 << QDate() << 2 << 2 << QList<int>() << 1 << QStringLiteral("2, 0, '', 2, 2, ''");
    QTest::newRow("weekly Mon, Wed, Fri until")
        << 3 << 0 << QDate(2027, 1, 31) << 1 << 3 << QList<int>{1, 3, 5} << 1
        << QStringLiteral("3, 0, '2027-01-31', 3, 1, 'W:1:3:5'");
    QTest::newRow("weekly Monday and Thursday") << 4 << 10 << QDate() << 1 << 3 << QList<int>{1, 4}
                                                << 1 << QStringLiteral("4, 10, '', 3, 1, 'W:1:4'");
    QTest::newRow("weekly, no weekday") << 2 << 0 << QDate() << 1 << 3 << QList<int>() << 1
                                        << QStringLiteral("2, 0, '', 3, 1, 'W'");
    QTest::newRow("weekdays in list order, repeats kept")
        << 2 << 0 << QDate() << 3 << 3 << QList<int>{5, 1, 5} << 1
        << QStringLiteral("2, 0, '', 3, 3, 'W:5:1:5'");
    QTest::newRow("monthly by weekday") << 4 << 7 << QDate() << 3 << 4 << QList<int>() << 2
                                        << QStringLiteral("4, 7, '', 4, 3, 'M:2'");
    QTest::newRow("monthly by day") << 3 << 0 << QDate(2030, 12, 1) << 1 << 4 << QList<int>() << 1
                                    << QStringLiteral("3, 0, '2030-12-01', 4, 1, 'M:1'");
    QTest::newRow("yearly") << 2 << 0 << QDate() << 1 << 5 << QList<int>() << 1
                            << QStringLiteral("2, 0, '', 5, 1, ''");
    QTest::newRow("hourly") << 4 << 99 << QDate() << 99 << 1 << QList<int>() << 1
                            << QStringLiteral("4, 99, '', 1, 99, ''");
    // A task that does not repeat still gets its row.
    QTest::newRow("never") << 1 << 0 << QDate() << 0 << 0 << QList<int>() << 1
                           << QStringLiteral("1, 0, '', 0, 0, ''");
}

void TestRepetitionRows::insertWritesTheRow() {
    QFETCH(int, repetition);
    QFETCH(int, stopNumber);
    QFETCH(QDate, stopDate);
    QFETCH(int, every);
    QFETCH(int, intervalType);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(QString, values);
    Task task(*manager, 0, QStringLiteral("Rep"), true, Task::D);
    task.setDate(QDate(2026, 3, 2));
    task.setTime(QTime(8, 0));
    task.setRepetitionFields(repetition, stopNumber, stopDate, every, intervalType, weekdays,
                             monthly);
    task.insertCoreDataToDatabase();
    QCOMPARE(task.id(), 2);
    SqlTrace trace;
    task.insertRepetitionDataToDatabase();
    QCOMPARE(trace.withValues(), QStringList{kInsert.arg(QStringLiteral("2"), values)});

    const auto rows = TestDatabase::rows(
        QStringLiteral("SELECT typeof(task_id), repeat_stop_date IS NULL, typeof(repeat_stop_date) "
                       "FROM repetitions WHERE task_id = 2"));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0), (QVariantList{QStringLiteral("integer"), 0, QStringLiteral("text")}));

    // What was written reads back into a fresh task.
    Task loaded(*manager, 2, QStringLiteral("Rep"), true, Task::D);
    loaded.loadRepetitions();
    QCOMPARE(loaded.repetition(), repetition);
    QCOMPARE(loaded.repetitionStopNumber(), stopNumber);
    QCOMPARE(loaded.repetitionStopDate(), stopDate);
    QCOMPARE(loaded.repeatIntervalNumber(), every);
    QCOMPARE(loaded.repeatIntervalType(), intervalType);
    QCOMPARE(loaded.weeklyRepeatDays(), intervalType == IntervalWeeks ? weekdays : QList<int>());
    QCOMPARE(loaded.monthlyRepeatType(), intervalType == IntervalMonths ? monthly : 1);
}

void TestRepetitionRows::loadReadsTheStoredRow() {
    QVERIFY(storeRow(40, QStringLiteral("3, 6, '2027-02-28', 3, 2, 'W:2:6'")));
    Task task(*manager, 40, QStringLiteral("w"), true, Task::D);
    SqlTrace trace;
    task.loadRepetitions();
    QCOMPARE(trace.withValues(), QStringList{kSelect.arg(40)});
    QCOMPARE(task.repetition(), 3);
    QCOMPARE(task.repetitionStopNumber(), 6);
    QCOMPARE(task.repetitionStopDate(), QDate(2027, 2, 28));
    QCOMPARE(task.repeatIntervalType(), 3);
    QCOMPARE(task.repeatIntervalNumber(), 2);
    QCOMPARE(task.weeklyRepeatDays(), (QList<int>{2, 6}));
    QCOMPARE(task.monthlyRepeatType(), 1);
    QVERIFY(task.hasRepetition());
    QVERIFY(!task.hasTrivialRepetition());
}

void TestRepetitionRows::extraDataIsParsed_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<QString>("extra");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    // The task has monthly kind 7 beforehand, so that "unchanged" shows.
    QTest::newRow("W:1:3:5") << 3 << "'W:1:3:5'" << QList<int>{1, 3, 5} << 7;
    QTest::newRow("W") << 3 << "'W'" << QList<int>() << 7;
    QTest::newRow("lower-case w") << 3 << "'w:1'" << QList<int>() << 7;
    QTest::newRow("other letter") << 3 << "'X:1'" << QList<int>() << 7;
    QTest::newRow("empty part") << 3 << "'W::3'" << QList<int>{0, 3} << 7;
    QTest::newRow("not a number") << 3 << "'W:a'" << QList<int>{0} << 7;
    QTest::newRow("trailing separator") << 3 << "'W:4:'" << QList<int>{4, 0} << 7;
    QTest::newRow("out of range kept") << 3 << "'W:9:-1'" << QList<int>{9, -1} << 7;
    QTest::newRow("empty text") << 3 << "''" << QList<int>() << 7;
    QTest::newRow("null") << 3 << "NULL" << QList<int>() << 7;
    QTest::newRow("monthly tag on weekly row") << 3 << "'M:2'" << QList<int>() << 7;
    QTest::newRow("M:2") << 4 << "'M:2'" << QList<int>() << 2;
    QTest::newRow("M:1") << 4 << "'M:1'" << QList<int>() << 1;
    QTest::newRow("later parts ignored") << 4 << "'M:2:9'" << QList<int>() << 2;
    QTest::newRow("not a number, monthly") << 4 << "'M:x'" << QList<int>() << 0;
    QTest::newRow("M without a kind") << 4 << "'M'" << QList<int>() << 7;
    QTest::newRow("lower-case m") << 4 << "'m:2'" << QList<int>() << 7;
    QTest::newRow("weekly tag on monthly row") << 4 << "'W:1:4'" << QList<int>() << 7;
    QTest::newRow("days ignore the text") << 2 << "'W:1'" << QList<int>() << 7;
    QTest::newRow("years ignore the text") << 5 << "'M:2'" << QList<int>() << 7;
}

void TestRepetitionRows::extraDataIsParsed() {
    QFETCH(int, intervalType);
    QFETCH(QString, extra);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QVERIFY(storeRow(41, QStringLiteral("2, 0, '', %1, 1, %2").arg(intervalType).arg(extra)));
    Task task(*manager, 41, QStringLiteral("x"), true, Task::D);
    task.setRepetitionFields(1, 0, QDate(), 0, 0, {}, 7);
    task.loadRepetitions();
    QCOMPARE(task.repeatIntervalType(), intervalType);
    QCOMPARE(task.weeklyRepeatDays(), weekdays);
    QCOMPARE(task.monthlyRepeatType(), monthly);
}

void TestRepetitionRows::nullColumns() {
    QVERIFY(storeRow(42, QStringLiteral("4, NULL, NULL, 3, NULL, NULL")));
    Task task(*manager, 42, QStringLiteral("n"), true, Task::D);
    task.setRepetitionFields(1, 5, QDate(2026, 1, 1), 3, 0, {2}, 1);
    task.loadRepetitions();
    QCOMPARE(task.repetition(), 4);
    // Integers read NULL as 0; a NULL stop date keeps the task's own.
    QCOMPARE(task.repetitionStopNumber(), 0);
    QCOMPARE(task.repeatIntervalNumber(), 0);
    QCOMPARE(task.repetitionStopDate(), QDate(2026, 1, 1));
    QCOMPARE(task.weeklyRepeatDays(), QList<int>{2});

    // An empty stop date is read, as an invalid date.
    QVERIFY(storeRow(43, QStringLiteral("3, 0, '', 0, 1, ''")));
    Task empty(*manager, 43, QStringLiteral("e"), true, Task::D);
    empty.setRepetitionFields(1, 0, QDate(2026, 1, 1), 0, 0, {}, 1);
    empty.loadRepetitions();
    QVERIFY(!empty.repetitionStopDate().isValid());

    // So is one that is not a date.
    QVERIFY(storeRow(44, QStringLiteral("3, 0, '31.12.2026', 0, 1, ''")));
    Task other(*manager, 44, QStringLiteral("o"), true, Task::D);
    other.loadRepetitions();
    QVERIFY(!other.repetitionStopDate().isValid());
}

void TestRepetitionRows::updateRewritesTheRowFromTheEditedTask() {
    QVERIFY(storeRow(40, QStringLiteral("2, 0, '', 2, 2, ''")));
    Task stored(*manager, 40, QStringLiteral("s"), true, Task::D);
    stored.loadRepetitions();
    Task edited(*manager, 0, QStringLiteral("s"), true, Task::D);
    edited.setRepetitionFields(3, 0, QDate(2028, 8, 9), 4, 3, {2, 7}, 1);
    SqlTrace trace;
    stored.updateRepetitionDataInDatabase(edited);
    QCOMPARE(trace.withValues(),
             QStringList{QStringLiteral(
                 "UPDATE repetitions SET repeat_type = 3, repeat_units = 0, repeat_stop_date = "
                 "'2028-08-09', repeat_interval_type = 3, repeat_interval_units = 4, extra_data = "
                 "'W:2:7' WHERE task_id = 40")});
    const auto rows =
        TestDatabase::rows(QStringLiteral("SELECT repeat_type, repeat_units, repeat_stop_date, "
                                          "repeat_interval_type, repeat_interval_units, "
                                          "extra_data FROM repetitions WHERE task_id = 40"));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0),
             (QVariantList{3, 0, QStringLiteral("2028-08-09"), 3, 4, QStringLiteral("W:2:7")}));
    // The stored task's own fields are not touched by the update.
    QCOMPARE(stored.repetition(), 2);

    Task monthly(*manager, 0, QStringLiteral("s"), true, Task::D);
    monthly.setRepetitionFields(4, 12, QDate(), 1, 4, {}, 2);
    trace.clear();
    stored.updateRepetitionDataInDatabase(monthly);
    QCOMPARE(
        trace.withValues(),
        QStringList{QStringLiteral(
            "UPDATE repetitions SET repeat_type = 4, repeat_units = 12, repeat_stop_date = '', "
            "repeat_interval_type = 4, repeat_interval_units = 1, extra_data = 'M:2' WHERE "
            "task_id = 40")});
}

void TestRepetitionRows::updateToNeverKeepsTheRow() {
    QVERIFY(storeRow(40, QStringLiteral("4, 3, '', 3, 1, 'W:1'")));
    Task stored(*manager, 40, QStringLiteral("s"), true, Task::D);
    Task never(*manager, 0, QStringLiteral("s"), true, Task::D);
    stored.updateRepetitionDataInDatabase(never);
    const auto rows = TestDatabase::rows(QStringLiteral(
        "SELECT repeat_type, repeat_stop_date, extra_data FROM repetitions WHERE task_id = 40"));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0), (QVariantList{1, QString(""), QString("")}));
}

void TestRepetitionRows::updateNeverCreatesAMissingRow() {
    Task stored(*manager, 45, QStringLiteral("s"), true, Task::D);
    Task edited(*manager, 0, QStringLiteral("s"), true, Task::D);
    edited.setRepetitionFields(2, 0, QDate(), 1, 2, {}, 1);
    SqlTrace trace;
    stored.updateRepetitionDataInDatabase(edited);
    QCOMPARE(trace.withValues().size(), 1);
    QVERIFY(trace.withValues().first().startsWith(QStringLiteral("UPDATE repetitions SET")));
    QVERIFY(TestDatabase::rows(QStringLiteral("SELECT * FROM repetitions")).isEmpty());
    // Loading then finds nothing and keeps what the task has.
    stored.setRepetitionFields(4, 3, QDate(), 2, 1, {}, 1);
    stored.loadRepetitions();
    QCOMPARE(stored.repetition(), 4);
    QCOMPARE(stored.repetitionStopNumber(), 3);
}

void TestRepetitionRows::weekdaysAccumulateUntilRestart() {
    // A weekly task on Monday is edited to Tuesday.
    QVERIFY(storeRow(40, QStringLiteral("2, 0, '', 3, 1, 'W:1'")));
    Task stored(*manager, 40, QStringLiteral("w"), true, Task::D);
    stored.loadRepetitions();
    QCOMPARE(stored.weeklyRepeatDays(), QList<int>{1});
    Task edited(*manager, 0, QStringLiteral("w"), true, Task::D);
    edited.setRepetitionFields(2, 0, QDate(), 1, 3, {2}, 1);
    stored.updateRepetitionDataInDatabase(edited);
    stored.loadRepetitions();
    // In memory the old day stays in front of the new one; the row holds the new one only.
    QCOMPARE(stored.weeklyRepeatDays(), (QList<int>{1, 2}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT extra_data FROM repetitions WHERE "
                                               "task_id = 40"))
                 .at(0)
                 .at(0)
                 .toString(),
             QStringLiteral("W:2"));
    // Saving the task as it is now writes both days, duplicates and all.
    stored.updateRepetitionDataInDatabase(stored);
    stored.loadRepetitions();
    QCOMPARE(stored.weeklyRepeatDays(), (QList<int>{1, 2, 1, 2}));
    // After a restart the task is built afresh from the row.
    Task restarted(*manager, 40, QStringLiteral("w"), true, Task::D);
    restarted.loadRepetitions();
    QCOMPARE(restarted.weeklyRepeatDays(), (QList<int>{1, 2}));
}

void TestRepetitionRows::countdownTasksHaveNoRow() {
    Task countdown(*manager, 0, QStringLiteral("Eggs"), true, Task::T);
    countdown.insertCoreDataToDatabase();
    countdown.setRepetitionFields(2, 0, QDate(), 1, 2, {}, 1);
    QVERIFY(storeRow(countdown.id(), QStringLiteral("4, 9, '', 3, 1, 'W:1'")));
    Task dated(*manager, 0, QStringLiteral("D"), true, Task::D);
    dated.setRepetitionFields(3, 0, QDate(2027, 1, 1), 1, 3, {5}, 1);
    SqlTrace trace;
    countdown.insertRepetitionDataToDatabase();
    // The stored task's type decides, whatever the edited one is.
    countdown.updateRepetitionDataInDatabase(dated);
    countdown.loadRepetitions();
    QVERIFY(trace.withValues().isEmpty());
    QCOMPARE(countdown.repetition(), 2);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT repeat_type FROM repetitions WHERE "
                                               "task_id = %1")
                                    .arg(countdown.id()))
                 .at(0)
                 .at(0)
                 .toInt(),
             4);
    // The seed task has no row.
    QVERIFY(TestDatabase::rows(QStringLiteral("SELECT * FROM repetitions WHERE task_id = 1"))
                .isEmpty());
}

void TestRepetitionRows::failedInsertLeavesNoRow() {
    QVERIFY(TestDatabase::exec(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON repetitions "
                                              "BEGIN SELECT RAISE(FAIL, 'refused'); END")));
    Task task(*manager, 0, QStringLiteral("t"), true, Task::D);
    task.setDate(QDate(2026, 3, 2));
    task.setTime(QTime(8, 0));
    task.setRepetitionFields(2, 0, QDate(), 1, 2, {}, 1);
    task.insertCoreDataToDatabase();
    task.insertRepetitionDataToDatabase();
    QVERIFY(TestDatabase::rows(QStringLiteral("SELECT * FROM repetitions")).isEmpty());
    Task edited(*manager, 0, QStringLiteral("t"), true, Task::D);
    edited.setRepetitionFields(4, 5, QDate(), 1, 1, {}, 1);
    task.updateRepetitionDataInDatabase(edited);
    QVERIFY(TestDatabase::rows(QStringLiteral("SELECT * FROM repetitions")).isEmpty());
    task.loadRepetitions();
    QCOMPARE(task.repetition(), 2);
    QCOMPARE(task.repeatIntervalType(), 2);
}

void TestRepetitionRows::failedLoadKeepsTheFields() {
    QVERIFY(TestDatabase::exec(QStringLiteral("DROP TABLE repetitions")));
    Task task(*manager, 40, QStringLiteral("t"), true, Task::D);
    task.setRepetitionFields(3, 2, QDate(2026, 5, 5), 4, 3, {6}, 2);
    SqlTrace trace;
    task.loadRepetitions();
    QCOMPARE(trace.withValues(), QStringList());
    QCOMPARE(task.repetition(), 3);
    QCOMPARE(task.repetitionStopNumber(), 2);
    QCOMPARE(task.repetitionStopDate(), QDate(2026, 5, 5));
    QCOMPARE(task.repeatIntervalNumber(), 4);
    QCOMPARE(task.repeatIntervalType(), 3);
    QCOMPARE(task.weeklyRepeatDays(), QList<int>{6});
    QCOMPARE(task.monthlyRepeatType(), 2);
}

PARDO_TEST_MAIN(TestRepetitionRows)
#include "tst_repetitionrows.moc"
