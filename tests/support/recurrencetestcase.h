#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <vector>

#include "task.h"

class TaskManager;

// Full comparison of two moments, offset and validity included.
#define COMPARE_MOMENT(actual, expected) QCOMPARE(shown(actual), shown(expected))

// What the recurrence tests share: a task manager on a fresh database, and the repeating tasks
// each test function makes on it.
class RecurrenceTestCase : public QObject {
public:
    RecurrenceTestCase();
    ~RecurrenceTestCase() override;

protected:
    // The dates of a repetition at 12:00 that never lands on a shortened month end, counted on
    // the calendar alone: weekly from a start on a chosen day, monthly and yearly from a day <= 28.
    struct Calendar {
        int intervalType;
        int every;
        QList<int> weekdays;
        int monthly;

        // The dates from start on that are occurrences, up to and including the limit.
        QList<QDate> dates(const QDate& start, const QDate& limit) const;
    };

    static QDateTime at(int y, int m, int d, int h, int min);
    static QString shown(const QDateTime& moment);

    // For initTestCase(), cleanupTestCase() and cleanup().
    void openDatabase(const QString& name);
    void closeDatabase();
    void dropTasks();
    Task* dated(const QDateTime& start, int repetition, int intervalNumber, int intervalType,
                const QList<int>& weekdays = {}, int monthly = MonthlyByDayOfMonth,
                int stopNumber = 0, const QDate& stopDate = QDate());

    std::unique_ptr<TaskManager> manager;
    std::vector<std::unique_ptr<Task>> tasks;
};
