#include "alarmmanager.h"

#include <QDateTime>
#include <QSqlQuery>
#include <QVariant>

#include <alarmd/libalarm.h>
#include <dbus/dbus-protocol.h>

#include <cstdlib>

#include "task.h"

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
    alarm_event_set_message(event, message.toUtf8().constData());
    event->snooze_secs = snoozeMinutes * 60;
    event->flags |= kRunDelayed;
    return event;
}

// The daemon repeats these by itself, a fixed number of seconds apart.
time_t recurSeconds(const Task& task) {
    const time_t n = task.repeatIntervalNumber();
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
    // earlier runs are withdrawn too.
    cookie_t* ids = alarmd_event_query(0, 0, 0, 0, kAppId);
    if (!ids) {
        return;
    }
    for (cookie_t* id = ids; *id != 0; ++id) {
        alarm_event_t* event = alarmd_event_get(*id);
        if (!event) {
            continue;
        }
        if (alarm_event_get_attr_int(event, "task_id", 0) == task.id()) {
            alarmd_event_del(*id);
        }
        alarm_event_delete(event);
    }
    std::free(ids);
}

int AlarmManager::getGeneralSnoozeTime() {
    QSqlQuery query{QString(), QSqlDatabase()};
    if (query.exec(QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'")) &&
        query.next()) {
        return query.value(0).toInt();
    }
    return 10;
}

void AlarmManager::setTaskTAlarms(const Task& task) {
    for (int i = 0; i < task.noOfAlarms(); ++i) {
        alarm_event_t* event = createEvent(task, i, getGeneralSnoozeTime());
        // A countdown always runs forward from now, whatever isBefore says.
        event->alarm_time =
            time_t(task.getAlarm(i)->countdownMoment(secondsOf(time(nullptr))).toSecsSinceEpoch());
        addDialogActions(event);
        alarmd_event_add(event);
        alarm_event_delete(event);
    }
}

bool AlarmManager::populateTimeStructure(const Task& task, const Alarm& alarm, tm& out) const {
    Q_UNUSED(task);
    const QDateTime moment = alarm.dueMoment();
    if (!moment.isValid()) {
        return false;
    }
    const time_t now = time(nullptr);
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
    mktime(&out);
    return true;
}

void AlarmManager::setTaskDAlarms(const Task& task) {
    for (int i = 0; i < task.noOfAlarms(); ++i) {
        alarm_event_t* event = createEvent(task, i, getGeneralSnoozeTime());
        tm moment{};
        if (populateTimeStructure(task, *task.getAlarm(i), moment)) {
            alarm_event_set_time(event, &moment);
            if (task.hasTrivialRepetition()) {
                event->recur_count = recurCount(task, QDateTime::currentDateTime());
                event->recur_secs = recurSeconds(task);
            }
            if (!task.hasRepetition() || task.hasTrivialRepetition()) {
                addDialogActions(event);
            } else {
                addCallbackAction(event, task.id(), i);
            }
            alarmd_event_add(event);
        }
        alarm_event_delete(event);
    }
}

void AlarmManager::setDummyUIAlarmForTask(const Task& task, int alarmNo) {
    alarm_event_t* event = createEvent(task, alarmNo, getGeneralSnoozeTime());
    event->alarm_time = time(nullptr) + 1;
    addDialogActions(event);
    alarmd_event_add(event);
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
        } else {
            tm moment{};
            if (!populateTimeStructure(task, alarm, moment)) {
                continue;
            }
            time_t when = mktime(&moment);
            if (task.hasTrivialRepetition()) {
                const time_t step = recurSeconds(task);
                // The daemon refuses a repetition with nothing left to ring.
                if (step <= 0 || recurCount(task, now) == 0) {
                    continue;
                }
                // A first time already past moves on by whole steps.
                if (when <= nowSecs) {
                    when += ((nowSecs - when) / step + 1) * step;
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
