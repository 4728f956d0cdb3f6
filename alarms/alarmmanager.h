#pragma once

#include <QHash>
#include <QObject>
#include <QString>

#include <ctime>

class Alarm;
class QDateTime;
class Task;
struct alarm_event_t;

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

private:
    // Hands the event to the daemon and notes whose it is.
    void addEvent(const Task& task, const alarm_event_t* event);

    // The daemon's unique bus name now; empty when it does not run.
    static QString daemonNow();

    // The task id of each queued event of ours seen so far, so that withdrawing a
    // task's events need not fetch every event again. Cookies are the daemon's:
    // one that started afresh (its queue lost) gives the same numbers to other events.
    QHash<qint64, int> taskOfEvent;
    QString daemonOfCookies;
};
