#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>

#include "applicationstart.h"
#include "daemonclient.h"
#include "mainwindow.h"
#include "pardotest.h"
#include "taskmanager.h"
#include "testdatabase.h"

namespace {

const QString kService = QStringLiteral("org.velmar.pardoreminder");

} // namespace

// How the application comes up, with idle times short enough to wait for.
namespace {

// The alarm daemon as far as the application's announcement goes.
class DisplayReceiver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.velmar.alarmd")
public:
    QList<QMap<QString, QString>> received;

public Q_SLOTS:
    Q_SCRIPTABLE bool set_display(const QMap<QString, QString>& session) {
        received.append(session);
        return true;
    }
};

} // namespace

class TestApplicationStart : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void startedByBusMeansStarterVariable_data();
    void startedByBusMeansStarterVariable();
    void userStartShowsWindowAndStays();
    void busStartWorksUnseenAndGoesIdle();
    void everyCallRestartsCountdown();
    void windowAskedForCancelsCountdown_data();
    void windowAskedForCancelsCountdown();
    void raisingWithoutRunningInstanceStartsNone();
    void announcesItsDisplayToTheDaemon_data();
    void announcesItsDisplayToTheDaemon();
    void raisingHungInstanceGivesUp();

private:
    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
};

void TestApplicationStart::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
    window = std::make_unique<MainWindow>(*manager);
}

void TestApplicationStart::cleanup() {
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestApplicationStart::startedByBusMeansStarterVariable_data() {
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("unset");
    QTest::addColumn<bool>("byBus");
    QTest::newRow("not set") << QByteArray() << true << false;
    QTest::newRow("empty") << QByteArray() << false << false;
    QTest::newRow("session bus") << QByteArray("session") << false << true;
    QTest::newRow("system bus") << QByteArray("system") << false << true;
}

void TestApplicationStart::startedByBusMeansStarterVariable() {
    QFETCH(QByteArray, value);
    QFETCH(bool, unset);
    QFETCH(bool, byBus);
    if (unset) {
        qunsetenv("DBUS_STARTER_BUS_TYPE");
    } else {
        qputenv("DBUS_STARTER_BUS_TYPE", value);
    }
    const bool result = ApplicationStart::isStartedByBus();
    qunsetenv("DBUS_STARTER_BUS_TYPE");
    QCOMPARE(result, byBus);
}

void TestApplicationStart::userStartShowsWindowAndStays() {
    ApplicationStart start(*window, false, 100);
    QSignalSpy idle(&start, &ApplicationStart::idle);
    start.begin();
    QVERIFY(window->isVisible());
    QVERIFY(!start.isWaitingForCalls());
    QCOMPARE(window->alarm_triggered(1, 0), 0);
    QVERIFY(!start.isWaitingForCalls());
    QTest::qWait(400);
    QCOMPARE(idle.count(), 0);
    QVERIFY(window->isVisible());
}

void TestApplicationStart::busStartWorksUnseenAndGoesIdle() {
    ApplicationStart start(*window, true, 200);
    QSignalSpy idle(&start, &ApplicationStart::idle);
    start.begin();
    QVERIFY(!window->isVisible());
    QVERIFY(start.isWaitingForCalls());
    QCOMPARE(window->alarm_triggered(1, 0), 0);
    QVERIFY(!window->isVisible());
    QTRY_COMPARE(idle.count(), 1);
    QVERIFY(!window->isVisible());
    QVERIFY(!start.isWaitingForCalls());
    // Said once: nothing restarts a countdown that has run out.
    QTest::qWait(400);
    QCOMPARE(idle.count(), 1);
}

void TestApplicationStart::everyCallRestartsCountdown() {
    // Generous margins (timers are coarse): only the order of the readings matters.
    const int timeout = 4000;
    const int pause = 1500;
    ApplicationStart start(*window, true, timeout);
    QSignalSpy idle(&start, &ApplicationStart::idle);
    start.begin();
    for (int call = 0; call < 3; ++call) {
        QTest::qWait(pause);
        QVERIFY(start.isWaitingForCalls());
        const int before = start.remainingIdleTime();
        QVERIFY2(before < timeout - pause / 2, qPrintable(QString::number(before)));
        // An unknown task: the call is served all the same.
        QCOMPARE(window->alarm_triggered(4711, 0), 0);
        const int after = start.remainingIdleTime();
        QVERIFY2(after > before, qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
        QCOMPARE(idle.count(), 0);
    }
    QTRY_COMPARE_WITH_TIMEOUT(idle.count(), 1, 5 * timeout);
    QVERIFY(!window->isVisible());
}

void TestApplicationStart::windowAskedForCancelsCountdown_data() {
    QTest::addColumn<bool>("alarmFirst");
    QTest::newRow("window asked for at once") << false;
    QTest::newRow("window asked for after an alarm") << true;
}

void TestApplicationStart::windowAskedForCancelsCountdown() {
    QFETCH(bool, alarmFirst);
    ApplicationStart start(*window, true, 200);
    QSignalSpy idle(&start, &ApplicationStart::idle);
    start.begin();
    if (alarmFirst) {
        QCOMPARE(window->alarm_triggered(1, 0), 0);
    }
    QCOMPARE(window->top_application(), 0);
    QVERIFY(window->isVisible());
    QVERIFY(!start.isWaitingForCalls());
    // From now on an ordinary running application: later calls do not bring the end back.
    QCOMPARE(window->alarm_triggered(1, 0), 0);
    QVERIFY(!start.isWaitingForCalls());
    QTest::qWait(800);
    QCOMPARE(idle.count(), 0);
    QVERIFY(window->isVisible());
}

void TestApplicationStart::raisingWithoutRunningInstanceStartsNone() {
    // Were the bus allowed to start the application for this call, the marker would appear.
    const QString marker = TestEnvironment::current()->root() + QStringLiteral("/started");
    QVERIFY(DaemonClient::writeServiceFile(TestEnvironment::current()->root() +
                                               QStringLiteral("/bus/services"),
                                           kService, QStringLiteral("/usr/bin/touch ") + marker));
    QDBusConnection bus = QDBusConnection::sessionBus();
    QVERIFY(bus.isConnected());
    QVERIFY(!bus.interface()->isServiceRegistered(kService));
    QVERIFY(!ApplicationStart::raiseRunningInstance(bus));
    QTest::qWait(500);
    QVERIFY(!QFile::exists(marker));
}

void TestApplicationStart::raisingHungInstanceGivesUp() {
    // The instance that owns the name lives in this thread, which the waiting caller blocks:
    // it cannot answer, as a hung one would not.
    const QString first = QStringLiteral("first");
    {
        QDBusConnection owner = QDBusConnection::connectToBus(QDBusConnection::SessionBus, first);
        QVERIFY(owner.registerService(kService));
        QVERIFY(owner.registerObject(QStringLiteral("/org/velmar/pardoreminder"), window.get(),
                                     QDBusConnection::ExportScriptableSlots));
    }
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!ApplicationStart::raiseRunningInstance(QDBusConnection::sessionBus(), 300));
    // Given up after its own short wait, not after the bus's default of 25 s.
    QVERIFY2(clock.elapsed() < 20000, qPrintable(QString::number(clock.elapsed())));
    // Once this thread runs again, the late call is served.
    QTRY_VERIFY(window->isVisible());
    QDBusConnection::disconnectFromBus(first);
}

void TestApplicationStart::announcesItsDisplayToTheDaemon_data() {
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("wayland");
    QTest::addColumn<bool>("announced");
    QTest::newRow("X11") << QStringLiteral("xcb") << QStringLiteral(":4") << QString() << true;
    QTest::newRow("Wayland") << QStringLiteral("wayland") << QString()
                             << QStringLiteral("wayland-1") << true;
    QTest::newRow("Wayland with XWayland") << QStringLiteral("wayland-egl") << QStringLiteral(":1")
                                           << QStringLiteral("wayland-0") << true;
    QTest::newRow("offscreen") << QStringLiteral("offscreen") << QStringLiteral(":4") << QString()
                               << false;
    QTest::newRow("no display") << QStringLiteral("xcb") << QString() << QString() << false;
}

void TestApplicationStart::announcesItsDisplayToTheDaemon() {
    QFETCH(QString, platform);
    QFETCH(QString, display);
    QFETCH(QString, wayland);
    QFETCH(bool, announced);
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QDBusConnection daemonBus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("daemon"));
    DisplayReceiver receiver;
    QVERIFY(daemonBus.registerObject(QStringLiteral("/org/velmar/alarmd"), &receiver,
                                     QDBusConnection::ExportScriptableSlots));
    QVERIFY(daemonBus.registerService(QStringLiteral("org.velmar.alarmd")));
    qputenv("DISPLAY", display.toLocal8Bit());
    qputenv("WAYLAND_DISPLAY", wayland.toLocal8Bit());
    qputenv("XAUTHORITY", "/home/someone/.Xauthority");
    qputenv("SECRET", "not for the daemon");
    qunsetenv("XDG_SESSION_TYPE");

    const QDBusMessage sent =
        ApplicationStart::announceDisplay(QDBusConnection::sessionBus(), platform);
    QCOMPARE(sent.type() == QDBusMessage::MethodCallMessage, announced);
    if (announced) {
        QMap<QString, QString> expected{
            {QStringLiteral("XAUTHORITY"), QStringLiteral("/home/someone/.Xauthority")}};
        if (!display.isEmpty()) {
            expected.insert(QStringLiteral("DISPLAY"), display);
        }
        if (!wayland.isEmpty()) {
            expected.insert(QStringLiteral("WAYLAND_DISPLAY"), wayland);
        }
        expected.insert(QStringLiteral("XDG_RUNTIME_DIR"), qEnvironmentVariable("XDG_RUNTIME_DIR"));
        expected.remove(QString());
        if (expected.value(QStringLiteral("XDG_RUNTIME_DIR")).isEmpty()) {
            expected.remove(QStringLiteral("XDG_RUNTIME_DIR"));
        }
        QTRY_COMPARE(receiver.received.size(), 1);
        QCOMPARE(receiver.received.first(), expected);
    } else {
        QTest::qWait(100);
        QVERIFY(receiver.received.isEmpty());
    }
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "SECRET"}) {
        qunsetenv(name);
    }
    daemonBus.unregisterService(QStringLiteral("org.velmar.alarmd"));
    QDBusConnection::disconnectFromBus(QStringLiteral("daemon"));
}

PARDO_DBUS_TEST_MAIN(TestApplicationStart)
#include "tst_applicationstart.moc"
