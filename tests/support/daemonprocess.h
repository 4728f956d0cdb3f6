#pragma once

#include <QByteArray>
#include <QDBusMessage>
#include <QProcess>
#include <QString>
#include <QVariantList>

#include <memory>

// pardo-alarmd as a child process on the test's session bus, with its own data folder. What it
// prints goes to a file, so that a daemon that logs a lot never stalls on a full pipe, and so
// that a sanitizer report survives a kill.
class DaemonProcess {
public:
    DaemonProcess(const QString& program, const QString& dataHome, const QString& logPath);
    ~DaemonProcess();

    // Starts the daemon and waits until it holds its bus name; false when it ended instead.
    bool start(int timeoutMs = 20000);
    bool isRunning() const;
    qint64 pid() const;
    // SIGKILL; true once the bus has dropped the name.
    bool kill();
    // SIGTERM and a normal end (a sanitizer build checks for leaks then); false when it did not
    // end by itself or ended with a status other than 0.
    bool stop(int timeoutMs = 20000);
    // The status of a daemon that ended by itself, as a sentence.
    QString howItEnded() const;

    // query_event answered within `timeoutMs`.
    bool answers(int timeoutMs = 1000) const;

    QByteArray log() const;
    // The lines of the log where a sanitizer reported something; empty when it did not.
    QString sanitizerReport() const;

    static bool nameIsOwned();
    // Calls `method` of the daemon's interface; the reply, an error, or NoReply after
    // `timeoutMs`.
    static QDBusMessage call(const QString& method, const QVariantList& arguments,
                             int timeoutMs = 5000);
    // Errors that mean the daemon did not answer at all: it hangs, died or lost its name.
    static bool isSilence(const QDBusMessage& reply);

private:
    QString program_;
    QString dataHome_;
    QString logPath_;
    std::unique_ptr<QProcess> process_;
};
