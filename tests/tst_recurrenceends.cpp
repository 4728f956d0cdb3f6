#include "literalrecurrence.h"
#include "pardotest.h"
#include "recurrencetestcase.h"
#include "task.h"
#include "taskmanager.h"

// Where repetitions end, how many occurrences they have, and the next one from a moment.
class TestRecurrenceEnds : public RecurrenceTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void untilEndsAtTheStopDateAtTheTaskTime();
    void xTimesOnce();
    void endOfEachKind_data();
    void endOfEachKind();
    void xTimesEnd_data();
    void xTimesEnd();
    void countOfEachKind();
    void countOfEveryMinuteForAYear();
    void countOfWeeksAgainstTheCalendar();
    void nextOccurrenceStepsPastAlarmsAlreadyDue();
    void nextOccurrenceAfterTheEnd();
    void foreverHasNoEnd_data();
    void foreverHasNoEnd();
    void nextOccurrenceOfForeverTask_data();
    void nextOccurrenceOfForeverTask();
};

void TestRecurrenceEnds::initTestCase() {
    openDatabase(QStringLiteral("recurrenceends"));
}

void TestRecurrenceEnds::cleanupTestCase() {
    closeDatabase();
}

void TestRecurrenceEnds::cleanup() {
    dropTasks();
}

void TestRecurrenceEnds::untilEndsAtTheStopDateAtTheTaskTime() {
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

void TestRecurrenceEnds::xTimesOnce() {
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

void TestRecurrenceEnds::endOfEachKind_data() {
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

void TestRecurrenceEnds::endOfEachKind() {
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

void TestRecurrenceEnds::xTimesEnd_data() {
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

void TestRecurrenceEnds::xTimesEnd() {
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

void TestRecurrenceEnds::countOfEachKind() {
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

void TestRecurrenceEnds::countOfEveryMinuteForAYear() {
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

void TestRecurrenceEnds::countOfWeeksAgainstTheCalendar() {
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

void TestRecurrenceEnds::nextOccurrenceStepsPastAlarmsAlreadyDue() {
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

void TestRecurrenceEnds::nextOccurrenceAfterTheEnd() {
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

void TestRecurrenceEnds::foreverHasNoEnd_data() {
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

void TestRecurrenceEnds::foreverHasNoEnd() {
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

void TestRecurrenceEnds::nextOccurrenceOfForeverTask_data() {
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

void TestRecurrenceEnds::nextOccurrenceOfForeverTask() {
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

PARDO_TEST_MAIN(TestRecurrenceEnds)
#include "tst_recurrenceends.moc"
