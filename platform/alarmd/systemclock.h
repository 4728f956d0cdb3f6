#pragma once

#include <QByteArray>

#include "clock.h"

class QFileSystemWatcher;
class QSocketNotifier;

// The real-time clock: one timerfd armed at an absolute time, which the kernel
// also fires after a suspend and cancels when the clock is set; the zone is
// watched through /etc/localtime. Nothing here polls.
class SystemClock : public Clock {
    Q_OBJECT
public:
    explicit SystemClock(QObject* parent = nullptr);
    ~SystemClock() override;

    bool isValid() const { return fd_ >= 0; }
    qint64 now() const override;
    void wakeAt(qint64 moment) override;
    void cancelWake() override;

    // How often the timer woke the daemon, for diagnostics.
    quint64 wakeups() const { return wakeups_; }

private:
    void arm(qint64 moment);
    void readTimer();
    void checkZone();
    QByteArray zoneFingerprint() const;

    int fd_ = -1;
    QSocketNotifier* notifier_ = nullptr;
    QFileSystemWatcher* zoneWatcher_ = nullptr;
    QByteArray zone_;
    qint64 armedAt_ = 0;
    quint64 wakeups_ = 0;
};
