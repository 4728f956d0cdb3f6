#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

class Task;

class Alarm : public QObject {
    Q_OBJECT
public:
    // Fixed underlying type: a damaged row may hold any number, which must stay representable.
    enum Unit : int { Minutes = 0, Hours = 1, Days = 2 };

    Alarm(Task& task, bool isBefore, int units, Alarm::Unit unitType, const QString& description);

    bool isBefore() const { return isBefore_; }
    int units() const { return units_; }
    Alarm::Unit unitType() const { return unitType_; }
    QString description() const { return description_; }

    QDateTime addAlarmOffset(const QDateTime& base) const;
    // False for units a damaged row may hold but the editor never gives: below 0, or an
    // offset beyond ten years. Such an alarm has no moment.
    bool hasUsableOffset() const;
    // When this alarm of a countdown started at `start` rings: the offset always runs forward,
    // in whole seconds, whatever isBefore says.
    QDateTime countdownMoment(const QDateTime& start) const;
    // The moment the event of this alarm of a dated task is placed for: the task's moment
    // shifted by the offset (even when past), or for repetitions by weeks, months or years
    // the next occurrence's; invalid when there is none.
    QDateTime dueMoment() const;
    // The first moment after now at which this alarm of a repeating task is due;
    // invalid once the repetition has ended.
    QDateTime getNextOccurrence() const;

private:
    bool isBefore_;
    int units_;
    Alarm::Unit unitType_;
    QString description_;
    Task& task;
};
