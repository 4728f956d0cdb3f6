#include <QTimeZone>

#include <algorithm>

#include "literalrecurrence.h"
#include "pardotest.h"
#include "task.h"
#include "taskless.h"
#include "taskmanager.h"
#include "testdatabase.h"
#include "util.h"

namespace {

QString zone() {
    return QString::fromLocal8Bit(qgetenv("TZ"));
}

bool zoneHasChanges() {
    return zone() == QLatin1String("Europe/Berlin") || zone() == QLatin1String("America/New_York");
}

// The Sunday on which the clocks go forward, and the one on which they go back, in 2026.
QDate springChange() {
    return zone() == QLatin1String("America/New_York") ? QDate(2026, 3, 8) : QDate(2026, 3, 29);
}

QDate autumnChange() {
    return zone() == QLatin1String("America/New_York") ? QDate(2026, 11, 1) : QDate(2026, 10, 25);
}

// A wall-clock time inside the hour that the changes skip or repeat.
QTime changeHourTime() {
    return zone() == QLatin1String("America/New_York") ? QTime(1, 30) : QTime(2, 30);
}

QDateTime at(int y, int m, int d, int h, int min) {
    return QDateTime(QDate(y, m, d), QTime(h, min));
}

// Full comparison of two moments, offset and validity included.
QString shown(const QDateTime& moment) {
    if (moment.isNull()) {
        return QStringLiteral("null");
    }
    if (!moment.isValid()) {
        return QStringLiteral("invalid ") + moment.date().toString(Qt::ISODate) + QLatin1Char(' ') +
               moment.time().toString(Qt::ISODate);
    }
    return moment.toString(Qt::ISODate) + QStringLiteral(" %1").arg(moment.offsetFromUtc());
}

// The dates of a repetition at 12:00 that never lands on a shortened month end, counted on
// the calendar alone: weekly from a start on a chosen day, monthly and yearly from a day <= 28.
struct Calendar {
    int intervalType;
    int every;
    QList<int> weekdays;
    int monthly;

    // The dates from start on that are occurrences, up to and including the limit.
    QList<QDate> dates(const QDate& start, const QDate& limit) const {
        return LiteralRecurrence::calendarDates(intervalType, every, weekdays, monthly, start,
                                                limit);
    }
};

void warmUpWith(const QDateTime& moment) {
    // Any local conversion leaves its offset behind for the next one.
    QDateTime copy(moment.date(), moment.time());
    Q_UNUSED(copy.toMSecsSinceEpoch());
}

} // namespace

#define COMPARE_MOMENT(actual, expected) QCOMPARE(shown(actual), shown(expected))

class TestRecurrence : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void whichDayOfWeekInMonth_data();
    void whichDayOfWeekInMonth();
    void nthDayOfWeekInMonth_data();
    void nthDayOfWeekInMonth();

    void doesNotRepeat();
    void fromBeforeAndAtTheStart_data();
    void fromBeforeAndAtTheStart();
    void nOfZeroOrLessGivesTheStart_data();
    void nOfZeroOrLessGivesTheStart();
    void zeroIntervalOfSecondsGivesTheStart_data();
    void zeroIntervalOfSecondsGivesTheStart();
    void stopCriteriaAreNotAppliedToOccurrences();
    void weeklyEveryTwoWeeksOnWednesdayAndFriday();
    void weeklyStartOnAnUnchosenDay();
    void monthlyFromTheFifthMonday();
    void monthlyFromJanuaryThirtyFirst_data();
    void monthlyFromJanuaryThirtyFirst();
    void yearlyFromLeapDay();
    void untilEndsAtTheStopDateAtTheTaskTime();
    void xTimesOnce();
    void endOfEachKind_data();
    void endOfEachKind();
    void xTimesEnd_data();
    void xTimesEnd();
    void countOfEachKind();
    void countOfEveryMinuteForAYear();
    void countOfWeeksAgainstTheCalendar();
    void countOfHoursAcrossTheChanges();
    void daysCatchUpBySecondsButJumpByCalendarDays();
    void weeklyWalkKeepsTheTimeMovedOnBySkippedHour();
    void repeatedHourStartIsTheEarlierMoment();
    void startInTheSkippedHour();
    void monthlyByWeekdayAlwaysInTheSkippedHour();

    void nextOccurrenceStepsPastAlarmsAlreadyDue();
    void nextOccurrenceAfterTheEnd();
    void foreverHasNoEnd_data();
    void foreverHasNoEnd();
    void nextOccurrenceOfForeverTask_data();
    void nextOccurrenceOfForeverTask();

    void damagedRowsCannotAdvance_data();
    void damagedRowsCannotAdvance();

    void sortOrder();
    void taskLessSortsPointers();

private:
    Task* dated(const QDateTime& start, int repetition, int intervalNumber, int intervalType,
                const QList<int>& weekdays = {}, int monthly = MonthlyByDayOfMonth,
                int stopNumber = 0, const QDate& stopDate = QDate());
    std::unique_ptr<TaskManager> manager;
    std::vector<std::unique_ptr<Task>> tasks;
};

void TestRecurrence::initTestCase() {
    TestDatabase::freshHome(QStringLiteral("recurrence"));
    manager = std::make_unique<TaskManager>();
}

void TestRecurrence::cleanupTestCase() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestRecurrence::cleanup() {
    tasks.clear();
}

Task* TestRecurrence::dated(const QDateTime& start, int repetition, int intervalNumber,
                            int intervalType, const QList<int>& weekdays, int monthly,
                            int stopNumber, const QDate& stopDate) {
    tasks.push_back(std::make_unique<Task>(*manager, int(tasks.size()) + 10,
                                           QStringLiteral("Repeating"), true, Task::D));
    Task* task = tasks.back().get();
    task->setDate(start.date());
    task->setTime(start.time());
    task->setRepetitionFields(repetition, stopNumber, stopDate, intervalNumber, intervalType,
                              weekdays, monthly);
    return task;
}

void TestRecurrence::whichDayOfWeekInMonth_data() {
    QTest::addColumn<QDate>("date");
    QTest::addColumn<int>("expected");
    QTest::newRow("1st") << QDate(2026, 6, 1) << 1;
    QTest::newRow("7th") << QDate(2026, 6, 7) << 1;
    QTest::newRow("8th") << QDate(2026, 6, 8) << 2;
    QTest::newRow("14th") << QDate(2026, 6, 14) << 2;
    QTest::newRow("15th") << QDate(2026, 6, 15) << 3;
    QTest::newRow("21st") << QDate(2026, 6, 21) << 3;
    QTest::newRow("22nd") << QDate(2026, 6, 22) << 4;
    QTest::newRow("28th") << QDate(2026, 6, 28) << 4;
    QTest::newRow("29th") << QDate(2026, 6, 29) << 5;
    QTest::newRow("31st") << QDate(2026, 12, 31) << 5;
    QTest::newRow("February 28th") << QDate(2026, 2, 28) << 4;
    QTest::newRow("leap day") << QDate(2028, 2, 29) << 5;
    QTest::newRow("January 1st") << QDate(2027, 1, 1) << 1;
    QTest::newRow("invalid") << QDate() << 0;
}

void TestRecurrence::whichDayOfWeekInMonth() {
    QFETCH(QDate, date);
    QFETCH(int, expected);
    QCOMPARE(Util::whichDayOfWeekInMonthIsDate(date), expected);
}

void TestRecurrence::nthDayOfWeekInMonth_data() {
    QTest::addColumn<QDate>("date");
    QTest::addColumn<int>("n");
    QTest::addColumn<int>("dayOfWeek");
    QTest::addColumn<QDate>("expected");
    // June 2026 starts on a Monday and has five Mondays; July has four.
    QTest::newRow("1st Monday") << QDate(2026, 6, 17) << 1 << 1 << QDate(2026, 6, 1);
    QTest::newRow("2nd Wednesday") << QDate(2026, 6, 1) << 2 << 3 << QDate(2026, 6, 10);
    QTest::newRow("5th Monday") << QDate(2026, 6, 30) << 5 << 1 << QDate(2026, 6, 29);
    QTest::newRow("missing 5th Monday is the 4th")
        << QDate(2026, 7, 1) << 5 << 1 << QDate(2026, 7, 27);
    QTest::newRow("4th Sunday") << QDate(2026, 2, 1) << 4 << 7 << QDate(2026, 2, 22);
    QTest::newRow("last day of the month") << QDate(2026, 8, 2) << 5 << 1 << QDate(2026, 8, 31);
    QTest::newRow("February without a 5th") << QDate(2027, 2, 14) << 5 << 1 << QDate(2027, 2, 22);
    QTest::newRow("no weekday 0") << QDate(2026, 6, 1) << 1 << 0 << QDate();
    QTest::newRow("no weekday 8") << QDate(2026, 6, 1) << 1 << 8 << QDate();
    QTest::newRow("invalid date") << QDate() << 1 << 1 << QDate();
}

void TestRecurrence::nthDayOfWeekInMonth() {
    QFETCH(QDate, date);
    QFETCH(int, n);
    QFETCH(int, dayOfWeek);
    QFETCH(QDate, expected);
    QCOMPARE(Util::nthDayOfWeekInMonth(date, n, dayOfWeek), expected);
}

void TestRecurrence::doesNotRepeat() {
    const QDateTime start = at(2026, 6, 10, 9, 15);
    Task* task = dated(start, RepeatNever, 1, IntervalDays);
    QVERIFY(task->nthRepetitionFromDateTime(start.addDays(-1), 1).isNull());
    QVERIFY(task->nthRepetitionFromDateTime(start, 0).isNull());
    QVERIFY(task->nthRepetition(2).isNull());
    COMPARE_MOMENT(task->calculateEndDateTime(), start);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 0);
}

void TestRecurrence::fromBeforeAndAtTheStart_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<int>("every");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<QDateTime>("second");
    // The start is Wednesday 2026-06-10 09:15, the 2nd Wednesday of June.
    QTest::newRow("every 5 minutes")
        << int(IntervalMinutes) << 5 << QList<int>() << 1 << at(2026, 6, 10, 9, 20);
    QTest::newRow("every 3 hours")
        << int(IntervalHours) << 3 << QList<int>() << 1 << at(2026, 6, 10, 12, 15);
    QTest::newRow("every 2 days") << int(IntervalDays) << 2 << QList<int>() << 1
                                  << at(2026, 6, 12, 9, 15);
    QTest::newRow("every 2 weeks, Wed and Fri")
        << int(IntervalWeeks) << 2 << QList<int>{3, 5} << 1 << at(2026, 6, 12, 9, 15);
    QTest::newRow("every week, Monday only")
        << int(IntervalWeeks) << 1 << QList<int>{1} << 1 << at(2026, 6, 15, 9, 15);
    QTest::newRow("every month, same day")
        << int(IntervalMonths) << 1 << QList<int>() << 1 << at(2026, 7, 10, 9, 15);
    QTest::newRow("every month, 2nd Wednesday")
        << int(IntervalMonths) << 1 << QList<int>() << 2 << at(2026, 7, 8, 9, 15);
    QTest::newRow("every 3 years")
        << int(IntervalYears) << 3 << QList<int>() << 1 << at(2029, 6, 10, 9, 15);
}

void TestRecurrence::fromBeforeAndAtTheStart() {
    QFETCH(int, intervalType);
    QFETCH(int, every);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(QDateTime, second);
    const QDateTime start = at(2026, 6, 10, 9, 15);
    Task* task = dated(start, RepeatForever, every, intervalType, weekdays, monthly);
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addSecs(-1), 1), start);
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addYears(-3), 1), start);
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start, 1), second);
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addSecs(-1), 2), second);
    COMPARE_MOMENT(task->nthRepetition(1), second);
    // Just before the second occurrence it is still the next one; at it, it is not.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(second.addSecs(-1), 1), second);
    QVERIFY(second < task->nthRepetitionFromDateTime(second, 1));
}

void TestRecurrence::nOfZeroOrLessGivesTheStart_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<int>("n");
    QTest::newRow("minutes, 0") << int(IntervalMinutes) << 0;
    QTest::newRow("days, -1") << int(IntervalDays) << -1;
    QTest::newRow("weeks, 0") << int(IntervalWeeks) << 0;
    QTest::newRow("months, -5") << int(IntervalMonths) << -5;
    QTest::newRow("years, 0") << int(IntervalYears) << 0;
}

void TestRecurrence::nOfZeroOrLessGivesTheStart() {
    QFETCH(int, intervalType);
    QFETCH(int, n);
    const QDateTime start = at(2020, 2, 3, 7, 45);
    Task* task = dated(start, RepeatForever, 1, intervalType, {1, 5});
    for (const QDateTime& from : {start.addDays(-10), start, start.addYears(4)}) {
        COMPARE_MOMENT(task->nthRepetitionFromDateTime(from, n), start);
    }
    COMPARE_MOMENT(task->nthRepetition(n), start);
}

void TestRecurrence::zeroIntervalOfSecondsGivesTheStart_data() {
    QTest::addColumn<int>("intervalType");
    QTest::newRow("minutes") << int(IntervalMinutes);
    QTest::newRow("hours") << int(IntervalHours);
    QTest::newRow("days") << int(IntervalDays);
}

void TestRecurrence::zeroIntervalOfSecondsGivesTheStart() {
    QFETCH(int, intervalType);
    const QDateTime start = at(2026, 6, 10, 9, 15);
    Task* task = dated(start, RepeatUntilDate, 0, intervalType, {}, 1, 0, QDate(2026, 12, 31));
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addDays(30), 1), start);
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addDays(-30), 4), start);
    // The start is its only occurrence: once from before it, never from it on.
    const QDateTime before = start.addSecs(-60);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&before), 1);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 0);
}

void TestRecurrence::stopCriteriaAreNotAppliedToOccurrences() {
    const QDateTime start = at(2026, 6, 10, 9, 15);
    Task* task = dated(start, RepeatXTimes, 1, IntervalDays, {}, 1, 2);
    COMPARE_MOMENT(task->calculateEndDateTime(), at(2026, 6, 11, 9, 15));
    COMPARE_MOMENT(task->nthRepetition(5), at(2026, 6, 15, 9, 15));
}

void TestRecurrence::weeklyEveryTwoWeeksOnWednesdayAndFriday() {
    const QDateTime start = at(2026, 6, 10, 18, 0);
    Task* task = dated(start, RepeatForever, 2, IntervalWeeks, {3, 5});
    const QList<QDateTime> expected{start, at(2026, 6, 12, 18, 0), at(2026, 6, 24, 18, 0),
                                    at(2026, 6, 26, 18, 0), at(2026, 7, 8, 18, 0)};
    for (int n = 1; n <= expected.size(); ++n) {
        COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addSecs(-1), n), expected.at(n - 1));
    }
    // From the Saturday the walk goes on to the Wednesday two weeks on.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(at(2026, 6, 13, 0, 0), 1),
                   at(2026, 6, 24, 18, 0));
}

void TestRecurrence::weeklyStartOnAnUnchosenDay() {
    // A Tuesday start, every week on Wednesday, three times.
    const QDateTime start = at(2026, 6, 9, 8, 0);
    Task* task = dated(start, RepeatXTimes, 1, IntervalWeeks, {3}, 1, 3);
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addSecs(-1), 1), start);
    COMPARE_MOMENT(task->nthRepetition(1), at(2026, 6, 10, 8, 0));
    COMPARE_MOMENT(task->nthRepetition(2), at(2026, 6, 17, 8, 0));
    // The end is counted from the first Wednesday: one occurrence later than the walk's third.
    COMPARE_MOMENT(task->calculateEndDateTime(), at(2026, 6, 24, 8, 0));
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 3);
}

void TestRecurrence::monthlyFromTheFifthMonday() {
    // 2026-06-29 is June's fifth Monday; July and September have four Mondays, August five.
    const QDateTime start = at(2026, 6, 29, 7, 0);
    Task* task = dated(start, RepeatXTimes, 1, IntervalMonths, {}, MonthlyByDayOfWeek, 4);
    COMPARE_MOMENT(task->nthRepetition(1), at(2026, 7, 27, 7, 0));
    COMPARE_MOMENT(task->nthRepetition(2), at(2026, 8, 31, 7, 0));
    COMPARE_MOMENT(task->nthRepetition(3), at(2026, 9, 28, 7, 0));
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(at(2026, 8, 1, 0, 0), 1), at(2026, 8, 31, 7, 0));
    COMPARE_MOMENT(task->calculateEndDateTime(), at(2026, 9, 28, 7, 0));
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 3);
}

void TestRecurrence::monthlyFromJanuaryThirtyFirst_data() {
    QTest::addColumn<int>("year");
    QTest::addColumn<int>("februaryEnd");
    QTest::newRow("2026") << 2026 << 28;
    QTest::newRow("leap year 2028") << 2028 << 29;
}

void TestRecurrence::monthlyFromJanuaryThirtyFirst() {
    QFETCH(int, year);
    QFETCH(int, februaryEnd);
    const QDateTime start = at(year, 1, 31, 10, 0);
    Task* task = dated(start, RepeatXTimes, 1, IntervalMonths, {}, MonthlyByDayOfMonth, 3);
    // The catch-up walk steps from each shortened date...
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(at(year, 2, 1, 0, 0), 1),
                   at(year, 2, februaryEnd, 10, 0));
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(at(year, 3, 1, 0, 0), 1),
                   at(year, 3, februaryEnd, 10, 0));
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(at(year, 3, 1, 0, 0), 2),
                   at(year, 4, februaryEnd, 10, 0));
    COMPARE_MOMENT(task->nthRepetition(2), at(year, 3, februaryEnd, 10, 0));
    // ...while a jump from the start keeps the 31st where the month has one.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addSecs(-1), 3), at(year, 3, 31, 10, 0));
    COMPARE_MOMENT(task->calculateEndDateTime(), at(year, 3, 31, 10, 0));
    // Counted by the walk: February's end, then the 28th or 29th of March, both before the end.
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 2);
    const QDateTime march1 = at(year, 3, 1, 0, 0);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&march1), 1);
}

void TestRecurrence::yearlyFromLeapDay() {
    const QDateTime start = at(2024, 2, 29, 6, 0);
    Task* task = dated(start, RepeatForever, 1, IntervalYears);
    COMPARE_MOMENT(task->nthRepetition(1), at(2025, 2, 28, 6, 0));
    // From the shortened first step on, every later occurrence is the 28th...
    COMPARE_MOMENT(task->nthRepetition(4), at(2028, 2, 28, 6, 0));
    // ...but a jump from the start itself finds the leap day again.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start.addSecs(-1), 5), at(2028, 2, 29, 6, 0));
    // The walk carries the shortened date on.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(at(2027, 1, 1, 0, 0), 2), at(2028, 2, 28, 6, 0));
}

void TestRecurrence::untilEndsAtTheStopDateAtTheTaskTime() {
    const QDateTime start = at(2026, 6, 10, 9, 0);
    Task* task = dated(start, RepeatUntilDate, 1, IntervalHours, {}, 1, 0, QDate(2026, 6, 12));
    const QDateTime end = at(2026, 6, 12, 9, 0);
    COMPARE_MOMENT(task->calculateEndDateTime(), end);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 48);
    const QDateTime justBefore = end.addSecs(-60);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&justBefore), 1);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&end), 0);
    // The next occurrence that day lies beyond the end.
    QVERIFY(end < task->nthRepetitionFromDateTime(end, 1));
    const QDateTime after = end.addSecs(1);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&after), 0);
}

void TestRecurrence::xTimesOnce() {
    const QDateTime start = at(2026, 6, 10, 9, 0);
    Task* task = dated(start, RepeatXTimes, 2, IntervalWeeks, {1, 3}, 1, 1);
    COMPARE_MOMENT(task->calculateEndDateTime(), start);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 0);
    for (const QDateTime& from : {start, start.addSecs(1), start.addDays(40)}) {
        QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&from), 0);
    }
    const QDateTime before = start.addSecs(-1);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&before), 1);
}

void TestRecurrence::endOfEachKind_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("repetition");
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<QString>("end");
    QTest::newRow("countdown") << int(Task::T) << int(RepeatNever) << int(IntervalDays)
                               << QStringLiteral("invalid");
    QTest::newRow("never") << int(Task::D) << int(RepeatNever) << int(IntervalWeeks)
                           << QStringLiteral("start");
    // The daemon repeats these itself: their end stays the start.
    QTest::newRow("forever, minutes")
        << int(Task::D) << int(RepeatForever) << int(IntervalMinutes) << QStringLiteral("start");
    QTest::newRow("forever, hours")
        << int(Task::D) << int(RepeatForever) << int(IntervalHours) << QStringLiteral("start");
    QTest::newRow("forever, days")
        << int(Task::D) << int(RepeatForever) << int(IntervalDays) << QStringLiteral("start");
    QTest::newRow("forever, weeks")
        << int(Task::D) << int(RepeatForever) << int(IntervalWeeks) << QStringLiteral("none");
    QTest::newRow("forever, months")
        << int(Task::D) << int(RepeatForever) << int(IntervalMonths) << QStringLiteral("none");
    QTest::newRow("forever, years")
        << int(Task::D) << int(RepeatForever) << int(IntervalYears) << QStringLiteral("none");
    QTest::newRow("forever, unknown interval")
        << int(Task::D) << int(RepeatForever) << 9 << QStringLiteral("start");
    QTest::newRow("damaged kind 0")
        << int(Task::D) << 0 << int(IntervalWeeks) << QStringLiteral("start");
    QTest::newRow("damaged kind 9")
        << int(Task::D) << 9 << int(IntervalYears) << QStringLiteral("start");
}

void TestRecurrence::endOfEachKind() {
    QFETCH(int, type);
    QFETCH(int, repetition);
    QFETCH(int, intervalType);
    QFETCH(QString, end);
    Task task(*manager, 3, QStringLiteral("End"), true, Task::Type(type));
    task.setDate(QDate(2026, 6, 10));
    task.setTime(QTime(9, 0));
    task.setRepetitionFields(repetition, 5, QDate(2026, 7, 1), 1, intervalType, {3}, 1);
    if (end == QLatin1String("start")) {
        COMPARE_MOMENT(task.calculateEndDateTime(), at(2026, 6, 10, 9, 0));
    } else if (end == QLatin1String("invalid")) {
        QVERIFY(!task.calculateEndDateTime().isValid());
    } else {
        // No end: later than any occurrence a calendar can hold.
        QVERIFY(task.calculateEndDateTime().isValid());
        QVERIFY(QDateTime(QDate(9999, 12, 31), QTime(23, 59)) < task.calculateEndDateTime());
        QCOMPARE(task.getNumberOfRepetitionsFromDateTime(nullptr), -1);
    }
}

void TestRecurrence::xTimesEnd_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<int>("every");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<int>("times");
    QTest::addColumn<QDateTime>("end");
    // Start: Wednesday 2026-06-10 09:15.
    QTest::newRow("minutes") << int(IntervalMinutes) << 15 << QList<int>() << 1 << 5
                             << at(2026, 6, 10, 10, 15);
    QTest::newRow("hours") << int(IntervalHours) << 12 << QList<int>() << 1 << 3
                           << at(2026, 6, 11, 9, 15);
    QTest::newRow("days") << int(IntervalDays) << 10 << QList<int>() << 1 << 4
                          << at(2026, 7, 10, 9, 15);
    QTest::newRow("weeks, one day")
        << int(IntervalWeeks) << 1 << QList<int>{3} << 1 << 3 << at(2026, 6, 24, 9, 15);
    // Mon, Wed, Fri every 2 weeks, 6 times: Wed 10, Fri 12, Mon 22, Wed 24, Fri 26, Mon July 6.
    QTest::newRow("weeks, three days")
        << int(IntervalWeeks) << 2 << QList<int>{1, 3, 5} << 1 << 6 << at(2026, 7, 6, 9, 15);
    QTest::newRow("months by day")
        << int(IntervalMonths) << 5 << QList<int>() << 1 << 3 << at(2027, 4, 10, 9, 15);
    QTest::newRow("months by weekday")
        << int(IntervalMonths) << 1 << QList<int>() << 2 << 3 << at(2026, 8, 12, 9, 15);
    QTest::newRow("years") << int(IntervalYears) << 2 << QList<int>() << 1 << 4
                           << at(2032, 6, 10, 9, 15);
    QTest::newRow("unknown monthly kind")
        << int(IntervalMonths) << 1 << QList<int>() << 0 << 3 << at(2026, 6, 10, 9, 15);
    QTest::newRow("unknown interval") << 6 << 1 << QList<int>() << 1 << 3 << at(2026, 6, 10, 9, 15);
}

void TestRecurrence::xTimesEnd() {
    QFETCH(int, intervalType);
    QFETCH(int, every);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(int, times);
    QFETCH(QDateTime, end);
    const QDateTime start = at(2026, 6, 10, 9, 15);
    Task* task = dated(start, RepeatXTimes, every, intervalType, weekdays, monthly, times);
    COMPARE_MOMENT(task->calculateEndDateTime(), end);
    if (end != start) {
        // The walk reaches the same last occurrence, one fewer than the times, after the start.
        QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), times - 1);
        COMPARE_MOMENT(task->nthRepetition(times - 1), end);
    } else {
        QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 0);
    }
}

void TestRecurrence::countOfEachKind() {
    const QDateTime start = at(2026, 6, 10, 9, 15);
    QCOMPARE(
        dated(start, RepeatNever, 1, IntervalDays)->getNumberOfRepetitionsFromDateTime(nullptr), 0);
    Task* endless = dated(start, RepeatForever, 1, IntervalDays);
    QCOMPARE(endless->getNumberOfRepetitionsFromDateTime(nullptr), -1);
    const QDateTime later = start.addYears(1);
    QCOMPARE(endless->getNumberOfRepetitionsFromDateTime(&later), -1);
    Task* tenTimes = dated(start, RepeatXTimes, 1, IntervalWeeks, {3}, 1, 10);
    QCOMPARE(tenTimes->getNumberOfRepetitionsFromDateTime(nullptr), 9);
    const QDateTime fourWeeksOn = start.addDays(28);
    QCOMPARE(tenTimes->getNumberOfRepetitionsFromDateTime(&fourWeeksOn), 5);
    const QDateTime past = start.addDays(100);
    QCOMPARE(tenTimes->getNumberOfRepetitionsFromDateTime(&past), 0);
}

void TestRecurrence::countOfEveryMinuteForAYear() {
    // Every minute until a day a year ahead, asked thirty days after the start.
    const QDateTime start = at(2026, 1, 1, 0, 0);
    Task* task = dated(start, RepeatUntilDate, 1, IntervalMinutes, {}, 1, 0, QDate(2027, 1, 31));
    const QDateTime from = at(2026, 1, 31, 0, 0);
    const QDateTime end = at(2027, 1, 31, 0, 0);
    // Occurrences are whole minutes of elapsed time, whatever the clocks do.
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&from), int(from.secsTo(end) / 60));
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), int(start.secsTo(end) / 60));
    const QDateTime halfMinute = from.addSecs(30);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&halfMinute), int(from.secsTo(end) / 60));
    const QDateTime minuteAndAHalf = from.addSecs(90);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&minuteAndAHalf),
             int(from.secsTo(end) / 60) - 1);
}

void TestRecurrence::countOfWeeksAgainstTheCalendar() {
    // Every 3 weeks on Monday, Thursday and Sunday, from a Tuesday twelve years back.
    const QDate first(2014, 3, 4);
    const QDate last(2027, 11, 30);
    const QList<int> days{1, 4, 7};
    Task* task =
        dated(QDateTime(first, QTime(12, 0)), RepeatUntilDate, 3, IntervalWeeks, days, 1, 0, last);
    // Counted here day by day on the calendar alone: the weeks of the start's week, every 3rd.
    const QDate monday = first.addDays(1 - first.dayOfWeek());
    const auto expected = [&](const QDate& after) {
        int count = 0;
        for (QDate d = after.addDays(1); d <= last; d = d.addDays(1)) {
            if ((monday.daysTo(d) / 7) % 3 == 0 && days.contains(d.dayOfWeek())) {
                ++count;
            }
        }
        return count;
    };
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), expected(first));
    const QDateTime from(QDate(2025, 5, 6), QTime(13, 0));
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&from), expected(from.date()));
}

void TestRecurrence::countOfHoursAcrossTheChanges() {
    // Hours are elapsed time: across both changes of a year the count is the hours in between.
    const QDateTime start = at(2026, 1, 5, 12, 0);
    Task* task = dated(start, RepeatUntilDate, 5, IntervalHours, {}, 1, 0, QDate(2026, 12, 20));
    const QDateTime end = at(2026, 12, 20, 12, 0);
    COMPARE_MOMENT(task->calculateEndDateTime(), end);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), int(start.secsTo(end) / 18000));
    // In a zone with changes the occurrences drift an hour off the wall clock and back.
    const QDateTime summer = task->nthRepetitionFromDateTime(at(2026, 7, 1, 0, 0), 1);
    QCOMPARE(summer.time().minute(), 0);
    QCOMPARE(start.secsTo(summer) % 18000, 0);
}

void TestRecurrence::daysCatchUpBySecondsButJumpByCalendarDays() {
    // A daily task at noon, started the Friday before the clocks go forward.
    const QDate friday = springChange().addDays(-2);
    const QDateTime start(friday, QTime(12, 0));
    Task* task = dated(start, RepeatForever, 1, IntervalDays);
    const QTime caughtUp = zoneHasChanges() ? QTime(13, 0) : QTime(12, 0);
    // Catching up adds 24 elapsed hours a step: past the change the time is an hour on.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(QDateTime(friday.addDays(3), QTime(11, 0)), 1),
                   QDateTime(friday.addDays(3), caughtUp));
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(QDateTime(friday.addDays(3), QTime(11, 0)), 3),
                   QDateTime(friday.addDays(5), caughtUp));
    // The jump from a caught-up occurrence counts calendar days and keeps noon.
    COMPARE_MOMENT(task->nthRepetitionFromDateTime(start, 3),
                   QDateTime(friday.addDays(3), QTime(12, 0)));
    COMPARE_MOMENT(task->nthRepetition(3), QDateTime(friday.addDays(3), QTime(12, 0)));
}

void TestRecurrence::weeklyWalkKeepsTheTimeMovedOnBySkippedHour() {
    if (!zoneHasChanges()) {
        QSKIP("no daylight-saving change in this zone");
    }
    const QDate change = springChange();
    const QTime time(2, 30);
    const QTime movedOn(3, 30);
    // Every week on Monday and Sunday: the walk steps onto the change's Sunday from Saturday,
    // where Qt moves the skipped 02:30 to 03:30, and carries 03:30 on from there.
    const QDateTime start(change.addDays(-7), time);
    Task* weekly = dated(start, RepeatForever, 1, IntervalWeeks, {1, 7});
    COMPARE_MOMENT(weekly->nthRepetition(1), QDateTime(change.addDays(-6), time));
    COMPARE_MOMENT(weekly->nthRepetition(2), QDateTime(change, movedOn));
    COMPARE_MOMENT(weekly->nthRepetition(3), QDateTime(change.addDays(1), movedOn));
    COMPARE_MOMENT(weekly->nthRepetition(4), QDateTime(change.addDays(7), movedOn));
    QCOMPARE(weekly->nthRepetitionFromDateTime(QDateTime(change.addYears(3), time), 1).time(),
             movedOn);
    // Every two weeks the change's Sunday lies in a week the walk jumps over: no change.
    Task* fortnightly = dated(start, RepeatForever, 2, IntervalWeeks, {1, 7});
    COMPARE_MOMENT(fortnightly->nthRepetition(1), QDateTime(change.addDays(1), time));
    COMPARE_MOMENT(fortnightly->nthRepetition(2), QDateTime(change.addDays(7), time));
    COMPARE_MOMENT(fortnightly->nthRepetition(3), QDateTime(change.addDays(15), time));
}

void TestRecurrence::repeatedHourStartIsTheEarlierMoment() {
    const QDate change = autumnChange();
    const QTime time = changeHourTime();
    const QDateTime summer(QDate(2026, 7, 1), QTime(12, 0));
    const QDateTime winter(QDate(2026, 1, 1), QTime(12, 0));
    // The earlier of the two moments keeps the summer offset.
    const QDateTime earlier =
        QDateTime(change, time, Qt::OffsetFromUTC, summer.offsetFromUtc()).toLocalTime();
    Task* hourly = dated(QDateTime(change, time), RepeatForever, 1, IntervalHours);
    for (const QDateTime& before : {winter, summer, winter}) {
        warmUpWith(before);
        COMPARE_MOMENT(hourly->nthRepetitionFromDateTime(at(2026, 1, 1, 0, 0), 1), earlier);
        warmUpWith(before);
        COMPARE_MOMENT(hourly->nthRepetition(1), earlier.addSecs(3600));
    }
    if (zoneHasChanges()) {
        // The next hour shows the same wall-clock time again, an hour later.
        QCOMPARE(hourly->nthRepetition(1).time(), time);
    }
    Task* until = dated(QDateTime(change.addDays(-3), time), RepeatUntilDate, 1, IntervalDays, {},
                        1, 0, change);
    for (const QDateTime& before : {winter, summer}) {
        warmUpWith(before);
        COMPARE_MOMENT(until->calculateEndDateTime(), earlier);
    }
}

void TestRecurrence::startInTheSkippedHour() {
    if (!zoneHasChanges()) {
        QSKIP("no daylight-saving change in this zone");
    }
    const QDateTime start(springChange(), QTime(2, 30));
    QVERIFY(!start.isValid());
    // No seconds can be added to a time that does not exist: the walk stays at the start.
    Task* hourly = dated(start, RepeatUntilDate, 1, IntervalHours, {}, 1, 0, QDate(2026, 12, 1));
    for (int n : {1, 3}) {
        const QDateTime occurrence = hourly->nthRepetitionFromDateTime(start.addDays(2), n);
        QVERIFY(!occurrence.isValid());
        QCOMPARE(occurrence.date(), start.date());
        QCOMPARE(occurrence.time(), start.time());
    }
    QCOMPARE(hourly->getNumberOfRepetitionsFromDateTime(nullptr), 0);
    const QDateTime before = start.addDays(-1);
    QCOMPARE(hourly->getNumberOfRepetitionsFromDateTime(&before), 0);
    // Calendar steps start from the date and time asked for.
    Task* daily = dated(start, RepeatForever, 1, IntervalDays);
    QVERIFY(!daily->nthRepetition(1).isValid());
    Task* weekly = dated(start, RepeatForever, 1, IntervalWeeks, {1});
    COMPARE_MOMENT(weekly->nthRepetition(1), QDateTime(springChange().addDays(1), QTime(2, 30)));
    Task* monthly = dated(start, RepeatForever, 1, IntervalMonths);
    COMPARE_MOMENT(monthly->nthRepetition(1), QDateTime(springChange().addMonths(1), QTime(2, 30)));
}

void TestRecurrence::monthlyByWeekdayAlwaysInTheSkippedHour() {
    if (!zoneHasChanges()) {
        QSKIP("no daylight-saving change in this zone");
    }
    // Every twelve months on the Sunday of the spring change at 02:30: each occurrence
    // is a time that does not exist, never later than anything, so the walk cannot get on.
    const QDateTime start(springChange(), QTime(2, 30));
    Task* task = dated(start, RepeatUntilDate, 12, IntervalMonths, {}, MonthlyByDayOfWeek, 0,
                       QDate(2036, 1, 1));
    const QDateTime occurrence = task->nthRepetitionFromDateTime(start.addYears(4), 1);
    QVERIFY(!occurrence.isValid());
    QCOMPARE(occurrence.date(), start.date());
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(nullptr), 0);
    const QDateTime from = start.addYears(2);
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&from), 0);
    // Every month the walk passes the one skipped occurrence a year.
    Task* monthly = dated(start, RepeatUntilDate, 1, IntervalMonths, {}, MonthlyByDayOfWeek, 0,
                          start.date().addYears(2).addDays(1));
    QCOMPARE(monthly->getNumberOfRepetitionsFromDateTime(nullptr), 24);
    QVERIFY(!monthly->nthRepetition(12).isValid());
    QVERIFY(monthly->nthRepetition(11).isValid());
}

void TestRecurrence::nextOccurrenceStepsPastAlarmsAlreadyDue() {
    const QDateTime now = QDateTime::currentDateTime();
    // Every day of the week, at a minute about half an hour from now.
    const QDateTime soon = now.addSecs(30 * 60 + 60);
    const QTime time(soon.time().hour(), soon.time().minute());
    const QDateTime today(soon.date(), time);
    // Expectations below take the wall-clock time as fixed from day to day.
    for (int day = -15; day <= 4; ++day) {
        if (QDateTime(soon.date().addDays(day), time).offsetFromUtc() != today.offsetFromUtc()) {
            QSKIP("a daylight-saving change lies within days of this time");
        }
    }
    Task* task = dated(QDateTime(soon.date().addDays(-14), time), RepeatUntilDate, 1, IntervalWeeks,
                       {1, 2, 3, 4, 5, 6, 7}, 1, 0, soon.date().addDays(60));
    task->addAlarm(false, 10, Alarm::Minutes, QString());
    task->addAlarm(true, 2, Alarm::Hours, QString());
    task->addAlarm(true, 1, Alarm::Days, QString());
    task->addAlarm(true, 3, Alarm::Days, QString());
    COMPARE_MOMENT(task->getAlarm(0)->getNextOccurrence(), today.addSecs(600));
    // Two hours before today's occurrence is past: tomorrow's is the next.
    COMPARE_MOMENT(task->getAlarm(1)->getNextOccurrence(),
                   QDateTime(soon.date().addDays(1), time).addSecs(-7200));
    COMPARE_MOMENT(task->getAlarm(2)->getNextOccurrence(),
                   QDateTime(soon.date().addDays(1), time).addDays(-1));
    COMPARE_MOMENT(task->getAlarm(3)->getNextOccurrence(),
                   QDateTime(soon.date().addDays(3), time).addDays(-3));
}

void TestRecurrence::nextOccurrenceAfterTheEnd() {
    const QDate today = QDate::currentDate();
    Task* ended = dated(QDateTime(today.addDays(-20), QTime(9, 0)), RepeatUntilDate, 1,
                        IntervalWeeks, {1, 4}, 1, 0, today.addDays(-1));
    ended->addAlarm(true, 5, Alarm::Minutes, QString());
    QVERIFY(!ended->getAlarm(0)->getNextOccurrence().isValid());
    Task* twice = dated(QDateTime(today.addDays(-70), QTime(9, 0)), RepeatXTimes, 1, IntervalMonths,
                        {}, 1, 2);
    twice->addAlarm(false, 0, Alarm::Minutes, QString());
    QVERIFY(!twice->getAlarm(0)->getNextOccurrence().isValid());
    // The last occurrence itself is still in: an alarm on it is due, one after it is not.
    const QDate first = today.addDays(1).addYears(-1);
    Task* lastAhead =
        dated(QDateTime(first, QTime(9, 0)), RepeatXTimes, 1, IntervalYears, {}, 1, 2);
    lastAhead->addAlarm(false, 0, Alarm::Minutes, QString());
    lastAhead->addAlarm(false, 1, Alarm::Days, QString());
    COMPARE_MOMENT(lastAhead->getAlarm(0)->getNextOccurrence(),
                   QDateTime(first.addYears(1), QTime(9, 0)));
    QVERIFY(!lastAhead->getAlarm(1)->getNextOccurrence().isValid());
}

void TestRecurrence::foreverHasNoEnd_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<int>("every");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<QDate>("start");
    QTest::addColumn<QDate>("from");
    // Starts years back, asked across both daylight-saving changes of a later year.
    QTest::newRow("every week, Mon and Thu") << int(IntervalWeeks) << 1 << QList<int>{1, 4} << 1
                                             << QDate(2023, 1, 2) << QDate(2026, 3, 27);
    QTest::newRow("every 2 weeks, Mon and Thu") << int(IntervalWeeks) << 2 << QList<int>{1, 4} << 1
                                                << QDate(2023, 1, 5) << QDate(2026, 10, 22);
    QTest::newRow("every month, same day")
        << int(IntervalMonths) << 1 << QList<int>() << 1 << QDate(2022, 5, 28) << QDate(2026, 3, 2);
    QTest::newRow("every 3 months, same day") << int(IntervalMonths) << 3 << QList<int>() << 1
                                              << QDate(2021, 11, 9) << QDate(2026, 10, 30);
    QTest::newRow("every month, 4th Sunday")
        << int(IntervalMonths) << 1 << QList<int>() << int(MonthlyByDayOfWeek) << QDate(2024, 2, 25)
        << QDate(2026, 3, 1);
    QTest::newRow("every 2 months, 1st Tuesday")
        << int(IntervalMonths) << 2 << QList<int>() << int(MonthlyByDayOfWeek) << QDate(2025, 1, 7)
        << QDate(2026, 10, 1);
    QTest::newRow("every year") << int(IntervalYears) << 1 << QList<int>() << 1
                                << QDate(2019, 3, 28) << QDate(2026, 3, 28);
    QTest::newRow("every 2 years")
        << int(IntervalYears) << 2 << QList<int>() << 1 << QDate(2016, 11, 1) << QDate(2026, 11, 1);
}

void TestRecurrence::foreverHasNoEnd() {
    QFETCH(int, intervalType);
    QFETCH(int, every);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(QDate, start);
    QFETCH(QDate, from);
    const QTime noon(12, 0);
    Task* task =
        dated(QDateTime(start, noon), RepeatForever, every, intervalType, weekdays, monthly);
    const QDateTime asked(from, QTime(13, 0));
    const QList<QDate> dates =
        Calendar{intervalType, every, weekdays, monthly}.dates(start, from.addYears(8));
    QList<QDate> ahead;
    for (const QDate& date : dates) {
        if (asked < QDateTime(date, noon)) {
            ahead.append(date);
        }
    }
    QVERIFY(ahead.size() >= 3);
    const QDateTime end = task->calculateEndDateTime();
    for (int n = 1; n <= 3; ++n) {
        const QDateTime occurrence = task->nthRepetitionFromDateTime(asked, n);
        COMPARE_MOMENT(occurrence, QDateTime(ahead.at(n - 1), noon));
        QVERIFY(!(end < occurrence));
    }
    QVERIFY(!(end < QDateTime(from.addYears(400), noon)));
    QCOMPARE(task->getNumberOfRepetitionsFromDateTime(&asked), -1);
}

void TestRecurrence::nextOccurrenceOfForeverTask_data() {
    QTest::addColumn<int>("intervalType");
    QTest::addColumn<int>("every");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<int>("startInDays");
    QTest::addColumn<bool>("isBefore");
    QTest::addColumn<int>("units");
    QTest::addColumn<int>("unit");
    const QList<int> monThu{1, 4};
    const int weeks = IntervalWeeks;
    const int months = IntervalMonths;
    const int years = IntervalYears;
    const int byWeekday = MonthlyByDayOfWeek;
    const int minutes = Alarm::Minutes;
    // Every alarm of a task started long ago still has a next moment, and so has one of a
    // task still ahead, whatever its offset.
    QTest::newRow("weekly Mon+Thu, on time")
        << weeks << 1 << monThu << 1 << -60 << false << 0 << minutes;
    QTest::newRow("weekly Mon+Thu, 30 minutes before")
        << weeks << 1 << monThu << 1 << -60 << true << 30 << minutes;
    QTest::newRow("weekly Mon+Thu, a day before")
        << weeks << 1 << monThu << 1 << -60 << true << 1 << int(Alarm::Days);
    QTest::newRow("weekly Mon+Thu, 10 minutes after")
        << weeks << 1 << monThu << 1 << -60 << false << 10 << minutes;
    QTest::newRow("every 2 weeks, on time")
        << weeks << 2 << monThu << 1 << -100 << false << 0 << minutes;
    QTest::newRow("every 2 weeks, 2 hours before")
        << weeks << 2 << monThu << 1 << -100 << true << 2 << int(Alarm::Hours);
    QTest::newRow("monthly by day, on time")
        << months << 1 << QList<int>() << 1 << -400 << false << 0 << minutes;
    QTest::newRow("monthly by day, a day before")
        << months << 1 << QList<int>() << 1 << -400 << true << 1 << int(Alarm::Days);
    QTest::newRow("monthly by weekday, on time")
        << months << 1 << QList<int>() << byWeekday << -300 << false << 0 << minutes;
    QTest::newRow("monthly by weekday, 10 minutes after")
        << months << 1 << QList<int>() << byWeekday << -300 << false << 10 << minutes;
    QTest::newRow("yearly, on time")
        << years << 1 << QList<int>() << 1 << -1000 << false << 0 << minutes;
    QTest::newRow("yearly, 30 minutes before")
        << years << 1 << QList<int>() << 1 << -1000 << true << 30 << minutes;
    QTest::newRow("weekly Mon+Thu, ahead, 10 minutes after")
        << weeks << 1 << monThu << 1 << 9 << false << 10 << minutes;
    QTest::newRow("monthly, ahead, a day before")
        << months << 1 << QList<int>() << 1 << 40 << true << 1 << int(Alarm::Days);
}

void TestRecurrence::nextOccurrenceOfForeverTask() {
    QFETCH(int, intervalType);
    QFETCH(int, every);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(int, startInDays);
    QFETCH(bool, isBefore);
    QFETCH(int, units);
    QFETCH(int, unit);
    const QTime noon(12, 0);
    // Noon and the alarm moments around it must not be passed while the test runs.
    if (LiteralRecurrence::nearNoon({-120, -30, 0, 10})) {
        QSKIP("too close to an alarm moment of the test");
    }
    const QDateTime now = QDateTime::currentDateTime();
    const QDate start = LiteralRecurrence::calendarStart(intervalType, weekdays,
                                                         QDate::currentDate().addDays(startInDays));
    Task* task =
        dated(QDateTime(start, noon), RepeatForever, every, intervalType, weekdays, monthly);
    task->addAlarm(isBefore, units, Alarm::Unit(unit), QString());
    const Alarm* alarm = task->getAlarm(0);
    // The first occurrence after now whose alarm moment is after now too.
    QDateTime expected;
    const QList<QDate> dates = Calendar{intervalType, every, weekdays, monthly}.dates(
        start, QDate::currentDate().addYears(3));
    for (const QDate& date : dates) {
        const QDateTime occurrence(date, noon);
        if (now < occurrence && now < alarm->addAlarmOffset(occurrence)) {
            expected = alarm->addAlarmOffset(occurrence);
            break;
        }
    }
    QVERIFY(expected.isValid());
    COMPARE_MOMENT(alarm->getNextOccurrence(), expected);
}

void TestRecurrence::damagedRowsCannotAdvance_data() {
    QTest::addColumn<QString>("date");
    QTest::addColumn<QString>("row");
    QTest::addColumn<int>("countFromBefore");
    // START is a day 200 days ago, UNTIL one 300 days ahead.
    // repeat_type, repeat_units, repeat_stop_date, repeat_interval_type, repeat_interval_units,
    // extra_data
    QTest::newRow("weeks, interval 0") << "START"
                                       << "3, 0, 'UNTIL', 3, 0, 'W:3'" << 1;
    QTest::newRow("weeks, interval -1") << "START"
                                        << "4, 5, '', 3, -1, 'W:1:4'" << 1;
    QTest::newRow("months, interval 0") << "START"
                                        << "3, 0, 'UNTIL', 4, 0, 'M:1'" << 1;
    QTest::newRow("months by weekday, interval 0") << "START"
                                                   << "4, 5, '', 4, 0, 'M:2'" << 1;
    QTest::newRow("years, interval -3") << "START"
                                        << "4, 4, '', 5, -3, ''" << 1;
    QTest::newRow("weekly, no weekday") << "START"
                                        << "4, 5, '', 3, 1, 'W'" << 1;
    QTest::newRow("weekly, no weekday, until") << "START"
                                               << "3, 0, 'UNTIL', 3, 2, 'W'" << 1;
    QTest::newRow("weekly, days out of range") << "START"
                                               << "3, 0, 'UNTIL', 3, 1, 'W:0:9'" << 1;
    QTest::newRow("weekly, empty days") << "START"
                                        << "4, 3, '', 3, 1, 'W::'" << 1;
    QTest::newRow("minutes, interval 0") << "START"
                                         << "3, 0, 'UNTIL', 0, 0, ''" << 1;
    QTest::newRow("hours, interval -2") << "START"
                                        << "3, 0, 'UNTIL', 1, -2, ''" << 1;
    QTest::newRow("unknown monthly kind") << "START"
                                          << "3, 0, 'UNTIL', 4, 1, 'M:7'" << 1;
    QTest::newRow("unknown interval") << "START"
                                      << "3, 0, 'UNTIL', 9, 1, ''" << 1;
    QTest::newRow("date that is no date") << "soon"
                                          << "3, 0, 'UNTIL', 3, 1, 'W:3'" << 0;
}

void TestRecurrence::damagedRowsCannotAdvance() {
    QFETCH(QString, date);
    QFETCH(QString, row);
    QFETCH(int, countFromBefore);
    const QDate today = QDate::currentDate();
    const QString startText = today.addDays(-200).toString(QStringLiteral("yyyy-MM-dd"));
    const QString untilText = today.addDays(300).toString(QStringLiteral("yyyy-MM-dd"));
    date.replace(QLatin1String("START"), startText);
    row.replace(QLatin1String("UNTIL"), untilText);
    QVERIFY(TestDatabase::exec(QStringLiteral("DELETE FROM tasks WHERE id = 60")));
    QVERIFY(TestDatabase::exec(QStringLiteral("DELETE FROM repetitions WHERE task_id = 60")));
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO tasks (id, name, active, type, date, "
                                              "time) VALUES (60, 'damaged', 1, 2, '%1', '08:00')")
                                   .arg(date)));
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, "
                       "extra_data) VALUES (60, %1)")
            .arg(row)));
    Task task(*manager, 60, QStringLiteral("damaged"), true, Task::D);
    task.loadDateTime();
    task.loadRepetitions();
    QVERIFY(task.hasRepetition());
    const QDateTime start(task.date(), task.time());
    const QDateTime later(today.addDays(100), QTime(10, 0));
    const QDateTime earlier(today.addDays(-203), QTime(10, 0));
    // The start is the only occurrence: every query stays there, none hangs.
    for (int n : {1, 2, 7}) {
        COMPARE_MOMENT(task.nthRepetitionFromDateTime(later, n), start);
        COMPARE_MOMENT(task.nthRepetitionFromDateTime(earlier, n), start);
    }
    COMPARE_MOMENT(task.nthRepetition(3), start);
    if (task.repetition() == RepeatXTimes) {
        COMPARE_MOMENT(task.calculateEndDateTime(), start);
    }
    QCOMPARE(task.getNumberOfRepetitionsFromDateTime(nullptr), 0);
    QCOMPARE(task.getNumberOfRepetitionsFromDateTime(&earlier), countFromBefore);
    QCOMPARE(task.getNumberOfRepetitionsFromDateTime(&later), 0);
    // An alarm of a start long past has no next moment.
    task.addAlarm(true, 10, Alarm::Minutes, QString());
    QVERIFY(!task.getAlarm(0)->getNextOccurrence().isValid());
}

void TestRecurrence::sortOrder() {
    Task activeB(*manager, 1, QStringLiteral("b"), true, Task::D);
    Task inactiveA(*manager, 2, QStringLiteral("a"), false, Task::D);
    QVERIFY(activeB < inactiveA);
    QVERIFY(!(inactiveA < activeB));
    Task activeA(*manager, 3, QStringLiteral("a"), true, Task::T);
    QVERIFY(activeA < activeB);
    QVERIFY(!(activeB < activeA));
    // Upper case sorts before lower case, and equal names are unordered.
    Task upper(*manager, 4, QStringLiteral("Zebra"), true, Task::D);
    QVERIFY(upper < activeA);
    Task twin(*manager, 5, QStringLiteral("b"), true, Task::D);
    QVERIFY(!(twin < activeB));
    QVERIFY(!(activeB < twin));
    // Code units, not the locale: an accented letter sorts after every plain one.
    Task accented(*manager, 6, QStringLiteral("\u00e9clair"), true, Task::D);
    Task plain(*manager, 7, QStringLiteral("zoo"), true, Task::D);
    QVERIFY(plain < accented);
}

void TestRecurrence::taskLessSortsPointers() {
    std::vector<std::unique_ptr<Task>> owned;
    const QList<QPair<QString, bool>> made{{QStringLiteral("milk"), false},
                                           {QStringLiteral("Bills"), true},
                                           {QStringLiteral("alarm"), false},
                                           {QStringLiteral("tea"), true},
                                           {QStringLiteral("Alarm"), true}};
    QVector<Task*> list;
    for (const auto& entry : made) {
        owned.push_back(std::make_unique<Task>(*manager, int(owned.size()) + 1, entry.first,
                                               entry.second, Task::D));
        list.append(owned.back().get());
    }
    std::sort(list.begin(), list.end(), TaskLess());
    QStringList names;
    for (const Task* task : list) {
        names.append(task->name());
    }
    QCOMPARE(names,
             (QStringList{QStringLiteral("Alarm"), QStringLiteral("Bills"), QStringLiteral("tea"),
                          QStringLiteral("alarm"), QStringLiteral("milk")}));
}

PARDO_TEST_MAIN(TestRecurrence)
#include "tst_recurrence.moc"
