// Time from start to a shown, painted main window, and peak memory, for
// databases of 10, 100 and 1,000 tasks. Each size runs in a fresh process so
// that the peak memory belongs to that size alone.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QWindow>

#include <sys/resource.h>

#include <cstdio>

#include "benchdatabase.h"
#include "mainwindow.h"
#include "taskmanager.h"

namespace {

long peakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// One measurement, in this process: prints "tasks construct_ms shown_ms peak_kib".
int runOnce(int count) {
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    if (!BenchDatabase::fill(count)) {
        std::fprintf(stderr, "could not fill the database\n");
        return 1;
    }
    const long before = peakKiB();
    QElapsedTimer timer;
    timer.start();
    TaskManager manager;
    MainWindow window(manager);
    const qint64 built = timer.nsecsElapsed();
    window.show();
    while (!window.windowHandle() || !window.windowHandle()->isExposed()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    window.repaint();
    QCoreApplication::processEvents();
    const qint64 shown = timer.nsecsElapsed();
    QTextStream(stdout) << manager.allTasks().size() << ' ' << built / 1e6 << ' ' << shown / 1e6
                        << ' ' << peakKiB() << ' ' << before << '\n';
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 2 && qstrcmp(argv[1], "--run") == 0) {
        QApplication app(argc, argv);
        return runOnce(QByteArray(argv[2]).toInt());
    }
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    const int repeats = 3;
    out << "Main window with N tasks: best of " << repeats
        << " fresh processes (platform: " << qgetenv("QT_QPA_PLATFORM") << ")\n";
    out << QStringLiteral("%1 %2 %3 %4 %5 %6\n")
               .arg(QStringLiteral("tasks"), 6)
               .arg(QStringLiteral("built ms"), 10)
               .arg(QStringLiteral("shown ms"), 10)
               .arg(QStringLiteral("ms/task"), 9)
               .arg(QStringLiteral("peak MiB"), 9)
               .arg(QStringLiteral("KiB/task"), 9);
    double baseShown = 0;
    double basePeak = 0;
    for (int count : {0, 10, 100, 1000}) {
        double bestBuilt = 1e12, bestShown = 1e12, peak = 0;
        for (int i = 0; i < repeats; ++i) {
            QProcess child;
            child.start(QCoreApplication::applicationFilePath(),
                        {QStringLiteral("--run"), QString::number(count)});
            if (!child.waitForFinished(600000) || child.exitCode() != 0) {
                out << "run with " << count << " tasks failed: " << child.readAllStandardError();
                return 1;
            }
            const QList<QByteArray> fields = child.readAllStandardOutput().simplified().split(' ');
            bestBuilt = qMin(bestBuilt, fields.value(1).toDouble());
            bestShown = qMin(bestShown, fields.value(2).toDouble());
            peak = qMax(peak, fields.value(3).toDouble());
        }
        if (count == 0) {
            baseShown = bestShown;
            basePeak = peak;
        }
        const QString perTask =
            count ? QString::number((bestShown - baseShown) / count, 'f', 3) : QStringLiteral("-");
        const QString kibPerTask =
            count ? QString::number((peak - basePeak) / count, 'f', 1) : QStringLiteral("-");
        out << QStringLiteral("%1 %2 %3 %4 %5 %6\n")
                   .arg(count, 6)
                   .arg(bestBuilt, 10, 'f', 1)
                   .arg(bestShown, 10, 'f', 1)
                   .arg(perTask, 9)
                   .arg(peak / 1024.0, 9, 'f', 1)
                   .arg(kibPerTask, 9);
        out.flush();
    }
    return 0;
}
