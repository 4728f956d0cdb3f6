#include "pardotest.h"
#include "recurrencetestcase.h"
#include "task.h"

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

void warmUpWith(const QDateTime& moment) {
    // Any local conversion leaves its offset behind for the next one.
    QDateTime copy(moment.date(), moment.time());
    Q_UNUSED(copy.toMSecsSinceEpoch());
}

} // namespace

// Repetitions across the hours that daylight saving time skips or repeats.
class TestRecurrenceDst : public RecurrenceTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void countOfHoursAcrossTheChanges();
    void daysCatchUpBySecondsButJumpByCalendarDays();
    void weeklyWalkKeepsTheTimeMovedOnBySkippedHour();
    void repeatedHourStartIsTheEarlierMoment();
    void startInTheSkippedHour();
    void monthlyByWeekdayAlwaysInTheSkippedHour();
};

void TestRecurrenceDst::initTestCase() {
    openDatabase(QStringLiteral("recurrencedst"));
}

void TestRecurrenceDst::cleanupTestCase() {
    closeDatabase();
}

void TestRecurrenceDst::cleanup() {
    dropTasks();
}

void TestRecurrenceDst::countOfHoursAcrossTheChanges() {
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

void TestRecurrenceDst::daysCatchUpBySecondsButJumpByCalendarDays() {
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

void TestRecurrenceDst::weeklyWalkKeepsTheTimeMovedOnBySkippedHour() {
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

void TestRecurrenceDst::repeatedHourStartIsTheEarlierMoment() {
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

void TestRecurrenceDst::startInTheSkippedHour() {
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

void TestRecurrenceDst::monthlyByWeekdayAlwaysInTheSkippedHour() {
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

PARDO_TEST_MAIN(TestRecurrenceDst)
#include "tst_recurrencedst.moc"
