#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QTime>
#include <QVector>

#include "alarm.h"
#include "repetitionrule.h"

class QEvent;
class QGridLayout;
class QTimer;
class RepetitionsWidget;
class TaskButton;
struct StoredAlarm;
struct StoredMoment;
struct StoredRepetition;
struct StoredTask;
class TaskHost;

class Task : public QObject {
    Q_OBJECT
public:
    // Any stored number other than 1 counts as D, so every int must be representable.
    enum Type : int { T = 1, D = 2 };

    Task(TaskHost& manager, int id, const QString& name, bool active, Task::Type type,
         QObject* parent = nullptr);
    ~Task() override;

    int id() const { return id_; }
    QString name() const { return name_; }
    bool active() const { return active_; }
    Task::Type type() const { return type_; }
    QDate date() const { return rule_.date(); }
    QTime time() const { return rule_.time(); }
    int repetition() const { return rule_.repetition(); }
    int repetitionStopNumber() const { return rule_.repetitionStopNumber(); }
    QDate repetitionStopDate() const { return rule_.repetitionStopDate(); }
    int repeatIntervalNumber() const { return rule_.repeatIntervalNumber(); }
    int repeatIntervalType() const { return rule_.repeatIntervalType(); }
    int monthlyRepeatType() const { return rule_.monthlyRepeatType(); }
    QList<int> weeklyRepeatDays() const { return rule_.weeklyRepeatDays(); }

    void setId(int id) { id_ = id; }
    void setName(const QString& name) { name_ = name; }
    void setDate(const QDate& date) { rule_.setDate(date); }
    void setTime(const QTime& time) { rule_.setTime(time); }
    // All repetition fields at once, as a stored row would give them.
    void setRepetitionFields(int repetition, int stopNumber, const QDate& stopDate,
                             int intervalNumber, int intervalType, const QList<int>& weekdays,
                             int monthlyType);

    int noOfAlarms() const { return alarms.size(); }
    Alarm* getAlarm(int index) const { return alarms.at(index); }
    void addAlarm(bool isBefore, int units, Alarm::Unit unitType, const QString& description);
    // Copies the repetition editor's choice into this freshly built task. Defined with the
    // editor, which sits above the model.
    void defineRepetition(RepetitionsWidget* widget);

    // The start and repetition fields as a value, which the queries below are asked of.
    RepetitionRule repetitionRule() const;
    bool hasRepetition() const;
    bool hasTrivialRepetition() const;

    void setSelected(bool selected);
    void display(QGridLayout* grid);
    void updateDisplay();
    TaskButton* taskButton() const { return button; }
    // Puts on the button when the task rings next, and looks again when that moment has passed.
    void refreshNextAlarm();

    // Where a countdown's alarms count from: its activation, or a later restart.
    QDateTime countdownStart() const;
    // Saving an edited countdown places its alarms from now on.
    void restartCountdown();

    bool operator<(const Task& other) const;
    QDateTime nthRepetitionFromDateTime(const QDateTime& from, int n) const;
    QDateTime nthRepetition(int n) const;
    QDateTime calculateEndDateTime() const;
    int getNumberOfRepetitionsFromDateTime(const QDateTime* from) const;

    // False when the row could not be written; the id then stays as it was.
    bool insertCoreDataToDatabase();
    void insertAlarmsDataToDatabase();
    void insertRepetitionDataToDatabase();
    void updateCoreDataInDatabase(const Task& edited);
    void updateAlarmsDataInDatabase(const Task& edited);
    void updateRepetitionDataInDatabase(const Task& edited);
    void loadDateTime();
    void loadAlarms();
    void loadRepetitions();
    // Rows read for many tasks at once, taken as the three loads above would.
    void loadStored(const StoredTask& stored);
    void parseExtraDataAsWeekly(const QString& extra);
    void parseExtraDataAsMonthly(const QString& extra);

public Q_SLOTS:
    void changeActivationState();
    void processSelectionChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QString repetitionExtraData() const;
    StoredRepetition storedRepetition() const;
    void takeMoment(const StoredMoment& moment);
    void takeAlarms(const QVector<StoredAlarm>& stored);
    void takeRepetitions(const QVector<StoredRepetition>& stored);

    TaskButton* button;
    TaskHost& manager;
    int id_;
    QString name_;
    bool active_;
    Task::Type type_;
    QList<Alarm*> alarms;
    // Start and repetition: what the occurrence queries are asked of.
    RepetitionRule rule_;
    // Only in memory: after a restart the stored activation moment stands in.
    QDateTime countdownStart_;
    QTimer* nextAlarmTimer;
};
