#include "eventlimits.h"

#include <cstring>

namespace alarm_limits {
namespace {

bool isUnder(const char* name, const char* root, char separator) {
    const size_t length = strlen(root);
    return name && strncmp(name, root, length) == 0 &&
           (name[length] == '\0' || name[length] == separator);
}

bool namesBusOrDaemon(const alarm_action_t* action) {
    for (const char* name : {action->dbus_service, action->dbus_interface}) {
        if (isUnder(name, "org.freedesktop.DBus", '.') || isUnder(name, "org.velmar.alarmd", '.')) {
            return true;
        }
    }
    return isUnder(action->dbus_path, "/org/freedesktop/DBus", '/') ||
           isUnder(action->dbus_path, "/org/velmar/alarmd", '/');
}

// Bytes, not characters: the bound is on the UTF-8 text on the wire.
bool isTooLong(const char* text) {
    return text && strnlen(text, ALARMD_MAX_TEXT_BYTES + 1) > ALARMD_MAX_TEXT_BYTES;
}

std::string overlongText(const alarm_event_t* event) {
    const std::pair<const char*, const char*> texts[] = {{"title", event->title},
                                                         {"message", event->message},
                                                         {"sound", event->sound},
                                                         {"icon", event->icon},
                                                         {"alarm_appid", event->alarm_appid},
                                                         {"alarm_tz", event->alarm_tz}};
    for (const auto& [key, text] : texts) {
        if (isTooLong(text)) {
            return key;
        }
    }
    for (size_t i = 0; i < event->action_cnt; ++i) {
        const alarm_action_t& action = event->action_tab[i];
        for (const char* text : {action.label, action.exec_command, action.dbus_interface,
                                 action.dbus_service, action.dbus_path, action.dbus_name}) {
            if (isTooLong(text)) {
                return "a text of action " + std::to_string(i);
            }
        }
        for (const alarm_dbus_arg_t* arg = action.dbus_args; arg && arg->type != DBUS_TYPE_INVALID;
             ++arg) {
            if (arg->type == DBUS_TYPE_STRING && isTooLong(arg->value.string_value)) {
                return "a string argument of action " + std::to_string(i);
            }
        }
    }
    for (size_t i = 0; i < event->attr_cnt; ++i) {
        const alarm_attr_t* attr = event->attr_tab[i];
        if (isTooLong(attr->attr_name) ||
            (attr->attr_type == ALARM_ATTR_STRING && isTooLong(attr->attr_data.sval))) {
            return "attribute " + std::to_string(i);
        }
    }
    return std::string();
}

} // namespace

std::string breach(const alarm_event_t* event) {
    if (event->action_cnt > ALARMD_MAX_ACTIONS) {
        return std::to_string(event->action_cnt) + " actions; at most " +
               std::to_string(ALARMD_MAX_ACTIONS) + " are allowed";
    }
    if (event->attr_cnt > ALARMD_MAX_ATTRS) {
        return std::to_string(event->attr_cnt) + " attributes; at most " +
               std::to_string(ALARMD_MAX_ATTRS) + " are allowed";
    }
    const std::string overlong = overlongText(event);
    if (!overlong.empty()) {
        return overlong + " is longer than " + std::to_string(ALARMD_MAX_TEXT_BYTES) + " bytes";
    }
    const int64_t when = event->alarm_time;
    if (when < -1 || when > ALARMD_MAX_TIME) {
        return "alarm_time is neither -1 nor between 0 and ALARMD_MAX_TIME (the end of 9999)";
    }
    const int64_t recur = event->recur_secs;
    if (recur < 0 || recur > ALARMD_MAX_INTERVAL_SECS) {
        return "recur_secs is not between 0 and ALARMD_MAX_INTERVAL_SECS (10 years)";
    }
    const int64_t snooze = event->snooze_secs;
    if (snooze < 0 || snooze > ALARMD_MAX_INTERVAL_SECS) {
        return "snooze_secs is not between 0 and ALARMD_MAX_INTERVAL_SECS (10 years)";
    }
    const int64_t snoozed = event->snooze_total;
    if (snoozed < 0 || snoozed > ALARMD_MAX_TIME) {
        return "snooze_total is not between 0 and ALARMD_MAX_TIME";
    }
    if (event->recur_count < -1) {
        return "recur_count is below -1";
    }
    for (size_t i = 0; i < event->action_cnt; ++i) {
        if (namesBusOrDaemon(&event->action_tab[i])) {
            return "action " + std::to_string(i) +
                   " targets the bus itself or the alarm daemon (org.freedesktop.DBus, "
                   "org.velmar.alarmd)";
        }
    }
    return std::string();
}

} // namespace alarm_limits
