#pragma once

#include <QAccessibleWidget>

class QObject;
class QString;
class TaskButton;

// A task button as screen readers see it: a toggle named after the task, checked while the
// task is on, with the next alarm as its description. The button itself stays uncheckable,
// so that a tap only selects.
class TaskButtonAccessible : public QAccessibleWidget {
public:
    explicit TaskButtonAccessible(TaskButton* button);

    static QAccessibleInterface* create(const QString& key, QObject* object);

    QString text(QAccessible::Text t) const override;
    QAccessible::State state() const override;

    QStringList actionNames() const override;
    void doAction(const QString& actionName) override;
    QStringList keyBindingsForAction(const QString& actionName) const override;

private:
    TaskButton* button() const;
};
