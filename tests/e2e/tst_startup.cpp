#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include "fakeinstance.h"
#include "pardotest.h"
#include "xserver.h"

namespace {

const QString kTitle = QStringLiteral("Pardo Reminder");

} // namespace

// Starts the real application on a private bus with a fresh HOME.
class TestStartup : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void servesBothMethodsAndNothingElse();
    void methodsReplyZero_data();
    void methodsReplyZero();
    void secondInstanceExitsWithTwo();
    void secondInstanceAsksFirstToShow_data();
    void secondInstanceAsksFirstToShow();
    void secondInstanceShowsBusStartedFirst();
    void busStartServesAlarmUnseenAndEnds();
    void noBusExitsWithOneAfterOpeningDatabase();

private:
    QProcessEnvironment environment() const;
    // On the X server, as a user would see it; `byBus` as the bus starts a program for a call.
    QProcessEnvironment screenEnvironment(bool byBus) const;
    void startFirst();
    // Starts the application without calling it, and waits until its object is on the bus.
    void startQuietly(const QProcessEnvironment& env);
    QDBusMessage call(const QString& method, const QVariantList& args = {});

    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<QProcess> app;
    std::unique_ptr<XServer> screen;
    QString home;
    QString connectionName;
};

QProcessEnvironment TestStartup::environment() const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    if (bus) {
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus->address());
    }
    return env;
}

void TestStartup::init() {
    const QString root = TestEnvironment::current()->root() + QStringLiteral("/") +
                         QString::fromLatin1(QTest::currentTestFunction());
    QDir(root).removeRecursively();
    home = root + QStringLiteral("/home");
    QDir().mkpath(home);
    bus = std::make_unique<PrivateBus>(root + QStringLiteral("/bus"));
    QVERIFY(bus->isRunning());
    connectionName = QStringLiteral("probe-") + QString::fromLatin1(QTest::currentTestFunction());
    QDBusConnection probe = QDBusConnection::connectToBus(bus->address(), connectionName);
    QVERIFY(probe.isConnected());
}

void TestStartup::cleanup() {
    if (app && app->state() != QProcess::NotRunning) {
        app->terminate();
        if (!app->waitForFinished(5000)) {
            app->kill();
            app->waitForFinished(5000);
        }
    }
    app.reset();
    screen.reset();
    QDBusConnection::disconnectFromBus(connectionName);
    bus.reset();
}

QProcessEnvironment TestStartup::screenEnvironment(bool byBus) const {
    QProcessEnvironment env = environment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    env.insert(QStringLiteral("DISPLAY"), screen->display());
    env.remove(QStringLiteral("DBUS_STARTER_BUS_TYPE"));
    env.remove(QStringLiteral("DBUS_STARTER_ADDRESS"));
    if (byBus) {
        env.insert(QStringLiteral("DBUS_STARTER_BUS_TYPE"), QStringLiteral("session"));
        env.insert(QStringLiteral("DBUS_STARTER_ADDRESS"), bus->address());
    }
    return env;
}

void TestStartup::startQuietly(const QProcessEnvironment& env) {
    app = std::make_unique<QProcess>();
    app->setProcessEnvironment(env);
    app->start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QVERIFY(app->waitForStarted(10000));
    // Looking at the object is no call of its methods.
    const auto introspection = [this] {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.velmar.pardoreminder"), QStringLiteral("/org/velmar/pardoreminder"),
            QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
        message.setAutoStartService(false);
        const QDBusMessage reply = QDBusConnection(connectionName).call(message);
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                          : QString();
    };
    QTRY_VERIFY_WITH_TIMEOUT(introspection().contains(QLatin1String("top_application")), 20000);
}

void TestStartup::startFirst() {
    app = std::make_unique<QProcess>();
    app->setProcessEnvironment(environment());
    app->start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QVERIFY(app->waitForStarted(10000));
    QDBusConnection probe = QDBusConnection(connectionName);
    QTRY_VERIFY_WITH_TIMEOUT(
        probe.interface()->isServiceRegistered(QStringLiteral("org.velmar.pardoreminder")), 20000);
    // The name is claimed before the object is registered; wait for both.
    QTRY_VERIFY_WITH_TIMEOUT(
        call(QStringLiteral("top_application")).type() == QDBusMessage::ReplyMessage, 20000);
}

QDBusMessage TestStartup::call(const QString& method, const QVariantList& args) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.velmar.pardoreminder"), QStringLiteral("/org/velmar/pardoreminder"),
        QStringLiteral("org.velmar.pardoreminder"), method);
    message.setArguments(args);
    return QDBusConnection(connectionName).call(message, QDBus::Block, 10000);
}

void TestStartup::servesBothMethodsAndNothingElse() {
    startFirst();
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.velmar.pardoreminder"), QStringLiteral("/org/velmar/pardoreminder"),
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    const QDBusMessage reply = QDBusConnection(connectionName).call(message);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QDomDocument xml;
    QVERIFY(xml.setContent(reply.arguments().at(0).toString()));

    QDomElement ours;
    const QDomNodeList interfaces =
        xml.documentElement().elementsByTagName(QStringLiteral("interface"));
    for (int i = 0; i < interfaces.size(); ++i) {
        const QDomElement element = interfaces.at(i).toElement();
        if (element.attribute(QStringLiteral("name")) ==
            QLatin1String("org.velmar.pardoreminder")) {
            ours = element;
        }
    }
    QVERIFY(!ours.isNull());
    QVERIFY(ours.elementsByTagName(QStringLiteral("signal")).isEmpty());
    QVERIFY(ours.elementsByTagName(QStringLiteral("property")).isEmpty());
    // No child objects either.
    QVERIFY(xml.documentElement().elementsByTagName(QStringLiteral("node")).isEmpty());

    QMap<QString, QStringList> methods;
    const QDomNodeList methodNodes = ours.elementsByTagName(QStringLiteral("method"));
    for (int i = 0; i < methodNodes.size(); ++i) {
        const QDomElement method = methodNodes.at(i).toElement();
        QStringList args;
        const QDomNodeList argNodes = method.elementsByTagName(QStringLiteral("arg"));
        for (int j = 0; j < argNodes.size(); ++j) {
            const QDomElement arg = argNodes.at(j).toElement();
            args << arg.attribute(QStringLiteral("direction")) + QLatin1Char(' ') +
                        arg.attribute(QStringLiteral("type"));
        }
        methods.insert(method.attribute(QStringLiteral("name")), args);
    }
    QCOMPARE(methods.keys(),
             (QStringList{QStringLiteral("alarm_triggered"), QStringLiteral("top_application")}));
    QCOMPARE(methods.value(QStringLiteral("top_application")),
             QStringList{QStringLiteral("out i")});
    QCOMPARE(
        methods.value(QStringLiteral("alarm_triggered")),
        (QStringList{QStringLiteral("out i"), QStringLiteral("in i"), QStringLiteral("in i")}));

    // The internal slots are not reachable over the bus.
    for (const QString& hidden :
         {QStringLiteral("addTask"), QStringLiteral("displaySettingsWindow"),
          QStringLiteral("removeTask")}) {
        QCOMPARE(call(hidden).type(), QDBusMessage::ErrorMessage);
    }
}

void TestStartup::methodsReplyZero_data() {
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("args");
    QTest::newRow("top_application") << QStringLiteral("top_application") << QVariantList{};
    QTest::newRow("alarm_triggered, seed task")
        << QStringLiteral("alarm_triggered") << QVariantList{1, 0};
    QTest::newRow("alarm_triggered, unknown task")
        << QStringLiteral("alarm_triggered") << QVariantList{4711, 3};
    QTest::newRow("alarm_triggered, negative ids")
        << QStringLiteral("alarm_triggered") << QVariantList{-1, -1};
}

void TestStartup::methodsReplyZero() {
    QFETCH(QString, method);
    QFETCH(QVariantList, args);
    startFirst();
    const QDBusMessage reply = call(method, args);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments(), QVariantList{0});
    QCOMPARE(reply.signature(), QStringLiteral("i"));
    QCOMPARE(app->state(), QProcess::Running);
}

void TestStartup::secondInstanceExitsWithTwo() {
    startFirst();
    QProcess second;
    second.setProcessEnvironment(environment());
    second.start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QVERIFY(second.waitForFinished(30000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 2);
    const QString warning = QString::fromLocal8Bit(second.readAllStandardError()).trimmed();
    QVERIFY2(!warning.isEmpty(), "the second instance printed no warning");
    QVERIFY2(!warning.contains(QStringLiteral("Cannot connect")), qPrintable(warning));
    QVERIFY2(warning.contains(QStringLiteral("org.velmar.pardoreminder")), qPrintable(warning));

    // The first one still answers.
    QCOMPARE(app->state(), QProcess::Running);
    QCOMPARE(call(QStringLiteral("top_application")).arguments(), QVariantList{0});
}

void TestStartup::secondInstanceAsksFirstToShow_data() {
    QTest::addColumn<bool>("firstHangs");
    QTest::newRow("first answers") << false;
    // It must not take the second one down with it.
    QTest::newRow("first hangs") << true;
}

void TestStartup::secondInstanceAsksFirstToShow() {
    QFETCH(bool, firstHangs);
    FakeInstance first(connectionName);
    QVERIFY(first.isServing());
    QProcess second;
    second.setProcessEnvironment(environment());
    second.start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QVERIFY(second.waitForStarted(10000));
    if (firstHangs) {
        // This thread, which would answer for the first instance, waits without serving.
        QVERIFY(second.waitForFinished(30000));
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(first.raised(), 1, 30000);
        QTRY_COMPARE_WITH_TIMEOUT(second.state(), QProcess::NotRunning, 30000);
    }
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 2);
    const QString warning = QString::fromLocal8Bit(second.readAllStandardError()).trimmed();
    QVERIFY2(warning.contains(QStringLiteral("org.velmar.pardoreminder")), qPrintable(warning));
    // Asked once, whether or not it could answer in time.
    QTRY_COMPARE(first.raised(), 1);
}

void TestStartup::secondInstanceShowsBusStartedFirst() {
    screen = std::make_unique<XServer>();
    QVERIFY2(screen->isRunning(), "no X server (package xvfb)");
    startQuietly(screenEnvironment(true));
    QTest::qWait(1000);
    QCOMPARE(screen->viewableWindows(kTitle), 0);

    QProcess second;
    second.setProcessEnvironment(screenEnvironment(false));
    second.start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QVERIFY(second.waitForFinished(30000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 2);
    // The first one's window is on the screen now, the first one's own.
    QTRY_COMPARE_WITH_TIMEOUT(screen->viewableWindows(kTitle), 1, 10000);
    QCOMPARE(app->state(), QProcess::Running);
}

void TestStartup::busStartServesAlarmUnseenAndEnds() {
    screen = std::make_unique<XServer>();
    QVERIFY2(screen->isRunning(), "no X server (package xvfb)");
    startQuietly(screenEnvironment(true));
    const QDBusMessage reply = call(QStringLiteral("alarm_triggered"), {1, 0});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments(), QVariantList{0});
    QElapsedTimer quiet;
    quiet.start();

    // Nothing appears while it waits for more calls, and it ends by itself a minute later.
    while (app->state() != QProcess::NotRunning && quiet.elapsed() < 90000) {
        QCOMPARE(screen->viewableWindows(kTitle), 0);
        app->waitForFinished(500);
    }
    QCOMPARE(app->state(), QProcess::NotRunning);
    QVERIFY2(quiet.elapsed() >= 55000, qPrintable(QString::number(quiet.elapsed())));
    QCOMPARE(app->exitStatus(), QProcess::NormalExit);
    QCOMPARE(app->exitCode(), 0);
}

void TestStartup::noBusExitsWithOneAfterOpeningDatabase() {
    bus.reset();
    QDBusConnection::disconnectFromBus(connectionName);
    const QString database = home + QStringLiteral("/pardoreminder.db.sqlite");
    QVERIFY(!QFile::exists(database));
    QProcess lonely;
    QProcessEnvironment env = environment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
               QStringLiteral("unix:path=") + home + QStringLiteral("/no-such-bus"));
    lonely.setProcessEnvironment(env);
    lonely.start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QVERIFY(lonely.waitForFinished(30000));
    QCOMPARE(lonely.exitStatus(), QProcess::NormalExit);
    QCOMPARE(lonely.exitCode(), 1);
    const QString warning = QString::fromLocal8Bit(lonely.readAllStandardError());
    QVERIFY2(warning.contains(QStringLiteral("Cannot connect to the D-Bus session bus.")),
             qPrintable(warning));
    QVERIFY(QFile::exists(database));
}

PARDO_TEST_MAIN(TestStartup)
#include "tst_startup.moc"
