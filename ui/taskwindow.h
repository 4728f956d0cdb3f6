#pragma once

#include <QDate>
#include <QMainWindow>

class AlarmsWidget;
class QGridLayout;
class QLineEdit;
class QMaemo5ValueButton;
class QVBoxLayout;
class RepetitionsWidget;
class TaskManager;
class WindowKeys;

// The task editor: the type selection for a new task, then the editor of a
// countdown (T) or a dated (D) task. On accept it builds a fresh Task from the
// widgets and hands it to the manager, which adds it or applies it to the
// selected task.
class TaskWindow : public QMainWindow {
    Q_OBJECT
public:
    TaskWindow(TaskManager& taskManager, QWidget* parent);

    void displayEditTaskLayout();
    QDate getStartDate() const;

public Q_SLOTS:
    void displayTaskD();
    void displayTaskT();
    void saveTaskT();
    void saveTaskD();

private:
    void removeAllWidgets();
    void addAlarmsWidget(QVBoxLayout* layout, bool isTaskT);
    void addRepetitionsWidget(QVBoxLayout* layout);
    QWidget* addDtWidget(QVBoxLayout* layout);
    void displayTaskTypeSelection(QGridLayout* layout);
    // The checks both task types share, in order; `offsetText` is the type's own wording.
    bool validateTitleAndOffsets(const QString& offsetText);
    bool validateTaskT();
    bool validateTaskD();

    AlarmsWidget* alarmsWidget;
    RepetitionsWidget* repetitionsWidget;
    TaskManager& taskManager;
    QLineEdit* titleEdit;
    QMaemo5ValueButton* dateButton;
    QMaemo5ValueButton* timeButton;
    WindowKeys* keys;
};
