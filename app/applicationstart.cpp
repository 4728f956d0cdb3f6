#include "applicationstart.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QEvent>
#include <QTimer>

#include "mainwindow.h"

ApplicationStart::ApplicationStart(MainWindow& window, bool startedByBus, int idleTimeout)
    : window(window)
    , startedByBus(startedByBus)
    , countdown(new QTimer(this)) {
    countdown->setSingleShot(true);
    countdown->setInterval(idleTimeout);
    connect(countdown, &QTimer::timeout, this, &ApplicationStart::idle);
    connect(&window, &MainWindow::called, this, &ApplicationStart::restartCountdown);
    window.installEventFilter(this);
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
