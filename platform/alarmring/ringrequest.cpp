#include "ringrequest.h"

#include <QStringList>

QString RingRequest::buttonText(const RingButton& button) const {
    if (!button.snooze) {
        return button.label;
    }
    return QStringLiteral("%1 %2").arg(button.label, durationText(snoozeSecs));
}

QString RingRequest::durationText(qint64 seconds) {
    if (seconds <= 0) {
        return QStringLiteral("0 s");
    }
    // Largest units first, at most two of them: "1 h 30 min" rather than "5400 s".
    static constexpr struct {
        qint64 length;
        const char* unit;
    } units[] = {{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}};
    QStringList parts;
    qint64 rest = seconds;
    for (const auto& unit : units) {
        if (rest >= unit.length) {
            parts << QStringLiteral("%1 %2").arg(rest / unit.length).arg(QLatin1String(unit.unit));
            rest %= unit.length;
        }
        if (parts.size() == 2) {
            break;
        }
        if (!parts.isEmpty() && rest == 0) {
            break;
        }
    }
    return parts.join(QLatin1Char(' '));
}

bool RingRequest::operator==(const RingRequest& other) const {
    return cookie == other.cookie && title == other.title && trigger == other.trigger &&
           message == other.message && sound == other.sound && snoozeSecs == other.snoozeSecs &&
           buttons == other.buttons;
}
