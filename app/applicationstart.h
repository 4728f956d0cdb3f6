#pragma once

#include <QObject>

class MainWindow;
class TaskManager;
class QDBusConnection;
class QDBusMessage;
class QString;
class QTimer;

// How the application comes up. Started by the user, it shows its window. Started by the
// bus to deliver an alarm's call, it does that work unseen and announces `idle()` once no
// call has come for the idle time, unless the window has been shown meanwhile; from then
// on it is an ordinary running application.
class ApplicationStart : public QObject {
    Q_OBJECT
public:
    static const int defaultIdleTimeout = 60000;
    static const int defaultRaiseTimeout = 2000;

    ApplicationStart(MainWindow& window, bool startedByBus, int idleTimeout = defaultIdleTimeout);

    // The bus tells a process it started by this variable in its environment.
    static bool isStartedByBus();
    // Asks the instance that owns the name to show its window; false when it did not answer
    // within `timeout` ms, so that a hung instance cannot hang this one.
    static bool raiseRunningInstance(const QDBusConnection& bus, int timeout = defaultRaiseTimeout);

    // Tells the alarm daemon, when it runs, the graphical session this application is shown
    // in, so that alarms waiting for a display ring here. The message it sends, or an
    // invalid one when there is no session to tell (an offscreen platform, no display).
    static QDBusMessage announceDisplay(const QDBusConnection& bus, const QString& platform);

    // Without its database the application cannot start: says so in a message box and
    // ends the process with status 1. Returns when the database is open.
    static void requireDatabase(const TaskManager& taskManager);

    // Shows the window, or starts waiting for calls.
    void begin();
    bool isWaitingForCalls() const;
    int remainingIdleTime() const;

Q_SIGNALS:
    void idle();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void restartCountdown();

    MainWindow& window;
    bool startedByBus;
    QTimer* countdown;
};
