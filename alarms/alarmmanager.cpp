#include "alarmmanager.h"

#include <QSqlQuery>
#include <QVariant>

#include "task.h"

AlarmManager::AlarmManager(QObject* parent)
    : QObject(parent) {}

void AlarmManager::setAlarms(const Task& task) {
    deleteOldAlarms(task);
    if (!task.active()) {
        return;
    }
    if (task.type() == Task::T) {
        setTaskTAlarms(task);
    } else {
        setTaskDAlarms(task);
    }
}

void AlarmManager::deleteAlarms(const Task& task) {
    deleteOldAlarms(task);
}

void AlarmManager::addNewAlarms(const Task& task) {
    if (task.type() == Task::T) {
        setTaskTAlarms(task);
    } else {
        setTaskDAlarms(task);
    }
}

int AlarmManager::getGeneralSnoozeTime() {
    QSqlQuery query{QString(), QSqlDatabase()};
    if (query.exec(QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'")) &&
        query.next()) {
        return query.value(0).toInt();
    }
    return 10;
}

// The daemon side (event building, placing and withdrawing) comes with the
// alarm framework; until then a task's alarms are kept but not scheduled.
void AlarmManager::deleteOldAlarms(const Task& /*task*/) {}

void AlarmManager::setDummyUIAlarmForTask(const Task& /*task*/, int /*alarmNo*/) {}

bool AlarmManager::populateTimeStructure(const Task& /*task*/, const Alarm& /*alarm*/,
                                         tm& /*out*/) {
    return false;
}

void AlarmManager::setTaskTAlarms(const Task& /*task*/) {}

void AlarmManager::setTaskDAlarms(const Task& /*task*/) {}
