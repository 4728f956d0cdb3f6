#include "newtaskbutton.h"

#include "focusring.h"

NewTaskButton::NewTaskButton(QWidget* parent)
    : QPushButton(parent) {
    setMinimumSize(200, 200);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFlat(true);
    setContentsMargins(0, 0, 0, 0);
    setStyleSheet(QStringLiteral(
        "NewTaskButton {background-image: url(:/images/new_task_button.png); border: "
        "none;}\nNewTaskButton:pressed {background-image: "
        "url(:/images/new_task_button_pressed.png);}"));
}

void NewTaskButton::paintEvent(QPaintEvent* event) {
    QPushButton::paintEvent(event);
    FocusRing::paint(this);
}
