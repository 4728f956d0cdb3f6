#pragma once

#include <QObject>

#include <ctime>

class Alarm;
class QDateTime;
class Task;

// Turns active tasks into events of the alarm daemon and withdraws them again.
class AlarmManager : public QObject {
    Q_OBJECT
public:
    explicit AlarmManager(QObject* parent = nullptr);

    void setAlarms(const Task& task);
    void deleteAlarms(const Task& task);
    void addNewAlarms(const Task& task);
    void setDummyUIAlarmForTask(const Task& task, int alarmNo);
    void deleteOldAlarms(const Task& task);
    int getGeneralSnoozeTime();
    bool populateTimeStructure(const Task& task, const Alarm& alarm, tm& out) const;
    void setTaskTAlarms(const Task& task);
    void setTaskDAlarms(const Task& task);
    // The first moment after `now` at which one of the task's events rings, worked out the way
    // the events are placed and the daemon runs them; invalid when none is queued.
    QDateTime nextAlarm(const Task& task, const QDateTime& now) const;
};
