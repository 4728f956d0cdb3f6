#include "taskwindowtestcase.h"

#include <QButtonGroup>
#include <QtTest>

#include "task.h"
#include "taskmanager.h"
#include "testdatabase.h"

TaskWindowTestCase::TaskWindowTestCase() = default;

TaskWindowTestCase::~TaskWindowTestCase() = default;

void TaskWindowTestCase::openDatabase() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
}

void TaskWindowTestCase::closeDatabase() {
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TaskWindowTestCase::open() {
    if (manager->allTasks().isEmpty()) {
        manager->loadTasks();
    }
    window = std::make_unique<TaskWindow>(*manager, nullptr);
    window->resize(800, 480);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    // Without a window manager (a bare X server) nothing activates a new window by itself.
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
}

void TaskWindowTestCase::openD() {
    open();
    click(QStringLiteral("typeDButton"));
}

int TaskWindowTestCase::insertTask(const QString& name, int type, const QString& date,
                                   const QString& time) {
    TestDatabase::exec(QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                                      "('%1', 1, %2, %3, %4)")
                           .arg(name)
                           .arg(type)
                           .arg(date.isEmpty() ? QStringLiteral("NULL")
                                               : QLatin1Char('\'') + date + QLatin1Char('\''))
                           .arg(time.isEmpty() ? QStringLiteral("NULL")
                                               : QLatin1Char('\'') + time + QLatin1Char('\'')));
    return TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
}

Task* TaskWindowTestCase::taskWithId(int id) const {
    for (Task* task : manager->allTasks()) {
        if (task->id() == id) {
            return task;
        }
    }
    return nullptr;
}

Task* TaskWindowTestCase::newest() const {
    Task* found = nullptr;
    for (Task* task : manager->allTasks()) {
        if (!found || task->id() > found->id()) {
            found = task;
        }
    }
    return found;
}

void TaskWindowTestCase::click(const QString& name) {
    auto* button = find<QAbstractButton>(name);
    QVERIFY(button);
    QVERIFY(button->isVisible());
    QTest::mouseClick(button, Qt::LeftButton);
}

QAbstractButton* TaskWindowTestCase::repeatType(int id) const {
    return find<QButtonGroup>(QStringLiteral("repeatTypeGroup"))->button(id);
}
