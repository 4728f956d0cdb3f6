#include "alarmdaemon.h"

#include <QDBusError>
#include <QProcessEnvironment>

#include "alarmdadaptor.h"
#include "ringdispatcher.h"
#include "ringrequest.h"

AlarmDaemon::AlarmDaemon(Clock& clock, const QString& folder, const QDBusConnection& bus,
                         QObject* parent)
    : QObject(parent)
    , bus_(bus)
    , store_(folder)
    , runner_(bus)
    , queue_(clock, store_, runner_)
    , rings_(new RingDispatcher(bus, QProcessEnvironment::systemEnvironment(), this))
    , adaptor_(new AlarmdAdaptor(queue_, *rings_, this)) {
    connect(&queue_, &AlarmQueue::dialogRequested, this, &AlarmDaemon::openRing);
    connect(&queue_, &AlarmQueue::dialogWithdrawn, this, &AlarmDaemon::closeRing);
    connect(rings_, &RingDispatcher::shown, this, &AlarmDaemon::dialogShown);
    // Whatever woke the daemon, it sleeps light again afterwards.
    connect(adaptor_, &AlarmdAdaptor::called, &trim_, &IdleTrim::touch);
    connect(&queue_, &AlarmQueue::triggered, &trim_, &IdleTrim::touch);
    connect(rings_, &RingDispatcher::shown, &trim_, &IdleTrim::touch);
    connect(rings_, &RingDispatcher::answered, this,
            [this](qint64 cookie, int actionIndex) { queue_.respond(cookie, actionIndex); });
}

AlarmDaemon::~AlarmDaemon() {
    if (registered_) {
        bus_.unregisterObject(QLatin1String(objectPath));
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
    trim_.touch();
    return true;
}

QList<qint64> AlarmDaemon::ringing() const {
    return rings_->ringing();
}

RingRequest AlarmDaemon::ringOf(const AlarmEvent& event) {
    RingRequest ring;
    ring.cookie = event.cookie;
    ring.title = event.title;
    ring.trigger = event.trigger;
    ring.message = event.message;
    ring.sound = event.sound;
    ring.snoozeSecs = event.snoozeInterval();
    for (int i = 0; i < event.actions.size(); ++i) {
        const AlarmAction& action = event.actions.at(i);
        if (action.isButton()) {
            ring.buttons.append(RingButton{i, action.label, action.isSnooze()});
        }
    }
    return ring;
}

void AlarmDaemon::openRing(qint64 cookie) {
    const std::optional<AlarmEvent> event = queue_.event(cookie);
    if (!event) {
        return;
    }
    rings_->ring(ringOf(*event));
    sound_.start(event->sound);
}

void AlarmDaemon::closeRing(qint64 cookie) {
    rings_->withdraw(cookie);
    if (rings_->ringing().isEmpty()) {
        sound_.stop();
    }
}
