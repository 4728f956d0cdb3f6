#pragma once

#include <QWidget>

class QComboBox;
class QLineEdit;
class QPushButton;
class Task;

// One alarm row: sign toggle, offset number, unit, description and a remove
// button. The sign lives only in the toggle's text: "-" before, "+" after.
class AlarmWidget : public QWidget {
    Q_OBJECT
    friend class AlarmsWidget;

public:
    AlarmWidget(bool fromTask, bool isTaskT, int index, const Task* task, QWidget* parent);

    bool isBefore() const;
    // The row's controls in the order the Tab key visits them.
    QList<QWidget*> focusOrder() const;
    // Where the keyboard starts in a new row.
    QWidget* firstField() const;

Q_SIGNALS:
    void alarmRemoved(AlarmWidget* widget);

public Q_SLOTS:
    void handleIsBeforeClicked();
    void handleAlarmRemoved();

private:
    void nameSign();

    QLineEdit* numberEdit;
    QComboBox* unitCombo;
    QLineEdit* descriptionEdit;
    QPushButton* isBeforeButton;
    QPushButton* removeButton;
};
