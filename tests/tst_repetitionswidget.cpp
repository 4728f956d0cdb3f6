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

class TestRepetitionsWidget : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
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

private:
    void openNew(const QDate& start = QDate());
    void openStored(int id);
    void showRepetitions();
    void choose(int kind);
    void chooseUnit(int unit);
    void pickStart(const QDate& date);
    void uncheckEarlierDays();
    int insertDTask(const QString& name, const QString& date, const QString& repetition);
    Task* taskWithId(int id) const;
    Task* newest() const;
    template <typename T> T* find(const char* name) const {
        return window->findChild<T*>(QLatin1String(name));
    }
    QButtonGroup* group(const char* name) const { return find<QButtonGroup>(name); }
    QString clarification() const { return find<QLabel>("monthlyClarificationLabel")->text(); }
    bool shown(const char* name) const { return find<QWidget>(name)->isVisibleTo(widget()); }
    RepetitionsWidget* widget() const { return window->findChild<RepetitionsWidget*>(); }

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<TaskWindow> window;
};

void TestRepetitionsWidget::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
}

void TestRepetitionsWidget::cleanup() {
    window.reset();
    manager.reset();
    QLocale::setDefault(QLocale::c());
    TestDatabase::dropDefaultConnection();
}

void TestRepetitionsWidget::openNew(const QDate& start) {
    manager->loadTasks();
    window = std::make_unique<TaskWindow>(*manager, nullptr);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QTest::mouseClick(find<QAbstractButton>("typeDButton"), Qt::LeftButton);
    if (start.isValid()) {
        pickStart(start);
    }
}

void TestRepetitionsWidget::openStored(int id) {
    manager->loadTasks();
    manager->setSelectedTask(taskWithId(id));
    window = std::make_unique<TaskWindow>(*manager, nullptr);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void TestRepetitionsWidget::showRepetitions() {
    QTest::mouseClick(find<QAbstractButton>("repeatButton"), Qt::LeftButton);
    QVERIFY(widget()->isVisible());
}

void TestRepetitionsWidget::choose(int kind) {
    QAbstractButton* button = group("repeatTypeGroup")->button(kind);
    QVERIFY(button->isVisible());
    tap(button);
    QVERIFY(button->isChecked());
}

void TestRepetitionsWidget::chooseUnit(int unit) {
    auto* combo = find<QComboBox>("repeatIntervalTypeCombo");
    QVERIFY(combo->isVisible());
    // As a finger does it: open the list, move to the entry, take it.
    combo->setFocus();
    while (combo->currentIndex() < unit) {
        QTest::keyClick(combo, Qt::Key_Down);
    }
    while (combo->currentIndex() > unit) {
        QTest::keyClick(combo, Qt::Key_Up);
    }
    QCOMPARE(combo->currentIndex(), unit);
}

void TestRepetitionsWidget::pickStart(const QDate& date) {
    const bool onRepeat = find<QAbstractButton>("repeatButton")->isChecked();
    if (onRepeat) {
        QTest::mouseClick(find<QAbstractButton>("calendarButton"), Qt::LeftButton);
    }
    PickerDriver::pickDate(find<QMaemo5ValueButton>("dateButton"), date);
    QCOMPARE(window->getStartDate(), date);
    if (onRepeat) {
        showRepetitions();
    }
}

// What a user does after moving a new task off today: switches off the day that
// today's date had fixed.
void TestRepetitionsWidget::uncheckEarlierDays() {
    for (QAbstractButton* day : group("weekDaysGroup")->buttons()) {
        if (day->isChecked() && day->isEnabled()) {
            tap(day);
        }
    }
}

int TestRepetitionsWidget::insertDTask(const QString& name, const QString& date,
                                       const QString& repetition) {
    TestDatabase::exec(QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                                      "('%1', 1, 2, '%2', '08:00')")
                           .arg(name, date));
    const int id =
        TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
    TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, "
                       "repeat_interval_units, extra_data) VALUES (%1, %2)")
            .arg(id)
            .arg(repetition));
    return id;
}

Task* TestRepetitionsWidget::taskWithId(int id) const {
    for (Task* task : manager->allTasks()) {
        if (task->id() == id) {
            return task;
        }
    }
    return nullptr;
}

Task* TestRepetitionsWidget::newest() const {
    Task* found = nullptr;
    for (Task* task : manager->allTasks()) {
        if (!found || task->id() > found->id()) {
            found = task;
        }
    }
    return found;
}

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

void TestRepetitionsWidget::dateChangeMovesTheFixedWeekday() {
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

void TestRepetitionsWidget::newTaskKeepsTodayWhenDateChanges() {
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

void TestRepetitionsWidget::weekdaysAreFreeExceptTheStartDay() {
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

void TestRepetitionsWidget::fieldValidators_data() {
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

void TestRepetitionsWidget::fieldValidators() {
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

void TestRepetitionsWidget::storedTaskFillsTheControls() {
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

void TestRepetitionsWidget::storedTaskWithoutWeekdaysFixesStartDay() {
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

void TestRepetitionsWidget::defineRepetition_data() {
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

void TestRepetitionsWidget::defineRepetition() {
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

void TestRepetitionsWidget::savedWeeklyDaysAreAscending() {
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

void TestRepetitionsWidget::savedDailyTaskHasNoWeekdays() {
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

PARDO_TEST_MAIN(TestRepetitionsWidget)
#include "tst_repetitionswidget.moc"
