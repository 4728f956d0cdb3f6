#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include "daemonclient.h"
#include "mainwindow.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "testdatabase.h"

using DaemonClient::callbackEvent;
using DaemonClient::dialogEventsOf;
using DaemonClient::Event;
using DaemonClient::respond;
using DaemonClient::respondWithin;
using DaemonClient::text;

namespace {

const QString kDaemon = QStringLiteral("org.velmar.alarmd");
const QString kApp = QStringLiteral("org.velmar.pardoreminder");

// The value of `key` in a file of key=value lines; a null string when the key is missing.
QString valueOf(const QString& path, const QString& key) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return QString();
    }
    const QString start = key + QLatin1Char('=');
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(start)) {
            return line.mid(start.size());
        }
    }
    return QString();
}

QString canonical(const QString& path) {
    return QFileInfo(path).canonicalFilePath();
}

uint pidOf(const QString& name) {
    return QDBusConnection::sessionBus().interface()->servicePid(name).value();
}

// The program file of the process that owns `name` on the session bus.
QString executableOf(const QString& name) {
    const uint pid = pidOf(name);
    return pid == 0 ? QString()
                    : QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget();
}

// The file the process that owns `name` loaded libalarm from.
QString libalarmOf(const QString& name) {
    QFile maps(QStringLiteral("/proc/%1/maps").arg(pidOf(name)));
    if (!maps.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return QString();
    }
    for (const QByteArray& line : maps.readAll().split('\n')) {
        const int at = line.indexOf('/');
        if (at >= 0 && line.contains("/libalarm.so")) {
            return canonical(QString::fromLocal8Bit(line.mid(at)));
        }
    }
    return QString();
}

struct Outcome {
    bool finished = false;
    int exitCode = -1;
    QString output;
};

// Runs a program to its end, with standard error in its output.
Outcome
runToEnd(const QString& program, const QStringList& arguments,
         const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    Outcome outcome;
    outcome.finished =
        process.waitForFinished(180000) && process.exitStatus() == QProcess::NormalExit;
    outcome.exitCode = process.exitCode();
    outcome.output = QString::fromLocal8Bit(process.readAll());
    if (!outcome.finished) {
        outcome.output += process.errorString();
    }
    return outcome;
}

} // namespace

// The programs as a user gets them: installed by cmake --install into a fresh prefix, or
// unpacked from the Debian packages into the folder PARDO_INSTALL_ROOT names. The bus starts
// them from their installed .service files, and alarms ring through them.
class TestInstall : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void layoutIsComplete_data();
    void layoutIsComplete();
    void installedFilesNameInstalledPrograms_data();
    void installedFilesNameInstalledPrograms();
    void countdownRingsThroughInstalledDaemon();
    void daemonCallbackStartsInstalledApplication();
    void libalarmBuildsAndLinksFromC();

private:
    QString onDisk(QString path) const;
    QString named(QString path) const;

    QString packageRoot;
    // Where the prefix's files are now, and what the installed files call it: the same for a
    // prefix install, <root>/usr and /usr for unpacked packages.
    QString prefixOnDisk;
    QString prefixNamed;
    QString sysconfOnDisk;
    QString libDir;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<QProcess> app;
};

QString TestInstall::onDisk(QString path) const {
    return path.replace(QStringLiteral("@lib@"), libDir)
        .replace(QStringLiteral("@prefix@"), prefixOnDisk)
        .replace(QStringLiteral("@sysconf@"), sysconfOnDisk)
        .replace(QStringLiteral("@version@"), QStringLiteral(PARDO_VERSION));
}

QString TestInstall::named(QString path) const {
    const QString namedLibDir = prefixNamed + libDir.mid(prefixOnDisk.size());
    return path.replace(QStringLiteral("@lib@"), namedLibDir)
        .replace(QStringLiteral("@prefix@"), prefixNamed);
}

void TestInstall::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    const QString root = TestEnvironment::current()->root();
    packageRoot = qEnvironmentVariable("PARDO_INSTALL_ROOT");
    QString servicesDir;
    if (packageRoot.isEmpty()) {
        prefixOnDisk = root + QStringLiteral("/prefix");
        prefixNamed = prefixOnDisk;
        sysconfOnDisk = prefixOnDisk + QStringLiteral("/etc");
        const Outcome install =
            runToEnd(QStringLiteral(CMAKE_COMMAND),
                     {QStringLiteral("--install"), QStringLiteral(PARDO_BUILD_DIR),
                      QStringLiteral("--prefix"), prefixOnDisk});
        QVERIFY2(install.finished && install.exitCode == 0, qPrintable(install.output));
        servicesDir = prefixOnDisk + QStringLiteral("/share/dbus-1/services");
    } else {
        packageRoot = QDir(packageRoot).absolutePath();
        prefixOnDisk = QDir::cleanPath(packageRoot + QStringLiteral("/usr"));
        prefixNamed = QStringLiteral("/usr");
        sysconfOnDisk = QDir::cleanPath(packageRoot + QStringLiteral("/etc"));
        // The packaged files name /usr/bin: the bus gets copies naming the unpacked programs.
        servicesDir = root + QStringLiteral("/services");
        QVERIFY(QDir().mkpath(servicesDir));
        const QDir packaged(prefixOnDisk + QStringLiteral("/share/dbus-1/services"));
        for (const QString& name :
             {kDaemon + QStringLiteral(".service"), kApp + QStringLiteral(".service")}) {
            QFile in(packaged.filePath(name));
            QVERIFY(in.open(QIODevice::ReadOnly));
            QByteArray content = in.readAll();
            const QByteArray from = "\nExec=" + prefixNamed.toUtf8() + '/';
            QVERIFY2(content.contains(from), content.constData());
            content.replace(from, "\nExec=" + prefixOnDisk.toUtf8() + '/');
            QFile out(servicesDir + QLatin1Char('/') + name);
            QVERIFY(out.open(QIODevice::WriteOnly));
            QCOMPARE(out.write(content), qint64(content.size()));
        }
    }
    QDirIterator libraries(prefixOnDisk + QStringLiteral("/lib"), {QStringLiteral("libalarm.so.0")},
                           QDir::Files, QDirIterator::Subdirectories);
    QVERIFY2(libraries.hasNext(), "no libalarm.so.0 installed");
    libDir = QFileInfo(libraries.next()).absolutePath();
    // Unpacked packages have no RPATH; neither has a prefix install configured for /usr.
    if (!packageRoot.isEmpty() || !PARDO_INSTALL_HAS_RPATH) {
        qputenv("LD_LIBRARY_PATH", libDir.toLocal8Bit());
    }

    // Whatever the bus starts gets this process's environment: the test's HOME and XDG folders.
    bus = std::make_unique<PrivateBus>(root + QStringLiteral("/bus"), servicesDir);
    QVERIFY(bus->isRunning());
    bus->exportAddress();
    QVERIFY(QDBusConnection::sessionBus().isConnected());
}

void TestInstall::cleanupTestCase() {
    QVERIFY(DaemonClient::stopService(kApp));
    QVERIFY(DaemonClient::stopService(kDaemon));
    if (app && app->state() != QProcess::NotRunning) {
        app->kill();
        app->waitForFinished(5000);
    }
}

void TestInstall::layoutIsComplete_data() {
    QTest::addColumn<QString>("path");
    for (const char* path :
         {"@prefix@/bin/pardo-reminder",
          "@prefix@/bin/pardo-alarmd",
          "@prefix@/bin/pardo-alarm-ui",
          "@lib@/libalarm.so.@version@",
          "@lib@/libalarm.so.0",
          "@lib@/libalarm.so",
          "@lib@/pkgconfig/libalarm.pc",
          "@prefix@/include/alarmd/libalarm.h",
          "@prefix@/share/applications/org.velmar.pardoreminder.desktop",
          "@prefix@/share/metainfo/org.velmar.pardoreminder.metainfo.xml",
          "@prefix@/share/icons/hicolor/48x48/apps/org.velmar.pardoreminder.png",
          "@prefix@/share/icons/hicolor/64x64/apps/org.velmar.pardoreminder.png",
          "@prefix@/share/icons/hicolor/128x128/apps/org.velmar.pardoreminder.png",
          "@prefix@/share/icons/hicolor/256x256/apps/org.velmar.pardoreminder.png",
          "@prefix@/share/icons/hicolor/scalable/apps/org.velmar.pardoreminder.svg",
          "@prefix@/share/man/man1/pardo-reminder.1",
          "@prefix@/share/man/man1/pardo-alarmd.1",
          "@prefix@/share/man/man1/pardo-alarm-ui.1",
          "@prefix@/share/dbus-1/interfaces/org.velmar.alarmd.xml",
          "@prefix@/share/dbus-1/services/org.velmar.pardoreminder.service",
          "@prefix@/share/dbus-1/services/org.velmar.alarmd.service",
          "@prefix@/lib/systemd/user/pardo-alarmd.service",
          "@sysconf@/xdg/autostart/pardo-alarmd.desktop"}) {
        QTest::newRow(path) << QString::fromLatin1(path);
    }
}

void TestInstall::layoutIsComplete() {
    QFETCH(QString, path);
    const QString file = onDisk(path);
    // Debian compresses the manual pages.
    QVERIFY2(QFileInfo(file).isFile() || QFileInfo(file + QStringLiteral(".gz")).isFile(),
             qPrintable(file));
}

void TestInstall::installedFilesNameInstalledPrograms_data() {
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    const QString services = QStringLiteral("@prefix@/share/dbus-1/services/");
    const QString unit = QStringLiteral("@prefix@/lib/systemd/user/pardo-alarmd.service");
    const QString alarmd = QStringLiteral("@prefix@/bin/pardo-alarmd");
    QTest::newRow("daemon's bus name")
        << services + QStringLiteral("org.velmar.alarmd.service") << "Exec" << alarmd;
    QTest::newRow("daemon under systemd")
        << services + QStringLiteral("org.velmar.alarmd.service") << "SystemdService"
        << "pardo-alarmd.service";
    QTest::newRow("application's bus name")
        << services + QStringLiteral("org.velmar.pardoreminder.service") << "Exec"
        << "@prefix@/bin/pardo-reminder";
    QTest::newRow("unit program") << unit << "ExecStart" << alarmd;
    QTest::newRow("unit type") << unit << "Type"
                               << "dbus";
    QTest::newRow("unit bus name") << unit << "BusName"
                                   << "org.velmar.alarmd";
    QTest::newRow("unit restart") << unit << "Restart"
                                  << "on-failure";
    QTest::newRow("autostart") << "@sysconf@/xdg/autostart/pardo-alarmd.desktop"
                               << "Exec" << alarmd;
    QTest::newRow("launcher") << "@prefix@/share/applications/org.velmar.pardoreminder.desktop"
                              << "Exec"
                              << "@prefix@/bin/pardo-reminder";
    QTest::newRow("pkg-config libdir") << "@lib@/pkgconfig/libalarm.pc"
                                       << "libdir"
                                       << "@lib@";
    QTest::newRow("pkg-config includedir") << "@lib@/pkgconfig/libalarm.pc"
                                           << "includedir"
                                           << "@prefix@/include";
}

void TestInstall::installedFilesNameInstalledPrograms() {
    QFETCH(QString, file);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QCOMPARE(valueOf(onDisk(file), key), named(value));
}

void TestInstall::countdownRingsThroughInstalledDaemon() {
    // The installed application starts, makes its database with the seed task, takes its name.
    app = std::make_unique<QProcess>();
    app->setProcessChannelMode(QProcess::ForwardedChannels);
    app->start(onDisk(QStringLiteral("@prefix@/bin/pardo-reminder")), QStringList());
    QVERIFY2(app->waitForStarted(10000), qPrintable(app->errorString()));
    QTRY_VERIFY_WITH_TIMEOUT(DaemonClient::isRunning(kApp), 20000);
    QCOMPARE(executableOf(kApp), canonical(onDisk(QStringLiteral("@prefix@/bin/pardo-reminder"))));
    QCOMPARE(libalarmOf(kApp), canonical(libDir + QStringLiteral("/libalarm.so.0")));
    QVERIFY(QFileInfo::exists(TestEnvironment::current()->databasePath()));

    // A double tap switches on the seed, a countdown with one alarm at 0 minutes.
    QVERIFY(!DaemonClient::isRunning(kDaemon));
    {
        TaskManager manager;
        MainWindow window(manager);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(!manager.allTasks().isEmpty());
        Task* seed = manager.allTasks().first();
        QCOMPARE(seed->name(), QStringLiteral("Initial"));
        QTest::mouseDClick(window.windowHandle(), Qt::LeftButton, {},
                           seed->taskButton()->mapTo(&window, QPoint(150, 50)));
        QVERIFY(seed->active());
    }
    TestDatabase::dropDefaultConnection();

    // The bus started the installed daemon from its installed file, and the alarm rings there.
    QVERIFY(DaemonClient::isRunning(kDaemon));
    QCOMPARE(executableOf(kDaemon), canonical(onDisk(QStringLiteral("@prefix@/bin/pardo-alarmd"))));
    QVERIFY(QFileInfo::exists(TestEnvironment::current()->root() +
                              QStringLiteral("/data/pardo-alarmd/queue.sqlite")));
    std::vector<Event> placed = dialogEventsOf(1);
    QCOMPARE(placed.size(), size_t(1));
    QCOMPARE(text(alarm_event_get_message(placed[0].get())), QStringLiteral("Initial"));
    QVERIFY(respondWithin(placed[0]->cookie, 0, 10000));
    QTRY_VERIFY(dialogEventsOf(1).empty());
}

void TestInstall::daemonCallbackStartsInstalledApplication() {
    QVERIFY(DaemonClient::stopService(kApp));
    QTRY_VERIFY_WITH_TIMEOUT(app->state() == QProcess::NotRunning, 10000);

    // The daemon's callback finds the application closed: the bus starts it from its installed
    // file, and its dialog event goes through the installed libalarm to the daemon.
    Event due = callbackEvent(1, 0, time(nullptr));
    QVERIFY(alarmd_event_add(due.get()) > 0);
    QTRY_VERIFY_WITH_TIMEOUT(DaemonClient::isRunning(kApp), 20000);
    QCOMPARE(executableOf(kApp), canonical(onDisk(QStringLiteral("@prefix@/bin/pardo-reminder"))));
    QCOMPARE(libalarmOf(kApp), canonical(libDir + QStringLiteral("/libalarm.so.0")));
    QTRY_VERIFY_WITH_TIMEOUT(dialogEventsOf(1).size() == 1, 20000);
    std::vector<Event> dialog = dialogEventsOf(1);
    QCOMPARE(text(alarm_event_get_message(dialog[0].get())), QStringLiteral("Initial"));
    QVERIFY(respondWithin(dialog[0]->cookie, 0, 10000));
    QTRY_VERIFY(dialogEventsOf(1).empty());
}

void TestInstall::libalarmBuildsAndLinksFromC() {
    const QString compiler = QStandardPaths::findExecutable(QStringLiteral("cc"));
    QVERIFY2(!compiler.isEmpty(), "no C compiler (cc) found");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PKG_CONFIG_PATH"), libDir + QStringLiteral("/pkgconfig"));
    // Also /usr/include and /usr/lib, which unpacked packages have their files under.
    environment.insert(QStringLiteral("PKG_CONFIG_ALLOW_SYSTEM_CFLAGS"), QStringLiteral("1"));
    environment.insert(QStringLiteral("PKG_CONFIG_ALLOW_SYSTEM_LIBS"), QStringLiteral("1"));
    const Outcome pkgConfig =
        runToEnd(QStringLiteral("pkg-config"),
                 {QStringLiteral("--cflags"), QStringLiteral("--libs"), QStringLiteral("libalarm")},
                 environment);
    QVERIFY2(pkgConfig.finished && pkgConfig.exitCode == 0, qPrintable(pkgConfig.output));
    QStringList flags = QProcess::splitCommand(pkgConfig.output.trimmed());
    // Unpacked packages name /usr: their own two folders move to where they are now, while
    // those of libdbus stay the system's.
    const QString include = QStringLiteral("-I") + onDisk(QStringLiteral("@prefix@/include"));
    const QString link = QStringLiteral("-L") + libDir;
    for (QString& flag : flags) {
        if (flag == QStringLiteral("-I") + named(QStringLiteral("@prefix@/include"))) {
            flag = include;
        } else if (flag == QStringLiteral("-L") + named(QStringLiteral("@lib@"))) {
            flag = link;
        }
    }
    QVERIFY2(flags.contains(include), qPrintable(pkgConfig.output));
    QVERIFY2(flags.contains(link), qPrintable(pkgConfig.output));
    QVERIFY2(flags.contains(QStringLiteral("-lalarm")), qPrintable(pkgConfig.output));

    // A C program that asks the daemon for its queue: 0 when the answer came.
    const QString dir = TestEnvironment::current()->root() + QStringLiteral("/probe");
    QVERIFY(QDir().mkpath(dir));
    QFile source(dir + QStringLiteral("/probe.c"));
    QVERIFY(source.open(QIODevice::WriteOnly));
    source.write("#include <alarmd/libalarm.h>\n"
                 "#include <stdlib.h>\n"
                 "int main(void) {\n"
                 "    cookie_t* cookies = alarmd_event_query(0, 0, 0, 0, \"\");\n"
                 "    if (!cookies)\n"
                 "        return 1;\n"
                 "    free(cookies);\n"
                 "    return 0;\n"
                 "}\n");
    source.close();
    const QString probe = dir + QStringLiteral("/probe");
    QStringList arguments{QStringLiteral("-std=c99"),
                          QStringLiteral("-Wall"),
                          QStringLiteral("-Werror"),
                          QStringLiteral("-o"),
                          probe,
                          source.fileName()};
    // The library of a sanitizer build needs the sanitizers' runtime in the program.
    if (PARDO_SANITIZE) {
        arguments << QStringLiteral("-fsanitize=address,undefined");
    }
    arguments << flags;
    const Outcome compile = runToEnd(compiler, arguments);
    QVERIFY2(compile.finished && compile.exitCode == 0,
             qPrintable(arguments.join(QLatin1Char(' ')) + QLatin1Char('\n') + compile.output));

    QProcessEnvironment runEnvironment = QProcessEnvironment::systemEnvironment();
    runEnvironment.insert(QStringLiteral("LD_LIBRARY_PATH"), libDir);
    const Outcome ran = runToEnd(probe, {}, runEnvironment);
    QVERIFY2(ran.finished, qPrintable(ran.output));
    QCOMPARE(ran.exitCode, 0);
}

// No bus here yet: it is started once the installed service files exist.
int main(int argc, char** argv) {
    TestEnvironment environment;
    QApplication app(argc, argv);
    TestInstall tc;
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_install.moc"
