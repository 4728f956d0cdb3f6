#pragma once

#include <QList>

class QDate;
class QDateTime;

// The chosen weekdays of a weekly repetition and the week structure of its walk:
// the walk stays in the week of its current occurrence, and every time it enters
// a new week on the Monday it jumps over `every - 1` weeks.
class WeeklyPlan {
public:
    WeeklyPlan(const QList<int>& weekdays, qint64 weeks);

    bool isEmpty() const { return days.isEmpty(); }
    bool contains(int dayOfWeek) const { return days.contains(dayOfWeek); }

    // The date of the m-th occurrence (m >= 1) after the one on x; invalid past the calendar.
    QDate after(const QDate& x, qint64 m) const;
    // How many occurrences after the one on x fall before limit.
    qint64 countBefore(const QDate& x, const QDate& limit) const;
    // Whether the walk from the occurrence on x goes through day d (a day after x):
    // every day of its active weeks, and the Monday it jumps from.
    bool visits(const QDate& x, const QDate& d) const;
    // One step of the walk exactly as written: day by day, jumping on Mondays.
    QDateTime step(QDateTime cur) const;

private:
    QList<int> days;
    qint64 every;
};
