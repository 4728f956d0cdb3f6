#pragma once

#include <QMainWindow>

class QGridLayout;
class QHBoxLayout;
class QPaintEvent;
class SettingsWindow;
class TaskManager;

// The main window is also the application's D-Bus object: only the two
// scriptable slots are exported.
class MainWindow : public QMainWindow {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.velmar.pardoreminder")
public:
    explicit MainWindow(TaskManager& taskManager, QWidget* parent = nullptr);

public Q_SLOTS:
    Q_SCRIPTABLE int top_application();
    Q_SCRIPTABLE int alarm_triggered(int taskId, int alarmNo);
    void addTask(const QString& name = QStringLiteral("T"));
    void displaySettingsWindow();
    void removeTask();

Q_SIGNALS:
    // Emitted after either bus method has been served.
    void called();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void initializeTasksArea(QHBoxLayout* layout);
    void initializeActionArea(QHBoxLayout* layout);
    SettingsWindow* openSettingsWindow();

    TaskManager& taskManager;
    QGridLayout* tasksLayout;
};
