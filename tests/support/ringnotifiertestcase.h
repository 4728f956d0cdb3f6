#pragma once

#include <QObject>
#include <QString>

#include <memory>

#include "fakenotifications.h"
#include "ringnotifier.h"
#include "ringrequest.h"

// What the notification tests share: a fake notification service on a connection of its
// own for each test function, and a notifier that talks to it.
class RingNotifierTestCase : public QObject {
public:
    RingNotifierTestCase();
    ~RingNotifierTestCase() override;

protected:
    // For init() and cleanup().
    void init();
    void cleanup();

    // A dentist's appointment due 2024-03-30 12:30 UTC; the tests run in UTC and the C
    // locale, whose short time is "12:30:00".
    static RingRequest dentist(qint64 cookie,
                               const QString& message = QStringLiteral("Bring the card"));

    // Connects a fresh fake service to the bus on a connection of its own.
    void startService();
    void stopService();
    // Shows `request` and waits until the service has given it an id.
    uint showAndWait(const RingRequest& request);
    // Returns once everything the service has sent so far has reached the notifier:
    // a ring of its own is shown and closed, and the service's signals keep their order.
    void flush();

    QString serviceConnection;
    std::unique_ptr<FakeNotifications> fake;
    std::unique_ptr<RingNotifier> notifier;
    qint64 flushCookie = 1000000;
};
