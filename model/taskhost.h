#pragma once

class QDateTime;
class Task;

// What a task asks of whoever keeps it. The keeper lives above the model, so the task
// knows it only through this.
class TaskHost {
public:
    virtual void setSelectedTask(Task* task) = 0;
    virtual void saveTaskActivationState(Task& task) = 0;
    // When the task's queued events ring next after `now`; invalid when none is queued.
    virtual QDateTime nextAlarmOf(const Task& task, const QDateTime& now) const = 0;

protected:
    ~TaskHost() = default;
};
