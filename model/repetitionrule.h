#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QTime>

// Stored as integers in the database and produced by the editors: keep the values.
enum RepetitionKind { RepeatNever = 1, RepeatForever = 2, RepeatUntilDate = 3, RepeatXTimes = 4 };
enum IntervalType {
    IntervalMinutes = 0,
    IntervalHours = 1,
    IntervalDays = 2,
    IntervalWeeks = 3,
    IntervalMonths = 4,
    IntervalYears = 5
};
enum MonthlyRepeatType { MonthlyByDayOfMonth = 1, MonthlyByDayOfWeek = 2 };

// When a task rings: its start and how it repeats, as stored in its rows, with the
// occurrence queries on them. A plain value, so the queries need no task object.
class RepetitionRule {
public:
    QDate date() const { return date_; }
    QTime time() const { return time_; }
    // A countdown's alarms count from its activation: it has no end moment.
    bool isCountdown() const { return countdown_; }
    int repetition() const { return repetition_; }
    int repetitionStopNumber() const { return repetitionStopNumber_; }
    QDate repetitionStopDate() const { return repetitionStopDate_; }
    int repeatIntervalNumber() const { return repeatIntervalNumber_; }
    int repeatIntervalType() const { return repeatIntervalType_; }
    int monthlyRepeatType() const { return monthlyRepeatType_; }
    QList<int> weeklyRepeatDays() const { return weeklyRepeatDays_; }

    void setDate(const QDate& date) { date_ = date; }
    void setTime(const QTime& time) { time_ = time; }
    void setCountdown(bool countdown) { countdown_ = countdown; }
    // All repetition fields at once, as a stored row would give them.
    void setRepetitionFields(int repetition, int stopNumber, const QDate& stopDate,
                             int intervalNumber, int intervalType, const QList<int>& weekdays,
                             int monthlyType);

    bool hasRepetition() const;
    bool hasTrivialRepetition() const;
    QDateTime nthRepetitionFromDateTime(const QDateTime& from, int n) const;
    QDateTime nthRepetition(int n) const;
    QDateTime calculateEndDateTime() const;
    int getNumberOfRepetitionsFromDateTime(const QDateTime* from) const;

    // The repetition row's extra_data column: "W:d:d..." for weeks, "M:type" for months.
    QString extraData() const;
    // Adds the weekdays of a "W:..." text; anything else leaves the days as they are.
    void parseExtraDataAsWeekly(const QString& extra);
    // Takes the monthly kind of an "M:type" text; anything else leaves it as it is.
    void parseExtraDataAsMonthly(const QString& extra);

private:
    QDate date_;
    QTime time_;
    bool countdown_ = false;
    int repetition_ = RepeatNever;
    int repetitionStopNumber_ = 0;
    QDate repetitionStopDate_;
    int repeatIntervalNumber_ = 0;
    int repeatIntervalType_ = IntervalMinutes;
    QList<int> weeklyRepeatDays_;
    int monthlyRepeatType_ = MonthlyByDayOfMonth;
};
