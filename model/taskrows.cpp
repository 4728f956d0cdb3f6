// What a task writes to its rows and how it takes back what was read from them.
#include "task.h"

#include <QStringList>

#include "databasemanager.h"

namespace {

StoredAlarm storedAlarm(const Alarm& alarm) {
    return {alarm.isBefore(), alarm.units(), static_cast<int>(alarm.unitType()),
            alarm.description()};
}

} // namespace

bool Task::insertCoreDataToDatabase() {
    if (type_ == T) {
        return DatabaseManager::insertTask(name_, static_cast<int>(type_), id_);
    }
    return DatabaseManager::insertTask(name_, static_cast<int>(type_), rule_.date(), rule_.time(),
                                       id_);
}

void Task::insertAlarmsDataToDatabase() {
    for (const Alarm* alarm : qAsConst(alarms)) {
        if (!DatabaseManager::insertAlarm(id_, storedAlarm(*alarm))) {
            return;
        }
    }
}

void Task::updateCoreDataInDatabase(const Task& edited) {
    if (type_ == T) {
        DatabaseManager::updateTaskName(id_, edited.name());
    } else {
        DatabaseManager::updateTaskName(id_, edited.name(), edited.date(), edited.time());
    }
}

void Task::updateAlarmsDataInDatabase(const Task& edited) {
    if (!DatabaseManager::deleteAlarms(id_)) {
        return;
    }
    for (int i = 0; i < edited.noOfAlarms(); ++i) {
        if (!DatabaseManager::insertAlarm(id_, storedAlarm(*edited.getAlarm(i)))) {
            return;
        }
    }
}

void Task::loadStored(const StoredTask& stored) {
    if (stored.moment) {
        takeMoment(*stored.moment);
    }
    takeAlarms(stored.alarms);
    if (type_ != T && stored.repetitions) {
        takeRepetitions(*stored.repetitions);
    }
}

void Task::loadDateTime() {
    if (const std::optional<StoredMoment> moment = DatabaseManager::selectMoment(id_)) {
        takeMoment(*moment);
    }
}

void Task::takeMoment(const StoredMoment& moment) {
    // A NULL column keeps what the task already has.
    if (moment.hasDate) {
        rule_.setDate(moment.date);
    }
    if (moment.hasTime) {
        rule_.setTime(moment.time);
    }
}

void Task::loadAlarms() {
    takeAlarms(DatabaseManager::selectAlarms(id_).value_or(QVector<StoredAlarm>()));
}

void Task::takeAlarms(const QVector<StoredAlarm>& stored) {
    // The old Alarm objects stay behind as children of the task.
    alarms.clear();
    for (const StoredAlarm& alarm : stored) {
        addAlarm(alarm.isBefore, alarm.units, static_cast<Alarm::Unit>(alarm.unitType),
                 alarm.description);
    }
}

QString Task::repetitionExtraData() const {
    return rule_.extraData();
}

StoredRepetition Task::storedRepetition() const {
    StoredRepetition stored;
    stored.repeatType = rule_.repetition();
    stored.stopNumber = rule_.repetitionStopNumber();
    stored.stopDate = rule_.repetitionStopDate();
    stored.intervalType = rule_.repeatIntervalType();
    stored.intervalNumber = rule_.repeatIntervalNumber();
    stored.extraData = rule_.extraData();
    return stored;
}

void Task::insertRepetitionDataToDatabase() {
    if (type_ == T) {
        return;
    }
    DatabaseManager::insertRepetition(id_, storedRepetition());
}

void Task::updateRepetitionDataInDatabase(const Task& edited) {
    if (type_ == T) {
        return;
    }
    DatabaseManager::updateRepetition(id_, edited.storedRepetition());
}

void Task::loadRepetitions() {
    if (type_ == T) {
        return;
    }
    if (const auto stored = DatabaseManager::selectRepetitions(id_)) {
        takeRepetitions(*stored);
    }
}

void Task::takeRepetitions(const QVector<StoredRepetition>& stored) {
    for (const StoredRepetition& row : stored) {
        rule_.setRepetitionFields(row.repeatType, row.stopNumber,
                                  row.hasStopDate ? row.stopDate : rule_.repetitionStopDate(),
                                  row.intervalNumber, row.intervalType, rule_.weeklyRepeatDays(),
                                  rule_.monthlyRepeatType());
        if (row.intervalType == IntervalWeeks) {
            parseExtraDataAsWeekly(row.extraData);
        } else if (row.intervalType == IntervalMonths) {
            parseExtraDataAsMonthly(row.extraData);
        }
    }
}

void Task::parseExtraDataAsWeekly(const QString& extra) {
    rule_.parseExtraDataAsWeekly(extra);
}

void Task::parseExtraDataAsMonthly(const QString& extra) {
    rule_.parseExtraDataAsMonthly(extra);
}
