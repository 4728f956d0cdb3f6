// Start-up of the real application, measured from outside: from the moment it is started
// to its window painted and its bus name owned, with an empty database and with 1,000
// tasks, and where the time goes (the phases the application prints when asked to).
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <ctime>

#include "alarmdfixture.h"
#include "benchdatabase.h"
#include "bothzones.h"

namespace {

const QStringList kPhases = {QStringLiteral("application"),  QStringLiteral("database"),
                             QStringLiteral("window frame"), QStringLiteral("tasks and buttons"),
                             QStringLiteral("window built"), QStringLiteral("bus name"),
                             QStringLiteral("first paint")};

qint64 monotonicNanos() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

// Resident and peak resident set of a process, in KiB.
QPair<double, double> memoryOf(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    double rss = 0;
    double peak = 0;
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.value(0) == "VmRSS:") {
                rss = fields.value(1).toDouble();
            } else if (fields.value(0) == "VmHWM:") {
                peak = fields.value(1).toDouble();
            }
        }
    }
    return {rss, peak};
}

struct Run {
    QMap<QString, double> phases;
    // Name owned as another bus client sees it, and the later of that and the first paint.
    double nameSeen = -1;
    double ready = -1;
    double rssKiB = 0;
    double peakKiB = 0;
};

bool startOnce(Run* run, QString* error) {
    const QString service = QStringLiteral("org.velmar.pardoreminder");
    QDBusServiceWatcher watcher(service, QDBusConnection::sessionBus(),
                                QDBusServiceWatcher::WatchForRegistration);
    QProcess app;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const qint64 origin = monotonicNanos();
    environment.insert(QStringLiteral("PARDO_STARTUP_TRACE"), QString::number(origin));
    app.setProcessEnvironment(environment);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &watcher,
                     [run, origin] { run->nameSeen = double(monotonicNanos() - origin) / 1e6; });
    app.start(QStringLiteral(PARDO_REMINDER_PATH), {});
    QElapsedTimer limit;
    limit.start();
    QByteArray pending;
    while (limit.elapsed() < 30000 &&
           (run->nameSeen < 0 || !run->phases.contains(QStringLiteral("first paint")))) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        app.waitForReadyRead(5);
        pending += app.readAllStandardError();
        int end = 0;
        while ((end = pending.indexOf('\n')) >= 0) {
            const QByteArray line = pending.left(end);
            pending.remove(0, end + 1);
            if (line.startsWith("startup ")) {
                const int last = line.lastIndexOf(' ');
                run->phases.insert(QString::fromUtf8(line.mid(8, last - 8)),
                                   line.mid(last + 1).toDouble());
            }
        }
        if (app.state() == QProcess::NotRunning) {
            *error = QStringLiteral("the application ended: ") + QString::fromUtf8(pending);
            return false;
        }
    }
    const auto memory = memoryOf(app.processId());
    run->rssKiB = memory.first;
    run->peakKiB = memory.second;
    app.terminate();
    if (!app.waitForFinished(5000)) {
        app.kill();
        app.waitForFinished(5000);
    }
    if (run->nameSeen < 0 || !run->phases.contains(QStringLiteral("first paint"))) {
        *error = QStringLiteral("no window or no bus name within 30 s");
        return false;
    }
    run->ready = std::max(run->nameSeen, run->phases.value(QStringLiteral("first paint")));
    return true;
}

double median(QList<double> values) {
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values.at(values.size() / 2);
}

} // namespace

int main(int argc, char** argv) {
    if (!BothZones::isChild()) {
        return BothZones::run(argv);
    }
    // A private bus with the real alarm daemon on it, and a HOME of our own.
    AlarmdFixture fixture(true);
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    if (!fixture.isReady()) {
        out << "cannot set up: " << fixture.error() << '\n';
        return 1;
    }
    const int repeats = argc > 1 ? std::max(1, atoi(argv[1])) : 7;
    out << "Start-up of pardo-reminder, medians of " << repeats
        << " starts, ms from the start (TZ=" << qgetenv("TZ")
        << ", platform: " << qgetenv("QT_QPA_PLATFORM") << ")\n";
    out << QStringLiteral("%1").arg(QStringLiteral("phase"), -22);
    const QList<int> sizes{0, 1000};
    for (int size : sizes) {
        out << QStringLiteral("%1").arg(QStringLiteral("%1 tasks").arg(size), 12);
    }
    out << '\n';
    QMap<int, QList<Run>> runs;
    for (int size : sizes) {
        if (!BenchDatabase::fill(size)) {
            out << "could not fill the database\n";
            return 1;
        }
        for (int i = 0; i < repeats; ++i) {
            Run run;
            QString error;
            if (!startOnce(&run, &error)) {
                out << "start with " << size << " tasks failed: " << error << '\n';
                return 1;
            }
            runs[size].append(run);
        }
    }
    auto row = [&](const QString& name, const std::function<double(const Run&)>& value) {
        out << QStringLiteral("%1").arg(name, -22);
        for (int size : sizes) {
            QList<double> values;
            for (const Run& run : runs.value(size)) {
                values.append(value(run));
            }
            out << QStringLiteral("%1").arg(median(values), 12, 'f', 1);
        }
        out << '\n';
    };
    for (const QString& phase : kPhases) {
        row(phase, [phase](const Run& run) { return run.phases.value(phase, -1); });
    }
    row(QStringLiteral("name seen by a client"), [](const Run& run) { return run.nameSeen; });
    row(QStringLiteral("ready (paint and name)"), [](const Run& run) { return run.ready; });
    row(QStringLiteral("RSS MiB"), [](const Run& run) { return run.rssKiB / 1024; });
    row(QStringLiteral("peak RSS MiB"), [](const Run& run) { return run.peakKiB / 1024; });
    out << "goals: ready under 150 ms empty and 350 ms with 1,000 tasks; under 45 MiB\n";
    return 0;
}
