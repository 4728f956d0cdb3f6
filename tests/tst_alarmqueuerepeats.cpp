#include <QSignalSpy>

#include <alarmd/libalarm.h>

#include "alarmdaemon.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "busrecorder.h"
#include "manualclock.h"
#include "pardotest.h"
#include "queuetestcase.h"

// Events that come again: series, snoozes, and the ones missed while the daemon slept.
class TestAlarmQueueRepeats : public QueueTestCase {
    Q_OBJECT
private Q_SLOTS:
    void snoozeEndsByTheLatestMoment();
    void seriesEndsAtTheLatestMoment_data();
    void seriesEndsAtTheLatestMoment();
    void recurrenceForever();
    void recurrenceCount_data();
    void recurrenceCount();
    void recurringPastStartKeepsItsCount();
    void snooze_data();
    void snooze();
    void missed_data();
    void missed();
};

void TestAlarmQueueRepeats::snoozeEndsByTheLatestMoment() {
    const qint64 due = ALARMD_MAX_TIME - 100;
    AlarmEvent event = dialogEvent(due);
    event.snoozeSecs = ALARMD_MAX_INTERVAL_SECS;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    clock->advanceTo(due);
    QVERIFY(daemon->queue().isShowing(cookie));
    QVERIFY(daemon->queue().respond(cookie, 1)); // Snooze
    const std::optional<AlarmEvent> snoozed = daemon->queue().event(cookie);
    QVERIFY(snoozed);
    QCOMPARE(snoozed->trigger, qint64(ALARMD_MAX_TIME));
    QCOMPARE(snoozed->snoozeTotal, qint64(ALARMD_MAX_INTERVAL_SECS));
    QCOMPARE(clock->wakeTime(), qint64(ALARMD_MAX_TIME));
    clock->advanceTo(ALARMD_MAX_TIME);
    QVERIFY(daemon->queue().isShowing(cookie));
}

void TestAlarmQueueRepeats::seriesEndsAtTheLatestMoment_data() {
    QTest::addColumn<bool>("missed");
    QTest::newRow("served") << false;
    QTest::newRow("missed") << true;
}

void TestAlarmQueueRepeats::seriesEndsAtTheLatestMoment() {
    QFETCH(bool, missed);
    // The next time of the series would lie after the year 9999.
    const qint64 due = ALARMD_MAX_TIME - 1000;
    AlarmEvent event = dialogEvent(due);
    event.recurSecs = ALARMD_MAX_INTERVAL_SECS;
    event.recurCount = -1;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    if (missed) {
        clock->jump(ALARMD_MAX_TIME - 10);
        QCOMPARE(triggered.count(), 0);
    } else {
        clock->advanceTo(due);
        QCOMPARE(triggered.count(), 1);
        QVERIFY(daemon->queue().respond(cookie, 0));
    }
    QVERIFY(!daemon->queue().event(cookie));
    QCOMPARE(clock->wakeTime(), qint64(-1));
}

void TestAlarmQueueRepeats::recurrenceForever() {
    AlarmEvent event = callbackEvent(startMoment() + 60);
    event.recurSecs = 60;
    event.recurCount = -1;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    for (int i = 1; i <= 10; ++i) {
        clock->advance(60);
        QCOMPARE(triggered.count(), i);
        QCOMPARE(triggerOf(cookie), startMoment() + 60 * (i + 1));
        QCOMPARE(daemon->queue().event(cookie)->recurCount, -1);
    }
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 10);
}

void TestAlarmQueueRepeats::recurrenceCount_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("withDialog");
    QTest::newRow("once, callback") << 1 << false;
    QTest::newRow("three times, callback") << 3 << false;
    QTest::newRow("three times, dialog") << 3 << true;
}

void TestAlarmQueueRepeats::recurrenceCount() {
    QFETCH(int, count);
    QFETCH(bool, withDialog);
    AlarmEvent event =
        withDialog ? dialogEvent(startMoment() + 300) : callbackEvent(startMoment() + 300);
    event.recurSecs = 300;
    event.recurCount = count;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    for (int i = 1; i <= count + 2; ++i) {
        clock->advance(300);
        if (withDialog && daemon->queue().isShowing(cookie)) {
            QVERIFY(daemon->ringing().contains(cookie));
            QVERIFY(daemon->queue().respond(cookie, 0));
        }
        if (i < count) {
            QCOMPARE(daemon->queue().event(cookie)->recurCount, count - i);
            QCOMPARE(triggerOf(cookie), startMoment() + 300 * (i + 1));
        }
    }
    QCOMPARE(triggered.count(), count);
    QVERIFY(!daemon->queue().event(cookie));
    QCOMPARE(clock->wakeTime(), qint64(-1));
    if (!withDialog) {
        QTRY_COMPARE(recorder->callsTo(recorderPath).size(), count);
    }
}

void TestAlarmQueueRepeats::recurringPastStartKeepsItsCount() {
    AlarmEvent event = callbackEvent(startMoment() - 150);
    event.recurSecs = 60;
    event.recurCount = 3;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), startMoment() + 30);
    QCOMPARE(daemon->queue().event(cookie)->recurCount, 3);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    clock->advance(30);
    clock->advance(60);
    clock->advance(60);
    clock->advance(60);
    QCOMPARE(triggered.count(), 3);
    QVERIFY(!daemon->queue().event(cookie));
}

void TestAlarmQueueRepeats::snooze_data() {
    QTest::addColumn<qint64>("snoozeSecs");
    QTest::addColumn<qint64>("interval");
    QTest::newRow("default") << qint64(0) << qint64(600);
    QTest::newRow("custom") << qint64(300) << qint64(300);
    QTest::newRow("floor") << qint64(3) << qint64(10);
}

void TestAlarmQueueRepeats::snooze() {
    QFETCH(qint64, snoozeSecs);
    QFETCH(qint64, interval);
    const qint64 first = startMoment() + 60;
    AlarmEvent event = dialogEvent(first);
    event.actions.prepend(callback(ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED));
    event.snoozeSecs = snoozeSecs;
    event.recurSecs = 3600;
    event.recurCount = 2;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);

    clock->advance(60);
    QVERIFY(daemon->ringing().contains(cookie));
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    QVERIFY(daemon->queue().respond(cookie, 2)); // Snooze
    QVERIFY(!daemon->ringing().contains(cookie));
    std::optional<AlarmEvent> snoozed = daemon->queue().event(cookie);
    QCOMPARE(snoozed->trigger, first + interval);
    QCOMPARE(snoozed->snoozeTotal, interval);
    QCOMPARE(snoozed->response, 2);
    QCOMPARE(snoozed->recurCount, 2);
    QCOMPARE(clock->wakeTime(), first + interval);

    clock->advance(interval - 1);
    QVERIFY(!daemon->ringing().contains(cookie));
    clock->advance(1);
    QVERIFY(daemon->ringing().contains(cookie));
    // Showing it again runs no triggered action a second time.
    QCoreApplication::processEvents();
    QCOMPARE(recorder->callsTo(recorderPath).size(), 1);

    QVERIFY(daemon->queue().respond(cookie, 1)); // Stop
    const std::optional<AlarmEvent> served = daemon->queue().event(cookie);
    QCOMPARE(served->recurCount, 1);
    QCOMPARE(served->trigger, first + 3600);
    QCOMPARE(served->snoozeTotal, qint64(0));
}

void TestAlarmQueueRepeats::missed_data() {
    QTest::addColumn<quint32>("flags");
    QTest::addColumn<qint64>("recurSecs");
    QTest::addColumn<int>("recurCount");
    QTest::addColumn<bool>("clockSet"); // else the machine slept through
    QTest::addColumn<qint64>("awake");  // seconds after the start
    QTest::addColumn<int>("triggers");
    QTest::addColumn<qint64>("next"); // seconds after the start, -1 for gone
    QTest::addColumn<int>("countLeft");

    const quint32 delayed = ALARM_EVENT_RUN_DELAYED;
    // The event is first due 60 s after the start.
    QTest::newRow("one-shot is dropped") << 0u << 0ll << 0 << true << 3630ll << 0 << -1ll << 0;
    QTest::newRow("one-shot is dropped after a sleep")
        << 0u << 0ll << 0 << false << 3630ll << 0 << -1ll << 0;
    QTest::newRow("one-shot runs delayed")
        << delayed << 0ll << 0 << true << 3630ll << 1 << -1ll << 0;
    QTest::newRow("one-shot runs delayed after a sleep")
        << delayed << 0ll << 0 << false << 3630ll << 1 << -1ll << 0;
    QTest::newRow("59 s late is not missed") << 0u << 0ll << 0 << false << 119ll << 1 << -1ll << 0;
    QTest::newRow("recurring moves to its next time")
        << 0u << 600ll << -1 << true << 3630ll << 0 << 3660ll << -1;
    QTest::newRow("recurring runs delayed once")
        << delayed << 600ll << -1 << false << 3630ll << 1 << 3660ll << -1;
    QTest::newRow("counted: the missed ones are used up")
        << 0u << 600ll << 3 << true << 760ll << 0 << 1260ll << 1;
    QTest::newRow("counted: delayed runs once for all missed")
        << delayed << 600ll << 3 << true << 760ll << 1 << 1260ll << 1;
    QTest::newRow("counted: series ended while away")
        << 0u << 600ll << 2 << true << 3630ll << 0 << -1ll << 0;
    QTest::newRow("counted: delayed runs its last one")
        << delayed << 600ll << 2 << true << 3630ll << 1 << -1ll << 0;
}

void TestAlarmQueueRepeats::missed() {
    QFETCH(quint32, flags);
    QFETCH(qint64, recurSecs);
    QFETCH(int, recurCount);
    QFETCH(bool, clockSet);
    QFETCH(qint64, awake);
    QFETCH(int, triggers);
    QFETCH(qint64, next);
    QFETCH(int, countLeft);

    AlarmEvent event = callbackEvent(startMoment() + 60);
    event.flags = flags;
    event.recurSecs = recurSecs;
    event.recurCount = recurCount;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    if (clockSet) {
        clock->jump(startMoment() + awake);
    } else {
        clock->advanceTo(startMoment() + awake);
    }
    QCOMPARE(triggered.count(), triggers);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), triggers);
    const std::optional<AlarmEvent> after = daemon->queue().event(cookie);
    if (next < 0) {
        QVERIFY(!after);
    } else {
        QVERIFY(after);
        QCOMPARE(after->trigger, startMoment() + next);
        QCOMPARE(after->recurCount, countLeft);
        QCOMPARE(clock->wakeTime(), startMoment() + next);
    }
}

PARDO_DBUS_TEST_MAIN(TestAlarmQueueRepeats)
#include "tst_alarmqueuerepeats.moc"
