#include <QButtonGroup>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

#include "modalanswerer.h"
#include "fingers.h"
#include "pardotest.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5valuebutton.h"
#include "repetitionswidget.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

#include "repetitionswidgettestcase.h"

// The repetition editor's start date and weekdays, its fields' checks, stored tasks, and what
// it saves.
class TestRepetitionsWidgetDays : public RepetitionsWidgetTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { RepetitionsWidgetTestCase::init(); }
    void cleanup() { RepetitionsWidgetTestCase::cleanup(); }
    void dateChangeMovesTheFixedWeekday();
    void newTaskKeepsTodayWhenDateChanges();
    void weekdaysAreFreeExceptTheStartDay();
    void fieldValidators_data();
    void fieldValidators();
    void storedTaskFillsTheControls();
    void storedTaskWithoutWeekdaysFixesStartDay();
    void defineRepetition_data();
    void defineRepetition();
    void savedWeeklyDaysAreAscending();
    void savedDailyTaskHasNoWeekdays();
};

void TestRepetitionsWidgetDays::dateChangeMovesTheFixedWeekday() {
    // A stored task on a Monday that does not repeat yet: its own weekday is fixed.
    const int id = insertDTask(QStringLiteral("Class"), QStringLiteral("2030-05-06"),
                               QStringLiteral("1, 0, '', 0, 0, ''"));
    openStored(id);
    QButtonGroup* days = group("weekDaysGroup");
    QVERIFY(days->button(1)->isChecked());
    QVERIFY(!days->button(1)->isEnabled());
    pickStart(QDate(2030, 5, 8));
    showRepetitions();
    QVERIFY(days->button(1)->isChecked());
    QVERIFY(days->button(1)->isEnabled());
    QVERIFY(days->button(3)->isChecked());
    QVERIFY(!days->button(3)->isEnabled());
    for (int day : {2, 4, 5, 6, 7}) {
        QVERIFY(!days->button(day)->isChecked());
        QVERIFY(days->button(day)->isEnabled());
    }
}

void TestRepetitionsWidgetDays::newTaskKeepsTodayWhenDateChanges() {
    openNew();
    const QDate today = window->getStartDate();
    const QDate later = today.addDays(3);
    pickStart(later);
    showRepetitions();
    QButtonGroup* days = group("weekDaysGroup");
    for (int day = 1; day <= 7; ++day) {
        QCOMPARE(days->button(day)->isChecked(),
                 day == today.dayOfWeek() || day == later.dayOfWeek());
        QCOMPARE(days->button(day)->isEnabled(), day != later.dayOfWeek());
    }
}

void TestRepetitionsWidgetDays::weekdaysAreFreeExceptTheStartDay() {
    openNew(QDate(2010, 5, 3));
    showRepetitions();
    choose(RepeatForever);
    chooseUnit(IntervalWeeks);
    QButtonGroup* days = group("weekDaysGroup");
    tap(days->button(5));
    tap(days->button(6));
    QVERIFY(days->button(5)->isChecked());
    QVERIFY(days->button(6)->isChecked());
    // Any number of days, and each can be switched off again.
    tap(days->button(6));
    QVERIFY(!days->button(6)->isChecked());
    // The start day cannot be switched off.
    tap(days->button(1));
    QVERIFY(days->button(1)->isChecked());
}

void TestRepetitionsWidgetDays::fieldValidators_data() {
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::newRow("every 0") << QByteArray("repeatIntervalNumberEdit") << "0"
                             << "";
    QTest::newRow("every 100") << QByteArray("repeatIntervalNumberEdit") << "100"
                               << "10";
    QTest::newRow("every 05") << QByteArray("repeatIntervalNumberEdit") << "05"
                              << "5";
    QTest::newRow("every 1") << QByteArray("repeatIntervalNumberEdit") << "1"
                             << "1";
    QTest::newRow("every 99") << QByteArray("repeatIntervalNumberEdit") << "99"
                              << "99";
    QTest::newRow("every letters") << QByteArray("repeatIntervalNumberEdit") << "x7"
                                   << "7";
    QTest::newRow("stop 0") << QByteArray("repeatStopNumberEdit") << "0"
                            << "";
    QTest::newRow("stop 100") << QByteArray("repeatStopNumberEdit") << "100"
                              << "10";
    QTest::newRow("stop 2") << QByteArray("repeatStopNumberEdit") << "2"
                            << "2";
    QTest::newRow("stop 99") << QByteArray("repeatStopNumberEdit") << "99"
                             << "99";
}

void TestRepetitionsWidgetDays::fieldValidators() {
    QFETCH(QByteArray, field);
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    openNew();
    showRepetitions();
    choose(RepeatXTimes);
    auto* edit = find<QLineEdit>(field.constData());
    QCOMPARE(edit->maximumWidth(), 100);
    QCOMPARE(edit->inputMethodHints(), Qt::ImhDigitsOnly);
    auto* validator = qobject_cast<const QIntValidator*>(edit->validator());
    QVERIFY(validator);
    QCOMPARE(validator->bottom(), field == "repeatIntervalNumberEdit" ? 1 : 2);
    QCOMPARE(validator->top(), 99);
    retype(edit, typed);
    QCOMPARE(edit->text(), shown);
}

void TestRepetitionsWidgetDays::storedTaskFillsTheControls() {
    const int id = insertDTask(QStringLiteral("Rent"), QStringLiteral("2030-05-14"),
                               QStringLiteral("4, 12, '', 4, 1, 'M:2'"));
    openStored(id);
    showRepetitions();
    QCOMPARE(group("repeatTypeGroup")->checkedId(), int(RepeatXTimes));
    QCOMPARE(find<QLineEdit>("repeatStopNumberEdit")->text(), QStringLiteral("12"));
    QCOMPARE(find<QLineEdit>("repeatIntervalNumberEdit")->text(), QStringLiteral("1"));
    QCOMPARE(find<QComboBox>("repeatIntervalTypeCombo")->currentIndex(), int(IntervalMonths));
    QCOMPARE(group("monthlyRepeatTypeGroup")->checkedId(), int(MonthlyByDayOfWeek));
    QVERIFY(shown("repeatCycleWidget"));
    QVERIFY(shown("repeatStopNumberEdit"));
    QVERIFY(!shown("repeatUntilButton"));
    QVERIFY(shown("monthlyRepeatWidget"));
    QVERIFY(!shown("weeklyRepeatWidget"));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the 2nd Tue."));
    // No stored stop date: "Until:" starts today.
    QCOMPARE(widget()->getRepetitionStopDate(), QDate::currentDate());
}

void TestRepetitionsWidgetDays::storedTaskWithoutWeekdaysFixesStartDay() {
    const int id = insertDTask(QStringLiteral("Walk"), QStringLiteral("2030-05-09"),
                               QStringLiteral("2, 0, '', 2, 3, ''"));
    openStored(id);
    QButtonGroup* days = group("weekDaysGroup");
    for (int day = 1; day <= 7; ++day) {
        QCOMPARE(days->button(day)->isChecked(), day == 4);
        QCOMPARE(days->button(day)->isEnabled(), day != 4);
    }
    QCOMPARE(find<QComboBox>("repeatIntervalTypeCombo")->currentIndex(), int(IntervalDays));
    QCOMPARE(find<QLineEdit>("repeatIntervalNumberEdit")->text(), QStringLiteral("3"));
    QCOMPARE(group("repeatTypeGroup")->checkedId(), int(RepeatForever));
}

void TestRepetitionsWidgetDays::defineRepetition_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("every");
    QTest::addColumn<int>("unit");
    QTest::addColumn<QString>("stop");
    QTest::addColumn<QDate>("until");
    QTest::addColumn<int>("monthly");
    QTest::addColumn<int>("expectedEvery");
    QTest::addColumn<int>("expectedUnit");
    QTest::addColumn<int>("expectedStop");
    QTest::addColumn<QDate>("expectedUntil");
    QTest::addColumn<QList<int>>("expectedDays");
    QTest::addColumn<int>("expectedMonthly");
    // "Never" keeps every default whatever the other controls hold.
    QTest::newRow("never") << 1 << "5" << 3 << "7" << QDate(2030, 9, 1) << 2 << 0 << 0 << 0
                           << QDate() << QList<int>() << 1;
    QTest::newRow("forever, every 2 days") << 2 << "2" << 2 << "7" << QDate(2030, 9, 1) << 1 << 2
                                           << 2 << 0 << QDate() << QList<int>() << 1;
    QTest::newRow("until, every 3 hours") << 3 << "3" << 1 << "7" << QDate(2030, 9, 1) << 1 << 3
                                          << 1 << 0 << QDate(2030, 9, 1) << QList<int>() << 1;
    QTest::newRow("x times, weekly")
        << 4 << "1" << 3 << "10" << QDate() << 1 << 1 << 3 << 10 << QDate() << QList<int>{1} << 1;
    QTest::newRow("x times, monthly by weekday")
        << 4 << "6" << 4 << "3" << QDate() << 2 << 6 << 4 << 3 << QDate() << QList<int>() << 2;
    QTest::newRow("forever, yearly")
        << 2 << "99" << 5 << "2" << QDate() << 2 << 99 << 5 << 0 << QDate() << QList<int>() << 1;
}

void TestRepetitionsWidgetDays::defineRepetition() {
    QFETCH(int, kind);
    QFETCH(QString, every);
    QFETCH(int, unit);
    QFETCH(QString, stop);
    QFETCH(QDate, until);
    QFETCH(int, monthly);
    QFETCH(int, expectedEvery);
    QFETCH(int, expectedUnit);
    QFETCH(int, expectedStop);
    QFETCH(QDate, expectedUntil);
    QFETCH(QList<int>, expectedDays);
    QFETCH(int, expectedMonthly);
    // 2030-05-06 is a Monday.
    openNew(QDate(2030, 5, 6));
    showRepetitions();
    uncheckEarlierDays();
    for (int shownKind : {RepeatForever, RepeatUntilDate, RepeatXTimes}) {
        choose(shownKind);
        if (shownKind == RepeatUntilDate && until.isValid()) {
            PickerDriver::pickDate(find<QMaemo5ValueButton>("repeatUntilButton"), until);
        }
        if (shownKind == RepeatXTimes) {
            retype(find<QLineEdit>("repeatStopNumberEdit"), stop);
        }
    }
    retype(find<QLineEdit>("repeatIntervalNumberEdit"), every);
    chooseUnit(unit);
    if (unit == IntervalMonths || unit == IntervalYears) {
        chooseUnit(IntervalMonths);
        tap(group("monthlyRepeatTypeGroup")->button(monthly));
        chooseUnit(unit);
    }
    choose(kind);

    Task task(*manager, 0, QStringLiteral("Fresh"), true, Task::D);
    task.defineRepetition(widget());
    QCOMPARE(task.repetition(), kind);
    QCOMPARE(task.repeatIntervalNumber(), expectedEvery);
    QCOMPARE(task.repeatIntervalType(), expectedUnit);
    QCOMPARE(task.repetitionStopNumber(), expectedStop);
    QCOMPARE(task.repetitionStopDate(), expectedUntil);
    QCOMPARE(task.weeklyRepeatDays(), expectedDays);
    QCOMPARE(task.monthlyRepeatType(), expectedMonthly);
}

void TestRepetitionsWidgetDays::savedWeeklyDaysAreAscending() {
    openNew(QDate(2030, 5, 6));
    QTest::keyClicks(find<QLineEdit>("titleEdit"), QStringLiteral("Weekly"));
    showRepetitions();
    uncheckEarlierDays();
    choose(RepeatForever);
    chooseUnit(IntervalWeeks);
    // Friday is checked after Monday was fixed by the date: the list is still in day order.
    tap(group("weekDaysGroup")->button(5));
    SqlTrace trace;
    QTest::mouseClick(find<QAbstractButton>("acceptButton"), Qt::LeftButton);
    Task* saved = newest();
    QCOMPARE(saved->name(), QStringLiteral("Weekly"));
    QCOMPARE(saved->weeklyRepeatDays(), (QList<int>{1, 5}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT extra_data FROM repetitions WHERE "
                                               "task_id = %1")
                                    .arg(saved->id()))
                 .at(0)
                 .at(0)
                 .toString(),
             QStringLiteral("W:1:5"));
}

void TestRepetitionsWidgetDays::savedDailyTaskHasNoWeekdays() {
    openNew(QDate(2030, 5, 6));
    QTest::keyClicks(find<QLineEdit>("titleEdit"), QStringLiteral("Daily"));
    showRepetitions();
    choose(RepeatForever);
    chooseUnit(IntervalWeeks);
    tap(group("weekDaysGroup")->button(5));
    chooseUnit(IntervalDays);
    QTest::mouseClick(find<QAbstractButton>("acceptButton"), Qt::LeftButton);
    Task* saved = newest();
    QCOMPARE(saved->name(), QStringLiteral("Daily"));
    QCOMPARE(saved->repeatIntervalType(), int(IntervalDays));
    QVERIFY(saved->weeklyRepeatDays().isEmpty());
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT extra_data, repeat_interval_type, "
                                               "repeat_interval_units, repeat_type FROM "
                                               "repetitions WHERE task_id = %1")
                                    .arg(saved->id()))
                 .at(0),
             (QVariantList{QStringLiteral(""), 2, 1, 2}));
}

PARDO_TEST_MAIN(TestRepetitionsWidgetDays)
#include "tst_repetitionswidgetdays.moc"
