#pragma once

#include <QString>

struct AlarmAction;
struct AlarmEvent;

// What the daemon accepts from a session-bus client.
class EventRules {
public:
    // Why the event must be refused, or an empty string when it may be queued.
    // The rules that need the clock (a one-shot event too late, a moment of
    // alarm_tm out of range) are the queue's.
    static QString refusal(const AlarmEvent& event);

    // An action that would call or signal the bus itself or the daemon.
    static bool isForbiddenTarget(const AlarmAction& action);
    // A sound theme name, or the absolute path of a regular audio file below a
    // "sounds" folder of the XDG data directories, links resolved.
    static bool isAllowedSound(const QString& sound);

    static bool isObjectPath(const QString& text);
    static bool isInterfaceName(const QString& text);
    static bool isMemberName(const QString& text);
    static bool isBusName(const QString& text);
};
