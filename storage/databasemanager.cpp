#include "databasemanager.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QTime>

#include <cmath>

#include <fcntl.h>
#include <unistd.h>

namespace {
const char* const kFileName = "pardoreminder.db.sqlite";
const QString kDateFormat = QStringLiteral("yyyy-MM-dd");
const QString kTimeFormat = QStringLiteral("HH:mm");
// Tasks of this type keep no repetition row.
const int kTypeWithoutRepetitions = 1;

// A null QString would be bound as NULL; these columns always held '' instead.
QVariant text(const QString& value) {
    return value.isNull() ? QVariant(QStringLiteral("")) : QVariant(value);
}

// Values these statements always wrote in quotes go in as text, so that each column
// receives what it always did.
QVariant quoted(int value) {
    return QVariant(QString::number(value));
}

int digitsAt(const QString& value, int from, int count) {
    int number = 0;
    for (int i = from; i < from + count; ++i) {
        const QChar c = value.at(i);
        if (c < QLatin1Char('0') || c > QLatin1Char('9')) {
            return -1;
        }
        number = number * 10 + (c.unicode() - '0');
    }
    return number;
}

// The stored shape read directly, for speed at start-up; anything else goes
// through the format parser, which gives the same result more slowly.
QDate dateOf(const QString& value) {
    if (value.size() == 10 && value.at(4) == QLatin1Char('-') && value.at(7) == QLatin1Char('-')) {
        const int year = digitsAt(value, 0, 4);
        const int month = digitsAt(value, 5, 2);
        const int day = digitsAt(value, 8, 2);
        if (year >= 0 && month >= 0 && day >= 0) {
            return QDate(year, month, day);
        }
    }
    return QDate::fromString(value, kDateFormat);
}

QTime timeOf(const QString& value) {
    if (value.size() == 5 && value.at(2) == QLatin1Char(':')) {
        const int hour = digitsAt(value, 0, 2);
        const int minute = digitsAt(value, 3, 2);
        if (hour >= 0 && minute >= 0) {
            return QTime(hour, minute);
        }
    }
    return QTime::fromString(value, kTimeFormat);
}

QSqlQuery defaultQuery() {
    QSqlQuery query{QString(), QSqlDatabase()};
    // Rows are read once, in order: SQLite need not keep them for going back.
    query.setForwardOnly(true);
    return query;
}

bool run(const QString& statement, const QVariantList& values = {}) {
    QSqlQuery query = defaultQuery();
    return DatabaseManager::execute(query, statement, values);
}

const QString& momentStatement() {
    static const QString statement = QStringLiteral("SELECT date, time FROM tasks WHERE id = ?");
    return statement;
}

const QString& alarmsStatement() {
    static const QString statement =
        QStringLiteral("SELECT is_before, units, unit_type, description FROM alarms "
                       "WHERE task_id = ? ORDER BY id");
    return statement;
}

const QString& repetitionsStatement() {
    static const QString statement =
        QStringLiteral("SELECT repeat_type, repeat_units, repeat_stop_date, "
                       "repeat_interval_type, repeat_interval_units, extra_data FROM "
                       "repetitions WHERE task_id = ?");
    return statement;
}

StoredAlarm alarmAt(const QSqlQuery& query, int first) {
    return {query.value(first).toBool(), query.value(first + 1).toInt(),
            query.value(first + 2).toInt(), query.value(first + 3).toString()};
}

StoredRepetition repetitionAt(const QSqlQuery& query, int first) {
    StoredRepetition repetition;
    repetition.repeatType = query.value(first).toInt();
    repetition.stopNumber = query.value(first + 1).toInt();
    if (!query.isNull(first + 2)) {
        repetition.stopDate = dateOf(query.value(first + 2).toString());
        repetition.hasStopDate = true;
    }
    repetition.intervalType = query.value(first + 3).toInt();
    repetition.intervalNumber = query.value(first + 4).toInt();
    repetition.extraData = query.value(first + 5).toString();
    return repetition;
}

std::optional<StoredMoment> selectMoment(QSqlQuery& query, int id) {
    if (!DatabaseManager::execute(query, momentStatement(), {id})) {
        return std::nullopt;
    }
    StoredMoment moment;
    while (query.next()) {
        // A NULL column keeps what was there.
        if (!query.isNull(0)) {
            moment.date = dateOf(query.value(0).toString());
            moment.hasDate = true;
        }
        if (!query.isNull(1)) {
            moment.time = timeOf(query.value(1).toString());
            moment.hasTime = true;
        }
    }
    return moment;
}

std::optional<QVector<StoredAlarm>> selectAlarms(QSqlQuery& query, int taskId) {
    if (!DatabaseManager::execute(query, alarmsStatement(), {taskId})) {
        return std::nullopt;
    }
    QVector<StoredAlarm> alarms;
    while (query.next()) {
        alarms.append(alarmAt(query, 0));
    }
    return alarms;
}

std::optional<QVector<StoredRepetition>> selectRepetitions(QSqlQuery& query, int taskId) {
    if (!DatabaseManager::execute(query, repetitionsStatement(), {taskId})) {
        return std::nullopt;
    }
    QVector<StoredRepetition> repetitions;
    while (query.next()) {
        repetitions.append(repetitionAt(query, 0));
    }
    return repetitions;
}

// The task a row of a whole-table read belongs to: the id that `task_id = ?` with that task's
// id would match, or none.
std::optional<qint64> taskIdOf(const QVariant& value) {
    if (value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Int) {
        return value.toLongLong();
    }
    if (value.typeId() == QMetaType::Double) {
        const double number = value.toDouble();
        if (number >= -9.0e18 && number <= 9.0e18 && number == std::floor(number)) {
            return static_cast<qint64>(number);
        }
    }
    return std::nullopt;
}

// Each task's rows of a whole table, in the order of `id`, which is the order the per-task
// statements give. One scan instead of one per task: `task_id` has no index.
template <typename Row, typename Read>
std::optional<QHash<qint64, QVector<Row>>> rowsByTask(const QString& statement, Read read) {
    QSqlQuery query = defaultQuery();
    if (!DatabaseManager::execute(query, statement)) {
        return std::nullopt;
    }
    QHash<qint64, QVector<Row>> rows;
    while (query.next()) {
        if (const std::optional<qint64> taskId = taskIdOf(query.value(0))) {
            rows[*taskId].append(read(query, 1));
        }
    }
    return rows;
}

} // namespace

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
    QSqlQuery query = defaultQuery();
    if (!execute(query,
                 QStringLiteral(
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
    QSqlQuery transaction = defaultQuery();
    if (!execute(transaction, QStringLiteral("BEGIN"))) {
        return failCreation();
    }
    for (const QString& statement : schema) {
        QSqlQuery create = defaultQuery();
        if (!execute(create, statement)) {
            create.finish();
            execute(transaction, QStringLiteral("ROLLBACK"));
            return failCreation();
        }
    }
    if (!execute(transaction, QStringLiteral("COMMIT"))) {
        execute(transaction, QStringLiteral("ROLLBACK"));
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

bool DatabaseManager::execute(QSqlQuery& query, const QString& statement,
                              const QVariantList& values) {
    // Kept prepared across calls, so that a statement run once per task is parsed once.
    const bool prepared = query.lastQuery() == statement && !query.lastError().isValid();
    bool ok = prepared || query.prepare(statement);
    if (ok) {
        for (int i = 0; i < values.size(); ++i) {
            query.bindValue(i, values.at(i));
        }
        ok = query.exec();
    }
    if (!ok) {
        qWarning("Statement failed: %s: %s", qPrintable(statement),
                 qPrintable(query.lastError().text()));
    }
    return ok;
}

// Values below are bound, never spliced into the text, so a name may hold any character.
QVector<StoredTask> DatabaseManager::selectTasks() {
    QVector<StoredTask> tasks;
    QSqlQuery query = defaultQuery();
    if (!execute(query, QStringLiteral("SELECT id, name, active, type FROM tasks ORDER BY id"))) {
        return tasks;
    }
    while (query.next()) {
        StoredTask task;
        task.id = query.value(0).toInt();
        task.name = query.value(1).toString();
        task.active = query.value(2).toBool();
        task.type = query.value(3).toInt();
        tasks.append(task);
    }
    if (tasks.isEmpty()) {
        return tasks;
    }
    const auto alarms = rowsByTask<StoredAlarm>(
        QStringLiteral("SELECT task_id, is_before, units, unit_type, description FROM alarms "
                       "ORDER BY id"),
        alarmAt);
    const auto repetitions = rowsByTask<StoredRepetition>(
        QStringLiteral("SELECT task_id, repeat_type, repeat_units, repeat_stop_date, "
                       "repeat_interval_type, repeat_interval_units, extra_data FROM "
                       "repetitions ORDER BY id"),
        repetitionAt);
    // The moment is found by the primary key: prepared once, bound anew per task.
    QSqlQuery moments = defaultQuery();
    for (StoredTask& task : tasks) {
        task.moment = ::selectMoment(moments, task.id);
        if (alarms) {
            task.alarms = alarms->value(task.id);
        }
        if (task.type != kTypeWithoutRepetitions && repetitions) {
            task.repetitions = repetitions->value(task.id);
        }
    }
    return tasks;
}

bool DatabaseManager::insertTask(const QString& name, int type, int& id) {
    QSqlQuery query = defaultQuery();
    if (!execute(query,
                 QStringLiteral("INSERT INTO tasks (id, name, active, type) VALUES (NULL, ?, "
                                "'true', ?)"),
                 {text(name), type})) {
        return false;
    }
    id = query.lastInsertId().toInt();
    return true;
}

bool DatabaseManager::insertTask(const QString& name, int type, const QDate& date,
                                 const QTime& time, int& id) {
    QSqlQuery query = defaultQuery();
    if (!execute(query,
                 QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) VALUES "
                                "(NULL, ?, 'true', ?, ?, ?)"),
                 {text(name), type, text(date.toString(kDateFormat)),
                  text(time.toString(kTimeFormat))})) {
        return false;
    }
    id = query.lastInsertId().toInt();
    return true;
}

bool DatabaseManager::updateTaskName(int id, const QString& name) {
    return run(QStringLiteral("UPDATE tasks SET name = ? WHERE id = ?"), {text(name), id});
}

bool DatabaseManager::updateTaskName(int id, const QString& name, const QDate& date,
                                     const QTime& time) {
    return run(
        QStringLiteral("UPDATE tasks SET name = ?, date = ?, time = ? WHERE id = ?"),
        {text(name), text(date.toString(kDateFormat)), text(time.toString(kTimeFormat)), id});
}

bool DatabaseManager::updateTaskActive(int id, bool active) {
    return run(QStringLiteral("UPDATE tasks SET active = ? WHERE id = ?"),
               {quoted(active ? 1 : 0), id});
}

bool DatabaseManager::updateTaskActive(int id, bool active, const QDate& date, const QTime& time) {
    return run(QStringLiteral("UPDATE tasks SET active = ?, date = ?, time = ? WHERE id = ?"),
               {quoted(active ? 1 : 0), text(date.toString(kDateFormat)),
                text(time.toString(kTimeFormat)), id});
}

std::optional<StoredMoment> DatabaseManager::selectMoment(int id) {
    QSqlQuery query = defaultQuery();
    return ::selectMoment(query, id);
}

bool DatabaseManager::deleteTask(int id) {
    return run(QStringLiteral("DELETE FROM tasks WHERE id = ?"), {id}) &&
           run(QStringLiteral("DELETE FROM alarms WHERE task_id = ?"), {id}) &&
           run(QStringLiteral("DELETE FROM repetitions WHERE task_id = ?"), {id});
}

bool DatabaseManager::insertAlarm(int taskId, const StoredAlarm& alarm) {
    return run(QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                              "description) VALUES (NULL, ?, ?, ?, ?, ?)"),
               {quoted(taskId), quoted(alarm.isBefore ? 1 : 0), alarm.units, alarm.unitType,
                text(alarm.description)});
}

bool DatabaseManager::deleteAlarms(int taskId) {
    return run(QStringLiteral("DELETE FROM alarms WHERE task_id = ?"), {taskId});
}

std::optional<QVector<StoredAlarm>> DatabaseManager::selectAlarms(int taskId) {
    QSqlQuery query = defaultQuery();
    return ::selectAlarms(query, taskId);
}

bool DatabaseManager::insertRepetition(int taskId, const StoredRepetition& repetition) {
    return run(
        QStringLiteral("INSERT INTO repetitions (id, task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (NULL, ?, ?, ?, ?, ?, ?, ?)"),
        {quoted(taskId), repetition.repeatType, repetition.stopNumber,
         text(repetition.stopDate.toString(kDateFormat)), repetition.intervalType,
         repetition.intervalNumber, text(repetition.extraData)});
}

bool DatabaseManager::updateRepetition(int taskId, const StoredRepetition& repetition) {
    return run(QStringLiteral("UPDATE repetitions SET repeat_type = ?, repeat_units = ?, "
                              "repeat_stop_date = ?, repeat_interval_type = ?, "
                              "repeat_interval_units = ?, extra_data = ? WHERE task_id = ?"),
               {repetition.repeatType, repetition.stopNumber,
                text(repetition.stopDate.toString(kDateFormat)), repetition.intervalType,
                repetition.intervalNumber, text(repetition.extraData), taskId});
}

std::optional<QVector<StoredRepetition>> DatabaseManager::selectRepetitions(int taskId) {
    QSqlQuery query = defaultQuery();
    return ::selectRepetitions(query, taskId);
}

bool DatabaseManager::selectSnoozeInterval(std::optional<int>& minutes) {
    QSqlQuery query = defaultQuery();
    if (!execute(query,
                 QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'"))) {
        return false;
    }
    if (query.next()) {
        minutes = query.value(0).toInt();
    }
    return true;
}

bool DatabaseManager::insertDefaultSnoozeInterval() {
    return run(QStringLiteral(
        "INSERT INTO meta (id, name, value) VALUES (NULL, 'gs_snooze_interval', '10')"));
}

bool DatabaseManager::updateSnoozeInterval(const QString& minutes) {
    return run(QStringLiteral("UPDATE meta SET value = '%1' WHERE name = 'gs_snooze_interval'")
                   .arg(minutes));
}
