#include <alarmd/libalarm.h>

#include <dbus/dbus.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "codec.h"
#include "eventlimits.h"

namespace {

const char* const service = "org.velmar.alarmd";
const char* const objectPath = "/org/velmar/alarmd";
const char* const interfaceName = "org.velmar.alarmd";
// Long enough for the bus to start the daemon, short enough not to freeze a caller.
const int callTimeoutMs = 5000;

// One private connection per process, opened on first use and again whenever
// the session bus address changes or the bus went away.
std::mutex connectionMutex;
DBusConnection* connection = nullptr;
std::string connectionAddress;

// The daemon could not keep a change: the caller gets its failure return, and
// the user the reason, once per distinct reason rather than once per call.
const char* const storageErrorName = "org.velmar.alarmd.Error.Storage";
std::set<std::string> reportedErrors;

void reportStorageError(const DBusError& error) {
    if (!dbus_error_has_name(&error, storageErrorName)) {
        return;
    }
    const std::string message = error.message ? error.message : "";
    if (reportedErrors.size() < 16 && reportedErrors.insert(message).second) {
        std::fprintf(stderr, "libalarm: %s\n", message.c_str());
    }
}

void dropConnection() {
    if (connection) {
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
        connection = nullptr;
    }
}

// The bus registration of dbus_bus_register, but bounded by our own timeout.
bool sayHello(DBusConnection* bus) {
    DBusMessage* hello = dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                      DBUS_INTERFACE_DBUS, "Hello");
    if (!hello) {
        return false;
    }
    DBusError error;
    dbus_error_init(&error);
    DBusMessage* reply =
        dbus_connection_send_with_reply_and_block(bus, hello, callTimeoutMs, &error);
    dbus_message_unref(hello);
    dbus_error_free(&error);
    if (!reply) {
        return false;
    }
    const char* name = nullptr;
    const bool ok =
        dbus_message_get_args(reply, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID) &&
        dbus_bus_set_unique_name(bus, name);
    dbus_message_unref(reply);
    return ok;
}

DBusConnection* currentConnection() {
    static std::once_flag threads;
    std::call_once(threads, [] { dbus_threads_init_default(); });

    const char* variable = getenv("DBUS_SESSION_BUS_ADDRESS");
    const std::string address = variable ? variable : "";
    if (connection &&
        (address != connectionAddress || !dbus_connection_get_is_connected(connection))) {
        dropConnection();
    }
    if (connection) {
        return connection;
    }
    DBusError error;
    dbus_error_init(&error);
    DBusConnection* bus = nullptr;
    if (address.empty()) {
        // No address: let libdbus find the session bus as it usually does.
        bus = dbus_bus_get_private(DBUS_BUS_SESSION, &error);
    } else {
        bus = dbus_connection_open_private(address.c_str(), &error);
        if (bus && !sayHello(bus)) {
            dbus_connection_close(bus);
            dbus_connection_unref(bus);
            bus = nullptr;
        }
    }
    dbus_error_free(&error);
    if (!bus) {
        return nullptr;
    }
    dbus_connection_set_exit_on_disconnect(bus, FALSE);
    connection = bus;
    connectionAddress = address;
    return connection;
}

// Sends `call` (consumed) to the daemon; the reply, or null on any failure.
DBusMessage* callDaemon(DBusMessage* call) {
    if (!call) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(connectionMutex);
    DBusConnection* bus = currentConnection();
    if (!bus) {
        dbus_message_unref(call);
        return nullptr;
    }
    DBusError error;
    dbus_error_init(&error);
    DBusMessage* reply =
        dbus_connection_send_with_reply_and_block(bus, call, callTimeoutMs, &error);
    dbus_message_unref(call);
    reportStorageError(error);
    dbus_error_free(&error);
    // Nobody reads the signals the bus sends us; do not let them pile up.
    while (DBusMessage* stray = dbus_connection_pop_message(bus)) {
        dbus_message_unref(stray);
    }
    if (!dbus_connection_get_is_connected(bus)) {
        dropConnection();
    }
    return reply;
}

DBusMessage* newCall(const char* method) {
    return dbus_message_new_method_call(service, objectPath, interfaceName, method);
}

} // namespace

extern "C" {

cookie_t alarmd_event_add(const alarm_event_t* event) {
    if (!event) {
        return 0;
    }
    const std::string breach = alarm_limits::breach(event);
    if (!breach.empty()) {
        fprintf(stderr, "libalarm: alarmd_event_add: the daemon would refuse this event: %s\n",
                breach.c_str());
        return 0;
    }
    DBusMessage* call = newCall("add_event");
    if (!call) {
        return 0;
    }
    DBusMessageIter iter;
    dbus_message_iter_init_append(call, &iter);
    if (!alarm_codec::appendEvent(&iter, event)) {
        dbus_message_unref(call);
        return 0;
    }
    DBusMessage* reply = callDaemon(call);
    if (!reply) {
        return 0;
    }
    dbus_int64_t cookie = 0;
    if (!dbus_message_get_args(reply, nullptr, DBUS_TYPE_INT64, &cookie, DBUS_TYPE_INVALID)) {
        cookie = 0;
    }
    dbus_message_unref(reply);
    return cookie > 0 ? static_cast<cookie_t>(cookie) : 0;
}

int alarmd_event_del(cookie_t cookie) {
    DBusMessage* call = newCall("del_event");
    const dbus_int64_t wire = cookie;
    if (!call || !dbus_message_append_args(call, DBUS_TYPE_INT64, &wire, DBUS_TYPE_INVALID)) {
        if (call) {
            dbus_message_unref(call);
        }
        return -1;
    }
    DBusMessage* reply = callDaemon(call);
    if (!reply) {
        return -1;
    }
    dbus_bool_t deleted = FALSE;
    if (!dbus_message_get_args(reply, nullptr, DBUS_TYPE_BOOLEAN, &deleted, DBUS_TYPE_INVALID)) {
        deleted = FALSE;
    }
    dbus_message_unref(reply);
    return deleted ? 0 : -1;
}

alarm_event_t* alarmd_event_get(cookie_t cookie) {
    DBusMessage* call = newCall("get_event");
    const dbus_int64_t wire = cookie;
    if (!call || !dbus_message_append_args(call, DBUS_TYPE_INT64, &wire, DBUS_TYPE_INVALID)) {
        if (call) {
            dbus_message_unref(call);
        }
        return nullptr;
    }
    DBusMessage* reply = callDaemon(call);
    if (!reply) {
        return nullptr;
    }
    alarm_event_t* event = nullptr;
    DBusMessageIter iter;
    if (dbus_message_get_type(reply) == DBUS_MESSAGE_TYPE_METHOD_RETURN &&
        dbus_message_iter_init(reply, &iter)) {
        event = alarm_codec::readEvent(&iter);
    }
    dbus_message_unref(reply);
    return event;
}

cookie_t* alarmd_event_query(time_t first, time_t last, int32_t flag_mask, int32_t flags,
                             const char* appid) {
    DBusMessage* call = newCall("query_event");
    const dbus_int64_t wireFirst = first;
    const dbus_int64_t wireLast = last;
    const dbus_uint32_t wireMask = static_cast<uint32_t>(flag_mask);
    const dbus_uint32_t wireFlags = static_cast<uint32_t>(flags);
    const char* wireAppid = appid ? appid : "";
    if (!call || !dbus_validate_utf8(wireAppid, nullptr) ||
        !dbus_message_append_args(call, DBUS_TYPE_INT64, &wireFirst, DBUS_TYPE_INT64, &wireLast,
                                  DBUS_TYPE_UINT32, &wireMask, DBUS_TYPE_UINT32, &wireFlags,
                                  DBUS_TYPE_STRING, &wireAppid, DBUS_TYPE_INVALID)) {
        if (call) {
            dbus_message_unref(call);
        }
        return nullptr;
    }
    DBusMessage* reply = callDaemon(call);
    if (!reply) {
        return nullptr;
    }
    dbus_int64_t* cookies = nullptr;
    int count = 0;
    cookie_t* result = nullptr;
    if (dbus_message_get_args(reply, nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_INT64, &cookies, &count,
                              DBUS_TYPE_INVALID)) {
        result = static_cast<cookie_t*>(calloc(static_cast<size_t>(count) + 1, sizeof(cookie_t)));
        for (int i = 0; result && i < count; ++i) {
            result[i] = static_cast<cookie_t>(cookies[i]);
        }
    }
    dbus_message_unref(reply);
    return result;
}

} // extern "C"
