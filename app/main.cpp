#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>

#include <cstdlib>

#include "applicationstart.h"
#include "maemo5theme.h"
#include "mainwindow.h"
#include "startuptrace.h"
#include "taskmanager.h"
#include "translation.h"

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    StartupTrace::mark("application");
    Translation::install();
    Maemo5Theme::apply(app);
    TaskManager taskManager;
    ApplicationStart::requireDatabase(taskManager);
    StartupTrace::mark("database");
    MainWindow window(taskManager);
    StartupTrace::mark("window built");
    StartupTrace::markFirstPaint(&window);
    ApplicationStart start(window, ApplicationStart::isStartedByBus());

    // The bus is checked only now, on purpose: a second instance opens the
    // database and builds its window before it learns that the name is taken.
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qWarning("Cannot connect to the D-Bus session bus.");
        std::exit(1);
    }
    const QString service = QStringLiteral("org.velmar.pardoreminder");
    if (!bus.registerService(service)) {
        QString message = bus.lastError().message();
        // A taken name is a normal answer of the bus, not an error, so it leaves no text.
        if (message.isEmpty()) {
            message = QStringLiteral("The name %1 is already owned by %2 on the session bus.")
                          .arg(service, bus.interface()->serviceOwner(service).value());
        }
        qWarning("%s", qPrintable(message));
        // Whoever started us again wants to see the application: bring up the one running.
        ApplicationStart::raiseRunningInstance(bus);
        std::exit(2);
    }
    if (!bus.registerObject(QStringLiteral("/org/velmar/pardoreminder"), &window,
                            QDBusConnection::ExportScriptableSlots)) {
        qWarning("%s", qPrintable(bus.lastError().message()));
        std::exit(3);
    }

    StartupTrace::mark("bus name");
    ApplicationStart::announceDisplay(bus, QGuiApplication::platformName());

    QObject::connect(&start, &ApplicationStart::idle, &app, &QCoreApplication::quit);
    start.begin();
    return app.exec();
}
