#include "alarmqueue.h"

#include <QDateTime>
#include <QTimer>
#include <QtNumeric>

#include <algorithm>
#include <limits>
#include <vector>

#include <alarmd/libalarm.h>

#include "actionrunner.h"
#include "clock.h"
#include "eventrules.h"
#include "eventstore.h"
#include "schedule.h"

namespace {

QString moment(qint64 secs) {
    return QDateTime::fromSecsSinceEpoch(secs).toString(Qt::ISODate);
}

} // namespace

AlarmQueue::AlarmQueue(Clock& clock, EventStore& store, ActionRunner& runner, QObject* parent)
    : QObject(parent)
    , clock_(clock)
    , store_(store)
    , runner_(runner) {
    connect(&clock_, &Clock::woke, this, &AlarmQueue::process);
    connect(&clock_, &Clock::timeChanged, this, &AlarmQueue::process);
    connect(&clock_, &Clock::zoneChanged, this, &AlarmQueue::followZone);
}

void AlarmQueue::load() {
    for (const AlarmEvent& event : store_.loadAll()) {
        Entry& entry = entries_[event.cookie];
        entry.event = event;
        if (event.dialogPending) {
            // Shown but never answered: it opens again however late, and its
            // triggered actions, which ran when it fell due, do not run again.
            inLine_.emplace(event.trigger, event.cookie);
        } else {
            index(entry);
        }
    }
    if (!inLine_.empty()) {
        QTimer::singleShot(0, this, &AlarmQueue::showWaiting);
    }
    arm();
}

qint64 AlarmQueue::add(AlarmEvent event, QString* refusal, bool* storageFailed) {
    QString ignored;
    if (!refusal) {
        refusal = &ignored;
    }
    bool unused = false;
    if (!storageFailed) {
        storageFailed = &unused;
    }
    *storageFailed = false;
    *refusal = EventRules::refusal(event);
    if (!refusal->isEmpty()) {
        return 0;
    }
    const qint64 now = clock_.now();
    const std::optional<qint64> first = Schedule::firstOccurrence(event, now);
    if (!first) {
        // The zone is known by now (EventRules).
        *refusal = QStringLiteral("alarm_tm gives no moment between 1970 and the end of the year "
                                  "9999");
        return 0;
    }
    qint64 occurrence = *first;
    if (event.isRecurring()) {
        // A series that started in the past joins at its next point; the
        // occurrences before now are not counted as triggers.
        occurrence = Schedule::catchUp(occurrence, event.recurSecs, now);
        if (!Schedule::isWithinRange(occurrence)) {
            *refusal = QStringLiteral("the series would next fall due after the end of the year "
                                      "9999");
            return 0;
        }
    } else if (occurrence < now - AlarmEvent::lateLimitSecs) {
        *refusal = QStringLiteral("the event was due at %1, more than %2 s ago")
                       .arg(moment(occurrence))
                       .arg(AlarmEvent::lateLimitSecs);
        return 0;
    }
    event.cookie = 0;
    event.snoozed = false;
    event.dialogPending = false;
    event.occurrence = occurrence;
    event.trigger = occurrence;
    event.wallClock = event.followsLocalZone() ? Schedule::wallClockOf(occurrence) : QString();

    QString storageError;
    event.cookie = store_.insert(event, &storageError);
    if (event.cookie <= 0) {
        *refusal =
            storageError.isEmpty() ? QStringLiteral("the event could not be stored") : storageError;
        *storageFailed = true;
        return 0;
    }
    Entry& entry = entries_[event.cookie];
    entry.event = event;
    index(entry);
    arm();
    runActions(event, ALARM_ACTION_WHEN_QUEUED);
    return event.cookie;
}

std::optional<AlarmEvent> AlarmQueue::event(qint64 cookie) const {
    const auto it = entries_.constFind(cookie);
    if (it == entries_.cend()) {
        return std::nullopt;
    }
    return it->event;
}

bool AlarmQueue::remove(qint64 cookie, QString* storageError) {
    const auto it = entries_.find(cookie);
    QString error;
    if (it == entries_.end() || !store_.remove(cookie, &error)) {
        if (storageError) {
            *storageError = error;
        }
        return false;
    }
    const bool showing = it->showing;
    const AlarmEvent event = it->event;
    unindex(*it);
    inLine_.erase({event.trigger, cookie});
    entries_.erase(it);
    if (showing) {
        --onScreen_;
        Q_EMIT dialogWithdrawn(cookie);
    }
    runActions(event, ALARM_ACTION_WHEN_DELETED);
    showWaiting();
    arm();
    return true;
}

QList<qint64> AlarmQueue::query(qint64 first, qint64 last, quint32 flagMask, quint32 flags,
                                const QString& appId) const {
    std::vector<std::pair<qint64, qint64>> found;
    for (auto it = entries_.cbegin(); it != entries_.cend(); ++it) {
        const AlarmEvent& event = it->event;
        if ((first > 0 && event.trigger < first) || (last > 0 && event.trigger > last)) {
            continue;
        }
        if ((event.flags & flagMask) != (flags & flagMask)) {
            continue;
        }
        if (!appId.isEmpty() && event.appId != appId) {
            continue;
        }
        found.emplace_back(event.trigger, event.cookie);
    }
    std::sort(found.begin(), found.end());
    QList<qint64> cookies;
    cookies.reserve(qsizetype(found.size()));
    for (const auto& item : found) {
        cookies.append(item.second);
    }
    return cookies;
}

bool AlarmQueue::respond(qint64 cookie, int actionIndex) {
    const auto it = entries_.find(cookie);
    if (it == entries_.end() || !it->showing || actionIndex < 0 ||
        actionIndex >= it->event.actions.size() || !it->event.actions.at(actionIndex).isButton()) {
        return false;
    }
    const AlarmAction action = it->event.actions.at(actionIndex);
    it->showing = false;
    --onScreen_;
    it->event.dialogPending = false;
    it->event.response = actionIndex;
    Q_EMIT dialogWithdrawn(cookie);

    const qint64 now = clock_.now();
    if (action.isSnooze()) {
        // A snooze shows the same occurrence again later; the series does not move.
        Entry& entry = entries_[cookie];
        const qint64 interval = entry.event.snoozeInterval();
        entry.event.snoozed = true;
        entry.event.trigger = Schedule::later(now, interval);
        entry.event.snoozeTotal = Schedule::later(entry.event.snoozeTotal, interval);
        store_.update(entry.event);
        index(entry);
    } else {
        serve(cookie, now);
    }
    runner_.run(action, cookie);
    showWaiting();
    arm();
    return true;
}

bool AlarmQueue::isShowing(qint64 cookie) const {
    const auto it = entries_.constFind(cookie);
    return it != entries_.cend() && it->showing;
}

void AlarmQueue::process() {
    processPending_ = false;
    // Whatever the clock was asked for has been used up or is moot now.
    wake_ = -1;
    const qint64 now = clock_.now();
    // Each due event once per pass: one that came due again at once waits for
    // the next pass instead of holding the event loop.
    const std::vector<std::pair<qint64, qint64>> due(
        waiting_.begin(), waiting_.upper_bound({now, std::numeric_limits<qint64>::max()}));
    for (const auto& item : due) {
        if (waiting_.erase(item) > 0) {
            handleDue(item.second, now);
        }
    }
    arm();
}

void AlarmQueue::processSoon() {
    if (!processPending_) {
        processPending_ = true;
        QTimer::singleShot(0, this, &AlarmQueue::process);
    }
}

void AlarmQueue::arm() {
    if (waiting_.empty()) {
        wake_ = -1;
        clock_.cancelWake();
        return;
    }
    const qint64 next = waiting_.begin()->first;
    if (next <= clock_.now()) {
        processSoon();
        return;
    }
    if (next != wake_) {
        wake_ = next;
        clock_.wakeAt(next);
    }
}

void AlarmQueue::handleDue(qint64 cookie, qint64 now) {
    Entry& entry = entries_[cookie];
    AlarmEvent& event = entry.event;
    if (event.snoozed) {
        // The user asked to see it again; however late, it shows.
        fire(cookie, now);
        return;
    }
    // The latest occurrence not after now; those before it were missed.
    qint64 latest = event.occurrence;
    qint64 skipped = 0;
    if (event.isRecurring()) {
        // A division however long the gap; a damaged store gives no overflow either.
        qint64 gap = 0;
        if (qSubOverflow(now, event.occurrence, &gap) || gap < 0) {
            gap = 0;
        }
        qint64 passed = gap / event.recurSecs + 1;
        if (event.recurCount > 0) {
            passed = std::min<qint64>(passed, event.recurCount);
        }
        latest = event.occurrence + (passed - 1) * event.recurSecs;
        skipped = passed - 1;
    }
    const bool late = now - latest > AlarmEvent::lateLimitSecs;
    if (!late || (event.flags & ALARM_EVENT_RUN_DELAYED)) {
        if (skipped > 0) {
            qInfo("pardo-alarmd: event %lld missed %lld occurrence(s) up to %s", cookie, skipped,
                  qPrintable(moment(latest)));
            if (event.recurCount > 0) {
                event.recurCount -= qint32(skipped);
            }
            moveTo(entry, latest);
        }
        fire(cookie, now);
        return;
    }
    qInfo("pardo-alarmd: event %lld due at %s was missed", cookie, qPrintable(moment(latest)));
    if (!event.isRecurring()) {
        discard(cookie);
        return;
    }
    if (event.recurCount > 0) {
        event.recurCount -= qint32(skipped + 1);
        if (event.recurCount <= 0) {
            discard(cookie);
            return;
        }
    }
    qint64 next = 0;
    if (qAddOverflow(latest, event.recurSecs, &next) || !Schedule::isWithinRange(next)) {
        qInfo("pardo-alarmd: event %lld ends: its next time is after the year 9999", cookie);
        discard(cookie);
        return;
    }
    moveTo(entry, next);
    store_.update(event);
    index(entry);
}

void AlarmQueue::fire(qint64 cookie, qint64 now) {
    Entry& entry = entries_[cookie];
    const bool again = entry.event.snoozed;
    if (!again) {
        runActions(entry.event, ALARM_ACTION_WHEN_TRIGGERED);
    }
    Q_EMIT triggered(cookie);
    const auto it = entries_.find(cookie);
    if (it == entries_.end()) {
        return;
    }
    if (it->event.hasButtons()) {
        // The triggered actions ran above even when the dialog has to wait
        // for a place on screen: whoever they call hears on time.
        it->event.dialogPending = true;
        store_.update(it->event);
        present(cookie);
    } else {
        serve(cookie, now);
    }
}

void AlarmQueue::serve(qint64 cookie, qint64 now) {
    Entry& entry = entries_[cookie];
    AlarmEvent& event = entry.event;
    unindex(entry);
    entry.showing = false;
    event.snoozed = false;
    event.snoozeTotal = 0;
    if (!event.isRecurring() || (event.recurCount > 0 && --event.recurCount == 0)) {
        discard(cookie);
        return;
    }
    qint64 next = 0;
    if (qAddOverflow(event.occurrence, event.recurSecs, &next)) {
        next = std::numeric_limits<qint64>::max();
    } else {
        next = Schedule::catchUp(next, event.recurSecs, now + 1);
    }
    if (!Schedule::isWithinRange(next)) {
        qInfo("pardo-alarmd: event %lld ends: its next time is after the year 9999", cookie);
        discard(cookie);
        return;
    }
    moveTo(entry, next);
    store_.update(event);
    index(entry);
}

void AlarmQueue::discard(qint64 cookie) {
    const auto it = entries_.find(cookie);
    if (it == entries_.end()) {
        return;
    }
    unindex(*it);
    inLine_.erase({it->event.trigger, cookie});
    store_.remove(cookie);
    entries_.erase(it);
}

void AlarmQueue::followZone() {
    // Events set in local wall-clock time keep their wall-clock time.
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        AlarmEvent& event = it->event;
        if (it->showing || event.dialogPending || !event.followsLocalZone() ||
            event.wallClock.isEmpty()) {
            continue;
        }
        const std::optional<qint64> occurrence = Schedule::fromWallClock(event.wallClock);
        if (!occurrence || *occurrence == event.occurrence) {
            continue;
        }
        unindex(*it);
        event.occurrence = *occurrence;
        if (!event.snoozed) {
            event.trigger = *occurrence;
        }
        store_.update(event);
        index(*it);
    }
    process();
}

void AlarmQueue::index(const Entry& entry) {
    if (!entry.showing && !entry.event.dialogPending &&
        !(entry.event.flags & ALARM_EVENT_DISABLED)) {
        waiting_.emplace(entry.event.trigger, entry.event.cookie);
    }
}

void AlarmQueue::unindex(const Entry& entry) {
    waiting_.erase({entry.event.trigger, entry.event.cookie});
}

void AlarmQueue::moveTo(Entry& entry, qint64 occurrence) {
    AlarmEvent& event = entry.event;
    event.occurrence = occurrence;
    event.trigger = occurrence;
    if (event.followsLocalZone()) {
        event.wallClock = Schedule::wallClockOf(occurrence);
    }
}

void AlarmQueue::runActions(const AlarmEvent& event, quint32 when) {
    for (const AlarmAction& action : event.actions) {
        if (action.flags & when) {
            runner_.run(action, event.cookie);
        }
    }
}

void AlarmQueue::present(qint64 cookie) {
    const auto it = entries_.constFind(cookie);
    if (it != entries_.cend()) {
        inLine_.emplace(it->event.trigger, cookie);
        showWaiting();
    }
}

void AlarmQueue::showWaiting() {
    while (onScreen_ < maxDialogs && !inLine_.empty()) {
        const qint64 cookie = inLine_.begin()->second;
        inLine_.erase(inLine_.begin());
        const auto it = entries_.find(cookie);
        if (it == entries_.end() || it->showing) {
            continue;
        }
        it->showing = true;
        ++onScreen_;
        Q_EMIT dialogRequested(cookie);
    }
}
