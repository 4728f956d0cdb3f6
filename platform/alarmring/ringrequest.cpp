#include "ringrequest.h"

#include <QCoreApplication>
#include <QStringList>

QString RingRequest::buttonText(const RingButton& button) const {
    if (!button.snooze) {
        return button.label;
    }
    //: A snooze button: its label, then for how long ("Snooze 10 min").
    return QCoreApplication::translate("RingRequest", "%1 %2")
        .arg(button.label, durationText(snoozeSecs));
}

QString RingRequest::durationText(qint64 seconds) {
    if (seconds <= 0) {
        return QCoreApplication::translate("RingRequest", "0 s");
    }
    // Largest units first, at most two of them: "1 h 30 min" rather than "5400 s".
    static constexpr struct {
        qint64 length;
        const char* unit;
    } units[] = {{86400, QT_TRANSLATE_NOOP("RingRequest", "d")},
                 {3600, QT_TRANSLATE_NOOP("RingRequest", "h")},
                 {60, QT_TRANSLATE_NOOP("RingRequest", "min")},
                 {1, QT_TRANSLATE_NOOP("RingRequest", "s")}};
    QStringList parts;
    qint64 rest = seconds;
    for (const auto& unit : units) {
        if (rest >= unit.length) {
            parts << QStringLiteral("%1 %2")
                         .arg(rest / unit.length)
                         .arg(QCoreApplication::translate("RingRequest", unit.unit));
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
