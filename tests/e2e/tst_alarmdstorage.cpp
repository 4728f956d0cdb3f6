#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryFile>

#include <alarmd/libalarm.h>

#include <cstdio>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

#include "pardotest.h"
#include "silentsounddevice.h"
#include "testdatabase.h"

namespace {

const QString daemonName = QStringLiteral("org.velmar.alarmd");

bool daemonRunning() {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(daemonName);
}

cookie_t addEvent(const char* message) {
    alarm_event_t* event = alarm_event_create();
    alarm_event_set_alarm_appid(event, "storage");
    alarm_event_set_title(event, "Storage");
    alarm_event_set_message(event, message);
    event->alarm_time = time(nullptr) + 86400;
    alarm_action_t* stop = alarm_event_add_actions(event, 1);
    alarm_action_set_label(stop, "Stop");
    stop->flags = ALARM_ACTION_WHEN_RESPONDED;
    const cookie_t cookie = alarmd_event_add(event);
    alarm_event_delete(event);
    return cookie;
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What this process writes to standard error while it lives.
class StderrCapture {
public:
    StderrCapture() {
        std::fflush(stderr);
        saved = ::dup(STDERR_FILENO);
        if (file.open()) {
            ::dup2(file.handle(), STDERR_FILENO);
        }
    }
    ~StderrCapture() { restore(); }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    QByteArray text() {
        restore();
        file.seek(0);
        return file.readAll();
    }

private:
    void restore() {
        if (saved >= 0) {
            std::fflush(stderr);
            ::dup2(saved, STDERR_FILENO);
            ::close(saved);
            saved = -1;
        }
    }

    QTemporaryFile file;
    int saved = -1;
};

} // namespace

// The real pardo-alarmd with queue files it cannot use: damaged ones it moves
// aside, unwritable ones it refuses changes to, saying so.
class TestAlarmdStorage : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void damagedQueueIsMovedAside_data();
    void damagedQueueIsMovedAside();
    void unwritableQueueAnswersWithAStorageError_data();
    void unwritableQueueAnswersWithAStorageError();

private:
    bool startDaemon(const QString& dataHome);
    // Ends the daemon; false when it would not end.
    bool stopDaemon(QByteArray* output = nullptr);

    std::unique_ptr<QProcess> daemon;
};

void TestAlarmdStorage::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    qInfo("running as user %u", unsigned(::geteuid()));
}

void TestAlarmdStorage::cleanup() {
    if (daemon) {
        stopDaemon();
    }
}

bool TestAlarmdStorage::startDaemon(const QString& dataHome) {
    daemon = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome);
    daemon->setProcessEnvironment(environment);
    daemon->setProcessChannelMode(QProcess::MergedChannels);
    daemon->start(QStringLiteral(PARDO_ALARMD_PATH), {});
    return daemon->waitForStarted(10000) && QTest::qWaitFor(daemonRunning, 20000);
}

bool TestAlarmdStorage::stopDaemon(QByteArray* output) {
    daemon->terminate();
    if (!daemon->waitForFinished(20000)) {
        daemon->kill();
        daemon->waitForFinished(5000);
        daemon.reset();
        return false;
    }
    if (output) {
        *output = daemon->readAll();
    }
    daemon.reset();
    return QTest::qWaitFor([] { return !daemonRunning(); }, 10000);
}

void TestAlarmdStorage::damagedQueueIsMovedAside_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("garbage bytes") << QStringLiteral("garbage");
    QTest::newRow("another schema") << QStringLiteral("schema");
    QTest::newRow("truncated") << QStringLiteral("truncated");
}

void TestAlarmdStorage::damagedQueueIsMovedAside() {
    QFETCH(QString, kind);
    const QString dataHome =
        TestEnvironment::current()->root() + QStringLiteral("/damaged-") + kind;
    const QString folder = dataHome + QStringLiteral("/pardo-alarmd");
    const QString file = folder + QStringLiteral("/queue.sqlite");
    QVERIFY(QDir().mkpath(folder));
    if (kind == QLatin1String("garbage")) {
        QByteArray bytes;
        for (int i = 0; i < 3000; ++i) {
            bytes.append(char((i * 31 + 7) % 256));
        }
        QVERIFY(writeFile(file, bytes));
    } else if (kind == QLatin1String("schema")) {
        QVERIFY(TestDatabase::prepareFile(
            file, {QStringLiteral("CREATE TABLE tasks (id INTEGER PRIMARY KEY, name TEXT)"),
                   QStringLiteral("INSERT INTO tasks (name) VALUES ('someone else''s')")}));
    } else {
        QVERIFY(TestDatabase::prepareFile(
            file,
            {QStringLiteral("CREATE TABLE events (cookie INTEGER PRIMARY KEY AUTOINCREMENT, "
                            "appid TEXT NOT NULL, due INTEGER NOT NULL, data TEXT NOT NULL)"),
             QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < 300) INSERT INTO events (appid, due, data) SELECT 'old', "
                            "i, printf('{\"message\":\"%.*c\"}', 1500, 'x') FROM n")}));
        QFile queue(file);
        QVERIFY(queue.size() > 100000);
        QVERIFY(queue.resize(queue.size() / 2));
    }
    const QByteArray original = contentsOf(file);

    QVERIFY(startDaemon(dataHome));
    const cookie_t cookie = addEvent("after the damage");
    QVERIFY(cookie > 0);
    QByteArray output;
    QVERIFY(stopDaemon(&output));
    QVERIFY2(output.contains("cannot be read as a queue"), output.constData());
    QVERIFY2(!output.contains("Sanitizer"), output.constData());

    const QStringList copies =
        QDir(folder).entryList({QStringLiteral("queue.sqlite.damaged-*")}, QDir::Files);
    QCOMPARE(copies.size(), 1);
    QVERIFY2(
        output.contains("moved to " + QFile::encodeName(folder + QLatin1Char('/') + copies[0])),
        output.constData());
    QCOMPARE(contentsOf(folder + QLatin1Char('/') + copies[0]), original);

    // The new queue is a queue: what was added is there after a restart.
    QVERIFY(startDaemon(dataHome));
    alarm_event_t* event = alarmd_event_get(cookie);
    QVERIFY(event);
    QCOMPARE(QString::fromUtf8(alarm_event_get_message(event)), QStringLiteral("after the damage"));
    alarm_event_delete(event);
    QByteArray again;
    QVERIFY(stopDaemon(&again));
    QVERIFY2(!again.contains("cannot be read as a queue"), again.constData());
    QCOMPARE(QDir(folder).entryList({QStringLiteral("queue.sqlite.damaged-*")}).size(), 1);
}

void TestAlarmdStorage::unwritableQueueAnswersWithAStorageError_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("folder path runs through a file") << QStringLiteral("file in path");
    QTest::newRow("a folder where the log goes") << QStringLiteral("log folder");
    QTest::newRow("read-only folder and file") << QStringLiteral("read-only");
}

void TestAlarmdStorage::unwritableQueueAnswersWithAStorageError() {
    QFETCH(QString, kind);
    const QString dataHome = TestEnvironment::current()->root() + QStringLiteral("/unwritable-") +
                             QString(kind).replace(QLatin1Char(' '), QLatin1Char('-'));
    const QString folder = dataHome + QStringLiteral("/pardo-alarmd");
    cookie_t kept = 0;
    if (kind == QLatin1String("file in path")) {
        QVERIFY(QDir().mkpath(dataHome));
        QVERIFY(writeFile(folder, "a file where the folder belongs"));
    } else if (kind == QLatin1String("log folder")) {
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/queue.sqlite-wal")));
    } else {
        if (::geteuid() == 0) {
            QSKIP("root writes read-only files; the other rows make the queue unwritable for root");
        }
        QVERIFY(startDaemon(dataHome));
        kept = addEvent("kept");
        QVERIFY(kept > 0);
        QVERIFY(stopDaemon());
        QVERIFY(::chmod(QFile::encodeName(folder + QStringLiteral("/queue.sqlite")).constData(),
                        0400) == 0);
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0500) == 0);
    }

    QVERIFY(startDaemon(dataHome));
    QByteArray printed;
    {
        StderrCapture capture;
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(addEvent("lost"), cookie_t(0));
        }
        if (kept > 0) {
            QCOMPARE(alarmd_event_del(kept), -1);
            QCOMPARE(alarmd_event_del(kept), -1);
        }
        printed = capture.text();
    }
    // The reason reaches the user once per kind of failure, not once per call.
    QCOMPARE(printed.count("libalarm: "), kept > 0 ? 2 : 1);
    QVERIFY2(printed.contains("The alarm queue cannot be saved, the event was not added: "),
             printed.constData());
    QVERIFY2(printed.contains(QFile::encodeName(folder)), printed.constData());
    if (kept > 0) {
        QVERIFY2(printed.contains("the event was not deleted"), printed.constData());
        alarm_event_t* event = alarmd_event_get(kept);
        QVERIFY(event);
        alarm_event_delete(event);
    }
    cookie_t* cookies = alarmd_event_query(0, 0, 0, 0, "storage");
    QVERIFY(cookies);
    int count = 0;
    while (cookies[count]) {
        ++count;
    }
    free(cookies);
    QCOMPARE(count, kept > 0 ? 1 : 0);

    QByteArray output;
    QVERIFY(stopDaemon(&output));
    QVERIFY2(output.contains("cannot keep an event"), output.constData());
    QVERIFY2(!output.contains("Sanitizer"), output.constData());
    if (kind == QLatin1String("read-only")) {
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0700) == 0);
    }
}

PARDO_DBUS_TEST_MAIN(TestAlarmdStorage)
#include "tst_alarmdstorage.moc"
