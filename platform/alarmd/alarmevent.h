#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

#include <array>

#include "alarmaction.h"

// A queued event: the fields a client gives (named as in the client library)
// and the state the daemon keeps for it.
struct AlarmEvent {
    // Order of alarm_tm on the bus: sec, min, hour, mday, mon, year, wday, yday, isdst.
    using BrokenDownTime = std::array<int, 9>;
    enum TmField { Sec, Min, Hour, MDay, Mon, Year, WDay, YDay, IsDst };

    qint64 cookie = 0;
    QString title;
    QString message;
    QString sound;
    QString icon;
    quint32 flags = 0;
    QString appId;
    qint64 alarmTime = -1;
    BrokenDownTime alarmTm{0, -1, -1, -1, -1, -1, -1, -1, -1};
    QString alarmTz;
    qint64 recurSecs = 0;
    qint32 recurCount = 0;
    qint64 snoozeSecs = 0;
    qint64 snoozeTotal = 0;
    qint32 response = -1;
    QList<AlarmAction> actions;
    // Named values: int, qlonglong (times) or QString.
    QVariantMap attrs;

    // Next due moment: the awaited occurrence, or the end of a snooze.
    qint64 trigger = 0;
    // The occurrence the event waits for or shows; recurrences count from it.
    qint64 occurrence = 0;
    bool snoozed = false;
    // Fell due with buttons and is not answered yet: its dialog is on screen
    // or waits for a place there. Kept, so that it opens again after a restart.
    bool dialogPending = false;
    // Local wall-clock time of `occurrence` ("yyyy-MM-ddTHH:mm:ss") for events
    // given by alarm_tm in local time, so a time-zone change can keep it.
    QString wallClock;

    bool isRecurring() const { return recurSecs > 0; }
    // Given by alarm_tm rather than alarm_time.
    bool usesBrokenDownTime() const { return alarmTime <= 0; }
    bool followsLocalZone() const { return usesBrokenDownTime() && alarmTz.isEmpty(); }
    bool hasButtons() const;
    // Index in `actions` of the first button, -1 without buttons.
    int firstButton() const;
    // Seconds a snooze lasts: snooze_secs, the default for 0, never under the floor.
    qint64 snoozeInterval() const;

    static constexpr qint64 defaultSnoozeSecs = 600;
    static constexpr qint64 minimumSnoozeSecs = 10;
    // An event more late than this was missed.
    static constexpr qint64 lateLimitSecs = 59;
};
