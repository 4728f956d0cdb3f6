#include "eventcodec.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

#include "alarmevent.h"

namespace {

// Bus type codes of the values an action argument or attribute may hold.
struct TypeCode {
    QMetaType::Type type;
    QLatin1Char code;
};

const TypeCode typeCodes[] = {
    {QMetaType::UChar, QLatin1Char('y')},    {QMetaType::Bool, QLatin1Char('b')},
    {QMetaType::Short, QLatin1Char('n')},    {QMetaType::UShort, QLatin1Char('q')},
    {QMetaType::Int, QLatin1Char('i')},      {QMetaType::UInt, QLatin1Char('u')},
    {QMetaType::LongLong, QLatin1Char('x')}, {QMetaType::ULongLong, QLatin1Char('t')},
    {QMetaType::Double, QLatin1Char('d')},   {QMetaType::QString, QLatin1Char('s')},
};

QChar codeOf(const QVariant& value) {
    for (const TypeCode& entry : typeCodes) {
        if (value.metaType().id() == entry.type) {
            return entry.code;
        }
    }
    return QChar();
}

// Every integer key has exactly one bus type: the one of its field in the
// client library (x for times and counts, i for int, u for unsigned).
template <typename T> bool readInteger(const QVariant& value, T* out) {
    if (value.metaType() != QMetaType::fromType<T>()) {
        return false;
    }
    *out = value.value<T>();
    return true;
}

bool readText(const QVariant& value, QString* out) {
    if (value.metaType().id() != QMetaType::QString) {
        return false;
    }
    *out = value.toString();
    return true;
}

// A container value as the client sent it: demarshalled by Qt D-Bus into a
// QDBusArgument, or already plain when the caller is in this process.
bool readMap(const QVariant& value, QVariantMap* out) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        if (argument.currentSignature() != QLatin1String("a{sv}")) {
            return false;
        }
        argument >> *out;
        return true;
    }
    if (value.metaType().id() == QMetaType::QVariantMap) {
        *out = value.toMap();
        return true;
    }
    return false;
}

bool readList(const QVariant& value, QVariantList* out) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        if (argument.currentSignature() != QLatin1String("av")) {
            return false;
        }
        argument >> *out;
        return true;
    }
    if (value.metaType().id() == QMetaType::QVariantList) {
        *out = value.toList();
        return true;
    }
    return false;
}

bool readMapList(const QVariant& value, QList<QVariantMap>* out) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        if (argument.currentSignature() != QLatin1String("aa{sv}")) {
            return false;
        }
        argument.beginArray();
        while (!argument.atEnd()) {
            QVariantMap map;
            argument >> map;
            out->append(map);
        }
        argument.endArray();
        return true;
    }
    if (value.metaType() == QMetaType::fromType<QList<QVariantMap>>()) {
        *out = value.value<QList<QVariantMap>>();
        return true;
    }
    if (value.metaType().id() == QMetaType::QVariantList) {
        for (const QVariant& item : value.toList()) {
            if (item.metaType().id() != QMetaType::QVariantMap) {
                return false;
            }
            out->append(item.toMap());
        }
        return true;
    }
    return false;
}

bool readIntList(const QVariant& value, QList<int>* out) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        if (argument.currentSignature() != QLatin1String("ai")) {
            return false;
        }
        argument >> *out;
        return true;
    }
    if (value.metaType() == QMetaType::fromType<QList<int>>()) {
        *out = value.value<QList<int>>();
        return true;
    }
    if (value.metaType().id() == QMetaType::QVariantList) {
        for (const QVariant& item : value.toList()) {
            int number = 0;
            if (!readInteger(item, &number)) {
                return false;
            }
            out->append(number);
        }
        return true;
    }
    return false;
}

QString wrongType(const QString& key, const char* expected) {
    return QStringLiteral("\"%1\" must be %2").arg(key, QLatin1String(expected));
}

std::optional<AlarmAction> actionFromDBus(const QVariantMap& map, int index, QString* error) {
    AlarmAction action;
    struct Text {
        const char* key;
        QString AlarmAction::*field;
    };
    static const Text texts[] = {{"label", &AlarmAction::label},
                                 {"exec_command", &AlarmAction::execCommand},
                                 {"dbus_interface", &AlarmAction::dbusInterface},
                                 {"dbus_service", &AlarmAction::dbusService},
                                 {"dbus_path", &AlarmAction::dbusPath},
                                 {"dbus_name", &AlarmAction::dbusName}};
    const QString where = QStringLiteral("actions[%1].").arg(index);
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        const QString& key = it.key();
        bool known = false;
        for (const Text& text : texts) {
            if (key == QLatin1String(text.key)) {
                known = true;
                if (!readText(it.value(), &(action.*text.field))) {
                    *error = wrongType(where + key, "a string");
                    return std::nullopt;
                }
            }
        }
        if (known) {
            continue;
        }
        if (key == QLatin1String("flags")) {
            if (!readInteger(it.value(), &action.flags)) {
                *error = wrongType(where + key, "an unsigned 32-bit integer (u)");
                return std::nullopt;
            }
        } else if (key == QLatin1String("dbus_args")) {
            QVariantList args;
            if (!readList(it.value(), &args)) {
                *error = wrongType(where + key, "an array of variants (av)");
                return std::nullopt;
            }
            for (const QVariant& arg : args) {
                if (codeOf(arg).isNull()) {
                    *error = QStringLiteral("%1dbus_args holds a value of type %2; only basic "
                                            "types (ybnqiuxtds) are supported")
                                 .arg(where, QLatin1String(arg.typeName()));
                    return std::nullopt;
                }
            }
            action.dbusArgs = args;
        } else {
            *error = QStringLiteral("unknown key \"%1%2\"").arg(where, key);
            return std::nullopt;
        }
    }
    return action;
}

QVariantMap actionToDBus(const AlarmAction& action) {
    QVariantMap map;
    map.insert(QStringLiteral("flags"), uint(action.flags));
    const auto text = [&map](const char* key, const QString& value) {
        if (!value.isNull()) {
            map.insert(QLatin1String(key), value);
        }
    };
    text("label", action.label);
    text("exec_command", action.execCommand);
    text("dbus_interface", action.dbusInterface);
    text("dbus_service", action.dbusService);
    text("dbus_path", action.dbusPath);
    text("dbus_name", action.dbusName);
    map.insert(QStringLiteral("dbus_args"), action.dbusArgs);
    return map;
}

// JSON ---------------------------------------------------------------------

// Integers go as text so that 64-bit values survive JSON's doubles; so do
// doubles JSON has no number for (nan, inf).
QJsonObject typedToJson(const QVariant& value) {
    const QChar code = codeOf(value);
    QJsonObject object{{QStringLiteral("t"), QString(code)}};
    switch (code.toLatin1()) {
    case 'b':
        object.insert(QStringLiteral("v"), value.toBool());
        break;
    case 'd':
        if (std::isfinite(value.toDouble())) {
            object.insert(QStringLiteral("v"), value.toDouble());
        } else {
            object.insert(QStringLiteral("v"), QString::number(value.toDouble()));
        }
        break;
    case 's':
        object.insert(QStringLiteral("v"), value.toString());
        break;
    case 't':
        object.insert(QStringLiteral("v"), QString::number(value.toULongLong()));
        break;
    default:
        object.insert(QStringLiteral("v"), QString::number(value.toLongLong()));
        break;
    }
    return object;
}

// A stored integer: a decimal string, or a JSON number as older files hold
// it; nullopt for anything else, a fraction included. Never through a double
// when the text holds an integer: 2^53 + 1 stays itself.
std::optional<qint64> storedInteger(const QJsonValue& value) {
    if (value.isString()) {
        bool ok = false;
        const qint64 number = value.toString().toLongLong(&ok);
        return ok ? std::optional<qint64>(number) : std::nullopt;
    }
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const QVariant exact = value.toVariant();
    if (exact.metaType().id() == QMetaType::LongLong) {
        return exact.toLongLong();
    }
    const double number = value.toDouble();
    // 2^63 itself is out of range; the cast below would be undefined.
    if (!std::isfinite(number) || number != std::trunc(number) || number < -0x1p63 ||
        number >= 0x1p63) {
        return std::nullopt;
    }
    return qint64(number);
}

template <typename T> std::optional<QVariant> rangedVariant(std::optional<qint64> number) {
    if (!number || *number < qint64(std::numeric_limits<T>::min()) ||
        *number > qint64(std::numeric_limits<T>::max())) {
        return std::nullopt;
    }
    return QVariant::fromValue(T(*number));
}

// A typed value as stored; nullopt when it is damaged.
std::optional<QVariant> typedFromJson(const QJsonValue& json) {
    const QJsonObject object = json.toObject();
    const QString code = object.value(QStringLiteral("t")).toString();
    const QJsonValue value = object.value(QStringLiteral("v"));
    if (code.size() != 1) {
        return std::nullopt;
    }
    switch (code.at(0).toLatin1()) {
    case 'y':
        return rangedVariant<uchar>(storedInteger(value));
    case 'b':
        return value.isBool() ? std::optional<QVariant>(value.toBool()) : std::nullopt;
    case 'n':
        return rangedVariant<short>(storedInteger(value));
    case 'q':
        return rangedVariant<ushort>(storedInteger(value));
    case 'i':
        return rangedVariant<int>(storedInteger(value));
    case 'u':
        return rangedVariant<uint>(storedInteger(value));
    case 'x':
        return rangedVariant<qlonglong>(storedInteger(value));
    case 't': {
        bool ok = false;
        const qulonglong number = value.toString().toULongLong(&ok);
        return value.isString() && ok ? std::optional<QVariant>(number) : std::nullopt;
    }
    case 'd': {
        if (value.isDouble()) {
            return QVariant(value.toDouble());
        }
        bool ok = false;
        const double number = value.toString().toDouble(&ok);
        if (value.isString() && ok) {
            return QVariant(number);
        }
        // JSON has no nan: older files wrote null for it.
        return value.isNull() ? std::optional<QVariant>(std::numeric_limits<double>::quiet_NaN())
                              : std::nullopt;
    }
    case 's':
        return value.isString() ? std::optional<QVariant>(value.toString()) : std::nullopt;
    default:
        return std::nullopt;
    }
}

void putText(QJsonObject& object, const char* key, const QString& value) {
    if (!value.isNull()) {
        object.insert(QLatin1String(key), value);
    }
}

// 64-bit values go as decimal text: JSON readers turn numbers into doubles.
void putInteger(QJsonObject& object, const char* key, qint64 value) {
    object.insert(QLatin1String(key), QString::number(value));
}

QString getText(const QJsonObject& object, const char* key) {
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : QString();
}

// Reads the stored fields; a value of the wrong kind or out of its field's
// range marks the event damaged rather than becoming some other number.
struct StoredFields {
    template <typename T> T integer(const QJsonObject& object, const char* key, T fallback) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined()) {
            return fallback;
        }
        const std::optional<QVariant> number = rangedVariant<T>(storedInteger(value));
        if (!number) {
            damaged = true;
            return fallback;
        }
        return number->template value<T>();
    }

    bool damaged = false;
};

} // namespace

std::optional<AlarmEvent> EventCodec::fromDBus(const QVariantMap& map, QString* error) {
    QString ignored;
    if (!error) {
        error = &ignored;
    }
    AlarmEvent event;
    struct Text {
        const char* key;
        QString AlarmEvent::*field;
    };
    static const Text texts[] = {
        {"title", &AlarmEvent::title},       {"message", &AlarmEvent::message},
        {"sound", &AlarmEvent::sound},       {"icon", &AlarmEvent::icon},
        {"alarm_appid", &AlarmEvent::appId}, {"alarm_tz", &AlarmEvent::alarmTz}};
    struct Wide {
        const char* key;
        qint64 AlarmEvent::*field;
    };
    static const Wide wides[] = {{"alarm_time", &AlarmEvent::alarmTime},
                                 {"recur_secs", &AlarmEvent::recurSecs},
                                 {"snooze_secs", &AlarmEvent::snoozeSecs},
                                 {"snooze_total", &AlarmEvent::snoozeTotal}};
    struct Narrow {
        const char* key;
        qint32 AlarmEvent::*field;
    };
    static const Narrow narrows[] = {{"recur_count", &AlarmEvent::recurCount},
                                     {"response", &AlarmEvent::response}};

    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        const QString& key = it.key();
        const QVariant& value = it.value();
        bool done = false;
        for (const Text& text : texts) {
            if (key == QLatin1String(text.key)) {
                done = true;
                if (!readText(value, &(event.*text.field))) {
                    *error = wrongType(key, "a string");
                    return std::nullopt;
                }
            }
        }
        for (const Wide& wide : wides) {
            if (key == QLatin1String(wide.key)) {
                done = true;
                if (!readInteger(value, &(event.*wide.field))) {
                    *error = wrongType(key, "a 64-bit integer (x)");
                    return std::nullopt;
                }
            }
        }
        for (const Narrow& narrow : narrows) {
            if (key == QLatin1String(narrow.key)) {
                done = true;
                if (!readInteger(value, &(event.*narrow.field))) {
                    *error = wrongType(key, "a 32-bit integer (i)");
                    return std::nullopt;
                }
            }
        }
        if (done) {
            continue;
        }
        if (key == QLatin1String("cookie") || key == QLatin1String("trigger")) {
            // The daemon's to set; a copy of get_event's reply may still carry them.
            qint64 stamp = 0;
            if (!readInteger(value, &stamp)) {
                *error = wrongType(key, "a 64-bit integer (x)");
                return std::nullopt;
            }
            continue;
        }
        if (key == QLatin1String("flags")) {
            if (!readInteger(value, &event.flags)) {
                *error = wrongType(key, "an unsigned 32-bit integer (u)");
                return std::nullopt;
            }
        } else if (key == QLatin1String("alarm_tm")) {
            QList<int> fields;
            if (!readIntList(value, &fields) || fields.size() != int(event.alarmTm.size())) {
                *error = wrongType(key, "9 integers (ai: sec, min, hour, mday, mon, year, wday, "
                                        "yday, isdst)");
                return std::nullopt;
            }
            std::copy(fields.cbegin(), fields.cend(), event.alarmTm.begin());
        } else if (key == QLatin1String("attrs")) {
            QVariantMap attrs;
            if (!readMap(value, &attrs)) {
                *error = wrongType(key, "a dictionary (a{sv})");
                return std::nullopt;
            }
            for (auto attr = attrs.cbegin(); attr != attrs.cend(); ++attr) {
                // The library's three kinds of attribute: int, time_t and text.
                const QChar code = codeOf(attr.value());
                if (code != QLatin1Char('i') && code != QLatin1Char('x') &&
                    code != QLatin1Char('s')) {
                    *error = QStringLiteral("attrs[\"%1\"] must be i, x or s").arg(attr.key());
                    return std::nullopt;
                }
            }
            event.attrs = attrs;
        } else if (key == QLatin1String("actions")) {
            QList<QVariantMap> actions;
            if (!readMapList(value, &actions)) {
                *error = wrongType(key, "an array of dictionaries (aa{sv})");
                return std::nullopt;
            }
            for (int i = 0; i < actions.size(); ++i) {
                std::optional<AlarmAction> action = actionFromDBus(actions.at(i), i, error);
                if (!action) {
                    return std::nullopt;
                }
                event.actions.append(*action);
            }
        } else {
            *error = QStringLiteral("unknown key \"%1\"").arg(key);
            return std::nullopt;
        }
    }
    return event;
}

QVariantMap EventCodec::toDBus(const AlarmEvent& event) {
    QVariantMap map;
    const auto text = [&map](const char* key, const QString& value) {
        if (!value.isNull()) {
            map.insert(QLatin1String(key), value);
        }
    };
    map.insert(QStringLiteral("cookie"), qlonglong(event.cookie));
    map.insert(QStringLiteral("trigger"), qlonglong(event.trigger));
    text("title", event.title);
    text("message", event.message);
    text("sound", event.sound);
    text("icon", event.icon);
    map.insert(QStringLiteral("flags"), uint(event.flags));
    text("alarm_appid", event.appId);
    map.insert(QStringLiteral("alarm_time"), qlonglong(event.alarmTime));
    map.insert(QStringLiteral("alarm_tm"),
               QVariant::fromValue(QList<int>(event.alarmTm.cbegin(), event.alarmTm.cend())));
    text("alarm_tz", event.alarmTz);
    map.insert(QStringLiteral("recur_secs"), qlonglong(event.recurSecs));
    map.insert(QStringLiteral("recur_count"), int(event.recurCount));
    map.insert(QStringLiteral("snooze_secs"), qlonglong(event.snoozeSecs));
    map.insert(QStringLiteral("snooze_total"), qlonglong(event.snoozeTotal));
    map.insert(QStringLiteral("response"), int(event.response));
    QList<QVariantMap> actions;
    for (const AlarmAction& action : event.actions) {
        actions.append(actionToDBus(action));
    }
    map.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
    map.insert(QStringLiteral("attrs"), event.attrs);
    return map;
}

QByteArray EventCodec::toJson(const AlarmEvent& event) {
    QJsonObject object;
    putText(object, "title", event.title);
    putText(object, "message", event.message);
    putText(object, "sound", event.sound);
    putText(object, "icon", event.icon);
    object.insert(QStringLiteral("flags"), qint64(event.flags));
    putText(object, "alarm_appid", event.appId);
    putInteger(object, "alarm_time", event.alarmTime);
    QJsonArray tm;
    for (int field : event.alarmTm) {
        tm.append(field);
    }
    object.insert(QStringLiteral("alarm_tm"), tm);
    putText(object, "alarm_tz", event.alarmTz);
    putInteger(object, "recur_secs", event.recurSecs);
    object.insert(QStringLiteral("recur_count"), event.recurCount);
    putInteger(object, "snooze_secs", event.snoozeSecs);
    putInteger(object, "snooze_total", event.snoozeTotal);
    object.insert(QStringLiteral("response"), event.response);
    QJsonArray actions;
    for (const AlarmAction& action : event.actions) {
        QJsonObject item;
        item.insert(QStringLiteral("flags"), qint64(action.flags));
        putText(item, "label", action.label);
        putText(item, "exec_command", action.execCommand);
        putText(item, "dbus_interface", action.dbusInterface);
        putText(item, "dbus_service", action.dbusService);
        putText(item, "dbus_path", action.dbusPath);
        putText(item, "dbus_name", action.dbusName);
        QJsonArray args;
        for (const QVariant& arg : action.dbusArgs) {
            args.append(typedToJson(arg));
        }
        item.insert(QStringLiteral("dbus_args"), args);
        actions.append(item);
    }
    object.insert(QStringLiteral("actions"), actions);
    QJsonObject attrs;
    for (auto it = event.attrs.cbegin(); it != event.attrs.cend(); ++it) {
        attrs.insert(it.key(), typedToJson(it.value()));
    }
    object.insert(QStringLiteral("attrs"), attrs);
    putInteger(object, "trigger", event.trigger);
    putInteger(object, "occurrence", event.occurrence);
    object.insert(QStringLiteral("snoozed"), event.snoozed);
    object.insert(QStringLiteral("dialog_pending"), event.dialogPending);
    putText(object, "wall_clock", event.wallClock);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<AlarmEvent> EventCodec::fromJson(const QByteArray& json, qint64 cookie) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    StoredFields stored;
    AlarmEvent event;
    event.cookie = cookie;
    event.title = getText(object, "title");
    event.message = getText(object, "message");
    event.sound = getText(object, "sound");
    event.icon = getText(object, "icon");
    event.flags = stored.integer<quint32>(object, "flags", 0);
    event.appId = getText(object, "alarm_appid");
    event.alarmTime = stored.integer<qint64>(object, "alarm_time", -1);
    const QJsonArray tm = object.value(QStringLiteral("alarm_tm")).toArray();
    for (int i = 0; i < tm.size() && i < int(event.alarmTm.size()); ++i) {
        const std::optional<QVariant> field = rangedVariant<int>(storedInteger(tm.at(i)));
        stored.damaged = stored.damaged || !field;
        event.alarmTm[size_t(i)] = field ? field->toInt() : -1;
    }
    event.alarmTz = getText(object, "alarm_tz");
    event.recurSecs = stored.integer<qint64>(object, "recur_secs", 0);
    event.recurCount = stored.integer<qint32>(object, "recur_count", 0);
    event.snoozeSecs = stored.integer<qint64>(object, "snooze_secs", 0);
    event.snoozeTotal = stored.integer<qint64>(object, "snooze_total", 0);
    event.response = stored.integer<qint32>(object, "response", -1);
    for (const QJsonValue& value : object.value(QStringLiteral("actions")).toArray()) {
        const QJsonObject item = value.toObject();
        AlarmAction action;
        action.flags = stored.integer<quint32>(item, "flags", 0);
        action.label = getText(item, "label");
        action.execCommand = getText(item, "exec_command");
        action.dbusInterface = getText(item, "dbus_interface");
        action.dbusService = getText(item, "dbus_service");
        action.dbusPath = getText(item, "dbus_path");
        action.dbusName = getText(item, "dbus_name");
        for (const QJsonValue& arg : item.value(QStringLiteral("dbus_args")).toArray()) {
            const std::optional<QVariant> typed = typedFromJson(arg);
            stored.damaged = stored.damaged || !typed;
            action.dbusArgs.append(typed.value_or(QVariant()));
        }
        event.actions.append(action);
    }
    const QJsonObject attrs = object.value(QStringLiteral("attrs")).toObject();
    for (auto it = attrs.constBegin(); it != attrs.constEnd(); ++it) {
        const std::optional<QVariant> typed = typedFromJson(it.value());
        stored.damaged = stored.damaged || !typed;
        event.attrs.insert(it.key(), typed.value_or(QVariant()));
    }
    event.trigger = stored.integer<qint64>(object, "trigger", 0);
    event.occurrence = stored.integer<qint64>(object, "occurrence", event.trigger);
    event.snoozed = object.value(QStringLiteral("snoozed")).toBool();
    event.dialogPending = object.value(QStringLiteral("dialog_pending")).toBool();
    event.wallClock = getText(object, "wall_clock");
    if (stored.damaged) {
        return std::nullopt;
    }
    return event;
}

void EventCodec::registerDBusTypes() {
    qDBusRegisterMetaType<QList<QVariantMap>>();
}
