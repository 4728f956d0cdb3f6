#include "ringsample.h"

#include <QDateTime>

RingRequest RingSample::stopAndSnooze(qint64 cookie, const QString& title, const QString& message) {
    RingRequest request;
    request.cookie = cookie;
    request.title = title;
    request.message = message;
    request.trigger = QDateTime(QDate(2031, 5, 13), QTime(7, 5)).toSecsSinceEpoch();
    request.buttons = {RingButton{0, QStringLiteral("Stop"), false},
                       RingButton{1, QStringLiteral("Snooze"), true}};
    return request;
}
