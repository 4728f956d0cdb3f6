#include "ringnotifiertestcase.h"

#include <QSignalSpy>
#include <QtTest>

#include <algorithm>

RingNotifierTestCase::RingNotifierTestCase() = default;
RingNotifierTestCase::~RingNotifierTestCase() = default;

RingRequest RingNotifierTestCase::dentist(qint64 cookie, const QString& message) {
    RingRequest request;
    request.cookie = cookie;
    request.title = QStringLiteral("Dentist");
    request.trigger = 1711801800;
    request.message = message;
    request.snoozeSecs = 600;
    request.buttons = {{0, QStringLiteral("Stop"), false}, {1, QStringLiteral("Snooze"), true}};
    return request;
}

void RingNotifierTestCase::init() {
    startService();
    notifier = std::make_unique<RingNotifier>(QDBusConnection::sessionBus());
    QVERIFY(notifier->isAvailable());
}

void RingNotifierTestCase::cleanup() {
    notifier.reset();
    stopService();
}

void RingNotifierTestCase::startService() {
    static int count = 0;
    serviceConnection = QStringLiteral("notifications-%1").arg(++count);
    fake = std::make_unique<FakeNotifications>(
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, serviceConnection));
    QVERIFY(fake->serve());
}

void RingNotifierTestCase::stopService() {
    fake.reset();
    QDBusConnection::disconnectFromBus(serviceConnection);
}

uint RingNotifierTestCase::showAndWait(const RingRequest& request) {
    QSignalSpy shown(notifier.get(), &RingNotifier::shown);
    notifier->show(request);
    const auto isShown = [&] {
        return std::any_of(shown.cbegin(), shown.cend(), [&](const QVariantList& arguments) {
            return arguments.first().toLongLong() == request.cookie;
        });
    };
    [&] {
        QTRY_VERIFY(isShown());
    }();
    const QList<FakeNotifications::Notification> sent = fake->notifications();
    for (auto it = sent.crbegin(); it != sent.crend(); ++it) {
        if (it->summary == request.title) {
            return it->id;
        }
    }
    return 0;
}

void RingNotifierTestCase::flush() {
    const qint64 cookie = ++flushCookie;
    RingRequest request = dentist(cookie);
    request.title = QStringLiteral("Flush %1").arg(cookie);
    const uint id = showAndWait(request);
    QVERIFY(id != 0);
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    fake->closeNotification(id, 2);
    QTRY_VERIFY(!answered.isEmpty());
    QCOMPARE(answered.last().first().toLongLong(), cookie);
}
