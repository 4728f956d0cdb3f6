#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <alarmd/libalarm.h>

#include <limits>
#include <sys/stat.h>
#include <unistd.h>

#include "alarmevent.h"
#include "eventcodec.h"
#include "eventstore.h"
#include "pardotest.h"
#include "testdatabase.h"

namespace {

constexpr qint64 int64Max = std::numeric_limits<qint64>::max();
constexpr qint64 int64Min = std::numeric_limits<qint64>::min();
// The first integers a double cannot hold.
constexpr qint64 beyondDouble = (qint64(1) << 53) + 1;

const QString queueSchema = QStringLiteral(
    "CREATE TABLE events (cookie INTEGER PRIMARY KEY AUTOINCREMENT, appid TEXT NOT NULL, "
    "due INTEGER NOT NULL, data TEXT NOT NULL)");

AlarmEvent sampleEvent(qint64 when) {
    AlarmEvent event;
    event.appId = QStringLiteral("store");
    event.title = QStringLiteral("Stored");
    event.message = QStringLiteral("Kept on disk");
    event.alarmTime = when;
    event.trigger = when;
    event.occurrence = when;
    AlarmAction stop;
    stop.label = QStringLiteral("Stop");
    stop.flags = ALARM_ACTION_WHEN_RESPONDED;
    event.actions = {stop};
    return event;
}

int permissionsOf(const QString& path) {
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) {
        return -1;
    }
    return int(status.st_mode & 07777);
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

// Restores the process's umask when the test ends.
class Umask {
public:
    explicit Umask(mode_t mask)
        : previous(::umask(mask)) {}
    ~Umask() { ::umask(previous); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t previous;
};

} // namespace

// The queue file: exact values, files of earlier versions, damaged and
// unwritable files, and who may read it.
class TestEventStore : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void codecKeepsIntegersExactly_data();
    void codecKeepsIntegersExactly();
    void storeKeepsIntegersExactly();
    void readsQueueFilesOfEarlierVersions_data();
    void readsQueueFilesOfEarlierVersions();
    void damagedValuesAreNotGuessed_data();
    void damagedValuesAreNotGuessed();
    void damagedFileIsMovedAside_data();
    void damagedFileIsMovedAside();
    void keepsTheQueuePrivate_data();
    void keepsTheQueuePrivate();
    void unwritableQueueFailsEveryWrite_data();
    void unwritableQueueFailsEveryWrite();

private:
    QString folder;
};

void TestEventStore::init() {
    folder =
        TestEnvironment::current()->root() + QStringLiteral("/store-") +
        QString::fromLatin1(QTest::currentTestFunction()) + QLatin1Char('-') +
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('_'));
    QDir(folder).removeRecursively();
}

void TestEventStore::codecKeepsIntegersExactly_data() {
    QTest::addColumn<qint64>("value");
    QTest::newRow("largest") << int64Max;
    QTest::newRow("smallest") << int64Min;
    QTest::newRow("2^53 + 1") << beyondDouble;
    QTest::newRow("-(2^53 + 1)") << -beyondDouble;
    QTest::newRow("end of 9999") << qint64(253402300799);
}

void TestEventStore::codecKeepsIntegersExactly() {
    QFETCH(qint64, value);
    AlarmEvent event = sampleEvent(value);
    event.recurSecs = value;
    event.snoozeSecs = value;
    event.snoozeTotal = value;
    event.occurrence = value - (value > 0 ? 1 : -1);
    event.attrs.insert(QStringLiteral("time"), qlonglong(value));
    event.actions[0].dbusArgs = {QVariant(qlonglong(value)), QVariant(qulonglong(value)),
                                 QVariant(std::numeric_limits<qulonglong>::max())};

    const std::optional<AlarmEvent> read = EventCodec::fromJson(EventCodec::toJson(event), 7);
    QVERIFY(read);
    QCOMPARE(read->alarmTime, value);
    QCOMPARE(read->trigger, value);
    QCOMPARE(read->occurrence, event.occurrence);
    QCOMPARE(read->recurSecs, value);
    QCOMPARE(read->snoozeSecs, value);
    QCOMPARE(read->snoozeTotal, value);
    QCOMPARE(read->attrs, event.attrs);
    QCOMPARE(read->actions, event.actions);
    QCOMPARE(read->cookie, qint64(7));
}

void TestEventStore::storeKeepsIntegersExactly() {
    AlarmEvent event = sampleEvent(int64Max);
    event.recurSecs = beyondDouble;
    event.snoozeTotal = int64Min;
    event.attrs.insert(QStringLiteral("since"), qlonglong(-beyondDouble));
    qint64 cookie = 0;
    {
        EventStore store(folder);
        QString error;
        QVERIFY2(store.open(&error), qPrintable(error));
        cookie = store.insert(event);
        QVERIFY(cookie > 0);
    }
    EventStore store(folder);
    QString error;
    QVERIFY2(store.open(&error), qPrintable(error));
    const QList<AlarmEvent> events = store.loadAll();
    QCOMPARE(events.size(), 1);
    event.cookie = cookie;
    QCOMPARE(EventCodec::toDBus(events.first()), EventCodec::toDBus(event));
    QCOMPARE(events.first().trigger, int64Max);
    QCOMPARE(events.first().occurrence, int64Max);
}

void TestEventStore::readsQueueFilesOfEarlierVersions_data() {
    // Rows as earlier versions wrote them: times as JSON numbers.
    QTest::addColumn<QString>("data");
    QTest::addColumn<qint64>("time");
    QTest::addColumn<qint64>("snooze");
    const QString row = QStringLiteral(
        R"({"actions":[{"dbus_args":[{"t":"i","v":"7"},{"t":"x","v":"9007199254740993"}],)"
        R"("flags":64,"label":"Stop"}],"alarm_appid":"legacy","alarm_time":%1,)"
        R"("alarm_tm":[0,-1,-1,-1,-1,-1,-1,-1,-1],"attrs":{"task_id":{"t":"i","v":"12"}},)"
        R"("flags":64,"message":"From before","occurrence":%1,"recur_count":0,"recur_secs":0,)"
        R"("response":-1,"snooze_secs":%2,"snooze_total":0,"snoozed":false,"title":"Old",)"
        R"("trigger":%1})");
    QTest::newRow("integers") << row.arg(QStringLiteral("1893456000"), QStringLiteral("600"))
                              << qint64(1893456000) << qint64(600);
    QTest::newRow("exponent form")
        << row.arg(QStringLiteral("1.893456e+09"), QStringLiteral("6.0e2")) << qint64(1893456000)
        << qint64(600);
    QTest::newRow("largest") << row.arg(QStringLiteral("9223372036854775807"),
                                        QStringLiteral("9007199254740993"))
                             << int64Max << beyondDouble;
}

void TestEventStore::readsQueueFilesOfEarlierVersions() {
    QFETCH(QString, data);
    QFETCH(qint64, time);
    QFETCH(qint64, snooze);
    QVERIFY(QDir().mkpath(folder));
    const QString file = folder + QStringLiteral("/queue.sqlite");
    QString insert = QStringLiteral("INSERT INTO events (cookie, appid, due, data) VALUES (5, "
                                    "'legacy', 1893456000, '%1')")
                         .arg(data);
    QVERIFY(TestDatabase::prepareFile(
        file, {QStringLiteral("PRAGMA journal_mode=WAL"), queueSchema, insert}));

    EventStore store(folder);
    QString error;
    QVERIFY2(store.open(&error), qPrintable(error));
    QVERIFY(store.damagedCopy().isEmpty());
    const QList<AlarmEvent> events = store.loadAll();
    QCOMPARE(events.size(), 1);
    const AlarmEvent& event = events.first();
    QCOMPARE(event.cookie, qint64(5));
    QCOMPARE(event.appId, QStringLiteral("legacy"));
    QCOMPARE(event.title, QStringLiteral("Old"));
    QCOMPARE(event.alarmTime, time);
    QCOMPARE(event.trigger, time);
    QCOMPARE(event.occurrence, time);
    QCOMPARE(event.snoozeSecs, snooze);
    QCOMPARE(event.flags, quint32(ALARM_EVENT_RUN_DELAYED));
    QCOMPARE(event.attrs.value(QStringLiteral("task_id")), QVariant(12));
    QCOMPARE(event.actions.size(), 1);
    QCOMPARE(event.actions[0].dbusArgs,
             (QVariantList{QVariant(7), QVariant(qlonglong(beyondDouble))}));
    // And it is written back in the new form, still the same.
    QVERIFY(store.update(event));
    EventStore again(folder);
    QVERIFY2(again.open(&error), qPrintable(error));
    QCOMPARE(EventCodec::toDBus(again.loadAll().value(0)), EventCodec::toDBus(event));
}

void TestEventStore::damagedValuesAreNotGuessed_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("fraction") << QByteArray(R"({"alarm_time":1.5,"trigger":1})");
    QTest::newRow("beyond 64 bits") << QByteArray(R"({"alarm_time":"9223372036854775808"})");
    QTest::newRow("number beyond 64 bits") << QByteArray(R"({"trigger":1e19})");
    QTest::newRow("text") << QByteArray(R"({"recur_secs":"soon"})");
    QTest::newRow("32-bit field") << QByteArray(R"({"recur_count":4294967296})");
    QTest::newRow("attribute") << QByteArray(R"({"attrs":{"a":{"t":"i","v":"4294967296"}}})");
    QTest::newRow("argument") << QByteArray(R"({"actions":[{"dbus_args":[{"t":"y","v":"300"}]}]})");
}

void TestEventStore::damagedValuesAreNotGuessed() {
    QFETCH(QByteArray, json);
    QVERIFY(!EventCodec::fromJson(json, 1));
}

void TestEventStore::damagedFileIsMovedAside_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("garbage bytes") << QStringLiteral("garbage");
    QTest::newRow("another schema") << QStringLiteral("schema");
    QTest::newRow("other columns") << QStringLiteral("columns");
    QTest::newRow("truncated") << QStringLiteral("truncated");
}

void TestEventStore::damagedFileIsMovedAside() {
    QFETCH(QString, kind);
    QVERIFY(QDir().mkpath(folder));
    const QString file = folder + QStringLiteral("/queue.sqlite");
    if (kind == QLatin1String("garbage")) {
        QByteArray bytes;
        for (int i = 0; i < 5000; ++i) {
            bytes.append(char((i * 7919) % 251));
        }
        QVERIFY(writeFile(file, bytes));
    } else if (kind == QLatin1String("schema")) {
        QVERIFY(TestDatabase::prepareFile(
            file, {QStringLiteral("CREATE TABLE notes (id INTEGER PRIMARY KEY, body TEXT)"),
                   QStringLiteral("INSERT INTO notes (body) VALUES ('not a queue')")}));
    } else if (kind == QLatin1String("columns")) {
        QVERIFY(TestDatabase::prepareFile(
            file, {QStringLiteral("CREATE TABLE events (id INTEGER PRIMARY KEY, body TEXT)")}));
    } else {
        {
            EventStore store(folder);
            QString error;
            QVERIFY2(store.open(&error), qPrintable(error));
            AlarmEvent event = sampleEvent(1893456000);
            event.message = QString(2000, QLatin1Char('m'));
            for (int i = 0; i < 200; ++i) {
                QVERIFY(store.insert(event) > 0);
            }
        }
        QFile queue(file);
        QVERIFY(queue.size() > 100000);
        QVERIFY(queue.resize(queue.size() / 2));
    }
    const QByteArray original = contentsOf(file);

    EventStore store(folder);
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(QStringLiteral(
            "^pardo-alarmd: the queue file .*queue\\.sqlite cannot be read as a "
            "queue \\(.+\\); it was moved to .*queue\\.sqlite\\.damaged-\\d{8}T\\d{6}Z "
            "and the daemon starts with an empty queue$")));
    QString error;
    QVERIFY2(store.open(&error), qPrintable(error));
    const QString copy = store.damagedCopy();
    QVERIFY(!copy.isEmpty());
    QCOMPARE(QFileInfo(copy).path(), folder);
    QVERIFY2(QFileInfo(copy).fileName().startsWith(QStringLiteral("queue.sqlite.damaged-")),
             qPrintable(copy));
    QCOMPARE(contentsOf(copy), original);
    QCOMPARE(store.loadAll().size(), 0);
    const qint64 cookie = store.insert(sampleEvent(1893456000));
    QVERIFY(cookie > 0);
    QCOMPARE(store.loadAll().size(), 1);
}

void TestEventStore::keepsTheQueuePrivate_data() {
    QTest::addColumn<bool>("existing");
    QTest::newRow("created under umask 022") << false;
    QTest::newRow("0755 folder, 0644 files") << true;
}

void TestEventStore::keepsTheQueuePrivate() {
    QFETCH(bool, existing);
    const Umask umask(022);
    const QString file = folder + QStringLiteral("/queue.sqlite");
    if (existing) {
        {
            EventStore store(folder);
            QString error;
            QVERIFY2(store.open(&error), qPrintable(error));
            QVERIFY(store.insert(sampleEvent(1893456000)) > 0);
        }
        QVERIFY(writeFile(file + QStringLiteral("-wal"), QByteArray()));
        QVERIFY(writeFile(file + QStringLiteral("-shm"), QByteArray()));
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0755) == 0);
        for (const char* suffix : {"", "-wal", "-shm"}) {
            QVERIFY(::chmod(QFile::encodeName(file + QLatin1String(suffix)).constData(), 0644) ==
                    0);
        }
    }
    EventStore store(folder);
    QString error;
    QVERIFY2(store.open(&error), qPrintable(error));
    QVERIFY(store.insert(sampleEvent(1893456000)) > 0);
    QCOMPARE(store.loadAll().size(), existing ? 2 : 1);
    QCOMPARE(permissionsOf(folder), 0700);
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QString path = file + QLatin1String(suffix);
        QVERIFY2(QFileInfo::exists(path), qPrintable(path));
        QCOMPARE(permissionsOf(path), 0600);
    }
}

void TestEventStore::unwritableQueueFailsEveryWrite_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("folder path runs through a file") << QStringLiteral("file in path");
    QTest::newRow("a folder where the log goes") << QStringLiteral("log folder");
    QTest::newRow("disk full") << QStringLiteral("fault");
    QTest::newRow("read-only folder and file") << QStringLiteral("read-only");
}

void TestEventStore::unwritableQueueFailsEveryWrite() {
    QFETCH(QString, kind);
    const QString file = folder + QStringLiteral("/queue.sqlite");
    qint64 stored = 0;
    QString storeFolder = folder;
    if (kind == QLatin1String("file in path")) {
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(writeFile(folder + QStringLiteral("/plain"), "no folder"));
        storeFolder = folder + QStringLiteral("/plain/pardo-alarmd");
    } else if (kind == QLatin1String("log folder")) {
        QVERIFY(QDir().mkpath(file + QStringLiteral("-wal")));
    } else {
        EventStore store(folder);
        QString error;
        QVERIFY2(store.open(&error), qPrintable(error));
        stored = store.insert(sampleEvent(1893456000));
        QVERIFY(stored > 0);
    }
    if (kind == QLatin1String("read-only")) {
        if (::geteuid() == 0) {
            QSKIP("root writes read-only files; the other rows cover an unwritable queue for root");
        }
        QVERIFY(::chmod(QFile::encodeName(file).constData(), 0400) == 0);
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0500) == 0);
    }

    EventStore store(storeFolder);
    QString error;
    const bool opened = store.open(&error);
    if (kind == QLatin1String("fault")) {
        QVERIFY2(opened, qPrintable(error));
        store.failWrites(QStringLiteral("No space left on device"));
    } else if (!opened) {
        QVERIFY(!error.isEmpty());
    }
    QCOMPARE(store.loadAll().size(), stored > 0 ? 1 : 0);

    QString insertError;
    QCOMPARE(store.insert(sampleEvent(1893456001), &insertError), qint64(0));
    QVERIFY(!insertError.isEmpty());
    QVERIFY2(insertError.contains(storeFolder), qPrintable(insertError));
    if (stored > 0) {
        QString removeError;
        QVERIFY(!store.remove(stored, &removeError));
        QVERIFY(!removeError.isEmpty());
        AlarmEvent changed = sampleEvent(1893456002);
        changed.cookie = stored;
        QVERIFY(!store.update(changed));
        QCOMPARE(store.loadAll().value(0).trigger, qint64(1893456000));
    }
    QVERIFY(store.damagedCopy().isEmpty());
    if (kind == QLatin1String("read-only")) {
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0700) == 0);
    }
}

PARDO_TEST_MAIN(TestEventStore)
#include "tst_eventstore.moc"
