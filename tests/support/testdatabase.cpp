#include "testdatabase.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QtTest>

#include <sqlite3.h>

#include "testenvironment.h"

namespace TestDatabase {

QString freshHome(const QString& name) {
    const QString path = TestEnvironment::current()->root() + QStringLiteral("/homes/") + name;
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    TestEnvironment::setHome(path);
    return path;
}

void dropDefaultConnection() {
    const QString name = QString::fromLatin1(QSqlDatabase::defaultConnection);
    if (QSqlDatabase::contains(name)) {
        QSqlDatabase::database(name, false).close();
        QSqlDatabase::removeDatabase(name);
    }
}

QVector<QVariantList> rows(const QString& sql) {
    QVector<QVariantList> result;
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!query.exec(sql)) {
        QTest::qFail(
            qPrintable(
                QStringLiteral("statement failed: %1: %2").arg(sql, query.lastError().text())),
            __FILE__, __LINE__);
        return result;
    }
    while (query.next()) {
        QVariantList row;
        for (int i = 0; i < query.record().count(); ++i) {
            row.append(query.value(i));
        }
        result.append(row);
    }
    return result;
}

bool exec(const QString& sql) {
    QSqlQuery query{QString(), QSqlDatabase()};
    return query.exec(sql);
}

bool prepareFile(const QString& path, const QStringList& statements) {
    const QString connection = QStringLiteral("pardo-test-prepare");
    bool ok = true;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(path);
        ok = db.open();
        for (const QString& statement : statements) {
            if (!ok) {
                break;
            }
            QSqlQuery query(db);
            ok = query.exec(statement);
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(connection);
    return ok;
}

} // namespace TestDatabase

namespace {
int traceCallback(unsigned type, void* context, void* statement, void* sql) {
    if (type == SQLITE_TRACE_STMT) {
        const char* text = static_cast<const char*>(sql);
        // Statements run from inside triggers come as comments; keep the top level only.
        if (text && qstrncmp(text, "--", 2) != 0) {
            char* expanded = sqlite3_expanded_sql(static_cast<sqlite3_stmt*>(statement));
            static_cast<SqlTrace*>(context)->add(
                QString::fromUtf8(text), expanded ? QString::fromUtf8(expanded) : QString());
            sqlite3_free(expanded);
        }
    }
    return 0;
}

sqlite3* defaultHandle() {
    const QVariant handle = QSqlDatabase::database().driver()->handle();
    if (qstrcmp(handle.typeName(), "sqlite3*") != 0) {
        return nullptr;
    }
    return *static_cast<sqlite3* const*>(handle.data());
}
} // namespace

SqlTrace::SqlTrace() {
    sqlite3* db = defaultHandle();
    if (db) {
        sqlite3_trace_v2(db, SQLITE_TRACE_STMT, traceCallback, this);
        handle = db;
    }
}

SqlTrace::~SqlTrace() {
    if (handle) {
        sqlite3_trace_v2(static_cast<sqlite3*>(handle), 0, nullptr, nullptr);
    }
}
