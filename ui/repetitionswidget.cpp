#include "repetitionswidget.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QRadioButton>

#include "qmaemo5datepickselector.h"
#include "qmaemo5valuebutton.h"
#include "strictintvalidator.h"
#include "task.h"
#include "taskwindow.h"
#include "util.h"
#include "timesource.h"

namespace {

const int kRowHeight = 84;

// Finger-sized radio buttons that read on the dark window, and flat boxes without a frame.
const char* const kStyleSheet =
    "QGroupBox {border: none;}\n"
    "QRadioButton {spacing: 8px;}\n"
    "QRadioButton::indicator {width: 26px; height: 26px; border: 2px solid #8a8a8a; "
    "border-radius: 15px; background-color: #1c1c1c;}\n"
    "QRadioButton::indicator:checked {background-color: qradialgradient(cx: 0.5, cy: 0.5, "
    "radius: 0.5, fx: 0.5, fy: 0.5, stop: 0 #22c70d, stop: 0.55 #22c70d, stop: 0.6 #1c1c1c, "
    "stop: 1 #1c1c1c);}\n"
    "QRadioButton::indicator:disabled {border-color: #4a4a4a;}\n"
    "QRadioButton::indicator:checked:disabled {background-color: qradialgradient(cx: 0.5, "
    "cy: 0.5, radius: 0.5, fx: 0.5, fy: 0.5, stop: 0 #116a06, stop: 0.55 #116a06, stop: 0.6 "
    "#1c1c1c, stop: 1 #1c1c1c);}";

QGroupBox* flatBox(const QString& name) {
    auto* box = new QGroupBox;
    box->setObjectName(name);
    box->setFlat(true);
    box->setContentsMargins(0, 0, 0, 0);
    return box;
}

QHBoxLayout* tightRow(QWidget* owner) {
    auto* row = new QHBoxLayout(owner);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    return row;
}

} // namespace

RepetitionsWidget::RepetitionsWidget(const TaskWindow& editor, const Task* edited, QWidget* parent)
    : QWidget(parent)
    , repeatTypeGroup(nullptr)
    , repeatStopNumberEdit(nullptr)
    , repeatIntervalNumberEdit(nullptr)
    , repeatIntervalTypeCombo(nullptr)
    , weekDaysGroup(nullptr)
    , monthlyRepeatTypeGroup(nullptr)
    , repeatUntilButton(nullptr)
    , repeatCycleWidget(nullptr)
    , repeatEndingWidget(nullptr)
    , weeklyRepeatWidget(nullptr)
    , monthlyRepeatWidget(nullptr)
    , timesLabel(nullptr)
    , repeatOnLabel(nullptr)
    , repeatByLabel(nullptr)
    , weekDaysBox(nullptr)
    , monthlyTypeBox(nullptr)
    , monthlyClarificationLabel(nullptr)
    , task(edited)
    , taskWindow(editor) {
    setMaximumWidth(648);
    setContentsMargins(0, 0, 0, 0);
    setStyleSheet(QString::fromLatin1(kStyleSheet));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(0);

    grid->addWidget(new QLabel(tr("Repeat:")), 0, 0, 1, 4, Qt::AlignLeft | Qt::AlignBottom);
    grid->setRowMinimumHeight(0, kRowHeight);

    QGroupBox* typeBox = flatBox(QStringLiteral("repeatTypeBox"));
    typeBox->setAccessibleName(tr("Repeat"));
    QHBoxLayout* typeRow = tightRow(typeBox);
    repeatTypeGroup = new QButtonGroup(this);
    repeatTypeGroup->setObjectName(QStringLiteral("repeatTypeGroup"));
    repeatTypeGroup->setExclusive(true);
    auto* never = new QRadioButton(tr("Never"));
    auto* always = new QRadioButton(tr("Forever"));
    auto* until = new QRadioButton(tr("Until"));
    auto* times = new QRadioButton(tr("X times"));
    never->setChecked(true);
    never->setObjectName(QStringLiteral("neverButton"));
    always->setObjectName(QStringLiteral("foreverButton"));
    until->setObjectName(QStringLiteral("untilButton"));
    times->setObjectName(QStringLiteral("xTimesButton"));
    int id = RepeatNever;
    for (QRadioButton* button : {never, always, until, times}) {
        repeatTypeGroup->addButton(button, id++);
        typeRow->addWidget(button);
    }
    connect(never, &QRadioButton::clicked, this, &RepetitionsWidget::handleNoRepeatSelected);
    connect(always, &QRadioButton::clicked, this, &RepetitionsWidget::handleRepeatForeverSelected);
    connect(until, &QRadioButton::clicked, this, &RepetitionsWidget::handleRepeatUntilDateSelected);
    connect(times, &QRadioButton::clicked, this, &RepetitionsWidget::handleRepeatForXTimesSelected);
    grid->addWidget(typeBox, 1, 0, 1, 4);
    grid->setRowMinimumHeight(1, kRowHeight);

    addRepeatNumberAndType(grid);
    addRepeatEndingCriteria(grid);
    addDaysButtons(grid);
    addMonthlySpecification(grid);
    repeatCycleWidget->hide();

    if (task) {
        // Clicking runs the choice's handler, which shows the lines it needs.
        if (QAbstractButton* stored = repeatTypeGroup->button(task->repetition())) {
            stored->click();
        }
        // Index 0 is the combo's default anyway; setting another runs displayRepetitionCycle.
        const int unit = task->repeatIntervalType();
        if (unit > 0 && unit < repeatIntervalTypeCombo->count()) {
            repeatIntervalTypeCombo->setCurrentIndex(unit);
        }
    }
}

void RepetitionsWidget::addRepeatNumberAndType(QGridLayout* layout) {
    repeatCycleWidget = new QWidget;
    repeatCycleWidget->setObjectName(QStringLiteral("repeatCycleWidget"));
    auto* row = new QHBoxLayout(repeatCycleWidget);
    row->setContentsMargins(0, 0, 0, 0);

    auto* every = new QLabel(tr("Every"));
    row->addWidget(every);

    repeatIntervalNumberEdit =
        new QLineEdit(task ? QString::number(task->repeatIntervalNumber()) : QStringLiteral("1"));
    every->setBuddy(repeatIntervalNumberEdit);
    repeatIntervalNumberEdit->setObjectName(QStringLiteral("repeatIntervalNumberEdit"));
    repeatIntervalNumberEdit->setMaximumWidth(100);
    repeatIntervalNumberEdit->setInputMethodHints(Qt::ImhDigitsOnly);
    repeatIntervalNumberEdit->setValidator(new StrictIntValidator(1, 99, repeatIntervalNumberEdit));
    row->addWidget(repeatIntervalNumberEdit);

    repeatIntervalTypeCombo = new QComboBox;
    repeatIntervalTypeCombo->setObjectName(QStringLiteral("repeatIntervalTypeCombo"));
    repeatIntervalTypeCombo->addItems(
        {tr("minutes"), tr("hours"), tr("days"), tr("weeks"), tr("months"), tr("years")});
    repeatIntervalTypeCombo->setMaximumWidth(110);
    repeatIntervalTypeCombo->setAccessibleName(tr("Repeat unit"));
    repeatIntervalTypeCombo->setAccessibleDescription(tr("Unit of the repeat interval"));
    row->addWidget(repeatIntervalTypeCombo);
    row->addStretch();
    connect(repeatIntervalTypeCombo, &QComboBox::currentIndexChanged, this,
            &RepetitionsWidget::displayRepetitionCycle);

    layout->addWidget(repeatCycleWidget, 2, 0);
    layout->setRowMinimumHeight(2, kRowHeight);
}

void RepetitionsWidget::addRepeatEndingCriteria(QGridLayout* layout) {
    repeatEndingWidget = new QWidget;
    repeatEndingWidget->setObjectName(QStringLiteral("repeatEndingWidget"));
    auto* row = new QHBoxLayout(repeatEndingWidget);
    row->setContentsMargins(0, 0, 0, 0);
    row->addStretch();

    repeatStopNumberEdit =
        new QLineEdit(task ? QString::number(task->repetitionStopNumber()) : QStringLiteral("2"));
    repeatStopNumberEdit->setObjectName(QStringLiteral("repeatStopNumberEdit"));
    repeatStopNumberEdit->setMaximumWidth(100);
    repeatStopNumberEdit->setInputMethodHints(Qt::ImhDigitsOnly);
    repeatStopNumberEdit->setValidator(new StrictIntValidator(2, 99, repeatStopNumberEdit));
    repeatStopNumberEdit->setAccessibleName(tr("Number of times"));
    row->addWidget(repeatStopNumberEdit);

    timesLabel = new QLabel(tr("times"));
    timesLabel->setObjectName(QStringLiteral("timesLabel"));
    row->addWidget(timesLabel);

    repeatUntilButton = new QMaemo5ValueButton(tr("Until:"));
    repeatUntilButton->setObjectName(QStringLiteral("repeatUntilButton"));
    repeatUntilButton->setValueLayout(QMaemo5ValueButton::ValueUnderText);
    auto* selector = new QMaemo5DatePickSelector;
    const bool stored = task && !task->repetitionStopDate().isNull();
    selector->setCurrentDate(stored ? task->repetitionStopDate() : TimeSource::currentDate());
    repeatUntilButton->setPickSelector(selector);
    row->addWidget(repeatUntilButton);

    layout->addWidget(repeatEndingWidget, 2, 1);
    repeatEndingWidget->hide();
}

void RepetitionsWidget::addDaysButtons(QGridLayout* layout) {
    weeklyRepeatWidget = new QWidget;
    weeklyRepeatWidget->setObjectName(QStringLiteral("weeklyRepeatWidget"));
    weeklyRepeatWidget->setContentsMargins(0, 0, 0, 0);
    auto* inner = new QGridLayout(weeklyRepeatWidget);
    inner->setSpacing(0);
    inner->setContentsMargins(0, 0, 0, 0);

    repeatOnLabel = new QLabel(tr("Repeat on:"));
    inner->addWidget(repeatOnLabel, 0, 0, Qt::AlignLeft | Qt::AlignBottom);
    inner->setRowMinimumHeight(0, kRowHeight);

    weekDaysGroup = new QButtonGroup(this);
    weekDaysGroup->setObjectName(QStringLiteral("weekDaysGroup"));
    // Any number of days may be on.
    weekDaysGroup->setExclusive(false);
    weekDaysBox = flatBox(QStringLiteral("weekDaysBox"));
    weekDaysBox->setAccessibleName(tr("Repeat on"));
    QHBoxLayout* days = tightRow(weekDaysBox);
    const QStringList names = {tr("Mon"), tr("Tue"), tr("Wed"), tr("Thu"),
                               tr("Fri"), tr("Sat"), tr("Sun")};
    for (int day = 1; day <= names.size(); ++day) {
        auto* button = new QRadioButton(names.at(day - 1));
        button->setObjectName(QStringLiteral("day%1Button").arg(day));
        weekDaysGroup->addButton(button, day);
        days->addWidget(button);
    }

    const QList<int> stored = task ? task->weeklyRepeatDays() : QList<int>();
    if (!stored.isEmpty()) {
        for (int day : stored) {
            if (QAbstractButton* button = weekDaysGroup->button(day)) {
                button->setChecked(true);
            }
        }
    } else if (QAbstractButton* start =
                   weekDaysGroup->button(taskWindow.getStartDate().dayOfWeek())) {
        start->setChecked(true);
        start->setEnabled(false);
    }

    inner->addWidget(weekDaysBox, 1, 0, 1, -1);
    inner->setRowMinimumHeight(1, kRowHeight);

    layout->addWidget(weeklyRepeatWidget, layout->rowCount(), 0, 1, -1);
    weeklyRepeatWidget->hide();
}

void RepetitionsWidget::addMonthlySpecification(QGridLayout* layout) {
    monthlyRepeatWidget = new QWidget;
    monthlyRepeatWidget->setObjectName(QStringLiteral("monthlyRepeatWidget"));
    monthlyRepeatWidget->setContentsMargins(0, 0, 0, 0);
    auto* inner = new QGridLayout(monthlyRepeatWidget);
    inner->setSpacing(0);
    inner->setContentsMargins(0, 0, 0, 0);

    repeatByLabel = new QLabel(tr("Repeat by:"));
    inner->addWidget(repeatByLabel, 0, 0, Qt::AlignLeft | Qt::AlignBottom);
    monthlyClarificationLabel =
        new QLabel(tr("Will repeat on the day %1.").arg(taskWindow.getStartDate().day()));
    monthlyClarificationLabel->setObjectName(QStringLiteral("monthlyClarificationLabel"));
    inner->addWidget(monthlyClarificationLabel, 0, 1, Qt::AlignRight | Qt::AlignBottom);
    inner->setRowMinimumHeight(0, kRowHeight);

    monthlyTypeBox = flatBox(QStringLiteral("monthlyTypeBox"));
    monthlyTypeBox->setAccessibleName(tr("Repeat by"));
    QHBoxLayout* choices = tightRow(monthlyTypeBox);
    monthlyRepeatTypeGroup = new QButtonGroup(this);
    monthlyRepeatTypeGroup->setObjectName(QStringLiteral("monthlyRepeatTypeGroup"));
    monthlyRepeatTypeGroup->setExclusive(true);
    auto* byDay = new QRadioButton(tr("Day of the month"));
    auto* byWeekday = new QRadioButton(tr("Day of the week"));
    byDay->setChecked(true);
    byDay->setObjectName(QStringLiteral("dayOfMonthButton"));
    byWeekday->setObjectName(QStringLiteral("dayOfWeekButton"));
    monthlyRepeatTypeGroup->addButton(byDay, MonthlyByDayOfMonth);
    monthlyRepeatTypeGroup->addButton(byWeekday, MonthlyByDayOfWeek);
    choices->addWidget(byDay);
    choices->addWidget(byWeekday);
    connect(byDay, &QRadioButton::clicked, this,
            &RepetitionsWidget::updateMonthlyClarificationLabel);
    connect(byWeekday, &QRadioButton::clicked, this,
            &RepetitionsWidget::updateMonthlyClarificationLabel);
    inner->addWidget(monthlyTypeBox, 1, 0, 1, -1);
    inner->setRowMinimumHeight(1, kRowHeight);

    if (task && task->monthlyRepeatType() == MonthlyByDayOfWeek) {
        byWeekday->click();
    }

    layout->addWidget(monthlyRepeatWidget, layout->rowCount(), 0, 1, -1);
    monthlyRepeatWidget->hide();
}

QDate RepetitionsWidget::getRepetitionStopDate() const {
    auto* selector = qobject_cast<QMaemo5DatePickSelector*>(repeatUntilButton->pickSelector());
    return selector ? selector->currentDate() : QDate();
}

void RepetitionsWidget::displayRepetitionCycle(int index) {
    // The repetition type is not consulted: with "Never" chosen, a unit change can
    // show the weekday or monthly line under the hidden "Every" line.
    if (index == IntervalWeeks) {
        weeklyRepeatWidget->setVisible(true);
        monthlyRepeatWidget->setVisible(false);
    } else if (index == IntervalMonths) {
        monthlyRepeatWidget->setVisible(true);
        weeklyRepeatWidget->setVisible(false);
    } else {
        weeklyRepeatWidget->setVisible(false);
        monthlyRepeatWidget->setVisible(false);
    }
}

void RepetitionsWidget::updateMonthlyClarificationLabel() {
    const QDate start = taskWindow.getStartDate();
    if (monthlyRepeatTypeGroup->checkedId() == MonthlyByDayOfMonth) {
        monthlyClarificationLabel->setText(tr("Will repeat on the day %1.").arg(start.day()));
        return;
    }
    const int n = Util::whichDayOfWeekInMonthIsDate(start);
    // n is 1 to 5, so 11th to 13th never come up.
    QString suffix = tr("th");
    if (n == 1) {
        suffix = tr("st");
    } else if (n == 2) {
        suffix = tr("nd");
    } else if (n == 3) {
        suffix = tr("rd");
    }
    // English day names whatever the system locale: the sentence is English.
    const QString day =
        QLocale(QLocale::English, QLocale::UnitedStates).toString(start, QStringLiteral("ddd"));
    monthlyClarificationLabel->setText(tr("Will repeat on the %1%2 %3.").arg(n).arg(suffix, day));
}

void RepetitionsWidget::updateWeeklyDayOfWeekButtons() {
    for (int day = 1; day <= weekDaysGroup->buttons().size(); ++day) {
        if (QAbstractButton* button = weekDaysGroup->button(day)) {
            button->setEnabled(true);
        }
    }
    // The task's own weekday is always a repeat day and cannot be switched off.
    if (QAbstractButton* start = weekDaysGroup->button(taskWindow.getStartDate().dayOfWeek())) {
        start->setChecked(true);
        start->setEnabled(false);
    }
}

void RepetitionsWidget::handleNoRepeatSelected() {
    repeatCycleWidget->setVisible(false);
    repeatEndingWidget->setVisible(false);
    weeklyRepeatWidget->setVisible(false);
    monthlyRepeatWidget->setVisible(false);
}

void RepetitionsWidget::handleRepeatForeverSelected() {
    repeatCycleWidget->setVisible(true);
    repeatEndingWidget->setVisible(false);
    displayRepetitionCycle(repeatIntervalTypeCombo->currentIndex());
}

void RepetitionsWidget::handleRepeatForXTimesSelected() {
    repeatStopNumberEdit->setVisible(true);
    timesLabel->setVisible(true);
    repeatEndingWidget->setVisible(true);
    repeatCycleWidget->setVisible(true);
    repeatUntilButton->setVisible(false);
    displayRepetitionCycle(repeatIntervalTypeCombo->currentIndex());
}

void RepetitionsWidget::handleRepeatUntilDateSelected() {
    repeatUntilButton->setVisible(true);
    repeatEndingWidget->setVisible(true);
    repeatCycleWidget->setVisible(true);
    repeatStopNumberEdit->setVisible(false);
    timesLabel->setVisible(false);
    displayRepetitionCycle(repeatIntervalTypeCombo->currentIndex());
}

void Task::defineRepetition(RepetitionsWidget* widget) {
    int repetition = widget->repeatTypeGroup->checkedId();
    int stopNumber = repetitionStopNumber();
    QDate stopDate = repetitionStopDate();
    int intervalNumber = repeatIntervalNumber();
    int intervalType = repeatIntervalType();
    QList<int> weekdays = weeklyRepeatDays();
    int monthlyType = monthlyRepeatType();
    // "Never" leaves every other repetition field at its default.
    if (repetition != RepeatNever) {
        if (repetition == RepeatUntilDate) {
            stopDate = widget->getRepetitionStopDate();
        } else if (repetition == RepeatXTimes) {
            stopNumber = widget->repeatStopNumberEdit->text().toInt(nullptr, 10);
        }
        intervalNumber = widget->repeatIntervalNumberEdit->text().toInt(nullptr, 10);
        intervalType = widget->repeatIntervalTypeCombo->currentIndex();
        if (intervalType == IntervalWeeks) {
            weekdays.clear();
            const int days = widget->weekDaysGroup->buttons().size();
            // Ascending, Monday first, whatever order the days were checked in.
            for (int day = 1; day <= days; ++day) {
                QAbstractButton* dayButton = widget->weekDaysGroup->button(day);
                if (dayButton && dayButton->isChecked()) {
                    weekdays.append(day);
                }
            }
        } else if (intervalType == IntervalMonths) {
            monthlyType = widget->monthlyRepeatTypeGroup->checkedId();
        }
    }
    setRepetitionFields(repetition, stopNumber, stopDate, intervalNumber, intervalType, weekdays,
                        monthlyType);
}
