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

// Rings as desktop notifications: what is sent, and which answers count.
class TestRingNotifier : public RingNotifierTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { RingNotifierTestCase::init(); }
    void cleanup() { RingNotifierTestCase::cleanup(); }
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
};

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

PARDO_DBUS_TEST_MAIN(TestRingNotifier)
#include "tst_ringnotifier.moc"
