#include "queuetestcase.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QtTest>

#include <alarmd/libalarm.h>

#include <ctime>

#include "alarmdaemon.h"
#include "busrecorder.h"
#include "manualclock.h"
#include "queuefeed.h"
#include "silentsounddevice.h"
#include "testenvironment.h"

namespace {

// The smallest file that says it is PCM audio: a RIFF/WAVE header without samples.
bool writeWave(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    const char header[] = "RIFF\x24\0\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x40\x1f\0\0"
                          "\x40\x1f\0\0\x01\0\x08\0data\0\0\0\0";
    return file.write(header, sizeof header - 1) == qint64(sizeof header - 1);
}

} // namespace

QString QueueTestCase::recorderPath;

QueueTestCase::QueueTestCase() = default;

QueueTestCase::~QueueTestCase() = default;

qint64 QueueTestCase::startMoment() {
    return QDateTime(QDate(2024, 3, 30), QTime(12, 0)).toSecsSinceEpoch();
}

qint64 QueueTestCase::localMoment(int year, int month, int day, int hour, int minute) {
    return QDateTime(QDate(year, month, day), QTime(hour, minute)).toSecsSinceEpoch();
}

AlarmAction QueueTestCase::button(const QString& label, quint32 flags) {
    AlarmAction action;
    action.label = label;
    action.flags = flags;
    return action;
}

AlarmAction QueueTestCase::callback(quint32 flags, const QVariantList& args) {
    AlarmAction action;
    action.flags = flags;
    action.dbusService = QLatin1String(BusRecorder::service);
    // Data functions run before the first init() has chosen a path.
    action.dbusPath = recorderPath.isEmpty() ? QLatin1String(BusRecorder::path) : recorderPath;
    action.dbusInterface = QLatin1String(BusRecorder::interfaceName);
    action.dbusName = QStringLiteral("alarm_triggered");
    action.dbusArgs = args;
    return action;
}

AlarmEvent QueueTestCase::baseEvent(qint64 when) {
    AlarmEvent event;
    event.appId = QStringLiteral("test");
    event.title = QStringLiteral("Test alarm");
    event.message = QStringLiteral("Something to do");
    event.alarmTime = when;
    return event;
}

AlarmEvent QueueTestCase::callbackEvent(qint64 when) {
    AlarmEvent event = baseEvent(when);
    event.actions = {callback(ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED,
                              {QVariant(int(7)), QVariant(int(1))})};
    return event;
}

AlarmEvent QueueTestCase::dialogEvent(qint64 when) {
    AlarmEvent event = baseEvent(when);
    event.actions = {
        button(QStringLiteral("Stop"), ALARM_ACTION_WHEN_RESPONDED),
        button(QStringLiteral("Snooze"), ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE)};
    return event;
}

AlarmEvent::BrokenDownTime QueueTestCase::brokenDown(int year, int month, int day, int hour,
                                                     int minute, int second, int isDst) {
    return {second, minute, hour, day, month - 1, year - 1900, -1, -1, isDst};
}

AlarmAction QueueTestCase::busCall(const QString& service, const QString& path,
                                   const QString& interface, const QString& name,
                                   const QVariantList& args) {
    AlarmAction action;
    action.flags = ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED;
    action.dbusService = service;
    action.dbusPath = path;
    action.dbusInterface = interface;
    action.dbusName = name;
    action.dbusArgs = args;
    return action;
}

QString QueueTestCase::soundsFolder() {
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/sounds");
}

void QueueTestCase::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    // One sound file in place, and others that only look so.
    const QString sounds = soundsFolder();
    const QString elsewhere = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/elsewhere");
    QVERIFY(QDir().mkpath(sounds));
    QVERIFY(QDir().mkpath(elsewhere));
    QVERIFY(writeWave(sounds + QStringLiteral("/ring.wav")));
    QVERIFY(writeWave(elsewhere + QStringLiteral("/outside.wav")));
    QFile notes(sounds + QStringLiteral("/notes.txt"));
    QVERIFY(notes.open(QIODevice::WriteOnly));
    notes.write("not a sound\n");
    notes.close();
    QVERIFY(QFile::link(elsewhere + QStringLiteral("/outside.wav"),
                        sounds + QStringLiteral("/link.wav")));
    QVERIFY(QFile::link(QStringLiteral("/etc/passwd"), sounds + QStringLiteral("/passwd.wav")));
    QVERIFY(
        QFile::link(sounds + QStringLiteral("/ring.wav"), sounds + QStringLiteral("/alias.wav")));
    recorder = std::make_unique<BusRecorder>();
    QVERIFY(recorder->isServing());
}

void QueueTestCase::cleanupTestCase() {
    recorder.reset();
}

void QueueTestCase::init() {
    zone = qgetenv("TZ");
    folder = TestEnvironment::current()->root() + QStringLiteral("/queue-") +
             QString::fromLatin1(QTest::currentTestFunction()) + QLatin1Char('-') +
             QString::fromLatin1(QTest::currentDataTag());
    QDir(folder).removeRecursively();
    clock = std::make_unique<ManualClock>(startMoment());
    static int run = 0;
    recorderPath = QStringLiteral("%1/t%2").arg(QLatin1String(BusRecorder::path)).arg(++run);
    startDaemon();
}

void QueueTestCase::cleanup() {
    daemon.reset();
    clock.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (qgetenv("TZ") != zone) {
        if (zone.isEmpty()) {
            qunsetenv("TZ");
        } else {
            qputenv("TZ", zone);
        }
        tzset();
    }
}

void QueueTestCase::startDaemon() {
    daemon = std::make_unique<AlarmDaemon>(*clock, folder, QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon->start(&error), qPrintable(error));
}

qint64 QueueTestCase::add(const AlarmEvent& event) {
    return QueueFeed::add(daemon->queue(), event);
}

qint64 QueueTestCase::triggerOf(qint64 cookie) const {
    const std::optional<AlarmEvent> event = daemon->queue().event(cookie);
    return event ? event->trigger : -1;
}
