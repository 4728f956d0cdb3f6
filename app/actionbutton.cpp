#include "actionbutton.h"

#include <QIcon>

ActionButton::ActionButton(bool upper, QWidget* parent)
    : QPushButton(parent)
    , isUpper(upper) {
    setMinimumSize(138, 138);
    setMaximumSize(138, 138);
    if (isUpper) {
        setStyleSheet(QStringLiteral(
            "ActionButton {background-image: url(:/images/action_upper_right_button.png); border: "
            "none;}\nActionButton:pressed {background-image: "
            "url(:/images/action_upper_right_button_pressed.png);}"));
    } else {
        setStyleSheet(QStringLiteral(
            "ActionButton {background-image: url(:/images/action_lower_right_button.png); border: "
            "none;}\nActionButton:pressed {background-image: "
            "url(:/images/action_lower_right_button_pressed.png);}"));
    }
    setFlat(true);
    setContentsMargins(0, 0, 0, 0);
    setIconSize(QSize(130, 130));
    setPrimaryAction();
}

void ActionButton::setPrimaryAction() {
    setIcon(QIcon(isUpper ? QStringLiteral(":/images/icon_settings.png")
                          : QStringLiteral(":/images/icon_newtask.png")));
    nameAction(isUpper ? tr("Settings") : tr("New task"));
}

void ActionButton::setSecondaryAction() {
    setIcon(QIcon(isUpper ? QStringLiteral(":/images/icon_edittask.png")
                          : QStringLiteral(":/images/icon_deletetask.png")));
    nameAction(isUpper ? tr("Edit task") : tr("Delete task"));
}

void ActionButton::nameAction(const QString& name) {
    // The icon is all a sighted user gets; everyone else gets its words.
    setToolTip(name);
    setAccessibleName(name);
}
