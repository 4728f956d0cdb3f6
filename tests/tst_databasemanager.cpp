#include <QAbstractButton>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QTimer>

#include "applicationstart.h"
#include "databasemanager.h"
#include "pardotest.h"
#include "taskmanager.h"
#include "testdatabase.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

namespace {

const QStringList kCreateStatements{
    QStringLiteral("CREATE TABLE IF NOT EXISTS meta (id INTEGER PRIMARY KEY, name VARCHAR(30) NOT "
                   "NULL, value TEXT NOT NULL)"),
    QStringLiteral("CREATE TABLE IF NOT EXISTS tasks (id INTEGER PRIMARY KEY, name VARCHAR(50) NOT "
                   "NULL, active INTEGER NOT NULL, type INTEGER NOT NULL, date VARCHAR(10), time "
                   "VARCHAR(8))"),
    QStringLiteral("CREATE TABLE IF NOT EXISTS alarms (id INTEGER PRIMARY KEY, task_id INTEGER NOT "
                   "NULL REFERENCES tasks(id), is_before INTEGER NOT NULL, units INTEGER NOT NULL, "
                   "unit_type INTEGER NOT NULL, description TEXT)"),
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS repetitions (id INTEGER PRIMARY KEY, task_id INTEGER "
        "NOT NULL REFERENCES tasks(id), repeat_type INTEGER NOT NULL, repeat_units "
        "INTEGER, repeat_stop_date VARCHAR(10), repeat_interval_type INTEGER NOT NULL, "
        "repeat_interval_units INTEGER, extra_data TEXT)"),
};

QByteArray readFile(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

// The permission bits of a file, or -1 when it is not there.
int modeOf(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0) {
        return -1;
    }
    return int(info.st_mode & 07777);
}

// Files on which schema creation fails half-way through.
void addDamagedSchemaRows() {
    QTest::addColumn<QStringList>("statements");
    // The version insert fails on a meta table of another shape.
    QTest::newRow("meta of another shape") << QStringList{
        QStringLiteral("CREATE TABLE meta (id INTEGER PRIMARY KEY, name TEXT NOT NULL)"),
        QStringLiteral("INSERT INTO meta VALUES (7, 'mine')")};
    // Everything up to the seed alarm goes in; that one does not fit the old alarms table.
    QTest::newRow("no tasks, alarms of another shape") << QStringList{
        QStringLiteral("CREATE TABLE alarms (id INTEGER PRIMARY KEY, task_id INTEGER, at TEXT)"),
        QStringLiteral("INSERT INTO alarms VALUES (1, 1, 'tomorrow at eight')"),
        QStringLiteral("INSERT INTO alarms VALUES (2, 1, 'monday')")};
}

} // namespace

class TestDatabaseManager : public QObject {
    Q_OBJECT
public:
    static int runChild(const QString& scenario);

private Q_SLOTS:
    void init();
    void cleanup();
    void freshFileHoldsSchemaAndSeed();
    void seedRowsAreExact();
    void pathIsDirectlyInHome();
    void existingTasksTableIsAcceptedAsItIs();
    void metaWithoutTasksGetsSecondVersionRow();
    void failedCreationKeepsAnExistingFile_data();
    void failedCreationKeepsAnExistingFile();
    void failedCreationRemovesTheFileItMade();
    void filesAreCreatedForTheOwnerOnly();
    void existingFileKeepsItsMode();
    void notADatabaseIsLeftUntouched();
    void startFailureShowsBoxAndExits_data();
    void startFailureShowsBoxAndExits();
    void taskManagerWithoutDatabaseLeavesTheEndToTheApplication();

private:
    std::unique_ptr<DatabaseManager> manager;
};

void TestDatabaseManager::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
}

void TestDatabaseManager::cleanup() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestDatabaseManager::freshFileHoldsSchemaAndSeed() {
    manager = std::make_unique<DatabaseManager>();
    QVERIFY(!QFile::exists(DatabaseManager::databasePath()));
    QVERIFY(manager->openDatabase());
    QVERIFY(QFile::exists(QDir::homePath() + QStringLiteral("/pardoreminder.db.sqlite")));

    const auto tables = TestDatabase::rows(
        QStringLiteral("SELECT name, sql FROM sqlite_master WHERE type = 'table' ORDER BY rowid"));
    QCOMPARE(tables.size(), 4);
    const QStringList names{QStringLiteral("meta"), QStringLiteral("tasks"),
                            QStringLiteral("alarms"), QStringLiteral("repetitions")};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(tables.at(i).at(0).toString(), names.at(i));
        // SQLite keeps the statement's text, minus the IF NOT EXISTS clause.
        QString expected = kCreateStatements.at(i);
        expected.remove(QStringLiteral("IF NOT EXISTS "));
        QCOMPARE(tables.at(i).at(1).toString(), expected);
    }
    QCOMPARE(TestDatabase::rows(
                 QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'index'"))
                 .at(0)
                 .at(0)
                 .toInt(),
             0);
}

void TestDatabaseManager::seedRowsAreExact() {
    manager = std::make_unique<DatabaseManager>();
    QVERIFY(manager->openDatabase());

    const auto meta = TestDatabase::rows(QStringLiteral("SELECT id, name, value FROM meta"));
    QCOMPARE(meta.size(), 1);
    QCOMPARE(meta.at(0), (QVariantList{1, QStringLiteral("db_version"), QStringLiteral("1.0.0")}));

    const auto tasks = TestDatabase::rows(QStringLiteral(
        "SELECT id, name, active, typeof(active), type, date IS NULL, time IS NULL FROM tasks"));
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.at(0).at(0).toInt(), 1);
    QCOMPARE(tasks.at(0).at(1).toString(), QStringLiteral("Initial"));
    QCOMPARE(tasks.at(0).at(2).toString(), QStringLiteral("false"));
    QCOMPARE(tasks.at(0).at(3).toString(), QStringLiteral("text"));
    QCOMPARE(tasks.at(0).at(4).toInt(), 1);
    QCOMPARE(tasks.at(0).at(5).toInt(), 1);
    QCOMPARE(tasks.at(0).at(6).toInt(), 1);

    const auto alarms = TestDatabase::rows(
        QStringLiteral("SELECT id, task_id, is_before, units, unit_type, description FROM alarms"));
    QCOMPARE(alarms.size(), 1);
    QCOMPARE(alarms.at(0), (QVariantList{1, 1, 0, 0, 0, QString()}));
    QCOMPARE(alarms.at(0).at(5).toString(), QStringLiteral(""));
    QVERIFY(!alarms.at(0).at(5).isNull());

    QVERIFY(TestDatabase::rows(QStringLiteral("SELECT * FROM repetitions")).isEmpty());
}

void TestDatabaseManager::pathIsDirectlyInHome() {
    DatabaseManager database;
    QCOMPARE(database.databaseName(), QStringLiteral("pardoreminder.db.sqlite"));
    QCOMPARE(
        DatabaseManager::databasePath(),
        QDir::toNativeSeparators(QDir::homePath() + QStringLiteral("/pardoreminder.db.sqlite")));
}

void TestDatabaseManager::existingTasksTableIsAcceptedAsItIs() {
    const QString path = DatabaseManager::databasePath();
    QVERIFY(TestDatabase::prepareFile(
        path,
        {QStringLiteral("CREATE TABLE tasks (id INTEGER PRIMARY KEY, name TEXT, active "
                        "INTEGER, type INTEGER, date TEXT, time TEXT)"),
         QStringLiteral("INSERT INTO tasks VALUES (5, 'Kept', 1, 2, '2020-01-01', '08:00')")}));

    manager = std::make_unique<DatabaseManager>();
    QVERIFY(manager->openDatabase());
    const auto tables =
        TestDatabase::rows(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table'"));
    QCOMPARE(tables.size(), 1);
    QCOMPARE(tables.at(0).at(0).toString(), QStringLiteral("tasks"));
    const auto tasks = TestDatabase::rows(QStringLiteral("SELECT id, name FROM tasks"));
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.at(0).at(1).toString(), QStringLiteral("Kept"));
    // Later statements on the missing table fail, and say so.
    QVERIFY(!TestDatabase::exec(QStringLiteral("SELECT * FROM repetitions")));
}

void TestDatabaseManager::metaWithoutTasksGetsSecondVersionRow() {
    const QString path = DatabaseManager::databasePath();
    QVERIFY(TestDatabase::prepareFile(
        path,
        {QStringLiteral(
             "CREATE TABLE meta (id INTEGER PRIMARY KEY, name VARCHAR(30) NOT NULL, value "
             "TEXT NOT NULL)"),
         QStringLiteral("INSERT INTO meta (id, name, value) VALUES (NULL, 'db_version', '0.9')")}));

    manager = std::make_unique<DatabaseManager>();
    QVERIFY(manager->openDatabase());
    const auto versions = TestDatabase::rows(
        QStringLiteral("SELECT value FROM meta WHERE name = 'db_version' ORDER BY id"));
    QCOMPARE(versions.size(), 2);
    QCOMPARE(versions.at(0).at(0).toString(), QStringLiteral("0.9"));
    QCOMPARE(versions.at(1).at(0).toString(), QStringLiteral("1.0.0"));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT name FROM tasks")).size(), 1);
}

void TestDatabaseManager::failedCreationKeepsAnExistingFile_data() {
    addDamagedSchemaRows();
}

void TestDatabaseManager::failedCreationKeepsAnExistingFile() {
    QFETCH(QStringList, statements);
    const QString path = DatabaseManager::databasePath();
    QVERIFY(TestDatabase::prepareFile(path, statements));
    const QByteArray before = readFile(path);
    QVERIFY(!before.isEmpty());

    manager = std::make_unique<DatabaseManager>();
    QVERIFY(!manager->openDatabase());
    manager.reset();
    TestDatabase::dropDefaultConnection();
    QVERIFY(QFile::exists(path));
    QCOMPARE(readFile(path), before);
    QVERIFY(!QFile::exists(path + QStringLiteral("-journal")));
}

void TestDatabaseManager::failedCreationRemovesTheFileItMade() {
    // Files may not grow past a few bytes: the new file can be made, the schema not written.
    const QString path = DatabaseManager::databasePath();
    rlimit saved{};
    QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
    rlimit small = saved;
    small.rlim_cur = 16;
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    QVERIFY(setrlimit(RLIMIT_FSIZE, &small) == 0);
    manager = std::make_unique<DatabaseManager>();
    const bool opened = manager->openDatabase();
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);
    QVERIFY(!opened);
    QVERIFY(!QFile::exists(path));
}

void TestDatabaseManager::filesAreCreatedForTheOwnerOnly() {
    const QString home = QDir::homePath();
    QVERIFY(QFile::setPermissions(home, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                            QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                                            QFileDevice::ExeGroup | QFileDevice::ReadOther |
                                            QFileDevice::ExeOther));
    const mode_t savedMask = ::umask(022);
    manager = std::make_unique<DatabaseManager>();
    const bool opened = manager->openDatabase();
    const QString path = DatabaseManager::databasePath();
    const int fileMode = modeOf(path);

    // A journal appears with the first change of a transaction.
    QVERIFY(TestDatabase::exec(QStringLiteral("BEGIN")));
    QVERIFY(TestDatabase::exec(QStringLiteral("UPDATE tasks SET name = 'x'")));
    const int journalMode = modeOf(path + QStringLiteral("-journal"));
    QVERIFY(TestDatabase::exec(QStringLiteral("ROLLBACK")));
    // And so do the files of write-ahead logging.
    QVERIFY(TestDatabase::exec(QStringLiteral("PRAGMA journal_mode = WAL")));
    QVERIFY(TestDatabase::exec(QStringLiteral("UPDATE tasks SET name = 'y'")));
    const int walMode = modeOf(path + QStringLiteral("-wal"));
    ::umask(savedMask);

    QVERIFY(opened);
    QCOMPARE(fileMode, 0600);
    QCOMPARE(journalMode, 0600);
    QCOMPARE(walMode, 0600);
    // The folder is the user's: it is neither loosened nor tightened.
    QCOMPARE(modeOf(home), 0755);
}

void TestDatabaseManager::existingFileKeepsItsMode() {
    const QString path = DatabaseManager::databasePath();
    QVERIFY(TestDatabase::prepareFile(path, kCreateStatements));
    QVERIFY(::chmod(QFile::encodeName(path).constData(), 0640) == 0);
    manager = std::make_unique<DatabaseManager>();
    QVERIFY(manager->openDatabase());
    QCOMPARE(modeOf(path), 0640);
}

void TestDatabaseManager::notADatabaseIsLeftUntouched() {
    const QString path = DatabaseManager::databasePath();
    const QByteArray garbage = QByteArray("these are my notes, not a database\n").repeated(200);
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(garbage);
    }
    manager = std::make_unique<DatabaseManager>();
    QVERIFY(!manager->openDatabase());
    manager.reset();
    TestDatabase::dropDefaultConnection();
    QCOMPARE(readFile(path), garbage);
}

// The failing start shows a modal box and ends the process: play it in a
// child process, which reads the box, presses Close and reports.
int TestDatabaseManager::runChild(const QString& scenario) {
    const QString home = QString::fromLocal8Bit(qgetenv("HOME"));
    Q_UNUSED(scenario);
    auto* watcher = new QTimer;
    QObject::connect(watcher, &QTimer::timeout, watcher, [watcher] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            return;
        }
        watcher->stop();
        QTextStream out(stdout);
        out << "title=" << box->windowTitle() << "\n"
            << "text=" << box->text() << "\n"
            << "icon=" << int(box->icon()) << "\n"
            << "buttons=" << int(box->standardButtons()) << "\n"
            << "parent=" << (box->parentWidget() ? "yes" : "none") << "\n";
        out.flush();
        box->button(QMessageBox::Close)->click();
    });
    watcher->start(20);
    TaskManager taskManager;
    ApplicationStart::requireDatabase(taskManager);
    QTextStream(stdout) << "survived " << home << "\n";
    return 0;
}

void TestDatabaseManager::startFailureShowsBoxAndExits_data() {
    QTest::addColumn<QString>("setup");
    QTest::newRow("not a database") << QStringLiteral("garbage");
    QTest::newRow("home under a plain file") << QStringLiteral("unwritable");
    QTest::newRow("damaged schema") << QStringLiteral("damaged");
}

void TestDatabaseManager::startFailureShowsBoxAndExits() {
    QFETCH(QString, setup);
    const QString home = QDir::homePath();
    QString childHome = home;
    QByteArray garbage;
    if (setup == QLatin1String("garbage")) {
        garbage = QByteArray("no SQLite here\n").repeated(100);
        QFile file(home + QStringLiteral("/pardoreminder.db.sqlite"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(garbage);
    } else if (setup == QLatin1String("damaged")) {
        const QString path = home + QStringLiteral("/pardoreminder.db.sqlite");
        QVERIFY(TestDatabase::prepareFile(
            path, {QStringLiteral("CREATE TABLE alarms (id INTEGER PRIMARY KEY, at TEXT)"),
                   QStringLiteral("INSERT INTO alarms VALUES (1, 'tomorrow')")}));
        garbage = readFile(path);
    } else {
        // Even root cannot create a file below a plain file.
        QFile file(home + QStringLiteral("/plainfile"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        childHome = home + QStringLiteral("/plainfile");
    }

    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), childHome);
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--child"), QStringLiteral("open")});
    QVERIFY(child.waitForFinished(30000));
    const QString out = QString::fromUtf8(child.readAllStandardOutput());
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 1);
    QVERIFY2(out.contains(QStringLiteral("title=Can not open database\n")), qPrintable(out));
    QVERIFY(out.contains(QStringLiteral("text=Unable to open a database connection.\n")));
    QVERIFY(out.contains(QStringLiteral("icon=%1\n").arg(int(QMessageBox::Critical))));
    QVERIFY(out.contains(QStringLiteral("buttons=%1\n").arg(int(QMessageBox::Close))));
    QVERIFY(out.contains(QStringLiteral("parent=none\n")));
    QVERIFY(!out.contains(QStringLiteral("survived")));
    if (!garbage.isEmpty()) {
        QCOMPARE(readFile(home + QStringLiteral("/pardoreminder.db.sqlite")), garbage);
    }
}

void TestDatabaseManager::taskManagerWithoutDatabaseLeavesTheEndToTheApplication() {
    // Even root cannot create a file below a plain file.
    QFile file(QDir::homePath() + QStringLiteral("/plainfile"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(file.fileName()));
    {
        TaskManager taskManager;
        QVERIFY(!taskManager.hasDatabase());
    }
    qputenv("HOME", home);
}

PARDO_TEST_MAIN_WITH_CHILD(TestDatabaseManager)
#include "tst_databasemanager.moc"
