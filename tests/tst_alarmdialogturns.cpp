#include <QDBusConnection>
#include <QSignalSpy>

#include <alarmd/libalarm.h>

#include "actionrunner.h"
#include "alarmdaemon.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "busrecorder.h"
#include "eventstore.h"
#include "manualclock.h"
#include "pardotest.h"
#include "queuefeed.h"
#include "ringrequest.h"
#include "silentsounddevice.h"

namespace {

QString recorderPath;

qint64 startMoment() {
    return QDateTime(QDate(2024, 3, 30), QTime(12, 0)).toSecsSinceEpoch();
}

// A dialog with "Stop" and "Snooze" that calls the recorder when it falls due.
AlarmEvent dialogEvent(qint64 when, const QString& message) {
    AlarmEvent event;
    event.appId = QStringLiteral("turns");
    event.title = QStringLiteral("Turns");
    event.message = message;
    event.alarmTime = when;
    AlarmAction stop;
    stop.label = QStringLiteral("Stop");
    stop.flags = ALARM_ACTION_WHEN_RESPONDED;
    AlarmAction snooze;
    snooze.label = QStringLiteral("Snooze");
    snooze.flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE;
    AlarmAction due;
    due.flags = ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED;
    due.dbusService = QLatin1String(BusRecorder::service);
    due.dbusPath = recorderPath;
    due.dbusInterface = QLatin1String(BusRecorder::interfaceName);
    due.dbusName = QStringLiteral("alarm_triggered");
    due.dbusArgs = {QVariant(message)};
    event.actions = {stop, snooze, due};
    return event;
}

} // namespace

// Alarm dialogs on screen: how many at once, in which order the others
// follow, and which of them come back after a restart.
class TestAlarmDialogTurns : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void unansweredDialogOpensAgainAfterARestart_data();
    void unansweredDialogOpensAgainAfterARestart();
    void atMostEightDialogsTheRestInOrder();
    void deletingMakesRoomOrLeavesTheLine();
    void waitingDialogsSurviveARestart();
    void unwritableQueueRefusesChanges();

private:
    void startDaemon();
    qint64 add(const AlarmEvent& event);
    // Cookies of the dialogs on screen, in cookie order.
    QList<qint64> onScreen() const;
    int triggeredCalls() const;

    std::unique_ptr<BusRecorder> recorder;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<AlarmDaemon> daemon;
    QString folder;
};

void TestAlarmDialogTurns::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    recorder = std::make_unique<BusRecorder>();
    QVERIFY(recorder->isServing());
}

void TestAlarmDialogTurns::cleanupTestCase() {
    recorder.reset();
}

void TestAlarmDialogTurns::init() {
    folder =
        TestEnvironment::current()->root() + QStringLiteral("/turns-") +
        QString::fromLatin1(QTest::currentTestFunction()) + QLatin1Char('-') +
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('_'));
    QDir(folder).removeRecursively();
    clock = std::make_unique<ManualClock>(startMoment());
    static int run = 0;
    recorderPath = QStringLiteral("%1/turns%2").arg(QLatin1String(BusRecorder::path)).arg(++run);
    startDaemon();
}

void TestAlarmDialogTurns::cleanup() {
    daemon.reset();
    clock.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestAlarmDialogTurns::startDaemon() {
    daemon = std::make_unique<AlarmDaemon>(*clock, folder, QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon->start(&error), qPrintable(error));
}

qint64 TestAlarmDialogTurns::add(const AlarmEvent& event) {
    return QueueFeed::add(daemon->queue(), event);
}

QList<qint64> TestAlarmDialogTurns::onScreen() const {
    QList<qint64> cookies = daemon->ringing();
    std::sort(cookies.begin(), cookies.end());
    return cookies;
}

int TestAlarmDialogTurns::triggeredCalls() const {
    return int(recorder->callsTo(recorderPath).size());
}

void TestAlarmDialogTurns::unansweredDialogOpensAgainAfterARestart_data() {
    QTest::addColumn<quint32>("flags");
    QTest::addColumn<qint64>("recurSecs");
    QTest::addColumn<qint64>("downFor");
    QTest::newRow("30 s later") << quint32(0) << qint64(0) << qint64(30);
    QTest::newRow("an hour later") << quint32(0) << qint64(0) << qint64(3600);
    QTest::newRow("three days later") << quint32(0) << qint64(0) << qint64(3 * 86400);
    QTest::newRow("run delayed, a day later")
        << quint32(ALARM_EVENT_RUN_DELAYED) << qint64(0) << qint64(86400);
    QTest::newRow("daily, a week later") << quint32(0) << qint64(86400) << qint64(7 * 86400);
}

void TestAlarmDialogTurns::unansweredDialogOpensAgainAfterARestart() {
    QFETCH(quint32, flags);
    QFETCH(qint64, recurSecs);
    QFETCH(qint64, downFor);
    AlarmEvent event = dialogEvent(startMoment() + 60, QStringLiteral("Unanswered"));
    event.flags = flags;
    event.recurSecs = recurSecs;
    event.recurCount = recurSecs > 0 ? -1 : 0;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    clock->advance(60);
    QVERIFY(daemon->ringing().contains(cookie));
    QTRY_COMPARE(triggeredCalls(), 1);

    daemon.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    clock->advance(downFor);
    startDaemon();
    QSignalSpy shown(&daemon->queue(), &AlarmQueue::dialogRequested);
    QTRY_VERIFY(daemon->ringing().contains(cookie));
    QCOMPARE(shown.count(), 1);
    QCOMPARE(AlarmDaemon::ringOf(*daemon->queue().event(cookie)).message,
             QStringLiteral("Unanswered"));
    QCOMPARE(daemon->queue().event(cookie)->occurrence, startMoment() + 60);
    // Its triggered actions ran when it fell due, not again.
    QTest::qWait(200);
    QCOMPARE(triggeredCalls(), 1);

    QVERIFY(daemon->queue().respond(cookie, 0));
    QVERIFY(!daemon->ringing().contains(cookie));
    daemon.reset();
    startDaemon();
    QTest::qWait(100);
    QVERIFY(daemon->ringing().isEmpty());
    QCOMPARE(bool(daemon->queue().event(cookie)), recurSecs > 0);
}

void TestAlarmDialogTurns::atMostEightDialogsTheRestInOrder() {
    // Due times from the latest cookie to the earliest, two events a minute:
    // the order of turns is due time, then cookie.
    QList<qint64> cookies;
    for (int i = 0; i < 20; ++i) {
        const qint64 when = startMoment() + 60 + 60 * ((19 - i) / 2);
        cookies.append(add(dialogEvent(when, QStringLiteral("Alarm %1").arg(i))));
        QVERIFY(cookies.last() > 0);
    }
    QList<qint64> turns = cookies;
    std::sort(turns.begin(), turns.end(), [this](qint64 a, qint64 b) {
        const qint64 dueA = daemon->queue().event(a)->trigger;
        const qint64 dueB = daemon->queue().event(b)->trigger;
        return dueA != dueB ? dueA < dueB : a < b;
    });
    QSignalSpy shown(&daemon->queue(), &AlarmQueue::dialogRequested);
    for (int minute = 0; minute < 10; ++minute) {
        clock->advance(60);
    }
    // Every one fell due: their triggered actions ran, whether shown or waiting.
    QTRY_COMPARE(triggeredCalls(), 20);
    QCOMPARE(daemon->ringing().size(), AlarmQueue::maxDialogs);
    QList<qint64> expected = turns.mid(0, 8);
    std::sort(expected.begin(), expected.end());
    QCOMPARE(onScreen(), expected);
    // A waiting one has no dialog to answer yet.
    QVERIFY(!daemon->queue().respond(turns[8], 0));
    QVERIFY(!daemon->queue().isShowing(turns[8]));

    QList<qint64> answered;
    while (!daemon->ringing().isEmpty()) {
        const QList<qint64> open = onScreen();
        QVERIFY(open.size() <= AlarmQueue::maxDialogs);
        // Answer the one longest on screen.
        const qint64 next = turns[answered.size()];
        QVERIFY2(open.contains(next), qPrintable(QString::number(next)));
        QVERIFY(daemon->queue().respond(next, 0));
        answered.append(next);
        const int waiting = 20 - int(answered.size());
        QCOMPARE(daemon->ringing().size(), std::min(waiting, AlarmQueue::maxDialogs));
        if (waiting >= AlarmQueue::maxDialogs) {
            QVERIFY(daemon->ringing().contains(turns[answered.size() + 7]));
        }
    }
    QCOMPARE(answered, turns);
    QCOMPARE(shown.count(), 20);
    QCOMPARE(daemon->queue().size(), 0);
    QCOMPARE(triggeredCalls(), 20);
}

void TestAlarmDialogTurns::deletingMakesRoomOrLeavesTheLine() {
    QList<qint64> cookies;
    for (int i = 0; i < 10; ++i) {
        cookies.append(add(dialogEvent(startMoment() + 60, QStringLiteral("Alarm %1").arg(i))));
    }
    clock->advance(60);
    QCOMPARE(onScreen(), cookies.mid(0, 8));
    // A waiting one leaves the line and never shows.
    QVERIFY(daemon->queue().remove(cookies[8]));
    QCOMPARE(onScreen(), cookies.mid(0, 8));
    // A withdrawn dialog makes room for the next in line.
    QVERIFY(daemon->queue().remove(cookies[0]));
    QCOMPARE(onScreen(), cookies.mid(1, 7) + QList<qint64>{cookies[9]});
    // A snooze makes room as well, and the snoozed one queues again when it is due.
    QVERIFY(daemon->queue().respond(cookies[1], 1));
    QCOMPARE(daemon->ringing().size(), 7);
    QVERIFY(!daemon->ringing().contains(cookies[1]));
}

void TestAlarmDialogTurns::waitingDialogsSurviveARestart() {
    QList<qint64> cookies;
    for (int i = 0; i < 12; ++i) {
        cookies.append(add(dialogEvent(startMoment() + 60, QStringLiteral("Alarm %1").arg(i))));
    }
    clock->advance(60);
    QTRY_COMPARE(triggeredCalls(), 12);
    QCOMPARE(onScreen(), cookies.mid(0, 8));

    daemon.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    clock->advance(2 * 86400);
    startDaemon();
    QTRY_COMPARE(daemon->ringing().size(), AlarmQueue::maxDialogs);
    QCOMPARE(onScreen(), cookies.mid(0, 8));
    for (int i = 0; i < 12; ++i) {
        QVERIFY(daemon->queue().respond(cookies[i], 0));
    }
    QVERIFY(daemon->ringing().isEmpty());
    QCOMPARE(daemon->queue().size(), 0);
    QTest::qWait(100);
    QCOMPARE(triggeredCalls(), 12);
}

void TestAlarmDialogTurns::unwritableQueueRefusesChanges() {
    daemon.reset();
    EventStore store(folder);
    QString error;
    QVERIFY2(store.open(&error), qPrintable(error));
    ActionRunner runner(QDBusConnection::sessionBus());
    AlarmQueue queue(*clock, store, runner);
    queue.load();
    QString refusal;
    bool storageFailed = true;
    const qint64 kept = queue.add(dialogEvent(startMoment() + 600, QStringLiteral("Kept")),
                                  &refusal, &storageFailed);
    QVERIFY(kept > 0);
    QVERIFY(!storageFailed);

    store.failWrites(QStringLiteral("No space left on device"));
    QCOMPARE(queue.add(dialogEvent(startMoment() + 600, QStringLiteral("Lost")), &refusal,
                       &storageFailed),
             qint64(0));
    QVERIFY(storageFailed);
    QVERIFY2(refusal.contains(QStringLiteral("No space left on device")), qPrintable(refusal));
    QCOMPARE(queue.size(), 1);

    QString removeError;
    QVERIFY(!queue.remove(kept, &removeError));
    QVERIFY2(removeError.contains(QStringLiteral("No space left on device")),
             qPrintable(removeError));
    QVERIFY(queue.event(kept));
    // A cookie it does not know is no storage failure.
    QVERIFY(!queue.remove(kept + 100, &removeError));
    QVERIFY(removeError.isEmpty());

    // A refused event stays refused, not a storage failure.
    AlarmEvent noApp = dialogEvent(startMoment() + 600, QStringLiteral("No app"));
    noApp.appId.clear();
    QCOMPARE(queue.add(noApp, &refusal, &storageFailed), qint64(0));
    QVERIFY(!storageFailed);

    store.failWrites(QString());
    QVERIFY(queue.remove(kept, &removeError));
    QCOMPARE(queue.size(), 0);
}

PARDO_DBUS_TEST_MAIN(TestAlarmDialogTurns)
#include "tst_alarmdialogturns.moc"
