#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

#include <optional>
#include <set>
#include <utility>

#include "alarmevent.h"

class ActionRunner;
class Clock;
class EventStore;

// The events and their times: what is queued, what falls due, what a button
// does. Every change reaches the store before the caller hears of it; the
// clock is asked to wake the queue at the next due moment and at no other.
class AlarmQueue : public QObject {
    Q_OBJECT
public:
    AlarmQueue(Clock& clock, EventStore& store, ActionRunner& runner, QObject* parent = nullptr);

    // Takes up the stored events; those that fell due meanwhile are dealt with
    // from the event loop by the missed-event rules.
    void load();

    // The new event's cookie, or 0 with `refusal` saying why; `storageFailed`
    // tells a queue that cannot be written from a refused event.
    qint64 add(AlarmEvent event, QString* refusal = nullptr, bool* storageFailed = nullptr);
    std::optional<AlarmEvent> event(qint64 cookie) const;
    // Deletes an event and closes its dialog; false with `storageError` set
    // when the queue cannot be written.
    bool remove(qint64 cookie, QString* storageError = nullptr);
    // Cookies by due time; see alarmd_event_query.
    QList<qint64> query(qint64 first, qint64 last, quint32 flagMask, quint32 flags,
                        const QString& appId) const;
    // Answers the open dialog of `cookie` with the button at `actionIndex` of
    // its action table; false when no dialog is open or that is no button.
    bool respond(qint64 cookie, int actionIndex);

    // Its dialog is on screen.
    bool isShowing(qint64 cookie) const;
    int size() const { return int(entries_.size()); }
    // When the clock is to wake the queue next, -1 for never.
    qint64 nextWake() const { return wake_; }

    // Dialogs on screen at once; further due events wait their turn.
    static constexpr int maxDialogs = 8;

Q_SIGNALS:
    // An event fell due and its triggered actions went out.
    void triggered(qint64 cookie);
    void dialogRequested(qint64 cookie);
    void dialogWithdrawn(qint64 cookie);

private:
    struct Entry {
        AlarmEvent event;
        bool showing = false;
    };

    void process();
    void processSoon();
    void arm();
    void handleDue(qint64 cookie, qint64 now);
    void fire(qint64 cookie, qint64 now);
    void serve(qint64 cookie, qint64 now);
    void discard(qint64 cookie);
    void followZone();
    void index(const Entry& entry);
    void unindex(const Entry& entry);
    void moveTo(Entry& entry, qint64 occurrence);
    void runActions(const AlarmEvent& event, quint32 when);
    // Gives the dialog of an unanswered event a place on screen, or a place in line.
    void present(qint64 cookie);
    void showWaiting();

    Clock& clock_;
    EventStore& store_;
    ActionRunner& runner_;
    QHash<qint64, Entry> entries_;
    // (trigger, cookie) of every event that waits for its time.
    std::set<std::pair<qint64, qint64>> waiting_;
    // (due time, cookie) of unanswered events whose dialogs wait for a place.
    std::set<std::pair<qint64, qint64>> inLine_;
    int onScreen_ = 0;
    bool processPending_ = false;
    qint64 wake_ = -1;
};
