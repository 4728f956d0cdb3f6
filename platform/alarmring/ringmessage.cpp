#include "ringmessage.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cmath>

namespace {

// JSON numbers are doubles: 64-bit values travel as decimal strings.
QJsonValue int64Value(qint64 value) {
    return QString::number(value);
}

bool readInt64(const QJsonValue& value, qint64* out) {
    if (!value.isString()) {
        return false;
    }
    bool ok = false;
    *out = value.toString().toLongLong(&ok);
    return ok;
}

bool readText(const QJsonObject& object, const char* key, QString* out, bool required) {
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined()) {
        return !required;
    }
    if (!value.isString()) {
        return false;
    }
    *out = value.toString();
    return out->toUtf8().size() <= RingMessage::maxTextBytes;
}

RingMessage invalid(const QString& why) {
    RingMessage message;
    message.error = why;
    return message;
}

} // namespace

QByteArray RingMessage::show(const RingRequest& request) {
    QJsonArray buttons;
    for (const RingButton& button : request.buttons) {
        buttons.append(QJsonObject{{QStringLiteral("action"), button.action},
                                   {QStringLiteral("label"), button.label},
                                   {QStringLiteral("snooze"), button.snooze}});
    }
    const QJsonObject body{{QStringLiteral("cookie"), int64Value(request.cookie)},
                           {QStringLiteral("title"), request.title},
                           {QStringLiteral("trigger"), int64Value(request.trigger)},
                           {QStringLiteral("message"), request.message},
                           {QStringLiteral("sound"), request.sound},
                           {QStringLiteral("snoozeSecs"), int64Value(request.snoozeSecs)},
                           {QStringLiteral("buttons"), buttons}};
    return QJsonDocument(QJsonObject{{QStringLiteral("show"), body}})
               .toJson(QJsonDocument::Compact) +
           '\n';
}

QByteArray RingMessage::withdraw(qint64 cookie) {
    return QJsonDocument(QJsonObject{{QStringLiteral("withdraw"), int64Value(cookie)}})
               .toJson(QJsonDocument::Compact) +
           '\n';
}

RingMessage RingMessage::parse(const QByteArray& line) {
    if (line.size() > maxLineBytes) {
        return invalid(QStringLiteral("line too long"));
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(line.trimmed(), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return invalid(QStringLiteral("not a JSON object"));
    }
    const QJsonObject object = document.object();
    if (object.size() != 1) {
        return invalid(QStringLiteral("not exactly one message"));
    }
    RingMessage message;
    if (object.contains(QLatin1String("withdraw"))) {
        if (!readInt64(object.value(QLatin1String("withdraw")), &message.cookie) ||
            message.cookie <= 0) {
            return invalid(QStringLiteral("bad cookie"));
        }
        message.kind = Withdraw;
        return message;
    }
    const QJsonValue showValue = object.value(QLatin1String("show"));
    if (!showValue.isObject()) {
        return invalid(QStringLiteral("unknown message"));
    }
    const QJsonObject body = showValue.toObject();
    RingRequest& request = message.request;
    if (!readInt64(body.value(QLatin1String("cookie")), &request.cookie) || request.cookie <= 0) {
        return invalid(QStringLiteral("bad cookie"));
    }
    if (!readInt64(body.value(QLatin1String("trigger")), &request.trigger) ||
        !readInt64(body.value(QLatin1String("snoozeSecs")), &request.snoozeSecs) ||
        request.snoozeSecs < 0) {
        return invalid(QStringLiteral("bad time"));
    }
    if (!readText(body, "title", &request.title, true) ||
        !readText(body, "message", &request.message, false) ||
        !readText(body, "sound", &request.sound, false)) {
        return invalid(QStringLiteral("bad text"));
    }
    const QJsonValue buttonsValue = body.value(QLatin1String("buttons"));
    if (!buttonsValue.isArray() || buttonsValue.toArray().size() > maxButtons) {
        return invalid(QStringLiteral("bad buttons"));
    }
    for (const QJsonValue& value : buttonsValue.toArray()) {
        const QJsonObject buttonObject = value.toObject();
        const QJsonValue action = buttonObject.value(QLatin1String("action"));
        RingButton button;
        const double number = action.toDouble(-1);
        if (!value.isObject() || !action.isDouble() || number < 0 || number >= maxButtons ||
            std::floor(number) != number || !readText(buttonObject, "label", &button.label, true) ||
            !buttonObject.value(QLatin1String("snooze")).isBool()) {
            return invalid(QStringLiteral("bad button"));
        }
        button.action = int(number);
        button.snooze = buttonObject.value(QLatin1String("snooze")).toBool();
        request.buttons.append(button);
    }
    message.kind = Show;
    return message;
}
