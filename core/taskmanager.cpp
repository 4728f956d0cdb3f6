#include "taskmanager.h"

#include <QCoreApplication>
#include <QGridLayout>
#include <QMessageBox>

#include <algorithm>

#include "qmaemo5informationbox.h"
#include "task.h"
#include "taskless.h"

namespace {

void showTaskSaved() {
    QMaemo5InformationBox::information(
        nullptr, QCoreApplication::translate("TaskManager", "Task saved."), 3000);
}

} // namespace

TaskManager::TaskManager(QObject* parent)
    : QObject(parent)
    , tasksLayout(nullptr)
    , selectedTask(nullptr)
    , databaseOpen(databaseManager.openDatabase()) {}

TaskManager::~TaskManager() {
    qDeleteAll(tasks);
}

void TaskManager::loadTasks() {
    const QVector<StoredTask> stored = DatabaseManager::selectTasks();
    tasks.reserve(tasks.size() + stored.size());
    for (const StoredTask& row : stored) {
        auto* task =
            new Task(*this, row.id, row.name, row.active, static_cast<Task::Type>(row.type));
        tasks.append(task);
        task->loadStored(row);
    }
    // Shown once, in their sorted places.
    sortTasks();
    redisplayTasks();
}

void TaskManager::sortTasks() {
    std::sort(tasks.begin(), tasks.end(), TaskLess());
}

void TaskManager::redisplayTasks() {
    if (!tasksLayout) {
        return;
    }
    while (QLayoutItem* item = tasksLayout->takeAt(0)) {
        delete item;
    }
    for (Task* task : qAsConst(tasks)) {
        task->display(tasksLayout);
    }
}

void TaskManager::setSelectedTask(Task* task) {
    if (selectedTask != task) {
        if (selectedTask) {
            selectedTask->setSelected(false);
            selectedTask = nullptr;
            Q_EMIT taskLostFocus();
        }
        selectedTask = task;
        task->setSelected(true);
        Q_EMIT taskGainedFocus();
    } else {
        task->setSelected(false);
        selectedTask = nullptr;
        Q_EMIT taskLostFocus();
    }
}

void TaskManager::saveTaskActivationState(Task& task) {
    // The result is not checked: memory, daemon and grid follow the new state anyway.
    if (task.type() == Task::D) {
        DatabaseManager::updateTaskActive(task.id(), task.active());
    } else {
        DatabaseManager::updateTaskActive(task.id(), task.active(), task.date(), task.time());
    }
    alarmManager.setAlarms(task);
    sortTasks();
    redisplayTasks();
}

bool TaskManager::addTask(Task& task) {
    // Without its row the task would vanish at the next start while its alarms still rang.
    if (!task.insertCoreDataToDatabase()) {
        return false;
    }
    task.insertAlarmsDataToDatabase();
    task.insertRepetitionDataToDatabase();
    saveTaskActivationState(task);
    tasks.append(&task);
    if (tasksLayout) {
        task.display(tasksLayout);
        showTaskSaved();
    }
    sortTasks();
    redisplayTasks();
    return true;
}

void TaskManager::saveSelectedTaskChanges(Task& edited) {
    if (!selectedTask) {
        return;
    }
    selectedTask->updateCoreDataInDatabase(edited);
    selectedTask->updateAlarmsDataInDatabase(edited);
    selectedTask->updateRepetitionDataInDatabase(edited);
    selectedTask->setName(edited.name());
    // What the database holds, not a copy of the editor's object, is what the task becomes.
    selectedTask->loadDateTime();
    selectedTask->loadAlarms();
    selectedTask->loadRepetitions();
    selectedTask->updateDisplay();
    if (selectedTask->type() == Task::T) {
        selectedTask->restartCountdown();
    }
    alarmManager.setAlarms(*selectedTask);
    sortTasks();
    redisplayTasks();
    if (tasksLayout) {
        showTaskSaved();
    }
}

void TaskManager::handleSettingsAction() {
    if (selectedTask) {
        Q_EMIT editTaskCalled();
    } else {
        Q_EMIT settingsCalled();
    }
}

void TaskManager::handleTaskAction() {
    if (!selectedTask) {
        Q_EMIT newTaskCalled();
        return;
    }
    const QMessageBox::StandardButton answer = QMessageBox::question(
        nullptr, tr("Delete task"), tr("Are you sure you want to delete this task?"),
        QMessageBox::Yes | QMessageBox::No, QMessageBox::NoButton);
    if (answer == QMessageBox::Yes) {
        removeTask();
    }
}

void TaskManager::removeTask() {
    if (tasks.isEmpty() || !selectedTask) {
        return;
    }
    // Events first, then rows, then memory: a failed delete leaves the task on screen.
    alarmManager.deleteAlarms(*selectedTask);
    if (!DatabaseManager::deleteTask(selectedTask->id())) {
        return;
    }
    tasks.removeOne(selectedTask);
    delete selectedTask;
    selectedTask = nullptr;
    Q_EMIT taskLostFocus();
    if (tasksLayout) {
        tasksLayout->invalidate();
        redisplayTasks();
    }
    Q_EMIT taskRemoved();
}

void TaskManager::handleAlarmTriggeredForTask(int taskId, int alarmNo) {
    Task* found = nullptr;
    // No early exit: with duplicate ids the last one wins.
    for (Task* task : qAsConst(tasks)) {
        if (task->id() == taskId) {
            found = task;
        }
    }
    if (!found) {
        return;
    }
    if (found->hasRepetition() && !found->hasTrivialRepetition()) {
        alarmManager.setAlarms(*found);
    }
    alarmManager.setDummyUIAlarmForTask(*found, alarmNo);
}

void TaskManager::setAlarmsForTask(const Task& task) {
    alarmManager.setAlarms(task);
}

QDateTime TaskManager::nextAlarmOf(const Task& task, const QDateTime& now) const {
    return alarmManager.nextAlarm(task, now);
}
