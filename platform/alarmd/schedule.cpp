#include "schedule.h"

#include <QDateTime>
#include <QTimeZone>

#include <QtNumeric>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>

#include <alarmd/libalarm.h>

#include "alarmevent.h"

namespace {

const qint64 latest = ALARMD_MAX_TIME;

// Fields of alarm_tm, set (>= 0) or taken from today. 64 bits wide, so that
// carrying minutes into days and months into years cannot overflow.
struct Fields {
    qint64 year = 0; // since 1900
    qint64 mon = 0;
    qint64 mday = 1;
    qint64 hour = 0;
    qint64 min = 0;
};

struct WallClock {
    QDate date;
    int minutes = 0; // of the day
};

// Carries out-of-range fields over the way mktime does; nullopt beyond the year 9999.
std::optional<WallClock> normalised(const Fields& fields) {
    const qint64 months = fields.year * 12 + fields.mon;
    const qint64 year = months / 12 + 1900;
    if (year > 9999) {
        return std::nullopt;
    }
    const qint64 minutes = fields.hour * 60 + fields.min;
    const qint64 days = fields.mday - 1 + minutes / 1440;
    // Ten thousand years of days is beyond the year 9999 from anywhere.
    if (days > qint64(10000) * 366) {
        return std::nullopt;
    }
    const QDate date = QDate(int(year), int(months % 12) + 1, 1).addDays(days);
    if (!date.isValid() || date.year() > 9999) {
        return std::nullopt;
    }
    return WallClock{date, int(minutes % 1440)};
}

qint64 localMoment(const WallClock& wall) {
    tm broken{};
    broken.tm_year = wall.date.year() - 1900;
    broken.tm_mon = wall.date.month() - 1;
    broken.tm_mday = wall.date.day();
    broken.tm_hour = wall.minutes / 60;
    broken.tm_min = wall.minutes % 60;
    broken.tm_sec = 0;
    // Whether daylight saving applies is the zone's business on that date.
    broken.tm_isdst = -1;
    return qint64(mktime(&broken));
}

qint64 zonedMoment(const WallClock& wall, const QTimeZone& zone) {
    return QDateTime(wall.date, QTime(wall.minutes / 60, wall.minutes % 60), zone)
        .toSecsSinceEpoch();
}

} // namespace

std::optional<qint64> Schedule::firstOccurrence(const AlarmEvent& event, qint64 now) {
    if (event.alarmTime > 0) {
        return event.alarmTime;
    }
    const AlarmEvent::BrokenDownTime& given = event.alarmTm;
    const bool dateMissing =
        given[AlarmEvent::Year] < 0 && given[AlarmEvent::Mon] < 0 && given[AlarmEvent::MDay] < 0;
    if (dateMissing && given[AlarmEvent::Hour] < 0 && given[AlarmEvent::Min] < 0) {
        return now;
    }

    QTimeZone zone;
    Fields today;
    if (!event.alarmTz.isEmpty()) {
        zone = QTimeZone(event.alarmTz.toUtf8());
        if (!zone.isValid()) {
            return std::nullopt;
        }
        const QDate date = QDateTime::fromSecsSinceEpoch(now, zone).date();
        today = {date.year() - 1900, date.month() - 1, date.day()};
    } else {
        const time_t moment = time_t(now);
        tm local{};
        localtime_r(&moment, &local);
        today = {local.tm_year, local.tm_mon, local.tm_mday};
    }

    Fields fields;
    fields.year = given[AlarmEvent::Year] >= 0 ? given[AlarmEvent::Year] : today.year;
    fields.mon = given[AlarmEvent::Mon] >= 0 ? given[AlarmEvent::Mon] : today.mon;
    fields.mday = given[AlarmEvent::MDay] >= 0 ? given[AlarmEvent::MDay] : today.mday;
    fields.hour = std::max(given[AlarmEvent::Hour], 0);
    fields.min = std::max(given[AlarmEvent::Min], 0);
    if (given[AlarmEvent::Sec] > 0) {
        ++fields.min;
    }

    const auto moment = [&zone, &event](const Fields& f) -> std::optional<qint64> {
        const std::optional<WallClock> wall = normalised(f);
        if (!wall) {
            return std::nullopt;
        }
        return event.alarmTz.isEmpty() ? localMoment(*wall) : zonedMoment(*wall, zone);
    };
    std::optional<qint64> result = moment(fields);
    if (result && dateMissing && *result < now) {
        // A time of day alone means its next coming.
        ++fields.mday;
        result = moment(fields);
    }
    if (!result || !isWithinRange(*result)) {
        return std::nullopt;
    }
    return result;
}

qint64 Schedule::catchUp(qint64 occurrence, qint64 period, qint64 notBefore) {
    if (occurrence >= notBefore || period <= 0) {
        return occurrence;
    }
    qint64 gap = 0;
    if (qSubOverflow(notBefore, occurrence, &gap)) {
        return std::numeric_limits<qint64>::max();
    }
    // A division, however many occurrences were missed.
    const qint64 steps = gap / period + (gap % period != 0 ? 1 : 0);
    qint64 result = 0;
    if (qMulOverflow(steps, period, &result) || qAddOverflow(result, occurrence, &result)) {
        return std::numeric_limits<qint64>::max();
    }
    return result;
}

qint64 Schedule::later(qint64 moment, qint64 secs) {
    qint64 result = 0;
    if (qAddOverflow(moment, secs, &result) || result > latest) {
        return latest;
    }
    return result;
}

bool Schedule::isWithinRange(qint64 moment) {
    return moment >= 0 && moment <= latest;
}

QString Schedule::wallClockOf(qint64 moment) {
    const time_t value = time_t(moment);
    tm local{};
    localtime_r(&value, &local);
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return QString::fromLatin1(text);
}

std::optional<qint64> Schedule::fromWallClock(const QString& text) {
    tm local{};
    if (std::sscanf(text.toLatin1().constData(), "%d-%d-%dT%d:%d:%d", &local.tm_year, &local.tm_mon,
                    &local.tm_mday, &local.tm_hour, &local.tm_min, &local.tm_sec) != 6 ||
        local.tm_year < 1 || local.tm_year > 9999 || local.tm_mon < 1 || local.tm_mon > 12) {
        return std::nullopt;
    }
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_isdst = -1;
    return qint64(mktime(&local));
}
