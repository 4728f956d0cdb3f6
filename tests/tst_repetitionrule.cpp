// The repetition rule on its own, without a task or an application object: the
// extra_data text it writes and reads, and its occurrence queries against the
// step-by-step walk, daylight-saving changes of the zone under test included.
#include <QtTest>

#include "literalrecurrence.h"
#include "momentcompare.h"
#include "repetitionrule.h"

Q_DECLARE_METATYPE(RepetitionRule)

namespace {

RepetitionRule rule(const QDate& date, const QTime& time, int repetition, int every, int type,
                    const QList<int>& weekdays = {}, int monthly = MonthlyByDayOfMonth,
                    int stopNumber = 0, const QDate& stopDate = QDate()) {
    RepetitionRule made;
    made.setDate(date);
    made.setTime(time);
    made.setRepetitionFields(repetition, stopNumber, stopDate, every, type, weekdays, monthly);
    return made;
}

} // namespace

class TestRepetitionRule : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void startsAsNoRepetition();
    void extraDataText_data();
    void extraDataText();
    void weeklyTextIsRead_data();
    void weeklyTextIsRead();
    void monthlyTextIsRead_data();
    void monthlyTextIsRead();
    void trivialRepetitions_data();
    void trivialRepetitions();
    void agreesWithTheWalk_data();
    void agreesWithTheWalk();
    void aCountdownHasNoEnd();
    void copiesAreIndependent();
};

void TestRepetitionRule::startsAsNoRepetition() {
    const RepetitionRule empty;
    QCOMPARE(empty.repetition(), int(RepeatNever));
    QCOMPARE(empty.repeatIntervalType(), int(IntervalMinutes));
    QCOMPARE(empty.monthlyRepeatType(), int(MonthlyByDayOfMonth));
    QCOMPARE(empty.repetitionStopNumber(), 0);
    QCOMPARE(empty.repeatIntervalNumber(), 0);
    QVERIFY(empty.weeklyRepeatDays().isEmpty());
    QVERIFY(!empty.isCountdown());
    QVERIFY(!empty.hasRepetition());
    QVERIFY(empty.nthRepetitionFromDateTime(QDateTime::currentDateTime(), 1).isNull());
    QCOMPARE(empty.getNumberOfRepetitionsFromDateTime(nullptr), 0);
    QCOMPARE(empty.extraData(), QString());
}

void TestRepetitionRule::extraDataText_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QList<int>>("weekdays");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<QString>("expected");
    QTest::newRow("weekly Monday and Thursday") << 3 << QList<int>{1, 4} << 1 << "W:1:4";
    QTest::newRow("weekly, list order and repeats kept")
        << 3 << QList<int>{5, 1, 5} << 1 << "W:5:1:5";
    QTest::newRow("weekly, no weekday") << 3 << QList<int>() << 1 << "W";
    QTest::newRow("weekly, out of range kept") << 3 << QList<int>{9, -1} << 1 << "W:9:-1";
    QTest::newRow("monthly by day") << 4 << QList<int>{2} << 1 << "M:1";
    QTest::newRow("monthly by weekday") << 4 << QList<int>() << 2 << "M:2";
    QTest::newRow("monthly, unknown kind") << 4 << QList<int>() << 7 << "M:7";
    QTest::newRow("daily") << 2 << QList<int>{1} << 2 << "";
    QTest::newRow("yearly") << 5 << QList<int>() << 2 << "";
    QTest::newRow("unknown interval") << 9 << QList<int>{1} << 2 << "";
}

void TestRepetitionRule::extraDataText() {
    QFETCH(int, type);
    QFETCH(QList<int>, weekdays);
    QFETCH(int, monthly);
    QFETCH(QString, expected);
    const RepetitionRule r =
        rule(QDate(2030, 1, 7), QTime(9, 0), RepeatForever, 1, type, weekdays, monthly);
    QCOMPARE(r.extraData(), expected);
    // Never null: the column always held '' rather than NULL.
    QVERIFY(!r.extraData().isNull() || expected.isEmpty());
}

void TestRepetitionRule::weeklyTextIsRead_data() {
    QTest::addColumn<QList<int>>("before");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<int>>("expected");
    QTest::newRow("W:1:3:5") << QList<int>() << "W:1:3:5" << QList<int>{1, 3, 5};
    QTest::newRow("W") << QList<int>() << "W" << QList<int>();
    QTest::newRow("lower-case w") << QList<int>() << "w:1" << QList<int>();
    QTest::newRow("other letter") << QList<int>{2} << "X:1" << QList<int>{2};
    QTest::newRow("empty part") << QList<int>() << "W::3" << QList<int>{0, 3};
    QTest::newRow("not a number") << QList<int>() << "W:a" << QList<int>{0};
    QTest::newRow("trailing separator") << QList<int>() << "W:4:" << QList<int>{4, 0};
    QTest::newRow("out of range kept") << QList<int>() << "W:9:-1" << QList<int>{9, -1};
    QTest::newRow("empty text") << QList<int>{6} << "" << QList<int>{6};
    QTest::newRow("monthly text") << QList<int>() << "M:2" << QList<int>();
    QTest::newRow("added to the days there are") << QList<int>{1} << "W:1:2" << QList<int>{1, 1, 2};
}

void TestRepetitionRule::weeklyTextIsRead() {
    QFETCH(QList<int>, before);
    QFETCH(QString, text);
    QFETCH(QList<int>, expected);
    RepetitionRule r =
        rule(QDate(2030, 1, 7), QTime(9, 0), RepeatForever, 1, IntervalWeeks, before);
    r.parseExtraDataAsWeekly(text);
    QCOMPARE(r.weeklyRepeatDays(), expected);
    QCOMPARE(r.monthlyRepeatType(), int(MonthlyByDayOfMonth));
}

void TestRepetitionRule::monthlyTextIsRead_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("expected");
    QTest::newRow("M:2") << "M:2" << 2;
    QTest::newRow("M:1") << "M:1" << 1;
    QTest::newRow("more parts") << "M:2:9" << 2;
    QTest::newRow("no kind") << "M" << 7;
    QTest::newRow("empty kind") << "M:" << 0;
    QTest::newRow("not a number") << "M:x" << 0;
    QTest::newRow("lower-case m") << "m:2" << 7;
    QTest::newRow("weekly text") << "W:2" << 7;
    QTest::newRow("empty text") << "" << 7;
}

void TestRepetitionRule::monthlyTextIsRead() {
    QFETCH(QString, text);
    QFETCH(int, expected);
    RepetitionRule r =
        rule(QDate(2030, 1, 7), QTime(9, 0), RepeatForever, 1, IntervalMonths, {3}, 7);
    r.parseExtraDataAsMonthly(text);
    QCOMPARE(r.monthlyRepeatType(), expected);
    QCOMPARE(r.weeklyRepeatDays(), QList<int>{3});
}

void TestRepetitionRule::trivialRepetitions_data() {
    QTest::addColumn<int>("repetition");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("repeats");
    QTest::addColumn<bool>("trivial");
    QTest::newRow("never, minutes") << 1 << 0 << false << false;
    QTest::newRow("forever, minutes") << 2 << 0 << true << true;
    QTest::newRow("until, hours") << 3 << 1 << true << true;
    QTest::newRow("times, days") << 4 << 2 << true << true;
    QTest::newRow("forever, weeks") << 2 << 3 << true << false;
    QTest::newRow("forever, months") << 2 << 4 << true << false;
    QTest::newRow("forever, years") << 2 << 5 << true << false;
    QTest::newRow("unknown kind, days") << 0 << 2 << true << true;
}

void TestRepetitionRule::trivialRepetitions() {
    QFETCH(int, repetition);
    QFETCH(int, type);
    QFETCH(bool, repeats);
    QFETCH(bool, trivial);
    const RepetitionRule r = rule(QDate(2030, 1, 7), QTime(9, 0), repetition, 1, type, {1});
    QCOMPARE(r.hasRepetition(), repeats);
    QCOMPARE(r.hasTrivialRepetition(), trivial);
}

void TestRepetitionRule::agreesWithTheWalk_data() {
    QTest::addColumn<RepetitionRule>("rule");
    QTest::addColumn<QDateTime>("from");
    // Times in the hour the clocks skip or repeat in the zones under test, and one far away.
    for (const QTime& time : {QTime(2, 30), QTime(1, 30), QTime(9, 0)}) {
        const QString at = time.toString(QStringLiteral("HH:mm"));
        const QDate start(2019, 1, 31);
        const QDateTime from(QDate(2024, 3, 1), QTime(0, 0));
        QTest::addRow("every 90 minutes at %s", qPrintable(at))
            << rule(start, time, RepeatForever, 90, IntervalMinutes) << from;
        QTest::addRow("daily at %s, 400 times", qPrintable(at))
            << rule(start, time, RepeatXTimes, 1, IntervalDays, {}, 1, 400) << from;
        QTest::addRow("weekly all days at %s", qPrintable(at))
            << rule(start, time, RepeatForever, 1, IntervalWeeks, {1, 2, 3, 4, 5, 6, 7}) << from;
        QTest::addRow("every 3 weeks Sun+Wed at %s, until", qPrintable(at))
            << rule(start, time, RepeatUntilDate, 3, IntervalWeeks, {7, 3}, 1, 0,
                    QDate(2026, 11, 1))
            << from;
        QTest::addRow("monthly on the 31st at %s", qPrintable(at))
            << rule(start, time, RepeatXTimes, 1, IntervalMonths, {}, MonthlyByDayOfMonth, 90)
            << from;
        QTest::addRow("monthly last Sunday at %s", qPrintable(at))
            << rule(QDate(2019, 3, 31), time, RepeatXTimes, 1, IntervalMonths, {},
                    MonthlyByDayOfWeek, 90)
            << from;
        QTest::addRow("yearly from 29 February at %s", qPrintable(at))
            << rule(QDate(2016, 2, 29), time, RepeatUntilDate, 1, IntervalYears, {}, 1, 0,
                    QDate(2040, 1, 1))
            << from;
    }
}

void TestRepetitionRule::agreesWithTheWalk() {
    QFETCH(RepetitionRule, rule);
    QFETCH(QDateTime, from);
    for (int n : {0, 1, 2, 5, 40}) {
        const QDateTime fast = rule.nthRepetitionFromDateTime(from, n);
        const QDateTime literal = LiteralRecurrence::nthRepetitionFromDateTime(rule, from, n);
        QVERIFY2(
            MomentCompare::identical(fast, literal),
            qPrintable(QStringLiteral("occurrence %1: %2, the walk gives %3")
                           .arg(n)
                           .arg(MomentCompare::describe(fast), MomentCompare::describe(literal))));
        QVERIFY(MomentCompare::identical(rule.nthRepetition(n),
                                         LiteralRecurrence::nthRepetition(rule, n)));
    }
    QVERIFY(MomentCompare::identical(rule.calculateEndDateTime(),
                                     LiteralRecurrence::calculateEndDateTime(rule)));
    QCOMPARE(rule.getNumberOfRepetitionsFromDateTime(&from),
             LiteralRecurrence::getNumberOfRepetitionsFromDateTime(rule, &from));
    QCOMPARE(rule.getNumberOfRepetitionsFromDateTime(nullptr),
             LiteralRecurrence::getNumberOfRepetitionsFromDateTime(rule, nullptr));
}

void TestRepetitionRule::aCountdownHasNoEnd() {
    RepetitionRule r =
        rule(QDate(2030, 1, 7), QTime(9, 0), RepeatXTimes, 1, IntervalDays, {}, 1, 3);
    QCOMPARE(r.calculateEndDateTime(), QDateTime(QDate(2030, 1, 9), QTime(9, 0)));
    r.setCountdown(true);
    QVERIFY(r.isCountdown());
    QVERIFY(r.calculateEndDateTime().isNull());
    QVERIFY(LiteralRecurrence::calculateEndDateTime(r).isNull());
}

void TestRepetitionRule::copiesAreIndependent() {
    RepetitionRule first =
        rule(QDate(2030, 1, 7), QTime(9, 0), RepeatForever, 1, IntervalWeeks, {1});
    RepetitionRule second = first;
    second.parseExtraDataAsWeekly(QStringLiteral("W:3"));
    second.setTime(QTime(10, 0));
    QCOMPARE(first.weeklyRepeatDays(), QList<int>{1});
    QCOMPARE(first.time(), QTime(9, 0));
    QCOMPARE(second.weeklyRepeatDays(), (QList<int>{1, 3}));
    QCOMPARE(first.nthRepetition(1), QDateTime(QDate(2030, 1, 14), QTime(9, 0)));
    QCOMPARE(second.nthRepetition(1), QDateTime(QDate(2030, 1, 9), QTime(10, 0)));
}

QTEST_GUILESS_MAIN(TestRepetitionRule)
#include "tst_repetitionrule.moc"
