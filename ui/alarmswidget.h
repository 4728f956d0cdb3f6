#pragma once

#include <QList>
#include <QWidget>

class AlarmWidget;
class QComboBox;
class QGridLayout;
class QLineEdit;
class QPushButton;
class Task;

// The alarm list of the task editor: a heading, one row per alarm and a
// button that adds a blank row. It only holds widgets; the editor reads them back.
class AlarmsWidget : public QWidget {
    Q_OBJECT
public:
    AlarmsWidget(bool isTaskT, const Task* task, QWidget* parent);

    int alarmsNo() const;
    // Row i in display order; i is not range-checked.
    QLineEdit* getNumber(int i) const;
    QComboBox* getUnit(int i) const;
    QLineEdit* getDescription(int i) const;
    bool getIsBefore(int i) const;

    void addAlarmWidgets(bool fromTask, int index);
    void addInitialWidgets();

public Q_SLOTS:
    void addAlarm();
    void removeAlarm(AlarmWidget* widget);

private:
    bool isTaskT;
    QGridLayout* alarmsLayout;
    QList<AlarmWidget*> alarmWidgets;
    const Task* task;
    QPushButton* addButton;
};
