#include <QDBusArgument>
#include <QDBusMessage>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <random>

#include "daemonprocess.h"
#include "eventfuzzer.h"
#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

quint64 baseSeed() {
    bool ok = false;
    const quint64 seed = qEnvironmentVariable("PARDO_FUZZ_SEED").toULongLong(&ok);
    return ok ? seed : 20240612;
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// How SQLite itself sees a file: readable and sound, and the names of its tables.
struct Reading {
    bool sound = false;
    QStringList tables;
};

Reading readWithSqlite(const QByteArray& bytes, const QString& scratch) {
    Reading reading;
    QFile::remove(scratch);
    QFile::remove(scratch + QStringLiteral("-wal"));
    QFile::remove(scratch + QStringLiteral("-shm"));
    if (!writeFile(scratch, bytes)) {
        return reading;
    }
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(scratch.toUtf8().constData(), &db, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(db);
        return reading;
    }
    bool sound = false;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        sound = text && qstrcmp(text, "ok") == 0;
    }
    sqlite3_finalize(statement);
    statement = nullptr;
    if (sound && sqlite3_prepare_v2(db,
                                    "SELECT name FROM sqlite_master WHERE type = 'table' "
                                    "ORDER BY name",
                                    -1, &statement, nullptr) == SQLITE_OK) {
        int step = SQLITE_ROW;
        while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
            reading.tables << QString::fromUtf8(
                reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
        }
        reading.sound = step == SQLITE_DONE;
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return reading;
}

QByteArray databaseWith(const char* sql, const QString& scratch) {
    QFile::remove(scratch);
    sqlite3* db = nullptr;
    sqlite3_open_v2(scratch.toUtf8().constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                    nullptr);
    sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return readFile(scratch);
}

QVariantMap farEvent(int number) {
    QVariantMap button{{QStringLiteral("flags"), 0x40u},
                       {QStringLiteral("label"), QStringLiteral("Stop")}};
    return {{QStringLiteral("alarm_appid"), QStringLiteral("fuzz")},
            {QStringLiteral("title"), QStringLiteral("Event %1").arg(number)},
            {QStringLiteral("message"), QString(300, QLatin1Char('m'))},
            {QStringLiteral("alarm_time"),
             qlonglong(QDateTime::currentSecsSinceEpoch() + 30 * 86400 + number)},
            {QStringLiteral("actions"), QVariant::fromValue(QList<QVariantMap>{button})}};
}

} // namespace

// Whatever lies in the queue file, the daemon starts, answers, takes new events and keeps a
// file it cannot read aside instead of wiping it.
class TestQueueFileFuzz : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void anyQueueFileStarts_data();
    void anyQueueFileStarts();

private:
    QByteArray validQueue;
    QStringList validTables;
};

void TestQueueFileFuzz::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    qInfo("fuzz seed %llu (PARDO_FUZZ_SEED sets another)", baseSeed());
    EventFuzzer registration(0, 0);
    Q_UNUSED(registration);
    // A real queue of the daemon's own making, to damage.
    const QString folder = TestEnvironment::current()->root() + QStringLiteral("/valid");
    DaemonProcess daemon(QStringLiteral(PARDO_ALARMD_PATH), folder + QStringLiteral("/data"),
                         folder + QStringLiteral(".log"));
    QVERIFY(daemon.start());
    for (int i = 0; i < 40; ++i) {
        const QDBusMessage reply = DaemonProcess::call(QStringLiteral("add_event"), {farEvent(i)});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QVERIFY(reply.arguments().first().toLongLong() > 0);
    }
    QVERIFY(daemon.stop());
    const QString queue = folder + QStringLiteral("/data/pardo-alarmd/queue.sqlite");
    QVERIFY(QFileInfo(queue + QStringLiteral("-wal")).size() <= 0);
    validQueue = readFile(queue);
    QVERIFY(validQueue.size() > 4096);
    const Reading reading =
        readWithSqlite(validQueue, TestEnvironment::current()->root() + QStringLiteral("/scratch"));
    QVERIFY(reading.sound);
    validTables = reading.tables;
}

void TestQueueFileFuzz::anyQueueFileStarts_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("unreadable");
    QTest::addColumn<bool>("untouched");

    std::mt19937_64 random(baseSeed());
    const auto below = [&random](quint64 bound) {
        return std::uniform_int_distribution<quint64>(0, bound - 1)(random);
    };
    const auto randomBytes = [&](int size) {
        QByteArray bytes(size, '\0');
        for (char& byte : bytes) {
            byte = char(below(256));
        }
        return bytes;
    };
    const QString scratch = TestEnvironment::current()->root() + QStringLiteral("/scratch");
    // Only a file SQLite itself cannot read soundly, or whose tables are not the daemon's, must
    // go aside; a damage SQLite does not notice may stay.
    const auto row = [&](const QByteArray& name, const QByteArray& bytes, bool untouched) {
        const Reading reading = readWithSqlite(bytes, scratch);
        const bool unreadable =
            !reading.sound || (!reading.tables.isEmpty() && reading.tables != validTables);
        QTest::newRow(name.constData()) << bytes << unreadable << untouched;
    };

    row("empty file", QByteArray(), false);
    for (int i = 1; i <= 2; ++i) {
        row("random bytes " + QByteArray::number(i), randomBytes(1 + int(below(100000))), true);
    }
    row("SQLite header, then random bytes",
        QByteArray("SQLite format 3", 16) + randomBytes(4096 + int(below(8192))), false);
    row("another program's tables",
        databaseWith("CREATE TABLE tasks (id INTEGER PRIMARY KEY, name TEXT);"
                     "INSERT INTO tasks (name) VALUES ('Water the plants');",
                     scratch + QStringLiteral("-other")),
        false);
    row("events table of another shape",
        databaseWith("CREATE TABLE events (id TEXT, what BLOB);"
                     "INSERT INTO events VALUES ('x', x'00ff');",
                     scratch + QStringLiteral("-other")),
        false);
    for (int i = 1; i <= 4; ++i) {
        QByteArray bytes = validQueue;
        const int flips = 1 + int(below(16));
        for (int j = 0; j < flips; ++j) {
            bytes[qsizetype(below(quint64(bytes.size())))] ^= char(1 + below(255));
        }
        row("flipped bytes " + QByteArray::number(i), bytes, false);
    }
    for (int i = 1; i <= 2; ++i) {
        row("truncated " + QByteArray::number(i),
            validQueue.left(qsizetype(1 + below(quint64(validQueue.size() - 1)))), false);
    }
}

void TestQueueFileFuzz::anyQueueFileStarts() {
    QFETCH(QByteArray, bytes);
    QFETCH(bool, unreadable);
    QFETCH(bool, untouched);
    qInfo("%lld bytes that SQLite reads as %s", qlonglong(bytes.size()),
          unreadable ? "damaged or foreign" : "a sound queue");

    const QString folder =
        TestEnvironment::current()->root() + QStringLiteral("/") +
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-'));
    const QString queueFolder = folder + QStringLiteral("/data/pardo-alarmd");
    QVERIFY(QDir().mkpath(queueFolder));
    QVERIFY(writeFile(queueFolder + QStringLiteral("/queue.sqlite"), bytes));

    DaemonProcess daemon(QStringLiteral(PARDO_ALARMD_PATH), folder + QStringLiteral("/data"),
                         folder + QStringLiteral(".log"));
    QVERIFY2(daemon.start(), qPrintable(QStringLiteral("the daemon %1:\n%2")
                                            .arg(daemon.howItEnded(),
                                                 QString::fromUtf8(daemon.log().right(2000)))));
    QVERIFY2(daemon.answers() || daemon.answers(), "no answer to query_event within 1 s");

    const QDBusMessage reply = DaemonProcess::call(QStringLiteral("add_event"), {farEvent(1000)});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    const qlonglong cookie = reply.arguments().first().toLongLong();
    QVERIFY2(cookie > 0, qPrintable(QString::fromUtf8(daemon.log().right(2000))));
    const QDBusMessage event = DaemonProcess::call(QStringLiteral("get_event"), {cookie});
    QCOMPARE(event.type(), QDBusMessage::ReplyMessage);

    const QStringList damaged =
        QDir(queueFolder)
            .entryList({QStringLiteral("queue.sqlite.damaged-*")}, QDir::Files | QDir::Hidden);
    if (unreadable) {
        QVERIFY2(damaged.size() == 1, qPrintable(damaged.join(QLatin1Char(' '))));
        QVERIFY2(daemon.log().contains(damaged.first().toUtf8()),
                 "no message names the file kept aside");
        const QDBusMessage all = DaemonProcess::call(
            QStringLiteral("query_event"), {qlonglong(0), qlonglong(0), 0u, 0u, QString()});
        QCOMPARE(qdbus_cast<QList<qlonglong>>(all.arguments().first()), QList<qlonglong>{cookie});
        if (untouched) {
            QVERIFY(readFile(queueFolder + QLatin1Char('/') + damaged.first()) == bytes);
        }
    }
    QVERIFY2(daemon.stop(), qPrintable(QStringLiteral("the daemon %1\n%2")
                                           .arg(daemon.howItEnded(), daemon.sanitizerReport())));
    QVERIFY2(daemon.sanitizerReport().isEmpty(), qPrintable(daemon.sanitizerReport()));
}

PARDO_DBUS_TEST_MAIN(TestQueueFileFuzz)
#include "tst_queuefilefuzz.moc"
