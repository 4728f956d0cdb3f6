#pragma once

#include <QtGlobal>

class AlarmQueue;
struct AlarmEvent;

// Adds events to a daemon's queue in the tests, saying in the log why one was refused.
class QueueFeed {
public:
    // The new cookie, 0 when refused.
    static qint64 add(AlarmQueue& queue, const AlarmEvent& event);
};
