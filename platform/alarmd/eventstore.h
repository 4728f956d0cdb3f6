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

    // Creates the folder and the file as needed; false with `error` set on failure.
    bool open(QString* error);
    QString filePath() const;

    // Stores a new event; its cookie (never used before), or 0 on failure.
    qint64 insert(const AlarmEvent& event);
    bool update(const AlarmEvent& event);
    bool remove(qint64 cookie);
    // Every stored event; rows that cannot be read are reported and skipped.
    QList<AlarmEvent> loadAll();

private:
    bool exec(const QString& sql);

    QString folder_;
    QString connectionName_;
};
