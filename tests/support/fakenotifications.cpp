#include "fakenotifications.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>

FakeNotifications::FakeNotifications(const QDBusConnection& bus, QObject* parent)
    : QDBusVirtualObject(parent)
    , bus_(bus) {}

FakeNotifications::~FakeNotifications() {
    release();
}

bool FakeNotifications::serve() {
    if (serving_) {
        return true;
    }
    if (!bus_.isConnected() || !bus_.registerVirtualObject(QLatin1String(path), this)) {
        return false;
    }
    if (!bus_.registerService(QLatin1String(service))) {
        bus_.unregisterObject(QLatin1String(path));
        return false;
    }
    serving_ = true;
    return true;
}

bool FakeNotifications::serveNext() {
    if (serving_) {
        return true;
    }
    QDBusConnectionInterface* daemon = bus_.isConnected() ? bus_.interface() : nullptr;
    if (daemon == nullptr || !bus_.registerVirtualObject(QLatin1String(path), this)) {
        return false;
    }
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        daemon->registerService(QLatin1String(service), QDBusConnectionInterface::QueueService,
                                QDBusConnectionInterface::AllowReplacement);
    if (!reply.isValid() || reply.value() == QDBusConnectionInterface::ServiceNotRegistered) {
        bus_.unregisterObject(QLatin1String(path));
        return false;
    }
    serving_ = true;
    return true;
}

void FakeNotifications::release() {
    if (!serving_) {
        return;
    }
    serving_ = false;
    if (bus_.isConnected()) {
        bus_.unregisterService(QLatin1String(service));
    }
    bus_.unregisterObject(QLatin1String(path));
}

FakeNotifications::Notification FakeNotifications::lastNotification() const {
    return notifications_.isEmpty() ? Notification() : notifications_.last();
}

void FakeNotifications::clear() {
    notifications_.clear();
    closeRequests_.clear();
}

void FakeNotifications::invokeAction(uint id, const QString& key) {
    sendSignal(QStringLiteral("ActionInvoked"), {QVariant::fromValue(id), key});
}

void FakeNotifications::closeNotification(uint id, uint reason) {
    open_.remove(id);
    sendSignal(QStringLiteral("NotificationClosed"),
               {QVariant::fromValue(id), QVariant::fromValue(reason)});
}

void FakeNotifications::sendSignal(const QString& name, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createSignal(QLatin1String(path), QLatin1String(interfaceName), name);
    message.setArguments(arguments);
    bus_.send(message);
}

QString FakeNotifications::introspect(const QString&) const {
    return QString();
}

bool FakeNotifications::handleMessage(const QDBusMessage& message,
                                      const QDBusConnection& connection) {
    if (message.type() != QDBusMessage::MethodCallMessage ||
        message.interface() != QLatin1String(interfaceName)) {
        return false;
    }
    const QList<QVariant> arguments = message.arguments();
    const QString member = message.member();
    if (member == QLatin1String("Notify") &&
        message.signature() == QLatin1String("susssasa{sv}i")) {
        Notification notification;
        notification.appName = arguments.at(0).toString();
        notification.replacesId = arguments.at(1).toUInt();
        notification.appIcon = arguments.at(2).toString();
        notification.summary = arguments.at(3).toString();
        notification.body = arguments.at(4).toString();
        notification.actions = arguments.at(5).toStringList();
        notification.hints = qdbus_cast<QVariantMap>(arguments.at(6));
        notification.expireTimeout = arguments.at(7).toInt();
        switch (mode_) {
        case Mode::Answer:
            notification.id =
                notification.replacesId != 0 && open_.contains(notification.replacesId)
                    ? notification.replacesId
                    : ++lastId_;
            open_.insert(notification.id);
            notifications_.append(notification);
            connection.send(message.createReply(QVariant::fromValue(notification.id)));
            break;
        case Mode::NeverAnswer:
            // No reply at all: Qt sends none for a virtual object that says it handled the call.
            notifications_.append(notification);
            break;
        case Mode::WrongType:
            notifications_.append(notification);
            connection.send(message.createReply(wrongReply_));
            break;
        case Mode::Refuse:
            notifications_.append(notification);
            connection.send(message.createErrorReply(QStringLiteral("org.example.Error.Refused"),
                                                     QStringLiteral("refused")));
            break;
        }
        Q_EMIT notified(notification.id);
        return true;
    }
    if (member == QLatin1String("CloseNotification") && message.signature() == QLatin1String("u")) {
        const uint id = arguments.at(0).toUInt();
        closeRequests_.append(id);
        connection.send(message.createReply());
        if (open_.contains(id)) {
            open_.remove(id);
            if (signalsClosing_) {
                closeNotification(id, 3);
            }
        }
        Q_EMIT closeRequested(id);
        return true;
    }
    if (member == QLatin1String("GetCapabilities")) {
        connection.send(message.createReply(
            QStringList{QStringLiteral("actions"), QStringLiteral("body"),
                        QStringLiteral("body-markup"), QStringLiteral("persistence")}));
        return true;
    }
    if (member == QLatin1String("GetServerInformation")) {
        connection.send(message.createReply({QStringLiteral("fake"), QStringLiteral("Pardo tests"),
                                             QStringLiteral("1"), QStringLiteral("1.2")}));
        return true;
    }
    connection.send(message.createErrorReply(
        QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"), member));
    return true;
}
