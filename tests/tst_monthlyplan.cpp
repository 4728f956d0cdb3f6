// The dates of monthly and yearly walks, counted, against QDate's own month steps
// taken one at a time.
#include <QtTest>

#include "monthlyplan.h"
#include "util.h"

namespace {

// The walk's date after m steps of `every` months from x, as the engine steps it.
QDate walked(MonthlyPlan::Kind kind, int every, const QDate& x, int m) {
    const int week = Util::whichDayOfWeekInMonthIsDate(x);
    const int weekday = x.dayOfWeek();
    QDate date = x;
    for (int i = 0; i < m; ++i) {
        date = date.addMonths(every);
        if (kind == MonthlyPlan::ByWeekday) {
            date = Util::nthDayOfWeekInMonth(date, week, weekday);
        }
    }
    return date;
}

} // namespace

class TestMonthlyPlan : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void matchesTheStepByStepDates_data();
    void matchesTheStepByStepDates();
    void countsTheOccurrencesUpToADay();
    void findsTheStepThatMeetsADay();
    void leavesTheCalendar();
};

void TestMonthlyPlan::matchesTheStepByStepDates_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QDate>("start");
    for (const QDate& start : {QDate(1976, 1, 31), QDate(1980, 2, 29), QDate(1984, 8, 31),
                               QDate(1999, 12, 30), QDate(2004, 3, 28), QDate(2026, 6, 15)}) {
        QTest::addRow("by day from %s", qPrintable(start.toString(Qt::ISODate)))
            << int(MonthlyPlan::ByDay) << start;
        QTest::addRow("by weekday from %s", qPrintable(start.toString(Qt::ISODate)))
            << int(MonthlyPlan::ByWeekday) << start;
    }
}

void TestMonthlyPlan::matchesTheStepByStepDates() {
    QFETCH(int, kind);
    QFETCH(QDate, start);
    const auto byWhat = MonthlyPlan::Kind(kind);
    for (int every = 1; every <= 13; ++every) {
        const MonthlyPlan plan(byWhat, every, Util::whichDayOfWeekInMonthIsDate(start),
                               start.dayOfWeek());
        // Six hundred months and more: fifty years at the shortest interval.
        for (int m = 0; m <= 610; m += 1 + m / 40) {
            QCOMPARE(plan.after(start, m), walked(byWhat, every, start, m));
        }
    }
    // Years are steps of twelve months.
    const MonthlyPlan yearly(byWhat, 12 * 4, Util::whichDayOfWeekInMonthIsDate(start),
                             start.dayOfWeek());
    QCOMPARE(yearly.after(start, 30), walked(byWhat, 48, start, 30));
}

void TestMonthlyPlan::countsTheOccurrencesUpToADay() {
    const QDate start(1976, 1, 31);
    const MonthlyPlan plan(MonthlyPlan::ByDay, 1, 0, 0);
    QCOMPARE(plan.countUpTo(start, QDate(1976, 2, 28)), 0);
    QCOMPARE(plan.countUpTo(start, QDate(1976, 2, 29)), 1);
    // From February 1977 on the walk keeps the 28th.
    QCOMPARE(plan.countUpTo(start, QDate(2026, 1, 27)), 599);
    QCOMPARE(plan.countUpTo(start, QDate(2026, 1, 28)), 600);
    QCOMPARE(plan.countUpTo(start, QDate(1975, 1, 1)), 0);
    const MonthlyPlan everyFive(MonthlyPlan::ByDay, 5, 0, 0);
    QCOMPARE(everyFive.countUpTo(start, QDate(2026, 1, 31)), 120);
}

void TestMonthlyPlan::findsTheStepThatMeetsADay() {
    const QDate start(2004, 3, 28); // the fourth Sunday of March
    const MonthlyPlan byDay(MonthlyPlan::ByDay, 12, 0, 0);
    QCOMPARE(byDay.stepOn(start, QDate(2010, 3, 28)), 6);
    QCOMPARE(byDay.stepOn(start, QDate(2010, 3, 27)), 0);
    QCOMPARE(byDay.stepOn(start, QDate(2010, 4, 28)), 0);
    QCOMPARE(byDay.stepOn(start, start), 0);
    const MonthlyPlan byWeekday(MonthlyPlan::ByWeekday, 1, 4, 7);
    QCOMPARE(byWeekday.stepOn(start, QDate(2004, 4, 25)), 1);
    // On the way to it the walk also converts a time on 28 April.
    QCOMPARE(byWeekday.stepOn(start, QDate(2004, 4, 28)), 1);
    QCOMPARE(byWeekday.stepOn(start, QDate(2004, 4, 27)), 0);
}

void TestMonthlyPlan::leavesTheCalendar() {
    const MonthlyPlan plan(MonthlyPlan::ByDay, 12, 0, 0);
    QCOMPARE(plan.after(QDate(9990, 5, 1), 9), QDate(9999, 5, 1));
    QVERIFY(!plan.after(QDate(9990, 5, 1), 10).isValid());
    QVERIFY(!plan.after(QDate(-5, 5, 1), 1).isValid());
    QVERIFY(!plan.after(QDate(), 1).isValid());
}

QTEST_GUILESS_MAIN(TestMonthlyPlan)
#include "tst_monthlyplan.moc"
