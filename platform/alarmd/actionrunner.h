#pragma once

#include <QDBusConnection>
#include <QObject>

struct AlarmAction;

// Carries out the D-Bus part of actions on the session bus, without waiting
// for the answer: a method call (which starts a stopped service by
// activation, as the bus does by default), or a signal when no service is named.
class ActionRunner : public QObject {
    Q_OBJECT
public:
    explicit ActionRunner(const QDBusConnection& bus, QObject* parent = nullptr);

    // Does nothing for an action that is not a D-Bus action.
    void run(const AlarmAction& action, qint64 cookie);

private:
    QDBusConnection bus_;
};
