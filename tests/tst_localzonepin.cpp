#include <QTimeZone>

#include "localzonepin.h"
#include "pardotest.h"
#include "task.h"
#include "taskmanager.h"
#include "testdatabase.h"

// The pin must change nothing but how often the C library looks at the zone
// file: the same zone, the same offsets, and TZ as it was afterwards.
class TestLocalZonePin : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void keepsTheZoneAsFound_data();
    void keepsTheZoneAsFound();
    void nestedPinsRestoreOnce();
    void queriesLeaveTzUnset();

private:
    QByteArray testZone_;
};

namespace {

void setZone(const QByteArray& zone, bool set) {
    if (set) {
        qputenv("TZ", zone);
    } else {
        qunsetenv("TZ");
    }
    tzset();
}

// Offsets around the year's changes, where a different zone would show.
QList<int> offsets() {
    QList<int> result;
    for (int month = 1; month <= 12; ++month) {
        for (const QTime& time : {QTime(2, 30), QTime(12, 0)}) {
            result.append(QDateTime(QDate(2024, month, 27), time).offsetFromUtc());
        }
    }
    return result;
}

} // namespace

void TestLocalZonePin::init() {
    testZone_ = qgetenv("TZ");
}

void TestLocalZonePin::cleanup() {
    setZone(testZone_, !testZone_.isNull());
}

void TestLocalZonePin::keepsTheZoneAsFound_data() {
    QTest::addColumn<bool>("set");
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QByteArray>("inside");

    QTest::newRow("unset") << false << QByteArray() << QByteArray(":/etc/localtime");
    QTest::newRow("named") << true << QByteArray("America/New_York")
                           << QByteArray("America/New_York");
    QTest::newRow("empty means UTC") << true << QByteArray("") << QByteArray("");
}

void TestLocalZonePin::keepsTheZoneAsFound() {
    QFETCH(bool, set);
    QFETCH(QByteArray, zone);
    QFETCH(QByteArray, inside);

    setZone(zone, set);
    const QByteArray id = QTimeZone::systemTimeZoneId();
    const QList<int> before = offsets();
    {
        const LocalZonePin pin;
        QCOMPARE(qgetenv("TZ"), inside);
        QCOMPARE(QTimeZone::systemTimeZoneId(), id);
        QCOMPARE(offsets(), before);
    }
    QCOMPARE(qEnvironmentVariableIsSet("TZ"), set);
    QCOMPARE(qgetenv("TZ"), zone);
    QCOMPARE(offsets(), before);
}

void TestLocalZonePin::nestedPinsRestoreOnce() {
    setZone(QByteArray(), false);
    {
        const LocalZonePin outer;
        { const LocalZonePin inner; }
        QCOMPARE(qgetenv("TZ"), QByteArray(":/etc/localtime"));
    }
    QVERIFY(!qEnvironmentVariableIsSet("TZ"));
}

void TestLocalZonePin::queriesLeaveTzUnset() {
    TestDatabase::freshHome(QStringLiteral("queries"));
    {
        TaskManager manager;
        Task task(manager, 1, QStringLiteral("weekly"), true, Task::D);
        task.setDate(QDate(2024, 1, 1));
        task.setTime(QTime(9, 0));
        task.setRepetitionFields(RepeatXTimes, 5, QDate(), 1, IntervalWeeks, {1}, 1);
        setZone(QByteArray(), false);
        QCOMPARE(task.nthRepetition(2), QDateTime(QDate(2024, 1, 15), QTime(9, 0)));
        QCOMPARE(task.getNumberOfRepetitionsFromDateTime(nullptr), 4);
        QVERIFY(task.calculateEndDateTime().isValid());
        QVERIFY(!qEnvironmentVariableIsSet("TZ"));
    }
    TestDatabase::dropDefaultConnection();
}

PARDO_TEST_MAIN(TestLocalZonePin)
#include "tst_localzonepin.moc"
