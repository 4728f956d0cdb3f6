#pragma once

#include <QString>

struct AlarmEvent;

// What the daemon accepts from a session-bus client.
class EventRules {
public:
    // Why the event must be refused, or an empty string when it may be queued.
    // The time rules (a one-shot event too late, an unknown zone) are the queue's.
    static QString refusal(const AlarmEvent& event);

    static bool isObjectPath(const QString& text);
    static bool isInterfaceName(const QString& text);
    static bool isMemberName(const QString& text);
    static bool isBusName(const QString& text);
};
