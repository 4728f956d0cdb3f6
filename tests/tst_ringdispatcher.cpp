#include <QDBusConnection>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>

#include "fakesystemd.h"
#include "pardotest.h"
#include "ringdispatcher.h"
#include "ringsample.h"
#include "xserver.h"

namespace {

constexpr qint64 cookie = 42;

// A ring window program that cannot open its display the first `failures` times it is
// started (it ends before saying "ready"), and then shows every ring it is given.
QString writeProgram(const QString& folder, int failures) {
    const QString path = folder + QStringLiteral("/ring-program");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return QString();
    }
    file.write(QStringLiteral("#!/bin/sh\n"
                              "count=\"$0.starts\"\n"
                              "n=$(( $(cat \"$count\" 2>/dev/null || echo 0) + 1 ))\n"
                              "echo \"$n\" > \"$count\"\n"
                              "[ \"$n\" -le %1 ] && exit 1\n"
                              "echo ready\n"
                              "while IFS= read -r line; do\n"
                              "  c=$(printf '%s\\n' \"$line\" |"
                              " sed -n 's/^{\"show\":.*\"cookie\":\"\\([0-9]*\\)\".*/\\1/p')\n"
                              "  [ -n \"$c\" ] && echo \"shown $c\"\n"
                              "done\n")
                   .arg(failures)
                   .toUtf8());
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

int starts(const QString& program) {
    QFile file(program + QStringLiteral(".starts"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
}

QProcessEnvironment ownDisplay(const QString& display) {
    QProcessEnvironment own;
    own.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
    if (!display.isEmpty()) {
        own.insert(QStringLiteral("DISPLAY"), display);
    }
    return own;
}

} // namespace

class TestRingDispatcher : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void aProgramThatCouldNotOpenItsDisplayIsStartedAgain_data();
    void aProgramThatCouldNotOpenItsDisplayIsStartedAgain();
    void aProgramThatKeepsFailingIsStartedLessAndLessOften();
    void aManagerThatDidNotAnswerIsAskedAgain();
    void aManagerThatAnsweredWithoutADisplayIsNotAskedAgain();

private:
    std::unique_ptr<XServer> xserver;
    std::unique_ptr<QTemporaryDir> scratch;
    QDBusConnection managerBus{QString()};
};

void TestRingDispatcher::initTestCase() {
    xserver = std::make_unique<XServer>();
    QVERIFY2(xserver->isRunning(), "no X server (package xvfb)");
    // A connection of its own, as a real manager is another process.
    managerBus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-systemd"));
    QVERIFY(managerBus.isConnected());
}

void TestRingDispatcher::cleanupTestCase() {
    QDBusConnection::disconnectFromBus(QStringLiteral("fake-systemd"));
    xserver.reset();
}

void TestRingDispatcher::init() {
    scratch = std::make_unique<QTemporaryDir>(TestEnvironment::current()->root() +
                                              QStringLiteral("/d-XXXXXX"));
    QVERIFY(scratch->isValid());
}

void TestRingDispatcher::aProgramThatCouldNotOpenItsDisplayIsStartedAgain_data() {
    QTest::addColumn<int>("failures");
    QTest::newRow("first start fails") << 1;
    QTest::newRow("two starts fail") << 2;
}

void TestRingDispatcher::aProgramThatCouldNotOpenItsDisplayIsStartedAgain() {
    QFETCH(int, failures);
    const QString program = writeProgram(scratch->path(), failures);
    QVERIFY(!program.isEmpty());
    RingDispatcher dispatcher(QDBusConnection::sessionBus(), ownDisplay(xserver->display()));
    dispatcher.setProgram(program);
    QSignalSpy shown(&dispatcher, &RingDispatcher::shown);
    dispatcher.ring(RingSample::stopAndSnooze(cookie, QStringLiteral("Water the plants")));
    // A display that refused once is not given up for good: a passing fault (a server
    // still starting, a machine under load) must not leave the ring waiting.
    QTRY_COMPARE_WITH_TIMEOUT(shown.count(), 1, 20000);
    QCOMPARE(shown.at(0).at(0).toLongLong(), cookie);
    QCOMPARE(dispatcher.route(cookie), RingDispatcher::Window);
    QCOMPARE(starts(program), failures + 1);
}

void TestRingDispatcher::aProgramThatKeepsFailingIsStartedLessAndLessOften() {
    const QString program = writeProgram(scratch->path(), 1000);
    QVERIFY(!program.isEmpty());
    RingDispatcher dispatcher(QDBusConnection::sessionBus(), ownDisplay(xserver->display()));
    dispatcher.setProgram(program);
    dispatcher.ring(RingSample::stopAndSnooze(cookie, QStringLiteral("Water the plants")));
    // Pauses of 1, 2 and 4 s: the fourth start comes 7 s after the first, the fifth 8 s later.
    QTRY_VERIFY_WITH_TIMEOUT(starts(program) >= 2, 10000);
    QTest::qWait(5000);
    QVERIFY2(starts(program) <= 4, qPrintable(QString::number(starts(program))));
    QCOMPARE(dispatcher.route(cookie), RingDispatcher::Waiting);

    // Answered meanwhile: nothing is started any more.
    dispatcher.withdraw(cookie);
    const int startsThen = starts(program);
    QTest::qWait(4500);
    QCOMPARE(starts(program), startsThen);
}

void TestRingDispatcher::aManagerThatDidNotAnswerIsAskedAgain() {
    const QString program = writeProgram(scratch->path(), 0);
    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    systemd.setEnvironment({QStringLiteral("DISPLAY=%1").arg(xserver->display())});
    systemd.setMode(FakeSystemd::Mode::NeverAnswers);
    // The daemon itself has no display: only the manager knows one.
    RingDispatcher dispatcher(QDBusConnection::sessionBus(), ownDisplay(QString()));
    dispatcher.setProgram(program);
    QSignalSpy shown(&dispatcher, &RingDispatcher::shown);
    dispatcher.ring(RingSample::stopAndSnooze(cookie, QStringLiteral("Water the plants")));
    QTRY_COMPARE(systemd.questions(), 1);
    // Busy for a moment, then back.
    systemd.setMode(FakeSystemd::Mode::Answers);
    QTRY_COMPARE_WITH_TIMEOUT(shown.count(), 1, 15000);
    QCOMPARE(systemd.questions(), 2);
    QCOMPARE(starts(program), 1);
}

void TestRingDispatcher::aManagerThatAnsweredWithoutADisplayIsNotAskedAgain() {
    const QString program = writeProgram(scratch->path(), 0);
    FakeSystemd systemd(managerBus);
    QVERIFY(systemd.isRegistered());
    systemd.setEnvironment({QStringLiteral("PATH=/usr/bin")});
    RingDispatcher dispatcher(QDBusConnection::sessionBus(), ownDisplay(QString()));
    dispatcher.setProgram(program);
    dispatcher.ring(RingSample::stopAndSnooze(cookie, QStringLiteral("Water the plants")));
    QTRY_COMPARE(systemd.questions(), 1);
    // No display is an answer: the ring waits for news and polls nothing meanwhile.
    QTest::qWait(4000);
    QCOMPARE(systemd.questions(), 1);
    QCOMPARE(starts(program), 0);
    QCOMPARE(dispatcher.route(cookie), RingDispatcher::Waiting);
}

PARDO_DBUS_TEST_MAIN(TestRingDispatcher)
#include "tst_ringdispatcher.moc"
