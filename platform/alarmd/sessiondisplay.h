#pragma once

#include <QDBusConnection>
#include <QMap>
#include <QObject>
#include <QProcessEnvironment>
#include <QSet>
#include <QString>
#include <QStringList>

class QDBusPendingCallWatcher;

// Finds the graphical session the user has now, for a program the daemon starts at ring time.
// Displays come and go while the daemon lives (log out and in, a restarted X server), so
// nothing is decided at start: every find() looks again, in this order, and takes the first
// display that accepts a connection:
//  1. the systemd user manager's environment (org.freedesktop.systemd1, property Environment),
//  2. the display the application announced last,
//  3. the daemon's own environment.
class SessionDisplay : public QObject {
    Q_OBJECT
public:
    // `own` is the daemon's own environment. `x11SocketDir` is where X servers put their
    // sockets (tests may name another folder).
    SessionDisplay(const QDBusConnection& bus, const QProcessEnvironment& own,
                   QObject* parent = nullptr,
                   const QString& x11SocketDir = QStringLiteral("/tmp/.X11-unix"));
    ~SessionDisplay() override;

    // The only variables taken from any source.
    static const QStringList& displayVariables();
    // Longest value taken, in bytes.
    static constexpr int maxValueBytes = 4096;
    // How long the systemd user manager may take to answer.
    static constexpr int managerTimeoutMs = 1000;
    // How long a TCP X server may take to accept.
    static constexpr int tcpTimeoutMs = 200;

    // The application tells its display when it starts. Only displayVariables() are accepted;
    // false with `error` for anything else (unknown key, overlong value, control characters,
    // neither DISPLAY nor WAYLAND_DISPLAY). Forgets every display marked failed.
    bool announce(const QMap<QString, QString>& variables, QString* error);
    // Looks for a live display without blocking: the answer is one found() or notFound().
    // Calls made while a lookup runs share its answer.
    void find();
    bool isFinding() const { return watcher != nullptr || answerQueued; }
    // The program could not open this display (as found() gave it): skipped until its
    // variables change, a display is announced or forgetFailed().
    void markFailed(const QProcessEnvironment& display);
    // Every display marked failed may be tried again.
    void forgetFailed() { failed.clear(); }
    // The last lookup could not ask the manager: it took too long or the bus broke. A
    // manager that is not there, or that answered, is an answer.
    bool managerUnanswered() const { return unanswered; }

    // Connects to the sockets `variables` name; the environment a program needs for the
    // displays that answered (empty when none did). `fallbackRuntimeDir` serves a relative
    // WAYLAND_DISPLAY when the variables carry no XDG_RUNTIME_DIR.
    static QProcessEnvironment liveDisplay(const QMap<QString, QString>& variables,
                                           const QString& fallbackRuntimeDir,
                                           const QString& x11SocketDir);
    static bool isX11Live(const QString& display, const QString& x11SocketDir);
    static bool isWaylandLive(const QString& waylandDisplay, const QString& runtimeDir);

Q_SIGNALS:
    // The environment for that display: the variables it needs, no others, plus
    // QT_QPA_PLATFORM ("wayland;xcb" when Wayland answers, else "xcb").
    void found(const QProcessEnvironment& display);
    void notFound();
    // A display was announced: rings that wait may be shown now.
    void announced();

private:
    void managerAnswered(QDBusPendingCallWatcher* call);
    void finish(const QStringList& managerEnvironment);
    QProcessEnvironment firstLive(const QList<QMap<QString, QString>>& candidates) const;
    QString fingerprint(const QProcessEnvironment& display) const;

    QDBusConnection bus;
    QMap<QString, QString> own;
    QMap<QString, QString> announcedDisplay;
    QString x11SocketDir;
    QSet<QString> failed;
    QDBusPendingCallWatcher* watcher = nullptr;
    bool answerQueued = false;
    bool unanswered = false;
};
