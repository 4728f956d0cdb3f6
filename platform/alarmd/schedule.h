#pragma once

#include <QString>

#include <optional>

struct AlarmEvent;

// Time arithmetic of the queue: when an event asks to be due, and how
// recurrences move on.
class Schedule {
public:
    // The first due moment of `event`: alarm_time when it is > 0, otherwise
    // alarm_tm (in alarm_tz, or in local time with the daylight-saving flag
    // left to the zone), seconds rounded up to the next minute; an unset
    // alarm_tm means `now`, one without a date the next such time of day.
    // nullopt when alarm_tz names no known zone or alarm_tm a moment outside
    // isWithinRange.
    static std::optional<qint64> firstOccurrence(const AlarmEvent& event, qint64 now);

    // The first of occurrence + k * period (k >= 0) that is not before
    // `notBefore`; the largest qint64 when that is beyond any qint64.
    static qint64 catchUp(qint64 occurrence, qint64 period, qint64 notBefore);
    // moment + secs, but never after the latest moment the daemon keeps.
    static qint64 later(qint64 moment, qint64 secs);
    // From the epoch to the end of the year 9999 (ALARMD_MAX_TIME).
    static bool isWithinRange(qint64 moment);

    // Local wall-clock time of a moment, and the moment of such a text in the
    // zone in force now.
    static QString wallClockOf(qint64 moment);
    static std::optional<qint64> fromWallClock(const QString& text);
};
