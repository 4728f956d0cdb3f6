#pragma once

class QDate;

// Which week of its month a date falls in, and the n-th weekday of a month.
class Util {
public:
    Util() = default;

    // 1 for the first seven days of the month, 2 for days 8 to 14, and so on up to 5;
    // 0 for an invalid date.
    static int whichDayOfWeekInMonthIsDate(const QDate& date);
    // The n-th day with ISO weekday dayOfWeek in the month of date; a fifth one the month
    // lacks gives the fourth, its last. Invalid for an invalid date or weekday.
    static QDate nthDayOfWeekInMonth(const QDate& date, int n, int dayOfWeek);
};
