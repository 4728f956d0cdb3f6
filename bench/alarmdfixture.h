#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A private world for the alarm daemon benchmarks: temporary HOME and data
// folder, a silent sound device, a dbus-daemon of its own exported as the
// session bus and, on request, the real pardo-alarmd serving on it.
class AlarmdFixture {
public:
    // Call before the application object exists.
    explicit AlarmdFixture(bool startDaemon);
    ~AlarmdFixture();
    AlarmdFixture(const AlarmdFixture&) = delete;
    AlarmdFixture& operator=(const AlarmdFixture&) = delete;

    bool isReady() const { return ready_; }
    QString error() const { return error_; }
    QString root() const { return dir_.path(); }
    qint64 daemonPid() const { return daemon_.processId(); }

private:
    bool startBus();
    bool startDaemon();

    QTemporaryDir dir_;
    QProcess bus_;
    QProcess daemon_;
    bool ready_ = false;
    QString error_;
};
