// Rates of the client library's calls against the real pardo-alarmd on a
// private bus, with 10,000 events queued: add, get, query (all and filtered)
// and delete. Every add and delete is committed to disk before its answer.
#include <QCoreApplication>
#include <QElapsedTimer>

#include <alarmd/libalarm.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <vector>

#include "alarmdfixture.h"

namespace {

const int queued = 10000;

alarm_event_t* newEvent(int i, time_t base) {
    alarm_event_t* event = alarm_event_create();
    // One in ten is "PARDO", for the filtered query.
    alarm_event_set_alarm_appid(event, i % 10 == 0 ? "PARDO" : "bench");
    alarm_event_set_title(event, "PARDO");
    alarm_event_set_message(event, "Benchmark task - with a description");
    alarm_event_set_attr_int(event, "task_id", i);
    event->alarm_time = base + i * 60;
    event->flags = ALARM_EVENT_RUN_DELAYED;
    event->snooze_secs = 600;
    const char* labels[] = {"Stop", "Snooze", "PARDO"};
    const unsigned flags[] = {0x40, 0x41, 0x42};
    for (int b = 0; b < 3; ++b) {
        alarm_action_t* action = alarm_event_add_actions(event, 1);
        alarm_action_set_label(action, labels[b]);
        action->flags = flags[b];
        if (b == 2) {
            alarm_action_set_dbus_service(action, "org.velmar.pardoreminder");
            alarm_action_set_dbus_path(action, "/org/velmar/pardoreminder");
            alarm_action_set_dbus_interface(action, "org.velmar.pardoreminder");
            alarm_action_set_dbus_name(action, "top_application");
        }
    }
    return event;
}

struct Row {
    const char* operation;
    int calls;
    double totalMs;
};

void print(const std::vector<Row>& rows) {
    std::printf("%-34s %8s %10s %12s %10s\n", "operation (10,000 queued)", "calls", "total ms",
                "per call us", "calls/s");
    for (const Row& row : rows) {
        std::printf("%-34s %8d %10.1f %12.1f %10.0f\n", row.operation, row.calls, row.totalMs,
                    row.totalMs * 1000.0 / row.calls, row.calls / (row.totalMs / 1000.0));
    }
}

// Runs `call` `count` times; false when any call failed.
bool timed(std::vector<Row>& rows, const char* name, int count,
           const std::function<bool(int)>& call) {
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        if (!call(i)) {
            std::fprintf(stderr, "%s failed at call %d\n", name, i);
            return false;
        }
    }
    rows.push_back({name, count, timer.nsecsElapsed() / 1e6});
    return true;
}

} // namespace

int main(int argc, char** argv) {
    AlarmdFixture fixture(true);
    QCoreApplication app(argc, argv);
    if (!fixture.isReady()) {
        std::fprintf(stderr, "%s\n", qPrintable(fixture.error()));
        return 1;
    }
    const time_t base = time(nullptr) + 86400;
    std::vector<cookie_t> cookies;
    std::vector<Row> rows;

    bool ok = timed(rows, "add (filling 0 -> 10,000)", queued, [&](int i) {
        alarm_event_t* event = newEvent(i, base);
        const cookie_t cookie = alarmd_event_add(event);
        alarm_event_delete(event);
        cookies.push_back(cookie);
        return cookie > 0;
    });
    std::vector<cookie_t> extra;
    ok = ok && timed(rows, "add (10,000 -> 11,000)", 1000, [&](int i) {
             alarm_event_t* event = newEvent(queued + i, base);
             const cookie_t cookie = alarmd_event_add(event);
             alarm_event_delete(event);
             extra.push_back(cookie);
             return cookie > 0;
         });
    ok = ok && timed(rows, "get", 1000, [&](int i) {
             alarm_event_t* event = alarmd_event_get(cookies[size_t(i) * 7 % cookies.size()]);
             const bool found = event && alarm_event_get_action_count(event) == 3;
             alarm_event_delete(event);
             return found;
         });
    ok = ok && timed(rows, "query all (11,000 cookies)", 100, [&](int) {
             cookie_t* all = alarmd_event_query(0, 0, 0, 0, "");
             int count = 0;
             while (all && all[count]) {
                 ++count;
             }
             free(all);
             return count == queued + 1000;
         });
    ok = ok && timed(rows, "query \"PARDO\" (1,100 cookies)", 100, [&](int) {
             cookie_t* mine = alarmd_event_query(0, 0, 0, 0, "PARDO");
             int count = 0;
             while (mine && mine[count]) {
                 ++count;
             }
             free(mine);
             return count == (queued + 1000) / 10;
         });
    ok = ok && timed(rows, "query one hour, RUN_DELAYED", 100, [&](int i) {
             const time_t first = base + (i % 100) * 600;
             cookie_t* window = alarmd_event_query(first, first + 3600, ALARM_EVENT_RUN_DELAYED,
                                                   ALARM_EVENT_RUN_DELAYED, "");
             int count = 0;
             while (window && window[count]) {
                 ++count;
             }
             free(window);
             return count == 61;
         });
    ok = ok && timed(rows, "delete (11,000 -> 10,000)", 1000,
                     [&](int i) { return alarmd_event_del(extra[size_t(i)]) == 0; });
    ok = ok && timed(rows, "delete (emptying 10,000 -> 0)", queued,
                     [&](int i) { return alarmd_event_del(cookies[size_t(i)]) == 0; });
    print(rows);
    return ok ? 0 : 1;
}
