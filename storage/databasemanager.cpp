#include "databasemanager.h"

#include <QDir>
#include <QFile>
#include <QSqlQuery>
#include <QStringList>

#include <fcntl.h>
#include <unistd.h>

namespace {
const char* const kFileName = "pardoreminder.db.sqlite";
}

DatabaseManager::DatabaseManager(QObject* parent)
    : QObject(parent) {}

QString DatabaseManager::databasePath() {
    QString path(QDir(QDir::homePath()).path());
    path.append(QDir::separator()).append(QString::fromLatin1(kFileName));
    return QDir::toNativeSeparators(path);
}

bool DatabaseManager::openDatabase() {
    db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"),
                                   QString::fromLatin1(QSqlDatabase::defaultConnection));
    const QString path = databasePath();
    // Made here, owner-only, rather than by SQLite with 0644: its journals copy this mode.
    // An empty file is an empty database to SQLite. The folder is left as it is.
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    createdFile = fd >= 0;
    if (createdFile) {
        ::close(fd);
    }
    db.setDatabaseName(path);
    if (!db.open()) {
        return false;
    }
    return initializeDatabaseIfNeeded();
}

bool DatabaseManager::initializeDatabaseIfNeeded() {
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!query.exec(QStringLiteral(
            "SELECT name FROM sqlite_master WHERE name = 'tasks' AND type = 'table'"))) {
        // Could not even look: the file is left as it is.
        return false;
    }
    if (query.next()) {
        return true;
    }

    const QStringList schema{
        QStringLiteral("CREATE TABLE IF NOT EXISTS meta (id INTEGER PRIMARY KEY, name VARCHAR(30) "
                       "NOT NULL, value TEXT NOT NULL)"),
        QStringLiteral("INSERT INTO meta (id, name, value) VALUES (NULL, 'db_version', '1.0.0')"),
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS tasks (id INTEGER PRIMARY KEY, name VARCHAR(50) "
            "NOT NULL, active INTEGER NOT NULL, type INTEGER NOT NULL, date VARCHAR(10), "
            "time VARCHAR(8))"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS alarms (id INTEGER PRIMARY KEY, task_id INTEGER "
                       "NOT NULL REFERENCES tasks(id), is_before INTEGER NOT NULL, units INTEGER "
                       "NOT NULL, unit_type INTEGER NOT NULL, description TEXT)"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS repetitions (id INTEGER PRIMARY KEY, task_id "
                       "INTEGER NOT NULL REFERENCES tasks(id), repeat_type INTEGER NOT NULL, "
                       "repeat_units INTEGER, repeat_stop_date VARCHAR(10), repeat_interval_type "
                       "INTEGER NOT NULL, repeat_interval_units INTEGER, extra_data TEXT)"),
        QStringLiteral(
            "INSERT INTO tasks (id, name, active, type) VALUES (1, 'Initial', 'false', 1)"),
        QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, description) "
                       "VALUES (1, 1, 0, 0, 0, '')"),
    };
    // All or nothing: a file that was there before is left exactly as it was found.
    QSqlQuery transaction{QString(), QSqlDatabase()};
    if (!transaction.exec(QStringLiteral("BEGIN"))) {
        return failCreation();
    }
    for (const QString& statement : schema) {
        QSqlQuery create{QString(), QSqlDatabase()};
        if (!create.exec(statement)) {
            create.finish();
            transaction.exec(QStringLiteral("ROLLBACK"));
            return failCreation();
        }
    }
    if (!transaction.exec(QStringLiteral("COMMIT"))) {
        transaction.exec(QStringLiteral("ROLLBACK"));
        return failCreation();
    }
    return true;
}

bool DatabaseManager::failCreation() {
    // Only a file this start made is ours to remove; the user's own file stays.
    if (createdFile) {
        deleteDatabase();
    } else {
        db.close();
    }
    return false;
}

bool DatabaseManager::deleteDatabase() {
    db.close();
    return QFile::remove(databasePath());
}

QString DatabaseManager::databaseName() const {
    return QString::fromLatin1(kFileName);
}
