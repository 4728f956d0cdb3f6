#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusReply>

#include "alarmdaemon.h"
#include "buslink.h"
#include "ringdispatcher.h"
#include "commandline.h"
#include "eventstore.h"
#include "quitsignals.h"
#include "systemclock.h"
#include "translation.h"

int main(int argc, char* argv[]) {
    CommandLine commandLine(QStringLiteral("pardo-alarmd"),
                            QStringLiteral("Alarm daemon of Pardo Reminder: keeps the alarms and "
                                           "rings them on time."),
                            CommandLine::WithoutWindows);
    if (const std::optional<int> status = commandLine.answer(argc, argv)) {
        return *status;
    }
    QuitSignals::block();
    // No display of its own: displays come and go, the daemon stays. Rings are
    // shown by the ring window program on the display that exists when they fall due.
    QCoreApplication app(argc, argv);
    if (const std::optional<int> status = commandLine.check(QCoreApplication::arguments())) {
        return *status;
    }
    QCoreApplication::setApplicationName(QStringLiteral("pardo-alarmd"));
    // The notification's snooze button says for how long in the user's language.
    Translation::install();

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
    // Installed and built side by side.
    daemon.rings().setProgram(QCoreApplication::applicationDirPath() +
                              QStringLiteral("/pardo-alarm-ui"));
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
