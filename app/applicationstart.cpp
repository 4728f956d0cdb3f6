#include "applicationstart.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QEvent>
#include <QMap>
#include <QMessageBox>
#include <QTimer>

#include <cstdlib>

#include "mainwindow.h"
#include "taskmanager.h"

ApplicationStart::ApplicationStart(MainWindow& mainWindow, bool byBus, int idleTimeout)
    : window(mainWindow)
    , startedByBus(byBus)
    , countdown(new QTimer(this)) {
    countdown->setSingleShot(true);
    countdown->setInterval(idleTimeout);
    connect(countdown, &QTimer::timeout, this, &ApplicationStart::idle);
    connect(&mainWindow, &MainWindow::called, this, &ApplicationStart::restartCountdown);
    mainWindow.installEventFilter(this);
}

void ApplicationStart::requireDatabase(const TaskManager& taskManager) {
    if (taskManager.hasDatabase()) {
        return;
    }
    QMessageBox::critical(nullptr, tr("Can not open database"),
                          tr("Unable to open a database connection."), QMessageBox::Close,
                          QMessageBox::NoButton);
    std::exit(1);
}

bool ApplicationStart::isStartedByBus() {
    return !qEnvironmentVariableIsEmpty("DBUS_STARTER_BUS_TYPE");
}

bool ApplicationStart::raiseRunningInstance(const QDBusConnection& bus, int timeout) {
    const QString service = QStringLiteral("org.velmar.pardoreminder");
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, QStringLiteral("/org/velmar/pardoreminder"),
                                       service, QStringLiteral("top_application"));
    // Only the instance that holds the name is meant, never a new one started for the call.
    call.setAutoStartService(false);
    return bus.call(call, QDBus::Block, timeout).type() == QDBusMessage::ReplyMessage;
}

QDBusMessage ApplicationStart::announceDisplay(const QDBusConnection& bus,
                                               const QString& platform) {
    if (platform != QLatin1String("xcb") && !platform.startsWith(QLatin1String("wayland"))) {
        return QDBusMessage();
    }
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QMap<QString, QString> session;
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_RUNTIME_DIR", "XDG_SESSION_TYPE"}) {
        const QString value = qEnvironmentVariable(name);
        if (!value.isEmpty()) {
            session.insert(QLatin1String(name), value);
        }
    }
    if (!session.contains(QStringLiteral("DISPLAY")) &&
        !session.contains(QStringLiteral("WAYLAND_DISPLAY"))) {
        return QDBusMessage();
    }
    const QString daemon = QStringLiteral("org.velmar.alarmd");
    QDBusMessage call = QDBusMessage::createMethodCall(daemon, QStringLiteral("/org/velmar/alarmd"),
                                                       daemon, QStringLiteral("set_display"));
    call << QVariant::fromValue(session);
    // Only a daemon that runs needs telling: one started later looks for the display itself.
    call.setAutoStartService(false);
    // Never waited for: the window does not depend on the daemon's answer.
    bus.send(call);
    return call;
}

void ApplicationStart::begin() {
    if (startedByBus) {
        countdown->start();
    } else {
        window.show();
    }
}

bool ApplicationStart::isWaitingForCalls() const {
    return countdown->isActive();
}

int ApplicationStart::remainingIdleTime() const {
    return countdown->remainingTime();
}

bool ApplicationStart::eventFilter(QObject* watched, QEvent* event) {
    // Once the window is up, the user decides when the application ends.
    if (watched == &window && event->type() == QEvent::Show) {
        countdown->stop();
        window.removeEventFilter(this);
    }
    return QObject::eventFilter(watched, event);
}

void ApplicationStart::restartCountdown() {
    if (countdown->isActive()) {
        countdown->start();
    }
}
