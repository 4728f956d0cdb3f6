#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

struct AlarmEvent;

// Turns events into the bus dictionary (a{sv}) and the stored JSON, and back.
class EventCodec {
public:
    // The event of a client's dictionary; nullopt with `error` set for a key
    // of the wrong type or unknown. "cookie" and "trigger" are ignored.
    static std::optional<AlarmEvent> fromDBus(const QVariantMap& map, QString* error);
    static QVariantMap toDBus(const AlarmEvent& event);

    // The stored form keeps the daemon's state too; the cookie is the row's key.
    static QByteArray toJson(const AlarmEvent& event);
    static std::optional<AlarmEvent> fromJson(const QByteArray& json, qint64 cookie);

    // Makes the bus types of events known to Qt D-Bus (aa{sv}); call before using the bus.
    static void registerDBusTypes();
};
