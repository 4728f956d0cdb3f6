#include "mainwindow.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QVBoxLayout>

#include "actionbutton.h"
#include "screenfit.h"
#include "settingswindow.h"
#include "stackedwindow.h"
#include "taskmanager.h"
#include "taskwindow.h"

MainWindow::MainWindow(TaskManager& taskManager, QWidget* parent)
    : QMainWindow(parent)
    , taskManager(taskManager)
    , tasksLayout(nullptr) {
    auto* central = new QWidget;
    auto* layout = new QHBoxLayout;
    setCentralWidget(central);
    central->setLayout(layout);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    initializeTasksArea(layout);
    initializeActionArea(layout);

    setWindowTitle(QStringLiteral("Pardo Reminder"));
    // The handheld's screen: two 317-pixel columns and the action column fit without scrolling.
    // A smaller (or magnified) screen gets what it holds; the task grid scrolls.
    ScreenFit::resize(this, QSize(800, 480));

    connect(&taskManager, &TaskManager::newTaskCalled, this, [this] { addTask(); });
    connect(&taskManager, &TaskManager::editTaskCalled, this, [this] { addTask(); });
    connect(&taskManager, &TaskManager::settingsCalled, this, &MainWindow::displaySettingsWindow);

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
    taskManager.loadTasks();
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
    show();
    activateWindow();
    raise();
    return 0;
}

int MainWindow::alarm_triggered(int taskId, int alarmNo) {
    taskManager.handleAlarmTriggeredForTask(taskId, alarmNo);
    return 0;
}

void MainWindow::addTask(const QString& /*name*/) {
    // The editor asks the manager by itself whether it edits the selected task.
    auto* window = new TaskWindow(taskManager, this);
    window->show();
}

void MainWindow::displaySettingsWindow() {
    auto* window = new SettingsWindow(this);
    window->show();
}

void MainWindow::removeTask() {
    taskManager.removeTask();
}

void MainWindow::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
}
