#include "taskmanagertestcase.h"

#include <QGridLayout>
#include <QWidget>
#include <QtTest>

#include "notes.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "testdatabase.h"

TaskManagerTestCase::TaskManagerTestCase() = default;
TaskManagerTestCase::~TaskManagerTestCase() = default;

int TaskManagerTestCase::savedNotes() {
    return int(Notes::visibleTexts().count(QStringLiteral("Task saved.")));
}

QStringList TaskManagerTestCase::namesInOrder(const TaskManager& manager) {
    QStringList names;
    for (const Task* task : manager.allTasks()) {
        names << task->name();
    }
    return names;
}

void TaskManagerTestCase::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
}

void TaskManagerTestCase::startManager() {
    if (!manager) {
        manager = std::make_unique<TaskManager>();
    }
    container = std::make_unique<QWidget>();
    grid = new QGridLayout(container.get());
    manager->setTasksLayout(grid);
    manager->loadTasks();
}

void TaskManagerTestCase::cleanup() {
    Notes::closeAll();
    container.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

int TaskManagerTestCase::insertTask(const QString& name, bool active, int type) {
    if (!manager) {
        // Opening creates the file with its seed; the tasks go in before loading.
        manager = std::make_unique<TaskManager>();
    }
    TestDatabase::exec(QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                                      "('%1', %2, %3, '2026-05-01', '10:00')")
                           .arg(name)
                           .arg(active ? 1 : 0)
                           .arg(type));
    return TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
}

QPair<int, int> TaskManagerTestCase::gridPosition(const Task* task) const {
    int row = -1, column = -1, rowSpan = 0, columnSpan = 0;
    const int index = grid->indexOf(task->taskButton());
    if (index < 0) {
        return {-1, -1};
    }
    grid->getItemPosition(index, &row, &column, &rowSpan, &columnSpan);
    return {row, column};
}

Task* TaskManagerTestCase::taskNamed(const QString& name) const {
    for (Task* task : manager->allTasks()) {
        if (task->name() == name) {
            return task;
        }
    }
    return nullptr;
}
