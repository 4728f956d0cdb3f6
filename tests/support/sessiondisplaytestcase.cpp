#include "sessiondisplaytestcase.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "sessiondisplay.h"
#include "testenvironment.h"
#include "xserver.h"

SessionDisplayTestCase::SessionDisplayTestCase() = default;

SessionDisplayTestCase::~SessionDisplayTestCase() = default;

QStringList SessionDisplayTestCase::assignments(const Variables& variables) {
    QStringList list;
    for (auto it = variables.constBegin(); it != variables.constEnd(); ++it) {
        list << it.key() + QLatin1Char('=') + it.value();
    }
    return list;
}

QProcessEnvironment SessionDisplayTestCase::environmentOf(const Variables& variables) {
    QProcessEnvironment environment;
    for (auto it = variables.constBegin(); it != variables.constEnd(); ++it) {
        environment.insert(it.key(), it.value());
    }
    return environment;
}

void SessionDisplayTestCase::startDisplays() {
    xserver = std::make_unique<XServer>();
    QVERIFY(xserver->isRunning());
    // Far above the numbers that servers of tests running alongside take (the lowest free
    // ones), so that no other server comes up under the killed or the made-up name.
    for (int n = 300; n < 400 && killedDisplay.isEmpty(); ++n) {
        if (!SessionDisplay::isX11Live(QStringLiteral(":%1").arg(n),
                                       QStringLiteral("/tmp/.X11-unix"))) {
            XServer gone(n);
            if (gone.isRunning()) {
                killedDisplay = gone.display();
            }
        }
    }
    QVERIFY(!killedDisplay.isEmpty());
    QVERIFY(!SessionDisplay::isX11Live(killedDisplay, QStringLiteral("/tmp/.X11-unix")));
    for (int n = 197; n < 300; ++n) {
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

void SessionDisplayTestCase::stopDisplays() {
    QDBusConnection::disconnectFromBus(QStringLiteral("fake-systemd"));
    xserver.reset();
}

void SessionDisplayTestCase::makeScratch() {
    scratch = std::make_unique<QTemporaryDir>(TestEnvironment::current()->root() +
                                              QStringLiteral("/s-XXXXXX"));
    QVERIFY(scratch->isValid());
}

void SessionDisplayTestCase::lookup(SessionDisplay& sessionDisplay, Answer* answer, int timeoutMs) {
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

QString SessionDisplayTestCase::displayName(Display display) const {
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
Variables SessionDisplayTestCase::source(Display display, const QString& name) const {
    if (display == NoDisplay) {
        return {};
    }
    return {{QStringLiteral("DISPLAY"), displayName(display)},
            {QStringLiteral("XAUTHORITY"), QStringLiteral("/auth/") + name}};
}
