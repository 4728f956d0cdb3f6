#include "notificationsinterface.h"

NotificationsInterface::NotificationsInterface(const QDBusConnection& bus, QObject* parent)
    : QDBusAbstractInterface(QLatin1String(service), QLatin1String(path), interfaceName, bus,
                             parent) {}
