#include "schedule.h"

#include <QDateTime>
#include <QTimeZone>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "alarmevent.h"

namespace {

struct Fields {
    int year = 0; // since 1900
    int mon = 0;
    int mday = 1;
    int hour = 0;
    int min = 0;
};

qint64 localMoment(const Fields& fields) {
    tm broken{};
    broken.tm_year = fields.year;
    broken.tm_mon = fields.mon;
    broken.tm_mday = fields.mday;
    broken.tm_hour = fields.hour;
    broken.tm_min = fields.min;
    broken.tm_sec = 0;
    // Whether daylight saving applies is the zone's business on that date.
    broken.tm_isdst = -1;
    return qint64(mktime(&broken));
}

qint64 zonedMoment(const Fields& fields, const QTimeZone& zone) {
    // Normalise out-of-range fields the way mktime does.
    QDate date = QDate(fields.year + 1900, 1, 1).addMonths(fields.mon).addDays(fields.mday - 1);
    qint64 minutes = qint64(fields.hour) * 60 + fields.min;
    qint64 days = minutes / 1440;
    minutes %= 1440;
    if (minutes < 0) {
        minutes += 1440;
        --days;
    }
    date = date.addDays(days);
    return QDateTime(date, QTime(int(minutes / 60), int(minutes % 60)), zone).toSecsSinceEpoch();
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

    const auto moment = [&zone, &event](const Fields& f) {
        return event.alarmTz.isEmpty() ? localMoment(f) : zonedMoment(f, zone);
    };
    qint64 result = moment(fields);
    if (dateMissing && result < now) {
        // A time of day alone means its next coming.
        ++fields.mday;
        result = moment(fields);
    }
    return result;
}

qint64 Schedule::catchUp(qint64 occurrence, qint64 period, qint64 notBefore) {
    if (occurrence >= notBefore || period <= 0) {
        return occurrence;
    }
    const qint64 steps = (notBefore - occurrence + period - 1) / period;
    return occurrence + steps * period;
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
                    &local.tm_mday, &local.tm_hour, &local.tm_min, &local.tm_sec) != 6) {
        return std::nullopt;
    }
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_isdst = -1;
    return qint64(mktime(&local));
}
