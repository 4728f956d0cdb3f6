/* Client library of the desktop alarm daemon pardo-alarmd.
 *
 * Events are built locally (alarm_event_create, the setters, the action and
 * attribute tables) and handed to the daemon over the D-Bus session bus with
 * the alarmd_* calls. Those calls block for at most a few seconds: an
 * unreachable or stuck daemon gives a failure return, never a hang.
 */
#ifndef ALARMD_LIBALARM_H
#define ALARMD_LIBALARM_H

#include <dbus/dbus-protocol.h>

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef long cookie_t;

/* Limits ----------------------------------------------------------------
 * Any client of the session bus may call the daemon, so it refuses (cookie 0)
 * an event beyond these bounds instead of wrapping or cutting it.
 * alarmd_event_add checks them before it calls and prints why to stderr. */

/* Actions and attributes per event. */
#define ALARMD_MAX_ACTIONS 16
#define ALARMD_MAX_ATTRS 64
/* Longest text (title, message, label, any other string) in UTF-8 bytes. */
#define ALARMD_MAX_TEXT_BYTES 4096
/* Longest recur_secs and snooze_secs: 10 years of 366 days (316 224 000 s). */
#define ALARMD_MAX_INTERVAL_SECS ((int64_t)10 * 366 * 86400)
/* Latest moment: 9999-12-31 23:59:59 UTC. alarm_time is -1 or 0 to this, and so
 * is every time the daemon computes (catch-up, next recurrence, snooze end). */
#define ALARMD_MAX_TIME ((int64_t)253402300799)
/* snooze_total is 0 to ALARMD_MAX_TIME; recur_count -1 or above. Fields of
 * alarm_tm below 0 are unset, those above their range carry over as in
 * mktime, as long as the moment stays within 0 to ALARMD_MAX_TIME. */

/* Event flags (alarm_event_t.flags). The desktop ignores the power-up ones. */
enum alarmeventflags {
    ALARM_EVENT_NO_FLAGS = 0,
    ALARM_EVENT_BOOT = 1 << 3,
    ALARM_EVENT_ACTDEAD = 1 << 4,
    ALARM_EVENT_SHOW_ICON = 1 << 5,
    /* A missed event triggers once as soon as possible instead of being dropped. */
    ALARM_EVENT_RUN_DELAYED = 1 << 6,
    ALARM_EVENT_CONNECTED = 1 << 7,
    ALARM_EVENT_POSTPONE_DELAYED = 1 << 9,
    /* The event stays in the queue but never triggers. */
    ALARM_EVENT_DISABLED = 1 << 11
};

/* Action flags (alarm_action_t.flags). */
enum alarmactionflags {
    ALARM_ACTION_TYPE_NOP = 0,
    ALARM_ACTION_TYPE_SNOOZE = 1 << 0,
    ALARM_ACTION_TYPE_DBUS = 1 << 1,
    /* Refused by the daemon: no bus client may make it run commands. */
    ALARM_ACTION_TYPE_EXEC = 1 << 2,
    ALARM_ACTION_WHEN_QUEUED = 1 << 4,
    ALARM_ACTION_WHEN_TRIGGERED = 1 << 5,
    /* With a label: a button of the alarm dialog. */
    ALARM_ACTION_WHEN_RESPONDED = 1 << 6,
    ALARM_ACTION_WHEN_DELETED = 1 << 7,
    ALARM_ACTION_DBUS_USE_ACTIVATION = 1 << 12,
    /* Refused by the daemon. */
    ALARM_ACTION_DBUS_USE_SYSTEMBUS = 1 << 13
};

/* One argument of a D-Bus action; `type` is a DBUS_TYPE_* code. */
typedef struct alarm_dbus_arg_t {
    int type;
    union {
        unsigned char byte_value; /* DBUS_TYPE_BYTE */
        uint32_t bool_value;      /* DBUS_TYPE_BOOLEAN, 0 or 1 */
        int16_t int16_value;      /* DBUS_TYPE_INT16 */
        uint16_t uint16_value;    /* DBUS_TYPE_UINT16 */
        int32_t int32_value;      /* DBUS_TYPE_INT32 */
        uint32_t uint32_value;    /* DBUS_TYPE_UINT32 */
        int64_t int64_value;      /* DBUS_TYPE_INT64 */
        uint64_t uint64_value;    /* DBUS_TYPE_UINT64 */
        double double_value;      /* DBUS_TYPE_DOUBLE */
        char* string_value;       /* DBUS_TYPE_STRING, owned by the action */
    } value;
} alarm_dbus_arg_t;

typedef struct alarm_action_t {
    unsigned flags;
    char* label;
    char* exec_command;
    char* dbus_interface;
    /* Empty: the action emits a signal instead of calling a method. Neither the
     * service, the interface nor the path may name the bus itself
     * (org.freedesktop.DBus and below) or the daemon (org.velmar.alarmd). */
    char* dbus_service;
    char* dbus_path;
    char* dbus_name;
    /* Arguments in order, ended by an entry of type DBUS_TYPE_INVALID; null when none. */
    alarm_dbus_arg_t* dbus_args;
} alarm_action_t;

enum alarmattrtype {
    ALARM_ATTR_NULL = 0,
    ALARM_ATTR_INT = 1,
    ALARM_ATTR_TIME = 2,
    ALARM_ATTR_STRING = 3
};

typedef struct alarm_attr_t {
    char* attr_name;
    int attr_type; /* enum alarmattrtype */
    union {
        int ival;
        time_t tval;
        char* sval;
    } attr_data;
} alarm_attr_t;

typedef struct alarm_event_t {
    cookie_t cookie; /* set by alarmd_event_get */
    time_t trigger;  /* next due time as the daemon computed it */
    char* title;
    char* message;
    /* A sound theme name (letters, digits, '-', '_', '.'), or the absolute path
     * of a regular audio file below a "sounds" folder of the XDG data
     * directories; empty: the alarm clock sound. */
    char* sound;
    char* icon;
    unsigned flags; /* enum alarmeventflags */
    char* alarm_appid;
    time_t alarm_time;   /* seconds since the epoch, or -1 to use alarm_tm */
    struct tm alarm_tm;  /* local wall-clock time; all -1 (tm_sec 0) means now */
    char* alarm_tz;      /* zone of alarm_tm (e.g. "Europe/Berlin"); empty: local time */
    time_t recur_secs;   /* > 0: repeats every recur_secs seconds */
    int recur_count;     /* -1: forever; N > 0: N triggers in all */
    time_t snooze_secs;  /* 0: the daemon default of 600 s; at least 10 s */
    time_t snooze_total; /* seconds snoozed so far for the current occurrence */
    int response;        /* index of the action that answered last, -1 for none */
    size_t action_cnt;
    alarm_action_t* action_tab;
    size_t attr_cnt;
    alarm_attr_t** attr_tab;
} alarm_event_t;

/* Events ---------------------------------------------------------------- */

/* A new empty event: alarm_time -1, alarm_tm all -1 but tm_sec 0, response -1. */
alarm_event_t* alarm_event_create(void);
/* Frees an event and everything it owns; null is accepted. */
void alarm_event_delete(alarm_event_t* event);

/* String setters copy their argument (null clears); getters never return null. */
void alarm_event_set_alarm_appid(alarm_event_t* event, const char* appid);
const char* alarm_event_get_alarm_appid(const alarm_event_t* event);
void alarm_event_set_title(alarm_event_t* event, const char* title);
const char* alarm_event_get_title(const alarm_event_t* event);
void alarm_event_set_message(alarm_event_t* event, const char* message);
const char* alarm_event_get_message(const alarm_event_t* event);
void alarm_event_set_sound(alarm_event_t* event, const char* sound);
const char* alarm_event_get_sound(const alarm_event_t* event);
void alarm_event_set_icon(alarm_event_t* event, const char* icon);
const char* alarm_event_get_icon(const alarm_event_t* event);
void alarm_event_set_alarm_tz(alarm_event_t* event, const char* tz);
const char* alarm_event_get_alarm_tz(const alarm_event_t* event);

/* Copies the whole broken-down time and sets alarm_time to -1. */
void alarm_event_set_time(alarm_event_t* event, const struct tm* tm);
void alarm_event_get_time(const alarm_event_t* event, struct tm* tm);

/* Appends `count` zeroed actions and returns the first of them. Pointers to
 * actions returned earlier are invalid after this call. */
alarm_action_t* alarm_event_add_actions(alarm_event_t* event, size_t count);
size_t alarm_event_get_action_count(const alarm_event_t* event);
/* Null when `index` is out of range. */
alarm_action_t* alarm_event_get_action(const alarm_event_t* event, int index);

/* Named attributes; setting a name again replaces its value and type. */
void alarm_event_set_attr_int(alarm_event_t* event, const char* name, int value);
int alarm_event_get_attr_int(const alarm_event_t* event, const char* name, int def);
void alarm_event_set_attr_time(alarm_event_t* event, const char* name, time_t value);
time_t alarm_event_get_attr_time(const alarm_event_t* event, const char* name, time_t def);
void alarm_event_set_attr_string(alarm_event_t* event, const char* name, const char* value);
const char* alarm_event_get_attr_string(const alarm_event_t* event, const char* name,
                                        const char* def);
int alarm_event_has_attr(const alarm_event_t* event, const char* name);

/* Actions --------------------------------------------------------------- */

void alarm_action_set_label(alarm_action_t* action, const char* label);
const char* alarm_action_get_label(const alarm_action_t* action);
void alarm_action_set_exec_command(alarm_action_t* action, const char* command);
const char* alarm_action_get_exec_command(const alarm_action_t* action);
void alarm_action_set_dbus_service(alarm_action_t* action, const char* service);
const char* alarm_action_get_dbus_service(const alarm_action_t* action);
void alarm_action_set_dbus_path(alarm_action_t* action, const char* path);
const char* alarm_action_get_dbus_path(const alarm_action_t* action);
void alarm_action_set_dbus_interface(alarm_action_t* action, const char* interface);
const char* alarm_action_get_dbus_interface(const alarm_action_t* action);
void alarm_action_set_dbus_name(alarm_action_t* action, const char* name);
const char* alarm_action_get_dbus_name(const alarm_action_t* action);

/* Replaces the arguments: pairs of a DBUS_TYPE_* code and a pointer to the
 * value, ended by DBUS_TYPE_INVALID, as dbus_message_append_args takes them
 * (a string is passed as a pointer to its `const char*`, a boolean as a
 * pointer to a uint32_t, libdbus's dbus_bool_t). Supported: BYTE, BOOLEAN, INT16, UINT16, INT32,
 * UINT32, INT64, UINT64, DOUBLE, STRING. Returns 0, or -1 for an unsupported
 * type or a null string, in which case the action keeps its old arguments. */
int alarm_action_set_dbus_args(alarm_action_t* action, int type, ...);
void alarm_action_del_dbus_args(alarm_action_t* action);
size_t alarm_action_get_dbus_args_count(const alarm_action_t* action);
/* Null when `index` is out of range. */
const alarm_dbus_arg_t* alarm_action_get_dbus_arg(const alarm_action_t* action, int index);

/* True for a dialog button: a label and ALARM_ACTION_WHEN_RESPONDED. */
int alarm_action_is_button(const alarm_action_t* action);

/* The daemon ------------------------------------------------------------ */

/* Queues a copy of the event; the new cookie (> 0), or 0 when the daemon
 * refused the event or could not be reached. */
cookie_t alarmd_event_add(const alarm_event_t* event);
/* 0 when the event was deleted, -1 otherwise. */
int alarmd_event_del(cookie_t cookie);
/* A new event (free with alarm_event_delete), or null. */
alarm_event_t* alarmd_event_get(cookie_t cookie);
/* Cookies of the events due in [first, last] (<= 0: unbounded) whose flags
 * match `flags` in the bits of `flag_mask` (0 matches all) and whose
 * application id is `appid` (null or empty matches all), by due time. A
 * malloc'ed array ended by 0 (free with free), null only when the daemon
 * cannot be reached. */
cookie_t* alarmd_event_query(time_t first, time_t last, int32_t flag_mask, int32_t flags,
                             const char* appid);

#ifdef __cplusplus
}
#endif

#endif
