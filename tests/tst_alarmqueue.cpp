#include <QSignalSpy>
#include <QTimeZone>

#include <alarmd/libalarm.h>

#include <random>

#include "alarmdaemon.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "busrecorder.h"
#include "eventcodec.h"
#include "manualclock.h"
#include "pardotest.h"
#include "queuetestcase.h"
#include "ringrequest.h"

// When the queue triggers its events, what it does then, and what it keeps across restarts.
class TestAlarmQueue : public QueueTestCase {
    Q_OBJECT
private Q_SLOTS:
    void triggerFromAlarmTime();
    void triggerFromBrokenDownTime_data();
    void triggerFromBrokenDownTime();
    void lessThanAMinuteLateTriggersAtOnce();
    void triggeredActionsCallWithTheirArguments();
    void sleepsUntilTheEarliestEvent();
    void earlyWakeUpAsksAgain();
    void deletingClosesItsDialog();
    void severalDueEventsEachGetADialog();
    void restartRestoresTheQueue();
    void cookiesAreNeverReused();
    void zoneChangeKeepsTheWallClockTime();
    void queryFilters();
};

void TestAlarmQueue::triggerFromAlarmTime() {
    const qint64 when = startMoment() + 3600;
    AlarmEvent event = dialogEvent(when);
    // alarm_time wins over a broken-down time.
    event.alarmTm = brokenDown(2024, 5, 1, 8, 0);
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), when);
    QCOMPARE(clock->wakeTime(), when);
}

void TestAlarmQueue::triggerFromBrokenDownTime_data() {
    QTest::addColumn<AlarmEvent::BrokenDownTime>("tm");
    QTest::addColumn<QString>("zoneName");
    QTest::addColumn<qint64>("expected");

    const AlarmEvent::BrokenDownTime unset{0, -1, -1, -1, -1, -1, -1, -1, -1};
    QTest::newRow("later today") << brokenDown(2024, 3, 30, 18, 0) << QString()
                                 << localMoment(2024, 3, 30, 18, 0);
    // The caller copied the daylight-saving flag of today; the wall-clock time still holds.
    QTest::newRow("after the change to summer time, winter flag")
        << brokenDown(2024, 4, 2, 9, 0, 0, 0) << QString() << localMoment(2024, 4, 2, 9, 0);
    QTest::newRow("after the change to summer time, summer flag")
        << brokenDown(2024, 4, 2, 9, 0, 0, 1) << QString() << localMoment(2024, 4, 2, 9, 0);
    QTest::newRow("after the change back to winter time")
        << brokenDown(2024, 11, 4, 7, 30, 0, 1) << QString() << localMoment(2024, 11, 4, 7, 30);
    QTest::newRow("seconds round up to the next minute")
        << brokenDown(2024, 3, 30, 18, 0, 30) << QString() << localMoment(2024, 3, 30, 18, 1);
    QTest::newRow("unset means now") << unset << QString() << startMoment();
    AlarmEvent::BrokenDownTime timeOnly = unset;
    timeOnly[AlarmEvent::Hour] = 18;
    timeOnly[AlarmEvent::Min] = 15;
    QTest::newRow("time of day still to come")
        << timeOnly << QString() << localMoment(2024, 3, 30, 18, 15);
    timeOnly[AlarmEvent::Hour] = 8;
    QTest::newRow("time of day passed means tomorrow")
        << timeOnly << QString() << localMoment(2024, 3, 31, 8, 15);
    QTest::newRow("out-of-range month normalises")
        << brokenDown(2024, 13, 5, 10, 0) << QString() << localMoment(2025, 1, 5, 10, 0);
    QTest::newRow("in a named zone")
        << brokenDown(2024, 4, 2, 9, 0) << QStringLiteral("Asia/Tokyo")
        << QDateTime(QDate(2024, 4, 2), QTime(9, 0), QTimeZone("Asia/Tokyo")).toSecsSinceEpoch();
    QTest::newRow("in a named zone with summer time")
        << brokenDown(2024, 4, 2, 9, 0) << QStringLiteral("Europe/Helsinki")
        << QDateTime(QDate(2024, 4, 2), QTime(9, 0), QTimeZone("Europe/Helsinki"))
               .toSecsSinceEpoch();
}

void TestAlarmQueue::triggerFromBrokenDownTime() {
    QFETCH(AlarmEvent::BrokenDownTime, tm);
    QFETCH(QString, zoneName);
    QFETCH(qint64, expected);
    AlarmEvent event = dialogEvent(-1);
    event.alarmTm = tm;
    event.alarmTz = zoneName;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), expected);
    // The given time is kept as it was given.
    QCOMPARE(daemon->queue().event(cookie)->alarmTm, tm);
}

void TestAlarmQueue::lessThanAMinuteLateTriggersAtOnce() {
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    const qint64 cookie = add(dialogEvent(startMoment() - 59));
    QVERIFY(cookie > 0);
    QCOMPARE(triggered.count(), 0); // not before the reply has gone out
    QTRY_COMPARE(triggered.count(), 1);
    QVERIFY(daemon->queue().isShowing(cookie));
    QVERIFY(daemon->ringing().contains(cookie));
}

void TestAlarmQueue::triggeredActionsCallWithTheirArguments() {
    AlarmEvent event = callbackEvent(startMoment() + 60);
    event.actions[0].dbusArgs = {QVariant(int(-3)), QVariant(uint(4)), QVariant(qlonglong(1) << 40),
                                 QVariant(true),    QVariant(2.5),     QStringLiteral("täst")};
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    clock->advance(59);
    QCoreApplication::processEvents();
    QCOMPARE(recorder->callsTo(recorderPath).size(), 0);
    clock->advance(1);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    const BusRecorder::Call call = recorder->callsTo(recorderPath).first();
    QCOMPARE(call.interface, QLatin1String(BusRecorder::interfaceName));
    QCOMPARE(call.member, QStringLiteral("alarm_triggered"));
    QCOMPARE(call.arguments, event.actions[0].dbusArgs);
    QCOMPARE(call.arguments.at(2).metaType(), QMetaType::fromType<qlonglong>());
    // A one-shot event without buttons is done once it ran.
    QVERIFY(!daemon->queue().event(cookie));
}

void TestAlarmQueue::sleepsUntilTheEarliestEvent() {
    std::mt19937 random(5);
    qint64 earliest = std::numeric_limits<qint64>::max();
    for (int i = 0; i < 100; ++i) {
        const qint64 when = startMoment() + 120 + qint64(random() % 100000);
        earliest = std::min(earliest, when);
        QVERIFY(add(callbackEvent(when)) > 0);
    }
    QCOMPARE(clock->wakeTime(), earliest);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    clock->advanceTo(earliest - 1);
    QCoreApplication::processEvents();
    QCOMPARE(triggered.count(), 0);
    QCOMPARE(clock->wakeTime(), earliest);
    clock->advanceTo(earliest);
    QVERIFY(triggered.count() >= 1);
    QVERIFY(clock->wakeTime() > earliest);
    QCOMPARE(daemon->queue().size(), 100 - triggered.count());
}

void TestAlarmQueue::earlyWakeUpAsksAgain() {
    const qint64 when = startMoment() + 60;
    QVERIFY(add(callbackEvent(when)) > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    clock->advanceTo(when - 1);
    clock->wakeEarly();
    QCOMPARE(triggered.count(), 0);
    QCOMPARE(clock->wakeTime(), when);
    clock->advanceTo(when);
    QCOMPARE(triggered.count(), 1);
}

void TestAlarmQueue::deletingClosesItsDialog() {
    const qint64 cookie = add(dialogEvent(startMoment() + 60));
    clock->advance(60);
    QVERIFY(daemon->ringing().contains(cookie));
    QVERIFY(daemon->queue().remove(cookie));
    QVERIFY(!daemon->ringing().contains(cookie));
    QVERIFY(!daemon->queue().isShowing(cookie));
    QVERIFY(!daemon->queue().remove(cookie));
}

void TestAlarmQueue::severalDueEventsEachGetADialog() {
    QList<qint64> cookies;
    for (int i = 0; i < 3; ++i) {
        AlarmEvent event = dialogEvent(startMoment() + 60);
        event.message = QStringLiteral("Alarm %1").arg(i);
        cookies << add(event);
    }
    clock->advance(60);
    QCOMPARE(daemon->ringing().size(), 3);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(daemon->ringing().contains(cookies[i]));
        QCOMPARE(AlarmDaemon::ringOf(*daemon->queue().event(cookies[i])).message,
                 QStringLiteral("Alarm %1").arg(i));
    }
    QVERIFY(daemon->queue().respond(cookies[1], 0));
    QCOMPARE(daemon->ringing().size(), 2);
    QVERIFY(daemon->ringing().contains(cookies[0]));
    QVERIFY(daemon->ringing().contains(cookies[2]));
}

void TestAlarmQueue::restartRestoresTheQueue() {
    AlarmEvent event = dialogEvent(-1);
    event.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    event.recurSecs = 86400;
    event.recurCount = 5;
    event.attrs.insert(QStringLiteral("task_id"), 12);
    event.attrs.insert(QStringLiteral("note"), QStringLiteral("kept"));
    event.attrs.insert(QStringLiteral("since"), qlonglong(1700000000));
    const qint64 recurring = add(event);
    AlarmEvent withArgs = callbackEvent(startMoment() + 7200);
    withArgs.actions[0].dbusArgs = {QVariant(uchar(200)), QVariant(short(-5)),
                                    QVariant(ushort(9)),  QVariant(qulonglong(1) << 63),
                                    QVariant(false),      QVariant(0.125),
                                    QStringLiteral("ü")};
    const qint64 callbackCookie = add(withArgs);
    const qint64 snoozed = add(dialogEvent(startMoment() + 60));
    clock->advance(60);
    QVERIFY(daemon->queue().respond(snoozed, 1));

    QMap<qint64, QVariantMap> before;
    for (qint64 cookie : daemon->queue().query(0, 0, 0, 0, QString())) {
        before.insert(cookie, EventCodec::toDBus(*daemon->queue().event(cookie)));
    }
    QCOMPARE(before.keys(), (QList<qint64>{recurring, callbackCookie, snoozed}));

    daemon.reset();
    startDaemon();
    QCOMPARE(daemon->queue().size(), 3);
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        const std::optional<AlarmEvent> restored = daemon->queue().event(it.key());
        QVERIFY(restored);
        QCOMPARE(EventCodec::toDBus(*restored), it.value());
    }
    QCOMPARE(daemon->queue().event(callbackCookie)->actions, withArgs.actions);
    QCOMPARE(clock->wakeTime(), startMoment() + 60 + 600);
    // And it goes on as before: the snooze ends.
    clock->advance(600);
    QVERIFY(daemon->ringing().contains(snoozed));
}

void TestAlarmQueue::cookiesAreNeverReused() {
    const qint64 first = add(dialogEvent(startMoment() + 600));
    const qint64 second = add(dialogEvent(startMoment() + 600));
    QVERIFY(daemon->queue().remove(second));
    daemon.reset();
    startDaemon();
    const qint64 third = add(dialogEvent(startMoment() + 600));
    QVERIFY(first > 0);
    QVERIFY(second > first);
    QVERIFY(third > second);
}

void TestAlarmQueue::zoneChangeKeepsTheWallClockTime() {
    const qint64 start = clock->now();
    clock->changeZone("Europe/Berlin");
    AlarmEvent wall = dialogEvent(-1);
    wall.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    wall.recurSecs = 86400;
    wall.recurCount = -1;
    const qint64 wallCookie = add(wall);
    const qint64 absolute = add(dialogEvent(start + 7200));
    AlarmEvent zoned = dialogEvent(-1);
    zoned.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    zoned.alarmTz = QStringLiteral("Asia/Tokyo");
    const qint64 zonedCookie = add(zoned);
    const QTimeZone berlin("Europe/Berlin");
    const QTimeZone newYork("America/New_York");
    QCOMPARE(triggerOf(wallCookie),
             QDateTime(QDate(2024, 4, 2), QTime(9, 0), berlin).toSecsSinceEpoch());
    const qint64 zonedTrigger = triggerOf(zonedCookie);

    clock->changeZone("America/New_York");
    QCOMPARE(triggerOf(wallCookie),
             QDateTime(QDate(2024, 4, 2), QTime(9, 0), newYork).toSecsSinceEpoch());
    QCOMPARE(triggerOf(absolute), start + 7200);
    QCOMPARE(triggerOf(zonedCookie), zonedTrigger);
    QCOMPARE(clock->wakeTime(), start + 7200);

    // The next occurrences keep 09:00 in the new zone.
    clock->advanceTo(triggerOf(wallCookie));
    QVERIFY(daemon->queue().respond(wallCookie, 0));
    QCOMPARE(triggerOf(wallCookie),
             QDateTime(QDate(2024, 4, 3), QTime(9, 0), newYork).toSecsSinceEpoch());
}

void TestAlarmQueue::queryFilters() {
    const qint64 a = add(dialogEvent(startMoment() + 300));
    AlarmEvent other = dialogEvent(startMoment() + 100);
    other.appId = QStringLiteral("other");
    other.flags = ALARM_EVENT_RUN_DELAYED;
    const qint64 b = add(other);
    AlarmEvent late = callbackEvent(startMoment() + 900);
    late.flags = ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON;
    const qint64 c = add(late);
    AlarmQueue& queue = daemon->queue();
    QCOMPARE(queue.query(0, 0, 0, 0, QString()), (QList<qint64>{b, a, c}));
    QCOMPARE(queue.query(startMoment() + 300, 0, 0, 0, QString()), (QList<qint64>{a, c}));
    QCOMPARE(queue.query(0, startMoment() + 300, 0, 0, QString()), (QList<qint64>{b, a}));
    QCOMPARE(queue.query(startMoment() + 301, startMoment() + 899, 0, 0, QString()),
             QList<qint64>{});
    QCOMPARE(queue.query(0, 0, ALARM_EVENT_RUN_DELAYED, ALARM_EVENT_RUN_DELAYED, QString()),
             (QList<qint64>{b, c}));
    QCOMPARE(queue.query(0, 0, ALARM_EVENT_RUN_DELAYED, 0, QString()), (QList<qint64>{a}));
    QCOMPARE(queue.query(0, 0, ALARM_EVENT_SHOW_ICON | ALARM_EVENT_RUN_DELAYED,
                         ALARM_EVENT_RUN_DELAYED, QString()),
             (QList<qint64>{b}));
    QCOMPARE(queue.query(0, 0, 0, 0, QStringLiteral("test")), (QList<qint64>{a, c}));
    QCOMPARE(queue.query(0, 0, 0, 0, QStringLiteral("nobody")), QList<qint64>{});
}

PARDO_DBUS_TEST_MAIN(TestAlarmQueue)
#include "tst_alarmqueue.moc"
