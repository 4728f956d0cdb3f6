#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>

#include <memory>
#include <random>

#include <unistd.h>

#include "fakesystemd.h"
#include "pardotest.h"
#include "sessiondisplay.h"
#include "sessiondisplaytestcase.h"
#include "socketserver.h"
#include "xserver.h"

// Where a program started at ring time finds the user's display: the sources, in order.
class TestSessionDisplay : public SessionDisplayTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void firstLiveSourceWins_data();
    void firstLiveSourceWins();
    void silentManagerDoesNotHoldTheLoop();
    void absentManagerIsNotStarted();
    void onlyDisplayVariablesComeOut();
    void callsDuringALookupShareItsAnswer();
    void announceRefuses_data();
    void announceRefuses();
    void announceTellsAndWins();
    void failedDisplayIsSkipped();
    void serverStartedAgainUnderTheFailedName();
};

void TestSessionDisplay::initTestCase() {
    startDisplays();
}

void TestSessionDisplay::cleanupTestCase() {
    stopDisplays();
}

void TestSessionDisplay::init() {
    makeScratch();
}

void TestSessionDisplay::firstLiveSourceWins_data() {
    QTest::addColumn<int>("managerMode"); // -1: no manager on the bus
    QTest::addColumn<Display>("manager");
    QTest::addColumn<Display>("announced");
    QTest::addColumn<Display>("own");
    QTest::addColumn<Source>("expected");
    const int absent = -1;
    const int answers = int(FakeSystemd::Mode::Answers);
    const int wrongType = int(FakeSystemd::Mode::WrongType);
    QTest::newRow("manager's live display wins over own")
        << answers << LiveX << NoDisplay << LiveX << Manager;
    QTest::newRow("manager's live display wins over announced")
        << answers << LiveX << LiveX << LiveX << Manager;
    QTest::newRow("manager's display killed: announced")
        << answers << KilledX << LiveX << LiveX << Announced;
    QTest::newRow("manager's display killed: own")
        << answers << KilledX << NoDisplay << LiveX << Own;
    QTest::newRow("manager's display made up: announced")
        << answers << MadeUpX << LiveX << LiveX << Announced;
    QTest::newRow("manager's display made up: own")
        << answers << MadeUpX << KilledX << LiveX << Own;
    QTest::newRow("manager without display: own")
        << answers << NoDisplay << NoDisplay << LiveX << Own;
    QTest::newRow("no manager: own") << absent << NoDisplay << NoDisplay << LiveX << Own;
    QTest::newRow("no manager: announced") << absent << NoDisplay << LiveX << LiveX << Announced;
    QTest::newRow("wrong type: own") << wrongType << LiveX << NoDisplay << LiveX << Own;
    QTest::newRow("wrong type: announced") << wrongType << LiveX << LiveX << NoDisplay << Announced;
    QTest::newRow("nothing live") << answers << KilledX << MadeUpX << KilledX << None;
    QTest::newRow("nothing at all") << absent << NoDisplay << NoDisplay << NoDisplay << None;
}

void TestSessionDisplay::firstLiveSourceWins() {
    QFETCH(int, managerMode);
    QFETCH(Display, manager);
    QFETCH(Display, announced);
    QFETCH(Display, own);
    QFETCH(Source, expected);

    std::unique_ptr<FakeSystemd> systemd;
    if (managerMode >= 0) {
        systemd = std::make_unique<FakeSystemd>(managerBus);
        QVERIFY(systemd->isRegistered());
        systemd->setMode(FakeSystemd::Mode(managerMode));
        systemd->setEnvironment(assignments(source(manager, QStringLiteral("manager"))));
    }
    QProcessEnvironment ownEnvironment = environmentOf(source(own, QStringLiteral("own")));
    // As the tests start the daemon.
    ownEnvironment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), ownEnvironment);
    if (announced != NoDisplay) {
        QString error;
        QVERIFY2(sessionDisplay.announce(source(announced, QStringLiteral("announced")), &error),
                 qPrintable(error));
    }

    Answer answer;
    lookup(sessionDisplay, &answer);
    if (QTest::currentTestFailed()) {
        return;
    }
    if (systemd) {
        QCOMPARE(systemd->questions(), 1);
    }
    if (expected == None) {
        QVERIFY(!answer.found);
        return;
    }
    QVERIFY(answer.found);
    const QString name = QVariant::fromValue(expected).toString().toLower();
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/") + name);
    QCOMPARE(answer.display.value(QStringLiteral("DISPLAY")), xserver->display());
    QCOMPARE(answer.display.value(QStringLiteral("QT_QPA_PLATFORM")), QStringLiteral("xcb"));
}

void TestSessionDisplay::silentManagerDoesNotHoldTheLoop() {
    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    systemd.setMode(FakeSystemd::Mode::NeverAnswers);
    systemd.setEnvironment(assignments(source(LiveX, QStringLiteral("manager"))));
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(),
                                  environmentOf(source(LiveX, QStringLiteral("own"))));
    int ticks = 0;
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [&ticks] { ++ticks; });
    ticker.start(100);
    Answer answer;
    QElapsedTimer clock;
    clock.start();
    lookup(sessionDisplay, &answer, 2500);
    if (QTest::currentTestFailed()) {
        return;
    }
    QCOMPARE(systemd.questions(), 1);
    // It waited for the manager, and the loop went on meanwhile.
    QVERIFY(clock.elapsed() >= SessionDisplay::managerTimeoutMs - 100);
    QVERIFY(ticks >= 3);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/own"));
}

void TestSessionDisplay::absentManagerIsNotStarted() {
    // The bus could start a manager: it must not be asked to.
    const QString marker = scratch->filePath(QStringLiteral("started"));
    const QString servicesDir =
        TestEnvironment::current()->root() + QStringLiteral("/bus/services");
    QFile service(servicesDir + QStringLiteral("/org.freedesktop.systemd1.service"));
    QVERIFY(service.open(QIODevice::WriteOnly | QIODevice::Truncate));
    service.write(QStringLiteral("[D-BUS Service]\nName=org.freedesktop.systemd1\n"
                                 "Exec=/bin/sh -c 'touch %1; sleep 2'\n")
                      .arg(marker)
                      .toUtf8());
    service.close();
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(),
                                  environmentOf(source(LiveX, QStringLiteral("own"))));
    Answer answer;
    lookup(sessionDisplay, &answer, 2500);
    service.remove();
    if (QTest::currentTestFailed()) {
        return;
    }
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/own"));
    QTest::qWait(200);
    QVERIFY(!QFile::exists(marker));
}

void TestSessionDisplay::onlyDisplayVariablesComeOut() {
    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    Variables manager = source(LiveX, QStringLiteral("manager"));
    manager.insert(QStringLiteral("PATH"), QStringLiteral("/manager/bin"));
    manager.insert(QStringLiteral("FOO"), QStringLiteral("bar"));
    manager.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("x11"));
    manager.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    manager.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral("/tmp/evil.so"));
    systemd.setEnvironment(assignments(manager)
                           << QStringLiteral("NOEQUALS") << QStringLiteral("=novalue"));
    QProcessEnvironment own = environmentOf(source(LiveX, QStringLiteral("own")));
    own.insert(QStringLiteral("PATH"), QStringLiteral("/own/bin"));
    own.insert(QStringLiteral("XDG_RUNTIME_DIR"), QStringLiteral("/run/user/own"));
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), own);
    Answer answer;
    lookup(sessionDisplay, &answer);
    if (QTest::currentTestFailed()) {
        return;
    }
    QVERIFY(answer.found);
    QStringList keys = answer.display.keys();
    keys.sort();
    QCOMPARE(keys, QStringList({QStringLiteral("DISPLAY"), QStringLiteral("QT_QPA_PLATFORM"),
                                QStringLiteral("XAUTHORITY"), QStringLiteral("XDG_RUNTIME_DIR"),
                                QStringLiteral("XDG_SESSION_TYPE")}));
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/manager"));
    QCOMPARE(answer.display.value(QStringLiteral("XDG_SESSION_TYPE")), QStringLiteral("x11"));
    QCOMPARE(answer.display.value(QStringLiteral("QT_QPA_PLATFORM")), QStringLiteral("xcb"));
    // The manager names no runtime folder; the daemon's own is the same user's.
    QCOMPARE(answer.display.value(QStringLiteral("XDG_RUNTIME_DIR")),
             QStringLiteral("/run/user/own"));
}

void TestSessionDisplay::callsDuringALookupShareItsAnswer() {
    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    systemd.setEnvironment(assignments(source(LiveX, QStringLiteral("manager"))));
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), QProcessEnvironment());
    QSignalSpy found(&sessionDisplay, &SessionDisplay::found);
    QSignalSpy notFound(&sessionDisplay, &SessionDisplay::notFound);
    sessionDisplay.find();
    QVERIFY(sessionDisplay.isFinding());
    sessionDisplay.find();
    sessionDisplay.find();
    QTRY_COMPARE(found.count(), 1);
    QTest::qWait(200);
    QCOMPARE(found.count(), 1);
    QCOMPARE(notFound.count(), 0);
    QCOMPARE(systemd.questions(), 1);
    // The next call looks again.
    sessionDisplay.find();
    QTRY_COMPARE(found.count(), 2);
    QCOMPARE(systemd.questions(), 2);
}

void TestSessionDisplay::announceRefuses_data() {
    QTest::addColumn<Variables>("variables");
    const QString display = QStringLiteral("DISPLAY");
    QTest::newRow("empty") << Variables();
    QTest::newRow("unknown key") << Variables{{display, QStringLiteral(":0")},
                                              {QStringLiteral("PATH"), QStringLiteral("/bin")}};
    QTest::newRow("platform is not taken")
        << Variables{{display, QStringLiteral(":0")},
                     {QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")}};
    QTest::newRow("too long") << Variables{
        {display, QStringLiteral(":0")},
        {QStringLiteral("XAUTHORITY"),
         QString(SessionDisplay::maxValueBytes + 1, QLatin1Char('a'))}};
    QTest::newRow("too long in bytes")
        << Variables{{display, QStringLiteral(":0")},
                     {QStringLiteral("XAUTHORITY"),
                      QString(SessionDisplay::maxValueBytes / 2 + 1, QChar(0x00e9))}};
    QTest::newRow("newline") << Variables{{display, QStringLiteral(":0\nLD_PRELOAD=/x.so")}};
    QTest::newRow("nul") << Variables{{display, QStringLiteral(":0") + QChar(0)}};
    QTest::newRow("escape") << Variables{
        {QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-0\x1b[2J")}};
    QTest::newRow("no display") << Variables{
        {QStringLiteral("XAUTHORITY"), QStringLiteral("/auth")},
        {QStringLiteral("XDG_RUNTIME_DIR"), QStringLiteral("/run/user/1000")}};
    QTest::newRow("empty display") << Variables{{display, QString()}};
}

void TestSessionDisplay::announceRefuses() {
    QFETCH(Variables, variables);
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), QProcessEnvironment());
    QSignalSpy announced(&sessionDisplay, &SessionDisplay::announced);
    QString error;
    QVERIFY(!sessionDisplay.announce(variables, &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(announced.count(), 0);
    // Nothing of it is used.
    Answer answer;
    lookup(sessionDisplay, &answer);
    QVERIFY(!answer.found);
}

void TestSessionDisplay::announceTellsAndWins() {
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(),
                                  environmentOf(source(LiveX, QStringLiteral("own"))));
    QSignalSpy announced(&sessionDisplay, &SessionDisplay::announced);
    QString error;
    QVERIFY2(sessionDisplay.announce(source(LiveX, QStringLiteral("announced")), &error),
             qPrintable(error));
    QCOMPARE(announced.count(), 1);
    Answer answer;
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/announced"));
    // A later announcement replaces the earlier one.
    QVERIFY(sessionDisplay.announce(source(MadeUpX, QStringLiteral("again")), &error));
    QCOMPARE(announced.count(), 2);
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/own"));
}

void TestSessionDisplay::failedDisplayIsSkipped() {
    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    systemd.setEnvironment(assignments(source(LiveX, QStringLiteral("manager"))));
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(),
                                  environmentOf(source(LiveX, QStringLiteral("own"))));
    Answer answer;
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/manager"));

    sessionDisplay.markFailed(answer.display);
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/own"));

    sessionDisplay.markFailed(answer.display);
    lookup(sessionDisplay, &answer);
    QVERIFY(!answer.found);

    // Other variables are another display.
    systemd.setEnvironment(assignments(source(LiveX, QStringLiteral("manager-new"))));
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")),
             QStringLiteral("/auth/manager-new"));

    // An announcement tries them all again.
    sessionDisplay.markFailed(answer.display);
    systemd.setEnvironment(assignments(source(LiveX, QStringLiteral("manager"))));
    QString error;
    QVERIFY(sessionDisplay.announce(source(MadeUpX, QStringLiteral("announced")), &error));
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("XAUTHORITY")), QStringLiteral("/auth/manager"));
}

void TestSessionDisplay::serverStartedAgainUnderTheFailedName() {
    QTemporaryDir runtime;
    QVERIFY(runtime.isValid());
    const QString path = runtime.path() + QStringLiteral("/wayland-7");
    auto server = SocketServer::unixAt(path, true);
    QVERIFY(server);
    QProcessEnvironment own;
    own.insert(QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-7"));
    own.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), own);
    Answer answer;
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    sessionDisplay.markFailed(answer.display);
    lookup(sessionDisplay, &answer);
    QVERIFY(!answer.found);

    // A new server takes the same name, as an X server restarted on the number it had.
    server.reset();
    QVERIFY(QFile::remove(path));
    server = SocketServer::unixAt(path, true);
    QVERIFY(server);
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("WAYLAND_DISPLAY")), QStringLiteral("wayland-7"));
}

PARDO_DBUS_TEST_MAIN(TestSessionDisplay)
#include "tst_sessiondisplay.moc"
