#include "alarmdadaptor.h"

#include <QDBusMessage>
#include <QDBusMetaType>

#include "alarmevent.h"
#include "alarmqueue.h"
#include "eventcodec.h"
#include "ringdispatcher.h"

namespace {

// A queue that cannot be written: an answer would promise what a restart loses.
const QString storageError = QStringLiteral("org.velmar.alarmd.Error.Storage");

} // namespace

AlarmdAdaptor::AlarmdAdaptor(AlarmQueue& queue, RingDispatcher& rings, QObject* parent)
    : QObject(parent)
    , queue_(queue)
    , rings_(rings) {
    EventCodec::registerDBusTypes();
    qDBusRegisterMetaType<QMap<QString, QString>>();
}

QString AlarmdAdaptor::caller() const {
    return calledFromDBus() ? message().service() : QStringLiteral("this process");
}

qlonglong AlarmdAdaptor::add_event(const QVariantMap& event) {
    Q_EMIT called();
    QString refusal;
    bool storageFailed = false;
    std::optional<AlarmEvent> decoded = EventCodec::fromDBus(event, &refusal);
    const qint64 cookie = decoded ? queue_.add(*decoded, &refusal, &storageFailed) : 0;
    if (storageFailed) {
        qWarning("pardo-alarmd: cannot keep an event from %s: %s", qPrintable(caller()),
                 qPrintable(refusal));
        if (calledFromDBus()) {
            sendErrorReply(storageError, QStringLiteral("The alarm queue cannot be saved, the "
                                                        "event was not added: %1")
                                             .arg(refusal));
        }
        return 0;
    }
    if (cookie == 0) {
        // A refusal is answered with cookie 0 alone; the reason goes to the log.
        qWarning("pardo-alarmd: refused an event from %s: %s", qPrintable(caller()),
                 qPrintable(refusal));
    }
    return cookie;
}

QVariantMap AlarmdAdaptor::get_event(qlonglong cookie) {
    Q_EMIT called();
    const std::optional<AlarmEvent> event = queue_.event(cookie);
    if (!event) {
        if (calledFromDBus()) {
            sendErrorReply(QStringLiteral("org.velmar.alarmd.Error.UnknownCookie"),
                           QStringLiteral("No event has the cookie %1.").arg(cookie));
        }
        return QVariantMap();
    }
    return EventCodec::toDBus(*event);
}

bool AlarmdAdaptor::del_event(qlonglong cookie) {
    Q_EMIT called();
    QString error;
    if (queue_.remove(cookie, &error)) {
        return true;
    }
    if (error.isEmpty()) {
        return false;
    }
    qWarning("pardo-alarmd: cannot delete event %lld: %s", cookie, qPrintable(error));
    if (calledFromDBus()) {
        sendErrorReply(storageError,
                       QStringLiteral("The alarm queue cannot be saved, the event was not "
                                      "deleted: %1")
                           .arg(error));
    }
    return false;
}

QList<qlonglong> AlarmdAdaptor::query_event(qlonglong first, qlonglong last, uint flagMask,
                                            uint flags, const QString& appid) {
    Q_EMIT called();
    const QList<qint64> cookies = queue_.query(first, last, flagMask, flags, appid);
    return QList<qlonglong>(cookies.cbegin(), cookies.cend());
}

bool AlarmdAdaptor::respond(qlonglong cookie, int actionIndex) {
    Q_EMIT called();
    return queue_.respond(cookie, actionIndex);
}

bool AlarmdAdaptor::set_display(const QMap<QString, QString>& environment) {
    Q_EMIT called();
    QString error;
    if (rings_.announce(environment, &error)) {
        return true;
    }
    qWarning("pardo-alarmd: refused a display from %s: %s", qPrintable(caller()),
             qPrintable(error));
    if (calledFromDBus()) {
        sendErrorReply(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"), error);
    }
    return false;
}
