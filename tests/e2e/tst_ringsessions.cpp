#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <alarmd/libalarm.h>

#include <csignal>
#include <ctime>
#include <memory>

#include "daemonprocess.h"
#include "fakenotifications.h"
#include "fakesystemd.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "xserver.h"

namespace {

// The daemon starts the ring window program again this fast after it was killed.
#ifdef PARDO_SANITIZED
constexpr int backWithinMs = 10000;
#else
constexpr int backWithinMs = 2000;
#endif

// A ring with "Stop" and "Snooze" (5 minutes), due `inSeconds` from now.
cookie_t addRing(const char* title, int inSeconds) {
    alarm_event_t* event = alarm_event_create();
    alarm_event_set_alarm_appid(event, "sessions");
    alarm_event_set_title(event, title);
    alarm_event_set_message(event, "Time to go");
    event->alarm_time = time(nullptr) + inSeconds;
    event->snooze_secs = 300;
    alarm_action_t* actions = alarm_event_add_actions(event, 2);
    alarm_action_set_label(&actions[0], "Stop");
    actions[0].flags = ALARM_ACTION_WHEN_RESPONDED;
    alarm_action_set_label(&actions[1], "Snooze");
    actions[1].flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE;
    const cookie_t cookie = alarmd_event_add(event);
    alarm_event_delete(event);
    return cookie;
}

qint64 triggerOf(cookie_t cookie) {
    alarm_event_t* event = alarmd_event_get(cookie);
    const qint64 trigger = event ? qint64(event->trigger) : -1;
    alarm_event_delete(event);
    return trigger;
}

// Child processes of `parent` named `name`.
QList<qint64> childrenNamed(qint64 parent, const QByteArray& name) {
    QList<qint64> found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid) {
            continue;
        }
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly)) {
            continue;
        }
        // "pid (comm) state ppid ..."
        const QByteArray line = stat.readAll();
        const int open = line.indexOf('(');
        const int close = line.lastIndexOf(')');
        if (open < 0 || close < open) {
            continue;
        }
        const QList<QByteArray> rest = line.mid(close + 2).split(' ');
        if (line.mid(open + 1, close - open - 1) == name && rest.size() > 1 &&
            rest.at(1).toLongLong() == parent) {
            found.append(pid);
        }
    }
    return found;
}

QDBusMessage setDisplay(const QString& display) {
    QMap<QString, QString> session{{QStringLiteral("DISPLAY"), display}};
    return DaemonProcess::call(QStringLiteral("set_display"), {QVariant::fromValue(session)});
}

} // namespace

class TestRingSessions : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void ringShowsOnTheDisplayThatExistsAtRingTime();
    void displayRestartedBetweenTwoRings();
    void killedRingWindowComesBack();
    void withoutDisplayTheRingIsANotification();
    void closedNotificationIsTheFirstButton();
    void ringWaitsForANotificationService();
    void ringWaitsForTheApplicationsDisplay();

private:
    bool startDaemon();
    QList<qint64> ringPrograms() const;

    std::unique_ptr<DaemonProcess> daemon;
    std::unique_ptr<FakeSystemd> systemd;
    std::unique_ptr<FakeNotifications> notifications;
    int run = 0;
};

void TestRingSessions::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    qDBusRegisterMetaType<QMap<QString, QString>>();
    // The daemon is started as from a script or a timer: no display of its own.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    qunsetenv("XAUTHORITY");
    qputenv("QT_QPA_PLATFORM", "offscreen");
}

void TestRingSessions::init() {
    ++run;
}

void TestRingSessions::cleanup() {
    if (daemon) {
        if (QTest::currentTestFailed()) {
            qInfo("the daemon's log:\n%s", daemon->log().constData());
        }
        QVERIFY2(daemon->stop(), qPrintable(daemon->howItEnded()));
        const QString report = daemon->sanitizerReport();
        QVERIFY2(report.isEmpty(), qPrintable(report));
        daemon.reset();
    }
    systemd.reset();
    notifications.reset();
}

bool TestRingSessions::startDaemon() {
    const QString root = TestEnvironment::current()->root() + QStringLiteral("/run%1").arg(run);
    QDir().mkpath(root);
    daemon = std::make_unique<DaemonProcess>(QStringLiteral(PARDO_ALARMD_PATH),
                                             root + QStringLiteral("/data"),
                                             root + QStringLiteral("/daemon.log"));
    return daemon->start();
}

QList<qint64> TestRingSessions::ringPrograms() const {
    return childrenNamed(daemon->pid(), "pardo-alarm-ui");
}

void TestRingSessions::ringShowsOnTheDisplayThatExistsAtRingTime() {
    systemd = std::make_unique<FakeSystemd>(QDBusConnection::sessionBus());
    QVERIFY(systemd->isRegistered());
    QVERIFY(startDaemon());
    // The display comes after the daemon, as after a login.
    XServer screen;
    QVERIFY2(screen.isRunning(), "no X server (package xvfb)");
    systemd->setEnvironment(
        {QStringLiteral("PATH=/usr/bin"), QStringLiteral("DISPLAY=%1").arg(screen.display())});
    const cookie_t cookie = addRing("Morning walk", 2);
    QVERIFY(cookie > 0);
    QTRY_COMPARE_WITH_TIMEOUT(screen.viewableWindows(QStringLiteral("Morning walk")), 1, 15000);
    QCOMPARE(ringPrograms().size(), 1);

    // Answered through the daemon, the window goes, and so does the program.
    const QDBusMessage reply =
        DaemonProcess::call(QStringLiteral("respond"), {qlonglong(cookie), 0});
    QCOMPARE(reply.arguments().value(0).toBool(), true);
    QTRY_COMPARE_WITH_TIMEOUT(screen.viewableWindows(QStringLiteral("Morning walk")), 0, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(ringPrograms().isEmpty(), 10000);
}

void TestRingSessions::displayRestartedBetweenTwoRings() {
    systemd = std::make_unique<FakeSystemd>(QDBusConnection::sessionBus());
    QVERIFY(systemd->isRegistered());
    QVERIFY(startDaemon());
    auto first = std::make_unique<XServer>();
    QVERIFY(first->isRunning());
    systemd->setEnvironment({QStringLiteral("DISPLAY=%1").arg(first->display())});
    const cookie_t one = addRing("First ring", 2);
    QVERIFY(one > 0);
    QTRY_COMPARE_WITH_TIMEOUT(first->viewableWindows(QStringLiteral("First ring")), 1, 15000);

    // The display goes away under the open ring, as at a log-out.
    first.reset();
    QTRY_VERIFY_WITH_TIMEOUT(ringPrograms().isEmpty(), 10000);
    QVERIFY(daemon->isRunning());
    QVERIFY(daemon->answers());

    XServer second;
    QVERIFY(second.isRunning());
    systemd->setEnvironment({QStringLiteral("DISPLAY=%1").arg(second.display())});
    const cookie_t two = addRing("Second ring", 2);
    QVERIFY(two > 0);
    QTRY_COMPARE_WITH_TIMEOUT(second.viewableWindows(QStringLiteral("Second ring")), 1, 15000);
    // The unanswered first one comes along to the new display.
    QTRY_COMPARE_WITH_TIMEOUT(second.viewableWindows(QStringLiteral("First ring")), 1, 10000);
    QVERIFY(daemon->isRunning());
}

void TestRingSessions::killedRingWindowComesBack() {
    systemd = std::make_unique<FakeSystemd>(QDBusConnection::sessionBus());
    QVERIFY(systemd->isRegistered());
    QVERIFY(startDaemon());
    XServer screen;
    QVERIFY(screen.isRunning());
    systemd->setEnvironment({QStringLiteral("DISPLAY=%1").arg(screen.display())});
    const cookie_t cookie = addRing("Take the pills", 2);
    QVERIFY(cookie > 0);
    QTRY_COMPARE_WITH_TIMEOUT(screen.viewableWindows(QStringLiteral("Take the pills")), 1, 15000);
    const QList<qint64> programs = ringPrograms();
    QCOMPARE(programs.size(), 1);

    QVERIFY(::kill(pid_t(programs.first()), SIGKILL) == 0);
    QTRY_COMPARE_WITH_TIMEOUT(screen.viewableWindows(QStringLiteral("Take the pills")), 0, 5000);
    QElapsedTimer back;
    back.start();
    QTRY_COMPARE_WITH_TIMEOUT(screen.viewableWindows(QStringLiteral("Take the pills")), 1,
                              backWithinMs);
    qInfo("ring window back after %lld ms", back.elapsed());
    QCOMPARE(ringPrograms().size(), 1);
    QVERIFY(ringPrograms().first() != programs.first());
}

void TestRingSessions::withoutDisplayTheRingIsANotification() {
    notifications = std::make_unique<FakeNotifications>(QDBusConnection::sessionBus());
    QVERIFY(notifications->serve());
    QVERIFY(startDaemon());
    const qint64 due = time(nullptr) + 2;
    const cookie_t cookie = addRing("Call mum", 2);
    QVERIFY(cookie > 0);
    QTRY_COMPARE_WITH_TIMEOUT(notifications->notifications().size(), 1, 15000);
    const FakeNotifications::Notification shown = notifications->notifications().first();
    QCOMPARE(shown.summary, QStringLiteral("Call mum"));
    QVERIFY(shown.body.contains(QStringLiteral("Time to go")));
    QCOMPARE(shown.actions, (QStringList{QStringLiteral("0"), QStringLiteral("Stop"),
                                         QStringLiteral("1"), QStringLiteral("Snooze 5 min")}));
    QCOMPARE(shown.hints.value(QStringLiteral("urgency")).toInt(), 2);
    QCOMPARE(shown.expireTimeout, 0);
    QVERIFY(ringPrograms().isEmpty());

    notifications->invokeAction(shown.id, QStringLiteral("1"));
    // Snoozed: the same event, five minutes after its due time.
    QTRY_VERIFY_WITH_TIMEOUT(triggerOf(cookie) >= due + 300, 10000);
    QVERIFY(triggerOf(cookie) <= due + 302);
}

void TestRingSessions::closedNotificationIsTheFirstButton() {
    notifications = std::make_unique<FakeNotifications>(QDBusConnection::sessionBus());
    QVERIFY(notifications->serve());
    QVERIFY(startDaemon());
    const cookie_t cookie = addRing("Bins out", 2);
    QVERIFY(cookie > 0);
    QTRY_COMPARE_WITH_TIMEOUT(notifications->notifications().size(), 1, 15000);
    notifications->closeNotification(notifications->notifications().first().id, 2);
    // "Stop" served the one-shot event: it is gone.
    QTRY_COMPARE_WITH_TIMEOUT(triggerOf(cookie), qint64(-1), 10000);
}

void TestRingSessions::ringWaitsForANotificationService() {
    QVERIFY(startDaemon());
    const cookie_t cookie = addRing("Waiting ring", 1);
    QVERIFY(cookie > 0);
    QTest::qWait(3000);
    QVERIFY(ringPrograms().isEmpty());
    // Due and unanswered: the daemon holds it until it can be shown.
    QVERIFY(triggerOf(cookie) > 0);
    notifications = std::make_unique<FakeNotifications>(QDBusConnection::sessionBus());
    QVERIFY(notifications->serve());
    QTRY_COMPARE_WITH_TIMEOUT(notifications->notifications().size(), 1, 10000);
    QCOMPARE(notifications->notifications().first().summary, QStringLiteral("Waiting ring"));
}

void TestRingSessions::ringWaitsForTheApplicationsDisplay() {
    QVERIFY(startDaemon());
    const cookie_t cookie = addRing("Until a window", 1);
    QVERIFY(cookie > 0);
    QTest::qWait(3000);
    QVERIFY(ringPrograms().isEmpty());
    XServer screen;
    QVERIFY(screen.isRunning());
    // What the application does when it starts in a session.
    const QDBusMessage reply = setDisplay(screen.display());
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QTRY_COMPARE_WITH_TIMEOUT(screen.viewableWindows(QStringLiteral("Until a window")), 1, 15000);

    // Refused: what is not a display.
    QCOMPARE(DaemonProcess::call(QStringLiteral("set_display"),
                                 {QVariant::fromValue(QMap<QString, QString>{
                                     {QStringLiteral("LD_PRELOAD"), QStringLiteral("/tmp/x.so")}})})
                 .type(),
             QDBusMessage::ErrorMessage);
}

PARDO_DBUS_TEST_MAIN(TestRingSessions)
#include "tst_ringsessions.moc"
