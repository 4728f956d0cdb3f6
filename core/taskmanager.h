#pragma once

#include <QObject>
#include <QVector>

#include "alarmmanager.h"
#include "databasemanager.h"
#include "taskhost.h"

class QDateTime;
class QGridLayout;
class Task;

// Owns every task and carries out every change: database first, then the
// alarm daemon, then the grid.
class TaskManager : public QObject, public TaskHost {
    Q_OBJECT
public:
    explicit TaskManager(QObject* parent = nullptr);
    ~TaskManager() override;

    Task* focusedTask() const { return selectedTask; }
    void setTasksLayout(QGridLayout* layout) { tasksLayout = layout; }
    void loadTasks();
    void setSelectedTask(Task* task) override;
    void saveTaskActivationState(Task& task) override;
    // False when the task's row could not be written: nothing of it is kept or
    // scheduled, and the caller still owns it.
    bool addTask(Task& task);
    void saveSelectedTaskChanges(Task& edited);
    void removeTask();
    void handleAlarmTriggeredForTask(int taskId, int alarmNo);
    void setAlarmsForTask(const Task& task);
    QDateTime nextAlarmOf(const Task& task, const QDateTime& now) const override;

    const QVector<Task*>& allTasks() const { return tasks; }
    // False when the database could not be opened: the application must not go on.
    bool hasDatabase() const { return databaseOpen; }

Q_SIGNALS:
    void editTaskCalled();
    void newTaskCalled();
    void settingsCalled();
    void taskGainedFocus();
    void taskLostFocus();
    void taskRemoved();

public Q_SLOTS:
    void handleSettingsAction();
    void handleTaskAction();
    void redisplayTasks();
    void sortTasks();

private:
    DatabaseManager databaseManager;
    AlarmManager alarmManager;
    QVector<Task*> tasks;
    QGridLayout* tasksLayout;
    Task* selectedTask;
    bool databaseOpen;
};
