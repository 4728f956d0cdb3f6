#include "alarmdaemon.h"

#include <QDBusError>
#include <QPushButton>

#include "alarmdadaptor.h"
#include "alarmdialog.h"

AlarmDaemon::AlarmDaemon(Clock& clock, const QString& folder, const QDBusConnection& bus,
                         QObject* parent)
    : QObject(parent)
    , bus_(bus)
    , store_(folder)
    , runner_(bus)
    , queue_(clock, store_, runner_)
    , adaptor_(new AlarmdAdaptor(queue_, this)) {
    connect(&queue_, &AlarmQueue::dialogRequested, this, &AlarmDaemon::openDialog);
    connect(&queue_, &AlarmQueue::dialogWithdrawn, this, &AlarmDaemon::closeDialog);
}

AlarmDaemon::~AlarmDaemon() {
    if (registered_) {
        bus_.unregisterObject(QLatin1String(objectPath));
    }
    for (const QPointer<AlarmDialog>& dialog : std::as_const(dialogs_)) {
        delete dialog.data();
    }
}

bool AlarmDaemon::start(QString* error) {
    QString storeError;
    if (!store_.open(&storeError)) {
        // Still served: what could be read rings, and every add or delete
        // answers with a storage error rather than a promise a restart breaks.
        qWarning("pardo-alarmd: %s", qPrintable(storeError));
    }
    queue_.load();
    if (!bus_.registerObject(QLatin1String(objectPath), adaptor_,
                             QDBusConnection::ExportScriptableSlots)) {
        *error = QStringLiteral("cannot serve %1 on the bus: %2")
                     .arg(QLatin1String(objectPath), bus_.lastError().message());
        return false;
    }
    registered_ = true;
    return true;
}

AlarmDialog* AlarmDaemon::dialog(qint64 cookie) const {
    return dialogs_.value(cookie).data();
}

QList<AlarmDialog*> AlarmDaemon::dialogs() const {
    QList<AlarmDialog*> open;
    for (const QPointer<AlarmDialog>& dialog : dialogs_) {
        if (dialog) {
            open.append(dialog.data());
        }
    }
    return open;
}

void AlarmDaemon::openDialog(qint64 cookie) {
    const std::optional<AlarmEvent> event = queue_.event(cookie);
    if (!event) {
        return;
    }
    closeDialog(cookie);
    auto* dialog = new AlarmDialog(*event);
    dialogs_.insert(cookie, dialog);
    connect(dialog, &AlarmDialog::answered, this,
            [this, cookie](int actionIndex) { queue_.respond(cookie, actionIndex); });
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    sound_.start(event->sound);
    Q_EMIT dialogShown(cookie);
}

void AlarmDaemon::closeDialog(qint64 cookie) {
    const QPointer<AlarmDialog> dialog = dialogs_.take(cookie);
    if (dialog) {
        dialog->dismiss();
        dialog->deleteLater();
    }
    if (dialogs_.isEmpty()) {
        sound_.stop();
    }
}
