#pragma once

#include <QString>
#include <QVariant>

// A D-Bus value as one line of text, for the fuzzers' logs.
class DBusValueText {
public:
    // One line; long strings and arrays are shortened. Also decodes values as the bus
    // delivered them (QDBusArgument).
    static QString describe(const QVariant& value);
    static QString signatureOf(const QVariant& value);
};
