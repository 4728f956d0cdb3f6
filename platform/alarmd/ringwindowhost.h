#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>

class QProcess;
struct RingRequest;

// The ring window program on one display: started with that display's
// variables, fed rings on its standard input, heard on its standard output.
class RingWindowHost : public QObject {
    Q_OBJECT
public:
    explicit RingWindowHost(QObject* parent = nullptr);
    ~RingWindowHost() override;

    void setProgram(const QString& path) { program_ = path; }
    QString program() const { return program_; }
    // The program exists and can be run.
    bool hasProgram() const;

    // Starts the program on `display`, on top of the daemon's own environment
    // `base` (its bus address above all); ready() or failedToOpen() follows.
    void start(const QProcessEnvironment& display, const QProcessEnvironment& base);
    bool isRunning() const { return process_ != nullptr; }
    bool isReady() const { return ready_; }
    // Its input is closed and it is on its way out.
    bool isFinishing() const { return finishing_; }
    QProcessEnvironment display() const { return display_; }

    void show(const RingRequest& request);
    void withdraw(qint64 cookie);
    // Closes the program's input: it ends once its windows are gone.
    void finish();

Q_SIGNALS:
    void ready();
    void shown(qint64 cookie);
    // Ended before it could open its display (or could not be started).
    void failedToOpen();
    // Ended after it was ready: killed, crashed, or its display went away.
    void ended();
    // Ended after finish(), as asked.
    void closed();

private:
    void readOutput();
    void finished();
    void send(const QByteArray& line);

    QString program_;
    QProcess* process_ = nullptr;
    QProcessEnvironment display_;
    QByteArray pending_;
    bool ready_ = false;
    bool finishing_ = false;
};
