#pragma once

#include <QObject>

// Where the daemon's time comes from: the real-time clock, or a clock a test moves.
class Clock : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Seconds since the epoch.
    virtual qint64 now() const = 0;
    // Asks for woke() once now() reaches `moment`; replaces any earlier request.
    virtual void wakeAt(qint64 moment) = 0;
    // Withdraws the request; clock and zone changes are still reported.
    virtual void cancelWake() = 0;

Q_SIGNALS:
    void woke();
    // The clock was set (or the machine resumed in a way the kernel reports as such).
    void timeChanged();
    // The local time zone changed; local-time conversions already follow it.
    void zoneChanged();
};
