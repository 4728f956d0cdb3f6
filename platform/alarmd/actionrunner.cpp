#include "actionrunner.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include "alarmaction.h"
#include "eventrules.h"

namespace {
// Activation of a closed application may take a while; nobody waits for it.
const int callTimeoutMs = 60000;
} // namespace

ActionRunner::ActionRunner(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , bus_(bus) {}

void ActionRunner::run(const AlarmAction& action, qint64 cookie) {
    if (!action.isDBus()) {
        return;
    }
    // Checked at add already; this also covers the daemon's own unique name.
    if (EventRules::isForbiddenTarget(action) || action.dbusService == bus_.baseService()) {
        qWarning("pardo-alarmd: event %lld: calls on the bus or the daemon itself are not made",
                 cookie);
        return;
    }
    if (action.dbusService.isEmpty()) {
        QDBusMessage signal =
            QDBusMessage::createSignal(action.dbusPath, action.dbusInterface, action.dbusName);
        signal.setArguments(action.dbusArgs);
        if (!bus_.send(signal)) {
            qWarning("pardo-alarmd: event %lld: cannot emit %s.%s", cookie,
                     qPrintable(action.dbusInterface), qPrintable(action.dbusName));
        }
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(action.dbusService, action.dbusPath,
                                                       action.dbusInterface, action.dbusName);
    call.setArguments(action.dbusArgs);
    call.setAutoStartService(true);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, callTimeoutMs), this);
    const QString target = action.dbusService + QLatin1Char(' ') + action.dbusInterface +
                           QLatin1Char('.') + action.dbusName;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [cookie, target](QDBusPendingCallWatcher* finished) {
                if (finished->isError()) {
                    qWarning("pardo-alarmd: event %lld: %s failed: %s", cookie, qPrintable(target),
                             qPrintable(finished->error().message()));
                }
                finished->deleteLater();
            });
}
