#include <QDBusConnection>
#include <QSignalSpy>

#include <alarmd/libalarm.h>

#include <ctime>

#include "alarmdaemon.h"
#include "alarmqueue.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "systemclock.h"

// The real-time clock, in real time: a few seconds of waiting.
class TestSystemClock : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void wakesInTheRequestedSecond();
    void laterRequestReplacesTheEarlier();
    void pastMomentWakesAtOnce();
    void cancelledWakeStaysQuiet();
    void queueOnTheSystemClockShowsTheDialog();
};

void TestSystemClock::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
}

void TestSystemClock::wakesInTheRequestedSecond() {
    SystemClock clock;
    QVERIFY(clock.isValid());
    for (int round = 0; round < 2; ++round) {
        const qint64 moment = clock.now() + 1;
        qint64 seenAt = 0;
        connect(&clock, &Clock::woke, this, [&clock, &seenAt] { seenAt = clock.now(); });
        QSignalSpy woke(&clock, &Clock::woke);
        clock.wakeAt(moment);
        QVERIFY(woke.wait(5000));
        // Never before the moment, as the clock itself tells it.
        QCOMPARE(seenAt, moment);
        QCOMPARE(woke.count(), 1);
        disconnect(&clock, &Clock::woke, this, nullptr);
    }
    QVERIFY(clock.wakeups() >= 2);
}

void TestSystemClock::laterRequestReplacesTheEarlier() {
    SystemClock clock;
    const qint64 moment = clock.now() + 2;
    QSignalSpy woke(&clock, &Clock::woke);
    clock.wakeAt(moment - 1);
    clock.wakeAt(moment);
    QVERIFY(woke.wait(5000));
    QVERIFY(clock.now() >= moment);
    QCOMPARE(woke.count(), 1);
}

void TestSystemClock::pastMomentWakesAtOnce() {
    SystemClock clock;
    QSignalSpy woke(&clock, &Clock::woke);
    clock.wakeAt(clock.now() - 3600);
    QVERIFY(woke.wait(1000));
}

void TestSystemClock::cancelledWakeStaysQuiet() {
    SystemClock clock;
    QSignalSpy woke(&clock, &Clock::woke);
    clock.wakeAt(clock.now() + 1);
    clock.cancelWake();
    QVERIFY(!woke.wait(2500));
    QCOMPARE(clock.wakeups(), quint64(0));
}

void TestSystemClock::queueOnTheSystemClockShowsTheDialog() {
    SystemClock clock;
    AlarmDaemon daemon(clock, TestEnvironment::current()->root() + QStringLiteral("/system"),
                       QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon.start(&error), qPrintable(error));
    AlarmEvent event;
    event.appId = QStringLiteral("test");
    event.title = QStringLiteral("Now");
    event.alarmTime = clock.now() + 1;
    AlarmAction stop;
    stop.label = QStringLiteral("Stop");
    stop.flags = ALARM_ACTION_WHEN_RESPONDED;
    event.actions = {stop};
    const qint64 cookie = daemon.queue().add(event, &error);
    QVERIFY2(cookie > 0, qPrintable(error));
    QCOMPARE(daemon.queue().nextWake(), event.alarmTime);
    QTRY_VERIFY_WITH_TIMEOUT(daemon.ringing().contains(cookie), 5000);
    QVERIFY(clock.now() >= event.alarmTime);
    QVERIFY(daemon.queue().isShowing(cookie));
    QCOMPARE(daemon.queue().nextWake(), qint64(-1));
}

PARDO_DBUS_TEST_MAIN(TestSystemClock)
#include "tst_systemclock.moc"
