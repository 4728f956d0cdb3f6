#pragma once

#include <QButtonGroup>
#include <QDate>
#include <QLabel>
#include <QObject>
#include <QString>

#include <memory>

#include "repetitionswidget.h"
#include "taskmanager.h"
#include "taskwindow.h"

class Task;

// What the repetition editor's tests share: the task window on a fresh database for each
// test function, opened on a new or a stored task, and the way to its controls.
class RepetitionsWidgetTestCase : public QObject {
public:
    RepetitionsWidgetTestCase();
    ~RepetitionsWidgetTestCase() override;

protected:
    // For init() and cleanup().
    void init();
    void cleanup();

    void openNew(const QDate& start = QDate());
    void openStored(int id);
    void showRepetitions();
    void choose(int kind);
    void chooseUnit(int unit);
    void pickStart(const QDate& date);
    void uncheckEarlierDays();
    int insertDTask(const QString& name, const QString& date, const QString& repetition);
    Task* taskWithId(int id) const;
    Task* newest() const;
    template <typename T> T* find(const char* name) const {
        return window->findChild<T*>(QLatin1String(name));
    }
    QButtonGroup* group(const char* name) const { return find<QButtonGroup>(name); }
    QString clarification() const { return find<QLabel>("monthlyClarificationLabel")->text(); }
    bool shown(const char* name) const { return find<QWidget>(name)->isVisibleTo(widget()); }
    RepetitionsWidget* widget() const { return window->findChild<RepetitionsWidget*>(); }

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<TaskWindow> window;
};
