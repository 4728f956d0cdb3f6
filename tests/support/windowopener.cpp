#include "windowopener.h"

#include <QAbstractButton>
#include <QtTest>

#include "settingswindow.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

WindowOpener::WindowOpener(const QString& homeName) {
    TestDatabase::freshHome(homeName);
    taskManager = std::make_unique<TaskManager>();
}

WindowOpener::~WindowOpener() {
    delete current.data();
    taskManager.reset();
    TestDatabase::dropDefaultConnection();
}

int WindowOpener::insertTask(const QString& name, int type) {
    TestDatabase::exec(QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                                      "('%1', 0, %2, '2031-05-13', '07:30')")
                           .arg(name)
                           .arg(type));
    const int id =
        TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
    const QStringList alarms = {QStringLiteral("0, 5, 0, 'kettle'"),
                                QStringLiteral("1, 2, 1, 'shoes'"), QStringLiteral("0, 1, 2, ''")};
    for (const QString& alarm : alarms) {
        TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, "
                                          "unit_type, description) VALUES (%1, %2)")
                               .arg(id)
                               .arg(alarm));
    }
    if (type == Task::D) {
        TestDatabase::exec(QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, "
                                          "repeat_units, repeat_stop_date, repeat_interval_type, "
                                          "repeat_interval_units, extra_data) VALUES (%1, 4, 6, "
                                          "'', 3, 1, 'W:1:4')")
                               .arg(id));
    }
    return id;
}

QWidget* WindowOpener::open(Kind kind) {
    delete current.data();
    if (kind == CountdownEditing || kind == DatedEditing) {
        const int id =
            insertTask(kind == CountdownEditing ? QStringLiteral("Pasta") : QStringLiteral("Bins"),
                       kind == CountdownEditing ? Task::T : Task::D);
        taskManager->loadTasks();
        for (Task* task : taskManager->allTasks()) {
            if (task->id() == id) {
                taskManager->setSelectedTask(task);
            }
        }
    } else if (taskManager->allTasks().isEmpty()) {
        taskManager->loadTasks();
    }

    if (kind == Settings) {
        current = new SettingsWindow(nullptr);
    } else {
        current = new TaskWindow(*taskManager, nullptr);
    }
    current->resize(800, 480);
    current->show();
    if (!QTest::qWaitForWindowExposed(current)) {
        qWarning("window not exposed");
    }
    // Without a window manager (a bare X server) nothing activates a new window by itself.
    current->activateWindow();
    if (!QTest::qWaitForWindowActive(current)) {
        qWarning("window not active");
    }
    const char* type = kind == CountdownNew ? "typeTButton"
                       : kind == DatedNew   ? "typeDButton"
                                            : nullptr;
    if (type) {
        if (auto* button = current->findChild<QAbstractButton*>(QLatin1String(type))) {
            QTest::mouseClick(button, Qt::LeftButton);
        } else {
            qWarning("no %s", type);
        }
    }
    return current.data();
}
