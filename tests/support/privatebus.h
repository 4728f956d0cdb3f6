#pragma once

#include <QProcess>
#include <QString>

// A dbus-daemon of our own, so that no test touches the user's session bus.
class PrivateBus {
public:
    // Starts the daemon with its config under `folder`; the bus starts services from
    // `servicesDir`, by default a folder of its own under `folder`.
    explicit PrivateBus(const QString& folder, const QString& servicesDir = QString());
    ~PrivateBus();

    bool isRunning() const { return !busAddress.isEmpty(); }
    QString address() const { return busAddress; }
    QString servicesDir() const { return services; }
    // Makes this bus the session bus of this process and of the children it starts.
    void exportAddress() const;

private:
    QString folder;
    QString services;
    QProcess daemon;
    QString busAddress;
};
