#pragma once

#include <QProcess>
#include <QString>

// A virtual X server of our own (Xvfb), for tests that must see from outside whether a real
// program puts a window on the screen. Programs reach it through display() on the xcb platform.
class XServer {
public:
    // On the lowest free display number.
    XServer();
    // On display `number`, for a number other tests' servers never take.
    explicit XServer(int number);
    ~XServer();

    bool isRunning() const { return !displayName.isEmpty(); }
    // ":N", for DISPLAY.
    QString display() const { return displayName; }
    // The windows titled `title` that are mapped and viewable now; -1 when the server
    // could not be asked.
    int viewableWindows(const QString& title) const;

private:
    void start(const QStringList& displayArguments);

    QProcess server;
    QString displayName;
};
