#include "zonechanges.h"

#include <QDate>
#include <QTime>

#include <algorithm>

namespace {

constexpr qint64 kMSecsPerDay = 86400000;
constexpr qint64 kEpochJulianDay = 2440588; // 1970-01-01
// How near a daylight-saving change a wall-clock time counts as touched by it.
constexpr qint64 kChangeMarginMSecs = 60000;

qint64 floorDiv(qint64 a, qint64 b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

} // namespace

void ZoneChanges::startAt(qint64 msecs) {
    zone = QTimeZone::systemTimeZone();
    probe = QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
    offset = zone.offsetFromUtc(probe);
}

const QList<ZoneChanges::Change>& ZoneChanges::upTo(qint64 until) {
    while (probe.toMSecsSinceEpoch() < until && findNext(until)) {
    }
    return changes;
}

QList<QDate> ZoneChanges::daysTouched(const QDate& first, const QDate& last, const QTime& time) {
    QList<QDate> days;
    const qint64 timeOfDay = time.isValid() ? time.msecsSinceStartOfDay() : 0;
    const qint64 from = QDateTime(first.addDays(-2), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    const qint64 until = QDateTime(last.addDays(3), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    const QList<Change>& list = upTo(until);
    auto it = std::lower_bound(list.cbegin(), list.cend(), from,
                               [](const Change& change, qint64 at) { return change.at < at; });
    for (; it != list.cend() && it->at <= until; ++it) {
        // The wall-clock stretch that is skipped or repeated, in local milliseconds.
        const qint64 low = it->at + qint64(qMin(it->before, it->after)) * 1000 - kChangeMarginMSecs;
        const qint64 high =
            it->at + qint64(qMax(it->before, it->after)) * 1000 + kChangeMarginMSecs;
        for (qint64 day = floorDiv(low - timeOfDay, kMSecsPerDay);
             day * kMSecsPerDay + timeOfDay < high; ++day) {
            if (day * kMSecsPerDay + timeOfDay >= low) {
                days.append(QDate::fromJulianDay(kEpochJulianDay + day));
            }
        }
    }
    return days;
}

bool ZoneChanges::findNext(qint64 until) {
    if (listed) {
        const QTimeZone::OffsetData data = zone.nextTransition(probe);
        if (data.atUtc.isValid() && probe < data.atUtc) {
            record(data.atUtc, data.offsetFromUtc);
            return true;
        }
        listed = false;
    }
    if (!zone.hasDaylightTime()) {
        probe = QDateTime::fromMSecsSinceEpoch(until, Qt::UTC);
        return false;
    }
    constexpr qint64 kWeek = 7 * kMSecsPerDay;
    qint64 low = probe.toMSecsSinceEpoch();
    while (low < until) {
        qint64 high = low + kWeek;
        const int next = zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(high, Qt::UTC));
        if (next == offset) {
            low = high;
            continue;
        }
        while (high - low > 1000) {
            const qint64 middle = low + (high - low) / 2000 * 1000;
            if (zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(middle, Qt::UTC)) == offset) {
                low = middle;
            } else {
                high = middle;
            }
        }
        record(QDateTime::fromMSecsSinceEpoch(high, Qt::UTC), next);
        return true;
    }
    probe = QDateTime::fromMSecsSinceEpoch(low, Qt::UTC);
    return false;
}

void ZoneChanges::record(const QDateTime& at, int after) {
    if (after != offset) {
        changes.append({at.toMSecsSinceEpoch(), offset, after});
    }
    offset = after;
    probe = at;
}
