// Loading every task at once gives each task exactly the rows its own statements give it,
// whatever the tables hold: rows of several tasks interleaved, rows of no task, ids stored
// as other types, and tables that cannot be read.
#include <QSqlQuery>

#include "databasemanager.h"
#include "pardotest.h"
#include "testdatabase.h"

class TestStoredTasks : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void sameRowsAsEachTaskAlone_data();
    void sameRowsAsEachTaskAlone();
    void unreadableTable_data();
    void unreadableTable();

private:
    std::unique_ptr<DatabaseManager> manager;
};

namespace {

bool sameAlarms(const QVector<StoredAlarm>& a, const QVector<StoredAlarm>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (int i = 0; i < a.size(); ++i) {
        if (a[i].isBefore != b[i].isBefore || a[i].units != b[i].units ||
            a[i].unitType != b[i].unitType || a[i].description != b[i].description) {
            return false;
        }
    }
    return true;
}

bool sameRepetitions(const std::optional<QVector<StoredRepetition>>& a,
                     const std::optional<QVector<StoredRepetition>>& b) {
    if (a.has_value() != b.has_value()) {
        return false;
    }
    if (!a) {
        return true;
    }
    if (a->size() != b->size()) {
        return false;
    }
    for (int i = 0; i < a->size(); ++i) {
        const StoredRepetition& x = a->at(i);
        const StoredRepetition& y = b->at(i);
        if (x.repeatType != y.repeatType || x.stopNumber != y.stopNumber ||
            x.stopDate != y.stopDate || x.hasStopDate != y.hasStopDate ||
            x.intervalType != y.intervalType || x.intervalNumber != y.intervalNumber ||
            x.extraData != y.extraData) {
            return false;
        }
    }
    return true;
}

// Each task as its own three statements read it.
void compareWithEachTaskAlone(const QVector<StoredTask>& loaded) {
    for (const StoredTask& task : loaded) {
        const auto alarms = DatabaseManager::selectAlarms(task.id);
        QVERIFY2(sameAlarms(task.alarms, alarms.value_or(QVector<StoredAlarm>())),
                 qPrintable(QStringLiteral("alarms of task %1").arg(task.id)));
        const auto repetitions = task.type == 1 ? std::optional<QVector<StoredRepetition>>()
                                                : DatabaseManager::selectRepetitions(task.id);
        QVERIFY2(sameRepetitions(task.repetitions, repetitions),
                 qPrintable(QStringLiteral("repetitions of task %1").arg(task.id)));
    }
}

} // namespace

void TestStoredTasks::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentDataTag()).replace(' ', '_'));
    manager = std::make_unique<DatabaseManager>();
    QVERIFY(manager->openDatabase());
    // Without the first start's sample tasks: each row sets up its own.
    for (const char* table : {"tasks", "alarms", "repetitions"}) {
        QVERIFY(TestDatabase::exec(QStringLiteral("DELETE FROM %1").arg(QLatin1String(table))));
    }
}

void TestStoredTasks::cleanup() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestStoredTasks::sameRowsAsEachTaskAlone_data() {
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<QVector<int>>("alarmsPerTask");

    const QStringList tasks{
        QStringLiteral("INSERT INTO tasks VALUES (1, 'a', 1, 2, '2026-01-05', '09:00')"),
        QStringLiteral("INSERT INTO tasks VALUES (2, 'b', 0, 1, NULL, NULL)"),
        QStringLiteral("INSERT INTO tasks VALUES (7, 'c', 1, 2, '2026-02-01', '23:59')"),
    };
    QTest::newRow("interleaved")
        << tasks +
               QStringList{
                   QStringLiteral("INSERT INTO alarms VALUES (1, 7, 1, 5, 0, 'x')"),
                   QStringLiteral("INSERT INTO alarms VALUES (2, 1, 0, 1, 1, 'y')"),
                   QStringLiteral("INSERT INTO alarms VALUES (3, 7, 0, 2, 2, 'z')"),
                   QStringLiteral("INSERT INTO alarms VALUES (4, 2, 1, 3, 0, NULL)"),
                   QStringLiteral("INSERT INTO repetitions VALUES (1, 7, 2, 0, NULL, 3, 2, "
                                  "'W1,4')"),
                   QStringLiteral("INSERT INTO repetitions VALUES (2, 1, 3, 0, '2027-01-01', "
                                  "4, 1, 'M2')"),
               }
        << QVector<int>{1, 1, 2};
    // Ids out of order in the table: the per-task statements read them in id order.
    QTest::newRow("inserted out of order")
        << tasks +
               QStringList{
                   QStringLiteral("INSERT INTO alarms VALUES (9, 1, 1, 9, 0, 'late')"),
                   QStringLiteral("INSERT INTO alarms VALUES (3, 1, 1, 3, 0, 'early')"),
                   QStringLiteral("INSERT INTO repetitions VALUES (8, 7, 2, 0, NULL, 0, 5, "
                                  "NULL)"),
                   QStringLiteral("INSERT INTO repetitions VALUES (4, 7, 4, 3, NULL, 1, 2, "
                                  "'')"),
               }
        << QVector<int>{2, 0, 0};
    // Rows whose task_id no task's own statement would match, and ones stored as other types
    // that it would.
    QTest::newRow("odd task ids")
        << tasks +
               QStringList{
                   QStringLiteral("INSERT INTO alarms VALUES (1, 99, 1, 5, 0, 'no task')"),
                   QStringLiteral("INSERT INTO alarms VALUES (2, 'seven', 1, 5, 0, 'text')"),
                   QStringLiteral("INSERT INTO alarms VALUES (3, 7.0, 1, 6, 0, 'real')"),
                   QStringLiteral("INSERT INTO alarms VALUES (4, 7.5, 1, 7, 0, 'half')"),
                   QStringLiteral("INSERT INTO alarms VALUES (7, 7.4, 1, 7, 0, 'near')"),
                   QStringLiteral("INSERT INTO alarms VALUES (8, 0.9999, 1, 7, 0, 'nearer')"),
                   QStringLiteral("INSERT INTO alarms VALUES (5, '1', 0, 8, 1, 'digits')"),
                   QStringLiteral("INSERT INTO alarms VALUES (6, 4294967303, 0, 8, 1, "
                                  "'wraps to 7')"),
                   QStringLiteral("INSERT INTO repetitions VALUES (1, ' 7', 2, 0, NULL, 0, 5, "
                                  "NULL)"),
                   QStringLiteral("INSERT INTO repetitions VALUES (2, -1, 2, 0, NULL, 0, 5, "
                                  "NULL)"),
               }
        << QVector<int>{1, 0, 1};
    QTest::newRow("no rows") << tasks << QVector<int>{0, 0, 0};
}

void TestStoredTasks::sameRowsAsEachTaskAlone() {
    QFETCH(QStringList, statements);
    QFETCH(QVector<int>, alarmsPerTask);
    for (const QString& statement : statements) {
        QVERIFY2(TestDatabase::exec(statement), qPrintable(statement));
    }

    const QVector<StoredTask> loaded = DatabaseManager::selectTasks();
    QCOMPARE(loaded.size(), 3);
    for (int i = 0; i < loaded.size(); ++i) {
        QCOMPARE(loaded[i].alarms.size(), alarmsPerTask[i]);
    }
    compareWithEachTaskAlone(loaded);
}

void TestStoredTasks::unreadableTable_data() {
    QTest::addColumn<QString>("table");
    QTest::newRow("alarms") << QStringLiteral("alarms");
    QTest::newRow("repetitions") << QStringLiteral("repetitions");
}

// A table that cannot be read leaves every task without its rows, as each task's own
// statement would, and the other table still loads.
void TestStoredTasks::unreadableTable() {
    QFETCH(QString, table);
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO tasks VALUES (1, 'a', 1, 2, '2026-01-05', '09:00')")));
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO alarms VALUES (1, 1, 1, 5, 0, 'x')")));
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions VALUES (1, 1, 2, 0, NULL, 3, 2, 'W1')")));
    QVERIFY(TestDatabase::exec(QStringLiteral("ALTER TABLE %1 RENAME TO gone").arg(table)));

    const QVector<StoredTask> loaded = DatabaseManager::selectTasks();
    QCOMPARE(loaded.size(), 1);
    if (table == QLatin1String("alarms")) {
        QVERIFY(loaded[0].alarms.isEmpty());
        QVERIFY(loaded[0].repetitions.has_value());
        QCOMPARE(loaded[0].repetitions->size(), 1);
    } else {
        QCOMPARE(loaded[0].alarms.size(), 1);
        QVERIFY(!loaded[0].repetitions.has_value());
    }
    compareWithEachTaskAlone(loaded);
}

PARDO_TEST_MAIN(TestStoredTasks)
#include "tst_storedtasks.moc"
