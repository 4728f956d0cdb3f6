#pragma once

#include <QByteArray>

#include "clock.h"

// A clock the test moves: time passes only when told, and the queue is woken
// the way the kernel's timer would wake it.
class ManualClock : public Clock {
    Q_OBJECT
public:
    explicit ManualClock(qint64 start, QObject* parent = nullptr);

    qint64 now() const override { return now_; }
    void wakeAt(qint64 moment) override;
    void cancelWake() override;

    // The moment the queue asked to be woken at, -1 for none.
    qint64 wakeTime() const { return wake_; }
    int wakeRequests() const { return wakeRequests_; }

    // Time passes (the machine may also sleep through it): one wake-up when
    // the requested moment has been reached.
    void advance(qint64 seconds);
    void advanceTo(qint64 moment);
    // Wakes the queue before its moment has come, as a timer read against a
    // lagging clock would.
    void wakeEarly();
    // The clock is set to `moment`, reported as a clock change.
    void jump(qint64 moment);
    // The local zone becomes `zone` (TZ), reported as a zone change.
    void changeZone(const QByteArray& zone);

private:
    qint64 now_;
    qint64 wake_ = -1;
    int wakeRequests_ = 0;
};
