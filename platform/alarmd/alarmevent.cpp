#include "alarmevent.h"

#include <algorithm>

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
    return std::max(snoozeSecs, minimumSnoozeSecs);
}
