#include "mainwindow.h"

#include <QAction>
#include <QApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "actionbutton.h"
#include "screenfit.h"
#include "settingswindow.h"
#include "stackedwindow.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "startuptrace.h"

MainWindow::MainWindow(TaskManager& manager, QWidget* parent)
    : QMainWindow(parent)
    , taskManager(manager)
    , tasksLayout(nullptr) {
    auto* central = new QWidget;
    auto* layout = new QHBoxLayout;
    setCentralWidget(central);
    central->setLayout(layout);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    initializeTasksArea(layout);
    initializeActionArea(layout);

    setWindowTitle(tr("Pardo Reminder"));
    // The handheld's screen: two 317-pixel columns and the action column fit without scrolling.
    // A smaller (or magnified) screen gets what it holds; the task grid scrolls.
    ScreenFit::resize(this, QSize(800, 480));

    connect(&taskManager, &TaskManager::newTaskCalled, this, [this] { addTask(); });
    connect(&taskManager, &TaskManager::editTaskCalled, this, [this] { addTask(); });
    connect(&taskManager, &TaskManager::settingsCalled, this, &MainWindow::displaySettingsWindow);

    auto* newTask = new QAction(tr("New task"), this);
    newTask->setShortcut(QKeySequence::New);
    connect(newTask, &QAction::triggered, this, [this] {
        // A new task, whatever is selected: with a selection the editor would open on it.
        if (Task* selected = taskManager.focusedTask()) {
            taskManager.setSelectedTask(selected);
        }
        taskManager.handleTaskAction();
    });
    auto* quit = new QAction(tr("Quit"), this);
    quit->setShortcuts(QKeySequence::Quit);
    // Not every platform names one (offscreen, for one); Ctrl+Q is what users try.
    if (quit->shortcuts().isEmpty()) {
        quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    }
    connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    auto* help = new QAction(tr("Quick start"), this);
    help->setShortcut(QKeySequence::HelpContents);
    connect(help, &QAction::triggered, this, [this] { openSettingsWindow()->showQuickStart(); });
    addActions({newTask, quit, help});

    // The grid's frame is no stop of its own on the keyboard's way, only the tasks in it.
    if (auto* area = findChild<QScrollArea*>()) {
        area->setFocusPolicy(Qt::NoFocus);
        area->verticalScrollBar()->setAccessibleName(tr("Task list"));
        area->horizontalScrollBar()->setAccessibleName(tr("Task list"));
    }

    StackedWindow::enable(this);
}

void MainWindow::initializeTasksArea(QHBoxLayout* layout) {
    tasksLayout = new QGridLayout;
    auto* scrollArea = new QScrollArea;
    auto* container = new QWidget;

    layout->addWidget(scrollArea, 0);
    scrollArea->setWidget(container);
    scrollArea->setWidgetResizable(true);
    scrollArea->setFrameStyle(0);

    container->setLayout(tasksLayout);
    tasksLayout->setSizeConstraint(QLayout::SetMinAndMaxSize);
    tasksLayout->setContentsMargins(12, 12, 0, 12);
    tasksLayout->setSpacing(0);

    taskManager.setTasksLayout(tasksLayout);
    StartupTrace::mark("window frame");
    taskManager.loadTasks();
    StartupTrace::mark("tasks and buttons");
}

void MainWindow::initializeActionArea(QHBoxLayout* layout) {
    auto* column = new QVBoxLayout;
    layout->addLayout(column, 0);

    auto* upper = new ActionButton(true);
    auto* lower = new ActionButton(false);
    for (ActionButton* button : {upper, lower}) {
        connect(&taskManager, &TaskManager::taskGainedFocus, button,
                &ActionButton::setSecondaryAction);
        connect(&taskManager, &TaskManager::taskLostFocus, button, &ActionButton::setPrimaryAction);
    }
    connect(upper, &ActionButton::clicked, &taskManager, &TaskManager::handleSettingsAction);
    connect(lower, &ActionButton::clicked, &taskManager, &TaskManager::handleTaskAction);

    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(upper, 0);
    column->addStretch();
    column->addWidget(lower);
}

int MainWindow::top_application() {
    // A minimized window comes back as it was before; maximized or full screen stays so.
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    activateWindow();
    raise();
    Q_EMIT called();
    return 0;
}

int MainWindow::alarm_triggered(int taskId, int alarmNo) {
    taskManager.handleAlarmTriggeredForTask(taskId, alarmNo);
    Q_EMIT called();
    return 0;
}

void MainWindow::addTask(const QString& /*name*/) {
    // The editor asks the manager by itself whether it edits the selected task.
    auto* window = new TaskWindow(taskManager, this);
    // Every open makes a new window; a closed one is never shown again.
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->show();
}

void MainWindow::displaySettingsWindow() {
    openSettingsWindow();
}

SettingsWindow* MainWindow::openSettingsWindow() {
    auto* window = new SettingsWindow(this);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->show();
    return window;
}

void MainWindow::removeTask() {
    taskManager.removeTask();
}

void MainWindow::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
}
