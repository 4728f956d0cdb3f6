#include "pardotest.h"
#include "task.h"
#include "taskmanager.h"
#include "testdatabase.h"

class TestTaskRows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void insertDatedTask();
    void insertCountdownTask();
    void insertAlarms();
    void insertAlarmsStopsAtFirstFailure();
    void anyTitleIsStored_data();
    void anyTitleIsStored();
    void anyDescriptionIsStored_data();
    void anyDescriptionIsStored();
    void editedTitleWithQuoteIsStored();
    void failedCoreInsertKeepsIdAndSaysSo();
    void secondsAreDropped();
    void updateCoreByStoredType_data();
    void updateCoreByStoredType();
    void updateAlarmsReplacesRows();
    void updateAlarmsToEmptyList();
    void updateAlarmsStopsWhenDeleteFails();
    void loadKeepsFieldsForNull();
    void loadAlarmsInIdOrder();
    void failedLoadsKeepWhatTheTaskHas();
    void repetitionRow_data();
    void repetitionRow();
    void repetitionRowLoadsBack();
    void countdownHasNoRepetitionRow();

private:
    std::unique_ptr<TaskManager> manager;
};

void TestTaskRows::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
}

void TestTaskRows::cleanup() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestTaskRows::insertDatedTask() {
    Task task(*manager, 0, QStringLiteral("Lunch"), true, Task::D);
    task.setDate(QDate(2010, 5, 1));
    task.setTime(QTime(12, 30));
    SqlTrace trace;
    QVERIFY(task.insertCoreDataToDatabase());
    QCOMPARE(trace.statements(),
             QStringList{QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) "
                                        "VALUES (NULL, :0, 'true', :1, :2, :3)")});
    QCOMPARE(trace.withValues(), QStringList{QStringLiteral(
                                     "INSERT INTO tasks (id, name, active, type, date, time) "
                                     "VALUES (NULL, 'Lunch', 'true', 2, '2010-05-01', '12:30')")});
    QCOMPARE(task.id(), 2);
    const auto row = TestDatabase::rows(QStringLiteral(
        "SELECT name, active, typeof(active), type, date, time FROM tasks WHERE id = 2"));
    QCOMPARE(row.size(), 1);
    QCOMPARE(row.at(0),
             (QVariantList{QStringLiteral("Lunch"), QStringLiteral("true"), QStringLiteral("text"),
                           2, QStringLiteral("2010-05-01"), QStringLiteral("12:30")}));
}

void TestTaskRows::insertCountdownTask() {
    Task task(*manager, 0, QStringLiteral("Eggs"), true, Task::T);
    SqlTrace trace;
    QVERIFY(task.insertCoreDataToDatabase());
    QCOMPARE(trace.statements(),
             QStringList{QStringLiteral("INSERT INTO tasks (id, name, active, type) VALUES (NULL, "
                                        ":0, 'true', :1)")});
    QCOMPARE(trace.withValues(),
             QStringList{QStringLiteral("INSERT INTO tasks (id, name, active, type) VALUES (NULL, "
                                        "'Eggs', 'true', 1)")});
    QCOMPARE(task.id(), 2);
    const auto row = TestDatabase::rows(
        QStringLiteral("SELECT date IS NULL, time IS NULL FROM tasks WHERE id = 2"));
    QCOMPARE(row.at(0), (QVariantList{1, 1}));
}

void TestTaskRows::insertAlarms() {
    Task task(*manager, 9, QStringLiteral("A"), true, Task::D);
    task.addAlarm(true, 10, Alarm::Minutes, QStringLiteral("leave"));
    task.addAlarm(false, 2, Alarm::Days, QString());
    SqlTrace trace;
    task.insertAlarmsDataToDatabase();
    QCOMPARE(
        trace.statements(),
        (QStringList{QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, "
                                    "unit_type, description) VALUES (NULL, :0, :1, :2, :3, :4)"),
                     QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, "
                                    "unit_type, description) VALUES (NULL, :0, :1, :2, :3, :4)")}));
    QCOMPARE(trace.withValues(),
             (QStringList{QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, "
                                         "unit_type, description) VALUES (NULL, '9', '1', 10, 0, "
                                         "'leave')"),
                          QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, "
                                         "unit_type, description) VALUES (NULL, '9', '0', 2, 2, "
                                         "'')")}));
    const auto rows = TestDatabase::rows(QStringLiteral(
        "SELECT task_id, typeof(task_id), is_before, typeof(is_before), units, unit_type, "
        "description FROM alarms WHERE task_id = 9 ORDER BY id"));
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(0), (QVariantList{9, QStringLiteral("integer"), 1, QStringLiteral("integer"),
                                       10, 0, QStringLiteral("leave")}));
    // An empty description is stored as '', not NULL.
    QCOMPARE(rows.at(1).at(6), QVariant(QStringLiteral("")));
    QCOMPARE(TestDatabase::rows(QStringLiteral(
                 "SELECT count(*) FROM alarms WHERE task_id = 9 AND description IS NULL")),
             (QVector<QVariantList>{{0}}));
}

void TestTaskRows::insertAlarmsStopsAtFirstFailure() {
    QVERIFY(
        TestDatabase::exec(QStringLiteral("CREATE TRIGGER no_two BEFORE INSERT ON alarms WHEN "
                                          "NEW.units = 2 BEGIN SELECT RAISE(ABORT, 'no'); END")));
    Task task(*manager, 9, QStringLiteral("A"), true, Task::D);
    task.addAlarm(false, 1, Alarm::Minutes, QStringLiteral("fine"));
    task.addAlarm(false, 2, Alarm::Minutes, QStringLiteral("refused"));
    task.addAlarm(false, 3, Alarm::Minutes, QStringLiteral("never written"));
    SqlTrace trace;
    task.insertAlarmsDataToDatabase();
    const QStringList ran = trace.statements();
    const auto rows =
        TestDatabase::rows(QStringLiteral("SELECT units FROM alarms WHERE task_id = 9"));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0).at(0).toInt(), 1);
    // The second statement fails, and the third is never attempted.
    QCOMPARE(ran.size(), 2);
}

void TestTaskRows::anyTitleIsStored_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("title");
    const QStringList titles{QStringLiteral("Mom's call"),
                             QStringLiteral("a\"b"),
                             QStringLiteral("x'); DROP TABLE tasks; --"),
                             QStringLiteral("Zoë – 日本語 🎉"),
                             QStringLiteral(" "),
                             QStringLiteral("Pay %2 or %1"),
                             QStringLiteral("?, ?, :name @x $y"),
                             QStringLiteral("back\\slash")};
    for (const QString& title : titles) {
        QTest::addRow("T %s", qPrintable(title)) << 1 << title;
        QTest::addRow("D %s", qPrintable(title)) << 2 << title;
    }
}

void TestTaskRows::anyTitleIsStored() {
    QFETCH(int, type);
    QFETCH(QString, title);
    Task task(*manager, 0, title, true, Task::Type(type));
    task.setDate(QDate(2026, 12, 1));
    task.setTime(QTime(9, 0));
    QVERIFY(task.insertCoreDataToDatabase());
    QCOMPARE(task.id(), 2);
    const auto rows = TestDatabase::rows(
        QStringLiteral("SELECT name, typeof(name), type, date, time FROM tasks WHERE id = 2"));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0).at(0).toString(), title);
    QCOMPARE(rows.at(0).at(1).toString(), QStringLiteral("text"));
    QCOMPARE(rows.at(0).at(2).toInt(), type);
    if (type == 2) {
        QCOMPARE(rows.at(0).at(3).toString(), QStringLiteral("2026-12-01"));
        QCOMPARE(rows.at(0).at(4).toString(), QStringLiteral("09:00"));
    } else {
        QVERIFY(rows.at(0).at(3).isNull());
    }
    // Nothing in the title ran as SQL: the seed is still there, next to the new row.
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT id FROM tasks ORDER BY id")),
             (QVector<QVariantList>{{1}, {2}}));
}

void TestTaskRows::anyDescriptionIsStored_data() {
    QTest::addColumn<QString>("description");
    QTest::newRow("apostrophe") << QStringLiteral("don't forget");
    QTest::newRow("quotes") << QStringLiteral("say \"hi\" and 'bye'");
    QTest::newRow("injection") << QStringLiteral("'); DELETE FROM alarms; --");
    QTest::newRow("unicode") << QStringLiteral("Grüße – 日本語 🎉");
    QTest::newRow("placeholders") << QStringLiteral("%1 %5 ? :x");
}

void TestTaskRows::anyDescriptionIsStored() {
    QFETCH(QString, description);
    Task task(*manager, 0, QStringLiteral("Desc"), true, Task::D);
    QVERIFY(task.insertCoreDataToDatabase());
    task.addAlarm(true, 5, Alarm::Hours, description);
    task.addAlarm(false, 7, Alarm::Minutes, QStringLiteral("after it"));
    task.insertAlarmsDataToDatabase();

    Task loaded(*manager, task.id(), QStringLiteral("Desc"), true, Task::D);
    loaded.loadAlarms();
    QCOMPARE(loaded.noOfAlarms(), 2);
    QCOMPARE(loaded.getAlarm(0)->description(), description);
    QVERIFY(loaded.getAlarm(0)->isBefore());
    QCOMPARE(loaded.getAlarm(0)->units(), 5);
    QCOMPARE(loaded.getAlarm(1)->description(), QStringLiteral("after it"));
    // The seed's alarm is untouched.
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id = 1")),
             (QVector<QVariantList>{{1}}));

    // Replacing the alarms on an edit stores the same text again.
    Task edited(*manager, 0, QStringLiteral("Desc"), true, Task::D);
    edited.addAlarm(false, 3, Alarm::Days, description + description);
    task.updateAlarmsDataInDatabase(edited);
    loaded.loadAlarms();
    QCOMPARE(loaded.noOfAlarms(), 1);
    QCOMPARE(loaded.getAlarm(0)->description(), description + description);
}

void TestTaskRows::editedTitleWithQuoteIsStored() {
    Task stored(*manager, 1, QStringLiteral("Initial"), false, Task::T);
    Task edited(*manager, 0, QStringLiteral("Mom's \"call\""), true, Task::T);
    stored.updateCoreDataInDatabase(edited);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT name FROM tasks WHERE id = 1")),
             (QVector<QVariantList>{{QStringLiteral("Mom's \"call\"")}}));

    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (6, 'd', 1, 2, NULL, NULL)")));
    Task dated(*manager, 6, QStringLiteral("d"), true, Task::D);
    Task datedEdit(*manager, 0, QStringLiteral("O'Brien; --"), true, Task::D);
    datedEdit.setDate(QDate(2027, 2, 3));
    datedEdit.setTime(QTime(4, 5));
    dated.updateCoreDataInDatabase(datedEdit);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT name, date, time FROM tasks WHERE id = 6")),
             (QVector<QVariantList>{{QStringLiteral("O'Brien; --"), QStringLiteral("2027-02-03"),
                                     QStringLiteral("04:05")}}));
}

void TestTaskRows::failedCoreInsertKeepsIdAndSaysSo() {
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "CREATE TRIGGER no_tasks BEFORE INSERT ON tasks BEGIN SELECT RAISE(ABORT, 'no'); END")));
    Task task(*manager, 0, QStringLiteral("Refused"), true, Task::D);
    task.setDate(QDate(2026, 12, 1));
    task.setTime(QTime(9, 0));
    QVERIFY(!task.insertCoreDataToDatabase());
    QCOMPARE(task.id(), 0);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM tasks")),
             (QVector<QVariantList>{{1}}));
}

void TestTaskRows::secondsAreDropped() {
    Task task(*manager, 0, QStringLiteral("Tea"), true, Task::D);
    task.setDate(QDate(2026, 1, 2));
    task.setTime(QTime(12, 30, 45));
    task.insertCoreDataToDatabase();
    QCOMPARE(
        TestDatabase::rows(QStringLiteral("SELECT time FROM tasks WHERE id = %1").arg(task.id()))
            .at(0)
            .at(0)
            .toString(),
        QStringLiteral("12:30"));
    Task loaded(*manager, task.id(), QStringLiteral("Tea"), true, Task::D);
    loaded.loadDateTime();
    QCOMPARE(loaded.time(), QTime(12, 30, 0));
    QCOMPARE(loaded.date(), QDate(2026, 1, 2));
}

void TestTaskRows::updateCoreByStoredType_data() {
    QTest::addColumn<int>("storedType");
    QTest::addColumn<int>("editedType");
    QTest::addColumn<QString>("expected");
    QTest::newRow("stored T") << 1 << 2
                              << QStringLiteral("UPDATE tasks SET name = :0 WHERE id = :1");
    QTest::newRow("stored D")
        << 2 << 1
        << QStringLiteral("UPDATE tasks SET name = :0, date = :1, time = :2 WHERE id = :3");
}

void TestTaskRows::updateCoreByStoredType() {
    QFETCH(int, storedType);
    QFETCH(int, editedType);
    QFETCH(QString, expected);
    Task stored(*manager, 5, QStringLiteral("Old"), true, Task::Type(storedType));
    Task edited(*manager, 0, QStringLiteral("New"), true, Task::Type(editedType));
    edited.setDate(QDate(2027, 2, 3));
    edited.setTime(QTime(4, 5, 6));
    SqlTrace trace;
    stored.updateCoreDataInDatabase(edited);
    QCOMPARE(trace.statements(), QStringList{expected});
}

void TestTaskRows::updateAlarmsReplacesRows() {
    Task stored(*manager, 1, QStringLiteral("Initial"), false, Task::T);
    Task edited(*manager, 0, QStringLiteral("Initial"), true, Task::T);
    edited.addAlarm(false, 5, Alarm::Hours, QStringLiteral("x"));
    edited.addAlarm(false, 6, Alarm::Minutes, QString());
    SqlTrace trace;
    stored.updateAlarmsDataInDatabase(edited);
    QCOMPARE(trace.statements().first(), QStringLiteral("DELETE FROM alarms WHERE task_id = :0"));
    QCOMPARE(trace.statements().size(), 3);
    const auto rows = TestDatabase::rows(
        QStringLiteral("SELECT id, units, unit_type FROM alarms WHERE task_id = 1 ORDER BY id"));
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(0).at(1).toInt(), 5);
    QCOMPARE(rows.at(1).at(1).toInt(), 6);
}

void TestTaskRows::updateAlarmsToEmptyList() {
    Task stored(*manager, 1, QStringLiteral("Initial"), false, Task::T);
    stored.loadAlarms();
    QCOMPARE(stored.noOfAlarms(), 1);
    Task edited(*manager, 0, QStringLiteral("Initial"), true, Task::T);
    stored.updateAlarmsDataInDatabase(edited);
    QVERIFY(TestDatabase::rows(QStringLiteral("SELECT * FROM alarms WHERE task_id = 1")).isEmpty());
    stored.loadAlarms();
    QCOMPARE(stored.noOfAlarms(), 0);
}

void TestTaskRows::updateAlarmsStopsWhenDeleteFails() {
    QVERIFY(TestDatabase::exec(QStringLiteral("CREATE TRIGGER keep_alarms BEFORE DELETE ON alarms "
                                              "BEGIN SELECT RAISE(FAIL, 'kept'); END")));
    Task stored(*manager, 1, QStringLiteral("Initial"), false, Task::T);
    Task edited(*manager, 0, QStringLiteral("Initial"), true, Task::T);
    edited.addAlarm(false, 30, Alarm::Minutes, QString());
    SqlTrace trace;
    stored.updateAlarmsDataInDatabase(edited);
    QCOMPARE(trace.statements(),
             QStringList{QStringLiteral("DELETE FROM alarms WHERE task_id = :0")});
    const auto rows =
        TestDatabase::rows(QStringLiteral("SELECT units FROM alarms WHERE task_id = 1"));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0).at(0).toInt(), 0);
}

void TestTaskRows::loadKeepsFieldsForNull() {
    // The seed row has NULL date and time: the constructor's moment stays.
    Task seed(*manager, 1, QStringLiteral("Initial"), false, Task::T);
    const QDate date = seed.date();
    const QTime time = seed.time();
    seed.loadDateTime();
    QCOMPARE(seed.date(), date);
    QCOMPARE(seed.time(), time);

    // Each column on its own.
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (20, 'h', 1, 2, NULL, '07:15')")));
    Task half(*manager, 20, QStringLiteral("h"), true, Task::D);
    half.setDate(QDate(2000, 1, 1));
    half.loadDateTime();
    QCOMPARE(half.date(), QDate(2000, 1, 1));
    QCOMPARE(half.time(), QTime(7, 15));

    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (21, 'b', 1, 2, 'soon', '25:99')")));
    Task bad(*manager, 21, QStringLiteral("b"), true, Task::D);
    bad.loadDateTime();
    QVERIFY(!bad.date().isValid());
    QVERIFY(!bad.time().isValid());
}

void TestTaskRows::loadAlarmsInIdOrder() {
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO alarms (id, task_id, is_before, units, unit_type, description) VALUES "
        "(30, 8, 'true', 3, 1, 'third'), (10, 8, 0, 1, 0, 'first'), (20, 8, '1', 2, 2, NULL)")));
    Task task(*manager, 8, QStringLiteral("t"), true, Task::D);
    task.addAlarm(false, 99, Alarm::Days, QStringLiteral("replaced"));
    Alarm* old = task.getAlarm(0);
    task.loadAlarms();
    QCOMPARE(task.noOfAlarms(), 3);
    QCOMPARE(task.getAlarm(0)->description(), QStringLiteral("first"));
    QVERIFY(!task.getAlarm(0)->isBefore());
    QCOMPARE(task.getAlarm(1)->units(), 2);
    QCOMPARE(task.getAlarm(1)->unitType(), Alarm::Days);
    QVERIFY(task.getAlarm(1)->isBefore());
    QVERIFY(task.getAlarm(1)->description().isEmpty());
    QVERIFY(task.getAlarm(2)->isBefore());
    QCOMPARE(task.getAlarm(2)->unitType(), Alarm::Hours);
    // The replaced alarm is not deleted; it stays a child of the task.
    QCOMPARE(old->parent(), &task);
}

void TestTaskRows::failedLoadsKeepWhatTheTaskHas() {
    QVERIFY(TestDatabase::exec(QStringLiteral("DROP TABLE alarms")));
    QVERIFY(TestDatabase::exec(QStringLiteral("DROP TABLE repetitions")));
    QVERIFY(TestDatabase::exec(QStringLiteral("ALTER TABLE tasks RENAME TO old_tasks")));
    Task task(*manager, 1, QStringLiteral("x"), true, Task::D);
    task.setDate(QDate(2020, 2, 2));
    task.addAlarm(false, 1, Alarm::Minutes, QString());
    task.loadDateTime();
    QCOMPARE(task.date(), QDate(2020, 2, 2));
    task.loadRepetitions();
    QCOMPARE(task.repetition(), 1);
    // A failed alarm select leaves the list empty.
    task.loadAlarms();
    QCOMPARE(task.noOfAlarms(), 0);
}

void TestTaskRows::repetitionRow_data() {
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("statement");
    QTest::newRow("never") << QStringLiteral("1, 0, '', 0, 0, ''")
                           << QStringLiteral(
                                  "INSERT INTO repetitions (id, task_id, repeat_type, "
                                  "repeat_units, repeat_stop_date, "
                                  "repeat_interval_type, repeat_interval_units, "
                                  "extra_data) VALUES (NULL, :0, :1, :2, :3, :4, :5, :6)");
}

void TestTaskRows::repetitionRow() {
    QFETCH(QString, statement);
    Task task(*manager, 0, QStringLiteral("Rep"), true, Task::D);
    task.setDate(QDate(2026, 3, 2));
    task.setTime(QTime(8, 0));
    task.insertCoreDataToDatabase();
    SqlTrace trace;
    task.insertRepetitionDataToDatabase();
    QCOMPARE(trace.statements(), QStringList{statement});
    const auto rows = TestDatabase::rows(
        QStringLiteral("SELECT repeat_type, repeat_stop_date FROM repetitions WHERE task_id = %1")
            .arg(task.id()));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0).at(0).toInt(), 1);
    QCOMPARE(rows.at(0).at(1).toString(), QString(""));
    QVERIFY(!rows.at(0).at(1).isNull());
}

void TestTaskRows::repetitionRowLoadsBack() {
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO repetitions (task_id, repeat_type, repeat_units, repeat_stop_date, "
        "repeat_interval_type, repeat_interval_units, extra_data) VALUES "
        "(40, 3, 0, '2027-01-31', 3, 2, 'W:1:3:5'), (41, 4, 7, '', 4, 1, 'M:2')")));
    Task weekly(*manager, 40, QStringLiteral("w"), true, Task::D);
    weekly.loadRepetitions();
    QCOMPARE(weekly.repetition(), 3);
    QCOMPARE(weekly.repetitionStopDate(), QDate(2027, 1, 31));
    QCOMPARE(weekly.repeatIntervalType(), 3);
    QCOMPARE(weekly.repeatIntervalNumber(), 2);
    QCOMPARE(weekly.weeklyRepeatDays(), (QList<int>{1, 3, 5}));

    Task monthly(*manager, 41, QStringLiteral("m"), true, Task::D);
    monthly.loadRepetitions();
    QCOMPARE(monthly.repetitionStopNumber(), 7);
    QVERIFY(!monthly.repetitionStopDate().isValid());
    QCOMPARE(monthly.monthlyRepeatType(), 2);

    // Editing a weekly task stores the new days; the list in memory keeps the old ones too.
    Task edited(*manager, 0, QStringLiteral("w"), true, Task::D);
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO repetitions (task_id, repeat_type, repeat_units, repeat_stop_date, "
        "repeat_interval_type, repeat_interval_units, extra_data) VALUES (42, 2, 0, '', 3, 1, "
        "'W:2')")));
    Task source(*manager, 42, QStringLiteral("src"), true, Task::D);
    source.loadRepetitions();
    weekly.updateRepetitionDataInDatabase(source);
    weekly.loadRepetitions();
    QCOMPARE(weekly.weeklyRepeatDays(), (QList<int>{1, 3, 5, 2}));
    QCOMPARE(
        TestDatabase::rows(QStringLiteral("SELECT extra_data FROM repetitions WHERE task_id = 40"))
            .at(0)
            .at(0)
            .toString(),
        QStringLiteral("W:2"));
}

void TestTaskRows::countdownHasNoRepetitionRow() {
    Task task(*manager, 0, QStringLiteral("Eggs"), true, Task::T);
    task.insertCoreDataToDatabase();
    SqlTrace trace;
    task.insertRepetitionDataToDatabase();
    task.updateRepetitionDataInDatabase(task);
    task.loadRepetitions();
    QVERIFY(trace.statements().isEmpty());
}

PARDO_TEST_MAIN(TestTaskRows)
#include "tst_taskrows.moc"
