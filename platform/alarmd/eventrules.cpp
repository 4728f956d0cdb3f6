#include "eventrules.h"

#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimeZone>

#include <algorithm>
#include <limits>

#include <sys/stat.h>

#include <alarmd/libalarm.h>

#include "alarmevent.h"

namespace {

bool matches(const QString& text, const QRegularExpression& pattern, int maximum = 255) {
    return !text.isEmpty() && text.size() <= maximum && pattern.match(text).hasMatch();
}

bool isTooLong(const QString& text) {
    // A UTF-16 unit takes one to three bytes in UTF-8: most texts need no conversion.
    if (text.size() > ALARMD_MAX_TEXT_BYTES) {
        return true;
    }
    return text.size() * 3 > ALARMD_MAX_TEXT_BYTES && text.toUtf8().size() > ALARMD_MAX_TEXT_BYTES;
}

// `name` is `root` or something below it, parts divided by `separator`.
bool isUnder(const QString& name, QLatin1String root, QLatin1Char separator) {
    return name.startsWith(root) &&
           (name.size() == root.size() || name.at(root.size()) == separator);
}

// The first text of the event longer than the daemon keeps, as the key that holds it.
QString overlongText(const AlarmEvent& event) {
    const std::pair<const char*, const QString*> texts[] = {
        {"title", &event.title}, {"message", &event.message},   {"sound", &event.sound},
        {"icon", &event.icon},   {"alarm_appid", &event.appId}, {"alarm_tz", &event.alarmTz}};
    for (const auto& [key, text] : texts) {
        if (isTooLong(*text)) {
            return QLatin1String(key);
        }
    }
    for (int i = 0; i < event.actions.size(); ++i) {
        const AlarmAction& action = event.actions.at(i);
        const std::pair<const char*, const QString*> fields[] = {
            {"label", &action.label},
            {"exec_command", &action.execCommand},
            {"dbus_interface", &action.dbusInterface},
            {"dbus_service", &action.dbusService},
            {"dbus_path", &action.dbusPath},
            {"dbus_name", &action.dbusName}};
        for (const auto& [key, text] : fields) {
            if (isTooLong(*text)) {
                return QStringLiteral("actions[%1].%2").arg(i).arg(QLatin1String(key));
            }
        }
        for (int j = 0; j < action.dbusArgs.size(); ++j) {
            const QVariant& arg = action.dbusArgs.at(j);
            if (arg.metaType().id() == QMetaType::QString && isTooLong(arg.toString())) {
                return QStringLiteral("actions[%1].dbus_args[%2]").arg(i).arg(j);
            }
        }
    }
    for (auto it = event.attrs.cbegin(); it != event.attrs.cend(); ++it) {
        if (isTooLong(it.key())) {
            return QStringLiteral("the name of an attribute");
        }
        if (it.value().metaType().id() == QMetaType::QString && isTooLong(it.value().toString())) {
            return QStringLiteral("attrs[\"%1\"]").arg(it.key());
        }
    }
    return QString();
}

bool isAudioFile(const QString& path) {
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path);
    if (type.name().startsWith(QLatin1String("audio/"))) {
        return true;
    }
    const QStringList ancestors = type.allAncestors();
    return std::any_of(ancestors.cbegin(), ancestors.cend(), [](const QString& ancestor) {
        return ancestor.startsWith(QLatin1String("audio/"));
    });
}

// Every time the daemon computes must stay a valid moment, however it was reached.
QString timeRefusal(const AlarmEvent& event) {
    if (event.alarmTime < -1 || event.alarmTime > ALARMD_MAX_TIME) {
        return QStringLiteral("alarm_time %1 is neither -1 (use alarm_tm) nor between 0 and %2 "
                              "(the end of the year 9999)")
            .arg(event.alarmTime)
            .arg(ALARMD_MAX_TIME);
    }
    if (event.recurSecs > ALARMD_MAX_INTERVAL_SECS) {
        return QStringLiteral("recur_secs %1 is longer than 10 years (%2 s)")
            .arg(event.recurSecs)
            .arg(ALARMD_MAX_INTERVAL_SECS);
    }
    if (event.snoozeSecs < 0 || event.snoozeSecs > ALARMD_MAX_INTERVAL_SECS) {
        return QStringLiteral("snooze_secs %1 is not between 0 and 10 years (%2 s)")
            .arg(event.snoozeSecs)
            .arg(ALARMD_MAX_INTERVAL_SECS);
    }
    if (event.snoozeTotal < 0 || event.snoozeTotal > ALARMD_MAX_TIME) {
        return QStringLiteral("snooze_total %1 is not between 0 and %2")
            .arg(event.snoozeTotal)
            .arg(ALARMD_MAX_TIME);
    }
    return QString();
}

} // namespace

bool EventRules::isObjectPath(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^/([A-Za-z0-9_]+(/[A-Za-z0-9_]+)*)?$"));
    return matches(text, pattern, std::numeric_limits<int>::max());
}

bool EventRules::isInterfaceName(const QString& text) {
    static const QRegularExpression pattern(
        QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*(\\.[A-Za-z_][A-Za-z0-9_]*)+$"));
    return matches(text, pattern);
}

bool EventRules::isMemberName(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    return matches(text, pattern);
}

bool EventRules::isBusName(const QString& text) {
    static const QRegularExpression wellKnown(
        QStringLiteral("^[A-Za-z_-][A-Za-z0-9_-]*(\\.[A-Za-z_-][A-Za-z0-9_-]*)+$"));
    static const QRegularExpression unique(QStringLiteral("^:[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)+$"));
    return matches(text, wellKnown) || matches(text, unique);
}

bool EventRules::isForbiddenTarget(const AlarmAction& action) {
    const QLatin1String busName("org.freedesktop.DBus");
    const QLatin1String daemonName("org.velmar.alarmd");
    const QLatin1Char dot('.');
    const QLatin1Char slash('/');
    for (const QString* name : {&action.dbusService, &action.dbusInterface}) {
        if (isUnder(*name, busName, dot) || isUnder(*name, daemonName, dot)) {
            return true;
        }
    }
    return isUnder(action.dbusPath, QLatin1String("/org/freedesktop/DBus"), slash) ||
           isUnder(action.dbusPath, QLatin1String("/org/velmar/alarmd"), slash);
}

bool EventRules::isAllowedSound(const QString& sound) {
    if (sound.isEmpty()) {
        return true;
    }
    if (!sound.startsWith(QLatin1Char('/'))) {
        static const QRegularExpression themeName(QStringLiteral("^[A-Za-z0-9._-]+$"));
        return themeName.match(sound).hasMatch();
    }
    // Links and ".." resolved first, so that only where the file really is counts.
    const QString real = QFileInfo(sound).canonicalFilePath();
    struct stat status {};
    if (real.isEmpty() || ::stat(QFile::encodeName(real).constData(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return false;
    }
    const QStringList dataDirs =
        QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString& dataDir : dataDirs) {
        const QString sounds = QFileInfo(dataDir + QStringLiteral("/sounds")).canonicalFilePath();
        if (!sounds.isEmpty() && real.startsWith(sounds + QLatin1Char('/'))) {
            return isAudioFile(real);
        }
    }
    return false;
}

QString EventRules::refusal(const AlarmEvent& event) {
    if (event.actions.size() > ALARMD_MAX_ACTIONS) {
        return QStringLiteral("the event has %1 actions; at most %2 are kept")
            .arg(event.actions.size())
            .arg(ALARMD_MAX_ACTIONS);
    }
    if (event.attrs.size() > ALARMD_MAX_ATTRS) {
        return QStringLiteral("the event has %1 attributes; at most %2 are kept")
            .arg(event.attrs.size())
            .arg(ALARMD_MAX_ATTRS);
    }
    const QString overlong = overlongText(event);
    if (!overlong.isEmpty()) {
        return QStringLiteral("%1 is longer than %2 bytes (UTF-8)")
            .arg(overlong)
            .arg(ALARMD_MAX_TEXT_BYTES);
    }
    if (event.appId.isEmpty()) {
        return QStringLiteral("the event has no alarm_appid");
    }
    const QString time = timeRefusal(event);
    if (!time.isEmpty()) {
        return time;
    }
    if (!event.alarmTz.isEmpty() && !QTimeZone(event.alarmTz.toUtf8()).isValid()) {
        return QStringLiteral("alarm_tz \"%1\" is no known time zone").arg(event.alarmTz);
    }
    if (!isAllowedSound(event.sound)) {
        return QStringLiteral("sound \"%1\" is neither a sound theme name nor a regular audio "
                              "file below a \"sounds\" folder of the XDG data directories")
            .arg(event.sound);
    }
    if (event.recurSecs < 0) {
        return QStringLiteral("recur_secs is negative");
    }
    if (event.recurSecs > 0 && event.recurCount == 0) {
        return QStringLiteral("a recurring event (recur_secs > 0) with recur_count 0 would "
                              "never trigger");
    }
    if (event.recurCount < -1) {
        return QStringLiteral("recur_count must be -1 (forever) or above 0");
    }
    bool anythingToDo = false;
    for (int i = 0; i < event.actions.size(); ++i) {
        const AlarmAction& action = event.actions.at(i);
        const QString where = QStringLiteral("actions[%1]").arg(i);
        if (action.flags & ALARM_ACTION_TYPE_EXEC) {
            return where + QStringLiteral(" would run a command; the daemon runs none for a bus "
                                          "client");
        }
        if (action.flags & ALARM_ACTION_DBUS_USE_SYSTEMBUS) {
            return where + QStringLiteral(" would call on the system bus; the daemon calls only "
                                          "on the session bus");
        }
        if (isForbiddenTarget(action)) {
            return where + QStringLiteral(" targets the bus itself or the alarm daemon "
                                          "(org.freedesktop.DBus, org.velmar.alarmd); a bus "
                                          "client may not make the daemon call them");
        }
        if ((action.flags & ALARM_ACTION_WHEN_RESPONDED) && action.label.isEmpty()) {
            return where + QStringLiteral(" is a button without a label");
        }
        if (action.isDBus()) {
            if (action.dbusPath.isEmpty() || action.dbusInterface.isEmpty() ||
                action.dbusName.isEmpty()) {
                return where + QStringLiteral(" is a D-Bus action without path, interface or "
                                              "name");
            }
            if (!isObjectPath(action.dbusPath)) {
                return where +
                       QStringLiteral(" has an invalid object path \"%1\"").arg(action.dbusPath);
            }
            if (!isInterfaceName(action.dbusInterface)) {
                return where + QStringLiteral(" has an invalid interface name \"%1\"")
                                   .arg(action.dbusInterface);
            }
            if (!isMemberName(action.dbusName)) {
                return where +
                       QStringLiteral(" has an invalid method name \"%1\"").arg(action.dbusName);
            }
            if (!action.dbusService.isEmpty() && !isBusName(action.dbusService)) {
                return where + QStringLiteral(" has an invalid service name \"%1\"")
                                   .arg(action.dbusService);
            }
        }
        anythingToDo = anythingToDo || action.doesSomething();
    }
    if (!anythingToDo) {
        return QStringLiteral("the event has no action that does anything");
    }
    return QString();
}
