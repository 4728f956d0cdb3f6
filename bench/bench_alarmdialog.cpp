// Delay from an event's due moment to its ring window on the screen, the start
// of the ring window program included: each ring is answered before the next
// falls due, so the program has ended and starts again for every one. The
// daemon's own classes run in this process on the real-time clock and a
// private bus; events fall due one per second. Usage: bench_alarmdialog
// [events], 10 by default. Run it under xvfb-run: the ring shows on $DISPLAY.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QTimer>

#include <alarmd/libalarm.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "alarmdaemon.h"
#include "alarmdfixture.h"
#include "alarmevent.h"
#include "ringdispatcher.h"
#include "systemclock.h"

namespace {

double realNow() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return double(ts.tv_sec) + ts.tv_nsec / 1e9;
}

void printRow(const char* name, std::vector<double> delays) {
    std::sort(delays.begin(), delays.end());
    if (delays.empty()) {
        std::printf("%-28s %8s\n", name, "none");
        return;
    }
    double sum = 0;
    for (double delay : delays) {
        sum += delay;
    }
    std::printf("%-28s %8zu %10.2f %10.2f %10.2f %10.2f\n", name, delays.size(), delays.front(),
                delays[delays.size() / 2], sum / double(delays.size()), delays.back());
}

} // namespace

int main(int argc, char** argv) {
    const int events = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
    AlarmdFixture fixture(false);
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fprintf(stderr, "no DISPLAY: run under xvfb-run\n");
        return 1;
    }
    if (!fixture.isReady()) {
        std::fprintf(stderr, "%s\n", qPrintable(fixture.error()));
        return 1;
    }
    SystemClock clock;
    AlarmDaemon daemon(clock, fixture.root() + QStringLiteral("/data/pardo-alarmd"),
                       QDBusConnection::sessionBus());
    QString error;
    if (!daemon.start(&error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    daemon.rings().setProgram(QStringLiteral(PARDO_ALARM_UI_PATH));

    const time_t first = time(nullptr) + 2;
    std::vector<std::pair<qint64, time_t>> due;
    for (int i = 0; i < events; ++i) {
        AlarmEvent event;
        event.appId = QStringLiteral("PARDO");
        event.title = QStringLiteral("PARDO");
        event.message = QStringLiteral("Benchmark alarm %1").arg(i);
        event.alarmTime = first + i;
        AlarmAction stop;
        stop.label = QStringLiteral("Stop");
        stop.flags = ALARM_ACTION_WHEN_RESPONDED;
        AlarmAction snooze;
        snooze.label = QStringLiteral("Snooze");
        snooze.flags = ALARM_ACTION_WHEN_RESPONDED | ALARM_ACTION_TYPE_SNOOZE;
        event.actions = {stop, snooze};
        const qint64 cookie = daemon.queue().add(event, &error);
        if (cookie == 0) {
            std::fprintf(stderr, "refused: %s\n", qPrintable(error));
            return 1;
        }
        due.emplace_back(cookie, event.alarmTime);
    }

    std::vector<std::pair<qint64, double>> shown;
    QObject::connect(&daemon, &AlarmDaemon::dialogShown, &app,
                     [&shown](qint64 cookie) { shown.emplace_back(cookie, realNow()); });
    // Each dialog is answered a little after it appeared, as a user would.
    QObject::connect(&daemon, &AlarmDaemon::dialogShown, &app, [&daemon, &app](qint64 cookie) {
        QTimer::singleShot(300, &app, [&daemon, cookie] { daemon.queue().respond(cookie, 0); });
    });
    QTimer::singleShot((events + 4) * 1000, &app, &QCoreApplication::quit);
    app.exec();

    const auto delays = [&due](const std::vector<std::pair<qint64, double>>& moments) {
        std::vector<double> result;
        for (const auto& [cookie, when] : moments) {
            for (const auto& [dueCookie, dueTime] : due) {
                if (dueCookie == cookie) {
                    result.push_back((when - double(dueTime)) * 1000.0);
                }
            }
        }
        return result;
    };
    std::printf("due moment -> ring window shown, program start included, %d events "
                "(goal: under 150 ms)\n",
                events);
    std::printf("%-28s %8s %10s %10s %10s %10s\n", "delay in ms", "windows", "min", "median",
                "mean", "max");
    const std::vector<double> shownDelays = delays(shown);
    printRow("window shown", shownDelays);
    if (!shownDelays.empty()) {
        std::printf("worst delay / 150 ms goal: %.2f\n",
                    *std::max_element(shownDelays.cbegin(), shownDelays.cend()) / 150.0);
    }
    return int(shown.size()) == events ? 0 : 1;
}
