#pragma once

#include <QString>
#include <QVariantList>

// One action of a queued event, with the client library's field names.
struct AlarmAction {
    quint32 flags = 0;
    QString label;
    QString execCommand;
    QString dbusInterface;
    QString dbusService;
    QString dbusPath;
    QString dbusName;
    // Typed values (int, uint, qlonglong, bool, double, QString, ...), sent in order.
    QVariantList dbusArgs;

    // A button of the alarm dialog: a label and the responded flag.
    bool isButton() const;
    bool isDBus() const;
    bool isSnooze() const;
    // Something happens when it runs or is pressed.
    bool doesSomething() const;

    bool operator==(const AlarmAction& other) const;
};
