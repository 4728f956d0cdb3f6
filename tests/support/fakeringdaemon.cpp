#include "fakeringdaemon.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace {

const QString objectPath = QStringLiteral("/org/velmar/alarmd");

} // namespace

FakeRingDaemon::FakeRingDaemon(const QString& service)
    : service_(service)
    , connectionName_(QStringLiteral("fakeRingDaemon-") + service) {
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName_);
    serving_ = bus.registerService(service_) && bus.registerVirtualObject(objectPath, this);
}

FakeRingDaemon::~FakeRingDaemon() {
    QDBusConnection bus(connectionName_);
    bus.unregisterObject(objectPath);
    bus.unregisterService(service_);
    QDBusConnection::disconnectFromBus(connectionName_);
}

QString FakeRingDaemon::introspect(const QString&) const {
    return QStringLiteral("<interface name=\"org.velmar.alarmd\"><method name=\"respond\">"
                          "<arg name=\"cookie\" type=\"x\" direction=\"in\"/>"
                          "<arg name=\"actionIndex\" type=\"i\" direction=\"in\"/>"
                          "<arg type=\"b\" direction=\"out\"/></method></interface>");
}

bool FakeRingDaemon::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.interface() != QLatin1String("org.velmar.alarmd") ||
        message.member() != QLatin1String("respond") || message.signature() != "xi") {
        return false;
    }
    calls_.append({message.arguments().at(0).toLongLong(), message.arguments().at(1).toInt()});
    if (!silent_) {
        connection.send(message.createReply(QVariant(true)));
    }
    return true;
}
