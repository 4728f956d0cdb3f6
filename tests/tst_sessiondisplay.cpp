#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>

#include <memory>
#include <random>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "fakesystemd.h"
#include "pardotest.h"
#include "sessiondisplay.h"
#include "xserver.h"

namespace {

// A server socket of our own: listening, or (closed, file left behind) as a killed server
// leaves it.
class SocketServer {
public:
    static std::unique_ptr<SocketServer> unixAt(const QString& path, bool listening) {
        auto server = std::unique_ptr<SocketServer>(new SocketServer(AF_UNIX));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = path.toLocal8Bit();
        if (server->fd < 0 || size_t(name.size()) >= sizeof(address.sun_path)) {
            return nullptr;
        }
        memcpy(address.sun_path, name.constData(), size_t(name.size()));
        if (::bind(server->fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
            (listening && ::listen(server->fd, 4) != 0)) {
            return nullptr;
        }
        if (!listening) {
            server->close();
        }
        return server;
    }
    // Listens on a free port of the loopback address; 0 when there is none.
    static std::unique_ptr<SocketServer> tcp() {
        auto server = std::unique_ptr<SocketServer>(new SocketServer(AF_INET));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        if (server->fd < 0 ||
            ::bind(server->fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
            ::listen(server->fd, 4) != 0 ||
            ::getsockname(server->fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            return nullptr;
        }
        server->port = ntohs(address.sin_port);
        return server;
    }
    ~SocketServer() { close(); }
    void close() {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
    int port = 0;

private:
    explicit SocketServer(int domain)
        : fd(::socket(domain, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    int fd;
};

using Variables = QMap<QString, QString>;

QStringList assignments(const Variables& variables) {
    QStringList list;
    for (auto it = variables.constBegin(); it != variables.constEnd(); ++it) {
        list << it.key() + QLatin1Char('=') + it.value();
    }
    return list;
}

QProcessEnvironment environmentOf(const Variables& variables) {
    QProcessEnvironment environment;
    for (auto it = variables.constBegin(); it != variables.constEnd(); ++it) {
        environment.insert(it.key(), it.value());
    }
    return environment;
}

QStringList allowedOutput() {
    return SessionDisplay::displayVariables() + QStringList{QStringLiteral("QT_QPA_PLATFORM")};
}

bool isUsableValue(const QString& value) {
    if (value.toUtf8().size() > SessionDisplay::maxValueBytes) {
        return false;
    }
    for (const QChar c : value) {
        if (c.unicode() < 0x20 || c.category() == QChar::Other_Control) {
            return false;
        }
    }
    return true;
}

// Same seed, same cases: PARDO_FUZZ_SEED replays or varies a run.
quint64 fuzzSeed() {
    bool ok = false;
    const quint64 seed = qEnvironmentVariable("PARDO_FUZZ_SEED").toULongLong(&ok);
    return ok ? seed : 20261123;
}

} // namespace

// Where a program started at ring time finds the user's display.
class TestSessionDisplay : public QObject {
    Q_OBJECT
public:
    enum Source { None, Manager, Announced, Own };
    enum Display { NoDisplay, LiveX, KilledX, MadeUpX };
    Q_ENUM(Source)
    Q_ENUM(Display)

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
    void x11Names_data();
    void x11Names();
    void x11SocketLeftBehindIsDead();
    void wayland_data();
    void wayland();
    void fuzz_data();
    void fuzz();

private:
    struct Answer {
        bool found = false;
        QProcessEnvironment display;
    };
    // Runs one find() to its single answer.
    void lookup(SessionDisplay& sessionDisplay, Answer* answer, int timeoutMs = 5000);
    QString displayName(Display display) const;
    Variables source(Display display, const QString& name) const;

    std::unique_ptr<XServer> xserver;
    QString killedDisplay;
    QString madeUpDisplay;
    QDBusConnection managerBus{QString()};
    std::unique_ptr<QTemporaryDir> scratch;
};

void TestSessionDisplay::initTestCase() {
    xserver = std::make_unique<XServer>();
    QVERIFY(xserver->isRunning());
    {
        XServer gone;
        QVERIFY(gone.isRunning());
        killedDisplay = gone.display();
    }
    QVERIFY(!SessionDisplay::isX11Live(killedDisplay, QStringLiteral("/tmp/.X11-unix")));
    for (int n = 97; n < 200; ++n) {
        const QString name = QStringLiteral(":%1").arg(n);
        if (!SessionDisplay::isX11Live(name, QStringLiteral("/tmp/.X11-unix"))) {
            madeUpDisplay = name;
            break;
        }
    }
    QVERIFY(!madeUpDisplay.isEmpty());
    // A connection of its own, as a real manager is another process.
    managerBus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-systemd"));
    QVERIFY(managerBus.isConnected());
}

void TestSessionDisplay::cleanupTestCase() {
    QDBusConnection::disconnectFromBus(QStringLiteral("fake-systemd"));
    xserver.reset();
}

void TestSessionDisplay::init() {
    scratch = std::make_unique<QTemporaryDir>(TestEnvironment::current()->root() +
                                              QStringLiteral("/s-XXXXXX"));
    QVERIFY(scratch->isValid());
}

void TestSessionDisplay::lookup(SessionDisplay& sessionDisplay, Answer* answer, int timeoutMs) {
    QSignalSpy found(&sessionDisplay, &SessionDisplay::found);
    QSignalSpy notFound(&sessionDisplay, &SessionDisplay::notFound);
    sessionDisplay.find();
    // Never inside the call itself.
    QCOMPARE(found.count() + notFound.count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(found.count() + notFound.count(), 1, timeoutMs);
    QVERIFY(!sessionDisplay.isFinding());
    answer->found = found.count() == 1;
    if (answer->found) {
        answer->display = found.at(0).at(0).value<QProcessEnvironment>();
    }
}

QString TestSessionDisplay::displayName(Display display) const {
    switch (display) {
    case LiveX:
        return xserver->display();
    case KilledX:
        return killedDisplay;
    case MadeUpX:
        return madeUpDisplay;
    case NoDisplay:
        break;
    }
    return QString();
}

// XAUTHORITY tells the sources apart in the answer.
Variables TestSessionDisplay::source(Display display, const QString& name) const {
    if (display == NoDisplay) {
        return {};
    }
    return {{QStringLiteral("DISPLAY"), displayName(display)},
            {QStringLiteral("XAUTHORITY"), QStringLiteral("/auth/") + name}};
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

void TestSessionDisplay::x11Names_data() {
    QTest::addColumn<QString>("pattern"); // %1: the live display's number, %2: a free TCP one
    QTest::addColumn<bool>("live");
    QTest::newRow(":N") << QStringLiteral(":%1") << true;
    QTest::newRow(":N.S") << QStringLiteral(":%1.0") << true;
    QTest::newRow("unix:N") << QStringLiteral("unix:%1") << true;
    QTest::newRow("unix:N.S") << QStringLiteral("unix:%1.1") << true;
    QTest::newRow("TCP, listening") << QStringLiteral("127.0.0.1:%2") << true;
    QTest::newRow("TCP, localhost") << QStringLiteral("localhost:%2.0") << true;
    QTest::newRow("TCP, IPv6 address that is not there") << QStringLiteral("::1:%2") << false;
    QTest::newRow("TCP, closed") << QStringLiteral("127.0.0.1:%3") << false;
    QTest::newRow("no number") << QStringLiteral(":") << false;
    QTest::newRow("letters") << QStringLiteral(":x%1") << false;
    QTest::newRow("sign") << QStringLiteral(":+%1") << false;
    QTest::newRow("no colon") << QStringLiteral("%1") << false;
    QTest::newRow("huge number") << QStringLiteral(":99999999999999999999") << false;
    QTest::newRow("host that needs a name server") << QStringLiteral("example.invalid:%2") << false;
}

void TestSessionDisplay::x11Names() {
    QFETCH(QString, pattern);
    QFETCH(bool, live);
    const auto listening = SocketServer::tcp();
    QVERIFY(listening);
    auto closed = SocketServer::tcp();
    QVERIFY(closed);
    const int closedPort = closed->port;
    closed.reset();
    if (listening->port <= 6000 || closedPort <= 6000) {
        QSKIP("no free port above 6000");
    }
    const QString number = xserver->display().mid(1);
    QString display = pattern;
    display.replace(QLatin1String("%1"), number)
        .replace(QLatin1String("%2"), QString::number(listening->port - 6000))
        .replace(QLatin1String("%3"), QString::number(closedPort - 6000));
    QCOMPARE(SessionDisplay::isX11Live(display, QStringLiteral("/tmp/.X11-unix")), live);
}

void TestSessionDisplay::x11SocketLeftBehindIsDead() {
    // A server killed at once leaves its socket file; connecting to it is refused.
    const QString folder = scratch->path();
    const auto killed = SocketServer::unixAt(folder + QStringLiteral("/X7"), false);
    QVERIFY(killed);
    QVERIFY(QFile::exists(folder + QStringLiteral("/X7")));
    QVERIFY(!SessionDisplay::isX11Live(QStringLiteral(":7"), folder));
    const auto running = SocketServer::unixAt(folder + QStringLiteral("/X8"), true);
    QVERIFY(running);
    QVERIFY(SessionDisplay::isX11Live(QStringLiteral(":8"), folder));
    QVERIFY(SessionDisplay::isX11Live(QStringLiteral("unix:8.0"), folder));

    SessionDisplay sessionDisplay(
        QDBusConnection::sessionBus(),
        environmentOf({{QStringLiteral("DISPLAY"), QStringLiteral(":7")}}), nullptr, folder);
    Answer answer;
    lookup(sessionDisplay, &answer);
    QVERIFY(!answer.found);
    QString error;
    QVERIFY(sessionDisplay.announce({{QStringLiteral("DISPLAY"), QStringLiteral(":8")}}, &error));
    lookup(sessionDisplay, &answer);
    QVERIFY(answer.found);
    QCOMPARE(answer.display.value(QStringLiteral("DISPLAY")), QStringLiteral(":8"));
}

void TestSessionDisplay::wayland_data() {
    QTest::addColumn<bool>("waylandListens");
    QTest::addColumn<bool>("absoluteName");
    QTest::addColumn<bool>("runtimeDirAnnounced");
    QTest::addColumn<Display>("x11");
    QTest::addColumn<QString>("platform"); // empty: nothing found
    const QString both = QStringLiteral("wayland;xcb");
    const QString xcb = QStringLiteral("xcb");
    QTest::newRow("listening") << true << false << true << NoDisplay << both;
    QTest::newRow("listening, absolute path") << true << true << false << NoDisplay << both;
    QTest::newRow("listening, own runtime folder") << true << false << false << NoDisplay << both;
    QTest::newRow("listening, with X") << true << false << true << LiveX << both;
    QTest::newRow("listening, X gone") << true << false << true << KilledX << both;
    QTest::newRow("socket file without listener")
        << false << false << true << NoDisplay << QString();
    QTest::newRow("no listener, absolute path") << false << true << false << NoDisplay << QString();
    QTest::newRow("no listener, X lives") << false << false << true << LiveX << xcb;
}

void TestSessionDisplay::wayland() {
    QFETCH(bool, waylandListens);
    QFETCH(bool, absoluteName);
    QFETCH(bool, runtimeDirAnnounced);
    QFETCH(Display, x11);
    QFETCH(QString, platform);

    const QString runtimeDir = scratch->path();
    const QString socketPath = runtimeDir + QStringLiteral("/wayland-test");
    const auto compositor = SocketServer::unixAt(socketPath, waylandListens);
    QVERIFY(compositor);
    QVERIFY(QFile::exists(socketPath));

    Variables announced = source(x11, QStringLiteral("announced"));
    announced.insert(QStringLiteral("WAYLAND_DISPLAY"),
                     absoluteName ? socketPath : QStringLiteral("wayland-test"));
    if (runtimeDirAnnounced) {
        announced.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir);
    }
    QProcessEnvironment own;
    own.insert(QStringLiteral("XDG_RUNTIME_DIR"),
               runtimeDirAnnounced || absoluteName ? QStringLiteral("/nowhere") : runtimeDir);
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), own);
    QString error;
    QVERIFY2(sessionDisplay.announce(announced, &error), qPrintable(error));
    Answer answer;
    lookup(sessionDisplay, &answer);
    if (QTest::currentTestFailed()) {
        return;
    }
    QCOMPARE(answer.found, !platform.isEmpty());
    if (!answer.found) {
        return;
    }
    QCOMPARE(answer.display.value(QStringLiteral("QT_QPA_PLATFORM")), platform);
    QCOMPARE(answer.display.contains(QStringLiteral("WAYLAND_DISPLAY")), waylandListens);
    // A display that did not answer is not passed on.
    QCOMPARE(answer.display.contains(QStringLiteral("DISPLAY")), x11 == LiveX);
    if (waylandListens) {
        QCOMPARE(answer.display.value(QStringLiteral("WAYLAND_DISPLAY")),
                 announced.value(QStringLiteral("WAYLAND_DISPLAY")));
    }
    if (!absoluteName) {
        QCOMPARE(answer.display.value(QStringLiteral("XDG_RUNTIME_DIR")), runtimeDir);
    }
}

void TestSessionDisplay::fuzz_data() {
    QTest::addColumn<bool>("fuzzManager");
    QTest::addColumn<bool>("fuzzAnnounce");
    QTest::addColumn<int>("rounds");
    QTest::newRow("manager environments") << true << false << 60;
    QTest::newRow("announced maps") << false << true << 400;
    QTest::newRow("both") << true << true << 60;
}

void TestSessionDisplay::fuzz() {
    QFETCH(bool, fuzzManager);
    QFETCH(bool, fuzzAnnounce);
    QFETCH(int, rounds);
    const quint64 seed = fuzzSeed() ^ qHash(QByteArray(QTest::currentDataTag()));
    qInfo("seed %llu (PARDO_FUZZ_SEED sets another base)", static_cast<unsigned long long>(seed));
    std::mt19937_64 random(seed);
    const auto below = [&random](quint64 bound) {
        return bound == 0 ? quint64(0) : quint64(random() % bound);
    };
    const auto chance = [&random](double p) {
        return std::uniform_real_distribution<double>(0.0, 1.0)(random) < p;
    };

    const QString runtimeDir = scratch->path();
    const auto compositor =
        SocketServer::unixAt(runtimeDir + QStringLiteral("/wayland-fuzz"), true);
    QVERIFY(compositor);
    const QStringList keys =
        SessionDisplay::displayVariables() +
        QStringList{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("PATH"),
                    QStringLiteral("LD_PRELOAD"),      QStringLiteral("display"),
                    QStringLiteral("DISPLAY "),        QString()};
    const QStringList goodValues{xserver->display(),
                                 xserver->display() + QStringLiteral(".0"),
                                 QStringLiteral("unix") + xserver->display(),
                                 killedDisplay,
                                 madeUpDisplay,
                                 QStringLiteral("wayland-fuzz"),
                                 runtimeDir + QStringLiteral("/wayland-fuzz"),
                                 runtimeDir,
                                 QStringLiteral("/auth"),
                                 QStringLiteral("x11"),
                                 QStringLiteral("wayland")};
    bool hugeValues = true;
    const auto garbage = [&]() {
        QString text;
        const quint64 length = hugeValues && chance(0.05) ? 4000 + below(20000) : below(40);
        text.reserve(qsizetype(length));
        for (quint64 i = 0; i < length; ++i) {
            switch (below(4)) {
            case 0:
                text += QChar(char16_t(below(0x80)));
                break;
            case 1:
                text += QLatin1Char("=:./\n\t "[below(8)]);
                break;
            case 2:
                text += QChar(char16_t(0x80 + below(0xd800 - 0x80)));
                break;
            default:
                text += QChar(char16_t('a' + below(26)));
            }
        }
        return text;
    };
    const auto anyValue = [&]() {
        return chance(0.5) ? goodValues.at(qsizetype(below(quint64(goodValues.size()))))
                           : garbage();
    };
    const auto anyKey = [&]() {
        return chance(0.8) ? keys.at(qsizetype(below(quint64(keys.size())))) : garbage();
    };

    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    SessionDisplay sessionDisplay(QDBusConnection::sessionBus(), QProcessEnvironment());
    QSignalSpy found(&sessionDisplay, &SessionDisplay::found);
    QSignalSpy notFound(&sessionDisplay, &SessionDisplay::notFound);
    int answers = 0;
    int foundCount = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray where = QByteArray("round ") + QByteArray::number(round);
        if (fuzzAnnounce) {
            hugeValues = true;
            Variables variables;
            for (quint64 n = below(6); n > 0; --n) {
                variables.insert(anyKey(), anyValue());
            }
            bool acceptable = variables.value(QStringLiteral("DISPLAY")).size() +
                                  variables.value(QStringLiteral("WAYLAND_DISPLAY")).size() >
                              0;
            for (auto it = variables.constBegin(); it != variables.constEnd(); ++it) {
                acceptable = acceptable && SessionDisplay::displayVariables().contains(it.key()) &&
                             isUsableValue(it.value());
            }
            QString error;
            QVERIFY2(sessionDisplay.announce(variables, &error) == acceptable, where.constData());
            QVERIFY2(acceptable == error.isEmpty(), where.constData());
        }
        if (!fuzzManager && round % 20 != 0) {
            continue;
        }
        if (fuzzManager) {
            QStringList environment;
            const quint64 entries = chance(0.05) ? 1000 + below(4000) : below(12);
            hugeValues = entries < 100;
            for (quint64 n = 0; n < entries; ++n) {
                switch (below(5)) {
                case 0:
                    environment << garbage();
                    break;
                case 1:
                    environment << QLatin1Char('=') + anyValue();
                    break;
                default:
                    environment << anyKey() + QLatin1Char('=') + anyValue();
                }
            }
            // Now and then a usable display among the rest.
            if (chance(0.4)) {
                environment.insert(qsizetype(below(quint64(environment.size()) + 1)),
                                   QStringLiteral("DISPLAY=") + goodValues.at(qsizetype(below(5))));
            }
            systemd.setEnvironment(environment);
            systemd.setMode(chance(0.1) ? FakeSystemd::Mode::WrongType
                                        : FakeSystemd::Mode::Answers);
        }
        sessionDisplay.find();
        ++answers;
        QTRY_VERIFY2_WITH_TIMEOUT(found.count() + notFound.count() == answers, where.constData(),
                                  10000);
        if (found.count() > foundCount) {
            foundCount = int(found.count());
            const auto display = found.constLast().at(0).value<QProcessEnvironment>();
            QVERIFY2(display.contains(QStringLiteral("DISPLAY")) ||
                         display.contains(QStringLiteral("WAYLAND_DISPLAY")),
                     where.constData());
            const QString platform = display.value(QStringLiteral("QT_QPA_PLATFORM"));
            QVERIFY2(platform == QLatin1String("xcb") || platform == QLatin1String("wayland;xcb"),
                     where.constData());
            for (const QString& key : display.keys()) {
                QVERIFY2(allowedOutput().contains(key), qPrintable(where + " key " + key));
                QVERIFY2(isUsableValue(display.value(key)), qPrintable(where + " key " + key));
            }
        }
    }
    QCOMPARE(found.count() + notFound.count(), answers);
    qInfo("%d lookups, %d found a display", answers, foundCount);
}

PARDO_DBUS_TEST_MAIN(TestSessionDisplay)
#include "tst_sessiondisplay.moc"
