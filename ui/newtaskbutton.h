#pragma once

#include <QPushButton>

// One of the two large buttons that choose the kind of a new task.
class NewTaskButton : public QPushButton {
    Q_OBJECT
public:
    explicit NewTaskButton(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};
