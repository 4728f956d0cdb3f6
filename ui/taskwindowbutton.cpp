#include "taskwindowbutton.h"

#include "focusring.h"

TaskWindowButton::TaskWindowButton(QWidget* parent)
    : QPushButton(parent) {
    setMinimumSize(110, 84);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFlat(true);
    setContentsMargins(0, 0, 0, 0);
    setStyleSheet(QStringLiteral(
        "TaskWindowButton {background-image: url(:/images/task_edit_sidebar_button.png); border: "
        "none;}\nTaskWindowButton:pressed, TaskWindowButton:checked {background-image: "
        "url(:/images/task_edit_sidebar_button_pressed.png);}"));
}

void TaskWindowButton::paintEvent(QPaintEvent* event) {
    QPushButton::paintEvent(event);
    FocusRing::paint(this);
}
