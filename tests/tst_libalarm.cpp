#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusVirtualObject>
#include <QTemporaryFile>

#include <alarmd/libalarm.h>

#include <cstring>
#include <future>
#include <limits>
#include <vector>

#include <unistd.h>

#include "libalarmtestcase.h"
#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

// Stands in for the daemon and counts the events that reach it.
class CountingDaemon : public QDBusVirtualObject {
public:
    int adds = 0;

    QString introspect(const QString&) const override { return QString(); }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() != QLatin1String("add_event")) {
            return false;
        }
        ++adds;
        connection.send(message.createReply(QVariant(qlonglong(42))));
        return true;
    }
};

// stderr of this process, kept while the object lives.
class StandardErrorCapture {
public:
    StandardErrorCapture() {
        file_.open();
        fflush(stderr);
        saved_ = dup(STDERR_FILENO);
        dup2(file_.handle(), STDERR_FILENO);
    }
    ~StandardErrorCapture() { restore(); }
    QByteArray text() {
        restore();
        file_.seek(0);
        return file_.readAll();
    }

private:
    void restore() {
        if (saved_ >= 0) {
            fflush(stderr);
            dup2(saved_, STDERR_FILENO);
            close(saved_);
            saved_ = -1;
        }
    }
    QTemporaryFile file_;
    int saved_ = -1;
};

} // namespace

Q_DECLARE_METATYPE(alarm_event_t*)

// Events as the client library builds them, and the bounds it checks before it calls.
class TestLibAlarm : public LibAlarmTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void createGivesTheDocumentedDefaults();
    void stringsAreCopiedAndNeverNull();
    void setTimeCopiesTheWholeTime();
    void addActionsAppendsZeroedActions();
    void attributes();
    void dbusArguments_data();
    void dbusArguments();
    void badArgumentsLeaveTheOldOnes();
    void boundsAreCheckedBeforeCalling_data();
    void boundsAreCheckedBeforeCalling();
};

void TestLibAlarm::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(writeServiceFile(PARDO_ALARMD_PATH));
    now = time(nullptr);
}

void TestLibAlarm::cleanupTestCase() {
    QVERIFY(stopDaemon());
}

void TestLibAlarm::createGivesTheDocumentedDefaults() {
    Event event(alarm_event_create());
    QVERIFY(event);
    QCOMPARE(event->cookie, cookie_t(0));
    QCOMPARE(event->trigger, time_t(0));
    QCOMPARE(event->alarm_time, time_t(-1));
    QCOMPARE(event->alarm_tm.tm_sec, 0);
    for (int field : {event->alarm_tm.tm_min, event->alarm_tm.tm_hour, event->alarm_tm.tm_mday,
                      event->alarm_tm.tm_mon, event->alarm_tm.tm_year, event->alarm_tm.tm_wday,
                      event->alarm_tm.tm_yday, event->alarm_tm.tm_isdst}) {
        QCOMPARE(field, -1);
    }
    QCOMPARE(event->response, -1);
    QCOMPARE(event->flags, 0u);
    QCOMPARE(event->recur_secs, time_t(0));
    QCOMPARE(event->recur_count, 0);
    QCOMPARE(event->snooze_secs, time_t(0));
    QCOMPARE(event->snooze_total, time_t(0));
    QVERIFY(!event->title && !event->message && !event->sound && !event->icon &&
            !event->alarm_appid && !event->alarm_tz);
    QCOMPARE(event->action_cnt, size_t(0));
    QVERIFY(!event->action_tab);
    QCOMPARE(event->attr_cnt, size_t(0));
    alarm_event_delete(nullptr);
}

void TestLibAlarm::stringsAreCopiedAndNeverNull() {
    Event event(alarm_event_create());
    char buffer[] = "Tea";
    alarm_event_set_title(event.get(), buffer);
    buffer[0] = 'S';
    QCOMPARE(text(alarm_event_get_title(event.get())), QStringLiteral("Tea"));
    alarm_event_set_title(event.get(), alarm_event_get_title(event.get()));
    QCOMPARE(text(alarm_event_get_title(event.get())), QStringLiteral("Tea"));
    alarm_event_set_title(event.get(), nullptr);
    QVERIFY(!event->title);
    QCOMPARE(text(alarm_event_get_title(event.get())), QString());
    QCOMPARE(text(alarm_event_get_message(event.get())), QString());
    QCOMPARE(text(alarm_action_get_label(nullptr)), QString());
}

void TestLibAlarm::setTimeCopiesTheWholeTime() {
    Event event(alarm_event_create());
    event->alarm_time = 12345;
    tm given{};
    given.tm_year = 124;
    given.tm_mon = 3;
    given.tm_mday = 2;
    given.tm_hour = 9;
    given.tm_min = 30;
    given.tm_sec = 15;
    given.tm_wday = 2;
    given.tm_yday = 92;
    given.tm_isdst = 1;
    alarm_event_set_time(event.get(), &given);
    QCOMPARE(event->alarm_time, time_t(-1));
    QVERIFY(std::memcmp(&event->alarm_tm, &given, sizeof given) == 0);
    tm back{};
    alarm_event_get_time(event.get(), &back);
    QVERIFY(std::memcmp(&back, &given, sizeof given) == 0);
}

void TestLibAlarm::addActionsAppendsZeroedActions() {
    Event event(alarm_event_create());
    QVERIFY(!alarm_event_add_actions(event.get(), 0));
    alarm_action_t* first = alarm_event_add_actions(event.get(), 2);
    QVERIFY(first);
    QCOMPARE(alarm_event_get_action_count(event.get()), size_t(2));
    QCOMPARE(first, alarm_event_get_action(event.get(), 0));
    alarm_action_set_label(&first[1], "second");
    alarm_action_t* third = alarm_event_add_actions(event.get(), 1);
    QCOMPARE(third, alarm_event_get_action(event.get(), 2));
    QCOMPARE(third->flags, 0u);
    QVERIFY(!third->label && !third->dbus_service && !third->dbus_path && !third->dbus_interface &&
            !third->dbus_name && !third->exec_command && !third->dbus_args);
    QCOMPARE(text(alarm_event_get_action(event.get(), 1)->label), QStringLiteral("second"));
    QVERIFY(!alarm_event_get_action(event.get(), 3));
    QVERIFY(!alarm_event_get_action(event.get(), -1));
}

void TestLibAlarm::attributes() {
    Event event(alarm_event_create());
    QCOMPARE(alarm_event_get_attr_int(event.get(), "task_id", 0), 0);
    QCOMPARE(alarm_event_get_attr_int(event.get(), "task_id", -7), -7);
    alarm_event_set_attr_int(event.get(), "task_id", 42);
    QCOMPARE(alarm_event_get_attr_int(event.get(), "task_id", 0), 42);
    alarm_event_set_attr_int(event.get(), "task_id", 43);
    QCOMPARE(alarm_event_get_attr_int(event.get(), "task_id", 0), 43);
    QCOMPARE(event->attr_cnt, size_t(1));
    alarm_event_set_attr_string(event.get(), "task_id", "text now");
    QCOMPARE(alarm_event_get_attr_int(event.get(), "task_id", 5), 5);
    QCOMPARE(text(alarm_event_get_attr_string(event.get(), "task_id", "")),
             QStringLiteral("text now"));
    alarm_event_set_attr_time(event.get(), "since", time_t(1700000000));
    QCOMPARE(alarm_event_get_attr_time(event.get(), "since", 0), time_t(1700000000));
    QVERIFY(alarm_event_has_attr(event.get(), "since"));
    QVERIFY(!alarm_event_has_attr(event.get(), "until"));
    QCOMPARE(event->attr_cnt, size_t(2));
}

void TestLibAlarm::dbusArguments_data() {
    QTest::addColumn<int>("type");
    QTest::newRow("BYTE") << int(DBUS_TYPE_BYTE);
    QTest::newRow("BOOLEAN") << int(DBUS_TYPE_BOOLEAN);
    QTest::newRow("INT16") << int(DBUS_TYPE_INT16);
    QTest::newRow("UINT16") << int(DBUS_TYPE_UINT16);
    QTest::newRow("INT32") << int(DBUS_TYPE_INT32);
    QTest::newRow("UINT32") << int(DBUS_TYPE_UINT32);
    QTest::newRow("INT64") << int(DBUS_TYPE_INT64);
    QTest::newRow("UINT64") << int(DBUS_TYPE_UINT64);
    QTest::newRow("DOUBLE") << int(DBUS_TYPE_DOUBLE);
    QTest::newRow("STRING") << int(DBUS_TYPE_STRING);
}

void TestLibAlarm::dbusArguments() {
    QFETCH(int, type);
    Event event(alarm_event_create());
    alarm_action_t* action = alarm_event_add_actions(event.get(), 1);
    unsigned char byte = 200;
    uint32_t boolean = 1; // dbus_bool_t
    int16_t i16 = -300;
    uint16_t u16 = 60000;
    int32_t i32 = -70000;
    uint32_t u32 = 4000000000u;
    int64_t i64 = -(int64_t(1) << 40);
    uint64_t u64 = uint64_t(1) << 63;
    double dbl = -2.75;
    const char* str = "grüß";
    int32_t after = 9;
    const std::vector<std::pair<int, void*>> values = {
        {DBUS_TYPE_BYTE, &byte},  {DBUS_TYPE_BOOLEAN, &boolean}, {DBUS_TYPE_INT16, &i16},
        {DBUS_TYPE_UINT16, &u16}, {DBUS_TYPE_INT32, &i32},       {DBUS_TYPE_UINT32, &u32},
        {DBUS_TYPE_INT64, &i64},  {DBUS_TYPE_UINT64, &u64},      {DBUS_TYPE_DOUBLE, &dbl},
        {DBUS_TYPE_STRING, &str}};
    void* value = nullptr;
    for (const auto& entry : values) {
        if (entry.first == type) {
            value = entry.second;
        }
    }
    QCOMPARE(
        alarm_action_set_dbus_args(action, type, value, DBUS_TYPE_INT32, &after, DBUS_TYPE_INVALID),
        0);
    QCOMPARE(alarm_action_get_dbus_args_count(action), size_t(2));
    const alarm_dbus_arg_t* arg = alarm_action_get_dbus_arg(action, 0);
    QCOMPARE(arg->type, type);
    switch (type) {
    case DBUS_TYPE_BYTE:
        QCOMPARE(arg->value.byte_value, byte);
        break;
    case DBUS_TYPE_BOOLEAN:
        QCOMPARE(arg->value.bool_value, 1u);
        break;
    case DBUS_TYPE_INT16:
        QCOMPARE(arg->value.int16_value, i16);
        break;
    case DBUS_TYPE_UINT16:
        QCOMPARE(arg->value.uint16_value, u16);
        break;
    case DBUS_TYPE_INT32:
        QCOMPARE(arg->value.int32_value, i32);
        break;
    case DBUS_TYPE_UINT32:
        QCOMPARE(arg->value.uint32_value, u32);
        break;
    case DBUS_TYPE_INT64:
        QCOMPARE(arg->value.int64_value, i64);
        break;
    case DBUS_TYPE_UINT64:
        QCOMPARE(arg->value.uint64_value, u64);
        break;
    case DBUS_TYPE_DOUBLE:
        QCOMPARE(arg->value.double_value, dbl);
        break;
    case DBUS_TYPE_STRING:
        QCOMPARE(text(arg->value.string_value), QStringLiteral("grüß"));
        QVERIFY(arg->value.string_value != str);
        break;
    }
    QCOMPARE(alarm_action_get_dbus_arg(action, 1)->value.int32_value, 9);
    QCOMPARE(action->dbus_args[2].type, int(DBUS_TYPE_INVALID));
    QVERIFY(!alarm_action_get_dbus_arg(action, 2));
}

void TestLibAlarm::badArgumentsLeaveTheOldOnes() {
    Event event(alarm_event_create());
    alarm_action_t* action = alarm_event_add_actions(event.get(), 1);
    int32_t task = 4;
    int32_t alarm = 1;
    QCOMPARE(alarm_action_set_dbus_args(action, DBUS_TYPE_INT32, &task, DBUS_TYPE_INT32, &alarm,
                                        DBUS_TYPE_INVALID),
             0);
    int32_t other = 8;
    QCOMPARE(alarm_action_set_dbus_args(action, DBUS_TYPE_INT32, &other, DBUS_TYPE_ARRAY, &other,
                                        DBUS_TYPE_INVALID),
             -1);
    const char* none = nullptr;
    QCOMPARE(alarm_action_set_dbus_args(action, DBUS_TYPE_STRING, &none, DBUS_TYPE_INVALID), -1);
    QCOMPARE(alarm_action_get_dbus_args_count(action), size_t(2));
    QCOMPARE(alarm_action_get_dbus_arg(action, 0)->value.int32_value, 4);
    QCOMPARE(alarm_action_get_dbus_arg(action, 1)->value.int32_value, 1);
    QCOMPARE(alarm_action_set_dbus_args(action, DBUS_TYPE_INVALID), 0);
    QCOMPARE(alarm_action_get_dbus_args_count(action), size_t(0));
}

void TestLibAlarm::boundsAreCheckedBeforeCalling_data() {
    QTest::addColumn<alarm_event_t*>("event");
    QTest::addColumn<QString>("reason"); // empty: the event goes to the daemon

    const auto make = [this] {
        return dialogEvent("bounds", now + 600).release();
    };
    const QByteArray longText(ALARMD_MAX_TEXT_BYTES + 1, 'x');
    alarm_event_t* event = make();
    QTest::newRow("within the bounds") << event << QString();
    event = make();
    alarm_event_add_actions(event, ALARMD_MAX_ACTIONS);
    QTest::newRow("17 actions") << event << QStringLiteral("17 actions; at most 16");
    event = make();
    for (int i = 0; i <= ALARMD_MAX_ATTRS; ++i) {
        alarm_event_set_attr_int(event, QByteArray::number(i).constData(), i);
    }
    QTest::newRow("65 attributes") << event << QStringLiteral("65 attributes; at most 64");
    event = make();
    alarm_event_set_title(event, longText.constData());
    QTest::newRow("long title") << event << QStringLiteral("title is longer than 4096 bytes");
    event = make();
    alarm_action_set_label(alarm_event_get_action(event, 0), longText.constData());
    QTest::newRow("long label") << event << QStringLiteral("longer than 4096 bytes");
    event = make();
    event->recur_secs = 9223372036854773760;
    event->recur_count = -1;
    QTest::newRow("recur_secs near the 64-bit end") << event << QStringLiteral("recur_secs");
    event = make();
    event->snooze_secs = std::numeric_limits<time_t>::max();
    QTest::newRow("snooze_secs INT64_MAX") << event << QStringLiteral("snooze_secs");
    event = make();
    event->snooze_total = -1;
    QTest::newRow("negative snooze_total") << event << QStringLiteral("snooze_total");
    event = make();
    event->alarm_time = ALARMD_MAX_TIME + 1;
    QTest::newRow("after the year 9999") << event << QStringLiteral("alarm_time");
    event = make();
    event->alarm_time = -2;
    QTest::newRow("alarm_time -2") << event << QStringLiteral("alarm_time");
    event = make();
    event->recur_count = -2;
    QTest::newRow("recur_count -2") << event << QStringLiteral("recur_count");
    event = make();
    alarm_action_t* release = alarm_event_add_actions(event, 1);
    release->flags = ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED;
    alarm_action_set_dbus_service(release, "org.freedesktop.DBus");
    alarm_action_set_dbus_path(release, "/org/freedesktop/DBus");
    alarm_action_set_dbus_interface(release, "org.freedesktop.DBus");
    alarm_action_set_dbus_name(release, "ReleaseName");
    QTest::newRow("ReleaseName") << event << QStringLiteral("targets the bus itself");
}

void TestLibAlarm::boundsAreCheckedBeforeCalling() {
    QFETCH(alarm_event_t*, event);
    QFETCH(QString, reason);
    const Event owned(event);
    // A stand-in owns the daemon's name, so that every call that goes out is seen.
    QVERIFY(stopDaemon());
    const QString connectionName = QStringLiteral("counting-daemon");
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
    CountingDaemon counting;
    QVERIFY(bus.registerVirtualObject(QStringLiteral("/org/velmar/alarmd"), &counting));
    QVERIFY(bus.registerService(daemonName));

    StandardErrorCapture capture;
    // The library blocks while it calls; this thread keeps serving the stand-in.
    std::future<cookie_t> added =
        std::async(std::launch::async, [event] { return alarmd_event_add(event); });
    QTRY_VERIFY(added.wait_for(std::chrono::seconds(0)) == std::future_status::ready);
    const cookie_t cookie = added.get();
    const QList<QByteArray> lines = capture.text().split('\n');

    bus.unregisterService(daemonName);
    bus.unregisterObject(QStringLiteral("/org/velmar/alarmd"));
    QDBusConnection::disconnectFromBus(connectionName);

    const auto fromLibrary = [](const QByteArray& line) {
        return line.startsWith("libalarm:");
    };
    if (reason.isEmpty()) {
        QCOMPARE(cookie, cookie_t(42));
        QCOMPARE(counting.adds, 1);
        QCOMPARE(std::count_if(lines.cbegin(), lines.cend(), fromLibrary), 0);
    } else {
        QCOMPARE(cookie, cookie_t(0));
        QCOMPARE(counting.adds, 0);
        // Said once, with the reason.
        const auto said = std::find_if(lines.cbegin(), lines.cend(), fromLibrary);
        QVERIFY(said != lines.cend());
        QVERIFY2(QString::fromUtf8(*said).contains(reason), said->constData());
        QCOMPARE(std::count_if(lines.cbegin(), lines.cend(), fromLibrary), 1);
    }
}

PARDO_DBUS_TEST_MAIN(TestLibAlarm)
#include "tst_libalarm.moc"
