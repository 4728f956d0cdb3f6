#pragma once

#include <QPushButton>

// The big image button of the editors' right-hand sidebars.
class TaskWindowButton : public QPushButton {
    Q_OBJECT
public:
    explicit TaskWindowButton(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};
