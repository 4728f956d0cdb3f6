#include "codec.h"

#include <cstring>

#include "alarmstrings.h"

namespace alarm_codec {
namespace {

const char* signatureOf(int type) {
    switch (type) {
    case DBUS_TYPE_BYTE:
        return DBUS_TYPE_BYTE_AS_STRING;
    case DBUS_TYPE_BOOLEAN:
        return DBUS_TYPE_BOOLEAN_AS_STRING;
    case DBUS_TYPE_INT16:
        return DBUS_TYPE_INT16_AS_STRING;
    case DBUS_TYPE_UINT16:
        return DBUS_TYPE_UINT16_AS_STRING;
    case DBUS_TYPE_INT32:
        return DBUS_TYPE_INT32_AS_STRING;
    case DBUS_TYPE_UINT32:
        return DBUS_TYPE_UINT32_AS_STRING;
    case DBUS_TYPE_INT64:
        return DBUS_TYPE_INT64_AS_STRING;
    case DBUS_TYPE_UINT64:
        return DBUS_TYPE_UINT64_AS_STRING;
    case DBUS_TYPE_DOUBLE:
        return DBUS_TYPE_DOUBLE_AS_STRING;
    case DBUS_TYPE_STRING:
        return DBUS_TYPE_STRING_AS_STRING;
    default:
        return nullptr;
    }
}

// libdbus aborts the process on text that is not UTF-8, so it is checked first.
bool validText(const char* text) {
    return dbus_validate_utf8(text, nullptr);
}

// Opens the dictionary entry `key` and its variant of `signature`.
bool openEntry(DBusMessageIter* dict, const char* key, const char* signature,
               DBusMessageIter* entry, DBusMessageIter* variant) {
    if (!validText(key) ||
        !dbus_message_iter_open_container(dict, DBUS_TYPE_DICT_ENTRY, nullptr, entry)) {
        return false;
    }
    if (!dbus_message_iter_append_basic(entry, DBUS_TYPE_STRING, &key) ||
        !dbus_message_iter_open_container(entry, DBUS_TYPE_VARIANT, signature, variant)) {
        dbus_message_iter_abandon_container(dict, entry);
        return false;
    }
    return true;
}

bool closeEntry(DBusMessageIter* dict, DBusMessageIter* entry, DBusMessageIter* variant) {
    return dbus_message_iter_close_container(entry, variant) &&
           dbus_message_iter_close_container(dict, entry);
}

bool appendBasic(DBusMessageIter* dict, const char* key, int type, const void* value) {
    DBusMessageIter entry;
    DBusMessageIter variant;
    if (!openEntry(dict, key, signatureOf(type), &entry, &variant)) {
        return false;
    }
    if (!dbus_message_iter_append_basic(&variant, type, value)) {
        dbus_message_iter_abandon_container(&entry, &variant);
        dbus_message_iter_abandon_container(dict, &entry);
        return false;
    }
    return closeEntry(dict, &entry, &variant);
}

// Unset strings are left out; the reader gives them back as unset.
bool appendString(DBusMessageIter* dict, const char* key, const char* value) {
    return !value || (validText(value) && appendBasic(dict, key, DBUS_TYPE_STRING, &value));
}

bool appendInt64(DBusMessageIter* dict, const char* key, int64_t value) {
    const dbus_int64_t wire = value;
    return appendBasic(dict, key, DBUS_TYPE_INT64, &wire);
}

bool appendInt32(DBusMessageIter* dict, const char* key, int32_t value) {
    const dbus_int32_t wire = value;
    return appendBasic(dict, key, DBUS_TYPE_INT32, &wire);
}

bool appendUInt32(DBusMessageIter* dict, const char* key, uint32_t value) {
    const dbus_uint32_t wire = value;
    return appendBasic(dict, key, DBUS_TYPE_UINT32, &wire);
}

bool appendTm(DBusMessageIter* dict, const struct tm& tm) {
    DBusMessageIter entry;
    DBusMessageIter variant;
    DBusMessageIter array;
    if (!openEntry(dict, "alarm_tm", "ai", &entry, &variant)) {
        return false;
    }
    const dbus_int32_t values[] = {tm.tm_sec,  tm.tm_min,  tm.tm_hour, tm.tm_mday, tm.tm_mon,
                                   tm.tm_year, tm.tm_wday, tm.tm_yday, tm.tm_isdst};
    const dbus_int32_t* pointer = values;
    bool ok = dbus_message_iter_open_container(&variant, DBUS_TYPE_ARRAY, "i", &array);
    if (ok) {
        ok = dbus_message_iter_append_fixed_array(&array, DBUS_TYPE_INT32, &pointer, 9);
        ok = dbus_message_iter_close_container(&variant, &array) && ok;
    }
    ok = closeEntry(dict, &entry, &variant) && ok;
    return ok;
}

bool appendAttrs(DBusMessageIter* dict, const alarm_event_t* event) {
    DBusMessageIter entry;
    DBusMessageIter variant;
    DBusMessageIter attrs;
    if (!openEntry(dict, "attrs", "a{sv}", &entry, &variant)) {
        return false;
    }
    bool ok = dbus_message_iter_open_container(&variant, DBUS_TYPE_ARRAY, "{sv}", &attrs);
    for (size_t i = 0; ok && i < event->attr_cnt; ++i) {
        const alarm_attr_t* attr = event->attr_tab[i];
        switch (attr->attr_type) {
        case ALARM_ATTR_INT:
            ok = appendInt32(&attrs, attr->attr_name, attr->attr_data.ival);
            break;
        case ALARM_ATTR_TIME:
            ok = appendInt64(&attrs, attr->attr_name, attr->attr_data.tval);
            break;
        case ALARM_ATTR_STRING:
            ok = appendString(&attrs, attr->attr_name, attr->attr_data.sval);
            break;
        default:
            break;
        }
    }
    ok = dbus_message_iter_close_container(&variant, &attrs) && ok;
    return closeEntry(dict, &entry, &variant) && ok;
}

bool appendArgs(DBusMessageIter* dict, const alarm_action_t* action) {
    DBusMessageIter entry;
    DBusMessageIter variant;
    DBusMessageIter array;
    if (!openEntry(dict, "dbus_args", "av", &entry, &variant)) {
        return false;
    }
    bool ok = dbus_message_iter_open_container(&variant, DBUS_TYPE_ARRAY, "v", &array);
    for (size_t i = 0; ok && action->dbus_args && action->dbus_args[i].type != DBUS_TYPE_INVALID;
         ++i) {
        const alarm_dbus_arg_t& arg = action->dbus_args[i];
        if (arg.type == DBUS_TYPE_STRING && !validText(arg.value.string_value)) {
            ok = false;
            break;
        }
        DBusMessageIter value;
        ok = dbus_message_iter_open_container(&array, DBUS_TYPE_VARIANT, signatureOf(arg.type),
                                              &value);
        if (!ok) {
            break;
        }
        const void* pointer = &arg.value;
        ok = dbus_message_iter_append_basic(&value, arg.type,
                                            arg.type == DBUS_TYPE_STRING
                                                ? static_cast<const void*>(&arg.value.string_value)
                                                : pointer);
        ok = dbus_message_iter_close_container(&array, &value) && ok;
    }
    ok = dbus_message_iter_close_container(&variant, &array) && ok;
    return closeEntry(dict, &entry, &variant) && ok;
}

bool appendAction(DBusMessageIter* actions, const alarm_action_t* action) {
    DBusMessageIter dict;
    if (!dbus_message_iter_open_container(actions, DBUS_TYPE_ARRAY, "{sv}", &dict)) {
        return false;
    }
    bool ok = appendUInt32(&dict, "flags", action->flags) &&
              appendString(&dict, "label", action->label) &&
              appendString(&dict, "exec_command", action->exec_command) &&
              appendString(&dict, "dbus_interface", action->dbus_interface) &&
              appendString(&dict, "dbus_service", action->dbus_service) &&
              appendString(&dict, "dbus_path", action->dbus_path) &&
              appendString(&dict, "dbus_name", action->dbus_name) && appendArgs(&dict, action);
    return dbus_message_iter_close_container(actions, &dict) && ok;
}

bool appendActions(DBusMessageIter* dict, const alarm_event_t* event) {
    DBusMessageIter entry;
    DBusMessageIter variant;
    DBusMessageIter actions;
    if (!openEntry(dict, "actions", "aa{sv}", &entry, &variant)) {
        return false;
    }
    bool ok = dbus_message_iter_open_container(&variant, DBUS_TYPE_ARRAY, "a{sv}", &actions);
    for (size_t i = 0; ok && i < event->action_cnt; ++i) {
        ok = appendAction(&actions, &event->action_tab[i]);
    }
    ok = dbus_message_iter_close_container(&variant, &actions) && ok;
    return closeEntry(dict, &entry, &variant) && ok;
}

// Reading ------------------------------------------------------------------

bool readInteger(DBusMessageIter* iter, int64_t* out) {
    DBusBasicValue value;
    switch (dbus_message_iter_get_arg_type(iter)) {
    case DBUS_TYPE_BYTE:
        dbus_message_iter_get_basic(iter, &value);
        *out = value.byt;
        return true;
    case DBUS_TYPE_INT16:
        dbus_message_iter_get_basic(iter, &value);
        *out = value.i16;
        return true;
    case DBUS_TYPE_UINT16:
        dbus_message_iter_get_basic(iter, &value);
        *out = value.u16;
        return true;
    case DBUS_TYPE_INT32:
        dbus_message_iter_get_basic(iter, &value);
        *out = value.i32;
        return true;
    case DBUS_TYPE_UINT32:
        dbus_message_iter_get_basic(iter, &value);
        *out = value.u32;
        return true;
    case DBUS_TYPE_INT64:
        dbus_message_iter_get_basic(iter, &value);
        *out = value.i64;
        return true;
    case DBUS_TYPE_UINT64:
        dbus_message_iter_get_basic(iter, &value);
        *out = static_cast<int64_t>(value.u64);
        return true;
    default:
        return false;
    }
}

bool readString(DBusMessageIter* iter, char** field) {
    if (dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_STRING) {
        return false;
    }
    const char* text = nullptr;
    dbus_message_iter_get_basic(iter, &text);
    alarm_strings::replace(field, text);
    return *field != nullptr;
}

void readTm(DBusMessageIter* iter, struct tm* tm) {
    if (dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_ARRAY ||
        dbus_message_iter_get_element_type(iter) != DBUS_TYPE_INT32) {
        return;
    }
    DBusMessageIter array;
    dbus_message_iter_recurse(iter, &array);
    const dbus_int32_t* values = nullptr;
    int count = 0;
    dbus_message_iter_get_fixed_array(&array, &values, &count);
    int* fields[] = {&tm->tm_sec,  &tm->tm_min,  &tm->tm_hour, &tm->tm_mday, &tm->tm_mon,
                     &tm->tm_year, &tm->tm_wday, &tm->tm_yday, &tm->tm_isdst};
    for (int i = 0; i < count && i < 9; ++i) {
        *fields[i] = values[i];
    }
}

// Calls read(key, value) for each entry of the a{sv} at `iter`.
template <typename Read> bool forEachEntry(DBusMessageIter* iter, Read read) {
    if (dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_ARRAY ||
        dbus_message_iter_get_element_type(iter) != DBUS_TYPE_DICT_ENTRY) {
        return false;
    }
    DBusMessageIter dict;
    dbus_message_iter_recurse(iter, &dict);
    while (dbus_message_iter_get_arg_type(&dict) == DBUS_TYPE_DICT_ENTRY) {
        DBusMessageIter entry;
        dbus_message_iter_recurse(&dict, &entry);
        if (dbus_message_iter_get_arg_type(&entry) != DBUS_TYPE_STRING) {
            return false;
        }
        const char* key = nullptr;
        dbus_message_iter_get_basic(&entry, &key);
        dbus_message_iter_next(&entry);
        if (dbus_message_iter_get_arg_type(&entry) != DBUS_TYPE_VARIANT) {
            return false;
        }
        DBusMessageIter value;
        dbus_message_iter_recurse(&entry, &value);
        if (!read(key, &value)) {
            return false;
        }
        dbus_message_iter_next(&dict);
    }
    return true;
}

bool readAttrs(DBusMessageIter* iter, alarm_event_t* event) {
    return forEachEntry(iter, [event](const char* key, DBusMessageIter* value) {
        int64_t number = 0;
        switch (dbus_message_iter_get_arg_type(value)) {
        case DBUS_TYPE_STRING: {
            const char* text = nullptr;
            dbus_message_iter_get_basic(value, &text);
            alarm_event_set_attr_string(event, key, text);
            return true;
        }
        case DBUS_TYPE_INT64:
        case DBUS_TYPE_UINT64:
            readInteger(value, &number);
            alarm_event_set_attr_time(event, key, static_cast<time_t>(number));
            return true;
        default:
            if (readInteger(value, &number)) {
                alarm_event_set_attr_int(event, key, static_cast<int>(number));
            }
            return true;
        }
    });
}

bool readArgs(DBusMessageIter* iter, alarm_action_t* action) {
    if (dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_ARRAY ||
        dbus_message_iter_get_element_type(iter) != DBUS_TYPE_VARIANT) {
        return false;
    }
    DBusMessageIter array;
    dbus_message_iter_recurse(iter, &array);
    size_t count = 0;
    for (DBusMessageIter probe = array; dbus_message_iter_get_arg_type(&probe) != DBUS_TYPE_INVALID;
         dbus_message_iter_next(&probe)) {
        ++count;
    }
    alarm_action_del_dbus_args(action);
    if (count == 0) {
        return true;
    }
    auto* table = static_cast<alarm_dbus_arg_t*>(calloc(count + 1, sizeof(alarm_dbus_arg_t)));
    if (!table) {
        return false;
    }
    action->dbus_args = table;
    size_t filled = 0;
    for (; dbus_message_iter_get_arg_type(&array) == DBUS_TYPE_VARIANT;
         dbus_message_iter_next(&array)) {
        DBusMessageIter value;
        dbus_message_iter_recurse(&array, &value);
        const int type = dbus_message_iter_get_arg_type(&value);
        if (!signatureOf(type)) {
            continue;
        }
        alarm_dbus_arg_t& arg = table[filled];
        if (type == DBUS_TYPE_STRING) {
            const char* text = nullptr;
            dbus_message_iter_get_basic(&value, &text);
            arg.value.string_value = alarm_strings::copy(text);
            if (!arg.value.string_value) {
                return false;
            }
        } else {
            DBusBasicValue basic;
            dbus_message_iter_get_basic(&value, &basic);
            switch (type) {
            case DBUS_TYPE_BYTE:
                arg.value.byte_value = basic.byt;
                break;
            case DBUS_TYPE_BOOLEAN:
                arg.value.bool_value = basic.bool_val ? 1 : 0;
                break;
            case DBUS_TYPE_INT16:
                arg.value.int16_value = basic.i16;
                break;
            case DBUS_TYPE_UINT16:
                arg.value.uint16_value = basic.u16;
                break;
            case DBUS_TYPE_INT32:
                arg.value.int32_value = basic.i32;
                break;
            case DBUS_TYPE_UINT32:
                arg.value.uint32_value = basic.u32;
                break;
            case DBUS_TYPE_INT64:
                arg.value.int64_value = basic.i64;
                break;
            case DBUS_TYPE_UINT64:
                arg.value.uint64_value = basic.u64;
                break;
            case DBUS_TYPE_DOUBLE:
                arg.value.double_value = basic.dbl;
                break;
            default:
                break;
            }
        }
        arg.type = type;
        ++filled;
    }
    return true;
}

bool readAction(DBusMessageIter* iter, alarm_action_t* action) {
    return forEachEntry(iter, [action](const char* key, DBusMessageIter* value) {
        int64_t number = 0;
        if (strcmp(key, "flags") == 0) {
            if (readInteger(value, &number)) {
                action->flags = static_cast<unsigned>(number);
            }
            return true;
        }
        if (strcmp(key, "dbus_args") == 0) {
            return readArgs(value, action);
        }
        char** field = nullptr;
        if (strcmp(key, "label") == 0) {
            field = &action->label;
        } else if (strcmp(key, "exec_command") == 0) {
            field = &action->exec_command;
        } else if (strcmp(key, "dbus_interface") == 0) {
            field = &action->dbus_interface;
        } else if (strcmp(key, "dbus_service") == 0) {
            field = &action->dbus_service;
        } else if (strcmp(key, "dbus_path") == 0) {
            field = &action->dbus_path;
        } else if (strcmp(key, "dbus_name") == 0) {
            field = &action->dbus_name;
        }
        return !field || readString(value, field) ||
               dbus_message_iter_get_arg_type(value) != DBUS_TYPE_STRING;
    });
}

bool readActions(DBusMessageIter* iter, alarm_event_t* event) {
    if (dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_ARRAY ||
        dbus_message_iter_get_element_type(iter) != DBUS_TYPE_ARRAY) {
        return false;
    }
    DBusMessageIter array;
    dbus_message_iter_recurse(iter, &array);
    while (dbus_message_iter_get_arg_type(&array) == DBUS_TYPE_ARRAY) {
        alarm_action_t* action = alarm_event_add_actions(event, 1);
        if (!action || !readAction(&array, action)) {
            return false;
        }
        dbus_message_iter_next(&array);
    }
    return true;
}

bool readField(alarm_event_t* event, const char* key, DBusMessageIter* value) {
    struct StringField {
        const char* key;
        char* alarm_event_t::*field;
    };
    static const StringField strings[] = {{"title", &alarm_event_t::title},
                                          {"message", &alarm_event_t::message},
                                          {"sound", &alarm_event_t::sound},
                                          {"icon", &alarm_event_t::icon},
                                          {"alarm_appid", &alarm_event_t::alarm_appid},
                                          {"alarm_tz", &alarm_event_t::alarm_tz}};
    for (const StringField& string : strings) {
        if (strcmp(key, string.key) == 0) {
            return readString(value, &(event->*string.field)) ||
                   dbus_message_iter_get_arg_type(value) != DBUS_TYPE_STRING;
        }
    }
    if (strcmp(key, "alarm_tm") == 0) {
        readTm(value, &event->alarm_tm);
        return true;
    }
    if (strcmp(key, "attrs") == 0) {
        return readAttrs(value, event);
    }
    if (strcmp(key, "actions") == 0) {
        return readActions(value, event);
    }
    int64_t number = 0;
    if (!readInteger(value, &number)) {
        return true;
    }
    if (strcmp(key, "cookie") == 0) {
        event->cookie = static_cast<cookie_t>(number);
    } else if (strcmp(key, "trigger") == 0) {
        event->trigger = static_cast<time_t>(number);
    } else if (strcmp(key, "flags") == 0) {
        event->flags = static_cast<unsigned>(number);
    } else if (strcmp(key, "alarm_time") == 0) {
        event->alarm_time = static_cast<time_t>(number);
    } else if (strcmp(key, "recur_secs") == 0) {
        event->recur_secs = static_cast<time_t>(number);
    } else if (strcmp(key, "recur_count") == 0) {
        event->recur_count = static_cast<int>(number);
    } else if (strcmp(key, "snooze_secs") == 0) {
        event->snooze_secs = static_cast<time_t>(number);
    } else if (strcmp(key, "snooze_total") == 0) {
        event->snooze_total = static_cast<time_t>(number);
    } else if (strcmp(key, "response") == 0) {
        event->response = static_cast<int>(number);
    }
    return true;
}

} // namespace

bool appendEvent(DBusMessageIter* iter, const alarm_event_t* event) {
    DBusMessageIter dict;
    if (!dbus_message_iter_open_container(iter, DBUS_TYPE_ARRAY, "{sv}", &dict)) {
        return false;
    }
    // cookie and trigger are the daemon's to set; they are not sent.
    bool ok =
        appendString(&dict, "title", event->title) &&
        appendString(&dict, "message", event->message) &&
        appendString(&dict, "sound", event->sound) && appendString(&dict, "icon", event->icon) &&
        appendUInt32(&dict, "flags", event->flags) &&
        appendString(&dict, "alarm_appid", event->alarm_appid) &&
        appendInt64(&dict, "alarm_time", event->alarm_time) && appendTm(&dict, event->alarm_tm) &&
        appendString(&dict, "alarm_tz", event->alarm_tz) &&
        appendInt64(&dict, "recur_secs", event->recur_secs) &&
        appendInt32(&dict, "recur_count", event->recur_count) &&
        appendInt64(&dict, "snooze_secs", event->snooze_secs) &&
        appendInt64(&dict, "snooze_total", event->snooze_total) &&
        appendInt32(&dict, "response", event->response) && appendActions(&dict, event) &&
        appendAttrs(&dict, event);
    if (!ok) {
        dbus_message_iter_abandon_container(iter, &dict);
        return false;
    }
    return dbus_message_iter_close_container(iter, &dict);
}

alarm_event_t* readEvent(DBusMessageIter* iter) {
    alarm_event_t* event = alarm_event_create();
    if (!event) {
        return nullptr;
    }
    if (!forEachEntry(iter, [event](const char* key, DBusMessageIter* value) {
            return readField(event, key, value);
        })) {
        alarm_event_delete(event);
        return nullptr;
    }
    return event;
}

} // namespace alarm_codec
