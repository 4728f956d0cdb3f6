#pragma once

#include <QProcess>
#include <QString>

// A dbus-daemon of our own, so that no test touches the user's session bus.
class PrivateBus {
public:
    // Starts the daemon with its config and service folder under `folder`.
    explicit PrivateBus(const QString& folder);
    ~PrivateBus();

    bool isRunning() const { return !busAddress.isEmpty(); }
    QString address() const { return busAddress; }
    QString servicesDir() const { return folder + QStringLiteral("/services"); }
    // Makes this bus the session bus of this process and of the children it starts.
    void exportAddress() const;

private:
    QString folder;
    QProcess daemon;
    QString busAddress;
};
