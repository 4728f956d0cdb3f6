#include "eventstore.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "alarmevent.h"
#include "eventcodec.h"

namespace {

// SQLite's primary result codes for a file that is no database or a broken one.
constexpr int sqliteCorrupt = 11;
constexpr int sqliteNotADatabase = 26;

// The files SQLite keeps beside the queue.
const char* const companions[] = {"-wal", "-shm", "-journal"};

QString sqlError(const QSqlQuery& query) {
    return query.lastError().text();
}

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

// The damage an error tells of; empty for any other failure (a locked,
// unreadable or missing file is no reason to move the queue aside).
QString damageOf(const QSqlError& error) {
    const int code = error.nativeErrorCode().toInt() & 0xff;
    if (code == sqliteCorrupt || code == sqliteNotADatabase) {
        return error.databaseText().isEmpty() ? error.text() : error.databaseText();
    }
    return QString();
}

// Takes away every permission bit outside `keep`; never adds one.
void tighten(const QString& path, mode_t keep) {
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (::stat(name.constData(), &status) != 0 || (status.st_mode & 07777 & ~keep) == 0) {
        return;
    }
    if (::chmod(name.constData(), status.st_mode & keep) != 0) {
        qWarning("pardo-alarmd: cannot restrict the permissions of %s: %s", name.constData(),
                 std::strerror(errno));
    }
}

bool makeFolder(const QString& folder, QString* error) {
    const QFileInfo info(folder);
    if (!info.isDir()) {
        // What keeps the folders above from being made shows in the mkdir.
        QDir().mkpath(info.absolutePath());
        const QByteArray name = QFile::encodeName(folder);
        if (::mkdir(name.constData(), 0700) != 0) {
            const QString reason =
                errno == EEXIST ? QStringLiteral("it is no folder") : systemError();
            *error = QStringLiteral("cannot create the folder %1 of the queue file: %2")
                         .arg(folder, reason);
            return false;
        }
    }
    // Reminders are private: nobody else may list or read the queue.
    tighten(folder, 0700);
    return true;
}

// Creates the file 0600 before SQLite does (it would follow the umask); its
// companion files take the queue file's permissions.
bool prepareFile(const QString& path, QString* error) {
    tighten(path, 0600);
    for (const char* suffix : companions) {
        tighten(path + QLatin1String(suffix), 0600);
    }
    if (QFileInfo::exists(path)) {
        return true;
    }
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0 && errno != EEXIST) {
        *error = QStringLiteral("cannot create the queue file %1: %2").arg(path, systemError());
        return false;
    }
    if (fd >= 0) {
        ::close(fd);
    }
    return true;
}

} // namespace

QString EventStore::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/pardo-alarmd");
}

EventStore::EventStore(const QString& folder)
    : folder_(folder)
    , connectionName_(QStringLiteral("pardo-alarmd-%1").arg(quintptr(this))) {}

EventStore::~EventStore() {
    disconnect();
}

QString EventStore::filePath() const {
    return folder_ + QStringLiteral("/queue.sqlite");
}

bool EventStore::open(QString* error) {
    QString ignored;
    if (!error) {
        error = &ignored;
    }
    disconnect();
    damagedCopy_.clear();
    openError_.clear();
    bool ready = makeFolder(folder_, error) && prepareFile(filePath(), error) && connect(error);
    const QString unreadable = ready ? readFailure() : QString();
    if (!unreadable.isEmpty()) {
        // A read-only file in a read-only folder still rings what it holds.
        *error = writeError(unreadable);
        disconnect();
        connect(error, true);
        openError_ = *error;
    }
    if (ready) {
        const QString damaged = damage();
        if (!damaged.isEmpty()) {
            disconnect();
            ready = moveAside(damaged, error) && prepareFile(filePath(), error) && connect(error);
        }
    }
    // WAL: a commit appends to the log, and with synchronous=NORMAL the log is
    // synced at checkpoints only. A commit thus reaches the kernel before the
    // reply and survives kill -9 of the daemon (a power loss may undo the last
    // ones). FULL synced every commit: bench_alarmdrates filled 10,000 events
    // at 216 adds/s with FULL and at 863 adds/s with NORMAL.
    ready = ready && openError_.isEmpty() &&
            exec(QStringLiteral("PRAGMA journal_mode=WAL"), error) &&
            exec(QStringLiteral("PRAGMA synchronous=NORMAL"), error) &&
            // The queue lives in memory; the file is written, rarely read, and a
            // sleeping daemon need not keep its pages (the default is 2 MB).
            exec(QStringLiteral("PRAGMA cache_size=-256"), error) &&
            exec(QStringLiteral("CREATE TABLE IF NOT EXISTS events ("
                                "cookie INTEGER PRIMARY KEY AUTOINCREMENT, "
                                "appid TEXT NOT NULL, "
                                "due INTEGER NOT NULL, "
                                "data TEXT NOT NULL)"),
                 error);
    if (!ready && openError_.isEmpty()) {
        openError_ = *error;
    }
    *error = openError_;
    return ready;
}

bool EventStore::connect(QString* error, bool readOnly) {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
    db.setDatabaseName(filePath());
    if (readOnly) {
        // Without a writable folder SQLite cannot set up the log's index;
        // an immutable file is read as it stands.
        db.setDatabaseName(QUrl::fromLocalFile(filePath()).toString(QUrl::FullyEncoded) +
                           QStringLiteral("?immutable=1"));
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_OPEN_URI"));
    }
    if (!db.open()) {
        *error = QStringLiteral("cannot open the queue file %1: %2")
                     .arg(filePath(), db.lastError().text());
        return false;
    }
    return true;
}

void EventStore::disconnect() {
    if (QSqlDatabase::contains(connectionName_)) {
        QSqlDatabase::database(connectionName_, false).close();
        QSqlDatabase::removeDatabase(connectionName_);
    }
}

QString EventStore::readFailure() {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    if (query.exec(QStringLiteral("SELECT count(*) FROM sqlite_master")) ||
        !damageOf(query.lastError()).isEmpty()) {
        // A damaged file is readable enough to be found damaged.
        return QString();
    }
    return sqlError(query);
}

QString EventStore::damage() {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("PRAGMA quick_check"))) {
        return damageOf(query.lastError());
    }
    QStringList problems;
    while (query.next() && problems.size() < 3) {
        problems.append(query.value(0).toString());
    }
    if (problems != QStringList{QStringLiteral("ok")}) {
        return problems.isEmpty() ? damageOf(query.lastError())
                                  : QStringLiteral("failed integrity check: %1")
                                        .arg(problems.join(QStringLiteral("; ")));
    }
    if (!query.exec(QStringLiteral("SELECT type, name FROM sqlite_master"))) {
        return damageOf(query.lastError());
    }
    bool hasEvents = false;
    while (query.next()) {
        const QString type = query.value(0).toString();
        const QString name = query.value(1).toString();
        if (type == QLatin1String("table") && name == QLatin1String("events")) {
            hasEvents = true;
        } else if (type != QLatin1String("table") || name != QLatin1String("sqlite_sequence")) {
            return QStringLiteral("unknown schema: %1 %2").arg(type, name);
        }
    }
    if (!hasEvents) {
        return QString();
    }
    if (!query.exec(QStringLiteral("PRAGMA table_info(events)"))) {
        return damageOf(query.lastError());
    }
    QStringList columns;
    while (query.next()) {
        columns.append(query.value(1).toString());
    }
    const QStringList expected{QStringLiteral("cookie"), QStringLiteral("appid"),
                               QStringLiteral("due"), QStringLiteral("data")};
    if (columns != expected) {
        return QStringLiteral("unknown schema: events (%1)")
            .arg(columns.join(QStringLiteral(", ")));
    }
    return QString();
}

bool EventStore::moveAside(const QString& reason, QString* error) {
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
    QString target = filePath() + QStringLiteral(".damaged-") + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n) {
        target = filePath() + QStringLiteral(".damaged-%1-%2").arg(stamp).arg(n);
    }
    if (::rename(QFile::encodeName(filePath()).constData(),
                 QFile::encodeName(target).constData()) != 0) {
        *error = QStringLiteral("the queue file %1 cannot be read as a queue (%2) and cannot be "
                                "moved aside: %3")
                     .arg(filePath(), reason, systemError());
        return false;
    }
    // A log left beside the new file would be replayed into it.
    for (const char* suffix : companions) {
        const QString companion = filePath() + QLatin1String(suffix);
        if (QFileInfo::exists(companion) &&
            ::rename(QFile::encodeName(companion).constData(),
                     QFile::encodeName(target + QLatin1String(suffix)).constData()) != 0 &&
            !QFile::remove(companion)) {
            *error = QStringLiteral("cannot move %1 aside: %2").arg(companion, systemError());
            return false;
        }
    }
    damagedCopy_ = target;
    qWarning("pardo-alarmd: the queue file %s cannot be read as a queue (%s); it was moved to %s "
             "and the daemon starts with an empty queue",
             qPrintable(filePath()), qPrintable(reason), qPrintable(target));
    return true;
}

bool EventStore::exec(const QString& sql, QString* error) {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    if (!query.exec(sql)) {
        if (error) {
            *error = writeError(sqlError(query));
        }
        qWarning("pardo-alarmd: %s: %s", qPrintable(sql), qPrintable(sqlError(query)));
        return false;
    }
    return true;
}

QString EventStore::writeBlocker() const {
    return writeFault_.isEmpty() ? openError_ : writeError(writeFault_);
}

QString EventStore::writeError(const QString& detail) const {
    return QStringLiteral("cannot write the queue file %1: %2").arg(filePath(), detail);
}

qint64 EventStore::insert(const AlarmEvent& event, QString* error) {
    QString ignored;
    if (!error) {
        error = &ignored;
    }
    *error = writeBlocker();
    if (!error->isEmpty()) {
        return 0;
    }
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.prepare(QStringLiteral("INSERT INTO events (appid, due, data) VALUES (?, ?, ?)"));
    query.addBindValue(event.appId);
    query.addBindValue(event.trigger);
    query.addBindValue(QString::fromUtf8(EventCodec::toJson(event)));
    if (!query.exec()) {
        *error = writeError(sqlError(query));
        qWarning("pardo-alarmd: cannot store an event: %s", qPrintable(sqlError(query)));
        return 0;
    }
    return query.lastInsertId().toLongLong();
}

bool EventStore::update(const AlarmEvent& event, QString* error) {
    QString ignored;
    if (!error) {
        error = &ignored;
    }
    *error = writeBlocker();
    if (!error->isEmpty()) {
        qWarning("pardo-alarmd: cannot store event %lld: %s", event.cookie, qPrintable(*error));
        return false;
    }
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.prepare(QStringLiteral("UPDATE events SET due = ?, data = ? WHERE cookie = ?"));
    query.addBindValue(event.trigger);
    query.addBindValue(QString::fromUtf8(EventCodec::toJson(event)));
    query.addBindValue(event.cookie);
    if (!query.exec() || query.numRowsAffected() != 1) {
        *error = writeError(sqlError(query));
        qWarning("pardo-alarmd: cannot store event %lld: %s", event.cookie,
                 qPrintable(sqlError(query)));
        return false;
    }
    return true;
}

bool EventStore::remove(qint64 cookie, QString* error) {
    QString ignored;
    if (!error) {
        error = &ignored;
    }
    *error = writeBlocker();
    if (!error->isEmpty()) {
        return false;
    }
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.prepare(QStringLiteral("DELETE FROM events WHERE cookie = ?"));
    query.addBindValue(cookie);
    if (!query.exec()) {
        *error = writeError(sqlError(query));
        qWarning("pardo-alarmd: cannot delete event %lld: %s", cookie, qPrintable(sqlError(query)));
        return false;
    }
    return query.numRowsAffected() == 1;
}

QList<AlarmEvent> EventStore::loadAll() {
    QList<AlarmEvent> events;
    if (!QSqlDatabase::contains(connectionName_)) {
        return events;
    }
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT cookie, data FROM events ORDER BY cookie"))) {
        qWarning("pardo-alarmd: cannot read the queue: %s", qPrintable(sqlError(query)));
        return events;
    }
    while (query.next()) {
        const qint64 cookie = query.value(0).toLongLong();
        std::optional<AlarmEvent> event =
            EventCodec::fromJson(query.value(1).toString().toUtf8(), cookie);
        if (event) {
            events.append(*event);
        } else {
            qWarning("pardo-alarmd: stored event %lld is damaged and was skipped", cookie);
        }
    }
    return events;
}
