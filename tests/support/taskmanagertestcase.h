#pragma once

#include <QObject>
#include <QPair>
#include <QStringList>

#include <memory>

class QGridLayout;
class QWidget;
class Task;
class TaskManager;

// What the task manager's tests share: a fresh database for each test function, the manager
// on it with a grid to show its tasks in, and ways to find them there.
class TaskManagerTestCase : public QObject {
public:
    TaskManagerTestCase();
    ~TaskManagerTestCase() override;

protected:
    // For init() and cleanup().
    void init();
    void cleanup();

    void startManager();
    int insertTask(const QString& name, bool active, int type);
    QPair<int, int> gridPosition(const Task* task) const;
    Task* taskNamed(const QString& name) const;
    // How many "Task saved." notes are on screen.
    static int savedNotes();
    static QStringList namesInOrder(const TaskManager& manager);

    std::unique_ptr<QWidget> container;
    QGridLayout* grid = nullptr;
    std::unique_ptr<TaskManager> manager;
};
