#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a normal end of the event loop, so the daemon
// leaves through main() like any other exit.
class QuitSignals : public QObject {
    Q_OBJECT
public:
    // Blocks the signals in this thread and the threads it starts later:
    // call before the application object exists.
    static bool block();

    explicit QuitSignals(QObject* parent = nullptr);
    ~QuitSignals() override;

Q_SIGNALS:
    void received(int signal);

private:
    void readSignal();

    int fd_ = -1;
    QSocketNotifier* notifier_ = nullptr;
};
