#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <memory>

class TaskManager;

// Opens the editors and the settings window as a user gets them, on a fresh database in a
// home of their own. A window may delete itself when it closes: the opener only keeps a
// guarded pointer, and deletes what is still there when it goes.
class WindowOpener {
public:
    enum Kind {
        TypeChooser,
        CountdownNew,
        CountdownEditing,
        DatedNew,
        DatedEditing,
        Settings,
    };

    explicit WindowOpener(const QString& homeName);
    ~WindowOpener();

    // Shows and activates the window; the editors of a kept task have three alarm rows, the
    // dated one a weekly repetition.
    QWidget* open(Kind kind);
    QWidget* window() const { return current.data(); }
    TaskManager& manager() { return *taskManager; }

private:
    int insertTask(const QString& name, int type);

    std::unique_ptr<TaskManager> taskManager;
    QPointer<QWidget> current;
};
