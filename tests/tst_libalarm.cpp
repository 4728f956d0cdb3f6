#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryFile>

#include <alarmd/libalarm.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <limits>
#include <vector>

#include <unistd.h>

#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

const QString daemonName = QStringLiteral("org.velmar.alarmd");

QString serviceFile() {
    // PARDO_DBUS_TEST_MAIN starts the private bus in root()/bus.
    return TestEnvironment::current()->root() + QStringLiteral("/bus/services/") + daemonName +
           QStringLiteral(".service");
}

bool writeServiceFile() {
    QFile file(serviceFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    file.write("[D-BUS Service]\nName=org.velmar.alarmd\nExec=" PARDO_ALARMD_PATH "\n");
    return true;
}

bool daemonRunning() {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(daemonName);
}

uint daemonPid() {
    return QDBusConnection::sessionBus().interface()->servicePid(daemonName).value();
}

// Ends the daemon the bus started and waits until its name is free.
bool stopDaemon() {
    if (!daemonRunning()) {
        return true;
    }
    const uint pid = daemonPid();
    if (pid == 0 || ::kill(pid_t(pid), SIGTERM) != 0) {
        return false;
    }
    return QTest::qWaitFor([] { return !daemonRunning(); }, 10000);
}

struct EventDeleter {
    void operator()(alarm_event_t* event) const { alarm_event_delete(event); }
};
using Event = std::unique_ptr<alarm_event_t, EventDeleter>;

struct CookiesDeleter {
    void operator()(cookie_t* cookies) const { free(cookies); }
};
using Cookies = std::unique_ptr<cookie_t, CookiesDeleter>;

QList<cookie_t> toList(const cookie_t* cookies) {
    QList<cookie_t> list;
    for (const cookie_t* c = cookies; c && *c; ++c) {
        list << *c;
    }
    return list;
}

QList<cookie_t> query(time_t first, time_t last, int32_t mask, int32_t flags, const char* appid) {
    Cookies cookies(alarmd_event_query(first, last, mask, flags, appid));
    return cookies ? toList(cookies.get()) : QList<cookie_t>{cookie_t(-1)};
}

Event dialogEvent(const char* appid, time_t when) {
    Event event(alarm_event_create());
    alarm_event_set_alarm_appid(event.get(), appid);
    alarm_event_set_title(event.get(), "Test");
    event->alarm_time = when;
    alarm_action_t* stop = alarm_event_add_actions(event.get(), 1);
    alarm_action_set_label(stop, "Stop");
    stop->flags = ALARM_ACTION_WHEN_RESPONDED;
    return event;
}

QString text(const char* value) {
    return QString::fromUtf8(value);
}

// Compares two actions field by field, arguments by type and value.
void compareActions(const alarm_action_t* got, const alarm_action_t* want) {
    QCOMPARE(got->flags, want->flags);
    QCOMPARE(text(alarm_action_get_label(got)), text(alarm_action_get_label(want)));
    QCOMPARE(text(alarm_action_get_exec_command(got)), text(alarm_action_get_exec_command(want)));
    QCOMPARE(text(alarm_action_get_dbus_interface(got)),
             text(alarm_action_get_dbus_interface(want)));
    QCOMPARE(text(alarm_action_get_dbus_service(got)), text(alarm_action_get_dbus_service(want)));
    QCOMPARE(text(alarm_action_get_dbus_path(got)), text(alarm_action_get_dbus_path(want)));
    QCOMPARE(text(alarm_action_get_dbus_name(got)), text(alarm_action_get_dbus_name(want)));
    QCOMPARE(alarm_action_get_dbus_args_count(got), alarm_action_get_dbus_args_count(want));
    for (int i = 0; i < int(alarm_action_get_dbus_args_count(want)); ++i) {
        const alarm_dbus_arg_t* a = alarm_action_get_dbus_arg(got, i);
        const alarm_dbus_arg_t* b = alarm_action_get_dbus_arg(want, i);
        QCOMPARE(a->type, b->type);
        switch (a->type) {
        case DBUS_TYPE_STRING:
            QCOMPARE(text(a->value.string_value), text(b->value.string_value));
            break;
        case DBUS_TYPE_DOUBLE:
            QCOMPARE(a->value.double_value, b->value.double_value);
            break;
        case DBUS_TYPE_BYTE:
            QCOMPARE(a->value.byte_value, b->value.byte_value);
            break;
        case DBUS_TYPE_BOOLEAN:
            QCOMPARE(a->value.bool_value, b->value.bool_value);
            break;
        case DBUS_TYPE_INT16:
            QCOMPARE(a->value.int16_value, b->value.int16_value);
            break;
        case DBUS_TYPE_UINT16:
            QCOMPARE(a->value.uint16_value, b->value.uint16_value);
            break;
        case DBUS_TYPE_INT32:
            QCOMPARE(a->value.int32_value, b->value.int32_value);
            break;
        case DBUS_TYPE_UINT32:
            QCOMPARE(a->value.uint32_value, b->value.uint32_value);
            break;
        case DBUS_TYPE_INT64:
            QCOMPARE(a->value.int64_value, b->value.int64_value);
            break;
        case DBUS_TYPE_UINT64:
            QCOMPARE(a->value.uint64_value, b->value.uint64_value);
            break;
        default:
            QFAIL("unexpected argument type");
        }
    }
}

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

class TestLibAlarm : public QObject {
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
    void activationStartsTheDaemon();
    void everyFieldRoundTrips();
    void brokenDownTimeRoundTrips();
    void applicationEventsRoundTrip();
    void deleteAndGet();
    void refusedEventGivesZero();
    void textThatIsNotUtf8IsRefusedHere();
    void queryFiltersByTimeFlagsAndApplication();
    void secondDaemonExitsWithTwo();
    void noBusFailsAtOnce();
    void deadDaemonFailsAtOnce();
    void stoppedDaemonTimesOut();
    void boundsAreCheckedBeforeCalling_data();
    void boundsAreCheckedBeforeCalling();

private:
    time_t now = 0;
};

void TestLibAlarm::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(writeServiceFile());
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

void TestLibAlarm::activationStartsTheDaemon() {
    QVERIFY(!daemonRunning());
    Event event = dialogEvent("activation", now + 3600);
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    QVERIFY(daemonRunning());
    QCOMPARE(alarmd_event_del(cookie), 0);
}

void TestLibAlarm::everyFieldRoundTrips() {
    Event event(alarm_event_create());
    alarm_event_set_alarm_appid(event.get(), "round-trip");
    alarm_event_set_title(event.get(), "Title ✓");
    alarm_event_set_message(event.get(), "Line one\nline two — ünïcödé");
    alarm_event_set_sound(event.get(), "/usr/share/sounds/freedesktop/stereo/bell.oga");
    alarm_event_set_icon(event.get(), "alarm-symbolic");
    alarm_event_set_alarm_tz(event.get(), "Europe/Helsinki");
    event->alarm_time = now + 7200;
    event->flags = ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON | ALARM_EVENT_BOOT;
    event->recur_secs = 900;
    event->recur_count = 12;
    event->snooze_secs = 120;
    event->snooze_total = 0;
    event->response = -1;
    alarm_event_set_attr_int(event.get(), "task_id", 77);
    alarm_event_set_attr_string(event.get(), "note", "a note");
    alarm_event_set_attr_time(event.get(), "created", now);

    alarm_action_t* actions = alarm_event_add_actions(event.get(), 4);
    alarm_action_set_label(&actions[0], "Stop");
    actions[0].flags = ALARM_ACTION_WHEN_RESPONDED;
    alarm_action_set_label(&actions[1], "Snooze");
    actions[1].flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE;
    alarm_action_set_label(&actions[2], "Open");
    actions[2].flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_DBUS;
    alarm_action_set_dbus_service(&actions[2], "org.example.App");
    alarm_action_set_dbus_path(&actions[2], "/org/example/App");
    alarm_action_set_dbus_interface(&actions[2], "org.example.App");
    alarm_action_set_dbus_name(&actions[2], "open");
    alarm_action_set_exec_command(&actions[2], "");
    actions[3].flags =
        ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_DELETED | ALARM_ACTION_DBUS_USE_ACTIVATION;
    alarm_action_set_dbus_path(&actions[3], "/org/example/Signal");
    alarm_action_set_dbus_interface(&actions[3], "org.example.Signal");
    alarm_action_set_dbus_name(&actions[3], "gone");
    unsigned char byte = 7;
    uint32_t boolean = 0; // dbus_bool_t
    int16_t i16 = -2;
    uint16_t u16 = 3;
    int32_t i32 = -4;
    uint32_t u32 = 5;
    int64_t i64 = -(int64_t(1) << 50);
    uint64_t u64 = ~uint64_t(0);
    double dbl = 1e-3;
    const char* str = "strings too";
    QCOMPARE(alarm_action_set_dbus_args(
                 &actions[2], DBUS_TYPE_BYTE, &byte, DBUS_TYPE_BOOLEAN, &boolean, DBUS_TYPE_INT16,
                 &i16, DBUS_TYPE_UINT16, &u16, DBUS_TYPE_INT32, &i32, DBUS_TYPE_UINT32, &u32,
                 DBUS_TYPE_INT64, &i64, DBUS_TYPE_UINT64, &u64, DBUS_TYPE_DOUBLE, &dbl,
                 DBUS_TYPE_STRING, &str, DBUS_TYPE_INVALID),
             0);

    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    Event back(alarmd_event_get(cookie));
    QVERIFY(back);
    QCOMPARE(back->cookie, cookie);
    QCOMPARE(back->trigger, now + 7200);
    QCOMPARE(text(back->alarm_appid), QStringLiteral("round-trip"));
    QCOMPARE(text(back->title), QStringLiteral("Title ✓"));
    QCOMPARE(text(back->message), QStringLiteral("Line one\nline two — ünïcödé"));
    QCOMPARE(text(back->sound), text(event->sound));
    QCOMPARE(text(back->icon), QStringLiteral("alarm-symbolic"));
    QCOMPARE(text(back->alarm_tz), QStringLiteral("Europe/Helsinki"));
    QCOMPARE(back->alarm_time, event->alarm_time);
    QVERIFY(std::memcmp(&back->alarm_tm, &event->alarm_tm, 9 * sizeof(int)) == 0);
    QCOMPARE(back->flags, event->flags);
    QCOMPARE(back->recur_secs, time_t(900));
    QCOMPARE(back->recur_count, 12);
    QCOMPARE(back->snooze_secs, time_t(120));
    QCOMPARE(back->snooze_total, time_t(0));
    QCOMPARE(back->response, -1);
    QCOMPARE(alarm_event_get_attr_int(back.get(), "task_id", 0), 77);
    QCOMPARE(text(alarm_event_get_attr_string(back.get(), "note", "")), QStringLiteral("a note"));
    QCOMPARE(alarm_event_get_attr_time(back.get(), "created", 0), now);
    QCOMPARE(back->attr_cnt, size_t(3));
    QCOMPARE(alarm_event_get_action_count(back.get()), size_t(4));
    for (int i = 0; i < 4; ++i) {
        compareActions(alarm_event_get_action(back.get(), i), &actions[i]);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    // Unset texts come back unset; empty ones empty.
    QVERIFY(!alarm_event_get_action(back.get(), 0)->dbus_service);
    QVERIFY(alarm_event_get_action(back.get(), 2)->exec_command);
    QCOMPARE(alarmd_event_del(cookie), 0);
}

void TestLibAlarm::brokenDownTimeRoundTrips() {
    Event event = dialogEvent("round-trip", -1);
    const time_t tomorrow = now + 86400;
    tm local{};
    localtime_r(&tomorrow, &local);
    local.tm_sec = 0;
    local.tm_isdst = -1;
    tm given = local;
    const time_t expected = mktime(&local);
    alarm_event_set_time(event.get(), &given);
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    Event back(alarmd_event_get(cookie));
    QVERIFY(back);
    QCOMPARE(back->alarm_time, time_t(-1));
    QCOMPARE(back->trigger, expected);
    for (auto field : {&tm::tm_sec, &tm::tm_min, &tm::tm_hour, &tm::tm_mday, &tm::tm_mon,
                       &tm::tm_year, &tm::tm_wday, &tm::tm_yday, &tm::tm_isdst}) {
        QCOMPARE(back->alarm_tm.*field, given.*field);
    }
    QCOMPARE(alarmd_event_del(cookie), 0);
}

void TestLibAlarm::applicationEventsRoundTrip() {
    // The two kinds of events the reminder places, built as it builds them.
    Event dialog(alarm_event_create());
    alarm_event_set_alarm_appid(dialog.get(), "PARDO");
    alarm_event_set_title(dialog.get(), "PARDO");
    alarm_event_set_attr_int(dialog.get(), "task_id", 3);
    alarm_event_set_message(dialog.get(), "Tea - green");
    dialog->snooze_secs = 600;
    dialog->flags |= ALARM_EVENT_RUN_DELAYED;
    dialog->alarm_time = now + 600;
    alarm_action_t* action = alarm_event_add_actions(dialog.get(), 1);
    alarm_action_set_label(action, "Stop");
    action->flags = 0x40;
    action = alarm_event_add_actions(dialog.get(), 1);
    alarm_action_set_label(action, "Snooze");
    action->flags = 0x41;
    action = alarm_event_add_actions(dialog.get(), 1);
    alarm_action_set_label(action, "PARDO");
    alarm_action_set_dbus_service(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_path(action, "/org/velmar/pardoreminder");
    alarm_action_set_dbus_interface(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_name(action, "top_application");
    action->flags = 0x42;

    Event callback(alarm_event_create());
    alarm_event_set_alarm_appid(callback.get(), "PARDO");
    alarm_event_set_title(callback.get(), "PARDO");
    alarm_event_set_attr_int(callback.get(), "task_id", 3);
    callback->flags |= ALARM_EVENT_RUN_DELAYED;
    callback->alarm_time = now + 86400 * 7;
    action = alarm_event_add_actions(callback.get(), 1);
    alarm_action_set_dbus_service(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_path(action, "/org/velmar/pardoreminder");
    alarm_action_set_dbus_interface(action, "org.velmar.pardoreminder");
    alarm_action_set_dbus_name(action, "alarm_triggered");
    int taskId = 3;
    int alarmNo = 1;
    alarm_action_set_dbus_args(action, DBUS_TYPE_INT32, &taskId, DBUS_TYPE_INT32, &alarmNo,
                               DBUS_TYPE_INVALID);
    action->flags = 0x1022;

    for (const Event* event : {&dialog, &callback}) {
        const cookie_t cookie = alarmd_event_add(event->get());
        QVERIFY(cookie > 0);
        Event back(alarmd_event_get(cookie));
        QVERIFY(back);
        QCOMPARE(alarm_event_get_attr_int(back.get(), "task_id", 0), 3);
        QCOMPARE(back->flags, unsigned(ALARM_EVENT_RUN_DELAYED));
        QCOMPARE(back->snooze_secs, (*event)->snooze_secs);
        QCOMPARE(text(back->message), text((*event)->message));
        QCOMPARE(back->action_cnt, (*event)->action_cnt);
        for (int i = 0; i < int(back->action_cnt); ++i) {
            compareActions(alarm_event_get_action(back.get(), i),
                           alarm_event_get_action(event->get(), i));
        }
        QCOMPARE(alarmd_event_del(cookie), 0);
    }
}

void TestLibAlarm::deleteAndGet() {
    Event event = dialogEvent("delete", now + 600);
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    QCOMPARE(alarmd_event_del(cookie), 0);
    QCOMPARE(alarmd_event_del(cookie), -1);
    QVERIFY(!alarmd_event_get(cookie));
    QVERIFY(!alarmd_event_get(0));
}

void TestLibAlarm::refusedEventGivesZero() {
    Event event = dialogEvent(nullptr, now + 600);
    QCOMPARE(alarmd_event_add(event.get()), cookie_t(0));
    event = dialogEvent("refused", now - 3600);
    QCOMPARE(alarmd_event_add(event.get()), cookie_t(0));
    QCOMPARE(query(0, 0, 0, 0, "refused"), QList<cookie_t>{});
    QCOMPARE(alarmd_event_add(nullptr), cookie_t(0));
}

void TestLibAlarm::textThatIsNotUtf8IsRefusedHere() {
    Event event = dialogEvent("latin1", now + 600);
    alarm_event_set_message(event.get(), "caf\xe9");
    QCOMPARE(alarmd_event_add(event.get()), cookie_t(0));
    alarm_event_set_message(event.get(), "café");
    const cookie_t cookie = alarmd_event_add(event.get());
    QVERIFY(cookie > 0);
    QCOMPARE(alarmd_event_del(cookie), 0);
    QCOMPARE(query(0, 0, 0, 0, "caf\xe9"), QList<cookie_t>{cookie_t(-1)});
}

void TestLibAlarm::queryFiltersByTimeFlagsAndApplication() {
    const time_t base = now + 3600;
    Event a = dialogEvent("query-a", base + 300);
    Event b = dialogEvent("query-b", base + 100);
    b->flags = ALARM_EVENT_RUN_DELAYED;
    Event c = dialogEvent("query-a", base + 900);
    c->flags = ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON;
    const cookie_t ca = alarmd_event_add(a.get());
    const cookie_t cb = alarmd_event_add(b.get());
    const cookie_t cc = alarmd_event_add(c.get());
    QVERIFY(ca > 0 && cb > 0 && cc > 0);

    const QList<cookie_t> all = query(0, 0, 0, 0, "");
    QCOMPARE(all, (QList<cookie_t>{cb, ca, cc}));
    QCOMPARE(query(0, 0, 0, 0, nullptr), all);
    QCOMPARE(query(-5, -5, 0, 0, ""), all);
    QCOMPARE(query(base + 300, 0, 0, 0, ""), (QList<cookie_t>{ca, cc}));
    QCOMPARE(query(0, base + 300, 0, 0, ""), (QList<cookie_t>{cb, ca}));
    QCOMPARE(query(base + 101, base + 899, 0, 0, ""), QList<cookie_t>{ca});
    QCOMPARE(query(base + 301, base + 899, 0, 0, ""), QList<cookie_t>{});
    QCOMPARE(query(0, 0, ALARM_EVENT_RUN_DELAYED, ALARM_EVENT_RUN_DELAYED, ""),
             (QList<cookie_t>{cb, cc}));
    QCOMPARE(query(0, 0, ALARM_EVENT_RUN_DELAYED, 0, ""), QList<cookie_t>{ca});
    QCOMPARE(
        query(0, 0, ALARM_EVENT_RUN_DELAYED | ALARM_EVENT_SHOW_ICON, ALARM_EVENT_RUN_DELAYED, ""),
        QList<cookie_t>{cb});
    QCOMPARE(query(0, 0, 0, 0, "query-a"), (QList<cookie_t>{ca, cc}));
    QCOMPARE(query(0, 0, ALARM_EVENT_SHOW_ICON, ALARM_EVENT_SHOW_ICON, "query-a"),
             QList<cookie_t>{cc});
    QCOMPARE(query(0, 0, 0, 0, "nobody"), QList<cookie_t>{});
    Cookies empty(alarmd_event_query(0, 0, 0, 0, "nobody"));
    QVERIFY(empty);
    QCOMPARE(empty.get()[0], cookie_t(0));
    for (cookie_t cookie : all) {
        QCOMPARE(alarmd_event_del(cookie), 0);
    }
}

void TestLibAlarm::secondDaemonExitsWithTwo() {
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(cookies);
    QVERIFY(daemonRunning());
    QProcess second;
    second.start(QStringLiteral(PARDO_ALARMD_PATH), {});
    QVERIFY(second.waitForFinished(20000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 2);
    QVERIFY(daemonRunning());
}

void TestLibAlarm::noBusFailsAtOnce() {
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("DBUS_SESSION_BUS_ADDRESS",
            "unix:path=" + TestEnvironment::current()->root().toUtf8() + "/no-bus-here");
    Event event = dialogEvent("nobus", now + 600);
    QElapsedTimer timer;
    timer.start();
    const cookie_t cookie = alarmd_event_add(event.get());
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    alarm_event_t* fetched = alarmd_event_get(1);
    const int deleted = alarmd_event_del(1);
    const qint64 elapsed = timer.elapsed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QCOMPARE(cookie, cookie_t(0));
    QVERIFY(!cookies);
    QVERIFY(!fetched);
    QCOMPARE(deleted, -1);
    QVERIFY2(elapsed < 2000, qPrintable(QString::number(elapsed)));
    // With the bus back, so is the library.
    Cookies again(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(again);
}

void TestLibAlarm::deadDaemonFailsAtOnce() {
    QVERIFY(QFile::rename(serviceFile(), serviceFile() + QStringLiteral(".off")));
    QVERIFY(stopDaemon());
    Event event = dialogEvent("dead", now + 600);
    QElapsedTimer timer;
    timer.start();
    const cookie_t cookie = alarmd_event_add(event.get());
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    alarm_event_t* fetched = alarmd_event_get(1);
    const int deleted = alarmd_event_del(1);
    const qint64 elapsed = timer.elapsed();
    QVERIFY(QFile::rename(serviceFile() + QStringLiteral(".off"), serviceFile()));
    QCOMPARE(cookie, cookie_t(0));
    QVERIFY(!cookies);
    QVERIFY(!fetched);
    QCOMPARE(deleted, -1);
    // No waiting for a timeout when nobody can answer.
    QVERIFY2(elapsed < 2000, qPrintable(QString::number(elapsed)));
}

void TestLibAlarm::stoppedDaemonTimesOut() {
    Cookies started(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(started);
    const pid_t pid = pid_t(daemonPid());
    QVERIFY(pid > 0);
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    QElapsedTimer timer;
    timer.start();
    Cookies cookies(alarmd_event_query(0, 0, 0, 0, ""));
    const qint64 elapsed = timer.elapsed();
    QCOMPARE(::kill(pid, SIGCONT), 0);
    QVERIFY(!cookies);
    // The call gives up after the library's few seconds instead of hanging.
    QVERIFY2(elapsed >= 3000 && elapsed < 15000, qPrintable(QString::number(elapsed)));
    Cookies again(alarmd_event_query(0, 0, 0, 0, ""));
    QVERIFY(again);
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
