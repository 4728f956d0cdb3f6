#include <memory>

#include "fixedtime.h"
#include "pardotest.h"
#include "qmaemo5timepickselector.h"
#include "qmaemo5valuebutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"
#include "timesource.h"

class TestTimeSource : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void followsTheSystemClockByDefault();
    void aFixedMomentRulesUntilItGoes();
    void theEditorProposesTheClocksDateAndTime_data();
    void theEditorProposesTheClocksDateAndTime();
};

void TestTimeSource::followsTheSystemClockByDefault() {
    const QDateTime before = QDateTime::currentDateTime();
    const QDateTime now = TimeSource::currentDateTime();
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY(before <= now && now <= after);
    QCOMPARE(now.timeSpec(), Qt::LocalTime);
}

void TestTimeSource::aFixedMomentRulesUntilItGoes() {
    const QDateTime moment(QDate(2031, 3, 30), QTime(1, 59, 30));
    {
        FixedTime clock(moment);
        QCOMPARE(TimeSource::currentDateTime(), moment);
        QCOMPARE(TimeSource::currentDate(), moment.date());
        QCOMPARE(TimeSource::currentTime(), moment.time());
        QCOMPARE(TimeSource::currentSecsSinceEpoch(), moment.toSecsSinceEpoch());
        clock.set(moment.addSecs(60));
        QCOMPARE(TimeSource::currentDateTime(), moment.addSecs(60));
    }
    QVERIFY(qAbs(TimeSource::currentDateTime().secsTo(QDateTime::currentDateTime())) < 60);
}

void TestTimeSource::theEditorProposesTheClocksDateAndTime_data() {
    QTest::addColumn<QDateTime>("now");
    QTest::newRow("new year's eve") << QDateTime(QDate(2031, 12, 31), QTime(23, 58));
    QTest::newRow("leap day") << QDateTime(QDate(2032, 2, 29), QTime(7, 5));
}

void TestTimeSource::theEditorProposesTheClocksDateAndTime() {
    QFETCH(QDateTime, now);
    TestDatabase::freshHome(
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('_')));
    const FixedTime clock(now);
    {
        TaskManager manager;
        manager.loadTasks();
        TaskWindow window(manager, nullptr);
        window.displayTaskD();
        QCOMPARE(window.getStartDate(), now.date());
        auto* time = window.findChild<QMaemo5ValueButton*>(QStringLiteral("timeButton"));
        QVERIFY(time);
        auto* picker = qobject_cast<QMaemo5TimePickSelector*>(time->pickSelector());
        QVERIFY(picker);
        QCOMPARE(picker->currentTime(), now.time());
    }
    TestDatabase::dropDefaultConnection();
}

PARDO_TEST_MAIN(TestTimeSource)
#include "tst_timesource.moc"
