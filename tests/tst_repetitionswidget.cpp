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

// The repetition editor's controls: defaults, names, which lines each choice shows, and the
// monthly clarification.
class TestRepetitionsWidget : public RepetitionsWidgetTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { RepetitionsWidgetTestCase::init(); }
    void cleanup() { RepetitionsWidgetTestCase::cleanup(); }
    void newTaskDefaults();
    void controlsAndIds();
    void choicesShowTheirLines_data();
    void choicesShowTheirLines();
    void xTimesThenWeeks();
    void unitChangeIgnoresRepetitionType();
    void clarificationByDayOfMonth();
    void clarificationByDayOfWeek_data();
    void clarificationByDayOfWeek();
    void clarificationIsEnglishWhateverTheLocale();
    void clarificationFollowsNewDate();
};

void TestRepetitionsWidget::newTaskDefaults() {
    openNew();
    const QDate today = window->getStartDate();
    QVERIFY(today == QDate::currentDate() || today == QDate::currentDate().addDays(-1));
    QCOMPARE(group("repeatTypeGroup")->checkedId(), int(RepeatNever));
    QCOMPARE(find<QLineEdit>("repeatIntervalNumberEdit")->text(), QStringLiteral("1"));
    QCOMPARE(find<QComboBox>("repeatIntervalTypeCombo")->currentText(), QStringLiteral("minutes"));
    QCOMPARE(find<QLineEdit>("repeatStopNumberEdit")->text(), QStringLiteral("2"));
    auto* until = find<QMaemo5ValueButton>("repeatUntilButton");
    QCOMPARE(until->text(), QStringLiteral("Until:"));
    QCOMPARE(until->valueLayout(), QMaemo5ValueButton::ValueUnderText);
    QCOMPARE(qobject_cast<QMaemo5DatePickSelector*>(until->pickSelector())->currentDate(), today);
    QCOMPARE(widget()->getRepetitionStopDate(), today);
    QCOMPARE(until->valueText(), QLocale::system().toString(today, QLocale::ShortFormat));

    QButtonGroup* days = group("weekDaysGroup");
    for (int day = 1; day <= 7; ++day) {
        QCOMPARE(days->button(day)->isChecked(), day == today.dayOfWeek());
        QCOMPARE(days->button(day)->isEnabled(), day != today.dayOfWeek());
    }
    QCOMPARE(group("monthlyRepeatTypeGroup")->checkedId(), int(MonthlyByDayOfMonth));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the day %1.").arg(today.day()));

    showRepetitions();
    for (const char* line :
         {"repeatCycleWidget", "repeatEndingWidget", "weeklyRepeatWidget", "monthlyRepeatWidget"}) {
        QVERIFY2(!find<QWidget>(line)->isVisible(), line);
    }
}

void TestRepetitionsWidget::controlsAndIds() {
    openNew();
    RepetitionsWidget* w = widget();
    QCOMPARE(w->maximumWidth(), 648);
    QCOMPARE(w->contentsMargins(), QMargins(0, 0, 0, 0));
    auto* grid = qobject_cast<QGridLayout*>(w->layout());
    QVERIFY(grid);
    QCOMPARE(grid->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(grid->spacing(), 0);
    auto* heading = qobject_cast<QLabel*>(grid->itemAtPosition(0, 0)->widget());
    QCOMPARE(heading->text(), QStringLiteral("Repeat:"));
    QCOMPARE(grid->itemAtPosition(0, 0)->alignment(), Qt::AlignLeft | Qt::AlignBottom);
    QCOMPARE(grid->rowMinimumHeight(0), 84);
    QCOMPARE(grid->rowMinimumHeight(1), 84);
    QCOMPARE(grid->rowMinimumHeight(2), 84);
    QCOMPARE(grid->itemAtPosition(2, 0)->widget(), find<QWidget>("repeatCycleWidget"));
    QCOMPARE(grid->itemAtPosition(2, 1)->widget(), find<QWidget>("repeatEndingWidget"));
    QCOMPARE(grid->itemAtPosition(3, 0)->widget(), find<QWidget>("weeklyRepeatWidget"));
    QCOMPARE(grid->itemAtPosition(4, 0)->widget(), find<QWidget>("monthlyRepeatWidget"));

    const QStringList kinds = {QStringLiteral("Never"), QStringLiteral("Forever"),
                               QStringLiteral("Until"), QStringLiteral("X times")};
    QButtonGroup* kindGroup = group("repeatTypeGroup");
    QVERIFY(kindGroup->exclusive());
    QCOMPARE(kindGroup->buttons().size(), 4);
    for (int id = 1; id <= 4; ++id) {
        QCOMPARE(kindGroup->button(id)->text(), kinds.at(id - 1));
        QVERIFY(qobject_cast<QRadioButton*>(kindGroup->button(id)));
    }
    auto* kindBox = qobject_cast<QGroupBox*>(kindGroup->button(1)->parentWidget());
    QVERIFY(kindBox->isFlat());

    const QStringList units = {QStringLiteral("minutes"), QStringLiteral("hours"),
                               QStringLiteral("days"),    QStringLiteral("weeks"),
                               QStringLiteral("months"),  QStringLiteral("years")};
    auto* combo = find<QComboBox>("repeatIntervalTypeCombo");
    QCOMPARE(combo->count(), 6);
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(combo->itemText(i), units.at(i));
    }
    QCOMPARE(combo->maximumWidth(), 110);

    const QStringList dayNames = {
        QStringLiteral("Mon"), QStringLiteral("Tue"), QStringLiteral("Wed"), QStringLiteral("Thu"),
        QStringLiteral("Fri"), QStringLiteral("Sat"), QStringLiteral("Sun")};
    QButtonGroup* days = group("weekDaysGroup");
    QVERIFY(!days->exclusive());
    for (int id = 1; id <= 7; ++id) {
        QCOMPARE(days->button(id)->text(), dayNames.at(id - 1));
    }
    auto* daysBox = find<QGroupBox>("weekDaysBox");
    QVERIFY(daysBox->isFlat());
    // Monday first, left to right.
    for (int id = 1; id < 7; ++id) {
        QCOMPARE(daysBox->layout()->indexOf(days->button(id)), id - 1);
    }
    QCOMPARE(find<QLabel>("timesLabel")->text(), QStringLiteral("times"));

    QButtonGroup* monthly = group("monthlyRepeatTypeGroup");
    QVERIFY(monthly->exclusive());
    QCOMPARE(monthly->button(1)->text(), QStringLiteral("Day of the month"));
    QCOMPARE(monthly->button(2)->text(), QStringLiteral("Day of the week"));
    QVERIFY(find<QGroupBox>("monthlyTypeBox")->isFlat());
    auto* monthlyGrid = qobject_cast<QGridLayout*>(find<QWidget>("monthlyRepeatWidget")->layout());
    QCOMPARE(monthlyGrid->itemAtPosition(0, 1)->widget(),
             find<QWidget>("monthlyClarificationLabel"));
    QCOMPARE(monthlyGrid->itemAtPosition(0, 1)->alignment(), Qt::AlignRight | Qt::AlignBottom);
    QCOMPARE(monthlyGrid->itemAtPosition(0, 0)->alignment(), Qt::AlignLeft | Qt::AlignBottom);
}

void TestRepetitionsWidget::choicesShowTheirLines_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("unit");
    QTest::addColumn<bool>("cycle");
    QTest::addColumn<bool>("ending");
    QTest::addColumn<bool>("stopNumber");
    QTest::addColumn<bool>("until");
    QTest::addColumn<bool>("weekly");
    QTest::addColumn<bool>("monthly");
    QTest::newRow("forever minutes") << 2 << 0 << true << false << false << false << false << false;
    QTest::newRow("forever weeks") << 2 << 3 << true << false << false << false << true << false;
    QTest::newRow("forever months") << 2 << 4 << true << false << false << false << false << true;
    QTest::newRow("forever years") << 2 << 5 << true << false << false << false << false << false;
    QTest::newRow("until days") << 3 << 2 << true << true << false << true << false << false;
    QTest::newRow("until months") << 3 << 4 << true << true << false << true << false << true;
    QTest::newRow("x times hours") << 4 << 1 << true << true << true << false << false << false;
    QTest::newRow("x times weeks") << 4 << 3 << true << true << true << false << true << false;
}

void TestRepetitionsWidget::choicesShowTheirLines() {
    QFETCH(int, kind);
    QFETCH(int, unit);
    QFETCH(bool, cycle);
    QFETCH(bool, ending);
    QFETCH(bool, stopNumber);
    QFETCH(bool, until);
    QFETCH(bool, weekly);
    QFETCH(bool, monthly);
    openNew();
    showRepetitions();
    choose(kind);
    chooseUnit(unit);
    QCOMPARE(shown("repeatCycleWidget"), cycle);
    QCOMPARE(shown("repeatEndingWidget"), ending);
    if (ending) {
        QCOMPARE(shown("repeatStopNumberEdit"), stopNumber);
        QCOMPARE(shown("timesLabel"), stopNumber);
        QCOMPARE(shown("repeatUntilButton"), until);
    }
    QCOMPARE(shown("weeklyRepeatWidget"), weekly);
    QCOMPARE(shown("monthlyRepeatWidget"), monthly);

    // "Never" takes every line away again.
    choose(RepeatNever);
    for (const char* line :
         {"repeatCycleWidget", "repeatEndingWidget", "weeklyRepeatWidget", "monthlyRepeatWidget"}) {
        QVERIFY2(!shown(line), line);
    }
}

void TestRepetitionsWidget::xTimesThenWeeks() {
    openNew();
    showRepetitions();
    choose(RepeatXTimes);
    chooseUnit(IntervalWeeks);
    QVERIFY(find<QWidget>("repeatCycleWidget")->isVisible());
    QVERIFY(find<QLineEdit>("repeatStopNumberEdit")->isVisible());
    QVERIFY(find<QLabel>("timesLabel")->isVisible());
    QVERIFY(find<QWidget>("weeklyRepeatWidget")->isVisible());
    auto* repeatOn = find<QWidget>("weeklyRepeatWidget")->findChild<QLabel*>();
    QCOMPARE(repeatOn->text(), QStringLiteral("Repeat on:"));
    QVERIFY(repeatOn->isVisible());
    for (QAbstractButton* day : group("weekDaysGroup")->buttons()) {
        QVERIFY(day->isVisible());
    }
    QCOMPARE(group("weekDaysGroup")->buttons().size(), 7);
    QVERIFY(!find<QWidget>("repeatUntilButton")->isVisible());
    QVERIFY(!find<QWidget>("monthlyRepeatWidget")->isVisible());
}

void TestRepetitionsWidget::unitChangeIgnoresRepetitionType() {
    // Kept as it always was: the unit decides alone, even under "Never".
    openNew();
    showRepetitions();
    QCOMPARE(group("repeatTypeGroup")->checkedId(), int(RepeatNever));
    find<QComboBox>("repeatIntervalTypeCombo")->setCurrentIndex(IntervalWeeks);
    QVERIFY(!shown("repeatCycleWidget"));
    QVERIFY(shown("weeklyRepeatWidget"));
    find<QComboBox>("repeatIntervalTypeCombo")->setCurrentIndex(IntervalMonths);
    QVERIFY(shown("monthlyRepeatWidget"));
    QVERIFY(!shown("weeklyRepeatWidget"));
    widget()->displayRepetitionCycle(IntervalYears);
    QVERIFY(!shown("monthlyRepeatWidget"));
    QVERIFY(!shown("weeklyRepeatWidget"));
}

void TestRepetitionsWidget::clarificationByDayOfMonth() {
    openNew(QDate(2010, 5, 15));
    showRepetitions();
    choose(RepeatForever);
    chooseUnit(IntervalMonths);
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the day 15."));
    tap(group("monthlyRepeatTypeGroup")->button(2));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the 3rd Sat."));
    tap(group("monthlyRepeatTypeGroup")->button(1));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the day 15."));
}

void TestRepetitionsWidget::clarificationByDayOfWeek_data() {
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("text");
    QTest::newRow("1st") << QDate(2010, 5, 4) << QStringLiteral("Will repeat on the 1st Tue.");
    QTest::newRow("2nd") << QDate(2010, 5, 11) << QStringLiteral("Will repeat on the 2nd Tue.");
    QTest::newRow("3rd") << QDate(2010, 5, 18) << QStringLiteral("Will repeat on the 3rd Tue.");
    QTest::newRow("4th") << QDate(2010, 5, 25) << QStringLiteral("Will repeat on the 4th Tue.");
    QTest::newRow("5th") << QDate(2010, 4, 30) << QStringLiteral("Will repeat on the 5th Fri.");
    QTest::newRow("Sunday") << QDate(2030, 3, 31) << QStringLiteral("Will repeat on the 5th Sun.");
    QTest::newRow("Monday") << QDate(2030, 12, 2) << QStringLiteral("Will repeat on the 1st Mon.");
}

void TestRepetitionsWidget::clarificationByDayOfWeek() {
    QFETCH(QDate, date);
    QFETCH(QString, text);
    openNew(date);
    showRepetitions();
    choose(RepeatForever);
    chooseUnit(IntervalMonths);
    tap(group("monthlyRepeatTypeGroup")->button(2));
    QCOMPARE(clarification(), text);
}

void TestRepetitionsWidget::clarificationIsEnglishWhateverTheLocale() {
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    openNew(QDate(2010, 5, 11));
    showRepetitions();
    choose(RepeatForever);
    chooseUnit(IntervalMonths);
    tap(group("monthlyRepeatTypeGroup")->button(2));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the 2nd Tue."));
}

void TestRepetitionsWidget::clarificationFollowsNewDate() {
    openNew(QDate(2010, 5, 11));
    showRepetitions();
    choose(RepeatForever);
    chooseUnit(IntervalMonths);
    tap(group("monthlyRepeatTypeGroup")->button(2));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the 2nd Tue."));
    // The repeat button words it again for the date chosen meanwhile.
    pickStart(QDate(2010, 5, 27));
    QCOMPARE(clarification(), QStringLiteral("Will repeat on the 4th Thu."));
}

PARDO_TEST_MAIN(TestRepetitionsWidget)
#include "tst_repetitionswidget.moc"
