#include "alarmevent.h"

#include <algorithm>

#include <alarmd/libalarm.h>

bool AlarmEvent::hasButtons() const {
    return firstButton() >= 0;
}

int AlarmEvent::firstButton() const {
    for (int i = 0; i < actions.size(); ++i) {
        if (actions.at(i).isButton()) {
            return i;
        }
    }
    return -1;
}

qint64 AlarmEvent::snoozeInterval() const {
    if (snoozeSecs == 0) {
        return defaultSnoozeSecs;
    }
    // Bounded also for an event that came from a damaged store.
    return std::clamp(snoozeSecs, minimumSnoozeSecs, qint64(ALARMD_MAX_INTERVAL_SECS));
}
