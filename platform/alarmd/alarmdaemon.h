#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QPointer>

#include "actionrunner.h"
#include "alarmqueue.h"
#include "alarmsound.h"
#include "eventstore.h"

class AlarmDialog;
class AlarmdAdaptor;
class Clock;

// The daemon put together: the stored queue on the given clock, its face on
// the bus, and a dialog with the alarm sound for each event that is due.
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
    AlarmDialog* dialog(qint64 cookie) const;
    QList<AlarmDialog*> dialogs() const;

Q_SIGNALS:
    void dialogShown(qint64 cookie);

private:
    void openDialog(qint64 cookie);
    void closeDialog(qint64 cookie);

    QDBusConnection bus_;
    EventStore store_;
    ActionRunner runner_;
    AlarmQueue queue_;
    AlarmSound sound_;
    AlarmdAdaptor* adaptor_ = nullptr;
    QHash<qint64, QPointer<AlarmDialog>> dialogs_;
    bool registered_ = false;
};
