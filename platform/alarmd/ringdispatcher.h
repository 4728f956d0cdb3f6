#pragma once

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QProcessEnvironment>

#include "ringrequest.h"

class QTimer;
class RingNotifier;
class RingWindowHost;
class SessionDisplay;

// Where a due ring is shown: in a ring window on the graphical session that
// exists at that moment, else as a notification, else nowhere yet: it waits
// for a display or a notification service, and none is lost.
class RingDispatcher : public QObject {
    Q_OBJECT
public:
    enum Route { Waiting, Window, Notification };

    // `own` is the daemon's own environment: the last place to look for a
    // display, and what the ring window program is started with.
    RingDispatcher(const QDBusConnection& bus, const QProcessEnvironment& own,
                   QObject* parent = nullptr);
    ~RingDispatcher() override;

    // The ring window program; without one, rings go to notifications.
    void setProgram(const QString& path);

    void ring(const RingRequest& request);
    void withdraw(qint64 cookie);
    // The application's display, told when it starts.
    bool announce(const QMap<QString, QString>& variables, QString* error);

    QList<qint64> ringing() const { return rings_.keys(); }
    Route route(qint64 cookie) const;

    RingWindowHost& windows() { return *windows_; }
    RingNotifier& notifier() { return *notifier_; }

Q_SIGNALS:
    // The ring is in front of the user: its window is up or its notification is out.
    void shown(qint64 cookie);
    // A notification's button was used (a window answers the daemon by itself).
    void answered(qint64 cookie, int actionIndex);

private:
    struct Ring {
        RingRequest request;
        Route route = Waiting;
        // Its notification failed: not tried that way again until the service changes.
        bool notificationFailed = false;
    };

    void placeSoon(int delayMs = 0);
    void place();
    void displayFound(const QProcessEnvironment& display);
    void noDisplay();
    void windowsReady();
    void windowsLost();
    void toNotifications();
    bool hasWaiting() const;
    void retryLater();
    void retry();
    void stopRetrying();

    QProcessEnvironment own_;
    SessionDisplay* display_ = nullptr;
    RingWindowHost* windows_ = nullptr;
    RingNotifier* notifier_ = nullptr;
    QMap<qint64, Ring> rings_;
    bool placing_ = false;
    bool looking_ = false;
    QElapsedTimer windowsAlive_;
    // Quick deaths of the ring window program in a row, for the pause before the next start.
    int quickDeaths_ = 0;
    // A display that failed or a manager that did not answer is looked at again, later and
    // later while it keeps failing, so that a passing fault does not leave a ring waiting.
    QTimer* retryTimer_ = nullptr;
    int retries_ = 0;
};
