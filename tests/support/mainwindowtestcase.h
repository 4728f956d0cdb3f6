#pragma once

#include <QImage>
#include <QObject>
#include <QStringList>

#include <memory>

#include "actionbutton.h"
#include "mainwindow.h"

class QAbstractButton;
class QWidget;
class Task;
class TaskButton;
class TaskManager;

// What the main window's tests share: the window on a fresh database for each test function,
// with the tasks a test asks for, and ways to reach its buttons.
class MainWindowTestCase : public QObject {
public:
    MainWindowTestCase();
    ~MainWindowTestCase() override;

protected:
    // For init() and cleanup().
    void init();
    void cleanup();

    void start(const QStringList& activeNames = {}, const QStringList& inactiveNames = {});
    void activate();
    QWidget* gridWidget(int index) const;
    ActionButton* upper() const;
    ActionButton* lower() const;
    TaskButton* buttonOf(const QString& name) const;
    Task* taskNamed(const QString& name) const;
    void tap(const QString& name);
    void doubleTap(const QString& name);

    static QImage iconOf(const QAbstractButton* button);
    static QImage image(const char* name);
    // What an editor window shows: where it is, and every visible widget with its text.
    static QStringList stateOf(const QWidget* editor);

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
};
