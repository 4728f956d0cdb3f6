#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>

class RepetitionRule;

// The occurrence walk written out step by step: every catch-up walks one
// occurrence at a time from the start, and the count repeats the whole walk for
// each occurrence it counts. Slow by design; it is the reference the
// application's engine is checked against. It stops where a repetition cannot
// advance exactly as the engine does, and resolves a repeated wall-clock hour
// the same way, so that any other difference is the engine's.
namespace LiteralRecurrence {

QDateTime nthRepetitionFromDateTime(const RepetitionRule& rule, const QDateTime& from, int n);
QDateTime nthRepetition(const RepetitionRule& rule, int n);
QDateTime calculateEndDateTime(const RepetitionRule& rule);
int getNumberOfRepetitionsFromDateTime(const RepetitionRule& rule, const QDateTime* from);

// Walk steps taken so far in this process, so that generated cases can be kept affordable.
qint64 steps();

// The dates of a repetition counted on the calendar alone, from a start on a chosen weekday
// or on a day every month has, up to and including the limit.
QList<QDate> calendarDates(int intervalType, int every, const QList<int>& weekdays, int monthly,
                           const QDate& start, const QDate& limit);
// The first day from `from` on that can start such a repetition: one of the weekdays for a
// weekly one, else a day every month has.
QDate calendarStart(int intervalType, const QList<int>& weekdays, const QDate& from);
// Whether now lies within two minutes of today's noon moved by any of `minutes`: a test
// whose alarms sit there would race the clock.
bool nearNoon(const QList<int>& minutes);

} // namespace LiteralRecurrence
