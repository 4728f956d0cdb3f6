#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QSignalSpy>
#include <QTimeZone>

#include <alarmd/libalarm.h>

#include <random>

#include "alarmdaemon.h"
#include "ringrequest.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "busrecorder.h"
#include "eventcodec.h"
#include "manualclock.h"
#include "pardotest.h"
#include "queuefeed.h"
#include "silentsounddevice.h"

Q_DECLARE_METATYPE(AlarmEvent)

namespace {

// Each test's callbacks go to a path of its own.
QString recorderPath;

// Saturday 30 March 2024, noon local time: Europe changes to summer time the
// next night, America did three weeks before.
qint64 startMoment() {
    return QDateTime(QDate(2024, 3, 30), QTime(12, 0)).toSecsSinceEpoch();
}

qint64 localMoment(int year, int month, int day, int hour, int minute) {
    return QDateTime(QDate(year, month, day), QTime(hour, minute)).toSecsSinceEpoch();
}

AlarmAction button(const QString& label, quint32 flags) {
    AlarmAction action;
    action.label = label;
    action.flags = flags;
    return action;
}

AlarmAction callback(quint32 flags, const QVariantList& args = {}) {
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

AlarmEvent baseEvent(qint64 when) {
    AlarmEvent event;
    event.appId = QStringLiteral("test");
    event.title = QStringLiteral("Test alarm");
    event.message = QStringLiteral("Something to do");
    event.alarmTime = when;
    return event;
}

// Runs the recorder's method when due; no dialog.
AlarmEvent callbackEvent(qint64 when) {
    AlarmEvent event = baseEvent(when);
    event.actions = {callback(ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED,
                              {QVariant(int(7)), QVariant(int(1))})};
    return event;
}

// A dialog with "Stop" and "Snooze".
AlarmEvent dialogEvent(qint64 when) {
    AlarmEvent event = baseEvent(when);
    event.actions = {
        button(QStringLiteral("Stop"), ALARM_ACTION_WHEN_RESPONDED),
        button(QStringLiteral("Snooze"), ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE)};
    return event;
}

AlarmEvent::BrokenDownTime brokenDown(int year, int month, int day, int hour, int minute,
                                      int second = 0, int isDst = -1) {
    return {second, minute, hour, day, month - 1, year - 1900, -1, -1, isDst};
}

// A D-Bus action on the bus itself or on the daemon, as a hostile client would send it.
AlarmAction busCall(const QString& service, const QString& path, const QString& interface,
                    const QString& name, const QVariantList& args = {}) {
    AlarmAction action;
    action.flags = ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED;
    action.dbusService = service;
    action.dbusPath = path;
    action.dbusInterface = interface;
    action.dbusName = name;
    action.dbusArgs = args;
    return action;
}

QString soundsFolder() {
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/sounds");
}

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

class TestAlarmQueue : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void triggerFromAlarmTime();
    void triggerFromBrokenDownTime_data();
    void triggerFromBrokenDownTime();
    void refusals_data();
    void refusals();
    void refusedDictionaries_data();
    void refusedDictionaries();
    void acceptedAtTheBounds_data();
    void acceptedAtTheBounds();
    void snoozeEndsByTheLatestMoment();
    void seriesEndsAtTheLatestMoment_data();
    void seriesEndsAtTheLatestMoment();
    void lessThanAMinuteLateTriggersAtOnce();
    void triggeredActionsCallWithTheirArguments();
    void sleepsUntilTheEarliestEvent();
    void earlyWakeUpAsksAgain();
    void recurrenceForever();
    void recurrenceCount_data();
    void recurrenceCount();
    void recurringPastStartKeepsItsCount();
    void snooze_data();
    void snooze();
    void missed_data();
    void missed();
    void deletingClosesItsDialog();
    void severalDueEventsEachGetADialog();
    void restartRestoresTheQueue();
    void cookiesAreNeverReused();
    void zoneChangeKeepsTheWallClockTime();
    void queryFilters();

private:
    void startDaemon();
    qint64 add(const AlarmEvent& event);
    qint64 triggerOf(qint64 cookie) const;

    std::unique_ptr<BusRecorder> recorder;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<AlarmDaemon> daemon;
    QString folder;
    QByteArray zone;
};

void TestAlarmQueue::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    // Sound files for the sound rules: one in place, others that only look so.
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

void TestAlarmQueue::cleanupTestCase() {
    recorder.reset();
}

void TestAlarmQueue::init() {
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

void TestAlarmQueue::cleanup() {
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

void TestAlarmQueue::startDaemon() {
    daemon = std::make_unique<AlarmDaemon>(*clock, folder, QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon->start(&error), qPrintable(error));
}

qint64 TestAlarmQueue::add(const AlarmEvent& event) {
    return QueueFeed::add(daemon->queue(), event);
}

qint64 TestAlarmQueue::triggerOf(qint64 cookie) const {
    const std::optional<AlarmEvent> event = daemon->queue().event(cookie);
    return event ? event->trigger : -1;
}

void TestAlarmQueue::triggerFromAlarmTime() {
    const qint64 when = startMoment() + 3600;
    AlarmEvent event = dialogEvent(when);
    // alarm_time wins over a broken-down time.
    event.alarmTm = brokenDown(2024, 5, 1, 8, 0);
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), when);
    QCOMPARE(clock->wakeTime(), when);
}

void TestAlarmQueue::triggerFromBrokenDownTime_data() {
    QTest::addColumn<AlarmEvent::BrokenDownTime>("tm");
    QTest::addColumn<QString>("zoneName");
    QTest::addColumn<qint64>("expected");

    const AlarmEvent::BrokenDownTime unset{0, -1, -1, -1, -1, -1, -1, -1, -1};
    QTest::newRow("later today") << brokenDown(2024, 3, 30, 18, 0) << QString()
                                 << localMoment(2024, 3, 30, 18, 0);
    // The caller copied the daylight-saving flag of today; the wall-clock time still holds.
    QTest::newRow("after the change to summer time, winter flag")
        << brokenDown(2024, 4, 2, 9, 0, 0, 0) << QString() << localMoment(2024, 4, 2, 9, 0);
    QTest::newRow("after the change to summer time, summer flag")
        << brokenDown(2024, 4, 2, 9, 0, 0, 1) << QString() << localMoment(2024, 4, 2, 9, 0);
    QTest::newRow("after the change back to winter time")
        << brokenDown(2024, 11, 4, 7, 30, 0, 1) << QString() << localMoment(2024, 11, 4, 7, 30);
    QTest::newRow("seconds round up to the next minute")
        << brokenDown(2024, 3, 30, 18, 0, 30) << QString() << localMoment(2024, 3, 30, 18, 1);
    QTest::newRow("unset means now") << unset << QString() << startMoment();
    AlarmEvent::BrokenDownTime timeOnly = unset;
    timeOnly[AlarmEvent::Hour] = 18;
    timeOnly[AlarmEvent::Min] = 15;
    QTest::newRow("time of day still to come")
        << timeOnly << QString() << localMoment(2024, 3, 30, 18, 15);
    timeOnly[AlarmEvent::Hour] = 8;
    QTest::newRow("time of day passed means tomorrow")
        << timeOnly << QString() << localMoment(2024, 3, 31, 8, 15);
    QTest::newRow("out-of-range month normalises")
        << brokenDown(2024, 13, 5, 10, 0) << QString() << localMoment(2025, 1, 5, 10, 0);
    QTest::newRow("in a named zone")
        << brokenDown(2024, 4, 2, 9, 0) << QStringLiteral("Asia/Tokyo")
        << QDateTime(QDate(2024, 4, 2), QTime(9, 0), QTimeZone("Asia/Tokyo")).toSecsSinceEpoch();
    QTest::newRow("in a named zone with summer time")
        << brokenDown(2024, 4, 2, 9, 0) << QStringLiteral("Europe/Helsinki")
        << QDateTime(QDate(2024, 4, 2), QTime(9, 0), QTimeZone("Europe/Helsinki"))
               .toSecsSinceEpoch();
}

void TestAlarmQueue::triggerFromBrokenDownTime() {
    QFETCH(AlarmEvent::BrokenDownTime, tm);
    QFETCH(QString, zoneName);
    QFETCH(qint64, expected);
    AlarmEvent event = dialogEvent(-1);
    event.alarmTm = tm;
    event.alarmTz = zoneName;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), expected);
    // The given time is kept as it was given.
    QCOMPARE(daemon->queue().event(cookie)->alarmTm, tm);
}

void TestAlarmQueue::refusals_data() {
    QTest::addColumn<AlarmEvent>("event");
    QTest::addColumn<QString>("reason");

    const qint64 later = startMoment() + 600;
    const AlarmEvent valid = dialogEvent(later);
    AlarmEvent event;

    event = valid;
    event.appId.clear();
    QTest::newRow("no application id") << event << QStringLiteral("alarm_appid");

    event = valid;
    event.actions.clear();
    QTest::newRow("no action") << event << QStringLiteral("no action that does anything");

    event = valid;
    event.actions = {button(QString(), 0)};
    QTest::newRow("an action that does nothing")
        << event << QStringLiteral("no action that does anything");

    event = valid;
    event.actions = {callback(ALARM_ACTION_TYPE_DBUS)};
    QTest::newRow("a D-Bus action that never runs")
        << event << QStringLiteral("no action that does anything");

    event = valid;
    event.actions.append(button(QString(), ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE));
    QTest::newRow("a button without a label") << event << QStringLiteral("without a label");

    const AlarmAction call = callback(ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED);
    event = valid;
    event.actions = {call};
    event.actions[0].dbusPath.clear();
    QTest::newRow("a D-Bus action without path")
        << event << QStringLiteral("without path, interface or name");
    event.actions = {call};
    event.actions[0].dbusInterface.clear();
    QTest::newRow("a D-Bus action without interface")
        << event << QStringLiteral("without path, interface or name");
    event.actions = {call};
    event.actions[0].dbusName.clear();
    QTest::newRow("a D-Bus action without name")
        << event << QStringLiteral("without path, interface or name");
    event.actions = {call};
    event.actions[0].dbusPath = QStringLiteral("not/a/path");
    QTest::newRow("a D-Bus action with a bad path")
        << event << QStringLiteral("invalid object path");

    event = valid;
    event.recurSecs = 60;
    event.recurCount = 0;
    QTest::newRow("recurring with count 0") << event << QStringLiteral("recur_count 0");
    event.recurCount = -2;
    QTest::newRow("recurring with count -2") << event << QStringLiteral("recur_count must be");
    event.recurSecs = -60;
    event.recurCount = 1;
    QTest::newRow("negative recurrence") << event << QStringLiteral("recur_secs is negative");

    event = valid;
    AlarmAction exec;
    exec.flags = ALARM_ACTION_TYPE_EXEC | ALARM_ACTION_WHEN_TRIGGERED;
    exec.execCommand = QStringLiteral("touch /tmp/pardo-alarmd-was-here");
    event.actions.append(exec);
    QTest::newRow("a command to run") << event << QStringLiteral("would run a command");
    event = valid;
    event.actions[0].flags |= ALARM_ACTION_TYPE_EXEC;
    QTest::newRow("a button that runs a command") << event << QStringLiteral("would run a command");

    event = valid;
    AlarmAction system = call;
    system.flags |= ALARM_ACTION_DBUS_USE_SYSTEMBUS;
    event.actions.append(system);
    QTest::newRow("a system-bus call") << event << QStringLiteral("system bus");

    event = dialogEvent(startMoment() - 60);
    QTest::newRow("a one-shot event a minute late") << event << QStringLiteral("more than 59 s");

    event = dialogEvent(-1);
    event.alarmTm = brokenDown(2024, 3, 30, 11, 58);
    QTest::newRow("a one-shot broken-down time two minutes ago")
        << event << QStringLiteral("more than 59 s");

    event = dialogEvent(-1);
    event.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    event.alarmTz = QStringLiteral("Mars/Olympus_Mons");
    QTest::newRow("an unknown zone") << event << QStringLiteral("no known time zone");
    event = valid;
    event.alarmTz = QStringLiteral("Mars/Olympus_Mons");
    QTest::newRow("an unknown zone beside alarm_time")
        << event << QStringLiteral("no known time zone");

    // Times and intervals out of range are refused, never wrapped.
    const qint64 int64Max = std::numeric_limits<qint64>::max();
    event = callbackEvent(startMoment() - 100);
    event.recurSecs = 9223372036854773760;
    event.recurCount = -1;
    QTest::newRow("recur_secs near the 64-bit end, started before now")
        << event << QStringLiteral("recur_secs 9223372036854773760 is longer than 10 years");
    event.recurSecs = ALARMD_MAX_INTERVAL_SECS + 1;
    QTest::newRow("recur_secs a second over 10 years")
        << event << QStringLiteral("longer than 10 years");
    event = valid;
    event.snoozeSecs = int64Max;
    QTest::newRow("snooze_secs INT64_MAX") << event << QStringLiteral("snooze_secs");
    event.snoozeSecs = ALARMD_MAX_INTERVAL_SECS + 1;
    QTest::newRow("snooze_secs a second over 10 years") << event << QStringLiteral("snooze_secs");
    event.snoozeSecs = -1;
    QTest::newRow("negative snooze_secs") << event << QStringLiteral("snooze_secs");
    event = valid;
    event.snoozeTotal = -1;
    QTest::newRow("negative snooze_total") << event << QStringLiteral("snooze_total");
    event.snoozeTotal = int64Max;
    QTest::newRow("snooze_total INT64_MAX") << event << QStringLiteral("snooze_total");
    event = dialogEvent(ALARMD_MAX_TIME + 1);
    QTest::newRow("alarm_time after the year 9999") << event << QStringLiteral("alarm_time");
    event = dialogEvent(int64Max);
    QTest::newRow("alarm_time INT64_MAX") << event << QStringLiteral("alarm_time");
    event = dialogEvent(-2);
    QTest::newRow("alarm_time -2") << event << QStringLiteral("alarm_time");
    event = dialogEvent(std::numeric_limits<qint64>::min());
    QTest::newRow("alarm_time INT64_MIN") << event << QStringLiteral("alarm_time");
    event = valid;
    event.recurCount = -2;
    QTest::newRow("one-shot with count -2") << event << QStringLiteral("recur_count must be");

    const int intMax = std::numeric_limits<int>::max();
    const QString noMoment = QStringLiteral("alarm_tm gives no moment");
    const QList<std::pair<const char*, AlarmEvent::BrokenDownTime>> hugeFields = {
        {"alarm_tm year INT_MAX", brokenDown(2024, 4, 2, 9, 0)},
        {"alarm_tm month INT_MAX", brokenDown(2024, 4, 2, 9, 0)},
        {"alarm_tm day INT_MAX", brokenDown(2024, 4, 2, 9, 0)},
        {"alarm_tm hour INT_MAX", brokenDown(2024, 4, 2, 9, 0)},
        // INT_MAX minutes are some 4085 years.
        {"alarm_tm minute INT_MAX and seconds", brokenDown(9000, 4, 2, 9, 0, 30)},
        {"alarm_tm every field INT_MAX", brokenDown(2024, 4, 2, 9, 0)},
        {"alarm_tm in the year 10000", brokenDown(10000, 1, 1, 0, 0)},
        {"alarm_tm before 1970", brokenDown(1960, 4, 2, 9, 0)}};
    const AlarmEvent::TmField hugeField[] = {AlarmEvent::Year, AlarmEvent::Mon, AlarmEvent::MDay,
                                             AlarmEvent::Hour, AlarmEvent::Min};
    for (int i = 0; i < hugeFields.size(); ++i) {
        event = dialogEvent(-1);
        event.recurSecs = 86400;
        event.recurCount = -1;
        event.alarmTm = hugeFields.at(i).second;
        if (i < 5) {
            event.alarmTm[hugeField[i]] = intMax;
        } else if (i == 5) {
            event.alarmTm.fill(intMax);
        }
        QTest::newRow(hugeFields.at(i).first) << event << noMoment;
        event.alarmTz = QStringLiteral("Asia/Tokyo");
        QTest::newRow(
            qPrintable(QLatin1String(hugeFields.at(i).first) + QStringLiteral(" in a named zone")))
            << event << noMoment;
    }

    // Sizes.
    event = valid;
    for (int i = 0; i < ALARMD_MAX_ACTIONS; ++i) {
        event.actions.append(button(QStringLiteral("B%1").arg(i), ALARM_ACTION_WHEN_RESPONDED));
    }
    QTest::newRow("18 actions") << event << QStringLiteral("at most 16");
    event.actions.clear();
    for (int i = 0; i < 10000; ++i) {
        event.actions.append(button(QStringLiteral("B%1").arg(i), ALARM_ACTION_WHEN_RESPONDED));
    }
    QTest::newRow("10,000 buttons") << event << QStringLiteral("at most 16");
    event = valid;
    for (int i = 0; i <= ALARMD_MAX_ATTRS; ++i) {
        event.attrs.insert(QStringLiteral("a%1").arg(i), i);
    }
    QTest::newRow("65 attributes") << event << QStringLiteral("at most 64");
    const QString tooLong(ALARMD_MAX_TEXT_BYTES + 1, QLatin1Char('x'));
    event = valid;
    event.title = tooLong;
    QTest::newRow("title of 4097 bytes") << event << QStringLiteral("title is longer than 4096");
    event = valid;
    // 2049 characters, but 4098 bytes in UTF-8.
    event.message = QString(ALARMD_MAX_TEXT_BYTES / 2 + 1, QChar(0x00fc));
    QTest::newRow("message of 4098 bytes") << event << QStringLiteral("message is longer");
    event = valid;
    event.actions[1].label = tooLong;
    QTest::newRow("label of 4097 bytes") << event << QStringLiteral("actions[1].label is longer");
    event = valid;
    event.attrs.insert(QStringLiteral("note"), tooLong);
    QTest::newRow("attribute text of 4097 bytes") << event << QStringLiteral("is longer");

    // The bus itself and the daemon are no targets.
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    const QString busPath = QStringLiteral("/org/freedesktop/DBus");
    const QString targets = QStringLiteral("targets the bus itself or the alarm daemon");
    event = valid;
    event.actions.append(busCall(bus, busPath, bus, QStringLiteral("ReleaseName"),
                                 {QStringLiteral("org.velmar.alarmd")}));
    QTest::newRow("ReleaseName of the daemon's name") << event << targets;
    event = valid;
    event.actions.append(busCall(bus, busPath, bus, QStringLiteral("RequestName"),
                                 {QStringLiteral("org.velmar.pardoreminder"), uint(0)}));
    QTest::newRow("RequestName of the application's name") << event << targets;
    event = valid;
    event.actions.append(busCall(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                                 QStringLiteral("org.freedesktop.DBus.Local"),
                                 QStringLiteral("Disconnected")));
    QTest::newRow("a signal to org.freedesktop.DBus.Local") << event << targets;
    event = valid;
    event.actions.append(busCall(QString(), QStringLiteral("/x"),
                                 QStringLiteral("org.freedesktop.DBus.Local"),
                                 QStringLiteral("Disconnected")));
    QTest::newRow("org.freedesktop.DBus.Local on another path") << event << targets;
    event = valid;
    event.actions.append(busCall(QLatin1String(BusRecorder::service), QStringLiteral("/x"),
                                 QStringLiteral("org.freedesktop.DBus.Properties"),
                                 QStringLiteral("Set")));
    QTest::newRow("an interface below org.freedesktop.DBus") << event << targets;
    event = valid;
    event.actions.append(busCall(QLatin1String(BusRecorder::service),
                                 QStringLiteral("/org/freedesktop/DBus/Local"),
                                 QStringLiteral("org.example.Any"), QStringLiteral("Any")));
    QTest::newRow("a path below /org/freedesktop/DBus") << event << targets;
    event = valid;
    event.actions.append(
        busCall(QStringLiteral("org.velmar.alarmd"), QStringLiteral("/org/velmar/alarmd"),
                QStringLiteral("org.velmar.alarmd"), QStringLiteral("del_event"), {qlonglong(1)}));
    QTest::newRow("a call to the daemon") << event << targets;
    event = valid;
    event.actions.append(busCall(QLatin1String(BusRecorder::service), QStringLiteral("/x"),
                                 QStringLiteral("org.velmar.alarmd"), QStringLiteral("Any")));
    QTest::newRow("the daemon's interface") << event << targets;
    event = valid;
    event.actions.append(busCall(QLatin1String(BusRecorder::service),
                                 QStringLiteral("/org/velmar/alarmd/x"),
                                 QStringLiteral("org.example.Any"), QStringLiteral("Any")));
    QTest::newRow("a path below the daemon's") << event << targets;
    event = valid;
    event.actions[1].flags |= ALARM_ACTION_TYPE_DBUS;
    event.actions[1].dbusService = QStringLiteral("org.velmar.alarmd");
    event.actions[1].dbusPath = QStringLiteral("/org/velmar/alarmd");
    event.actions[1].dbusInterface = QStringLiteral("org.velmar.alarmd");
    event.actions[1].dbusName = QStringLiteral("respond");
    QTest::newRow("a button calling the daemon") << event << targets;

    // Sounds: a theme name, or an audio file where sounds are kept.
    const QString sounds = soundsFolder();
    const QStringList badSounds = {
        QStringLiteral("/etc/shadow"),
        QStringLiteral("/dev/zero"),
        QStringLiteral("/etc/passwd"),
        sounds + QStringLiteral("/../elsewhere/outside.wav"),
        sounds + QStringLiteral("/link.wav"),
        sounds + QStringLiteral("/passwd.wav"),
        sounds + QStringLiteral("/notes.txt"),
        sounds + QStringLiteral("/missing.wav"),
        sounds,
        QStringLiteral("/usr/share/sounds/../../../etc/passwd"),
        QStringLiteral("sounds/ring.wav"),
        QStringLiteral("../ring.wav"),
        QStringLiteral("bell ring"),
    };
    for (const QString& sound : badSounds) {
        event = valid;
        event.sound = sound;
        QTest::newRow(qPrintable(QStringLiteral("sound ") + sound))
            << event << QStringLiteral("sound \"");
    }
}

void TestAlarmQueue::refusals() {
    QFETCH(AlarmEvent, event);
    QFETCH(QString, reason);
    QString refusal;
    QCOMPARE(daemon->queue().add(event, &refusal), qint64(0));
    QVERIFY2(refusal.contains(reason), qPrintable(refusal));
    QCOMPARE(daemon->queue().size(), 0);
    QCOMPARE(clock->wakeTime(), qint64(-1));
}

void TestAlarmQueue::refusedDictionaries_data() {
    QTest::addColumn<QVariantMap>("dictionary");

    QVariantMap valid{{QStringLiteral("alarm_appid"), QStringLiteral("test")},
                      {QStringLiteral("alarm_time"), qlonglong(startMoment() + 600)}};
    // Built like a real client's, through the bus types.
    const QVariantMap stop{{QStringLiteral("flags"), uint(ALARM_ACTION_WHEN_RESPONDED)},
                           {QStringLiteral("label"), QStringLiteral("Stop")}};
    valid.insert(QStringLiteral("actions"), QVariant::fromValue(QList<QVariantMap>{stop}));
    QVariantMap map = valid;

    map.insert(QStringLiteral("title"), 42);
    QTest::newRow("a number for a text") << map;
    map = valid;
    map.insert(QStringLiteral("alarm_time"), QStringLiteral("tomorrow"));
    QTest::newRow("a text for a time") << map;
    map = valid;
    map.insert(QStringLiteral("titel"), QStringLiteral("typo"));
    QTest::newRow("an unknown key") << map;
    map = valid;
    map.insert(QStringLiteral("alarm_tm"), QVariant::fromValue(QList<int>{0, 0, 9}));
    QTest::newRow("a short broken-down time") << map;
    map = valid;
    QVariantMap badAction = stop;
    badAction.insert(QStringLiteral("dbus_args"),
                     QVariantList{QVariant::fromValue(QList<int>{1, 2})});
    map.insert(QStringLiteral("actions"), QVariant::fromValue(QList<QVariantMap>{badAction}));
    QTest::newRow("an array as an argument") << map;
    map = valid;
    map.insert(QStringLiteral("recur_count"), qlonglong(1) << 40);
    QTest::newRow("a count beyond 32 bits") << map;

    // Each key has its one type, even where the value would fit another.
    const QList<std::pair<const char*, QVariant>> wrongTypes = {
        {"alarm_time", int(startMoment() + 600)},
        {"alarm_time", uint(startMoment() + 600)},
        {"alarm_time", qulonglong(startMoment() + 600)},
        {"recur_secs", int(0)},
        {"snooze_secs", uint(60)},
        {"snooze_total", int(0)},
        {"recur_count", uint(1)},
        {"recur_count", QVariant::fromValue(short(1))},
        {"response", qlonglong(-1)},
        {"flags", int(0)},
        {"flags", qlonglong(0)},
        {"cookie", QStringLiteral("7")},
        {"trigger", int(0)},
    };
    for (const auto& [key, value] : wrongTypes) {
        map = valid;
        map.insert(QLatin1String(key), value);
        QTest::newRow(qPrintable(
            QStringLiteral("%1 as %2").arg(QLatin1String(key), QLatin1String(value.typeName()))))
            << map;
    }
    map = valid;
    QVariantMap intFlags = stop;
    intFlags.insert(QStringLiteral("flags"), int(ALARM_ACTION_WHEN_RESPONDED));
    map.insert(QStringLiteral("actions"), QVariant::fromValue(QList<QVariantMap>{intFlags}));
    QTest::newRow("action flags as int") << map;
    map = valid;
    map.insert(QStringLiteral("attrs"), QVariantMap{{QStringLiteral("task_id"), uint(3)}});
    QTest::newRow("an attribute as uint") << map;
    map = valid;
    map.insert(QStringLiteral("attrs"),
               QVariantMap{{QStringLiteral("task_id"), QVariant::fromValue(short(3))}});
    QTest::newRow("an attribute as int16") << map;
}

void TestAlarmQueue::refusedDictionaries() {
    QFETCH(QVariantMap, dictionary);
    // The daemon object lives in this process, on its session connection
    // without the well-known name; a second connection plays the client.
    QDBusConnection client =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("client"));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QDBusConnection::sessionBus().baseService(), QString::fromLatin1(AlarmDaemon::objectPath),
        QStringLiteral("org.velmar.alarmd"), QStringLiteral("add_event"));
    call.setArguments({dictionary});
    QDBusPendingCall pending = client.asyncCall(call, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(pending.isFinished(), 10000);
    const QDBusMessage reply = pending.reply();
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments().value(0).toLongLong(), qlonglong(0));
    QCOMPARE(daemon->queue().size(), 0);

    // The same without the fault is taken.
    call.setArguments(
        {QVariantMap{{QStringLiteral("alarm_appid"), QStringLiteral("test")},
                     {QStringLiteral("alarm_time"), qlonglong(startMoment() + 600)},
                     {QStringLiteral("actions"),
                      QVariant::fromValue(QList<QVariantMap>{
                          {{QStringLiteral("flags"), uint(ALARM_ACTION_WHEN_RESPONDED)},
                           {QStringLiteral("label"), QStringLiteral("Stop")}}})}}});
    pending = client.asyncCall(call, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(pending.isFinished(), 10000);
    QVERIFY(pending.reply().arguments().value(0).toLongLong() > 0);
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
}

void TestAlarmQueue::acceptedAtTheBounds_data() {
    QTest::addColumn<AlarmEvent>("event");
    QTest::addColumn<qint64>("trigger");

    const qint64 later = startMoment() + 600;
    const AlarmEvent valid = dialogEvent(later);
    AlarmEvent event = dialogEvent(ALARMD_MAX_TIME);
    QTest::newRow("alarm_time at the end of the year 9999") << event << qint64(ALARMD_MAX_TIME);
    event = callbackEvent(startMoment() - 100);
    event.recurSecs = ALARMD_MAX_INTERVAL_SECS;
    event.recurCount = -1;
    QTest::newRow("recur_secs of 10 years, started before now")
        << event << startMoment() - 100 + ALARMD_MAX_INTERVAL_SECS;
    event = valid;
    event.snoozeSecs = ALARMD_MAX_INTERVAL_SECS;
    event.snoozeTotal = ALARMD_MAX_TIME;
    QTest::newRow("snooze of 10 years") << event << later;
    event = dialogEvent(-1);
    event.alarmTm = brokenDown(2024, 3 + 12 * 100, 400, 24 * 10, 60 * 24);
    // 100 years of months, 399 days, 10 days of hours and a day of minutes past 1 March.
    QTest::newRow("alarm_tm fields carried far")
        << event
        << QDateTime(QDate(2124, 3, 1).addDays(399 + 10 + 1), QTime(0, 0)).toSecsSinceEpoch();
    event = valid;
    while (event.actions.size() < ALARMD_MAX_ACTIONS) {
        event.actions.append(button(QStringLiteral("B"), ALARM_ACTION_WHEN_RESPONDED));
    }
    for (int i = 0; i < ALARMD_MAX_ATTRS; ++i) {
        event.attrs.insert(QStringLiteral("a%1").arg(i), i);
    }
    QTest::newRow("16 actions, 64 attributes") << event << later;
    event = valid;
    event.title = QString(ALARMD_MAX_TEXT_BYTES, QLatin1Char('t'));
    event.message = QString(ALARMD_MAX_TEXT_BYTES / 2, QChar(0x00fc));
    // Four bytes each in UTF-8, two UTF-16 units.
    event.actions[0].label = QStringLiteral("\U0001F600").repeated(ALARMD_MAX_TEXT_BYTES / 4);
    QTest::newRow("texts of 4096 bytes") << event << later;
    for (const QString& sound :
         {QStringLiteral("alarm-clock_elapsed.2"), soundsFolder() + QStringLiteral("/ring.wav"),
          soundsFolder() + QStringLiteral("/alias.wav"),
          soundsFolder() + QStringLiteral("/../sounds/ring.wav")}) {
        event = valid;
        event.sound = sound;
        QTest::newRow(qPrintable(QStringLiteral("sound ") + sound)) << event << later;
    }
    event = valid;
    event.actions.append(busCall(
        QStringLiteral("org.velmar.pardoreminder"), QStringLiteral("/org/velmar/pardoreminder"),
        QStringLiteral("org.velmar.pardoreminder"), QStringLiteral("alarm_triggered"), {3, 1}));
    event.actions.append(busCall(QLatin1String(BusRecorder::service), QStringLiteral("/x"),
                                 QStringLiteral("org.freedesktop.DBusX"), QStringLiteral("Any")));
    event.actions.append(busCall(QStringLiteral("org.velmar.alarmdx"),
                                 QStringLiteral("/org/velmar/alarmdx"),
                                 QStringLiteral("org.example.Any"), QStringLiteral("Any")));
    QTest::newRow("other services with similar names") << event << later;
}

void TestAlarmQueue::acceptedAtTheBounds() {
    QFETCH(AlarmEvent, event);
    QFETCH(qint64, trigger);
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), trigger);
}

void TestAlarmQueue::snoozeEndsByTheLatestMoment() {
    const qint64 due = ALARMD_MAX_TIME - 100;
    AlarmEvent event = dialogEvent(due);
    event.snoozeSecs = ALARMD_MAX_INTERVAL_SECS;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    clock->advanceTo(due);
    QVERIFY(daemon->queue().isShowing(cookie));
    QVERIFY(daemon->queue().respond(cookie, 1)); // Snooze
    const std::optional<AlarmEvent> snoozed = daemon->queue().event(cookie);
    QVERIFY(snoozed);
    QCOMPARE(snoozed->trigger, qint64(ALARMD_MAX_TIME));
    QCOMPARE(snoozed->snoozeTotal, qint64(ALARMD_MAX_INTERVAL_SECS));
    QCOMPARE(clock->wakeTime(), qint64(ALARMD_MAX_TIME));
    clock->advanceTo(ALARMD_MAX_TIME);
    QVERIFY(daemon->queue().isShowing(cookie));
}

void TestAlarmQueue::seriesEndsAtTheLatestMoment_data() {
    QTest::addColumn<bool>("missed");
    QTest::newRow("served") << false;
    QTest::newRow("missed") << true;
}

void TestAlarmQueue::seriesEndsAtTheLatestMoment() {
    QFETCH(bool, missed);
    // The next time of the series would lie after the year 9999.
    const qint64 due = ALARMD_MAX_TIME - 1000;
    AlarmEvent event = dialogEvent(due);
    event.recurSecs = ALARMD_MAX_INTERVAL_SECS;
    event.recurCount = -1;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    if (missed) {
        clock->jump(ALARMD_MAX_TIME - 10);
        QCOMPARE(triggered.count(), 0);
    } else {
        clock->advanceTo(due);
        QCOMPARE(triggered.count(), 1);
        QVERIFY(daemon->queue().respond(cookie, 0));
    }
    QVERIFY(!daemon->queue().event(cookie));
    QCOMPARE(clock->wakeTime(), qint64(-1));
}

void TestAlarmQueue::lessThanAMinuteLateTriggersAtOnce() {
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    const qint64 cookie = add(dialogEvent(startMoment() - 59));
    QVERIFY(cookie > 0);
    QCOMPARE(triggered.count(), 0); // not before the reply has gone out
    QTRY_COMPARE(triggered.count(), 1);
    QVERIFY(daemon->queue().isShowing(cookie));
    QVERIFY(daemon->ringing().contains(cookie));
}

void TestAlarmQueue::triggeredActionsCallWithTheirArguments() {
    AlarmEvent event = callbackEvent(startMoment() + 60);
    event.actions[0].dbusArgs = {QVariant(int(-3)), QVariant(uint(4)), QVariant(qlonglong(1) << 40),
                                 QVariant(true),    QVariant(2.5),     QStringLiteral("täst")};
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    clock->advance(59);
    QCoreApplication::processEvents();
    QCOMPARE(recorder->callsTo(recorderPath).size(), 0);
    clock->advance(1);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    const BusRecorder::Call call = recorder->callsTo(recorderPath).first();
    QCOMPARE(call.interface, QLatin1String(BusRecorder::interfaceName));
    QCOMPARE(call.member, QStringLiteral("alarm_triggered"));
    QCOMPARE(call.arguments, event.actions[0].dbusArgs);
    QCOMPARE(call.arguments.at(2).metaType(), QMetaType::fromType<qlonglong>());
    // A one-shot event without buttons is done once it ran.
    QVERIFY(!daemon->queue().event(cookie));
}

void TestAlarmQueue::sleepsUntilTheEarliestEvent() {
    std::mt19937 random(5);
    qint64 earliest = std::numeric_limits<qint64>::max();
    for (int i = 0; i < 100; ++i) {
        const qint64 when = startMoment() + 120 + qint64(random() % 100000);
        earliest = std::min(earliest, when);
        QVERIFY(add(callbackEvent(when)) > 0);
    }
    QCOMPARE(clock->wakeTime(), earliest);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    clock->advanceTo(earliest - 1);
    QCoreApplication::processEvents();
    QCOMPARE(triggered.count(), 0);
    QCOMPARE(clock->wakeTime(), earliest);
    clock->advanceTo(earliest);
    QVERIFY(triggered.count() >= 1);
    QVERIFY(clock->wakeTime() > earliest);
    QCOMPARE(daemon->queue().size(), 100 - triggered.count());
}

void TestAlarmQueue::earlyWakeUpAsksAgain() {
    const qint64 when = startMoment() + 60;
    QVERIFY(add(callbackEvent(when)) > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    clock->advanceTo(when - 1);
    clock->wakeEarly();
    QCOMPARE(triggered.count(), 0);
    QCOMPARE(clock->wakeTime(), when);
    clock->advanceTo(when);
    QCOMPARE(triggered.count(), 1);
}

void TestAlarmQueue::recurrenceForever() {
    AlarmEvent event = callbackEvent(startMoment() + 60);
    event.recurSecs = 60;
    event.recurCount = -1;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    for (int i = 1; i <= 10; ++i) {
        clock->advance(60);
        QCOMPARE(triggered.count(), i);
        QCOMPARE(triggerOf(cookie), startMoment() + 60 * (i + 1));
        QCOMPARE(daemon->queue().event(cookie)->recurCount, -1);
    }
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 10);
}

void TestAlarmQueue::recurrenceCount_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("withDialog");
    QTest::newRow("once, callback") << 1 << false;
    QTest::newRow("three times, callback") << 3 << false;
    QTest::newRow("three times, dialog") << 3 << true;
}

void TestAlarmQueue::recurrenceCount() {
    QFETCH(int, count);
    QFETCH(bool, withDialog);
    AlarmEvent event =
        withDialog ? dialogEvent(startMoment() + 300) : callbackEvent(startMoment() + 300);
    event.recurSecs = 300;
    event.recurCount = count;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    for (int i = 1; i <= count + 2; ++i) {
        clock->advance(300);
        if (withDialog && daemon->queue().isShowing(cookie)) {
            QVERIFY(daemon->ringing().contains(cookie));
            QVERIFY(daemon->queue().respond(cookie, 0));
        }
        if (i < count) {
            QCOMPARE(daemon->queue().event(cookie)->recurCount, count - i);
            QCOMPARE(triggerOf(cookie), startMoment() + 300 * (i + 1));
        }
    }
    QCOMPARE(triggered.count(), count);
    QVERIFY(!daemon->queue().event(cookie));
    QCOMPARE(clock->wakeTime(), qint64(-1));
    if (!withDialog) {
        QTRY_COMPARE(recorder->callsTo(recorderPath).size(), count);
    }
}

void TestAlarmQueue::recurringPastStartKeepsItsCount() {
    AlarmEvent event = callbackEvent(startMoment() - 150);
    event.recurSecs = 60;
    event.recurCount = 3;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), startMoment() + 30);
    QCOMPARE(daemon->queue().event(cookie)->recurCount, 3);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    clock->advance(30);
    clock->advance(60);
    clock->advance(60);
    clock->advance(60);
    QCOMPARE(triggered.count(), 3);
    QVERIFY(!daemon->queue().event(cookie));
}

void TestAlarmQueue::snooze_data() {
    QTest::addColumn<qint64>("snoozeSecs");
    QTest::addColumn<qint64>("interval");
    QTest::newRow("default") << qint64(0) << qint64(600);
    QTest::newRow("custom") << qint64(300) << qint64(300);
    QTest::newRow("floor") << qint64(3) << qint64(10);
}

void TestAlarmQueue::snooze() {
    QFETCH(qint64, snoozeSecs);
    QFETCH(qint64, interval);
    const qint64 first = startMoment() + 60;
    AlarmEvent event = dialogEvent(first);
    event.actions.prepend(callback(ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED));
    event.snoozeSecs = snoozeSecs;
    event.recurSecs = 3600;
    event.recurCount = 2;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);

    clock->advance(60);
    QVERIFY(daemon->ringing().contains(cookie));
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), 1);
    QVERIFY(daemon->queue().respond(cookie, 2)); // Snooze
    QVERIFY(!daemon->ringing().contains(cookie));
    std::optional<AlarmEvent> snoozed = daemon->queue().event(cookie);
    QCOMPARE(snoozed->trigger, first + interval);
    QCOMPARE(snoozed->snoozeTotal, interval);
    QCOMPARE(snoozed->response, 2);
    QCOMPARE(snoozed->recurCount, 2);
    QCOMPARE(clock->wakeTime(), first + interval);

    clock->advance(interval - 1);
    QVERIFY(!daemon->ringing().contains(cookie));
    clock->advance(1);
    QVERIFY(daemon->ringing().contains(cookie));
    // Showing it again runs no triggered action a second time.
    QCoreApplication::processEvents();
    QCOMPARE(recorder->callsTo(recorderPath).size(), 1);

    QVERIFY(daemon->queue().respond(cookie, 1)); // Stop
    const std::optional<AlarmEvent> served = daemon->queue().event(cookie);
    QCOMPARE(served->recurCount, 1);
    QCOMPARE(served->trigger, first + 3600);
    QCOMPARE(served->snoozeTotal, qint64(0));
}

void TestAlarmQueue::missed_data() {
    QTest::addColumn<quint32>("flags");
    QTest::addColumn<qint64>("recurSecs");
    QTest::addColumn<int>("recurCount");
    QTest::addColumn<bool>("clockSet"); // else the machine slept through
    QTest::addColumn<qint64>("awake");  // seconds after the start
    QTest::addColumn<int>("triggers");
    QTest::addColumn<qint64>("next"); // seconds after the start, -1 for gone
    QTest::addColumn<int>("countLeft");

    const quint32 delayed = ALARM_EVENT_RUN_DELAYED;
    // The event is first due 60 s after the start.
    QTest::newRow("one-shot is dropped") << 0u << 0ll << 0 << true << 3630ll << 0 << -1ll << 0;
    QTest::newRow("one-shot is dropped after a sleep")
        << 0u << 0ll << 0 << false << 3630ll << 0 << -1ll << 0;
    QTest::newRow("one-shot runs delayed")
        << delayed << 0ll << 0 << true << 3630ll << 1 << -1ll << 0;
    QTest::newRow("one-shot runs delayed after a sleep")
        << delayed << 0ll << 0 << false << 3630ll << 1 << -1ll << 0;
    QTest::newRow("59 s late is not missed") << 0u << 0ll << 0 << false << 119ll << 1 << -1ll << 0;
    QTest::newRow("recurring moves to its next time")
        << 0u << 600ll << -1 << true << 3630ll << 0 << 3660ll << -1;
    QTest::newRow("recurring runs delayed once")
        << delayed << 600ll << -1 << false << 3630ll << 1 << 3660ll << -1;
    QTest::newRow("counted: the missed ones are used up")
        << 0u << 600ll << 3 << true << 760ll << 0 << 1260ll << 1;
    QTest::newRow("counted: delayed runs once for all missed")
        << delayed << 600ll << 3 << true << 760ll << 1 << 1260ll << 1;
    QTest::newRow("counted: series ended while away")
        << 0u << 600ll << 2 << true << 3630ll << 0 << -1ll << 0;
    QTest::newRow("counted: delayed runs its last one")
        << delayed << 600ll << 2 << true << 3630ll << 1 << -1ll << 0;
}

void TestAlarmQueue::missed() {
    QFETCH(quint32, flags);
    QFETCH(qint64, recurSecs);
    QFETCH(int, recurCount);
    QFETCH(bool, clockSet);
    QFETCH(qint64, awake);
    QFETCH(int, triggers);
    QFETCH(qint64, next);
    QFETCH(int, countLeft);

    AlarmEvent event = callbackEvent(startMoment() + 60);
    event.flags = flags;
    event.recurSecs = recurSecs;
    event.recurCount = recurCount;
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QSignalSpy triggered(&daemon->queue(), &AlarmQueue::triggered);
    if (clockSet) {
        clock->jump(startMoment() + awake);
    } else {
        clock->advanceTo(startMoment() + awake);
    }
    QCOMPARE(triggered.count(), triggers);
    QTRY_COMPARE(recorder->callsTo(recorderPath).size(), triggers);
    const std::optional<AlarmEvent> after = daemon->queue().event(cookie);
    if (next < 0) {
        QVERIFY(!after);
    } else {
        QVERIFY(after);
        QCOMPARE(after->trigger, startMoment() + next);
        QCOMPARE(after->recurCount, countLeft);
        QCOMPARE(clock->wakeTime(), startMoment() + next);
    }
}

void TestAlarmQueue::deletingClosesItsDialog() {
    const qint64 cookie = add(dialogEvent(startMoment() + 60));
    clock->advance(60);
    QVERIFY(daemon->ringing().contains(cookie));
    QVERIFY(daemon->queue().remove(cookie));
    QVERIFY(!daemon->ringing().contains(cookie));
    QVERIFY(!daemon->queue().isShowing(cookie));
    QVERIFY(!daemon->queue().remove(cookie));
}

void TestAlarmQueue::severalDueEventsEachGetADialog() {
    QList<qint64> cookies;
    for (int i = 0; i < 3; ++i) {
        AlarmEvent event = dialogEvent(startMoment() + 60);
        event.message = QStringLiteral("Alarm %1").arg(i);
        cookies << add(event);
    }
    clock->advance(60);
    QCOMPARE(daemon->ringing().size(), 3);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(daemon->ringing().contains(cookies[i]));
        QCOMPARE(AlarmDaemon::ringOf(*daemon->queue().event(cookies[i])).message,
                 QStringLiteral("Alarm %1").arg(i));
    }
    QVERIFY(daemon->queue().respond(cookies[1], 0));
    QCOMPARE(daemon->ringing().size(), 2);
    QVERIFY(daemon->ringing().contains(cookies[0]));
    QVERIFY(daemon->ringing().contains(cookies[2]));
}

void TestAlarmQueue::restartRestoresTheQueue() {
    AlarmEvent event = dialogEvent(-1);
    event.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    event.recurSecs = 86400;
    event.recurCount = 5;
    event.attrs.insert(QStringLiteral("task_id"), 12);
    event.attrs.insert(QStringLiteral("note"), QStringLiteral("kept"));
    event.attrs.insert(QStringLiteral("since"), qlonglong(1700000000));
    const qint64 recurring = add(event);
    AlarmEvent withArgs = callbackEvent(startMoment() + 7200);
    withArgs.actions[0].dbusArgs = {QVariant(uchar(200)), QVariant(short(-5)),
                                    QVariant(ushort(9)),  QVariant(qulonglong(1) << 63),
                                    QVariant(false),      QVariant(0.125),
                                    QStringLiteral("ü")};
    const qint64 callbackCookie = add(withArgs);
    const qint64 snoozed = add(dialogEvent(startMoment() + 60));
    clock->advance(60);
    QVERIFY(daemon->queue().respond(snoozed, 1));

    QMap<qint64, QVariantMap> before;
    for (qint64 cookie : daemon->queue().query(0, 0, 0, 0, QString())) {
        before.insert(cookie, EventCodec::toDBus(*daemon->queue().event(cookie)));
    }
    QCOMPARE(before.keys(), (QList<qint64>{recurring, callbackCookie, snoozed}));

    daemon.reset();
    startDaemon();
    QCOMPARE(daemon->queue().size(), 3);
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        const std::optional<AlarmEvent> restored = daemon->queue().event(it.key());
        QVERIFY(restored);
        QCOMPARE(EventCodec::toDBus(*restored), it.value());
    }
    QCOMPARE(daemon->queue().event(callbackCookie)->actions, withArgs.actions);
    QCOMPARE(clock->wakeTime(), startMoment() + 60 + 600);
    // And it goes on as before: the snooze ends.
    clock->advance(600);
    QVERIFY(daemon->ringing().contains(snoozed));
}

void TestAlarmQueue::cookiesAreNeverReused() {
    const qint64 first = add(dialogEvent(startMoment() + 600));
    const qint64 second = add(dialogEvent(startMoment() + 600));
    QVERIFY(daemon->queue().remove(second));
    daemon.reset();
    startDaemon();
    const qint64 third = add(dialogEvent(startMoment() + 600));
    QVERIFY(first > 0);
    QVERIFY(second > first);
    QVERIFY(third > second);
}

void TestAlarmQueue::zoneChangeKeepsTheWallClockTime() {
    const qint64 start = clock->now();
    clock->changeZone("Europe/Berlin");
    AlarmEvent wall = dialogEvent(-1);
    wall.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    wall.recurSecs = 86400;
    wall.recurCount = -1;
    const qint64 wallCookie = add(wall);
    const qint64 absolute = add(dialogEvent(start + 7200));
    AlarmEvent zoned = dialogEvent(-1);
    zoned.alarmTm = brokenDown(2024, 4, 2, 9, 0);
    zoned.alarmTz = QStringLiteral("Asia/Tokyo");
    const qint64 zonedCookie = add(zoned);
    const QTimeZone berlin("Europe/Berlin");
    const QTimeZone newYork("America/New_York");
    QCOMPARE(triggerOf(wallCookie),
             QDateTime(QDate(2024, 4, 2), QTime(9, 0), berlin).toSecsSinceEpoch());
    const qint64 zonedTrigger = triggerOf(zonedCookie);

    clock->changeZone("America/New_York");
    QCOMPARE(triggerOf(wallCookie),
             QDateTime(QDate(2024, 4, 2), QTime(9, 0), newYork).toSecsSinceEpoch());
    QCOMPARE(triggerOf(absolute), start + 7200);
    QCOMPARE(triggerOf(zonedCookie), zonedTrigger);
    QCOMPARE(clock->wakeTime(), start + 7200);

    // The next occurrences keep 09:00 in the new zone.
    clock->advanceTo(triggerOf(wallCookie));
    QVERIFY(daemon->queue().respond(wallCookie, 0));
    QCOMPARE(triggerOf(wallCookie),
             QDateTime(QDate(2024, 4, 3), QTime(9, 0), newYork).toSecsSinceEpoch());
}

void TestAlarmQueue::queryFilters() {
    const qint64 a = add(dialogEvent(startMoment() + 300));
    AlarmEvent other = dialogEvent(startMoment() + 100);
    other.appId = QStringLiteral("other");
    other.flags = ALARM_EVENT_RUN_DELAYED;
    const qint64 b = add(other);
    AlarmEvent late = callbackEvent(startMoment() + 900);
    late.flags = ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON;
    const qint64 c = add(late);
    AlarmQueue& queue = daemon->queue();
    QCOMPARE(queue.query(0, 0, 0, 0, QString()), (QList<qint64>{b, a, c}));
    QCOMPARE(queue.query(startMoment() + 300, 0, 0, 0, QString()), (QList<qint64>{a, c}));
    QCOMPARE(queue.query(0, startMoment() + 300, 0, 0, QString()), (QList<qint64>{b, a}));
    QCOMPARE(queue.query(startMoment() + 301, startMoment() + 899, 0, 0, QString()),
             QList<qint64>{});
    QCOMPARE(queue.query(0, 0, ALARM_EVENT_RUN_DELAYED, ALARM_EVENT_RUN_DELAYED, QString()),
             (QList<qint64>{b, c}));
    QCOMPARE(queue.query(0, 0, ALARM_EVENT_RUN_DELAYED, 0, QString()), (QList<qint64>{a}));
    QCOMPARE(queue.query(0, 0, ALARM_EVENT_SHOW_ICON | ALARM_EVENT_RUN_DELAYED,
                         ALARM_EVENT_RUN_DELAYED, QString()),
             (QList<qint64>{b}));
    QCOMPARE(queue.query(0, 0, 0, 0, QStringLiteral("test")), (QList<qint64>{a, c}));
    QCOMPARE(queue.query(0, 0, 0, 0, QStringLiteral("nobody")), QList<qint64>{});
}

PARDO_DBUS_TEST_MAIN(TestAlarmQueue)
#include "tst_alarmqueue.moc"
