#pragma once

#include <QDateTime>
#include <QList>
#include <QTimeZone>

class QDate;
class QTime;

// The local zone's offset changes from a moment on, found as needed and kept.
// Qt lists a zone's changes only as far as its data file spells them out (to
// 2037); past that the zone's rule still applies, so the offsets are scanned a
// week at a time and each change is narrowed down to the second.
class ZoneChanges {
public:
    struct Change {
        qint64 at;
        int before;
        int after;
    };

    bool isKnown() const { return zone.isValid(); }

    void startAt(qint64 msecs);

    // The changes from the start up to at least `until`, in order.
    const QList<Change>& upTo(qint64 until);

    // The days from two days before first to three days after last on which the given
    // wall-clock time lies at a change (skipped, repeated, or within a minute of either),
    // in the order of the changes.
    QList<QDate> daysTouched(const QDate& first, const QDate& last, const QTime& time);

private:
    bool findNext(qint64 until);
    void record(const QDateTime& at, int after);

    QTimeZone zone;
    QDateTime probe;
    int offset = 0;
    bool listed = true;
    QList<Change> changes;
};
