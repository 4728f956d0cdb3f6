#include "eventstore.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QVariant>

#include "alarmevent.h"
#include "eventcodec.h"

namespace {

QString sqlError(const QSqlQuery& query) {
    return query.lastError().text();
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
    if (QSqlDatabase::contains(connectionName_)) {
        QSqlDatabase::database(connectionName_, false).close();
        QSqlDatabase::removeDatabase(connectionName_);
    }
}

QString EventStore::filePath() const {
    return folder_ + QStringLiteral("/queue.sqlite");
}

bool EventStore::open(QString* error) {
    if (!QDir().mkpath(folder_)) {
        *error = QStringLiteral("cannot create the folder %1").arg(folder_);
        return false;
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
    db.setDatabaseName(filePath());
    if (!db.open()) {
        *error = QStringLiteral("cannot open %1: %2").arg(filePath(), db.lastError().text());
        return false;
    }
    // WAL with full sync: every commit reaches the disk before the reply, and
    // a killed daemon leaves a file SQLite recovers on the next start.
    if (!exec(QStringLiteral("PRAGMA journal_mode=WAL")) ||
        !exec(QStringLiteral("PRAGMA synchronous=FULL")) ||
        !exec(QStringLiteral("CREATE TABLE IF NOT EXISTS events ("
                             "cookie INTEGER PRIMARY KEY AUTOINCREMENT, "
                             "appid TEXT NOT NULL, "
                             "due INTEGER NOT NULL, "
                             "data TEXT NOT NULL)"))) {
        *error = QStringLiteral("cannot prepare %1: %2")
                     .arg(filePath(), QSqlDatabase::database(connectionName_).lastError().text());
        return false;
    }
    return true;
}

bool EventStore::exec(const QString& sql) {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    if (!query.exec(sql)) {
        qWarning("pardo-alarmd: %s: %s", qPrintable(sql), qPrintable(sqlError(query)));
        return false;
    }
    return true;
}

qint64 EventStore::insert(const AlarmEvent& event) {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.prepare(QStringLiteral("INSERT INTO events (appid, due, data) VALUES (?, ?, ?)"));
    query.addBindValue(event.appId);
    query.addBindValue(event.trigger);
    query.addBindValue(QString::fromUtf8(EventCodec::toJson(event)));
    if (!query.exec()) {
        qWarning("pardo-alarmd: cannot store an event: %s", qPrintable(sqlError(query)));
        return 0;
    }
    return query.lastInsertId().toLongLong();
}

bool EventStore::update(const AlarmEvent& event) {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.prepare(QStringLiteral("UPDATE events SET due = ?, data = ? WHERE cookie = ?"));
    query.addBindValue(event.trigger);
    query.addBindValue(QString::fromUtf8(EventCodec::toJson(event)));
    query.addBindValue(event.cookie);
    if (!query.exec() || query.numRowsAffected() != 1) {
        qWarning("pardo-alarmd: cannot store event %lld: %s", event.cookie,
                 qPrintable(sqlError(query)));
        return false;
    }
    return true;
}

bool EventStore::remove(qint64 cookie) {
    QSqlQuery query(QSqlDatabase::database(connectionName_, false));
    query.prepare(QStringLiteral("DELETE FROM events WHERE cookie = ?"));
    query.addBindValue(cookie);
    if (!query.exec()) {
        qWarning("pardo-alarmd: cannot delete event %lld: %s", cookie, qPrintable(sqlError(query)));
        return false;
    }
    return query.numRowsAffected() == 1;
}

QList<AlarmEvent> EventStore::loadAll() {
    QList<AlarmEvent> events;
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
