#pragma once

#include <QList>
#include <QString>

struct AlarmEvent;

// The queue on disk: one SQLite file, one row per event, each change
// committed before the caller goes on.
class EventStore {
public:
    // The daemon's folder: $XDG_DATA_HOME/pardo-alarmd.
    static QString defaultFolder();

    explicit EventStore(const QString& folder);
    ~EventStore();
    EventStore(const EventStore&) = delete;
    EventStore& operator=(const EventStore&) = delete;

    // Creates the folder (0700) and the file (0600) as needed and tightens
    // looser ones. A file that is no readable queue is moved aside first (see
    // damagedCopy()) and a new one started. False with `error` set when the
    // queue cannot be written: the store still reads what it can, and every
    // write fails with that reason.
    bool open(QString* error);
    QString filePath() const;
    // Where open() moved a damaged queue file; empty when it found none.
    QString damagedCopy() const { return damagedCopy_; }

    // Stores a new event; its cookie (never used before), or 0 with `error` set.
    qint64 insert(const AlarmEvent& event, QString* error = nullptr);
    bool update(const AlarmEvent& event, QString* error = nullptr);
    // False with `error` left empty when no row has that cookie.
    bool remove(qint64 cookie, QString* error = nullptr);
    // Every stored event; rows that cannot be read are reported and skipped.
    QList<AlarmEvent> loadAll();

    // Every later write fails with `reason` (none when empty), as on a full
    // disk; lets tests reach the failure paths whoever runs them.
    void failWrites(const QString& reason) { writeFault_ = reason; }

private:
    bool connect(QString* error, bool readOnly = false);
    void disconnect();
    // Why the open file cannot be read as it is; empty when it can.
    QString readFailure();
    // Why the open file is no usable queue; empty when it is one.
    QString damage();
    bool moveAside(const QString& reason, QString* error);
    bool exec(const QString& sql, QString* error = nullptr);
    // The reason a write cannot happen now; empty when it may.
    QString writeBlocker() const;
    QString writeError(const QString& detail) const;

    QString folder_;
    QString connectionName_;
    QString damagedCopy_;
    // Set while the queue cannot be written at all.
    QString openError_;
    QString writeFault_;
};
