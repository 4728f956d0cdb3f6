#pragma once

#include <QObject>
#include <QSqlDatabase>
#include <QString>
#include <QVariantList>
#include <QVector>

#include <optional>

#include "storedrows.h"

class QDate;
class QSqlQuery;
class QTime;

// Owns the application's single SQLite file and every statement run on it.
// The statement functions work on the default connection that openDatabase()
// installs, so that those who do not own the manager can reach the rows too.
class DatabaseManager : public QObject {
    Q_OBJECT
public:
    explicit DatabaseManager(QObject* parent = nullptr);

    bool openDatabase();
    bool deleteDatabase();
    QString databaseName() const;

    static QString databasePath();

    // Prepares `statement` unless `query` already holds it, binds `values` in
    // order and executes. A failure is written to standard error with the
    // driver's message.
    static bool execute(QSqlQuery& query, const QString& statement,
                        const QVariantList& values = {});

    // Every task row in id order, each with its date and time, alarms and
    // (for tasks of type 1, which keep none, left out) repetitions.
    static QVector<StoredTask> selectTasks();

    // Rows of `tasks`. The short insert leaves date and time NULL.
    static bool insertTask(const QString& name, int type, int& id);
    static bool insertTask(const QString& name, int type, const QDate& date, const QTime& time,
                           int& id);
    static bool updateTaskName(int id, const QString& name);
    static bool updateTaskName(int id, const QString& name, const QDate& date, const QTime& time);
    static bool updateTaskActive(int id, bool active);
    static bool updateTaskActive(int id, bool active, const QDate& date, const QTime& time);
    static std::optional<StoredMoment> selectMoment(int id);
    // The task's row, then its alarms, then its repetitions; stops at the first failure.
    static bool deleteTask(int id);

    // Rows of `alarms`, in id order when read.
    static bool insertAlarm(int taskId, const StoredAlarm& alarm);
    static bool deleteAlarms(int taskId);
    static std::optional<QVector<StoredAlarm>> selectAlarms(int taskId);

    // Rows of `repetitions`.
    static bool insertRepetition(int taskId, const StoredRepetition& repetition);
    static bool updateRepetition(int taskId, const StoredRepetition& repetition);
    static std::optional<QVector<StoredRepetition>> selectRepetitions(int taskId);

    // The snooze setting in `meta`: false when the read fails; `minutes` stays
    // empty when there is no row.
    static bool selectSnoozeInterval(std::optional<int>& minutes);
    static bool insertDefaultSnoozeInterval();
    // Written as the field holds it.
    static bool updateSnoozeInterval(const QString& minutes);

private:
    bool initializeDatabaseIfNeeded();
    bool failCreation();

    QSqlDatabase db;
    // Whether this start created the file, and so may remove it again.
    bool createdFile = false;
};
