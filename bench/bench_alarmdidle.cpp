// Wake-ups and resident memory of the real pardo-alarmd while idle with 1,000
// events queued (memory goal: under 10 MB). The
// daemon's threads are counted through /proc (voluntary context switches:
// every time a thread went to sleep and was woken again, for the timer, the
// bus or a disk write) over a window with nothing due and one with three
// events due. Usage: bench_alarmdidle [seconds per window], 60 by default.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QThread>

#include <alarmd/libalarm.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "alarmdfixture.h"
#include "idletrim.h"

namespace {

struct ThreadCount {
    QString name;
    qint64 switches = 0;
};

// Voluntary context switches of each thread of `pid`, by thread id.
QMap<QString, ThreadCount> threadSwitches(qint64 pid) {
    QMap<QString, ThreadCount> counts;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString& tid : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(tasks + QLatin1Char('/') + tid + QStringLiteral("/status"));
        if (!status.open(QIODevice::ReadOnly)) {
            continue;
        }
        ThreadCount count;
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("Name:")) {
                count.name = QString::fromUtf8(line.mid(5).trimmed());
            } else if (line.startsWith("voluntary_ctxt_switches:")) {
                count.switches = line.mid(24).trimmed().toLongLong();
            }
        }
        counts.insert(tid, count);
    }
    return counts;
}

bool addEvent(const char* appid, time_t when, bool dialog) {
    alarm_event_t* event = alarm_event_create();
    alarm_event_set_alarm_appid(event, appid);
    alarm_event_set_title(event, "PARDO");
    alarm_event_set_message(event, "Idle benchmark");
    event->alarm_time = when;
    alarm_action_t* action = alarm_event_add_actions(event, 1);
    if (dialog) {
        alarm_action_set_label(action, "Stop");
        action->flags = ALARM_ACTION_WHEN_RESPONDED;
    } else {
        // A callback that nobody serves: the bus answers with an error at once.
        action->flags = ALARM_ACTION_TYPE_DBUS | ALARM_ACTION_WHEN_TRIGGERED;
        alarm_action_set_dbus_service(action, "org.velmar.nobody");
        alarm_action_set_dbus_path(action, "/org/velmar/nobody");
        alarm_action_set_dbus_interface(action, "org.velmar.nobody");
        alarm_action_set_dbus_name(action, "ping");
    }
    const cookie_t cookie = alarmd_event_add(event);
    alarm_event_delete(event);
    return cookie > 0;
}

// The kB value of each "Name:   123 kB" line of a /proc file.
QMap<QByteArray, qint64> procValues(const QString& path) {
    QMap<QByteArray, qint64> values;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : file.readAll().split('\n')) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() >= 2 && fields.at(0).endsWith(':')) {
                values.insert(fields.at(0).chopped(1), fields.at(1).toLongLong());
            }
        }
    }
    return values;
}

} // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::max(10, std::atoi(argv[1])) : 60;
    AlarmdFixture fixture(true);
    QCoreApplication app(argc, argv);
    if (!fixture.isReady()) {
        std::fprintf(stderr, "%s\n", qPrintable(fixture.error()));
        return 1;
    }
    const time_t now = time(nullptr);
    // 1,000 events due after both windows, with dialogs like the reminder's.
    for (int i = 0; i < 1000; ++i) {
        if (!addEvent("PARDO", now + 2 * seconds + 120 + i * 97, true)) {
            std::fprintf(stderr, "add failed\n");
            return 1;
        }
    }
    // Two windows of the same length: the first with nothing due, the second
    // with three callbacks due in it.
    const int due = 3;
    // The replies, the timer arming, and the daemon giving back the pages it used while busy.
    const int settle = 2 + IdleTrim::quietMs / 1000;
    const time_t second = now + settle + seconds;
    for (int i = 1; i <= due; ++i) {
        addEvent("bench", second + i * seconds / (due + 1), false);
    }
    QThread::sleep(unsigned(settle));
    const QMap<QString, ThreadCount> start = threadSwitches(fixture.daemonPid());
    QThread::sleep(unsigned(seconds));
    const QMap<QString, ThreadCount> middle = threadSwitches(fixture.daemonPid());
    const QMap<QByteArray, qint64> status =
        procValues(QStringLiteral("/proc/%1/status").arg(fixture.daemonPid()));
    const QMap<QByteArray, qint64> rollup =
        procValues(QStringLiteral("/proc/%1/smaps_rollup").arg(fixture.daemonPid()));
    QThread::sleep(unsigned(seconds));
    const QMap<QString, ThreadCount> end = threadSwitches(fixture.daemonPid());

    std::printf("pardo-alarmd with 1,000 events queued: wake-ups (voluntary context switches) "
                "per thread over two windows of %d s\n",
                seconds);
    std::printf("%-8s %-18s %16s %24s\n", "thread", "name", "nothing due",
                QStringLiteral("%1 callbacks due").arg(due).toUtf8().constData());
    qint64 idleTotal = 0;
    qint64 dueTotal = 0;
    for (auto it = end.cbegin(); it != end.cend(); ++it) {
        const qint64 idle = middle.value(it.key()).switches - start.value(it.key()).switches;
        const qint64 busy = it->switches - middle.value(it.key()).switches;
        idleTotal += idle;
        dueTotal += busy;
        std::printf("%-8s %-18s %16lld %24lld\n", qPrintable(it.key()), qPrintable(it->name), idle,
                    busy);
    }
    std::printf("%-27s %16lld %24lld\n", "all threads", idleTotal, dueTotal);
    std::printf("%-27s %16.1f %24.1f\n", "all threads, per 60 s", idleTotal * 60.0 / seconds,
                dueTotal * 60.0 / seconds);
    std::printf("%-27s %16.1f %24.1f\n", "per due event", 0.0, double(dueTotal) / due);
    // Library pages that other processes map too count in full in RSS and shared out in PSS.
    const auto mb = [](qint64 kb) {
        return double(kb) / 1024.0;
    };
    std::printf("\nmemory while idle (MB): RSS %.1f (goal 10, ratio %.2f), of which anonymous %.1f "
                "and files %.1f; PSS %.1f; peak RSS so far %.1f\n",
                mb(status.value("VmRSS")), mb(status.value("VmRSS")) / 10.0,
                mb(status.value("RssAnon")), mb(status.value("RssFile")), mb(rollup.value("Pss")),
                mb(status.value("VmHWM")));
    return 0;
}
