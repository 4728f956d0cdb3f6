// The rows of tasks, alarms and repetitions. Every value is bound, never
// spliced into the text, so a name may hold any character.
#include "task.h"

#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

namespace {

const QString kDateFormat = QStringLiteral("yyyy-MM-dd");
const QString kTimeFormat = QStringLiteral("HH:mm");

// A null QString would be bound as NULL; these columns always held '' instead.
QVariant text(const QString& value) {
    return value.isNull() ? QVariant(QStringLiteral("")) : QVariant(value);
}

// Values these statements always wrote in quotes go in as text, so that each column
// receives what it always did.
QVariant quoted(int value) {
    return QVariant(QString::number(value));
}

bool prepare(QSqlQuery& query, const QString& statement, const QVariantList& values) {
    if (!query.prepare(statement)) {
        return false;
    }
    for (const QVariant& value : values) {
        query.addBindValue(value);
    }
    return true;
}

bool run(const QString& statement, const QVariantList& values) {
    QSqlQuery query{QString(), QSqlDatabase()};
    return prepare(query, statement, values) && query.exec();
}

bool insertAlarm(int taskId, const Alarm& alarm) {
    return run(QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                              "description) VALUES (NULL, ?, ?, ?, ?, ?)"),
               {quoted(taskId), quoted(alarm.isBefore() ? 1 : 0), alarm.units(),
                static_cast<int>(alarm.unitType()), text(alarm.description())});
}

} // namespace

bool Task::insertCoreDataToDatabase() {
    QString statement;
    QVariantList values;
    if (type_ == T) {
        statement = QStringLiteral("INSERT INTO tasks (id, name, active, type) VALUES (NULL, ?, "
                                   "'true', ?)");
        values = {text(name_), static_cast<int>(type_)};
    } else {
        statement = QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) VALUES "
                                   "(NULL, ?, 'true', ?, ?, ?)");
        values = {text(name_), static_cast<int>(type_), text(date_.toString(kDateFormat)),
                  text(time_.toString(kTimeFormat))};
    }
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!prepare(query, statement, values) || !query.exec()) {
        return false;
    }
    id_ = query.lastInsertId().toInt();
    return true;
}

void Task::insertAlarmsDataToDatabase() {
    for (const Alarm* alarm : qAsConst(alarms)) {
        if (!insertAlarm(id_, *alarm)) {
            return;
        }
    }
}

void Task::updateCoreDataInDatabase(const Task& edited) {
    if (type_ == T) {
        run(QStringLiteral("UPDATE tasks SET name = ? WHERE id = ?"), {text(edited.name()), id_});
    } else {
        run(QStringLiteral("UPDATE tasks SET name = ?, date = ?, time = ? WHERE id = ?"),
            {text(edited.name()), text(edited.date().toString(kDateFormat)),
             text(edited.time().toString(kTimeFormat)), id_});
    }
}

void Task::updateAlarmsDataInDatabase(const Task& edited) {
    if (!run(QStringLiteral("DELETE FROM alarms WHERE task_id = ?"), {id_})) {
        return;
    }
    for (int i = 0; i < edited.noOfAlarms(); ++i) {
        if (!insertAlarm(id_, *edited.getAlarm(i))) {
            return;
        }
    }
}

void Task::loadDateTime() {
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!prepare(query, QStringLiteral("SELECT date, time FROM tasks WHERE id = ?"), {id_}) ||
        !query.exec()) {
        return;
    }
    while (query.next()) {
        // A NULL column keeps what the task already has.
        if (!query.isNull(0)) {
            date_ = QDate::fromString(query.value(0).toString(), kDateFormat);
        }
        if (!query.isNull(1)) {
            time_ = QTime::fromString(query.value(1).toString(), kTimeFormat);
        }
    }
}

void Task::loadAlarms() {
    // The old Alarm objects stay behind as children of the task.
    alarms.clear();
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!prepare(query,
                 QStringLiteral("SELECT is_before, units, unit_type, description FROM alarms "
                                "WHERE task_id = ? ORDER BY id"),
                 {id_}) ||
        !query.exec()) {
        return;
    }
    while (query.next()) {
        addAlarm(query.value(0).toBool(), query.value(1).toInt(),
                 static_cast<Alarm::Unit>(query.value(2).toInt()), query.value(3).toString());
    }
}

QString Task::repetitionExtraData() const {
    return repetitionRule().extraData();
}

void Task::insertRepetitionDataToDatabase() {
    if (type_ == T) {
        return;
    }
    run(QStringLiteral("INSERT INTO repetitions (id, task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (NULL, ?, ?, ?, ?, ?, ?, ?)"),
        {quoted(id_), repetition_, repetitionStopNumber_,
         text(repetitionStopDate_.toString(kDateFormat)), repeatIntervalType_,
         repeatIntervalNumber_, text(repetitionExtraData())});
}

void Task::updateRepetitionDataInDatabase(const Task& edited) {
    if (type_ == T) {
        return;
    }
    run(QStringLiteral("UPDATE repetitions SET repeat_type = ?, repeat_units = ?, "
                       "repeat_stop_date = ?, repeat_interval_type = ?, "
                       "repeat_interval_units = ?, extra_data = ? WHERE task_id = ?"),
        {edited.repetition(), edited.repetitionStopNumber(),
         text(edited.repetitionStopDate().toString(kDateFormat)), edited.repeatIntervalType(),
         edited.repeatIntervalNumber(), text(edited.repetitionExtraData()), id_});
}

void Task::loadRepetitions() {
    if (type_ == T) {
        return;
    }
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!prepare(query,
                 QStringLiteral("SELECT repeat_type, repeat_units, repeat_stop_date, "
                                "repeat_interval_type, repeat_interval_units, extra_data FROM "
                                "repetitions WHERE task_id = ?"),
                 {id_}) ||
        !query.exec()) {
        return;
    }
    while (query.next()) {
        repetition_ = query.value(0).toInt();
        repetitionStopNumber_ = query.value(1).toInt();
        if (!query.isNull(2)) {
            repetitionStopDate_ = QDate::fromString(query.value(2).toString(), kDateFormat);
        }
        repeatIntervalType_ = query.value(3).toInt();
        repeatIntervalNumber_ = query.value(4).toInt();
        if (repeatIntervalType_ == IntervalWeeks) {
            parseExtraDataAsWeekly(query.value(5).toString());
        } else if (repeatIntervalType_ == IntervalMonths) {
            parseExtraDataAsMonthly(query.value(5).toString());
        }
    }
}

void Task::parseExtraDataAsWeekly(const QString& extra) {
    RepetitionRule rule = repetitionRule();
    rule.parseExtraDataAsWeekly(extra);
    weeklyRepeatDays_ = rule.weeklyRepeatDays();
}

void Task::parseExtraDataAsMonthly(const QString& extra) {
    RepetitionRule rule = repetitionRule();
    rule.parseExtraDataAsMonthly(extra);
    monthlyRepeatType_ = rule.monthlyRepeatType();
}
