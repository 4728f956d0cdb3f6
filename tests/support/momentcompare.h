#pragma once

#include <QDateTime>
#include <QString>

// Moments compared the way the recurrence tests need: the same wall-clock fields, and for
// valid ones the same instant and offset; invalid and null ones told apart.
class MomentCompare {
public:
    static bool identical(const QDateTime& a, const QDateTime& b);
    // A moment as a failure message shows it, with its offset from UTC.
    static QString describe(const QDateTime& moment);
};
