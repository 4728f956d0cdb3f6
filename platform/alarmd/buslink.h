#pragma once

#include <QDBusAbstractInterface>

// The local end of a bus connection: libdbus reports there, as the signal
// Disconnected, that the bus went away (the session ended), so the daemon
// can end with its session instead of lingering without a bus.
class BusLink : public QDBusAbstractInterface {
    Q_OBJECT
public:
    explicit BusLink(const QDBusConnection& bus, QObject* parent = nullptr);

Q_SIGNALS:
    // Named as on the bus, which is how Qt D-Bus routes it here.
    void Disconnected();
};
