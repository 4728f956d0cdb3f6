#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QMetaMethod>

#include "mainwindow.h"
#include "pardotest.h"
#include "taskmanager.h"
#include "testdatabase.h"

// The main window as a D-Bus object, in this process, on a private bus.
class TestDBusObject : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void metaObjectShape();
    void topApplicationShowsAndRaises_data();
    void topApplicationShowsAndRaises();
    void topApplicationRestoresMinimized_data();
    void topApplicationRestoresMinimized();
    void alarmTriggeredRepliesZero_data();
    void alarmTriggeredRepliesZero();

private:
    QDBusPendingCall callAsync(const QString& method, const QVariantList& args = {});
    // Over the bus, as the daemon calls it; fails the test unless it answers 0.
    void callTopApplication();

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
};

void TestDBusObject::initTestCase() {
    TestDatabase::freshHome(QStringLiteral("dbus"));
    manager = std::make_unique<TaskManager>();
    window = std::make_unique<MainWindow>(*manager);
    QDBusConnection bus = QDBusConnection::sessionBus();
    QVERIFY(bus.isConnected());
    QVERIFY(bus.registerService(QStringLiteral("org.velmar.pardoreminder")));
    QVERIFY(bus.registerObject(QStringLiteral("/org/velmar/pardoreminder"), window.get(),
                               QDBusConnection::ExportScriptableSlots));
    QVERIFY(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("caller"))
                .isConnected());
}

void TestDBusObject::cleanupTestCase() {
    QDBusConnection::sessionBus().unregisterObject(QStringLiteral("/org/velmar/pardoreminder"));
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

QDBusPendingCall TestDBusObject::callAsync(const QString& method, const QVariantList& args) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.velmar.pardoreminder"), QStringLiteral("/org/velmar/pardoreminder"),
        QStringLiteral("org.velmar.pardoreminder"), method);
    message.setArguments(args);
    return QDBusConnection(QStringLiteral("caller")).asyncCall(message, 10000);
}

void TestDBusObject::callTopApplication() {
    QDBusPendingCall pending = callAsync(QStringLiteral("top_application"));
    QTRY_VERIFY(pending.isFinished());
    QDBusPendingReply<int> reply = pending;
    QVERIFY(reply.isValid());
    QCOMPARE(reply.value(), 0);
}

void TestDBusObject::metaObjectShape() {
    const QMetaObject* meta = window->metaObject();
    const int info = meta->indexOfClassInfo("D-Bus Interface");
    QVERIFY(info >= 0);
    QCOMPARE(QByteArray(meta->classInfo(info).value()), QByteArray("org.velmar.pardoreminder"));

    // Our own slots, in declaration order, including the argument-less addTask().
    QList<QByteArray> slots;
    QList<bool> scriptable;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        if (method.methodType() == QMetaMethod::Slot) {
            slots << method.methodSignature();
            scriptable << bool(method.attributes() & QMetaMethod::Scriptable);
        }
    }
    QCOMPARE(slots,
             (QList<QByteArray>{"top_application()", "alarm_triggered(int,int)", "addTask(QString)",
                                "addTask()", "displaySettingsWindow()", "removeTask()"}));
    QCOMPARE(scriptable, (QList<bool>{true, true, false, false, false, false}));
    QCOMPARE(QByteArray(meta->method(meta->indexOfMethod("top_application()")).typeName()),
             QByteArray("int"));
}

void TestDBusObject::topApplicationShowsAndRaises_data() {
    QTest::addColumn<bool>("hideFirst");
    QTest::newRow("hidden window") << true;
    QTest::newRow("window behind another") << false;
}

void TestDBusObject::topApplicationShowsAndRaises() {
    QFETCH(bool, hideFirst);
    QWidget other;
    if (hideFirst) {
        window->hide();
        QVERIFY(!window->isVisible());
    } else {
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        other.show();
        other.activateWindow();
        QTRY_VERIFY(other.isActiveWindow());
        QVERIFY(!window->isActiveWindow());
    }
    callTopApplication();
    if (QTest::currentTestFailed()) {
        return;
    }
    QVERIFY(window->isVisible());
    QTRY_VERIFY(window->isActiveWindow());
}

void TestDBusObject::topApplicationRestoresMinimized_data() {
    QTest::addColumn<Qt::WindowStates>("before");
    QTest::addColumn<Qt::WindowStates>("after");
    QTest::newRow("minimized") << Qt::WindowStates(Qt::WindowMinimized)
                               << Qt::WindowStates(Qt::WindowNoState);
    QTest::newRow("minimized from maximized")
        << Qt::WindowStates(Qt::WindowMinimized | Qt::WindowMaximized)
        << Qt::WindowStates(Qt::WindowMaximized);
    QTest::newRow("minimized from full screen")
        << Qt::WindowStates(Qt::WindowMinimized | Qt::WindowFullScreen)
        << Qt::WindowStates(Qt::WindowFullScreen);
    QTest::newRow("maximized") << Qt::WindowStates(Qt::WindowMaximized)
                               << Qt::WindowStates(Qt::WindowMaximized);
    QTest::newRow("full screen") << Qt::WindowStates(Qt::WindowFullScreen)
                                 << Qt::WindowStates(Qt::WindowFullScreen);
    QTest::newRow("normal") << Qt::WindowStates(Qt::WindowNoState)
                            << Qt::WindowStates(Qt::WindowNoState);
}

void TestDBusObject::topApplicationRestoresMinimized() {
    QFETCH(Qt::WindowStates, before);
    QFETCH(Qt::WindowStates, after);
    window->setWindowState(Qt::WindowNoState);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    window->setWindowState(before);
    // The platform confirms a new state one event later; that must not undo the call's work.
    QCoreApplication::processEvents();
    QTest::qWait(50);
    QCOMPARE(window->windowState(), before);

    callTopApplication();
    if (QTest::currentTestFailed()) {
        return;
    }
    QVERIFY(window->isVisible());
    QTRY_COMPARE(window->windowState(), after);
    QVERIFY(!window->isMinimized());
    window->setWindowState(Qt::WindowNoState);
    QCoreApplication::processEvents();
    QTest::qWait(50);
}

void TestDBusObject::alarmTriggeredRepliesZero_data() {
    QTest::addColumn<int>("taskId");
    QTest::addColumn<int>("alarmNo");
    QTest::newRow("seed task") << 1 << 0;
    QTest::newRow("alarm beyond the list") << 1 << 7;
    QTest::newRow("unknown task") << 999 << 0;
}

void TestDBusObject::alarmTriggeredRepliesZero() {
    QFETCH(int, taskId);
    QFETCH(int, alarmNo);
    QDBusPendingCall pending = callAsync(QStringLiteral("alarm_triggered"), {taskId, alarmNo});
    QTRY_VERIFY(pending.isFinished());
    QDBusPendingReply<int> reply = pending;
    QVERIFY(reply.isValid());
    QCOMPARE(reply.value(), 0);
    QCOMPARE(manager->allTasks().size(), 1);
}

PARDO_DBUS_TEST_MAIN(TestDBusObject)
#include "tst_dbusobject.moc"
