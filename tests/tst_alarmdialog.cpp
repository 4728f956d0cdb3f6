#include <QDBusConnection>
#include <QDBusMessage>
#include <QAccessible>
#include <QDBusPendingCall>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>

#include <alarmd/libalarm.h>

#include "alarmdaemon.h"
#include "alarmdialog.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "alarmsound.h"
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

QStringList labels(const AlarmDialog* dialog) {
    QStringList texts;
    for (const QPushButton* button : dialog->buttons()) {
        texts << button->text();
    }
    return texts;
}

} // namespace

class TestAlarmDialog : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void showsTitleDueTimeMessageAndButtons();
    void onlyButtonsBecomeButtons();
    void messageIsPlainText();
    void labelsAreShownAsWritten_data();
    void labelsAreShownAsWritten();
    void pressingAButtonRunsItsAction();
    void stopServesTheEvent();
    void snoozeShowsItAgainLater();
    void closingTheWindowIsTheFirstButton_data();
    void closingTheWindowIsTheFirstButton();
    void respondOverTheBus();
    void soundRingsUntilTheLastDialogIsAnswered();
    void soundStopsAfterItsLimit();

private:
    AlarmDialog* showDue(const AlarmEvent& event, qint64* cookie = nullptr);
    QDBusMessage callDaemon(const QString& method, const QVariantList& args);

    std::unique_ptr<BusRecorder> recorder;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<AlarmDaemon> daemon;
};

void TestAlarmDialog::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    recorder = std::make_unique<BusRecorder>();
    QVERIFY(recorder->isServing());
    QVERIFY(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("client"))
                .isConnected());
}

void TestAlarmDialog::cleanupTestCase() {
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    recorder.reset();
}

void TestAlarmDialog::init() {
    static int run = 0;
    recorderPath = QStringLiteral("%1/t%2").arg(QLatin1String(BusRecorder::path)).arg(++run);
    const QString folder =
        TestEnvironment::current()->root() + QStringLiteral("/dialog-%1").arg(run);
    clock = std::make_unique<ManualClock>(startMoment());
    daemon = std::make_unique<AlarmDaemon>(*clock, folder, QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon->start(&error), qPrintable(error));
}

void TestAlarmDialog::cleanup() {
    daemon.reset();
    clock.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

AlarmDialog* TestAlarmDialog::showDue(const AlarmEvent& event, qint64* cookie) {
    QString refusal;
    const qint64 added = daemon->queue().add(event, &refusal);
    if (cookie) {
        *cookie = added;
    }
    if (added == 0) {
        qWarning("refused: %s", qPrintable(refusal));
        return nullptr;
    }
    clock->advanceTo(event.alarmTime);
    return daemon->dialog(added);
}

QDBusMessage TestAlarmDialog::callDaemon(const QString& method, const QVariantList& args) {
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

void TestAlarmDialog::showsTitleDueTimeMessageAndButtons() {
    AlarmDialog* dialog = showDue(applicationEvent());
    QVERIFY(dialog);
    QVERIFY(dialog->isWindow());
    QVERIFY(dialog->isVisible());
    QVERIFY(dialog->windowFlags() & Qt::WindowStaysOnTopHint);
    QCOMPARE(dialog->windowTitle(), QStringLiteral("PARDO"));
    const QLocale locale;
    QCOMPARE(dialog->findChild<QLabel*>(QStringLiteral("dueTime"))->text(),
             locale.toString(QTime(12, 1), QLocale::ShortFormat));
    QCOMPARE(dialog->findChild<QLabel*>(QStringLiteral("dueDate"))->text(),
             locale.toString(QDate(2024, 3, 30), QLocale::LongFormat));
    QVERIFY(dialog->dueText().startsWith(QStringLiteral("12:01")));
    QCOMPARE(dialog->messageText(), QStringLiteral("Water the plants - the big ones"));
    QCOMPARE(labels(dialog), (QStringList{QStringLiteral("Stop"), QStringLiteral("Snooze"),
                                          QStringLiteral("PARDO")}));
    for (QPushButton* button : dialog->buttons()) {
        QVERIFY(button->isVisible());
    }
}

void TestAlarmDialog::onlyButtonsBecomeButtons() {
    AlarmEvent event = applicationEvent();
    // Runs when due; a label without the responded flag makes no button.
    event.actions.prepend(call(QStringLiteral("Not a button"), ALARM_ACTION_WHEN_TRIGGERED,
                               QStringLiteral("alarm_triggered"), {QVariant(1), QVariant(0)}));
    event.actions.append(button(QStringLiteral("Later"), ALARM_ACTION_TYPE_SNOOZE));
    AlarmDialog* dialog = showDue(event);
    QVERIFY(dialog);
    QCOMPARE(labels(dialog), (QStringList{QStringLiteral("Stop"), QStringLiteral("Snooze"),
                                          QStringLiteral("PARDO"), QStringLiteral("Later")}));
    QCOMPARE(dialog->buttons().first()->objectName(), QStringLiteral("action1"));
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    QCOMPARE(recorder->callsTo(recorderPath).first().member, QStringLiteral("alarm_triggered"));
}

void TestAlarmDialog::messageIsPlainText() {
    AlarmEvent event = applicationEvent();
    event.message = QStringLiteral("<b>not bold</b> & <a href=\"x\">no link</a>");
    AlarmDialog* dialog = showDue(event);
    QVERIFY(dialog);
    const QLabel* message = dialog->findChild<QLabel*>(QStringLiteral("message"));
    QCOMPARE(message->textFormat(), Qt::PlainText);
    QCOMPARE(message->text(), event.message);
}

void TestAlarmDialog::labelsAreShownAsWritten_data() {
    QTest::addColumn<QString>("label");
    QTest::newRow("leading ampersand") << QStringLiteral("&Snooze");
    QTest::newRow("ampersand between words") << QStringLiteral("Tom & Jerry");
    QTest::newRow("doubled ampersand") << QStringLiteral("A && B");
    QTest::newRow("trailing ampersand") << QStringLiteral("Stop&");
}

void TestAlarmDialog::labelsAreShownAsWritten() {
    QFETCH(QString, label);
    AlarmEvent event = applicationEvent();
    event.actions[1].label = label;
    AlarmDialog* dialog = showDue(event);
    QVERIFY(dialog);
    QPushButton* button = dialog->buttons().at(1);
    // What is drawn and read out is the label itself, and no key presses it.
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(button);
    QVERIFY(accessible);
    QCOMPARE(accessible->text(QAccessible::Name), label);
    QCOMPARE(QKeySequence::mnemonic(button->text()), QKeySequence());
    QVERIFY(button->shortcut().isEmpty());
}

void TestAlarmDialog::pressingAButtonRunsItsAction() {
    qint64 cookie = 0;
    QPointer<AlarmDialog> dialog = showDue(applicationEvent(), &cookie);
    QVERIFY(dialog);
    QTest::mouseClick(dialog->buttons().at(2), Qt::LeftButton);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    const BusRecorder::Call received = recorder->callsTo(recorderPath).first();
    QCOMPARE(received.interface, QLatin1String(BusRecorder::interfaceName));
    QCOMPARE(received.member, QStringLiteral("top_application"));
    QCOMPARE(received.arguments, (QVariantList{QVariant(5), QVariant(2)}));
    QCOMPARE(received.arguments.at(0).metaType(), QMetaType::fromType<int>());
    QCOMPARE(received.arguments.at(1).metaType(), QMetaType::fromType<int>());
    QTRY_VERIFY(!dialog);
    QVERIFY(!daemon->queue().event(cookie));
}

void TestAlarmDialog::stopServesTheEvent() {
    AlarmEvent event = applicationEvent();
    event.recurSecs = 3600;
    event.recurCount = 2;
    qint64 cookie = 0;
    QPointer<AlarmDialog> dialog = showDue(event, &cookie);
    QVERIFY(dialog);
    QTest::mouseClick(dialog->buttons().at(0), Qt::LeftButton);
    QTRY_VERIFY(!dialog);
    QCOMPARE(daemon->queue().event(cookie)->trigger, event.alarmTime + 3600);
    QCOMPARE(daemon->queue().event(cookie)->recurCount, 1);
    QCOMPARE(daemon->queue().event(cookie)->response, 0);
    QCoreApplication::processEvents();
    QCOMPARE(recorder->callsTo(recorderPath).size(), 0);
}

void TestAlarmDialog::snoozeShowsItAgainLater() {
    AlarmEvent event = applicationEvent();
    event.snoozeSecs = 300;
    qint64 cookie = 0;
    QPointer<AlarmDialog> dialog = showDue(event, &cookie);
    QVERIFY(dialog);
    QTest::mouseClick(dialog->buttons().at(1), Qt::LeftButton);
    QTRY_VERIFY(!dialog);
    QCOMPARE(daemon->queue().event(cookie)->trigger, event.alarmTime + 300);
    clock->advance(300);
    dialog = daemon->dialog(cookie);
    QVERIFY(dialog);
    // The second showing tells when it was due this time.
    QCOMPARE(dialog->findChild<QLabel*>(QStringLiteral("dueTime"))->text(),
             QLocale().toString(QTime(12, 6), QLocale::ShortFormat));
}

void TestAlarmDialog::closingTheWindowIsTheFirstButton_data() {
    QTest::addColumn<bool>("snoozeFirst");
    QTest::newRow("Stop first") << false;
    QTest::newRow("Snooze first") << true;
}

void TestAlarmDialog::closingTheWindowIsTheFirstButton() {
    QFETCH(bool, snoozeFirst);
    AlarmEvent event = applicationEvent();
    if (snoozeFirst) {
        event.actions.swapItemsAt(0, 1);
    }
    qint64 cookie = 0;
    QPointer<AlarmDialog> dialog = showDue(event, &cookie);
    QVERIFY(dialog);
    QVERIFY(dialog->close());
    QTRY_VERIFY(!dialog);
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

void TestAlarmDialog::respondOverTheBus() {
    qint64 cookie = 0;
    QPointer<AlarmDialog> dialog = showDue(applicationEvent(), &cookie);
    QVERIFY(dialog);
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
    QVERIFY(dialog);

    reply = callDaemon(QStringLiteral("respond"), {qlonglong(cookie), 2});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments().value(0).toBool(), true);
    QTRY_VERIFY(!dialog);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    reply = callDaemon(QStringLiteral("respond"), {qlonglong(cookie), 2});
    QCOMPARE(reply.arguments().value(0).toBool(), false);
}

void TestAlarmDialog::soundRingsUntilTheLastDialogIsAnswered() {
    qint64 first = 0;
    QVERIFY(showDue(applicationEvent(), &first));
    QVERIFY(daemon->sound().isRinging());
    const int plays = daemon->sound().plays();
    QVERIFY(plays >= 1);
    AlarmEvent another = applicationEvent();
    another.alarmTime += 60;
    qint64 second = 0;
    QVERIFY(showDue(another, &second));
    QVERIFY(daemon->sound().plays() > plays);
    QVERIFY(daemon->queue().respond(first, 0));
    QVERIFY(daemon->sound().isRinging());
    QVERIFY(daemon->queue().respond(second, 0));
    QVERIFY(!daemon->sound().isRinging());
}

void TestAlarmDialog::soundStopsAfterItsLimit() {
    daemon->sound().setLimit(2500);
    QVERIFY(showDue(applicationEvent()));
    QVERIFY(daemon->sound().isRinging());
    // The silent device ends the sound at once, so it is started again.
    QTRY_VERIFY_WITH_TIMEOUT(daemon->sound().plays() >= 2, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(!daemon->sound().isRinging(), 10000);
    // The dialog itself stays until it is answered.
    QCOMPARE(daemon->dialogs().size(), 1);
}

PARDO_DBUS_TEST_MAIN(TestAlarmDialog)
#include "tst_alarmdialog.moc"
