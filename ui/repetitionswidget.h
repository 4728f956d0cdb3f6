#pragma once

#include <QDate>
#include <QWidget>

class QButtonGroup;
class QComboBox;
class QGridLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMaemo5ValueButton;
class Task;
class TaskWindow;

// How a dated task repeats: never, forever, until a date or a number of
// times; every N units; on which weekdays; by day of the month or by n-th
// weekday. Only the lines the current choice needs are visible.
class RepetitionsWidget : public QWidget {
    Q_OBJECT
    // The editor validates these controls and the task copies them on accept.
    friend class Task;
    friend class TaskWindow;

public:
    RepetitionsWidget(const TaskWindow& taskWindow, const Task* task, QWidget* parent);

    QDate getRepetitionStopDate() const;

public Q_SLOTS:
    void displayRepetitionCycle(int index);
    void updateMonthlyClarificationLabel();
    void updateWeeklyDayOfWeekButtons();
    void handleNoRepeatSelected();
    void handleRepeatForeverSelected();
    void handleRepeatForXTimesSelected();
    void handleRepeatUntilDateSelected();

private:
    void addRepeatNumberAndType(QGridLayout* layout);
    void addRepeatEndingCriteria(QGridLayout* layout);
    void addDaysButtons(QGridLayout* layout);
    void addMonthlySpecification(QGridLayout* layout);

    QButtonGroup* repeatTypeGroup;
    QLineEdit* repeatStopNumberEdit;
    QLineEdit* repeatIntervalNumberEdit;
    QComboBox* repeatIntervalTypeCombo;
    QButtonGroup* weekDaysGroup;
    QButtonGroup* monthlyRepeatTypeGroup;
    QMaemo5ValueButton* repeatUntilButton;
    QWidget* repeatCycleWidget;
    QWidget* repeatEndingWidget;
    QWidget* weeklyRepeatWidget;
    QWidget* monthlyRepeatWidget;
    QLabel* timesLabel;
    QLabel* repeatOnLabel;
    QLabel* repeatByLabel;
    QGroupBox* weekDaysBox;
    QGroupBox* monthlyTypeBox;
    QLabel* monthlyClarificationLabel;
    const Task* task;
    const TaskWindow& taskWindow;
};
