#include "taskbuttonaccessible.h"

#include "taskbutton.h"

TaskButtonAccessible::TaskButtonAccessible(TaskButton* button)
    : QAccessibleWidget(button, QAccessible::Button) {}

QAccessibleInterface* TaskButtonAccessible::create(const QString& key, QObject* object) {
    if (key == QLatin1String("TaskButton")) {
        if (auto* button = qobject_cast<TaskButton*>(object)) {
            return new TaskButtonAccessible(button);
        }
    }
    return nullptr;
}

TaskButton* TaskButtonAccessible::button() const {
    return static_cast<TaskButton*>(widget());
}

QString TaskButtonAccessible::text(QAccessible::Text t) const {
    if (t == QAccessible::Name && button()->accessibleName().isEmpty()) {
        return button()->text();
    }
    return QAccessibleWidget::text(t);
}

QAccessible::State TaskButtonAccessible::state() const {
    QAccessible::State state = QAccessibleWidget::state();
    state.checkable = true;
    state.checked = button()->isActivated();
    state.pressed = button()->isDown();
    return state;
}

QStringList TaskButtonAccessible::actionNames() const {
    return QStringList{pressAction(), toggleAction()} + QAccessibleWidget::actionNames();
}

void TaskButtonAccessible::doAction(const QString& actionName) {
    if (!button()->isEnabled()) {
        return;
    }
    if (actionName == pressAction()) {
        // A tap: select, or deselect the selected task.
        button()->click();
    } else if (actionName == toggleAction()) {
        button()->doubleTap();
    } else {
        QAccessibleWidget::doAction(actionName);
    }
}

QStringList TaskButtonAccessible::keyBindingsForAction(const QString& actionName) const {
    if (actionName == pressAction()) {
        return {QStringLiteral("Space")};
    }
    if (actionName == toggleAction()) {
        return {QStringLiteral("Return")};
    }
    return QAccessibleWidget::keyBindingsForAction(actionName);
}
