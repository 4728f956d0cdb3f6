#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

#include "actionbutton.h"
#include "daemonclient.h"
#include "mainwindow.h"
#include "modalanswerer.h"

class QLineEdit;
class QWidget;
class Task;
class TaskManager;
class TaskWindow;

// What the editor flow tests share: the main window on a fresh database for each test
// function, the real daemon started by the private bus, and a guard that fails a test
// where a message box nobody expected came up.
class EditorFlowTestCase : public QObject {
public:
    EditorFlowTestCase();
    ~EditorFlowTestCase() override;

protected:
    // For initTestCase(), cleanupTestCase(), init() and cleanup().
    void initTestCase(const QString& daemonPath);
    void cleanupTestCase();
    void init();
    void cleanup();

    void start();
    void restart();
    ActionButton* upper() const { return window->findChildren<ActionButton*>().value(0); }
    ActionButton* lower() const { return window->findChildren<ActionButton*>().value(1); }
    template <typename W> W* shown() const {
        for (W* candidate : window->findChildren<W*>()) {
            if (candidate->isVisible()) {
                return candidate;
            }
        }
        return nullptr;
    }
    template <typename T> T* in(QWidget* top, const char* name) const {
        T* found = top->findChild<T*>(QLatin1String(name));
        if (!found) {
            qWarning("nothing named %s", name);
        }
        return found;
    }
    void click(QWidget* top, const char* name);
    TaskWindow* fillNewTask(const QString& type, const QString& title, const QString& description);
    Task* taskNamed(const QString& name) const;

    static std::vector<DaemonClient::Event> eventsOf(int taskId);
    // The statements that write the task's own rows, in the order they ran.
    static QStringList rowWrites(const QStringList& statements);
    // ASCII as key presses; anything else as an input method would commit it.
    static void typeInto(QLineEdit* edit, const QString& text);

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
    // None of these flows expects a message box; one that comes up is answered at once, so the
    // test fails where it happened instead of waiting for a user.
    std::unique_ptr<ModalAnswerer> boxes;
};
