#include "busrecorder.h"

#include <QDBusMessage>

BusRecorder::BusRecorder()
    : connectionName_(QStringLiteral("recorder-%1").arg(quintptr(this))) {
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName_);
    serving_ = bus.isConnected() && bus.registerService(QLatin1String(service)) &&
               bus.registerVirtualObject(QLatin1String(path), this, QDBusConnection::SubPath);
}

BusRecorder::~BusRecorder() {
    {
        QDBusConnection bus(connectionName_);
        bus.unregisterObject(QLatin1String(path));
        bus.unregisterService(QLatin1String(service));
    }
    QDBusConnection::disconnectFromBus(connectionName_);
}

QString BusRecorder::introspect(const QString&) const {
    return QString();
}

bool BusRecorder::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    calls_.append({message.path(), message.interface(), message.member(), message.arguments()});
    connection.send(message.createReply());
    Q_EMIT called();
    return true;
}

QList<BusRecorder::Call> BusRecorder::callsTo(const QString& objectPath) const {
    QList<Call> found;
    for (const Call& call : calls_) {
        if (call.path == objectPath) {
            found.append(call);
        }
    }
    return found;
}
