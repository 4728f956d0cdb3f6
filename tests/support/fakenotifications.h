#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QList>
#include <QSet>
#include <QStringList>
#include <QVariantMap>

// A desktop notification service for tests: owns "org.freedesktop.Notifications"
// on the connection it is given, keeps every Notify and CloseNotification, and
// sends the service's signals when a test says so. It can also misbehave: never
// answer Notify, or answer it with the wrong type.
class FakeNotifications : public QDBusVirtualObject {
    Q_OBJECT
public:
    enum class Mode {
        Answer,
        // The reply is held back for ever; the caller has to give up on its own.
        NeverAnswer,
        // Another reply than one unsigned id: the arguments setWrongReply() gives.
        WrongType,
        // An error reply.
        Refuse,
    };
    Q_ENUM(Mode)

    struct Notification {
        uint id = 0;
        QString appName;
        uint replacesId = 0;
        QString appIcon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int expireTimeout = 0;
    };

    static constexpr const char* service = "org.freedesktop.Notifications";
    static constexpr const char* path = "/org/freedesktop/Notifications";
    static constexpr const char* interfaceName = "org.freedesktop.Notifications";

    explicit FakeNotifications(const QDBusConnection& bus, QObject* parent = nullptr);
    ~FakeNotifications() override;

    // Takes the name and the object; false when the name is taken or the bus is gone.
    bool serve();
    // Takes the object and waits in line for the name, which it gets when its owner leaves.
    bool serveNext();
    // Gives them up again, as a service that quits.
    void release();
    bool isServing() const { return serving_; }

    void setMode(Mode mode) { mode_ = mode; }
    // What WrongType answers: by default a string that reads as an id.
    void setWrongReply(const QVariantList& arguments) { wrongReply_ = arguments; }
    // Whether CloseNotification is followed by NotificationClosed(id, 3), as real servers do.
    void setSignalsClosing(bool enabled) { signalsClosing_ = enabled; }

    // Every Notify in the order it came, with the id it was given (0 when not answered).
    QList<Notification> notifications() const { return notifications_; }
    Notification lastNotification() const;
    // The ids CloseNotification was called with, in order.
    QList<uint> closeRequests() const { return closeRequests_; }
    // Notifications on screen: shown and not closed yet.
    QSet<uint> openIds() const { return open_; }
    void clear();

    // The signals of the service, sent from its connection.
    void invokeAction(uint id, const QString& key);
    void closeNotification(uint id, uint reason);

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    void notified(uint id);
    void closeRequested(uint id);

private:
    void sendSignal(const QString& name, const QVariantList& arguments);

    QDBusConnection bus_;
    Mode mode_ = Mode::Answer;
    QVariantList wrongReply_{QStringLiteral("7")};
    bool signalsClosing_ = true;
    bool serving_ = false;
    uint lastId_ = 0;
    QList<Notification> notifications_;
    QList<uint> closeRequests_;
    QSet<uint> open_;
};
