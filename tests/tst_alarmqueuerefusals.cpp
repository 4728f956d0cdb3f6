#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <alarmd/libalarm.h>

#include "alarmdaemon.h"
#include "alarmevent.h"
#include "alarmqueue.h"
#include "busrecorder.h"
#include "manualclock.h"
#include "pardotest.h"
#include "queuetestcase.h"

// Events the queue refuses, and those it takes at the very bounds.
class TestAlarmQueueRefusals : public QueueTestCase {
    Q_OBJECT
private Q_SLOTS:
    void refusals_data();
    void refusals();
    void refusedDictionaries_data();
    void refusedDictionaries();
    void acceptedAtTheBounds_data();
    void acceptedAtTheBounds();
};

void TestAlarmQueueRefusals::refusals_data() {
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

void TestAlarmQueueRefusals::refusals() {
    QFETCH(AlarmEvent, event);
    QFETCH(QString, reason);
    QString refusal;
    QCOMPARE(daemon->queue().add(event, &refusal), qint64(0));
    QVERIFY2(refusal.contains(reason), qPrintable(refusal));
    QCOMPARE(daemon->queue().size(), 0);
    QCOMPARE(clock->wakeTime(), qint64(-1));
}

void TestAlarmQueueRefusals::refusedDictionaries_data() {
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

void TestAlarmQueueRefusals::refusedDictionaries() {
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

void TestAlarmQueueRefusals::acceptedAtTheBounds_data() {
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

void TestAlarmQueueRefusals::acceptedAtTheBounds() {
    QFETCH(AlarmEvent, event);
    QFETCH(qint64, trigger);
    const qint64 cookie = add(event);
    QVERIFY(cookie > 0);
    QCOMPARE(triggerOf(cookie), trigger);
}

PARDO_DBUS_TEST_MAIN(TestAlarmQueueRefusals)
#include "tst_alarmqueuerefusals.moc"
