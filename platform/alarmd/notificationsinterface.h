#pragma once

#include <QDBusAbstractInterface>

// The desktop's notification service as a proxy whose signals are only those
// of the current owner of its name: Qt filters relayed signals by the owner,
// so another client that sends a signal with this interface is not heard.
class NotificationsInterface : public QDBusAbstractInterface {
    Q_OBJECT
public:
    static constexpr const char* service = "org.freedesktop.Notifications";
    static constexpr const char* path = "/org/freedesktop/Notifications";
    static constexpr const char* interfaceName = "org.freedesktop.Notifications";

    explicit NotificationsInterface(const QDBusConnection& bus, QObject* parent = nullptr);

Q_SIGNALS:
    // Named as on the bus, which is how Qt D-Bus routes them here.
    void ActionInvoked(uint id, const QString& actionKey);
    void NotificationClosed(uint id, uint reason);
};
