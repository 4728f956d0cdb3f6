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

namespace {

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

// Which display names and sockets count as a live display, and random environments.
class TestSessionDisplayNames : public SessionDisplayTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void x11Names_data();
    void x11Names();
    void x11SocketLeftBehindIsDead();
    void wayland_data();
    void wayland();
    void fuzz_data();
    void fuzz();
};

void TestSessionDisplayNames::initTestCase() {
    startDisplays();
}

void TestSessionDisplayNames::cleanupTestCase() {
    stopDisplays();
}

void TestSessionDisplayNames::init() {
    makeScratch();
}

void TestSessionDisplayNames::x11Names_data() {
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

void TestSessionDisplayNames::x11Names() {
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

void TestSessionDisplayNames::x11SocketLeftBehindIsDead() {
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

void TestSessionDisplayNames::wayland_data() {
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

void TestSessionDisplayNames::wayland() {
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

void TestSessionDisplayNames::fuzz_data() {
    QTest::addColumn<bool>("fuzzManager");
    QTest::addColumn<bool>("fuzzAnnounce");
    QTest::addColumn<int>("rounds");
    QTest::newRow("manager environments") << true << false << 60;
    QTest::newRow("announced maps") << false << true << 400;
    QTest::newRow("both") << true << true << 60;
}

void TestSessionDisplayNames::fuzz() {
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

PARDO_DBUS_TEST_MAIN(TestSessionDisplayNames)
#include "tst_sessiondisplaynames.moc"
