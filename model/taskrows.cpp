// The rows of tasks, alarms and repetitions. Statements are filled in as plain
// text, one placeholder at a time, exactly as they always were: nothing is
// quoted or bound, so a name with a quote makes its statement fail.
#include "task.h"

#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

namespace {

const QString kDateFormat = QStringLiteral("yyyy-MM-dd");
const QString kTimeFormat = QStringLiteral("HH:mm");

bool run(const QString& statement) {
    QSqlQuery query{QString(), QSqlDatabase()};
    return query.exec(statement);
}

QString alarmInsert(int taskId, const Alarm& alarm) {
    return QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                          "description) VALUES (NULL, '%1', '%2', %3, %4, '%5')")
        .arg(taskId)
        .arg(alarm.isBefore() ? 1 : 0)
        .arg(alarm.units())
        .arg(static_cast<int>(alarm.unitType()))
        .arg(alarm.description());
}

} // namespace

void Task::insertCoreDataToDatabase() {
    QString statement;
    if (type_ == T) {
        statement =
            QStringLiteral(
                "INSERT INTO tasks (id, name, active, type) VALUES (NULL, '%1', 'true', %2)")
                .arg(name_)
                .arg(static_cast<int>(type_));
    } else {
        statement = QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) VALUES "
                                   "(NULL, '%1', 'true', %2, '%3', '%4')")
                        .arg(name_)
                        .arg(static_cast<int>(type_))
                        .arg(date_.toString(kDateFormat))
                        .arg(time_.toString(kTimeFormat));
    }
    QSqlQuery query{QString(), QSqlDatabase()};
    if (query.exec(statement)) {
        id_ = query.lastInsertId().toInt();
    }
}

void Task::insertAlarmsDataToDatabase() {
    for (const Alarm* alarm : qAsConst(alarms)) {
        if (!run(alarmInsert(id_, *alarm))) {
            return;
        }
    }
}

void Task::updateCoreDataInDatabase(const Task& edited) {
    if (type_ == T) {
        run(QStringLiteral("UPDATE tasks SET name = '%1' WHERE id = %2")
                .arg(edited.name())
                .arg(id_));
    } else {
        run(QStringLiteral("UPDATE tasks SET name = '%1', date = '%2', time = '%3' WHERE id = %4")
                .arg(edited.name())
                .arg(edited.date().toString(kDateFormat))
                .arg(edited.time().toString(kTimeFormat))
                .arg(id_));
    }
}

void Task::updateAlarmsDataInDatabase(const Task& edited) {
    if (!run(QStringLiteral("DELETE FROM alarms WHERE task_id = %1").arg(id_))) {
        return;
    }
    for (int i = 0; i < edited.noOfAlarms(); ++i) {
        if (!run(alarmInsert(id_, *edited.getAlarm(i)))) {
            return;
        }
    }
}

void Task::loadDateTime() {
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!query.exec(QStringLiteral("SELECT date, time FROM tasks WHERE id = %1").arg(id_))) {
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
    if (!query.exec(QStringLiteral("SELECT is_before, units, unit_type, description FROM alarms "
                                   "WHERE task_id = %1 ORDER BY id")
                        .arg(id_))) {
        return;
    }
    while (query.next()) {
        addAlarm(query.value(0).toBool(), query.value(1).toInt(),
                 static_cast<Alarm::Unit>(query.value(2).toInt()), query.value(3).toString());
    }
}

QString Task::repetitionExtraData() const {
    QString extra;
    if (repeatIntervalType_ == IntervalWeeks) {
        extra.append(QLatin1Char('W'));
        for (int day : weeklyRepeatDays_) {
            extra.append(QStringLiteral(":%1").arg(day));
        }
    } else if (repeatIntervalType_ == IntervalMonths) {
        extra.append(QLatin1Char('M'));
        extra.append(QStringLiteral(":%1").arg(monthlyRepeatType_));
    }
    return extra;
}

void Task::insertRepetitionDataToDatabase() {
    if (type_ == T) {
        return;
    }
    run(QStringLiteral("INSERT INTO repetitions (id, task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (NULL, '%1', %2, %3, '%4', %5, %6, '%7')")
            .arg(id_)
            .arg(repetition_)
            .arg(repetitionStopNumber_)
            .arg(repetitionStopDate_.toString(kDateFormat))
            .arg(repeatIntervalType_)
            .arg(repeatIntervalNumber_)
            .arg(repetitionExtraData()));
}

void Task::updateRepetitionDataInDatabase(const Task& edited) {
    if (type_ == T) {
        return;
    }
    run(QStringLiteral("UPDATE repetitions SET repeat_type = %1, repeat_units = %2, "
                       "repeat_stop_date = '%3', repeat_interval_type = %4, "
                       "repeat_interval_units = %5, extra_data = '%6' WHERE task_id = %7")
            .arg(edited.repetition())
            .arg(edited.repetitionStopNumber())
            .arg(edited.repetitionStopDate().toString(kDateFormat))
            .arg(edited.repeatIntervalType())
            .arg(edited.repeatIntervalNumber())
            .arg(edited.repetitionExtraData())
            .arg(id_));
}

void Task::loadRepetitions() {
    if (type_ == T) {
        return;
    }
    QSqlQuery query{QString(), QSqlDatabase()};
    if (!query.exec(QStringLiteral("SELECT repeat_type, repeat_units, repeat_stop_date, "
                                   "repeat_interval_type, repeat_interval_units, extra_data FROM "
                                   "repetitions WHERE task_id = %1")
                        .arg(id_))) {
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
    const QStringList parts = extra.split(QLatin1Char(':'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.first() != QLatin1String("W")) {
        return;
    }
    // Appends without clearing: after an edit the list holds old and new days until restart.
    for (int i = 1; i < parts.size(); ++i) {
        weeklyRepeatDays_.append(parts.at(i).toInt());
    }
}

void Task::parseExtraDataAsMonthly(const QString& extra) {
    const QStringList parts = extra.split(QLatin1Char(':'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.first() != QLatin1String("M") || parts.size() < 2) {
        return;
    }
    monthlyRepeatType_ = parts.at(1).toInt();
}
