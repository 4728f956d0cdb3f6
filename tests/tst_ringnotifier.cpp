#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTimer>

#include <algorithm>
#include <memory>

#include "fakenotifications.h"
#include "pardotest.h"
#include "ringnotifier.h"

namespace {

// 2024-03-30 12:30 UTC; the tests run in UTC and the C locale, whose short time is "12:30:00".
constexpr qint64 dueTime = 1711801800;

RingRequest dentist(qint64 cookie, const QString& message = QStringLiteral("Bring the card")) {
    RingRequest request;
    request.cookie = cookie;
    request.title = QStringLiteral("Dentist");
    request.trigger = dueTime;
    request.message = message;
    request.snoozeSecs = 600;
    request.buttons = {{0, QStringLiteral("Stop"), false}, {1, QStringLiteral("Snooze"), true}};
    return request;
}

} // namespace

// Rings as desktop notifications: what is sent, which answers count, and a
// notification service that misbehaves or goes away.
class TestRingNotifier : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void notifyIsPersistentAndCritical();
    void bodyIsTimeAndEscapedMessage_data();
    void bodyIsTimeAndEscapedMessage();
    void snoozeActionSaysForHowLong_data();
    void snoozeActionSaysForHowLong();
    void actionAnswersOnce_data();
    void actionAnswersOnce();
    void closedNotificationIsFirstAction_data();
    void closedNotificationIsFirstAction();
    void unknownIdsAndKeysAreIgnored_data();
    void unknownIdsAndKeysAreIgnored();
    void withdrawClosesWithoutAnswer_data();
    void withdrawClosesWithoutAnswer();
    void withdrawWhileNotifyIsOutClosesItLater();
    void signalsOfOtherClientsAreIgnored_data();
    void signalsOfOtherClientsAreIgnored();
    void silentServiceFailsInTime();
    void wrongReplyFails_data();
    void wrongReplyFails();
    void serviceComingAndGoing_data();
    void serviceComingAndGoing();
    void serviceHandedOver();
    void showingAgainReplaces();
    void randomSignals_data();
    void randomSignals();

private:
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

void TestRingNotifier::init() {
    startService();
    notifier = std::make_unique<RingNotifier>(QDBusConnection::sessionBus());
    QVERIFY(notifier->isAvailable());
}

void TestRingNotifier::cleanup() {
    notifier.reset();
    stopService();
}

void TestRingNotifier::startService() {
    static int count = 0;
    serviceConnection = QStringLiteral("notifications-%1").arg(++count);
    fake = std::make_unique<FakeNotifications>(
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, serviceConnection));
    QVERIFY(fake->serve());
}

void TestRingNotifier::stopService() {
    fake.reset();
    QDBusConnection::disconnectFromBus(serviceConnection);
}

uint TestRingNotifier::showAndWait(const RingRequest& request) {
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

void TestRingNotifier::flush() {
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

void TestRingNotifier::notifyIsPersistentAndCritical() {
    QVERIFY(showAndWait(dentist(7)) != 0);
    const FakeNotifications::Notification sent = fake->lastNotification();
    QCOMPARE(sent.appName, QStringLiteral("Pardo Reminder"));
    QCOMPARE(sent.replacesId, 0u);
    QCOMPARE(sent.summary, QStringLiteral("Dentist"));
    QCOMPARE(sent.actions, (QStringList{QStringLiteral("0"), QStringLiteral("Stop"),
                                        QStringLiteral("1"), QStringLiteral("Snooze 10 min")}));
    QCOMPARE(sent.expireTimeout, 0);
    const QVariant urgency = sent.hints.value(QStringLiteral("urgency"));
    QCOMPARE(urgency.metaType(), QMetaType::fromType<uchar>());
    QCOMPARE(urgency.value<uchar>(), uchar(2));
    const QVariant resident = sent.hints.value(QStringLiteral("resident"));
    QCOMPARE(resident.metaType(), QMetaType::fromType<bool>());
    QVERIFY(resident.toBool());
    QCOMPARE(sent.hints.value(QStringLiteral("desktop-entry")).toString(),
             QStringLiteral("org.velmar.pardoreminder"));
    QVERIFY(notifier->isShowing(7));
}

void TestRingNotifier::bodyIsTimeAndEscapedMessage_data() {
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("body");
    QTest::newRow("plain") << QStringLiteral("Bring the card")
                           << QStringLiteral("12:30:00\nBring the card");
    QTest::newRow("markup")
        << QStringLiteral("<b>Tom & Jerry</b> &amp; 3 > 2")
        << QStringLiteral("12:30:00\n&lt;b&gt;Tom &amp; Jerry&lt;/b&gt; &amp;amp; 3 &gt; 2");
    QTest::newRow("lines kept") << QStringLiteral("one\ntwo")
                                << QStringLiteral("12:30:00\none\ntwo");
    QTest::newRow("no message") << QString() << QStringLiteral("12:30:00");
}

void TestRingNotifier::bodyIsTimeAndEscapedMessage() {
    QFETCH(QString, message);
    QFETCH(QString, body);
    QVERIFY(showAndWait(dentist(8, message)) != 0);
    QCOMPARE(fake->lastNotification().body, body);
}

void TestRingNotifier::snoozeActionSaysForHowLong_data() {
    QTest::addColumn<qint64>("snoozeSecs");
    QTest::addColumn<QString>("label");
    QTest::newRow("default") << qint64(600) << QStringLiteral("Snooze 10 min");
    QTest::newRow("hour and a half") << qint64(5400) << QStringLiteral("Snooze 1 h 30 min");
    QTest::newRow("seconds") << qint64(45) << QStringLiteral("Snooze 45 s");
}

void TestRingNotifier::snoozeActionSaysForHowLong() {
    QFETCH(qint64, snoozeSecs);
    QFETCH(QString, label);
    RingRequest request = dentist(9);
    request.snoozeSecs = snoozeSecs;
    // Table order, with the indices of the event's table.
    request.buttons = {{3, QStringLiteral("Snooze"), true}, {5, QStringLiteral("Done"), false}};
    QVERIFY(showAndWait(request) != 0);
    QCOMPARE(
        fake->lastNotification().actions,
        (QStringList{QStringLiteral("3"), label, QStringLiteral("5"), QStringLiteral("Done")}));
}

void TestRingNotifier::actionAnswersOnce_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("index");
    QTest::newRow("Stop") << QStringLiteral("0") << 0;
    QTest::newRow("Snooze") << QStringLiteral("1") << 1;
}

void TestRingNotifier::actionAnswersOnce() {
    QFETCH(QString, key);
    QFETCH(int, index);
    const uint id = showAndWait(dentist(11));
    QVERIFY(id != 0);
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    fake->invokeAction(id, key);
    QTRY_COMPARE(answered.count(), 1);
    QCOMPARE(answered.first(), (QVariantList{qint64(11), index}));
    QVERIFY(!notifier->isShowing(11));
    // A resident notification stays after an action: the notifier closes it, and the
    // NotificationClosed that follows is no second answer; nor is the same action again.
    QTRY_COMPARE(fake->closeRequests(), QList<uint>{id});
    fake->invokeAction(id, key);
    fake->closeNotification(id, 2);
    flush();
    QCOMPARE(answered.count(), 2);
    QCOMPARE(answered.first().first().toLongLong(), qint64(11));
    QVERIFY(answered.last().first().toLongLong() != 11);
}

void TestRingNotifier::closedNotificationIsFirstAction_data() {
    QTest::addColumn<uint>("reason");
    QTest::newRow("expired") << 1u;
    QTest::newRow("dismissed") << 2u;
    QTest::newRow("closed") << 3u;
    QTest::newRow("undefined") << 4u;
}

void TestRingNotifier::closedNotificationIsFirstAction() {
    QFETCH(uint, reason);
    RingRequest request = dentist(12);
    request.buttons = {{2, QStringLiteral("Done"), false}, {0, QStringLiteral("Later"), true}};
    const uint id = showAndWait(request);
    QVERIFY(id != 0);
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    fake->closeNotification(id, reason);
    QTRY_COMPARE(answered.count(), 1);
    QCOMPARE(answered.first(), (QVariantList{qint64(12), 2}));
    QVERIFY(!notifier->isShowing(12));
    // Closed by the service already: nothing to close.
    QVERIFY(fake->closeRequests().isEmpty());
}

void TestRingNotifier::unknownIdsAndKeysAreIgnored_data() {
    QTest::addColumn<int>("idOffset");
    QTest::addColumn<QString>("key");
    QTest::newRow("other id") << 100 << QStringLiteral("0");
    QTest::newRow("id 0") << -1 << QStringLiteral("0");
    QTest::newRow("key of no button") << 0 << QStringLiteral("2");
    QTest::newRow("negative key") << 0 << QStringLiteral("-1");
    QTest::newRow("huge key") << 0 << QStringLiteral("4294967296");
    QTest::newRow("padded key") << 0 << QStringLiteral(" 1");
    QTest::newRow("leading zero") << 0 << QStringLiteral("01");
    QTest::newRow("word") << 0 << QStringLiteral("default");
    QTest::newRow("empty key") << 0 << QString();
}

void TestRingNotifier::unknownIdsAndKeysAreIgnored() {
    QFETCH(int, idOffset);
    QFETCH(QString, key);
    const uint id = showAndWait(dentist(13));
    QVERIFY(id != 0);
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    fake->invokeAction(idOffset < 0 ? 0u : id + uint(idOffset), key);
    if (idOffset != 0) {
        fake->closeNotification(idOffset < 0 ? 0u : id + uint(idOffset), 2);
    }
    flush();
    QCOMPARE(answered.count(), 1);
    QVERIFY(notifier->isShowing(13));
    QVERIFY(fake->closeRequests().isEmpty());
}

void TestRingNotifier::withdrawClosesWithoutAnswer_data() {
    QTest::addColumn<bool>("showAgain");
    QTest::newRow("deleted") << false;
    // Snoozed elsewhere and due again at once: the old notification's end is no answer
    // to the new one.
    QTest::newRow("due again") << true;
}

void TestRingNotifier::withdrawClosesWithoutAnswer() {
    QFETCH(bool, showAgain);
    const uint id = showAndWait(dentist(14));
    QVERIFY(id != 0);
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    notifier->withdraw(14);
    QVERIFY(!notifier->isShowing(14));
    if (showAgain) {
        notifier->show(dentist(14, QStringLiteral("Again")));
    }
    QTRY_COMPARE(fake->closeRequests(), QList<uint>{id});
    // The service says it closed it (reason 3), and a late action comes too.
    fake->invokeAction(id, QStringLiteral("0"));
    flush();
    QCOMPARE(answered.count(), 1);
    QCOMPARE(notifier->isShowing(14), showAgain);
    QCOMPARE(fake->openIds().size(), showAgain ? 1 : 0);
    QVERIFY(!fake->openIds().contains(id));
}

void TestRingNotifier::withdrawWhileNotifyIsOutClosesItLater() {
    QSignalSpy shown(notifier.get(), &RingNotifier::shown);
    QSignalSpy failed(notifier.get(), &RingNotifier::failed);
    notifier->show(dentist(15));
    notifier->withdraw(15);
    QVERIFY(!notifier->isShowing(15));
    QTRY_COMPARE(fake->notifications().size(), 1);
    const uint id = fake->lastNotification().id;
    QTRY_COMPARE(fake->closeRequests(), QList<uint>{id});
    QVERIFY(fake->openIds().isEmpty());
    QCOMPARE(shown.count(), 0);
    QCOMPARE(failed.count(), 0);
}

void TestRingNotifier::signalsOfOtherClientsAreIgnored_data() {
    QTest::addColumn<QString>("member");
    QTest::newRow("ActionInvoked") << QStringLiteral("ActionInvoked");
    QTest::newRow("NotificationClosed") << QStringLiteral("NotificationClosed");
}

void TestRingNotifier::signalsOfOtherClientsAreIgnored() {
    QFETCH(QString, member);
    const uint id = showAndWait(dentist(16));
    QVERIFY(id != 0);
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);

    const QString forgerName = QStringLiteral("forger");
    {
        QDBusConnection forger =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, forgerName);
        QVERIFY(forger.isConnected());
        QDBusMessage forged =
            QDBusMessage::createSignal(QLatin1String(FakeNotifications::path),
                                       QLatin1String(FakeNotifications::interfaceName), member);
        if (member == QLatin1String("ActionInvoked")) {
            forged << id << QStringLiteral("1");
        } else {
            forged << id << 2u;
        }
        QVERIFY(forger.send(forged));
        // The bus handles a client's messages in order: once it has answered this, the
        // forged signal has been passed on to whoever it went to.
        QVERIFY(forger.interface()->isServiceRegistered(QLatin1String(FakeNotifications::service)));
    }
    QDBusConnection::disconnectFromBus(forgerName);
    flush();
    QCOMPARE(answered.count(), 1);
    QVERIFY(notifier->isShowing(16));

    // The service itself still answers it.
    fake->invokeAction(id, QStringLiteral("1"));
    QTRY_COMPARE(answered.count(), 2);
    QCOMPARE(answered.last(), (QVariantList{qint64(16), 1}));
}

void TestRingNotifier::silentServiceFailsInTime() {
    fake->setMode(FakeNotifications::Mode::NeverAnswer);
    QSignalSpy failed(notifier.get(), &RingNotifier::failed);
    QSignalSpy shown(notifier.get(), &RingNotifier::shown);
    int ticks = 0;
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [&ticks] { ++ticks; });
    ticker.start(50);
    notifier->show(dentist(17));
    QVERIFY(notifier->isShowing(17));
    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, RingNotifier::replyTimeoutMs + 5000);
    QCOMPARE(failed.first().first().toLongLong(), qint64(17));
    QCOMPARE(fake->notifications().size(), 1);
    QCOMPARE(shown.count(), 0);
    QVERIFY(!notifier->isShowing(17));
    // The wait did not block the event loop.
    QVERIFY2(ticks >= 10, qPrintable(QStringLiteral("%1 ticks").arg(ticks)));
}

void TestRingNotifier::wrongReplyFails_data() {
    QTest::addColumn<FakeNotifications::Mode>("mode");
    QTest::addColumn<QVariantList>("reply");
    QTest::newRow("string") << FakeNotifications::Mode::WrongType
                            << QVariantList{QStringLiteral("7")};
    QTest::newRow("signed") << FakeNotifications::Mode::WrongType << QVariantList{qint32(7)};
    QTest::newRow("64 bits") << FakeNotifications::Mode::WrongType << QVariantList{quint64(7)};
    QTest::newRow("two ids") << FakeNotifications::Mode::WrongType << QVariantList{7u, 8u};
    QTest::newRow("nothing") << FakeNotifications::Mode::WrongType << QVariantList{};
    QTest::newRow("id 0") << FakeNotifications::Mode::WrongType << QVariantList{0u};
    QTest::newRow("error") << FakeNotifications::Mode::Refuse << QVariantList{};
}

void TestRingNotifier::wrongReplyFails() {
    QFETCH(FakeNotifications::Mode, mode);
    QFETCH(QVariantList, reply);
    fake->setMode(mode);
    fake->setWrongReply(reply);
    QSignalSpy failed(notifier.get(), &RingNotifier::failed);
    QSignalSpy shown(notifier.get(), &RingNotifier::shown);
    notifier->show(dentist(18));
    QTRY_COMPARE(failed.count(), 1);
    QCOMPARE(failed.first().first().toLongLong(), qint64(18));
    QCOMPARE(shown.count(), 0);
    QVERIFY(!notifier->isShowing(18));

    // A service that works again shows the next ring.
    fake->setMode(FakeNotifications::Mode::Answer);
    QVERIFY(showAndWait(dentist(18)) != 0);
}

void TestRingNotifier::serviceComingAndGoing_data() {
    QTest::addColumn<bool>("disconnects");
    QTest::newRow("gives up its name") << false;
    QTest::newRow("leaves the bus") << true;
}

void TestRingNotifier::serviceComingAndGoing() {
    QFETCH(bool, disconnects);
    notifier.reset();
    stopService();
    notifier = std::make_unique<RingNotifier>(QDBusConnection::sessionBus());
    QVERIFY(!notifier->isAvailable());
    QSignalSpy available(notifier.get(), &RingNotifier::availableChanged);
    QSignalSpy failed(notifier.get(), &RingNotifier::failed);

    startService();
    QTRY_COMPARE(available.count(), 1);
    QCOMPARE(available.first(), QVariantList{true});
    QVERIFY(notifier->isAvailable());
    const uint first = showAndWait(dentist(21));
    const uint second = showAndWait(dentist(22));
    QVERIFY(first != 0 && second != 0);

    if (disconnects) {
        stopService();
    } else {
        fake->release();
    }
    QTRY_COMPARE(available.count(), 2);
    QCOMPARE(available.last(), QVariantList{false});
    QVERIFY(!notifier->isAvailable());
    QTRY_COMPARE(failed.count(), 2);
    QList<qint64> lost{failed.at(0).first().toLongLong(), failed.at(1).first().toLongLong()};
    std::sort(lost.begin(), lost.end());
    QCOMPARE(lost, (QList<qint64>{21, 22}));
    QVERIFY(!notifier->isShowing(21));
    QVERIFY(!notifier->isShowing(22));

    // Back again: rings show there, and nothing of the old one is answered.
    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    if (disconnects) {
        startService();
    } else {
        QVERIFY(fake->serve());
    }
    QTRY_COMPARE(available.count(), 3);
    QCOMPARE(available.last(), QVariantList{true});
    QVERIFY(showAndWait(dentist(23)) != 0);
    if (!disconnects) {
        fake->invokeAction(first, QStringLiteral("0"));
    }
    flush();
    QCOMPARE(answered.count(), 1);
    QCOMPARE(failed.count(), 2);
}

void TestRingNotifier::serviceHandedOver() {
    const QString nextConnection = QStringLiteral("next-notifications");
    {
        FakeNotifications next(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, nextConnection));
        QVERIFY(next.serveNext());
        QSignalSpy available(notifier.get(), &RingNotifier::availableChanged);
        QSignalSpy failed(notifier.get(), &RingNotifier::failed);
        QVERIFY(showAndWait(dentist(31)) != 0);

        // The name goes straight to the next in line: the rings out on the old one are gone
        // with it, and the new one is there.
        fake->release();
        QTRY_COMPARE(available.count(), 2);
        QCOMPARE(available.at(0), QVariantList{false});
        QCOMPARE(available.at(1), QVariantList{true});
        QCOMPARE(failed.count(), 1);
        QCOMPARE(failed.first().first().toLongLong(), qint64(31));
        QVERIFY(notifier->isAvailable());

        QSignalSpy shown(notifier.get(), &RingNotifier::shown);
        notifier->show(dentist(32));
        QTRY_COMPARE(shown.count(), 1);
        QCOMPARE(next.notifications().size(), 1);
        QCOMPARE(fake->notifications().size(), 1);
    }
    QDBusConnection::disconnectFromBus(nextConnection);
}

void TestRingNotifier::showingAgainReplaces() {
    const uint id = showAndWait(dentist(24));
    QVERIFY(id != 0);
    RingRequest again = dentist(24, QStringLiteral("Second call"));
    QVERIFY(showAndWait(again) == id);
    QCOMPARE(fake->notifications().size(), 2);
    QCOMPARE(fake->notifications().last().replacesId, id);
    QCOMPARE(fake->notifications().last().body, QStringLiteral("12:30:00\nSecond call"));
    QCOMPARE(fake->openIds(), QSet<uint>{id});

    QSignalSpy answered(notifier.get(), &RingNotifier::answered);
    fake->invokeAction(id, QStringLiteral("1"));
    QTRY_COMPARE(answered.count(), 1);
    QCOMPARE(answered.first(), (QVariantList{qint64(24), 1}));
    flush();
    QCOMPARE(answered.count(), 2);
}

void TestRingNotifier::randomSignals_data() {
    QTest::addColumn<quint32>("seed");
    if (qEnvironmentVariableIsSet("PARDO_FUZZ_SEED")) {
        QTest::newRow("PARDO_FUZZ_SEED")
            << quint32(qEnvironmentVariableIntValue("PARDO_FUZZ_SEED"));
        return;
    }
    for (const quint32 seed : {1u, 2u, 3u, 20261123u}) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void TestRingNotifier::randomSignals() {
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    constexpr int cookies = 8;
    // What each ring that is out may be answered with.
    QHash<qint64, QList<int>> out;
    QStringList wrong;
    int answers = 0;
    QObject context;
    connect(notifier.get(), &RingNotifier::answered, &context, [&](qint64 cookie, int index) {
        if (cookie > cookies) {
            return; // one of flush()'s own
        }
        if (!out.contains(cookie)) {
            wrong << QStringLiteral("answer for %1, which is not out").arg(cookie);
        } else if (!out.value(cookie).contains(index)) {
            wrong << QStringLiteral("answer %1 for %2").arg(index).arg(cookie);
        }
        out.remove(cookie);
        ++answers;
    });
    connect(notifier.get(), &RingNotifier::failed, &context, [&](qint64 cookie) {
        wrong << QStringLiteral("%1 failed").arg(cookie);
        out.remove(cookie);
    });

    const auto randomId = [&]() -> uint {
        const QList<FakeNotifications::Notification> sent = fake->notifications();
        const int pick = random.bounded(10);
        if (pick < 7 && !sent.isEmpty()) {
            return sent.at(random.bounded(sent.size())).id;
        }
        if (pick < 8) {
            return 0;
        }
        if (pick < 9) {
            return 0xffffffffu;
        }
        return random.generate();
    };
    const auto randomKey = [&]() -> QString {
        switch (random.bounded(8)) {
        case 0:
            return QStringLiteral("-1");
        case 1:
            return QStringLiteral("99999999999999999999");
        case 2:
            return QString();
        case 3: {
            QString text;
            for (int i = random.bounded(12); i > 0; --i) {
                text += QChar(char16_t(1 + random.bounded(0xd7ff)));
            }
            return text;
        }
        case 4:
            return QString::number(random.generate());
        default:
            return QString::number(random.bounded(6));
        }
    };

    for (int step = 0; step < 500; ++step) {
        const int choice = random.bounded(100);
        const qint64 cookie = 1 + random.bounded(cookies);
        if (choice < 25) {
            RingRequest request = dentist(cookie);
            request.buttons.clear();
            QList<int> indices;
            for (int action = 0; action < 6; ++action) {
                if (random.bounded(2) == 0) {
                    request.buttons.append(
                        {action, QStringLiteral("Button %1").arg(action), random.bounded(3) == 0});
                    indices.append(action);
                }
            }
            if (indices.isEmpty()) {
                request.buttons.append({4, QStringLiteral("Stop"), false});
                indices.append(4);
            }
            notifier->show(request);
            out.insert(cookie, indices);
        } else if (choice < 35) {
            notifier->withdraw(cookie);
            out.remove(cookie);
        } else if (choice < 65) {
            fake->invokeAction(randomId(), randomKey());
        } else if (choice < 80) {
            fake->closeNotification(randomId(), random.bounded(6));
        } else if (choice < 90) {
            QTest::qWait(1);
        }
        QCoreApplication::processEvents();
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(QLatin1String("; "))));
        for (qint64 c = 1; c <= cookies; ++c) {
            QCOMPARE(notifier->isShowing(c), out.contains(c));
        }
    }
    // Settled: every ring still out has exactly its one notification, every other is closed.
    QTRY_COMPARE(fake->openIds().size(), out.size());
    flush();
    QCOMPARE(fake->openIds().size(), out.size());
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(QLatin1String("; "))));
    QVERIFY(answers > 0);
}

PARDO_DBUS_TEST_MAIN(TestRingNotifier)
#include "tst_ringnotifier.moc"
