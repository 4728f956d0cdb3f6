#include "fakesystemd.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QVariantMap>

namespace {
const QString service = QStringLiteral("org.freedesktop.systemd1");
const QString path = QStringLiteral("/org/freedesktop/systemd1");
const QString managerInterface = QStringLiteral("org.freedesktop.systemd1.Manager");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString environmentProperty = QStringLiteral("Environment");
} // namespace

FakeSystemd::FakeSystemd(const QDBusConnection& connection, QObject* parent)
    : QDBusVirtualObject(parent)
    , bus(connection) {
    registered = bus.registerVirtualObject(path, this) && bus.registerService(service);
}

FakeSystemd::~FakeSystemd() {
    bus.unregisterService(service);
    bus.unregisterObject(path);
}

QString FakeSystemd::introspect(const QString&) const {
    return QStringLiteral("<interface name=\"org.freedesktop.systemd1.Manager\">"
                          "<property name=\"Environment\" type=\"as\" access=\"read\"/>"
                          "</interface>");
}

bool FakeSystemd::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.interface() != propertiesInterface) {
        return false;
    }
    const QList<QVariant> arguments = message.arguments();
    const bool get = message.member() == QLatin1String("Get") && arguments.size() == 2 &&
                     arguments.at(0).toString() == managerInterface &&
                     arguments.at(1).toString() == environmentProperty;
    const bool getAll = message.member() == QLatin1String("GetAll") && arguments.size() == 1 &&
                        arguments.at(0).toString() == managerInterface;
    if (!get && !getAll) {
        connection.send(message.createErrorReply(
            QStringLiteral("org.freedesktop.DBus.Error.UnknownProperty"),
            QStringLiteral("only Environment of %1 is served here").arg(managerInterface)));
        return true;
    }
    ++asked;
    Q_EMIT questioned();
    if (mode_ == Mode::NeverAnswers) {
        return true;
    }
    const QVariant value =
        mode_ == Mode::WrongType ? QVariant(assignments_.value(0)) : QVariant(assignments_);
    if (get) {
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
    } else {
        connection.send(message.createReply(QVariantMap{{environmentProperty, value}}));
    }
    return true;
}
