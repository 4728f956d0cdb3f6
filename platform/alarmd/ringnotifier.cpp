#include "ringnotifier.h"

#include <algorithm>

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDateTime>
#include <QLocale>
#include <QStringList>
#include <QVariantMap>

#include "notificationsinterface.h"

namespace {

// Most servers read the body as markup; the message is plain text.
QString escaped(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('&')) {
            out += QLatin1String("&amp;");
        } else if (c == QLatin1Char('<')) {
            out += QLatin1String("&lt;");
        } else if (c == QLatin1Char('>')) {
            out += QLatin1String("&gt;");
        } else {
            out += c;
        }
    }
    return out;
}

QDBusMessage notificationsCall(const QString& method) {
    return QDBusMessage::createMethodCall(
        QLatin1String(NotificationsInterface::service), QLatin1String(NotificationsInterface::path),
        QLatin1String(NotificationsInterface::interfaceName), method);
}

// Action keys are the indices we sent, written as QString::number writes them.
bool actionIndex(const QString& key, int* index) {
    bool ok = false;
    const int value = key.toInt(&ok);
    if (!ok || QString::number(value) != key) {
        return false;
    }
    *index = value;
    return true;
}

} // namespace

RingNotifier::RingNotifier(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , bus_(bus) {
    const QString service = QLatin1String(NotificationsInterface::service);
    // Watch before asking, so that no change between the two is missed.
    watcher_ =
        new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& newOwner) {
                ownerChanged(newOwner);
            });
    if (QDBusConnectionInterface* daemon = bus_.interface()) {
        const QDBusReply<QString> owner = daemon->serviceOwner(service);
        if (owner.isValid()) {
            owner_ = owner.value();
        }
    }
    notifications_ = new NotificationsInterface(bus_, this);
    connect(notifications_, &NotificationsInterface::ActionInvoked, this,
            &RingNotifier::actionInvoked);
    connect(notifications_, &NotificationsInterface::NotificationClosed, this,
            [this](uint id, uint) { notificationClosed(id); });
}

RingNotifier::~RingNotifier() = default;

bool RingNotifier::isAvailable() const {
    return !owner_.isEmpty();
}

bool RingNotifier::isShowing(qint64 cookie) const {
    return rings_.contains(cookie);
}

void RingNotifier::show(const RingRequest& request) {
    Ring& ring = rings_[request.cookie];
    ring.request = request;
    ring.call = ++lastCall_;

    QStringList actions;
    for (const RingButton& button : request.buttons) {
        actions << QString::number(button.action) << request.buttonText(button);
    }
    const QString due = QLocale().toString(QDateTime::fromSecsSinceEpoch(request.trigger).time(),
                                           QLocale::ShortFormat);
    const QString body =
        request.message.isEmpty() ? due : due + QLatin1Char('\n') + escaped(request.message);
    const QVariantMap hints{
        {QStringLiteral("urgency"), QVariant::fromValue(uchar(2))},
        {QStringLiteral("resident"), true},
        {QStringLiteral("desktop-entry"), QStringLiteral("org.velmar.pardoreminder")},
    };
    QDBusMessage message = notificationsCall(QStringLiteral("Notify"));
    message << QStringLiteral("Pardo Reminder") << ring.id
            << QStringLiteral("org.velmar.pardoreminder") << request.title << body << actions
            << hints << qint32(0);

    auto* pending = new QDBusPendingCallWatcher(bus_.asyncCall(message, replyTimeoutMs), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this, cookie = request.cookie, call = ring.call,
             epoch = epoch_](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                notifyAnswered(cookie, call, epoch, finished->reply());
            });
}

void RingNotifier::notifyAnswered(qint64 cookie, quint64 call, quint64 epoch,
                                  const QDBusMessage& reply) {
    if (epoch != epoch_) {
        // The ring failed when that service went away.
        return;
    }
    const QList<QVariant> arguments = reply.arguments();
    const bool valid = reply.type() == QDBusMessage::ReplyMessage && arguments.size() == 1 &&
                       arguments.first().metaType() == QMetaType::fromType<uint>() &&
                       arguments.first().toUInt() != 0;
    const uint id = valid ? arguments.first().toUInt() : 0;

    const auto it = rings_.find(cookie);
    if (it == rings_.end() || it->call != call) {
        // Withdrawn, answered or shown again meanwhile: this notification is not wanted.
        if (valid && !cookieById_.contains(id)) {
            close(id);
        }
        return;
    }
    if (!valid) {
        // Whatever was shown before must not stay next to the ring shown elsewhere.
        const uint previous = it->id;
        rings_.erase(it);
        if (previous != 0) {
            cookieById_.remove(previous);
            close(previous);
        }
        Q_EMIT failed(cookie);
        return;
    }
    it->call = 0;
    if (it->id != id) {
        if (it->id != 0) {
            cookieById_.remove(it->id);
            close(it->id);
        }
        it->id = id;
        cookieById_.insert(id, cookie);
    }
    Q_EMIT shown(cookie);
}

void RingNotifier::withdraw(qint64 cookie) {
    const auto it = rings_.find(cookie);
    if (it == rings_.end()) {
        return;
    }
    // A Notify still out is closed when its answer comes (it no longer matches a ring).
    const uint id = it->id;
    rings_.erase(it);
    if (id != 0) {
        cookieById_.remove(id);
        close(id);
    }
}

void RingNotifier::actionInvoked(uint id, const QString& key) {
    const auto found = cookieById_.constFind(id);
    if (found == cookieById_.constEnd()) {
        return;
    }
    const qint64 cookie = found.value();
    int index = -1;
    if (!actionIndex(key, &index)) {
        return;
    }
    const auto it = rings_.find(cookie);
    if (it == rings_.end()) {
        return;
    }
    const QList<RingButton>& buttons = it->request.buttons;
    const bool known =
        std::any_of(buttons.cbegin(), buttons.cend(),
                    [index](const RingButton& button) { return button.action == index; });
    if (!known) {
        return;
    }
    rings_.erase(it);
    cookieById_.remove(id);
    // Resident notifications stay after an action until they are closed.
    close(id);
    Q_EMIT answered(cookie, index);
}

void RingNotifier::notificationClosed(uint id) {
    const auto found = cookieById_.constFind(id);
    if (found == cookieById_.constEnd()) {
        // Already answered, withdrawn, or not ours.
        return;
    }
    const qint64 cookie = found.value();
    cookieById_.erase(found);
    const auto it = rings_.find(cookie);
    if (it == rings_.end()) {
        return;
    }
    const int first = it->request.firstAction();
    rings_.erase(it);
    Q_EMIT answered(cookie, first);
}

void RingNotifier::close(uint id) {
    QDBusMessage message = notificationsCall(QStringLiteral("CloseNotification"));
    message << id;
    bus_.send(message);
}

void RingNotifier::ownerChanged(const QString& newOwner) {
    if (newOwner == owner_) {
        return;
    }
    ++epoch_;
    const bool had = !owner_.isEmpty();
    owner_.clear();
    if (had) {
        // Its notifications are gone with it; the rings go back to the caller.
        const QList<qint64> lost = rings_.keys();
        rings_.clear();
        cookieById_.clear();
        Q_EMIT availableChanged(false);
        for (const qint64 cookie : lost) {
            Q_EMIT failed(cookie);
        }
    }
    if (!newOwner.isEmpty()) {
        owner_ = newOwner;
        Q_EMIT availableChanged(true);
    }
}
