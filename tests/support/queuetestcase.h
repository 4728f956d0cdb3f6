#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QVariantList>

#include <memory>

#include "alarmevent.h"

class AlarmDaemon;
class BusRecorder;
class ManualClock;

Q_DECLARE_METATYPE(AlarmEvent)

// What the alarm queue's tests share: a daemon on a clock they move, started afresh for each
// test function in a folder of its own, a recorder for the callbacks, and the events they add.
class QueueTestCase : public QObject {
    Q_OBJECT
public:
    QueueTestCase();
    ~QueueTestCase() override;

protected Q_SLOTS:
    // Found by name by the test runner, as the test functions of the classes below are.
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

protected:
    // Saturday 30 March 2024, noon local time: Europe changes to summer time the
    // next night, America did three weeks before.
    static qint64 startMoment();
    static qint64 localMoment(int year, int month, int day, int hour, int minute);
    static AlarmAction button(const QString& label, quint32 flags);
    static AlarmAction callback(quint32 flags, const QVariantList& args = {});
    static AlarmEvent baseEvent(qint64 when);
    // Runs the recorder's method when due; no dialog.
    static AlarmEvent callbackEvent(qint64 when);
    // A dialog with "Stop" and "Snooze".
    static AlarmEvent dialogEvent(qint64 when);
    static AlarmEvent::BrokenDownTime brokenDown(int year, int month, int day, int hour, int minute,
                                                 int second = 0, int isDst = -1);
    // A D-Bus action on the bus itself or on the daemon, as a hostile client would send it.
    static AlarmAction busCall(const QString& service, const QString& path,
                               const QString& interface, const QString& name,
                               const QVariantList& args = {});

    // Where the sound rules look for files.
    static QString soundsFolder();
    void startDaemon();
    qint64 add(const AlarmEvent& event);
    qint64 triggerOf(qint64 cookie) const;

    // Each test's callbacks go to a path of its own.
    static QString recorderPath;

    std::unique_ptr<BusRecorder> recorder;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<AlarmDaemon> daemon;
    QString folder;
    QByteArray zone;
};
