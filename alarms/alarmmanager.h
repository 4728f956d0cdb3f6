#pragma once

#include <QObject>

#include <ctime>

class Alarm;
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
    bool populateTimeStructure(const Task& task, const Alarm& alarm, tm& out);
    void setTaskTAlarms(const Task& task);
    void setTaskDAlarms(const Task& task);
};
