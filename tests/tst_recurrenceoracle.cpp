// The occurrence engine against the step-by-step walk, over generated tasks:
// every interval kind, both monthly kinds, every end criterion, intervals of 1
// to 99, starts from twenty years back to two years ahead, and moments right at
// the local zone's daylight-saving changes. The seed is fixed, so a failure
// comes back on every run, printed with its rule.
#include <QRandomGenerator>
#include <QTimeZone>

#include <QtTest>

#include "literalrecurrence.h"
#include "momentcompare.h"
#include "repetitionrule.h"

#ifndef ORACLE_CASES_PER_KIND
#define ORACLE_CASES_PER_KIND 500
#endif

namespace {

// A fixed "today", so that the generated tasks are the same on every run.
const QDate kAnchor(2026, 1, 15);
// Walk steps the literal side may spend on one query.
constexpr qint64 kStepBudget = 6000;
// And on one count, which repeats the walk for every occurrence it counts.
constexpr qint64 kCountBudget = 40000;

enum Kind { Minutes, Hours, Days, Weeks, MonthsByDay, MonthsByWeekday, Years, Damaged };

QString describe(const QDateTime& moment) {
    return MomentCompare::describe(moment);
}

bool identical(const QDateTime& a, const QDateTime& b) {
    return MomentCompare::identical(a, b);
}

QString describe(const RepetitionRule& rule) {
    QStringList days;
    for (int day : rule.weeklyRepeatDays()) {
        days.append(QString::number(day));
    }
    return QStringLiteral("start %1 %2, kind %3, stop number %4, stop date %5, every %6 of "
                          "type %7, weekdays [%8], monthly %9")
        .arg(rule.date().toString(Qt::ISODate), rule.time().toString(Qt::ISODate))
        .arg(rule.repetition())
        .arg(rule.repetitionStopNumber())
        .arg(rule.repetitionStopDate().toString(Qt::ISODate))
        .arg(rule.repeatIntervalNumber())
        .arg(rule.repeatIntervalType())
        .arg(days.join(QLatin1Char(',')))
        .arg(rule.monthlyRepeatType());
}

class Generator {
public:
    Generator(quint32 seed, const QList<QTimeZone::OffsetData>& transitions)
        : random(seed)
        , changes(transitions) {}

    int below(int n) { return int(random.bounded(quint32(n))); }
    bool chance(int percent) { return below(100) < percent; }
    qint64 between(qint64 low, qint64 high) {
        return low + qint64(random.bounded(double(high - low + 1)));
    }

    int intervalNumber() {
        // Mostly small, as people set them, but every value up to 99 turns up.
        return chance(60) ? 1 + below(4) : 1 + below(99);
    }

    QTime time() {
        if (chance(35)) {
            static const int nearChanges[] = {30,  60,  90,  105, 119, 120, 121, 135,
                                              149, 150, 165, 179, 180, 181, 210};
            return QTime(0, 0).addSecs(60 * nearChanges[below(15)]);
        }
        return QTime(0, 0).addSecs(60 * below(24 * 60));
    }

    // A day of a daylight-saving change, or next to one, when the zone has any.
    QDate changeDay() {
        const QTimeZone::OffsetData& change = changes.at(below(changes.size()));
        return change.atUtc.toLocalTime().date().addDays(below(3) - 1);
    }

    QDate startDate() {
        if (!changes.isEmpty() && chance(25)) {
            return changeDay();
        }
        const qint64 first = kAnchor.addYears(-20).toJulianDay();
        const qint64 last = kAnchor.addYears(2).toJulianDay();
        return QDate::fromJulianDay(between(first, last));
    }

    // A moment within `spanSecs` after the start, or right at a change in that stretch.
    QDateTime fromAround(const QDateTime& start, qint64 spanSecs) {
        const qint64 low = start.isValid()
                               ? start.toMSecsSinceEpoch() / 1000
                               : QDateTime(start.date(), QTime(12, 0)).toSecsSinceEpoch();
        const qint64 high = low + spanSecs;
        if (!changes.isEmpty() && chance(50)) {
            QList<qint64> near;
            for (const QTimeZone::OffsetData& change : changes) {
                const qint64 at = change.atUtc.toSecsSinceEpoch();
                if (at >= low - 86400 && at <= high) {
                    near.append(at);
                }
            }
            if (!near.isEmpty()) {
                static const int offsets[] = {-86400, -3600, -1800, -61,  -60,  -1,   0,
                                              1,      59,    60,    1800, 3600, 86400};
                return QDateTime::fromSecsSinceEpoch(near.at(below(near.size())) +
                                                     offsets[below(13)]);
            }
        }
        return QDateTime::fromSecsSinceEpoch(between(low, high)).addMSecs(chance(20) ? 500 : 0);
    }

    QList<int> weekdays() {
        QList<int> days;
        for (int day = 1; day <= 7; ++day) {
            if (chance(35)) {
                days.append(day);
            }
        }
        if (days.isEmpty()) {
            days.append(1 + below(7));
        }
        // Lists kept in memory after an edit hold old and new days, repeated ones too.
        if (chance(10)) {
            days.append(1 + below(7));
        }
        return days;
    }

private:
    QRandomGenerator random;
    const QList<QTimeZone::OffsetData>& changes;
};

// Literal walk steps to reach a moment `secs` after the start.
qint64 walkSteps(int type, int every, qint64 secs) {
    const qint64 days = secs / 86400;
    switch (type) {
    case IntervalMinutes:
        return secs / (60 * qint64(every));
    case IntervalHours:
        return secs / (3600 * qint64(every));
    case IntervalDays:
        return days / every;
    case IntervalWeeks:
        // Day by day through the active weeks.
        return days / every + 8;
    case IntervalMonths:
        return days / (28 * qint64(every));
    case IntervalYears:
        return days / (365 * qint64(every));
    }
    return 0;
}

// The longest stretch (in seconds) the literal walk covers within the budget.
qint64 affordableSpan(int type, int every) {
    const qint64 twentyTwoYears = 22LL * 366 * 86400;
    qint64 span = twentyTwoYears;
    switch (type) {
    case IntervalMinutes:
        span = kStepBudget * 60 * qint64(every);
        break;
    case IntervalHours:
        span = kStepBudget * 3600 * qint64(every);
        break;
    case IntervalDays:
    case IntervalWeeks:
        span = (kStepBudget - 10) * 86400 * qint64(every);
        break;
    default:
        break;
    }
    return qMin(span, twentyTwoYears);
}

qint64 occurrencesWithin(int type, int every, qint64 secs, int weekdays) {
    if (type == IntervalWeeks) {
        return (secs / (7 * 86400 * qint64(every)) + 1) * weekdays;
    }
    return walkSteps(type, every, secs) + 1;
}

} // namespace

class TestRecurrenceOracle : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void agreesWithTheLiteralWalk_data();
    void agreesWithTheLiteralWalk();

private:
    bool check(const RepetitionRule& rule, const QString& query, const QDateTime& fast,
               const QDateTime& literal);
    QList<QTimeZone::OffsetData> changes;
};

void TestRecurrenceOracle::initTestCase() {
    const QTimeZone zone = QTimeZone::systemTimeZone();
    QVERIFY(zone.isValid());
    changes = zone.transitions(QDateTime(QDate(2005, 1, 1), QTime(0, 0), Qt::UTC),
                               QDateTime(QDate(2030, 1, 1), QTime(0, 0), Qt::UTC));
    const QByteArray tz = qgetenv("TZ");
    if (tz == "UTC") {
        QVERIFY(changes.isEmpty());
    } else {
        // Two changes a year in every other zone the suite runs in.
        QVERIFY2(changes.size() >= 40, tz.constData());
    }
}

void TestRecurrenceOracle::agreesWithTheLiteralWalk_data() {
    QTest::addColumn<int>("kind");
    QTest::newRow("minutes") << int(Minutes);
    QTest::newRow("hours") << int(Hours);
    QTest::newRow("days") << int(Days);
    QTest::newRow("weeks") << int(Weeks);
    QTest::newRow("months by day") << int(MonthsByDay);
    QTest::newRow("months by weekday") << int(MonthsByWeekday);
    QTest::newRow("years") << int(Years);
    QTest::newRow("damaged rows") << int(Damaged);
}

bool TestRecurrenceOracle::check(const RepetitionRule& rule, const QString& query,
                                 const QDateTime& fast, const QDateTime& literal) {
    if (identical(fast, literal)) {
        return true;
    }
    QTest::qFail(qPrintable(QStringLiteral("%1: %2 gives %3, the walk gives %4")
                                .arg(describe(rule), query, describe(fast), describe(literal))),
                 __FILE__, __LINE__);
    return false;
}

void TestRecurrenceOracle::agreesWithTheLiteralWalk() {
    QFETCH(int, kind);
    Generator gen(0x5eed0000u + quint32(kind), changes);
    RepetitionRule rule;
    const qint64 stepsBefore = LiteralRecurrence::steps();
    int counted = 0;
    int nearChanges = 0;
    QSet<int> repetitionKinds;
    QSet<int> numbers;

    for (int i = 0; i < ORACLE_CASES_PER_KIND; ++i) {
        int type = IntervalMinutes;
        int monthly = MonthlyByDayOfMonth;
        switch (kind) {
        case Minutes:
            type = IntervalMinutes;
            break;
        case Hours:
            type = IntervalHours;
            break;
        case Days:
            type = IntervalDays;
            break;
        case Weeks:
            type = IntervalWeeks;
            break;
        case MonthsByDay:
            type = IntervalMonths;
            break;
        case MonthsByWeekday:
            type = IntervalMonths;
            monthly = MonthlyByDayOfWeek;
            break;
        case Years:
            type = IntervalYears;
            break;
        case Damaged:
            type = gen.below(7);
            monthly = gen.below(4);
            break;
        }
        int every = gen.intervalNumber();
        QList<int> days = type == IntervalWeeks ? gen.weekdays() : QList<int>();
        int repetition = 1 + gen.below(4);
        int stopNumber = 1 + gen.below(99);
        const QTime time = gen.time();
        const qint64 span = affordableSpan(type, qMax(1, every));
        QDate date = gen.startDate();
        if (kind == Damaged) {
            switch (gen.below(7)) {
            case 0:
                every = -gen.below(3);
                break;
            case 1:
                days = gen.chance(50) ? QList<int>() : QList<int>{0, 8};
                type = IntervalWeeks;
                break;
            case 2:
                stopNumber = -gen.below(2);
                break;
            case 3:
                date = QDate();
                break;
            case 4:
                // A kind no editor writes counts as repeating, with the start as its end.
                repetition = gen.chance(50) ? 0 : 7;
                break;
            default:
                break;
            }
        }
        const QDateTime start = QDateTime(date, time);
        QDate stopDate;
        if (repetition == RepeatUntilDate) {
            stopDate = date.isValid() ? date.addDays(gen.between(-3, qMax<qint64>(1, span / 86400)))
                                      : QDate(2026, 5, 5);
        }
        rule.setDate(date);
        rule.setTime(time);
        rule.setRepetitionFields(repetition, stopNumber, stopDate, every, type, days, monthly);
        repetitionKinds.insert(repetition);
        numbers.insert(every);

        QList<QDateTime> froms{start.addSecs(-gen.between(1, 3 * 86400)), start,
                               gen.fromAround(start, span), gen.fromAround(start, span)};
        if (gen.chance(5)) {
            froms.append(QDateTime());
        }
        if (gen.chance(5) && date.isValid() && !changes.isEmpty()) {
            // A wall-clock moment that may not exist at all.
            froms.append(QDateTime(gen.changeDay(), QTime(2, 30)));
        }
        for (const QDateTime& from : froms) {
            if (from.isValid() && start.isValid() &&
                walkSteps(type, qMax(1, every), start.secsTo(from)) > kStepBudget) {
                continue;
            }
            for (int n : {1, 2, 3 + gen.below(10), 0}) {
                const QString query =
                    QStringLiteral("nthRepetitionFromDateTime(%1, %2)").arg(describe(from)).arg(n);
                if (!check(rule, query, rule.nthRepetitionFromDateTime(from, n),
                           LiteralRecurrence::nthRepetitionFromDateTime(rule, from, n))) {
                    return;
                }
            }
            for (const QTimeZone::OffsetData& change : qAsConst(changes)) {
                if (qAbs(change.atUtc.secsTo(from)) <= 86400) {
                    ++nearChanges;
                    break;
                }
            }
        }
        const int n = 1 + gen.below(6);
        if (!check(rule, QStringLiteral("nthRepetition(%1)").arg(n), rule.nthRepetition(n),
                   LiteralRecurrence::nthRepetition(rule, n))) {
            return;
        }
        const QDateTime end = rule.calculateEndDateTime();
        if (!check(rule, QStringLiteral("calculateEndDateTime()"), end,
                   LiteralRecurrence::calculateEndDateTime(rule))) {
            return;
        }
        if (repetition == RepeatForever && type >= IntervalWeeks && type <= IntervalYears) {
            // Forever by weeks, months or years: no occurrence lies past the end.
            QVERIFY(!(end < rule.nthRepetition(n)));
        }

        // Counting walks again for every occurrence: only where that stays affordable.
        for (const QDateTime& from : {QDateTime(), froms.at(0), froms.at(2)}) {
            const QDateTime f = from.isValid() ? from : start;
            qint64 cost = 1;
            // "Forever" counts nothing (-1), and its end may be no end at all.
            if (rule.repetition() != RepeatForever && start.isValid() && end.isValid() &&
                f.isValid() && every > 0) {
                const qint64 catchUp = walkSteps(type, every, qMax<qint64>(0, start.secsTo(f)));
                const qint64 occurrences =
                    occurrencesWithin(type, every, qMax<qint64>(0, f.secsTo(end)), days.size());
                cost = (occurrences + 2) * (catchUp + occurrences + 2);
            }
            if (cost > kCountBudget) {
                continue;
            }
            const QDateTime* pointer = from.isValid() ? &from : nullptr;
            const int fast = rule.getNumberOfRepetitionsFromDateTime(pointer);
            const int literal =
                LiteralRecurrence::getNumberOfRepetitionsFromDateTime(rule, pointer);
            if (fast != literal) {
                QFAIL(qPrintable(QStringLiteral("%1: getNumberOfRepetitionsFromDateTime(%2) "
                                                "gives %3, the walk gives %4")
                                     .arg(describe(rule), describe(from))
                                     .arg(fast)
                                     .arg(literal)));
            }
            ++counted;
        }
    }
    qInfo("%d tasks, %d counts compared, %d queries next to a daylight-saving change, %lld "
          "walk steps",
          ORACLE_CASES_PER_KIND, counted, nearChanges, LiteralRecurrence::steps() - stepsBefore);
    // The comparison must have covered what it is meant to cover.
    QVERIFY(repetitionKinds.contains(RepeatNever) && repetitionKinds.contains(RepeatForever) &&
            repetitionKinds.contains(RepeatUntilDate) && repetitionKinds.contains(RepeatXTimes));
    QVERIFY(counted > ORACLE_CASES_PER_KIND / 2);
    if (kind != Damaged) {
        QVERIFY(numbers.size() > qMin(30, ORACLE_CASES_PER_KIND / 4));
    }
    if (!changes.isEmpty() && kind != Damaged) {
        QVERIFY(nearChanges > ORACLE_CASES_PER_KIND / 10);
    }
}

QTEST_GUILESS_MAIN(TestRecurrenceOracle)
#include "tst_recurrenceoracle.moc"
