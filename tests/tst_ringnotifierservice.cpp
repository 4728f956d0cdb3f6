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

#include "ringnotifiertestcase.h"

// A notification service that misbehaves, goes away or is handed over; signals that are
// not the service's.
class TestRingNotifierService : public RingNotifierTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { RingNotifierTestCase::init(); }
    void cleanup() { RingNotifierTestCase::cleanup(); }
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
};

void TestRingNotifierService::signalsOfOtherClientsAreIgnored_data() {
    QTest::addColumn<QString>("member");
    QTest::newRow("ActionInvoked") << QStringLiteral("ActionInvoked");
    QTest::newRow("NotificationClosed") << QStringLiteral("NotificationClosed");
}

void TestRingNotifierService::signalsOfOtherClientsAreIgnored() {
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

void TestRingNotifierService::silentServiceFailsInTime() {
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

void TestRingNotifierService::wrongReplyFails_data() {
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

void TestRingNotifierService::wrongReplyFails() {
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

void TestRingNotifierService::serviceComingAndGoing_data() {
    QTest::addColumn<bool>("disconnects");
    QTest::newRow("gives up its name") << false;
    QTest::newRow("leaves the bus") << true;
}

void TestRingNotifierService::serviceComingAndGoing() {
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

void TestRingNotifierService::serviceHandedOver() {
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

void TestRingNotifierService::showingAgainReplaces() {
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

void TestRingNotifierService::randomSignals_data() {
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

void TestRingNotifierService::randomSignals() {
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

PARDO_DBUS_TEST_MAIN(TestRingNotifierService)
#include "tst_ringnotifierservice.moc"
