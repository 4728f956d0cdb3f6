#include "manualclock.h"

#include <ctime>

ManualClock::ManualClock(qint64 start, QObject* parent)
    : Clock(parent)
    , now_(start) {}

void ManualClock::wakeAt(qint64 moment) {
    wake_ = moment;
    ++wakeRequests_;
}

void ManualClock::cancelWake() {
    wake_ = -1;
}

void ManualClock::advance(qint64 seconds) {
    advanceTo(now_ + seconds);
}

void ManualClock::advanceTo(qint64 moment) {
    now_ = moment;
    if (wake_ >= 0 && now_ >= wake_) {
        wake_ = -1;
        Q_EMIT woke();
    }
}

void ManualClock::wakeEarly() {
    wake_ = -1;
    Q_EMIT woke();
}

void ManualClock::jump(qint64 moment) {
    now_ = moment;
    Q_EMIT timeChanged();
}

void ManualClock::changeZone(const QByteArray& zone) {
    qputenv("TZ", zone);
    tzset();
    Q_EMIT zoneChanged();
}
