#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>

#include "ringrequest.h"

class NotificationsInterface;
class QDBusMessage;
class QDBusServiceWatcher;

// Shows rings as notifications of the desktop's notification service, for
// sessions without a display of their own: persistent, critical, with the
// event's buttons as actions. Every call to the service is asynchronous, so a
// service that hangs or answers nonsense costs a ring, never the daemon.
class RingNotifier : public QObject {
    Q_OBJECT
public:
    explicit RingNotifier(const QDBusConnection& bus, QObject* parent = nullptr);
    ~RingNotifier() override;

    // A notification service owns "org.freedesktop.Notifications" on the bus now.
    bool isAvailable() const;
    // Shows the ring as a notification; replaces the one of the same cookie.
    void show(const RingRequest& request);
    // Closes the cookie's notification without answering (answered elsewhere, deleted).
    void withdraw(qint64 cookie);
    // From show() until the ring is answered, withdrawn or has failed.
    bool isShowing(qint64 cookie) const;

    // How long the service may take to answer Notify.
    static constexpr int replyTimeoutMs = 5000;

Q_SIGNALS:
    void availableChanged(bool available);
    // Notify answered with an id.
    void shown(qint64 cookie);
    void answered(qint64 cookie, int actionIndex);
    // Notify failed or got no answer in time, or the service went away while
    // the ring was out (the caller shows the ring another way or waits).
    void failed(qint64 cookie);

private:
    struct Ring {
        RingRequest request;
        // The service's id for it, 0 until Notify has answered.
        uint id = 0;
        // The Notify call whose answer counts, 0 when none is out.
        quint64 call = 0;
    };

    void ownerChanged(const QString& newOwner);
    void notifyAnswered(qint64 cookie, quint64 call, quint64 epoch, const QDBusMessage& reply);
    void actionInvoked(uint id, const QString& key);
    void notificationClosed(uint id);
    void close(uint id);

    QDBusConnection bus_;
    QDBusServiceWatcher* watcher_ = nullptr;
    NotificationsInterface* notifications_ = nullptr;
    QString owner_;
    // Counts owners, so that a late answer of a service gone is not taken for one of the next.
    quint64 epoch_ = 0;
    quint64 lastCall_ = 0;
    QHash<qint64, Ring> rings_;
    QHash<uint, qint64> cookieById_;
};
