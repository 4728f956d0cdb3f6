#pragma once

#include <QDate>
#include <QString>
#include <QTime>
#include <QVector>

#include <optional>

// What the rows of one task hold, as plain values. A flag says whether a
// nullable column held a value: NULL leaves the task's own field alone.

struct StoredMoment {
    QDate date;
    QTime time;
    bool hasDate = false;
    bool hasTime = false;
};

struct StoredAlarm {
    bool isBefore = false;
    int units = 0;
    int unitType = 0;
    QString description;
};

struct StoredRepetition {
    int repeatType = 0;
    int stopNumber = 0;
    QDate stopDate;
    bool hasStopDate = false;
    int intervalType = 0;
    int intervalNumber = 0;
    QString extraData;
};

// One row of `tasks` with the rows that belong to it. An empty optional means
// that its statement failed.
struct StoredTask {
    int id = 0;
    QString name;
    bool active = false;
    int type = 0;
    std::optional<StoredMoment> moment;
    // Empty as well when its statement failed: a reload empties the list anyway.
    QVector<StoredAlarm> alarms;
    std::optional<QVector<StoredRepetition>> repetitions;
};
