#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <alarmd/libalarm.h>

#include "alarmdaemon.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "alarmsound.h"
#include "ringdispatcher.h"
#include "ringrequest.h"
#include "busrecorder.h"
#include "manualclock.h"
#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

QString recorderPath;

qint64 startMoment() {
    return QDateTime(QDate(2024, 3, 30), QTime(12, 0)).toSecsSinceEpoch();
}

AlarmAction button(const QString& label, quint32 flags) {
    AlarmAction action;
    action.label = label;
    action.flags = flags | ALARM_ACTION_WHEN_RESPONDED;
    return action;
}

AlarmAction call(const QString& label, quint32 flags, const QString& method,
                 const QVariantList& args = {}) {
    AlarmAction action;
    action.label = label;
    action.flags = flags | ALARM_ACTION_TYPE_DBUS;
    action.dbusService = QLatin1String(BusRecorder::service);
    action.dbusPath = recorderPath;
    action.dbusInterface = QLatin1String(BusRecorder::interfaceName);
    action.dbusName = method;
    action.dbusArgs = args;
    return action;
}

// The application's dialog set: "Stop", "Snooze" and a button that calls back.
AlarmEvent applicationEvent() {
    AlarmEvent event;
    event.appId = QStringLiteral("PARDO");
    event.title = QStringLiteral("PARDO");
    event.message = QStringLiteral("Water the plants - the big ones");
    event.alarmTime = startMoment() + 60;
    event.actions = {button(QStringLiteral("Stop"), 0),
                     button(QStringLiteral("Snooze"), ALARM_ACTION_TYPE_SNOOZE),
                     call(QStringLiteral("PARDO"), ALARM_ACTION_WHEN_RESPONDED,
                          QStringLiteral("top_application"), {QVariant(5), QVariant(2)})};
    return event;
}

QStringList labels(const RingRequest& ring) {
    QStringList texts;
    for (const RingButton& button : ring.buttons) {
        texts << ring.buttonText(button);
    }
    return texts;
}

} // namespace

class TestAlarmResponses : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void ringShowsTitleDueTimeMessageAndButtons();
    void onlyButtonsBecomeButtons();
    void labelsAreHandedOnAsWritten();
    void pressingAButtonRunsItsAction();
    void stopServesTheEvent();
    void snoozeShowsItAgainLater();
    void closingIsTheFirstButton_data();
    void closingIsTheFirstButton();
    void respondOverTheBus();
    void soundRingsUntilTheLastDialogIsAnswered();
    void soundStopsAfterItsLimit();

private:
    // Adds the event and lets it fall due; its ring, or an empty one when it does not ring.
    RingRequest showDue(const AlarmEvent& event, qint64* cookie = nullptr);
    bool isRinging(qint64 cookie) const { return daemon->ringing().contains(cookie); }
    QDBusMessage callDaemon(const QString& method, const QVariantList& args);

    std::unique_ptr<BusRecorder> recorder;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<AlarmDaemon> daemon;
};

void TestAlarmResponses::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    recorder = std::make_unique<BusRecorder>();
    QVERIFY(recorder->isServing());
    QVERIFY(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("client"))
                .isConnected());
}

void TestAlarmResponses::cleanupTestCase() {
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    recorder.reset();
}

void TestAlarmResponses::init() {
    static int run = 0;
    recorderPath = QStringLiteral("%1/t%2").arg(QLatin1String(BusRecorder::path)).arg(++run);
    const QString folder =
        TestEnvironment::current()->root() + QStringLiteral("/dialog-%1").arg(run);
    clock = std::make_unique<ManualClock>(startMoment());
    daemon = std::make_unique<AlarmDaemon>(*clock, folder, QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon->start(&error), qPrintable(error));
}

void TestAlarmResponses::cleanup() {
    daemon.reset();
    clock.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

RingRequest TestAlarmResponses::showDue(const AlarmEvent& event, qint64* cookie) {
    QString refusal;
    const qint64 added = daemon->queue().add(event, &refusal);
    if (cookie) {
        *cookie = added;
    }
    if (added == 0) {
        qWarning("refused: %s", qPrintable(refusal));
        return RingRequest();
    }
    clock->advanceTo(event.alarmTime);
    if (!daemon->ringing().contains(added)) {
        return RingRequest();
    }
    return AlarmDaemon::ringOf(*daemon->queue().event(added));
}

QDBusMessage TestAlarmResponses::callDaemon(const QString& method, const QVariantList& args) {
    // The daemon is in this process, reachable under its connection's unique name.
    QDBusMessage message = QDBusMessage::createMethodCall(
        QDBusConnection::sessionBus().baseService(), QLatin1String(AlarmDaemon::objectPath),
        QStringLiteral("org.velmar.alarmd"), method);
    message.setArguments(args);
    QDBusPendingCall pending = QDBusConnection(QStringLiteral("client")).asyncCall(message, 10000);
    if (!QTest::qWaitFor([&pending] { return pending.isFinished(); }, 10000)) {
        return QDBusMessage();
    }
    return pending.reply();
}

void TestAlarmResponses::ringShowsTitleDueTimeMessageAndButtons() {
    qint64 cookie = 0;
    const RingRequest ring = showDue(applicationEvent(), &cookie);
    QCOMPARE(ring.cookie, cookie);
    QCOMPARE(ring.title, QStringLiteral("PARDO"));
    QCOMPARE(ring.trigger, startMoment() + 60);
    QCOMPARE(ring.message, QStringLiteral("Water the plants - the big ones"));
    QCOMPARE(labels(ring), (QStringList{QStringLiteral("Stop"), QStringLiteral("Snooze 10 min"),
                                        QStringLiteral("PARDO")}));
    QCOMPARE(ring.snoozeSecs, 600);
    QCOMPARE(ring.firstAction(), 0);
    QCOMPARE(daemon->rings().route(cookie), RingDispatcher::Waiting);
}

void TestAlarmResponses::onlyButtonsBecomeButtons() {
    AlarmEvent event = applicationEvent();
    // Runs when due; a label without the responded flag makes no button.
    event.actions.prepend(call(QStringLiteral("Not a button"), ALARM_ACTION_WHEN_TRIGGERED,
                               QStringLiteral("alarm_triggered"), {QVariant(1), QVariant(0)}));
    event.actions.append(button(QStringLiteral("Later"), ALARM_ACTION_TYPE_SNOOZE));
    event.snoozeSecs = 5400;
    const RingRequest ring = showDue(event);
    QCOMPARE(labels(ring),
             (QStringList{QStringLiteral("Stop"), QStringLiteral("Snooze 1 h 30 min"),
                          QStringLiteral("PARDO"), QStringLiteral("Later 1 h 30 min")}));
    QCOMPARE(ring.buttons.first().action, 1);
    QCOMPARE(ring.buttons.last().action, 4);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    QCOMPARE(recorder->callsTo(recorderPath).first().member, QStringLiteral("alarm_triggered"));
}

void TestAlarmResponses::labelsAreHandedOnAsWritten() {
    AlarmEvent event = applicationEvent();
    event.actions[0].label = QStringLiteral("&Stop & <b>go</b>");
    const RingRequest ring = showDue(event);
    QCOMPARE(ring.buttons.first().label, QStringLiteral("&Stop & <b>go</b>"));
}

void TestAlarmResponses::pressingAButtonRunsItsAction() {
    qint64 cookie = 0;
    QVERIFY(!showDue(applicationEvent(), &cookie).buttons.isEmpty());
    QVERIFY(daemon->queue().respond(cookie, 2));
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    const BusRecorder::Call received = recorder->callsTo(recorderPath).first();
    QCOMPARE(received.interface, QLatin1String(BusRecorder::interfaceName));
    QCOMPARE(received.member, QStringLiteral("top_application"));
    QCOMPARE(received.arguments, (QVariantList{QVariant(5), QVariant(2)}));
    QCOMPARE(received.arguments.at(0).metaType(), QMetaType::fromType<int>());
    QCOMPARE(received.arguments.at(1).metaType(), QMetaType::fromType<int>());
    QVERIFY(!isRinging(cookie));
    QVERIFY(!daemon->queue().event(cookie));
}

void TestAlarmResponses::stopServesTheEvent() {
    AlarmEvent event = applicationEvent();
    event.recurSecs = 3600;
    event.recurCount = 2;
    qint64 cookie = 0;
    QVERIFY(!showDue(event, &cookie).buttons.isEmpty());
    QVERIFY(daemon->queue().respond(cookie, 0));
    QVERIFY(!isRinging(cookie));
    QCOMPARE(daemon->queue().event(cookie)->trigger, event.alarmTime + 3600);
    QCOMPARE(daemon->queue().event(cookie)->recurCount, 1);
    QCOMPARE(daemon->queue().event(cookie)->response, 0);
    QCoreApplication::processEvents();
    QCOMPARE(recorder->callsTo(recorderPath).size(), 0);
}

void TestAlarmResponses::snoozeShowsItAgainLater() {
    AlarmEvent event = applicationEvent();
    event.snoozeSecs = 300;
    qint64 cookie = 0;
    QVERIFY(!showDue(event, &cookie).buttons.isEmpty());
    QVERIFY(daemon->queue().respond(cookie, 1));
    QVERIFY(!isRinging(cookie));
    QCOMPARE(daemon->queue().event(cookie)->trigger, event.alarmTime + 300);
    clock->advance(300);
    QVERIFY(isRinging(cookie));
    // The second showing tells when it was due this time.
    QCOMPARE(AlarmDaemon::ringOf(*daemon->queue().event(cookie)).trigger, event.alarmTime + 300);
}

void TestAlarmResponses::closingIsTheFirstButton_data() {
    QTest::addColumn<bool>("snoozeFirst");
    QTest::newRow("Stop first") << false;
    QTest::newRow("Snooze first") << true;
}

void TestAlarmResponses::closingIsTheFirstButton() {
    QFETCH(bool, snoozeFirst);
    AlarmEvent event = applicationEvent();
    if (snoozeFirst) {
        event.actions.swapItemsAt(0, 1);
    }
    qint64 cookie = 0;
    const RingRequest ring = showDue(event, &cookie);
    // A closed window or notification answers with the ring's first action.
    QVERIFY(daemon->queue().respond(cookie, ring.firstAction()));
    QVERIFY(!daemon->queue().isShowing(cookie));
    const std::optional<AlarmEvent> after = daemon->queue().event(cookie);
    if (snoozeFirst) {
        QVERIFY(after);
        QVERIFY(after->snoozed);
        QCOMPARE(after->response, 0);
        QCOMPARE(after->trigger, event.alarmTime + 600);
    } else {
        QVERIFY(!after);
    }
}

void TestAlarmResponses::respondOverTheBus() {
    qint64 cookie = 0;
    QVERIFY(!showDue(applicationEvent(), &cookie).buttons.isEmpty());
    AlarmEvent later = applicationEvent();
    later.alarmTime += 3600;
    const qint64 notShowing = daemon->queue().add(later);
    QVERIFY(notShowing > 0);
    QDBusMessage reply = callDaemon(QStringLiteral("respond"), {qlonglong(notShowing), 0});
    QCOMPARE(reply.arguments().value(0).toBool(), false);
    reply = callDaemon(QStringLiteral("respond"), {qlonglong(cookie), 3});
    QCOMPARE(reply.arguments().value(0).toBool(), false);
    reply = callDaemon(QStringLiteral("respond"), {qlonglong(cookie + 100), 0});
    QCOMPARE(reply.arguments().value(0).toBool(), false);
    QVERIFY(isRinging(cookie));

    reply = callDaemon(QStringLiteral("respond"), {qlonglong(cookie), 2});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments().value(0).toBool(), true);
    QVERIFY(!isRinging(cookie));
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    reply = callDaemon(QStringLiteral("respond"), {qlonglong(cookie), 2});
    QCOMPARE(reply.arguments().value(0).toBool(), false);
}

void TestAlarmResponses::soundRingsUntilTheLastDialogIsAnswered() {
    qint64 first = 0;
    QVERIFY(!showDue(applicationEvent(), &first).buttons.isEmpty());
    QVERIFY(daemon->sound().isRinging());
    const int plays = daemon->sound().plays();
    QVERIFY(plays >= 1);
    AlarmEvent another = applicationEvent();
    another.alarmTime += 60;
    qint64 second = 0;
    QVERIFY(!showDue(another, &second).buttons.isEmpty());
    QVERIFY(daemon->sound().plays() > plays);
    QVERIFY(daemon->queue().respond(first, 0));
    QVERIFY(daemon->sound().isRinging());
    QVERIFY(daemon->queue().respond(second, 0));
    QVERIFY(!daemon->sound().isRinging());
}

void TestAlarmResponses::soundStopsAfterItsLimit() {
    daemon->sound().setLimit(2500);
    QVERIFY(!showDue(applicationEvent()).buttons.isEmpty());
    QVERIFY(daemon->sound().isRinging());
    // The silent device ends the sound at once, so it is started again.
    QTRY_VERIFY_WITH_TIMEOUT(daemon->sound().plays() >= 2, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(!daemon->sound().isRinging(), 10000);
    // The ring itself stays until it is answered.
    QCOMPARE(daemon->ringing().size(), 1);
}

PARDO_DBUS_TEST_MAIN(TestAlarmResponses)
#include "tst_alarmresponses.moc"
