// Monthly and yearly occurrences over long stretches against the step-by-step
// walk: fifty years and more from the start, every interval from 1 to 13 months,
// days the shorter months lack, 29 February, and times at the hours the local
// zone's clocks skip or repeat.
#include <QtTest>

#include "literalrecurrence.h"
#include "momentcompare.h"
#include "repetitionrule.h"

namespace {

QString describe(const QDateTime& moment) {
    return MomentCompare::describe(moment);
}

bool identical(const QDateTime& a, const QDateTime& b) {
    return MomentCompare::identical(a, b);
}

// Starts where a month's length, a leap day or a daylight-saving change matters.
#ifdef PARDO_SANITIZED
const QList<QDate> kStarts = {QDate(1980, 2, 29), QDate(1981, 3, 29), QDate(1990, 10, 28)};
#else
const QList<QDate> kStarts = {QDate(1976, 1, 31), QDate(1980, 2, 29),  QDate(1981, 3, 29),
                              QDate(1984, 8, 31), QDate(1990, 10, 28), QDate(1999, 12, 30),
                              QDate(2004, 3, 28), QDate(2008, 10, 5)};
#endif
// The hours the zones under test change their clocks at, and one far from them.
const QList<QTime> kTimes = {QTime(2, 30), QTime(1, 30), QTime(2, 0), QTime(9, 0)};

} // namespace

class TestLongRecurrence : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void agreesWithTheWalkOverDecades_data();
    void agreesWithTheWalkOverDecades();

private:
    bool check(const RepetitionRule& rule, const QString& query, const QDateTime& fast,
               const QDateTime& literal);
};

bool TestLongRecurrence::check(const RepetitionRule& rule, const QString& query,
                               const QDateTime& fast, const QDateTime& literal) {
    if (identical(fast, literal)) {
        return true;
    }
    QTest::qFail(
        qPrintable(QStringLiteral("start %1 %2 every %3: %4 gives %5, the walk gives %6")
                       .arg(rule.date().toString(Qt::ISODate), rule.time().toString(Qt::ISODate))
                       .arg(rule.repeatIntervalNumber())
                       .arg(query, describe(fast), describe(literal))),
        __FILE__, __LINE__);
    return false;
}

void TestLongRecurrence::agreesWithTheWalkOverDecades_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("monthly");
    QTest::newRow("months by day") << int(IntervalMonths) << int(MonthlyByDayOfMonth);
    QTest::newRow("months by weekday") << int(IntervalMonths) << int(MonthlyByDayOfWeek);
    QTest::newRow("years") << int(IntervalYears) << int(MonthlyByDayOfMonth);
}

void TestLongRecurrence::agreesWithTheWalkOverDecades() {
    QFETCH(int, type);
    QFETCH(int, monthly);
    RepetitionRule rule;
    const int longest = type == IntervalYears ? 4 : 13;
    int queries = 0;
    int counts = 0;
    for (const QDate& start : kStarts) {
        for (const QTime& time : kTimes) {
            for (int every = 1; every <= longest; ++every) {
                rule.setDate(start);
                rule.setTime(time);
                rule.setRepetitionFields(RepeatForever, 0, QDate(), every, type, {}, monthly);
                // From a few days after the start to some 80 years after it.
                for (const int days : {3, 400, 4000, 12000, 18300, 30000}) {
                    const QDateTime from(start.addDays(days), time.addSecs(-1800));
                    // Past 2037 the zone's changes are worked out week by week: a few
                    // tasks go there, not all.
                    if (from.date().year() > 2040 && (time != QTime(2, 30) || every % 6 != 1)) {
                        continue;
                    }
                    for (const int n : {1, 2, 3}) {
                        const QString query =
                            QStringLiteral("occurrence %1 after %2").arg(n).arg(describe(from));
                        if (!check(rule, query, rule.nthRepetitionFromDateTime(from, n),
                                   LiteralRecurrence::nthRepetitionFromDateTime(rule, from, n))) {
                            return;
                        }
                        ++queries;
                    }
                }
                if (time != QTime(2, 30) || (every != 1 && every != 5 && every != 12)) {
                    continue;
                }
                // Counting walks again for every occurrence counted: a few years' worth,
                // after a long catch-up.
                const QDateTime from(start.addYears(40), time);
                rule.setRepetitionFields(RepeatUntilDate, 0, from.date().addYears(3), every, type,
                                         {}, monthly);
                const int fast = rule.getNumberOfRepetitionsFromDateTime(&from);
                const int literal =
                    LiteralRecurrence::getNumberOfRepetitionsFromDateTime(rule, &from);
                QCOMPARE(fast, literal);
                rule.setRepetitionFields(RepeatXTimes, 40 * 12 / every + 4, QDate(), every, type,
                                         {}, monthly);
                QCOMPARE(rule.getNumberOfRepetitionsFromDateTime(&from),
                         LiteralRecurrence::getNumberOfRepetitionsFromDateTime(rule, &from));
                QCOMPARE(rule.calculateEndDateTime(),
                         LiteralRecurrence::calculateEndDateTime(rule));
                counts += 3;
            }
        }
    }
    QVERIFY(queries > kStarts.size() * kTimes.size() * longest * 4 * 3);
    qInfo("%d occurrence queries and %d counts", queries, counts);
}

QTEST_GUILESS_MAIN(TestLongRecurrence)
#include "tst_longrecurrence.moc"
