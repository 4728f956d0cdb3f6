#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

#include <memory>
#include <vector>

#include "alarmmanager.h"
#include "daemonclient.h"
#include "task.h"
#include "taskmanager.h"

// What the alarm manager's tests share: the real daemon, started by the private bus on
// demand with an empty queue for each test function, and ways to read what a task placed.
class AlarmManagerTestCase : public QObject {
public:
    AlarmManagerTestCase();
    ~AlarmManagerTestCase() override;

protected:
    static const QString kDaemon;

    // For initTestCase(), init(), cleanup() and cleanupTestCase().
    void initTestCase(const QString& daemonPath);
    void init();
    void cleanup();
    void cleanupTestCase();

    Task* newTask(const QString& name, bool active, Task::Type type);

    static std::vector<DaemonClient::Event> pardoEvents();
    // The events of one task, in the order of their alarm's message or trigger.
    static std::vector<DaemonClient::Event> eventsOf(int taskId);
    // Only the callback events of a task: the ones that keep a repetition going.
    static std::vector<DaemonClient::Event> callbacksOf(int taskId);
    static void verifyDialogActions(const alarm_event_t* event);
    static void verifyCommon(const alarm_event_t* event, int taskId, const QString& message,
                             int snoozeSecs);
    static time_t secondsOf(const QDateTime& moment);

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<AlarmManager> alarms;
    std::vector<std::unique_ptr<Task>> tasks;
};
