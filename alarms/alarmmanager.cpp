#include "alarmmanager.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QHash>
#include <QVariant>

#include <alarmd/libalarm.h>
#include <dbus/dbus-protocol.h>

#include <cstdlib>

#include "databasemanager.h"
#include "task.h"
#include "timesource.h"

namespace {

const char* const kAppId = "PARDO";
const char* const kService = "org.velmar.pardoreminder";
const char* const kPath = "/org/velmar/pardoreminder";
const char* const kInterface = "org.velmar.pardoreminder";

// Action flags of the daemon's contract.
const int kButtonFlags = 0x40;
const int kSnoozeButtonFlags = 0x41;
const int kDBusButtonFlags = 0x42;
const int kCallbackFlags = 0x1022;
const int kRunDelayed = 0x40;

// What the daemon accepts: times from 1970 to the end of 9999, snooze and repetition
// intervals of at most ten years, strings of at most 4 KiB.
constexpr qint64 kLastSecond = ALARMD_MAX_TIME;
constexpr qint64 kTenYearsSecs = ALARMD_MAX_INTERVAL_SECS;
constexpr int kLongestText = ALARMD_MAX_TEXT_BYTES;

bool withinDaemonTimes(qint64 secs) {
    return secs >= 0 && secs <= kLastSecond;
}

bool withinDaemonTimes(const QDateTime& moment) {
    return moment.isValid() && withinDaemonTimes(moment.toSecsSinceEpoch());
}

void warnLeftOut(const Task& task, int alarmNo, const char* why) {
    qWarning("Alarm %d of task %d left out: %s", alarmNo + 1, task.id(), why);
}

// A damaged setting may hold any number; the editor keeps it within 1..99 minutes.
qint64 snoozeSeconds(int minutes) {
    const qint64 bounded = qBound(qint64(0), qint64(minutes), kTenYearsSecs / 60);
    if (bounded != minutes) {
        qWarning("Snooze interval of %d minutes out of range; %lld minutes used instead", minutes,
                 bounded);
    }
    return bounded * 60;
}

// Cut at a character boundary, so that what is left stays valid UTF-8.
QByteArray limitedText(const QString& text) {
    QByteArray bytes = text.toUtf8();
    if (bytes.size() > kLongestText) {
        int cut = kLongestText;
        while (cut > 0 && (uchar(bytes.at(cut)) & 0xC0) == 0x80) {
            --cut;
        }
        bytes.truncate(cut);
    }
    return bytes;
}

void addDialogActions(alarm_event_t* event) {
    alarm_action_t* stop = alarm_event_add_actions(event, 1);
    alarm_action_set_label(stop, "Stop");
    stop->flags = kButtonFlags;

    alarm_action_t* snooze = alarm_event_add_actions(event, 1);
    alarm_action_set_label(snooze, "Snooze");
    snooze->flags = kSnoozeButtonFlags;

    alarm_action_t* open = alarm_event_add_actions(event, 1);
    alarm_action_set_label(open, "PARDO");
    alarm_action_set_dbus_service(open, kService);
    alarm_action_set_dbus_path(open, kPath);
    alarm_action_set_dbus_interface(open, kInterface);
    alarm_action_set_dbus_name(open, "top_application");
    open->flags = kDBusButtonFlags;
}

void addCallbackAction(alarm_event_t* event, int taskId, int alarmNo) {
    alarm_action_t* callback = alarm_event_add_actions(event, 1);
    alarm_action_set_dbus_service(callback, kService);
    alarm_action_set_dbus_path(callback, kPath);
    alarm_action_set_dbus_interface(callback, kInterface);
    alarm_action_set_dbus_name(callback, "alarm_triggered");
    int32_t task = taskId;
    int32_t alarm = alarmNo;
    alarm_action_set_dbus_args(callback, DBUS_TYPE_INT32, &task, DBUS_TYPE_INT32, &alarm,
                               DBUS_TYPE_INVALID);
    callback->flags = kCallbackFlags;
}

// The steps every event starts with: application, title, task id, message, snooze, flags.
alarm_event_t* createEvent(const Task& task, int alarmNo, int snoozeMinutes) {
    alarm_event_t* event = alarm_event_create();
    alarm_event_set_alarm_appid(event, kAppId);
    alarm_event_set_title(event, kAppId);
    alarm_event_set_attr_int(event, "task_id", task.id());
    QString message = task.name();
    // A callback may name an alarm the user has removed since: then the name alone.
    if (alarmNo >= 0 && alarmNo < task.noOfAlarms()) {
        const QString description = task.getAlarm(alarmNo)->description();
        if (!description.isEmpty()) {
            message += QStringLiteral(" - ") + description;
        }
    }
    alarm_event_set_message(event, limitedText(message).constData());
    event->snooze_secs = time_t(snoozeSeconds(snoozeMinutes));
    event->flags |= kRunDelayed;
    return event;
}

// The daemon repeats these by itself, a fixed number of seconds apart; 0 for an interval
// below 1, which does not advance. An int of units times a unit fits in 64 bits.
qint64 recurSeconds(const Task& task) {
    const qint64 n = qMax(0, task.repeatIntervalNumber());
    switch (task.repeatIntervalType()) {
    case IntervalMinutes:
        return n * 60;
    case IntervalHours:
        return n * 3600;
    default:
        return n * 86400;
    }
}

// How many times the daemon rings such an event placed at `now`; -1 without end.
int recurCount(const Task& task, const QDateTime& now) {
    if (task.repetition() == RepeatForever) {
        return -1;
    }
    return task.getNumberOfRepetitionsFromDateTime(&now);
}

// Whole seconds, as the daemon counts them.
QDateTime secondsOf(time_t when) {
    return QDateTime::fromSecsSinceEpoch(qint64(when));
}

} // namespace

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

void AlarmManager::deleteOldAlarms(const Task& task) {
    // Events are found again by application and task id, so events placed by
    // earlier runs are withdrawn too. Whose an event is never changes: an event
    // placed or fetched before is not fetched again.
    cookie_t* ids = alarmd_event_query(0, 0, 0, 0, kAppId);
    if (!ids) {
        return;
    }
    const QString daemon = daemonNow();
    if (daemon != daemonOfCookies) {
        taskOfEvent.clear();
        daemonOfCookies = daemon;
    }
    QHash<qint64, int> stillQueued;
    for (cookie_t* id = ids; *id != 0; ++id) {
        int owner = 0;
        const auto known = taskOfEvent.constFind(*id);
        if (known != taskOfEvent.constEnd()) {
            owner = known.value();
        } else {
            alarm_event_t* event = alarmd_event_get(*id);
            if (!event) {
                continue;
            }
            owner = alarm_event_get_attr_int(event, "task_id", 0);
            alarm_event_delete(event);
        }
        if (owner == task.id()) {
            alarmd_event_del(*id);
        } else {
            stillQueued.insert(*id, owner);
        }
    }
    std::free(ids);
    // Events that rang or went otherwise are forgotten with them.
    taskOfEvent = stillQueued;
}

void AlarmManager::addEvent(const Task& task, const alarm_event_t* event) {
    const cookie_t cookie = alarmd_event_add(event);
    if (cookie > 0) {
        if (daemonOfCookies.isEmpty()) {
            daemonOfCookies = daemonNow();
        }
        taskOfEvent.insert(cookie, task.id());
    }
}

QString AlarmManager::daemonNow() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return QString();
    }
    return bus.interface()->serviceOwner(QStringLiteral("org.velmar.alarmd")).value();
}

int AlarmManager::getGeneralSnoozeTime() {
    std::optional<int> stored;
    return DatabaseManager::selectSnoozeInterval(stored) && stored ? *stored : 10;
}

void AlarmManager::setTaskTAlarms(const Task& task) {
    if (task.noOfAlarms() == 0) {
        return;
    }
    // Read once per placement: the same setting holds for all of the task's alarms.
    const int snooze = getGeneralSnoozeTime();
    for (int i = 0; i < task.noOfAlarms(); ++i) {
        if (!task.getAlarm(i)->hasUsableOffset()) {
            warnLeftOut(task, i, "its offset is below zero or beyond ten years");
            continue;
        }
        // A countdown always runs forward from now, whatever isBefore says.
        const QDateTime moment = task.getAlarm(i)->countdownMoment(
            secondsOf(time_t(TimeSource::currentSecsSinceEpoch())));
        if (!withinDaemonTimes(moment)) {
            warnLeftOut(task, i, "its moment lies beyond the year 9999");
            continue;
        }
        alarm_event_t* event = createEvent(task, i, snooze);
        event->alarm_time = time_t(moment.toSecsSinceEpoch());
        addDialogActions(event);
        addEvent(task, event);
        alarm_event_delete(event);
    }
}

bool AlarmManager::populateTimeStructure(const Task& task, const Alarm& alarm, tm& out) const {
    Q_UNUSED(task);
    const QDateTime moment = alarm.dueMoment();
    if (!withinDaemonTimes(moment)) {
        return false;
    }
    const time_t now = time_t(TimeSource::currentSecsSinceEpoch());
    localtime_r(&now, &out);
    out.tm_year = moment.date().year() - 1900;
    out.tm_mon = moment.date().month() - 1;
    out.tm_mday = moment.date().day();
    out.tm_hour = moment.time().hour();
    out.tm_min = moment.time().minute();
    out.tm_sec = 0;
    // Let mktime find the daylight-saving state of that day, not of today,
    // so the alarm keeps its wall-clock time across a change.
    out.tm_isdst = -1;
    return withinDaemonTimes(qint64(mktime(&out)));
}

void AlarmManager::setTaskDAlarms(const Task& task) {
    if (task.noOfAlarms() == 0) {
        return;
    }
    // The same for every alarm of the task: worked out once per placement.
    const int snooze = getGeneralSnoozeTime();
    const qint64 step = task.hasTrivialRepetition() ? recurSeconds(task) : 0;
    const int count =
        task.hasTrivialRepetition() ? recurCount(task, TimeSource::currentDateTime()) : 0;
    for (int i = 0; i < task.noOfAlarms(); ++i) {
        if (step > kTenYearsSecs) {
            warnLeftOut(task, i, "it repeats less often than every ten years");
            continue;
        }
        if (!task.getAlarm(i)->hasUsableOffset()) {
            warnLeftOut(task, i, "its offset is below zero or beyond ten years");
            continue;
        }
        tm moment{};
        if (!populateTimeStructure(task, *task.getAlarm(i), moment)) {
            // Past its repetition's end there is nothing to say; a moment the daemon
            // cannot hold is worth a word.
            const QDateTime due = task.getAlarm(i)->dueMoment();
            if (due.isValid()) {
                warnLeftOut(task, i, "its moment lies outside the years 1970 to 9999");
            }
            continue;
        }
        alarm_event_t* event = createEvent(task, i, snooze);
        alarm_event_set_time(event, &moment);
        if (task.hasTrivialRepetition()) {
            event->recur_count = count;
            event->recur_secs = time_t(step);
        }
        if (!task.hasRepetition() || task.hasTrivialRepetition()) {
            addDialogActions(event);
        } else {
            addCallbackAction(event, task.id(), i);
        }
        addEvent(task, event);
        alarm_event_delete(event);
    }
}

void AlarmManager::setDummyUIAlarmForTask(const Task& task, int alarmNo) {
    alarm_event_t* event = createEvent(task, alarmNo, getGeneralSnoozeTime());
    event->alarm_time = time_t(TimeSource::currentSecsSinceEpoch()) + 1;
    addDialogActions(event);
    addEvent(task, event);
    alarm_event_delete(event);
}

QDateTime AlarmManager::nextAlarm(const Task& task, const QDateTime& now) const {
    if (!task.active()) {
        return QDateTime();
    }
    const time_t nowSecs = time_t(now.toSecsSinceEpoch());
    QDateTime next;
    for (int i = 0; i < task.noOfAlarms(); ++i) {
        const Alarm& alarm = *task.getAlarm(i);
        QDateTime ring;
        if (task.type() == Task::T) {
            ring = alarm.countdownMoment(task.countdownStart());
            if (!withinDaemonTimes(ring)) {
                continue;
            }
        } else {
            tm moment{};
            if (!populateTimeStructure(task, alarm, moment)) {
                continue;
            }
            time_t when = mktime(&moment);
            if (task.hasTrivialRepetition()) {
                const qint64 step = recurSeconds(task);
                if (step > kTenYearsSecs) {
                    continue;
                }
                // Without a step the event rings once; the daemon refuses a repetition with
                // nothing left to ring.
                if (step > 0) {
                    if (recurCount(task, now) == 0) {
                        continue;
                    }
                    // A first time already past moves on by whole steps.
                    if (when <= nowSecs) {
                        when += ((nowSecs - when) / step + 1) * step;
                    }
                }
            }
            ring = secondsOf(when);
        }
        if (ring.isValid() && now < ring && (!next.isValid() || ring < next)) {
            next = ring;
        }
    }
    return next;
}
