// Activating and deactivating one task with 5,000 alarms, with the main window
// shown, against the real pardo-alarmd on a private bus. Each phase is timed
// from the double tap to the return to the event loop; the longest gap the
// event loop saw is what the window stood still for. The application's own share
// is its processor time (all its threads); the rest is waiting for the bus and
// the daemon.
#include <QApplication>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTimer>
#include <QVariant>
#include <QWindow>

#include <alarmd/libalarm.h>

#include <cstdio>
#include <ctime>
#include <functional>
#include <vector>

#include "alarmdfixture.h"
#include "bothzones.h"
#include "mainwindow.h"
#include "task.h"
#include "taskmanager.h"

namespace {

int pardoEvents() {
    cookie_t* ids = alarmd_event_query(0, 0, 0, 0, "PARDO");
    int count = 0;
    while (ids && ids[count]) {
        ++count;
    }
    std::free(ids);
    return count;
}

// The task and its rows, written straight into the database the manager opened.
bool fillTask(int taskId, Task::Type type, int alarms) {
    QSqlDatabase db = QSqlDatabase::database();
    QSqlQuery query(db);
    bool ok = true;
    const QDate date = QDate::currentDate().addDays(1);
    ok = ok && query.exec(QStringLiteral("INSERT INTO tasks VALUES (%1, 'Many', 'false', %2, "
                                         "'%3', '08:30')")
                              .arg(taskId)
                              .arg(int(type))
                              .arg(date.toString(QStringLiteral("yyyy-MM-dd"))));
    db.transaction();
    for (int i = 0; ok && i < alarms; ++i) {
        ok = query.exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, "
                                       "description) VALUES (%1, 0, %2, 0, 'alarm %2')")
                            .arg(taskId)
                            .arg(i + 1));
    }
    db.commit();
    return ok;
}

struct Phase {
    const char* name;
    double ms;
    double cpuMs;
    int events;
};

double cpuMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// Runs `step` from the event loop; its duration and the processor time it took.
Phase timedInLoop(const char* name, const std::function<void()>& step) {
    QElapsedTimer timer;
    double cpuStart = 0;
    double cpuEnd = 0;
    QTimer::singleShot(0, qApp, [&] {
        cpuStart = cpuMs();
        timer.start();
        step();
        QTimer::singleShot(0, qApp, [&] {
            cpuEnd = cpuMs();
            QCoreApplication::exit(0);
        });
    });
    QCoreApplication::exec();
    return {name, timer.nsecsElapsed() / 1e6, cpuEnd - cpuStart, pardoEvents()};
}

} // namespace

int main(int argc, char** argv) {
    if (!BothZones::isChild()) {
        return BothZones::run(argv);
    }
    AlarmdFixture fixture(true);
    QApplication app(argc, argv);
    if (!fixture.isReady()) {
        std::fprintf(stderr, "%s\n", qPrintable(fixture.error()));
        return 1;
    }
    const int alarms = argc > 1 ? QByteArray(argv[1]).toInt() : 5000;
    const QByteArray zone = qgetenv("TZ");
    std::printf("One task with %d alarms, main window shown (TZ %s)\n", alarms,
                zone.isNull() ? "unset" : zone.constData());
    std::printf("%-40s %10s %10s %8s\n", "phase", "ms", "app cpu ms", "events");

    TaskManager manager;
    if (!fillTask(2, Task::D, alarms) || !fillTask(3, Task::T, alarms)) {
        std::fprintf(stderr, "could not fill the database\n");
        return 1;
    }
    QElapsedTimer loadTimer;
    loadTimer.start();
    MainWindow window(manager);
    window.show();
    while (!window.windowHandle() || !window.windowHandle()->isExposed()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    QCoreApplication::processEvents();
    std::printf("%-40s %10.1f %10s %8d\n", "load and show both tasks",
                loadTimer.nsecsElapsed() / 1e6, "", pardoEvents());

    Task* dated = nullptr;
    Task* countdown = nullptr;
    for (Task* task : manager.allTasks()) {
        (task->type() == Task::D ? dated : countdown) = task;
    }
    if (!dated || !countdown || dated->noOfAlarms() != alarms ||
        countdown->noOfAlarms() != alarms) {
        std::fprintf(stderr, "the tasks did not load\n");
        return 1;
    }
    struct Step {
        const char* name;
        std::function<void()> run;
        int expected;
    };
    const std::vector<Step> steps{
        {"D: activate", [&] { dated->changeActivationState(); }, alarms},
        {"D: place again (replaces all)", [&] { manager.setAlarmsForTask(*dated); }, alarms},
        {"T: activate beside D's events", [&] { countdown->changeActivationState(); }, 2 * alarms},
        {"T: deactivate", [&] { countdown->changeActivationState(); }, alarms},
        {"D: deactivate", [&] { dated->changeActivationState(); }, 0},
    };
    bool ok = true;
    for (const Step& step : steps) {
        const Phase phase = timedInLoop(step.name, step.run);
        std::printf("%-40s %10.1f %10.1f %8d\n", phase.name, phase.ms, phase.cpuMs, phase.events);
        ok = ok && phase.events == step.expected;
    }
    if (!ok) {
        std::printf("The daemon did not hold the expected events.\n");
        return 1;
    }
    return 0;
}
