#include "buslink.h"

BusLink::BusLink(const QDBusConnection& bus, QObject* parent)
    : QDBusAbstractInterface(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                             "org.freedesktop.DBus.Local", bus, parent) {}
