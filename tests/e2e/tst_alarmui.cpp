#include <QLineEdit>
#include <QProcess>
#include <QStandardPaths>

#include <cstdio>

#include "fakeringdaemon.h"
#include "pardotest.h"
#include "ringsample.h"
#include "ringmessage.h"
#include "ringrequest.h"
#include "toolrun.h"
#include "xserver.h"

// The ring window program itself, on an X server of its own, fed by the test as the
// daemon feeds it, answering a fake daemon on the private bus.
namespace {

const QString kDaemon = QStringLiteral("org.velmar.alarmd");

RingRequest ring(qint64 cookie, const QString& title) {
    return RingSample::stopAndSnooze(cookie, title);
}

QProcessEnvironment onDisplay(const QString& display) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    env.insert(QStringLiteral("DISPLAY"), display);
    return env;
}

// What xdotool prints, trimmed; empty when it failed.
QString xdotool(const QString& display, const QStringList& arguments) {
    ToolOutput output;
    const QString program = QStandardPaths::findExecutable(QStringLiteral("xdotool"));
    if (program.isEmpty() || !runTool(program, arguments, &output, onDisplay(display), 10000) ||
        output.exitCode != 0) {
        return QString();
    }
    return output.out.trimmed();
}

// The X window titled `title`, as a decimal id, or empty.
QString windowNamed(const QString& display, const QString& title) {
    return xdotool(display, {QStringLiteral("search"), QStringLiteral("--name"),
                             QLatin1Char('^') + title + QLatin1Char('$')})
        .section(QLatin1Char('\n'), 0, 0);
}

// Where the X server has the window, or an empty rectangle.
QRect windowGeometry(const QString& display, const QString& window) {
    const QString shell =
        xdotool(display, {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window});
    QHash<QString, int> values;
    for (const QString& line : shell.split(QLatin1Char('\n'))) {
        values.insert(line.section(QLatin1Char('='), 0, 0),
                      line.section(QLatin1Char('='), 1).toInt());
    }
    return QRect(values.value(QStringLiteral("X")), values.value(QStringLiteral("Y")),
                 values.value(QStringLiteral("WIDTH")), values.value(QStringLiteral("HEIGHT")));
}

} // namespace

class TestAlarmUi : public QObject {
    Q_OBJECT
public:
    // A window the user types in, on the display the parent named; tells each Return.
    static int runTyping();

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void showsTheRingAndSaysSo();
    void keepsTheKeyboardWhereTheUserTypes();
    void escapeOnTheRingAnswersTheFirstButton();
    void aButtonAnswersTheDaemon();
    void endsWhenItsInputEnds();
    void endsWhenItsDisplayGoesAway();

private:
    bool start(QProcess& program, const QString& display);
    bool waitForLine(QProcess& program, const QByteArray& expected);
    // Shows a ring and gives its window the keyboard focus, as a user switching to it.
    bool focusOnRing(qint64 cookie, const QString& title);

    std::unique_ptr<XServer> screen;
    std::unique_ptr<FakeRingDaemon> daemon;
    std::unique_ptr<QProcess> ui;
};

int TestAlarmUi::runTyping() {
    QLineEdit field;
    field.setWindowTitle(QStringLiteral("Notes"));
    field.resize(300, 40);
    QObject::connect(&field, &QLineEdit::returnPressed, &field, [&field] {
        std::printf("return %s\n", qPrintable(field.text()));
        std::fflush(stdout);
    });
    field.show();
    field.activateWindow();
    std::printf("typing\n");
    std::fflush(stdout);
    return QApplication::exec();
}

void TestAlarmUi::initTestCase() {
    screen = std::make_unique<XServer>();
    QVERIFY2(screen->isRunning(), "no X server (package xvfb)");
    QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty(), "no xdotool");
    daemon = std::make_unique<FakeRingDaemon>(kDaemon);
    QVERIFY(daemon->isServing());
}

void TestAlarmUi::cleanupTestCase() {
    daemon.reset();
    screen.reset();
}

void TestAlarmUi::init() {
    daemon->clear();
    ui = std::make_unique<QProcess>();
    QVERIFY(start(*ui, screen->display()));
}

void TestAlarmUi::cleanup() {
    if (ui->state() != QProcess::NotRunning) {
        ui->closeWriteChannel();
        if (!ui->waitForFinished(5000)) {
            ui->kill();
            ui->waitForFinished(5000);
        }
    }
    ui.reset();
}

bool TestAlarmUi::start(QProcess& program, const QString& display) {
    program.setProcessEnvironment(onDisplay(display));
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(QStringLiteral(PARDO_ALARM_UI_PATH), QStringList());
    return program.waitForStarted(5000) && waitForLine(program, "ready");
}

bool TestAlarmUi::focusOnRing(qint64 cookie, const QString& title) {
    ui->write(RingMessage::show(ring(cookie, title)));
    if (!waitForLine(*ui, "shown " + QByteArray::number(cookie)) ||
        !QTest::qWaitFor([this, &title] { return screen->viewableWindows(title) == 1; }, 10000)) {
        return false;
    }
    const QString ringWindow = windowNamed(screen->display(), title);
    xdotool(screen->display(),
            {QStringLiteral("windowfocus"), QStringLiteral("--sync"), ringWindow});
    const bool focused = QTest::qWaitFor(
        [this, &ringWindow] {
            return xdotool(screen->display(), {QStringLiteral("getwindowfocus")}) == ringWindow;
        },
        10000);
    QTest::qWait(200);
    return focused;
}

bool TestAlarmUi::waitForLine(QProcess& program, const QByteArray& expected) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 10000) {
        while (program.canReadLine()) {
            if (program.readLine().trimmed() == expected) {
                return true;
            }
        }
        if (program.state() == QProcess::NotRunning) {
            return false;
        }
        program.waitForReadyRead(200);
    }
    qWarning("no line \"%s\" from %s", expected.constData(), qPrintable(program.program()));
    return false;
}

void TestAlarmUi::showsTheRingAndSaysSo() {
    // Two lines in one write, the second cut in two.
    const QByteArray second = RingMessage::show(ring(6, QStringLiteral("Bins out")));
    ui->write(RingMessage::show(ring(5, QStringLiteral("Dentist"))) + second.left(20));
    QVERIFY(waitForLine(*ui, "shown 5"));
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Dentist")), 1, 10000);
    ui->write(second.mid(20));
    QVERIFY(waitForLine(*ui, "shown 6"));
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Bins out")), 1, 10000);
    // Side by side on the screen, neither over the other.
    const QRect first = windowGeometry(screen->display(),
                                       windowNamed(screen->display(), QStringLiteral("Dentist")));
    const QRect next = windowGeometry(screen->display(),
                                      windowNamed(screen->display(), QStringLiteral("Bins out")));
    const QRect desktop(0, 0, 1280, 800);
    QVERIFY(!first.isEmpty());
    QVERIFY(!next.isEmpty());
    QVERIFY(desktop.contains(first));
    QVERIFY(desktop.contains(next));
    QVERIFY(!first.intersects(next));
    ui->write(RingMessage::withdraw(5));
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Dentist")), 0, 10000);
    QCOMPARE(screen->viewableWindows(QStringLiteral("Bins out")), 1);
    QVERIFY(daemon->calls().isEmpty());
}

void TestAlarmUi::keepsTheKeyboardWhereTheUserTypes() {
    QProcess typing;
    typing.setProcessEnvironment(onDisplay(screen->display()));
    typing.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    typing.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--typing")});
    QVERIFY(typing.waitForStarted(5000));
    QVERIFY(waitForLine(typing, "typing"));
    QTRY_VERIFY_WITH_TIMEOUT(!windowNamed(screen->display(), QStringLiteral("Notes")).isEmpty(),
                             10000);
    const QString notes = windowNamed(screen->display(), QStringLiteral("Notes"));
    QTRY_COMPARE_WITH_TIMEOUT(xdotool(screen->display(), {QStringLiteral("getwindowfocus")}), notes,
                              10000);

    ui->write(RingMessage::show(ring(7, QStringLiteral("Dentist"))));
    QVERIFY(waitForLine(*ui, "shown 7"));
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Dentist")), 1, 10000);
    const QString ringWindow = windowNamed(screen->display(), QStringLiteral("Dentist"));
    QVERIFY(!ringWindow.isEmpty());
    // A window manager gives a new window the focus unless its user time says 0.
    ToolOutput userTime;
    QVERIFY(runTool(QStandardPaths::findExecutable(QStringLiteral("xprop")),
                    {QStringLiteral("-display"), screen->display(), QStringLiteral("-id"),
                     ringWindow, QStringLiteral("_NET_WM_USER_TIME")},
                    &userTime));
    QCOMPARE(userTime.out.trimmed(), QStringLiteral("_NET_WM_USER_TIME(CARDINAL) = 0"));
    QCOMPARE(xdotool(screen->display(), {QStringLiteral("getwindowfocus")}), notes);

    // Typing goes on where it was; its Return answers nothing.
    xdotool(screen->display(), {QStringLiteral("type"), QStringLiteral("milk")});
    xdotool(screen->display(), {QStringLiteral("key"), QStringLiteral("Return")});
    QVERIFY(waitForLine(typing, "return milk"));
    QTest::qWait(300);
    QVERIFY(daemon->calls().isEmpty());
    QCOMPARE(screen->viewableWindows(QStringLiteral("Dentist")), 1);
    typing.kill();
    typing.waitForFinished(5000);
}

void TestAlarmUi::escapeOnTheRingAnswersTheFirstButton() {
    // The user switches to it on purpose.
    QVERIFY(focusOnRing(8, QStringLiteral("Dentist")));
    xdotool(screen->display(), {QStringLiteral("key"), QStringLiteral("Escape")});
    QTRY_COMPARE_WITH_TIMEOUT(daemon->calls().size(), 1, 10000);
    QCOMPARE(daemon->calls().first().cookie, 8);
    QCOMPARE(daemon->calls().first().action, 0);
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Dentist")), 0, 10000);
}

void TestAlarmUi::aButtonAnswersTheDaemon() {
    QVERIFY(focusOnRing(9, QStringLiteral("Dentist")));
    // Tab to the snooze button and press it by keyboard.
    xdotool(screen->display(), {QStringLiteral("key"), QStringLiteral("Tab")});
    xdotool(screen->display(), {QStringLiteral("key"), QStringLiteral("Return")});
    QTRY_COMPARE_WITH_TIMEOUT(daemon->calls().size(), 1, 10000);
    QCOMPARE(daemon->calls().first().cookie, 9);
    QCOMPARE(daemon->calls().first().action, 1);
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Dentist")), 0, 10000);
    QVERIFY(ui->state() == QProcess::Running);
}

void TestAlarmUi::endsWhenItsInputEnds() {
    ui->write(RingMessage::show(ring(10, QStringLiteral("Dentist"))));
    QVERIFY(waitForLine(*ui, "shown 10"));
    ui->closeWriteChannel();
    QVERIFY(ui->waitForFinished(10000));
    QCOMPARE(ui->exitStatus(), QProcess::NormalExit);
    QCOMPARE(ui->exitCode(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(QStringLiteral("Dentist")), 0, 10000);
    // Its windows went with it unanswered: nobody pressed a button.
    QTest::qWait(500);
    QVERIFY(daemon->calls().isEmpty());
}

void TestAlarmUi::endsWhenItsDisplayGoesAway() {
    auto doomed = std::make_unique<XServer>();
    QVERIFY(doomed->isRunning());
    QProcess program;
    QVERIFY(start(program, doomed->display()));
    program.write(RingMessage::show(ring(11, QStringLiteral("Dentist"))));
    QVERIFY(waitForLine(program, "shown 11"));
    QTRY_COMPARE_WITH_TIMEOUT(doomed->viewableWindows(QStringLiteral("Dentist")), 1, 10000);
    doomed.reset();
    // Its input is still open: the lost display alone ends it.
    QVERIFY(program.waitForFinished(10000));
    QVERIFY(daemon->calls().isEmpty());
}

int main(int argc, char** argv) {
    if (argc > 1 && qstrcmp(argv[1], "--typing") == 0) {
        // The parent has set up the environment and the display already.
        QApplication app(argc, argv);
        return TestAlarmUi::runTyping();
    }
    TestEnvironment environment;
    PrivateBus bus(environment.root() + QStringLiteral("/bus"));
    if (!bus.isRunning()) {
        qFatal("could not start a private dbus-daemon");
    }
    bus.exportAddress();
    QApplication app(argc, argv);
    TestAlarmUi tc;
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_alarmui.moc"
