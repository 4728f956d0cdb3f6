#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusReply>

#include "alarmdaemon.h"
#include "buslink.h"
#include "commandline.h"
#include "eventstore.h"
#include "quitsignals.h"
#include "systemclock.h"

int main(int argc, char* argv[]) {
    CommandLine commandLine(QStringLiteral("pardo-alarmd"),
                            QStringLiteral("Alarm daemon of Pardo Reminder: keeps the alarms and "
                                           "rings them on time."));
    if (const std::optional<int> status = commandLine.answer(argc, argv)) {
        return *status;
    }
    // Started by bus activation the daemon may find no display in its
    // environment; it still keeps and runs the queue rather than crash.
    const bool noDisplay = qEnvironmentVariableIsEmpty("DISPLAY") &&
                           qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
                           qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    if (noDisplay) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QuitSignals::block();
    QApplication app(argc, argv);
    if (const std::optional<int> status = commandLine.check(QCoreApplication::arguments())) {
        return *status;
    }
    if (noDisplay) {
        qWarning("pardo-alarmd: no display in the environment; alarm dialogs will not be seen");
    }
    QApplication::setApplicationName(QStringLiteral("pardo-alarmd"));
    // Answering the last dialog must not end the daemon.
    QApplication::setQuitOnLastWindowClosed(false);

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qWarning("pardo-alarmd: cannot connect to the D-Bus session bus");
        return 1;
    }
    SystemClock clock;
    if (!clock.isValid()) {
        return 1;
    }
    AlarmDaemon daemon(clock, EventStore::defaultFolder(), bus);
    QString error;
    if (!daemon.start(&error)) {
        qWarning("pardo-alarmd: %s", qPrintable(error));
        return 1;
    }
    // One daemon per user: whoever holds the name serves the queue.
    const QString name = QLatin1String(AlarmDaemon::serviceName);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> claimed =
        bus.interface()->registerService(name, QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!claimed.isValid() || claimed.value() != QDBusConnectionInterface::ServiceRegistered) {
        qWarning("pardo-alarmd: %s is already running on this session bus", qPrintable(name));
        return 2;
    }
    QuitSignals quit;
    QObject::connect(&quit, &QuitSignals::received, &app, &QCoreApplication::quit);
    BusLink link(bus);
    QObject::connect(&link, &BusLink::Disconnected, &app, [] {
        qWarning("pardo-alarmd: the session bus went away");
        QCoreApplication::quit();
    });
    return app.exec();
}
