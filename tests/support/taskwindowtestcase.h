#pragma once

#include <QAbstractButton>
#include <QLineEdit>
#include <QObject>
#include <QString>

#include <memory>

#include "alarmswidget.h"
#include "repetitionswidget.h"
#include "taskwindow.h"

class Task;
class TaskManager;

// What the task window's tests share: a fresh database for each test function, the window on
// it, and the way to its controls.
class TaskWindowTestCase : public QObject {
public:
    TaskWindowTestCase();
    ~TaskWindowTestCase() override;

protected:
    // For init() and cleanup().
    void openDatabase();
    void closeDatabase();

    void open();
    void openD();
    int insertTask(const QString& name, int type, const QString& date = QString(),
                   const QString& time = QString());
    Task* taskWithId(int id) const;
    Task* newest() const;
    template <typename T> T* find(const QString& name) const {
        T* found = window->findChild<T*>(name);
        if (!found) {
            qWarning("no %s named %s", T::staticMetaObject.className(), qPrintable(name));
        }
        return found;
    }
    void click(const QString& name);
    QAbstractButton* repeatType(int id) const;
    RepetitionsWidget* repetitions() const { return window->findChild<RepetitionsWidget*>(); }
    AlarmsWidget* alarms() const { return window->findChild<AlarmsWidget*>(); }
    QLineEdit* title() const { return find<QLineEdit>(QStringLiteral("titleEdit")); }
    QLineEdit* interval() const {
        return find<QLineEdit>(QStringLiteral("repeatIntervalNumberEdit"));
    }
    QLineEdit* stopCount() const { return find<QLineEdit>(QStringLiteral("repeatStopNumberEdit")); }

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<TaskWindow> window;
};
