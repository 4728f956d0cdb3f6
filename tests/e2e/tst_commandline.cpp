#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "pardotest.h"
#include "pardoversion.h"
#include "toolrun.h"

namespace {

const QString alarmd = QStringLiteral(PARDO_ALARMD_PATH);
const QString alarmUi = QStringLiteral(PARDO_ALARM_UI_PATH);

} // namespace

// The alarm daemon started for real with a fresh HOME and XDG_DATA_HOME and no
// reachable session bus: --help and --version need neither a display nor the
// bus, and anything else it does not know ends it with status 2 before it
// touches its files.
class TestCommandLine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void answersWithoutDisplayOrBus_data();
    void answersWithoutDisplayOrBus();
    void refusesWithStatusTwo_data();
    void refusesWithStatusTwo();

private:
    bool run(const QString& program, const QStringList& arguments, bool display,
             ToolOutput* outcome) const;
    void verifyNothingWritten() const;

    std::unique_ptr<QTemporaryDir> world;
};

void TestCommandLine::init() {
    world = std::make_unique<QTemporaryDir>(TestEnvironment::current()->root() +
                                            QStringLiteral("/run-XXXXXX"));
    QVERIFY(world->isValid());
    QVERIFY(QDir(world->path()).mkpath(QStringLiteral("home")));
    QVERIFY(QDir(world->path()).mkpath(QStringLiteral("data")));
}

void TestCommandLine::cleanup() {
    world.reset();
}

// Runs the program to its end. Without `display` neither a display nor a
// platform plugin is named, so a QApplication built on the way would abort.
bool TestCommandLine::run(const QString& program, const QStringList& arguments, bool display,
                          ToolOutput* outcome) const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), world->filePath(QStringLiteral("home")));
    env.insert(QStringLiteral("XDG_DATA_HOME"), world->filePath(QStringLiteral("data")));
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
               QStringLiteral("unix:path=") + world->filePath(QStringLiteral("no-bus")));
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    if (display) {
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    } else {
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    }
    return runTool(program, arguments, outcome, env, 30000);
}

void TestCommandLine::verifyNothingWritten() const {
    QVERIFY(QDir(world->filePath(QStringLiteral("home")))
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                .isEmpty());
    QVERIFY(QDir(world->filePath(QStringLiteral("data")))
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                .isEmpty());
}

void TestCommandLine::answersWithoutDisplayOrBus_data() {
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("help");

    {
        const QString& program = alarmd;
        const QByteArray name = QFileInfo(program).fileName().toLatin1();
        const auto row = [&name](const char* what) -> QTestData& {
            return QTest::newRow((name + ' ' + what).constData());
        };
        row("--help") << program << QStringList{QStringLiteral("--help")} << true;
        row("-h") << program << QStringList{QStringLiteral("-h")} << true;
        row("--version") << program << QStringList{QStringLiteral("--version")} << false;
        row("-v") << program << QStringList{QStringLiteral("-v")} << false;
        row("-platform offscreen --version")
            << program
            << QStringList{QStringLiteral("-platform"), QStringLiteral("offscreen"),
                           QStringLiteral("--version")}
            << false;
        row("--foo --help") << program
                            << QStringList{QStringLiteral("--foo"), QStringLiteral("--help")}
                            << true;
    }
    {
        // The ring window program answers these before it looks for a display.
        const QString& program = alarmUi;
        const QByteArray name = QFileInfo(program).fileName().toLatin1();
        const auto row = [&name](const char* what) -> QTestData& {
            return QTest::newRow((name + ' ' + what).constData());
        };
        row("--help") << program << QStringList{QStringLiteral("--help")} << true;
        row("--version") << program << QStringList{QStringLiteral("--version")} << false;
        row("-platform offscreen --version")
            << program
            << QStringList{QStringLiteral("-platform"), QStringLiteral("offscreen"),
                           QStringLiteral("--version")}
            << false;
    }
}

void TestCommandLine::answersWithoutDisplayOrBus() {
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(bool, help);

    ToolOutput outcome;
    QVERIFY(run(program, arguments, false, &outcome));
    QVERIFY2(outcome.err.isEmpty(), qPrintable(outcome.err));
    QCOMPARE(outcome.exitCode, 0);
    const QString name = QFileInfo(program).fileName();
    if (help) {
        const QStringList lines = outcome.out.split(QLatin1Char('\n'));
        QCOMPARE(lines.value(0), QStringLiteral("Usage: %1 [options]").arg(program));
        QVERIFY2(!lines.value(1).trimmed().isEmpty(), "no description under the usage line");
        // The daemon has no windows, and no windowing options; the ring window program has both.
        const bool windows = program == alarmUi;
        QVERIFY2(lines.value(1).contains(windows ? QStringLiteral("Ring windows")
                                                 : QStringLiteral("Alarm daemon")),
                 qPrintable(lines.value(1)));
        QVERIFY2(outcome.out.contains(QStringLiteral("-platform")) == windows,
                 qPrintable(outcome.out));
        QVERIFY2(outcome.out.contains(QRegularExpression(QStringLiteral("\n  -h, --help  +\\S"))),
                 qPrintable(outcome.out));
        QVERIFY2(
            outcome.out.contains(QRegularExpression(QStringLiteral("\n  -v, --version  +\\S"))),
            qPrintable(outcome.out));
    } else {
        QCOMPARE(outcome.out, name + QStringLiteral(" " PARDO_VERSION "\n"));
    }
    verifyNothingWritten();
}

void TestCommandLine::refusesWithStatusTwo_data() {
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("display");
    QTest::addColumn<QString>("complaint");

    {
        const QString& program = alarmd;
        const QByteArray name = QFileInfo(program).fileName().toLatin1();
        const auto row = [&name](const char* what) -> QTestData& {
            return QTest::newRow((name + ' ' + what).constData());
        };
        row("--foo") << program << QStringList{QStringLiteral("--foo")} << true
                     << QStringLiteral("unknown option '--foo'");
        row("-x") << program << QStringList{QStringLiteral("-x")} << true
                  << QStringLiteral("unknown option '-x'");
        row("--foo=bar") << program << QStringList{QStringLiteral("--foo=bar")} << true
                         << QStringLiteral("unknown option '--foo'");
        row("-hv") << program << QStringList{QStringLiteral("-hv")} << true
                   << QStringLiteral("unknown option '-hv'");
        row("positional") << program << QStringList{QStringLiteral("stray")} << true
                          << QStringLiteral("unexpected argument 'stray'");
        row("-- --help") << program << QStringList{QStringLiteral("--"), QStringLiteral("--help")}
                         << true << QStringLiteral("unexpected argument '--help'");
        row("--version=2") << program << QStringList{QStringLiteral("--version=2")} << true
                           << QStringLiteral("option '--version' takes no value");
        row("-h=") << program << QStringList{QStringLiteral("-h=")} << true
                   << QStringLiteral("option '-h' takes no value");
        // Without windows there are no windowing options to take.
        row("-platform offscreen")
            << program << QStringList{QStringLiteral("-platform"), QStringLiteral("offscreen")}
            << false << QStringLiteral("unknown option '-platform'");
        row("-style Fusion") << program
                             << QStringList{QStringLiteral("-style"), QStringLiteral("Fusion")}
                             << true << QStringLiteral("unknown option '-style'");
    }
}

void TestCommandLine::refusesWithStatusTwo() {
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(bool, display);
    QFETCH(QString, complaint);

    ToolOutput outcome;
    QVERIFY(run(program, arguments, display, &outcome));
    QCOMPARE(outcome.exitCode, 2);
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.err,
             QStringLiteral("%1: %2\nTry --help.\n").arg(QFileInfo(program).fileName(), complaint));
    verifyNothingWritten();
}

PARDO_TEST_MAIN(TestCommandLine)
#include "tst_commandline.moc"
