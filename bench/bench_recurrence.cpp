// Occurrence queries of long-running tasks: the step-by-step walk against the
// application's engine, side by side with their ratio. The goal is every query
// under a millisecond with the engine.
#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTextStream>

#include <functional>
#include <memory>

#include "bothzones.h"
#include "literalrecurrence.h"
#include "task.h"
#include "taskmanager.h"

namespace {

// Mean nanoseconds per call: at least `minimum` calls and, where they are quick, enough
// of them to fill a fifth of a second.
double timePerCall(const std::function<void()>& call, int minimum = 1) {
    QElapsedTimer timer;
    timer.start();
    qint64 calls = 0;
    do {
        call();
        ++calls;
    } while (calls < minimum || timer.nsecsElapsed() < 200000000);
    return double(timer.nsecsElapsed()) / double(calls);
}

QString shown(double nanoseconds) {
    if (nanoseconds >= 3.6e12) {
        return QStringLiteral("%1 h").arg(nanoseconds / 3.6e12, 0, 'f', 1);
    }
    if (nanoseconds >= 1e9) {
        return QStringLiteral("%1 s").arg(nanoseconds / 1e9, 0, 'f', 2);
    }
    if (nanoseconds >= 1e6) {
        return QStringLiteral("%1 ms").arg(nanoseconds / 1e6, 0, 'f', 2);
    }
    return QStringLiteral("%1 us").arg(nanoseconds / 1e3, 0, 'f', 1);
}

struct Row {
    QString query;
    double literal;
    double fast;
    QString note;
};

} // namespace

int main(int argc, char** argv) {
    if (!BothZones::isChild()) {
        return BothZones::run(argv);
    }
    // As the process was started: the engine may name the zone file in TZ itself.
    const QByteArray zone = qgetenv("TZ");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_RUNTIME_DIR", home.path().toLocal8Bit());
    QApplication app(argc, argv);
    TaskManager manager;
    QTextStream out(stdout);

    const QDateTime now = QDateTime::currentDateTime();
    const QTime minute(now.time().hour(), now.time().minute());
    QList<Row> rows;
    const auto task = [&](const QDate& date, const QTime& time, int repetition, int every, int type,
                          const QList<int>& days, int monthly, const QDate& stop, int times = 0) {
        auto made = std::make_unique<Task>(manager, 1, QStringLiteral("bench"), true, Task::D);
        made->setDate(date);
        made->setTime(time);
        made->setRepetitionFields(repetition, times, stop, every, type, days, monthly);
        return made;
    };
    bool agree = true;

    {
        const auto perMinute = task(now.date().addYears(-1), minute, RepeatForever, 1,
                                    IntervalMinutes, {}, 1, QDate());
        QDateTime fast, literal;
        const double l = timePerCall([&] {
            literal =
                LiteralRecurrence::nthRepetitionFromDateTime(perMinute->repetitionRule(), now, 1);
        });
        const double f = timePerCall([&] { fast = perMinute->nthRepetitionFromDateTime(now, 1); });
        agree = agree && fast == literal;
        rows.append({QStringLiteral("next of every minute, started a year ago"), l, f, QString()});
    }
    {
        // The walk repeats its catch-up for every occurrence it counts, here over half a
        // million of them: it cannot finish. It is timed on a task started a day ago with
        // some 300 occurrences left, and scaled by the number of steps.
        const auto yearAhead = task(now.date().addDays(-30), minute, RepeatUntilDate, 1,
                                    IntervalMinutes, {}, 1, now.date().addYears(1));
        int fastCount = 0;
        const double f =
            timePerCall([&] { fastCount = yearAhead->getNumberOfRepetitionsFromDateTime(&now); });

        const QDateTime dayAgo = now.addDays(-1);
        const auto small = task(dayAgo.date(), minute, RepeatXTimes, 1, IntervalMinutes, {}, 1,
                                QDate(), 24 * 60 + 300);
        int literalCount = 0;
        const qint64 before = LiteralRecurrence::steps();
        QElapsedTimer timer;
        timer.start();
        literalCount =
            LiteralRecurrence::getNumberOfRepetitionsFromDateTime(small->repetitionRule(), &now);
        const double smallTime = double(timer.nsecsElapsed());
        const double smallSteps = double(LiteralRecurrence::steps() - before);
        agree = agree && literalCount == small->getNumberOfRepetitionsFromDateTime(&now);
        // Each counted occurrence walks the whole catch-up again, a step per minute since
        // the start; the jump beyond it is a single addition.
        const double catchUp = double(yearAhead->nthRepetition(1).secsTo(now) / 60 + 1);
        const double steps = (double(fastCount) + 1) * catchUp;
        rows.append({QStringLiteral("count of every minute for a year, started 30 days ago"),
                     smallTime / smallSteps * steps, f,
                     QStringLiteral("walk extrapolated from %1 occurrences (%2 steps, %3)")
                         .arg(literalCount)
                         .arg(qint64(smallSteps))
                         .arg(shown(smallTime))});
    }
    {
        const auto fortnightly = task(now.date().addYears(-10), QTime(9, 0), RepeatForever, 2,
                                      IntervalWeeks, {1, 4}, 1, QDate());
        QDateTime fast, literal;
        const double l = timePerCall([&] {
            literal =
                LiteralRecurrence::nthRepetitionFromDateTime(fortnightly->repetitionRule(), now, 1);
        });
        const double f =
            timePerCall([&] { fast = fortnightly->nthRepetitionFromDateTime(now, 1); });
        agree = agree && fast == literal;
        rows.append({QStringLiteral("next of every 2 weeks Mon+Thu, started 10 years ago"), l, f,
                     QString()});
    }
    {
        // The worst case for weeks: a time inside the hour the clocks skip or repeat, where
        // the walk is replayed step by step through every change it passes.
        const auto changeHour = task(now.date().addYears(-20), QTime(2, 30), RepeatForever, 1,
                                     IntervalWeeks, {1, 2, 3, 4, 5, 6, 7}, 1, QDate());
        QDateTime fast, literal;
        const double l = timePerCall([&] {
            literal =
                LiteralRecurrence::nthRepetitionFromDateTime(changeHour->repetitionRule(), now, 1);
        });
        const double f = timePerCall([&] { fast = changeHour->nthRepetitionFromDateTime(now, 1); });
        agree = agree && fast == literal;
        rows.append({QStringLiteral("next of daily-by-weekday at 02:30, started 20 years ago"), l,
                     f, QStringLiteral("replayed through each change")});
    }
    {
        const auto monthly = task(now.date().addYears(-20), QTime(9, 0), RepeatForever, 1,
                                  IntervalMonths, {}, MonthlyByDayOfWeek, QDate());
        QDateTime fast, literal;
        const double l = timePerCall([&] {
            literal =
                LiteralRecurrence::nthRepetitionFromDateTime(monthly->repetitionRule(), now, 1);
        });
        const double f = timePerCall([&] { fast = monthly->nthRepetitionFromDateTime(now, 1); });
        agree = agree && fast == literal;
        rows.append({QStringLiteral("next of monthly by weekday, started 20 years ago"), l, f,
                     QStringLiteral("the walk goes month by month")});
    }

    out << "Occurrence queries, per call (TZ " << (zone.isNull() ? QByteArray("unset") : zone)
        << ")\n";
    out << QStringLiteral("%1 %2 %3 %4 %5  %6\n")
               .arg(QStringLiteral("query"), -55)
               .arg(QStringLiteral("walk"), 11)
               .arg(QStringLiteral("engine"), 11)
               .arg(QStringLiteral("ratio"), 11)
               .arg(QStringLiteral("< 1 ms"), 6)
               .arg(QStringLiteral("note"));
    for (const Row& row : rows) {
        out << QStringLiteral("%1 %2 %3 %4 %5  %6\n")
                   .arg(row.query, -55)
                   .arg(shown(row.literal), 11)
                   .arg(shown(row.fast), 11)
                   .arg(QStringLiteral("%1x").arg(row.literal / row.fast, 0, 'f', 0), 11)
                   .arg(row.fast < 1e6 ? QStringLiteral("yes") : QStringLiteral("NO"), 6)
                   .arg(row.note);
    }
    if (!agree) {
        out << "The engine and the walk disagree.\n";
        return 1;
    }
    return 0;
}
