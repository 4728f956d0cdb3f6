#include "taskwindow.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "alarmswidget.h"
#include "newtaskbutton.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5informationbox.h"
#include "qmaemo5timepickselector.h"
#include "qmaemo5valuebutton.h"
#include "repetitionswidget.h"
#include "stackedwindow.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindowbutton.h"
#include "windowkeys.h"
#include "timesource.h"

namespace {

const int kTitleLength = 20;

QString cancelText() {
    return QCoreApplication::translate("TaskWindow", "Cancel");
}

QString acceptText() {
    return QCoreApplication::translate("TaskWindow", "Save");
}

// Failed conversions count as 0, which every range check below rejects or accepts as such.
int toNumber(const QString& text) {
    bool ok = false;
    const int number = text.toInt(&ok, 10);
    return ok ? number : 0;
}

void refuse(const QString& title, const QString& text) {
    QMessageBox::critical(nullptr, title, text, QMessageBox::Ok);
}

// The editor stays open with what the user typed, so that nothing is lost silently.
void refuseUnsaved(Task* task) {
    delete task;
    QMaemo5InformationBox::information(
        nullptr, QCoreApplication::translate("TaskWindow", "Task could not be saved."), 3000);
}

QLineEdit* titleField(const Task* task) {
    auto* edit = new QLineEdit(task ? task->name() : QString());
    edit->setObjectName(QStringLiteral("titleEdit"));
    edit->setMaxLength(kTitleLength);
    edit->setFixedWidth(300);
    return edit;
}

// The sidebar shows only icons: `action` names the button for screen readers and in its tooltip.
TaskWindowButton* sidebarButton(const char* icon, const char* name, const QString& action) {
    auto* button = new TaskWindowButton;
    button->setObjectName(QLatin1String(name));
    button->setIcon(QIcon(QStringLiteral(":/images/") + QLatin1String(icon)));
    button->setIconSize(QSize(70, 70));
    button->setAccessibleName(action);
    button->setToolTip(action);
    return button;
}

NewTaskButton* typeButton(const char* icon, const char* name, const QString& type) {
    auto* button = new NewTaskButton;
    button->setObjectName(QLatin1String(name));
    button->setIcon(QIcon(QStringLiteral(":/images/") + QLatin1String(icon)));
    button->setIconSize(QSize(140, 140));
    button->setAccessibleName(type);
    button->setToolTip(type);
    return button;
}

QLabel* titleLabel(QLineEdit* titleEdit) {
    auto* label = new QLabel(QCoreApplication::translate("TaskWindow", "Title"));
    label->setMinimumHeight(84);
    label->setBuddy(titleEdit);
    return label;
}

// The panel buttons scroll between cancel and accept when the window is too short for all
// five, so that cancel and accept are always in sight.
QScrollArea* panelButtonsArea(const QList<QAbstractButton*>& buttons) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    for (QAbstractButton* button : buttons) {
        column->addWidget(button);
    }
    auto* area = new QScrollArea;
    area->setObjectName(QStringLiteral("panelButtonsArea"));
    area->setFrameStyle(0);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    area->setWidget(content);
    const int width = content->sizeHint().width();
    area->setFixedWidth(width);
    // Room for the scroll bar only while there is something to scroll.
    QScrollBar* bar = area->verticalScrollBar();
    QObject::connect(bar, &QScrollBar::rangeChanged, area, [area, bar, width](int min, int max) {
        area->setFixedWidth(width + (max > min ? bar->sizeHint().width() : 0));
    });
    return area;
}

QScrollArea* scrollArea() {
    auto* area = new QScrollArea;
    area->setFrameStyle(0);
    area->setWidgetResizable(true);
    // Not a Tab stop of its own: it scrolls to whichever of its fields takes the focus.
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

} // namespace

TaskWindow::TaskWindow(TaskManager& manager, QWidget* parent)
    : QMainWindow(parent)
    , alarmsWidget(nullptr)
    , repetitionsWidget(nullptr)
    , taskManager(manager)
    , titleEdit(nullptr)
    , dateButton(nullptr)
    , timeButton(nullptr)
    , keys(new WindowKeys(this)) {
    StackedWindow::enable(this);
    setWindowTitle(tr("Pardo Reminder"));

    auto* central = new QWidget;
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* grid = new QGridLayout;
    layout->addStretch();
    layout->addLayout(grid);
    layout->addStretch();
    setCentralWidget(central);

    const Task* focused = taskManager.focusedTask();
    if (!focused) {
        displayTaskTypeSelection(grid);
    } else if (focused->type() == Task::T) {
        displayTaskT();
    } else {
        displayTaskD();
    }
}

void TaskWindow::displayEditTaskLayout() {
    const Task* focused = taskManager.focusedTask();
    if (focused && focused->type() == Task::T) {
        displayTaskT();
    } else {
        displayTaskD();
    }
}

QDate TaskWindow::getStartDate() const {
    auto* selector =
        dateButton ? qobject_cast<QMaemo5DatePickSelector*>(dateButton->pickSelector()) : nullptr;
    return selector ? selector->currentDate() : QDate();
}

void TaskWindow::removeAllWidgets() {
    keys->setCancelButton(nullptr);
    keys->setDefaultButton(nullptr);
    delete centralWidget();
    alarmsWidget = nullptr;
    repetitionsWidget = nullptr;
    titleEdit = nullptr;
    dateButton = nullptr;
    timeButton = nullptr;
}

void TaskWindow::displayTaskTypeSelection(QGridLayout* layout) {
    layout->setHorizontalSpacing(80);

    layout->addWidget(new QLabel(tr("Create a new task starting")), 0, 0, 1, 2, Qt::AlignCenter);

    const QString countdownText = tr("From activation time");
    const QString datedText = tr("At fixed date & time");

    NewTaskButton* countdown = typeButton("icon_stopwatch.png", "typeTButton", countdownText);
    connect(countdown, &NewTaskButton::clicked, this, &TaskWindow::displayTaskT);
    layout->addWidget(countdown, 1, 0, Qt::AlignCenter);

    NewTaskButton* dated = typeButton("icon_calendar_big.png", "typeDButton", datedText);
    connect(dated, &NewTaskButton::clicked, this, &TaskWindow::displayTaskD);
    layout->addWidget(dated, 1, 1, Qt::AlignCenter);

    layout->addWidget(new QLabel(countdownText), 2, 0, Qt::AlignCenter);
    layout->addWidget(new QLabel(datedText), 2, 1, Qt::AlignCenter);

    // The keyboard starts on a type: Space or Return chooses it, Tab goes to the other.
    setTabOrder(countdown, dated);
    countdown->setFocus();
}

void TaskWindow::displayTaskT() {
    removeAllWidgets();
    const Task* focused = taskManager.focusedTask();

    auto* central = new QWidget;
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);

    QScrollArea* area = scrollArea();
    layout->addWidget(area);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    auto* grid = new QGridLayout;
    column->addLayout(grid);

    titleEdit = titleField(focused);
    grid->addWidget(titleLabel(titleEdit), 0, 0);
    grid->addWidget(titleEdit, 0, 1);
    grid->addWidget(new QLabel(tr("(20 characters max)")), 0, 2);

    addAlarmsWidget(column, true);
    column->addStretch();
    area->setWidget(content);

    auto* sidebar = new QVBoxLayout;
    sidebar->setContentsMargins(0, 0, 0, 0);
    sidebar->setSpacing(0);
    TaskWindowButton* cancel = sidebarButton("icon_cancel.png", "cancelButton", cancelText());
    connect(cancel, &TaskWindowButton::clicked, this, &TaskWindow::close);
    sidebar->addWidget(cancel);
    sidebar->addStretch();
    TaskWindowButton* accept = sidebarButton("icon_accept.png", "acceptButton", acceptText());
    connect(accept, &TaskWindowButton::clicked, this, &TaskWindow::saveTaskT);
    sidebar->addWidget(accept);
    layout->addLayout(sidebar);
    keys->setCancelButton(cancel);
    keys->setDefaultButton(accept);

    setCentralWidget(central);
    // On a window already shown, the new screen would otherwise appear one event later.
    central->show();
    titleEdit->setFocus();
}

void TaskWindow::displayTaskD() {
    removeAllWidgets();

    auto* central = new QWidget;
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    QScrollArea* area = scrollArea();
    layout->addWidget(area);
    auto* content = new QWidget;
    content->setContentsMargins(0, 0, 0, 0);
    auto* column = new QVBoxLayout(content);
    column->setSpacing(0);
    // The date panel comes first: the repetitions ask for its date while they are built.
    QWidget* dtWidget = addDtWidget(column);
    addAlarmsWidget(column, false);
    addRepetitionsWidget(column);
    column->addStretch();
    area->setWidget(content);

    auto* sidebar = new QVBoxLayout;
    sidebar->setContentsMargins(0, 0, 0, 0);
    sidebar->setSpacing(0);

    TaskWindowButton* cancel = sidebarButton("icon_cancel.png", "cancelButton", cancelText());
    connect(cancel, &TaskWindowButton::clicked, this, &TaskWindow::close);

    RepetitionsWidget* repetitions = repetitionsWidget;
    AlarmsWidget* alarms = alarmsWidget;
    // One panel at a time: the sidebar button shows its own and hides the other two.
    auto showOnly = [repetitions, alarms, dtWidget](QWidget* panel) {
        for (QWidget* other :
             {static_cast<QWidget*>(repetitions), static_cast<QWidget*>(alarms), dtWidget}) {
            other->setVisible(other == panel);
        }
    };

    TaskWindowButton* repeat = sidebarButton("icon_repeat.png", "repeatButton", tr("Repeat"));
    repeat->setCheckable(true);
    connect(repeat, &TaskWindowButton::clicked, this, [repetitions, showOnly] {
        showOnly(repetitions);
        repetitions->updateMonthlyClarificationLabel();
        repetitions->updateWeeklyDayOfWeekButtons();
    });

    TaskWindowButton* alarm = sidebarButton("icon_alarm.png", "alarmButton", tr("Alarms"));
    alarm->setCheckable(true);
    connect(alarm, &TaskWindowButton::clicked, this, [alarms, showOnly] { showOnly(alarms); });

    TaskWindowButton* calendar =
        sidebarButton("icon_calendar.png", "calendarButton", tr("Date and time"));
    calendar->setCheckable(true);
    calendar->setChecked(true);
    connect(calendar, &TaskWindowButton::clicked, this,
            [dtWidget, showOnly] { showOnly(dtWidget); });

    TaskWindowButton* accept = sidebarButton("icon_accept.png", "acceptButton", acceptText());
    connect(accept, &TaskWindowButton::clicked, this, &TaskWindow::saveTaskD);

    auto* panels = new QButtonGroup(this);
    panels->setExclusive(true);
    panels->addButton(repeat);
    panels->addButton(alarm);
    panels->addButton(calendar);
    // Like a radio group, the three are one Tab stop (the arrow keys move among them); it starts
    // on the panel shown.
    repeat->setFocusPolicy(Qt::ClickFocus);
    alarm->setFocusPolicy(Qt::ClickFocus);

    sidebar->addWidget(cancel);
    sidebar->addWidget(panelButtonsArea({repeat, alarm, calendar}));
    sidebar->addWidget(accept);
    sidebar->addStretch();
    layout->addLayout(sidebar);
    keys->setCancelButton(cancel);
    keys->setDefaultButton(accept);

    setCentralWidget(central);
    // On a window already shown, the new screen would otherwise appear one event later.
    central->show();
    titleEdit->setFocus();
}

QWidget* TaskWindow::addDtWidget(QVBoxLayout* layout) {
    const Task* focused = taskManager.focusedTask();
    auto* panel = new QWidget;
    panel->setObjectName(QStringLiteral("dtWidget"));
    auto* grid = new QGridLayout(panel);

    titleEdit = titleField(focused);
    QLabel* title = titleLabel(titleEdit);
    title->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    grid->addWidget(title, 0, 0);
    grid->addWidget(titleEdit, 0, 1);
    grid->addWidget(new QLabel(tr("(20 characters max)")), 0, 2);

    timeButton = new QMaemo5ValueButton(tr("Time:"));
    timeButton->setObjectName(QStringLiteral("timeButton"));
    timeButton->setValueLayout(QMaemo5ValueButton::ValueBesideText);
    auto* timeSelector = new QMaemo5TimePickSelector;
    timeSelector->setCurrentTime(focused ? focused->time() : TimeSource::currentTime());
    timeButton->setPickSelector(timeSelector);
    grid->addWidget(timeButton, 1, 0, 1, -1);

    dateButton = new QMaemo5ValueButton(tr("Date:"));
    dateButton->setObjectName(QStringLiteral("dateButton"));
    dateButton->setValueLayout(QMaemo5ValueButton::ValueBesideText);
    auto* dateSelector = new QMaemo5DatePickSelector;
    dateSelector->setCurrentDate(focused ? focused->date() : TimeSource::currentDate());
    dateButton->setPickSelector(dateSelector);
    grid->addWidget(dateButton, 2, 0, 1, -1);

    layout->addWidget(panel);
    return panel;
}

void TaskWindow::addAlarmsWidget(QVBoxLayout* layout, bool isTaskT) {
    alarmsWidget = new AlarmsWidget(isTaskT, taskManager.focusedTask(), nullptr);
    layout->addWidget(alarmsWidget);
    if (!isTaskT) {
        alarmsWidget->hide();
    }
}

void TaskWindow::addRepetitionsWidget(QVBoxLayout* layout) {
    repetitionsWidget = new RepetitionsWidget(*this, taskManager.focusedTask(), nullptr);
    layout->addWidget(repetitionsWidget);
    repetitionsWidget->hide();
}

bool TaskWindow::validateTitleAndOffsets(const QString& offsetText) {
    if (titleEdit->text().length() == 0) {
        refuse(tr("Missing title"), tr("Every task must have a title."));
        return false;
    }
    for (int i = 0; i < alarmsWidget->alarmsNo(); ++i) {
        const int number = toNumber(alarmsWidget->getNumber(i)->text());
        if (number < 0 || number > 99) {
            refuse(tr("Invalid alarm offset"), offsetText);
            return false;
        }
    }
    return true;
}

bool TaskWindow::validateTaskT() {
    return validateTitleAndOffsets(tr("Every alarm must have an offset between 0 and 99."));
}

bool TaskWindow::validateTaskD() {
    // Same range as for T: the sign is the row's toggle, only the wording names -99.
    if (!validateTitleAndOffsets(tr("Every alarm must have an offset between -99 and 99."))) {
        return false;
    }
    const int repetition = repetitionsWidget->repeatTypeGroup->checkedId();
    if (repetition == RepeatNever) {
        return true;
    }
    const int interval = toNumber(repetitionsWidget->repeatIntervalNumberEdit->text());
    if (interval < 1 || interval > 99) {
        refuse(tr("Invalid repeat interval"),
               tr("Repeat interval units must be between 1 and 99."));
        return false;
    }
    if (repetition == RepeatXTimes) {
        const int stop = toNumber(repetitionsWidget->repeatStopNumberEdit->text());
        if (stop < 2 || stop > 99) {
            refuse(tr("Invalid repeat stop criteria"),
                   tr("Repeat stop number must be between 2 and 99."));
            return false;
        }
    }
    return true;
}

void TaskWindow::saveTaskT() {
    if (!validateTaskT()) {
        return;
    }
    auto* task = new Task(taskManager, 0, titleEdit->text(), true, Task::T, nullptr);
    // A T task's alarms always count after activation; the toggle is not read.
    for (int i = 0; i < alarmsWidget->alarmsNo(); ++i) {
        task->addAlarm(false, toNumber(alarmsWidget->getNumber(i)->text()),
                       static_cast<Alarm::Unit>(alarmsWidget->getUnit(i)->currentIndex()),
                       alarmsWidget->getDescription(i)->text());
    }
    if (taskManager.focusedTask()) {
        taskManager.saveSelectedTaskChanges(*task);
        // The manager only read it.
        delete task;
    } else if (!taskManager.addTask(*task)) {
        refuseUnsaved(task);
        return;
    }
    close();
}

void TaskWindow::saveTaskD() {
    // The weekday of the chosen date must be among the repeat days before anything is read.
    repetitionsWidget->updateWeeklyDayOfWeekButtons();
    if (!validateTaskD()) {
        return;
    }
    auto* dateSelector = qobject_cast<QMaemo5DatePickSelector*>(dateButton->pickSelector());
    auto* timeSelector = qobject_cast<QMaemo5TimePickSelector*>(timeButton->pickSelector());
    auto* task = new Task(taskManager, 0, titleEdit->text(), true, Task::D, nullptr);
    task->setDate(dateSelector->currentDate());
    task->setTime(timeSelector->currentTime());
    for (int i = 0; i < alarmsWidget->alarmsNo(); ++i) {
        task->addAlarm(alarmsWidget->getIsBefore(i), toNumber(alarmsWidget->getNumber(i)->text()),
                       static_cast<Alarm::Unit>(alarmsWidget->getUnit(i)->currentIndex()),
                       alarmsWidget->getDescription(i)->text());
    }
    task->defineRepetition(repetitionsWidget);
    if (taskManager.focusedTask()) {
        taskManager.saveSelectedTaskChanges(*task);
        delete task;
    } else if (!taskManager.addTask(*task)) {
        refuseUnsaved(task);
        return;
    }
    close();
}
