#include <algorithm>

#include "pardotest.h"
#include "recurrencetestcase.h"
#include "task.h"
#include "taskless.h"
#include "taskmanager.h"
#include "testdatabase.h"
#include "util.h"

// Occurrences of each kind of repetition, rows that cannot repeat, and the order of tasks.
class TestRecurrence : public RecurrenceTestCase {
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
    void damagedRowsCannotAdvance_data();
    void damagedRowsCannotAdvance();
    void sortOrder();
    void taskLessSortsPointers();
};

void TestRecurrence::initTestCase() {
    openDatabase(QStringLiteral("recurrence"));
}

void TestRecurrence::cleanupTestCase() {
    closeDatabase();
}

void TestRecurrence::cleanup() {
    dropTasks();
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
