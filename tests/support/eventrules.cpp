#include "eventrules.h"

#include <QDBusArgument>
#include <QHash>
#include <QRegularExpression>
#include <QTimeZone>

#include "dbusvaluetext.h"
#include "eventcontract.h"

using namespace EventContract;

namespace {

bool isDBusName(const QString& text) {
    return text == QLatin1String("org.freedesktop.DBus") ||
           text.startsWith(QLatin1String("org.freedesktop.DBus."));
}

bool isDaemonName(const QString& text) {
    return text == QLatin1String("org.velmar.alarmd");
}

bool isDBusPath(const QString& text) {
    return text == QLatin1String("/org/freedesktop/DBus") ||
           text.startsWith(QLatin1String("/org/freedesktop/DBus/"));
}

bool isSoundName(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9._-]*$"));
    return pattern.match(text).hasMatch();
}

} // namespace

QStringList EventRules::brokenRules(const QVariantMap& event) {
    static const QHash<QString, QString> eventTypes = {
        {QStringLiteral("title"), QStringLiteral("s")},
        {QStringLiteral("message"), QStringLiteral("s")},
        {QStringLiteral("sound"), QStringLiteral("s")},
        {QStringLiteral("icon"), QStringLiteral("s")},
        {QStringLiteral("alarm_appid"), QStringLiteral("s")},
        {QStringLiteral("alarm_tz"), QStringLiteral("s")},
        {QStringLiteral("flags"), QStringLiteral("u")},
        {QStringLiteral("alarm_time"), QStringLiteral("x")},
        {QStringLiteral("alarm_tm"), QStringLiteral("ai")},
        {QStringLiteral("recur_secs"), QStringLiteral("x")},
        {QStringLiteral("recur_count"), QStringLiteral("i")},
        {QStringLiteral("snooze_secs"), QStringLiteral("x")},
        {QStringLiteral("snooze_total"), QStringLiteral("x")},
        {QStringLiteral("response"), QStringLiteral("i")},
        {QStringLiteral("attrs"), QStringLiteral("a{sv}")},
        {QStringLiteral("actions"), QStringLiteral("aa{sv}")}};
    static const QHash<QString, QString> actionTypes = {
        {QStringLiteral("flags"), QStringLiteral("u")},
        {QStringLiteral("label"), QStringLiteral("s")},
        {QStringLiteral("exec_command"), QStringLiteral("s")},
        {QStringLiteral("dbus_interface"), QStringLiteral("s")},
        {QStringLiteral("dbus_service"), QStringLiteral("s")},
        {QStringLiteral("dbus_path"), QStringLiteral("s")},
        {QStringLiteral("dbus_name"), QStringLiteral("s")},
        {QStringLiteral("dbus_args"), QStringLiteral("av")}};

    QStringList broken;
    const auto has = [&event](const char* key, const char* signature) {
        const QVariant value = event.value(QLatin1String(key));
        return value.isValid() && DBusValueText::signatureOf(value) == QLatin1String(signature);
    };
    for (auto it = event.cbegin(); it != event.cend(); ++it) {
        const auto type = eventTypes.constFind(it.key());
        if (type != eventTypes.cend() && DBusValueText::signatureOf(it.value()) != *type) {
            broken << QStringLiteral("\"%1\" has type %2 instead of %3")
                          .arg(it.key(), DBusValueText::signatureOf(it.value()), *type);
        }
    }
    const auto text = [&event](const char* key) {
        return event.value(QLatin1String(key)).toString();
    };
    const auto wide = [&event](const char* key) {
        return qint64(event.value(QLatin1String(key)).toLongLong());
    };
    if (!has("alarm_appid", "s") || text("alarm_appid").isEmpty()) {
        broken << QStringLiteral("no alarm_appid");
    }
    for (const char* key : {"title", "message"}) {
        if (has(key, "s") && text(key).toUtf8().size() > longestText) {
            broken << QStringLiteral("%1 longer than 4 KiB").arg(QLatin1String(key));
        }
    }
    if (has("alarm_time", "x") && wide("alarm_time") > endOf9999 + day) {
        broken << QStringLiteral("alarm_time after the year 9999");
    }
    if (has("recur_secs", "x") && wide("recur_secs") < 0) {
        broken << QStringLiteral("negative recur_secs");
    }
    if (has("recur_secs", "x") && wide("recur_secs") > tenYears) {
        broken << QStringLiteral("recur_secs over 10 years");
    }
    if (has("recur_secs", "x") && wide("recur_secs") > 0) {
        const int count = event.value(QStringLiteral("recur_count")).toInt();
        // A recur_count of another type breaks the type rule already.
        if (!event.contains(QStringLiteral("recur_count")) ||
            (has("recur_count", "i") && count == 0)) {
            broken << QStringLiteral("recurring with recur_count 0");
        } else if (has("recur_count", "i") && count < -1) {
            broken << QStringLiteral("recur_count below -1");
        }
    }
    if (has("snooze_secs", "x") && wide("snooze_secs") > tenYears) {
        broken << QStringLiteral("snooze_secs over 10 years");
    }
    if (has("alarm_tz", "s") && unknownZones.contains(text("alarm_tz"))) {
        broken << QStringLiteral("unknown alarm_tz");
    }
    if (has("sound", "s") && !isSoundName(text("sound"))) {
        broken << QStringLiteral("sound is neither a theme name nor a sound file");
    }
    if (has("attrs", "a{sv}") && event.value(QStringLiteral("attrs")).toMap().size() > 64) {
        broken << QStringLiteral("more than 64 attributes");
    }

    bool anythingToDo = false;
    if (has("actions", "aa{sv}")) {
        const QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        if (actions.size() > 16) {
            broken << QStringLiteral("more than 16 actions");
        }
        for (int i = 0; i < actions.size() && i < 100; ++i) {
            const QVariantMap& action = actions.at(i);
            const QString where = QStringLiteral("actions[%1]").arg(i);
            bool typed = true;
            for (auto it = action.cbegin(); it != action.cend(); ++it) {
                const auto type = actionTypes.constFind(it.key());
                if (type != actionTypes.cend() && DBusValueText::signatureOf(it.value()) != *type) {
                    broken << QStringLiteral("%1.%2 has type %3 instead of %4")
                                  .arg(where, it.key(), DBusValueText::signatureOf(it.value()),
                                       *type);
                    typed = false;
                }
            }
            if (!typed) {
                continue;
            }
            const uint flags = action.value(QStringLiteral("flags")).toUInt();
            const auto field = [&action](const char* key) {
                return action.value(QLatin1String(key)).toString();
            };
            const bool button = (flags & whenResponded) && !field("label").isEmpty();
            if (flags & execAction) {
                broken << where + QStringLiteral(" runs a command");
            }
            if (flags & useSystemBus) {
                broken << where + QStringLiteral(" uses the system bus");
            }
            if ((flags & whenResponded) && field("label").isEmpty()) {
                broken << where + QStringLiteral(" is a button without a label");
            }
            if (field("label").toUtf8().size() > longestText) {
                broken << where + QStringLiteral(" has a label longer than 4 KiB");
            }
            if (flags & dbusAction) {
                if (field("dbus_path").isEmpty() || field("dbus_interface").isEmpty() ||
                    field("dbus_name").isEmpty()) {
                    broken << where + QStringLiteral(" lacks a path, interface or name");
                }
                if (isDBusName(field("dbus_service")) || isDBusName(field("dbus_interface")) ||
                    isDBusPath(field("dbus_path"))) {
                    broken << where + QStringLiteral(" targets the bus itself");
                }
                if (isDaemonName(field("dbus_service")) || isDaemonName(field("dbus_interface"))) {
                    broken << where + QStringLiteral(" targets the daemon");
                }
            }
            anythingToDo =
                anythingToDo || button ||
                ((flags & dbusAction) && (flags & (whenQueued | whenTriggered | whenDeleted)));
        }
    }
    if (!anythingToDo) {
        broken << QStringLiteral("no action does anything");
    }
    return broken;
}

bool EventRules::isFarFuture(const QVariantMap& event, qint64 now) {
    const QVariant time = event.value(QStringLiteral("alarm_time"));
    return DBusValueText::signatureOf(time) == QLatin1String("x") &&
           time.toLongLong() >= now + 2 * day && time.toLongLong() <= endOf9999 - day;
}
