#include <alarmd/libalarm.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "alarmstrings.h"

using alarm_strings::copy;
using alarm_strings::orEmpty;
using alarm_strings::replace;

namespace {

void clearArgs(alarm_dbus_arg_t* args) {
    if (!args) {
        return;
    }
    for (alarm_dbus_arg_t* arg = args; arg->type != DBUS_TYPE_INVALID; ++arg) {
        if (arg->type == DBUS_TYPE_STRING) {
            free(arg->value.string_value);
        }
    }
    free(args);
}

void clearAction(alarm_action_t* action) {
    free(action->label);
    free(action->exec_command);
    free(action->dbus_interface);
    free(action->dbus_service);
    free(action->dbus_path);
    free(action->dbus_name);
    clearArgs(action->dbus_args);
    memset(action, 0, sizeof *action);
}

void freeAttr(alarm_attr_t* attr) {
    if (!attr) {
        return;
    }
    if (attr->attr_type == ALARM_ATTR_STRING) {
        free(attr->attr_data.sval);
    }
    free(attr->attr_name);
    free(attr);
}

alarm_attr_t* findAttr(const alarm_event_t* event, const char* name) {
    if (!event || !name) {
        return nullptr;
    }
    for (size_t i = 0; i < event->attr_cnt; ++i) {
        if (strcmp(event->attr_tab[i]->attr_name, name) == 0) {
            return event->attr_tab[i];
        }
    }
    return nullptr;
}

// The attribute called `name`, emptied of its old value, or null when out of memory.
alarm_attr_t* freshAttr(alarm_event_t* event, const char* name) {
    if (!event || !name) {
        return nullptr;
    }
    if (alarm_attr_t* attr = findAttr(event, name)) {
        if (attr->attr_type == ALARM_ATTR_STRING) {
            free(attr->attr_data.sval);
        }
        memset(&attr->attr_data, 0, sizeof attr->attr_data);
        attr->attr_type = ALARM_ATTR_NULL;
        return attr;
    }
    auto** table = static_cast<alarm_attr_t**>(
        realloc(event->attr_tab, (event->attr_cnt + 1) * sizeof(alarm_attr_t*)));
    if (!table) {
        return nullptr;
    }
    event->attr_tab = table;
    auto* attr = static_cast<alarm_attr_t*>(calloc(1, sizeof(alarm_attr_t)));
    if (!attr) {
        return nullptr;
    }
    attr->attr_name = copy(name);
    if (!attr->attr_name) {
        free(attr);
        return nullptr;
    }
    table[event->attr_cnt++] = attr;
    return attr;
}

bool readArg(int type, void* pointer, alarm_dbus_arg_t* out) {
    if (!pointer) {
        return false;
    }
    out->type = type;
    switch (type) {
    case DBUS_TYPE_BYTE:
        out->value.byte_value = *static_cast<const unsigned char*>(pointer);
        return true;
    case DBUS_TYPE_BOOLEAN:
        out->value.bool_value = *static_cast<const uint32_t*>(pointer) ? 1 : 0;
        return true;
    case DBUS_TYPE_INT16:
        out->value.int16_value = *static_cast<const int16_t*>(pointer);
        return true;
    case DBUS_TYPE_UINT16:
        out->value.uint16_value = *static_cast<const uint16_t*>(pointer);
        return true;
    case DBUS_TYPE_INT32:
        out->value.int32_value = *static_cast<const int32_t*>(pointer);
        return true;
    case DBUS_TYPE_UINT32:
        out->value.uint32_value = *static_cast<const uint32_t*>(pointer);
        return true;
    case DBUS_TYPE_INT64:
        out->value.int64_value = *static_cast<const int64_t*>(pointer);
        return true;
    case DBUS_TYPE_UINT64:
        out->value.uint64_value = *static_cast<const uint64_t*>(pointer);
        return true;
    case DBUS_TYPE_DOUBLE:
        out->value.double_value = *static_cast<const double*>(pointer);
        return true;
    case DBUS_TYPE_STRING: {
        const char* text = *static_cast<const char* const*>(pointer);
        if (!text) {
            return false;
        }
        out->value.string_value = copy(text);
        return out->value.string_value != nullptr;
    }
    default:
        return false;
    }
}

} // namespace

extern "C" {

alarm_event_t* alarm_event_create(void) {
    auto* event = static_cast<alarm_event_t*>(calloc(1, sizeof(alarm_event_t)));
    if (!event) {
        return nullptr;
    }
    event->alarm_time = -1;
    event->alarm_tm.tm_sec = 0;
    event->alarm_tm.tm_min = -1;
    event->alarm_tm.tm_hour = -1;
    event->alarm_tm.tm_mday = -1;
    event->alarm_tm.tm_mon = -1;
    event->alarm_tm.tm_year = -1;
    event->alarm_tm.tm_wday = -1;
    event->alarm_tm.tm_yday = -1;
    event->alarm_tm.tm_isdst = -1;
    event->response = -1;
    return event;
}

void alarm_event_delete(alarm_event_t* event) {
    if (!event) {
        return;
    }
    free(event->title);
    free(event->message);
    free(event->sound);
    free(event->icon);
    free(event->alarm_appid);
    free(event->alarm_tz);
    for (size_t i = 0; i < event->action_cnt; ++i) {
        clearAction(&event->action_tab[i]);
    }
    free(event->action_tab);
    for (size_t i = 0; i < event->attr_cnt; ++i) {
        freeAttr(event->attr_tab[i]);
    }
    free(event->attr_tab);
    free(event);
}

void alarm_event_set_alarm_appid(alarm_event_t* event, const char* appid) {
    if (event) {
        replace(&event->alarm_appid, appid);
    }
}

const char* alarm_event_get_alarm_appid(const alarm_event_t* event) {
    return event ? orEmpty(event->alarm_appid) : "";
}

void alarm_event_set_title(alarm_event_t* event, const char* title) {
    if (event) {
        replace(&event->title, title);
    }
}

const char* alarm_event_get_title(const alarm_event_t* event) {
    return event ? orEmpty(event->title) : "";
}

void alarm_event_set_message(alarm_event_t* event, const char* message) {
    if (event) {
        replace(&event->message, message);
    }
}

const char* alarm_event_get_message(const alarm_event_t* event) {
    return event ? orEmpty(event->message) : "";
}

void alarm_event_set_sound(alarm_event_t* event, const char* sound) {
    if (event) {
        replace(&event->sound, sound);
    }
}

const char* alarm_event_get_sound(const alarm_event_t* event) {
    return event ? orEmpty(event->sound) : "";
}

void alarm_event_set_icon(alarm_event_t* event, const char* icon) {
    if (event) {
        replace(&event->icon, icon);
    }
}

const char* alarm_event_get_icon(const alarm_event_t* event) {
    return event ? orEmpty(event->icon) : "";
}

void alarm_event_set_alarm_tz(alarm_event_t* event, const char* tz) {
    if (event) {
        replace(&event->alarm_tz, tz);
    }
}

const char* alarm_event_get_alarm_tz(const alarm_event_t* event) {
    return event ? orEmpty(event->alarm_tz) : "";
}

void alarm_event_set_time(alarm_event_t* event, const struct tm* tm) {
    if (!event || !tm) {
        return;
    }
    event->alarm_tm = *tm;
    event->alarm_time = -1;
}

void alarm_event_get_time(const alarm_event_t* event, struct tm* tm) {
    if (event && tm) {
        *tm = event->alarm_tm;
    }
}

alarm_action_t* alarm_event_add_actions(alarm_event_t* event, size_t count) {
    if (!event || count == 0) {
        return nullptr;
    }
    auto* table = static_cast<alarm_action_t*>(
        realloc(event->action_tab, (event->action_cnt + count) * sizeof(alarm_action_t)));
    if (!table) {
        return nullptr;
    }
    alarm_action_t* first = table + event->action_cnt;
    memset(first, 0, count * sizeof(alarm_action_t));
    event->action_tab = table;
    event->action_cnt += count;
    return first;
}

size_t alarm_event_get_action_count(const alarm_event_t* event) {
    return event ? event->action_cnt : 0;
}

alarm_action_t* alarm_event_get_action(const alarm_event_t* event, int index) {
    if (!event || index < 0 || static_cast<size_t>(index) >= event->action_cnt) {
        return nullptr;
    }
    return &event->action_tab[index];
}

void alarm_event_set_attr_int(alarm_event_t* event, const char* name, int value) {
    if (alarm_attr_t* attr = freshAttr(event, name)) {
        attr->attr_type = ALARM_ATTR_INT;
        attr->attr_data.ival = value;
    }
}

int alarm_event_get_attr_int(const alarm_event_t* event, const char* name, int def) {
    const alarm_attr_t* attr = findAttr(event, name);
    return attr && attr->attr_type == ALARM_ATTR_INT ? attr->attr_data.ival : def;
}

void alarm_event_set_attr_time(alarm_event_t* event, const char* name, time_t value) {
    if (alarm_attr_t* attr = freshAttr(event, name)) {
        attr->attr_type = ALARM_ATTR_TIME;
        attr->attr_data.tval = value;
    }
}

time_t alarm_event_get_attr_time(const alarm_event_t* event, const char* name, time_t def) {
    const alarm_attr_t* attr = findAttr(event, name);
    return attr && attr->attr_type == ALARM_ATTR_TIME ? attr->attr_data.tval : def;
}

void alarm_event_set_attr_string(alarm_event_t* event, const char* name, const char* value) {
    if (alarm_attr_t* attr = freshAttr(event, name)) {
        attr->attr_data.sval = copy(orEmpty(value));
        attr->attr_type = attr->attr_data.sval ? ALARM_ATTR_STRING : ALARM_ATTR_NULL;
    }
}

const char* alarm_event_get_attr_string(const alarm_event_t* event, const char* name,
                                        const char* def) {
    const alarm_attr_t* attr = findAttr(event, name);
    return attr && attr->attr_type == ALARM_ATTR_STRING ? attr->attr_data.sval : def;
}

int alarm_event_has_attr(const alarm_event_t* event, const char* name) {
    const alarm_attr_t* attr = findAttr(event, name);
    return attr && attr->attr_type != ALARM_ATTR_NULL;
}

void alarm_action_set_label(alarm_action_t* action, const char* label) {
    if (action) {
        replace(&action->label, label);
    }
}

const char* alarm_action_get_label(const alarm_action_t* action) {
    return action ? orEmpty(action->label) : "";
}

void alarm_action_set_exec_command(alarm_action_t* action, const char* command) {
    if (action) {
        replace(&action->exec_command, command);
    }
}

const char* alarm_action_get_exec_command(const alarm_action_t* action) {
    return action ? orEmpty(action->exec_command) : "";
}

void alarm_action_set_dbus_service(alarm_action_t* action, const char* service) {
    if (action) {
        replace(&action->dbus_service, service);
    }
}

const char* alarm_action_get_dbus_service(const alarm_action_t* action) {
    return action ? orEmpty(action->dbus_service) : "";
}

void alarm_action_set_dbus_path(alarm_action_t* action, const char* path) {
    if (action) {
        replace(&action->dbus_path, path);
    }
}

const char* alarm_action_get_dbus_path(const alarm_action_t* action) {
    return action ? orEmpty(action->dbus_path) : "";
}

void alarm_action_set_dbus_interface(alarm_action_t* action, const char* interface) {
    if (action) {
        replace(&action->dbus_interface, interface);
    }
}

const char* alarm_action_get_dbus_interface(const alarm_action_t* action) {
    return action ? orEmpty(action->dbus_interface) : "";
}

void alarm_action_set_dbus_name(alarm_action_t* action, const char* name) {
    if (action) {
        replace(&action->dbus_name, name);
    }
}

const char* alarm_action_get_dbus_name(const alarm_action_t* action) {
    return action ? orEmpty(action->dbus_name) : "";
}

int alarm_action_set_dbus_args(alarm_action_t* action, int type, ...) {
    if (!action) {
        return -1;
    }
    // Two passes: count first, so a bad pair leaves the action untouched.
    size_t count = 0;
    va_list args;
    va_start(args, type);
    for (int t = type; t != DBUS_TYPE_INVALID; t = va_arg(args, int)) {
        va_arg(args, void*);
        ++count;
    }
    va_end(args);

    auto* table = static_cast<alarm_dbus_arg_t*>(calloc(count + 1, sizeof(alarm_dbus_arg_t)));
    if (!table) {
        return -1;
    }
    va_start(args, type);
    size_t filled = 0;
    bool ok = true;
    for (int t = type; t != DBUS_TYPE_INVALID; t = va_arg(args, int)) {
        void* pointer = va_arg(args, void*);
        if (!readArg(t, pointer, &table[filled])) {
            table[filled].type = DBUS_TYPE_INVALID;
            ok = false;
            break;
        }
        ++filled;
    }
    va_end(args);
    if (!ok) {
        clearArgs(table);
        return -1;
    }
    clearArgs(action->dbus_args);
    action->dbus_args = count ? table : nullptr;
    if (!count) {
        free(table);
    }
    return 0;
}

void alarm_action_del_dbus_args(alarm_action_t* action) {
    if (action) {
        clearArgs(action->dbus_args);
        action->dbus_args = nullptr;
    }
}

size_t alarm_action_get_dbus_args_count(const alarm_action_t* action) {
    size_t count = 0;
    if (action && action->dbus_args) {
        while (action->dbus_args[count].type != DBUS_TYPE_INVALID) {
            ++count;
        }
    }
    return count;
}

const alarm_dbus_arg_t* alarm_action_get_dbus_arg(const alarm_action_t* action, int index) {
    if (index < 0 || static_cast<size_t>(index) >= alarm_action_get_dbus_args_count(action)) {
        return nullptr;
    }
    return &action->dbus_args[index];
}

int alarm_action_is_button(const alarm_action_t* action) {
    return action && action->label && action->label[0] != '\0' &&
           (action->flags & ALARM_ACTION_WHEN_RESPONDED) != 0;
}

} // extern "C"
