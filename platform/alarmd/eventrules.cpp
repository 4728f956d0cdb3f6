#include "eventrules.h"

#include <QRegularExpression>

#include <limits>

#include <alarmd/libalarm.h>

#include "alarmevent.h"

namespace {

bool matches(const QString& text, const QRegularExpression& pattern, int maximum = 255) {
    return !text.isEmpty() && text.size() <= maximum && pattern.match(text).hasMatch();
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

QString EventRules::refusal(const AlarmEvent& event) {
    if (event.appId.isEmpty()) {
        return QStringLiteral("the event has no alarm_appid");
    }
    if (event.recurSecs < 0) {
        return QStringLiteral("recur_secs is negative");
    }
    if (event.recurSecs > 0 && event.recurCount == 0) {
        return QStringLiteral("a recurring event (recur_secs > 0) with recur_count 0 would "
                              "never trigger");
    }
    if (event.recurSecs > 0 && event.recurCount < -1) {
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
