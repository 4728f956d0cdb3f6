#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>

#include "actionrunner.h"
#include "alarmqueue.h"
#include "alarmsound.h"
#include "eventstore.h"
#include "idletrim.h"

class AlarmdAdaptor;
class Clock;
class RingDispatcher;
struct RingRequest;

// The daemon put together: the stored queue on the given clock, its face on
// the bus, and a ring with the alarm sound for each event that is due, shown
// wherever the user is at that moment.
class AlarmDaemon : public QObject {
    Q_OBJECT
public:
    static constexpr const char* serviceName = "org.velmar.alarmd";
    static constexpr const char* objectPath = "/org/velmar/alarmd";

    AlarmDaemon(Clock& clock, const QString& folder, const QDBusConnection& bus,
                QObject* parent = nullptr);
    ~AlarmDaemon() override;

    // Opens the store, restores the queue and serves the object on the bus;
    // claiming the bus name is left to the caller.
    bool start(QString* error);

    AlarmQueue& queue() { return queue_; }
    AlarmSound& sound() { return sound_; }
    RingDispatcher& rings() { return *rings_; }
    // Cookies of the events whose ring is due and unanswered: on screen, out as
    // a notification, or waiting for a place to be shown.
    QList<qint64> ringing() const;

    // What the ring of a queued event shows.
    static RingRequest ringOf(const AlarmEvent& event);

Q_SIGNALS:
    // The ring of `cookie` is in front of the user.
    void dialogShown(qint64 cookie);

private:
    void openRing(qint64 cookie);
    void closeRing(qint64 cookie);

    QDBusConnection bus_;
    EventStore store_;
    ActionRunner runner_;
    AlarmQueue queue_;
    AlarmSound sound_;
    IdleTrim trim_;
    RingDispatcher* rings_ = nullptr;
    AlarmdAdaptor* adaptor_ = nullptr;
    bool registered_ = false;
};
