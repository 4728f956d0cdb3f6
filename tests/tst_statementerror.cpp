// A statement that fails says why on standard error and reports the failure;
// one that succeeds stays quiet. Played in a child process, whose standard
// error the test reads as it is.
#include <QProcess>
#include <QSqlQuery>

#include <optional>

#include "databasemanager.h"
#include "pardotest.h"
#include "testdatabase.h"

class TestStatementError : public QObject {
    Q_OBJECT
public:
    static int runChild(const QString& name);

private Q_SLOTS:
    void failureIsWrittenAndReported_data();
    void failureIsWrittenAndReported();
    void successIsQuiet();
};

namespace {

// Prints "ok" or "failed" on standard output: what the statement reported.
int report(bool ok) {
    std::fputs(ok ? "ok\n" : "failed\n", stdout);
    return 0;
}

struct ChildRun {
    QString out;
    QString err;
};

std::optional<ChildRun> runChildNamed(const QString& name, const QString& home) {
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home);
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--child"), name});
    if (!child.waitForFinished(60000) || child.exitStatus() != QProcess::NormalExit ||
        child.exitCode() != 0) {
        return std::nullopt;
    }
    return ChildRun{QString::fromLocal8Bit(child.readAllStandardOutput()),
                    QString::fromLocal8Bit(child.readAllStandardError())};
}

} // namespace

int TestStatementError::runChild(const QString& name) {
    DatabaseManager manager;
    if (!manager.openDatabase()) {
        return 2;
    }
    if (name == QLatin1String("missing table")) {
        QSqlQuery query{QString(), QSqlDatabase()};
        return report(DatabaseManager::execute(
            query, QStringLiteral("SELECT value FROM nowhere WHERE id = ?"), {1}));
    }
    if (name == QLatin1String("alarm without its table")) {
        TestDatabase::exec(QStringLiteral("DROP TABLE alarms"));
        return report(
            DatabaseManager::insertAlarm(1, StoredAlarm{true, 5, 1, QStringLiteral("x")}));
    }
    if (name == QLatin1String("setting without its table")) {
        TestDatabase::exec(QStringLiteral("DROP TABLE meta"));
        return report(DatabaseManager::updateSnoozeInterval(QStringLiteral("15")));
    }
    if (name == QLatin1String("tasks without their table")) {
        TestDatabase::exec(QStringLiteral("ALTER TABLE tasks RENAME TO old_tasks"));
        return report(!DatabaseManager::selectTasks().isEmpty());
    }
    if (name == QLatin1String("good statement")) {
        return report(DatabaseManager::updateSnoozeInterval(QStringLiteral("15")));
    }
    return 3;
}

void TestStatementError::failureIsWrittenAndReported_data() {
    QTest::addColumn<QString>("child");
    QTest::addColumn<QString>("driverError");
    QTest::newRow("statement on a missing table")
        << QStringLiteral("missing table") << QStringLiteral("no such table: nowhere");
    QTest::newRow("alarm insert") << QStringLiteral("alarm without its table")
                                  << QStringLiteral("no such table: alarms");
    QTest::newRow("setting update")
        << QStringLiteral("setting without its table") << QStringLiteral("no such table: meta");
    QTest::newRow("task load") << QStringLiteral("tasks without their table")
                               << QStringLiteral("no such table: tasks");
}

void TestStatementError::failureIsWrittenAndReported() {
    QFETCH(QString, child);
    QFETCH(QString, driverError);
    const QString home = TestDatabase::freshHome(QString::fromLatin1(QTest::currentDataTag()));
    const std::optional<ChildRun> run = runChildNamed(child, home);
    QVERIFY(run);
    QCOMPARE(run->out, QStringLiteral("failed\n"));
    QVERIFY2(run->err.contains(driverError), qPrintable(run->err));
}

void TestStatementError::successIsQuiet() {
    const QString home = TestDatabase::freshHome(QStringLiteral("successIsQuiet"));
    const std::optional<ChildRun> run = runChildNamed(QStringLiteral("good statement"), home);
    QVERIFY(run);
    QCOMPARE(run->out, QStringLiteral("ok\n"));
    QVERIFY2(!run->err.contains(QStringLiteral("no such")), qPrintable(run->err));
    QVERIFY2(!run->err.contains(QStringLiteral("failed")), qPrintable(run->err));
}

PARDO_TEST_MAIN_WITH_CHILD(TestStatementError)
#include "tst_statementerror.moc"
