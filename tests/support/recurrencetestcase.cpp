#include "recurrencetestcase.h"

#include "literalrecurrence.h"
#include "taskmanager.h"
#include "testdatabase.h"

QList<QDate> RecurrenceTestCase::Calendar::dates(const QDate& start, const QDate& limit) const {
    return LiteralRecurrence::calendarDates(intervalType, every, weekdays, monthly, start, limit);
}

RecurrenceTestCase::RecurrenceTestCase() = default;

RecurrenceTestCase::~RecurrenceTestCase() = default;

QDateTime RecurrenceTestCase::at(int y, int m, int d, int h, int min) {
    return QDateTime(QDate(y, m, d), QTime(h, min));
}

QString RecurrenceTestCase::shown(const QDateTime& moment) {
    if (moment.isNull()) {
        return QStringLiteral("null");
    }
    if (!moment.isValid()) {
        return QStringLiteral("invalid ") + moment.date().toString(Qt::ISODate) + QLatin1Char(' ') +
               moment.time().toString(Qt::ISODate);
    }
    return moment.toString(Qt::ISODate) + QStringLiteral(" %1").arg(moment.offsetFromUtc());
}

void RecurrenceTestCase::openDatabase(const QString& name) {
    TestDatabase::freshHome(name);
    manager = std::make_unique<TaskManager>();
}

void RecurrenceTestCase::closeDatabase() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void RecurrenceTestCase::dropTasks() {
    tasks.clear();
}

Task* RecurrenceTestCase::dated(const QDateTime& start, int repetition, int intervalNumber,
                                int intervalType, const QList<int>& weekdays, int monthly,
                                int stopNumber, const QDate& stopDate) {
    tasks.push_back(std::make_unique<Task>(*manager, int(tasks.size()) + 10,
                                           QStringLiteral("Repeating"), true, Task::D));
    Task* task = tasks.back().get();
    task->setDate(start.date());
    task->setTime(start.time());
    task->setRepetitionFields(repetition, stopNumber, stopDate, intervalNumber, intervalType,
                              weekdays, monthly);
    return task;
}
