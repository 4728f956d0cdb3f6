#include <QButtonGroup>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>

#include "fingers.h"
#include "newtaskbutton.h"
#include "pardotest.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5timepickselector.h"
#include "qmaemo5valuebutton.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindowtestcase.h"
#include "testdatabase.h"

using Fingers::retype;

namespace {

bool isInsertOrUpdate(const QString& statement) {
    return statement.startsWith(QLatin1String("INSERT")) ||
           statement.startsWith(QLatin1String("UPDATE"));
}

} // namespace

// What the task window hands over when it saves a new or edited task, and when it is cancelled.
class TestTaskWindowSaving : public TaskWindowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void saveTaskTHandsNewTask();
    void saveTaskDHandsNewTask();
    void editingTOpensStraightOnTEditor();
    void editingTSavesChangesToSelectedTask();
    void editingDOpensWithTaskValues();
    void cancelClosesWithoutHandingOver_data();
    void cancelClosesWithoutHandingOver();
};

void TestTaskWindowSaving::init() {
    openDatabase();
}

void TestTaskWindowSaving::cleanup() {
    closeDatabase();
}

void TestTaskWindowSaving::saveTaskTHandsNewTask() {
    open();
    click(QStringLiteral("typeTButton"));
    QTest::keyClicks(title(), QStringLiteral("Tea"));
    retype(alarms()->getNumber(0), QStringLiteral("5"));
    alarms()->getUnit(0)->setCurrentIndex(Alarm::Hours);
    QTest::keyClicks(alarms()->getDescription(0), QStringLiteral("steep"));
    click(QStringLiteral("addButton"));
    alarms()->getUnit(1)->setCurrentIndex(Alarm::Days);
    QPointer<TaskWindow> guard = window.get();

    SqlTrace trace;
    const QDateTime before = QDateTime::currentDateTime();
    click(QStringLiteral("acceptButton"));
    Task* saved = newest();
    QVERIFY(saved->id() > 1);
    QCOMPARE(saved->name(), QStringLiteral("Tea"));
    QCOMPARE(saved->type(), Task::T);
    QVERIFY(saved->active());
    QCOMPARE(saved->noOfAlarms(), 2);
    QVERIFY(!saved->getAlarm(0)->isBefore());
    QCOMPARE(saved->getAlarm(0)->units(), 5);
    QCOMPARE(saved->getAlarm(0)->unitType(), Alarm::Hours);
    QCOMPARE(saved->getAlarm(0)->description(), QStringLiteral("steep"));
    QVERIFY(!saved->getAlarm(1)->isBefore());
    QCOMPARE(saved->getAlarm(1)->units(), 0);
    QCOMPARE(saved->getAlarm(1)->unitType(), Alarm::Days);
    QVERIFY(saved->date() >= before.date());
    QCOMPARE(saved->repetition(), int(RepeatNever));

    const QString id = QString::number(saved->id());
    QCOMPARE(trace.withValues().mid(0, 3),
             (QStringList{
                 QStringLiteral("INSERT INTO tasks (id, name, active, type) VALUES (NULL, 'Tea', "
                                "'true', 1)"),
                 QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                                "description) VALUES (NULL, '%1', '0', 5, 1, 'steep')")
                     .arg(id),
                 QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                                "description) VALUES (NULL, '%1', '0', 0, 2, '')")
                     .arg(id)}));
    QCOMPARE(
        TestDatabase::rows(QStringLiteral("SELECT count(*) FROM repetitions WHERE task_id = ") + id)
            .at(0)
            .at(0)
            .toInt(),
        0);
    // Closed, but kept.
    QVERIFY(!window->isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!guard.isNull());
}

void TestTaskWindowSaving::saveTaskDHandsNewTask() {
    openD();
    QTest::keyClicks(title(), QStringLiteral("Lunch"));
    PickerDriver::pickTime(find<QMaemo5ValueButton>(QStringLiteral("timeButton")), QTime(12, 30));
    PickerDriver::pickDate(find<QMaemo5ValueButton>(QStringLiteral("dateButton")),
                           QDate(2030, 5, 1));
    click(QStringLiteral("alarmButton"));
    click(QStringLiteral("isBeforeButton"));
    retype(alarms()->getNumber(0), QStringLiteral("10"));
    QTest::keyClicks(alarms()->getDescription(0), QStringLiteral("Soup"));
    click(QStringLiteral("addButton"));
    retype(alarms()->getNumber(1), QStringLiteral("2"));
    alarms()->getUnit(1)->setCurrentIndex(Alarm::Hours);

    SqlTrace trace;
    click(QStringLiteral("acceptButton"));
    Task* saved = newest();
    QCOMPARE(saved->name(), QStringLiteral("Lunch"));
    QCOMPARE(saved->type(), Task::D);
    QVERIFY(saved->active());
    QCOMPARE(saved->date(), QDate(2030, 5, 1));
    QCOMPARE(saved->time(), QTime(12, 30));
    QCOMPARE(saved->noOfAlarms(), 2);
    QVERIFY(saved->getAlarm(0)->isBefore());
    QCOMPARE(saved->getAlarm(0)->units(), 10);
    QCOMPARE(saved->getAlarm(0)->unitType(), Alarm::Minutes);
    QCOMPARE(saved->getAlarm(0)->description(), QStringLiteral("Soup"));
    QVERIFY(!saved->getAlarm(1)->isBefore());
    QCOMPARE(saved->getAlarm(1)->units(), 2);
    QCOMPARE(saved->getAlarm(1)->unitType(), Alarm::Hours);
    QCOMPARE(saved->repetition(), int(RepeatNever));
    QCOMPARE(saved->repeatIntervalNumber(), 0);

    const QString id = QString::number(saved->id());
    QCOMPARE(trace.withValues().mid(0, 4),
             (QStringList{
                 QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) VALUES "
                                "(NULL, 'Lunch', 'true', 2, '2030-05-01', '12:30')"),
                 QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                                "description) VALUES (NULL, '%1', '1', 10, 0, 'Soup')")
                     .arg(id),
                 QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                                "description) VALUES (NULL, '%1', '0', 2, 1, '')")
                     .arg(id),
                 QStringLiteral("INSERT INTO repetitions (id, task_id, repeat_type, repeat_units, "
                                "repeat_stop_date, repeat_interval_type, repeat_interval_units, "
                                "extra_data) VALUES (NULL, '%1', 1, 0, '', 0, 0, '')")
                     .arg(id)}));
    QVERIFY(!window->isVisible());
}

void TestTaskWindowSaving::editingTOpensStraightOnTEditor() {
    const int id = insertTask(QStringLiteral("Pasta"), 1);
    TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, "
                                      "description) VALUES (%1, 0, 8, 0, 'drain')")
                           .arg(id));
    TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, "
                                      "description) VALUES (%1, 0, 1, 1, '')")
                           .arg(id));
    manager->loadTasks();
    manager->setSelectedTask(taskWithId(id));
    open();
    QCOMPARE(window->findChildren<NewTaskButton*>().size(), 0);
    QCOMPARE(repetitions(), nullptr);
    QCOMPARE(title()->text(), QStringLiteral("Pasta"));
    QCOMPARE(alarms()->findChild<QLabel*>()->text(),
             QStringLiteral("Alarms from activation time:"));
    QCOMPARE(alarms()->alarmsNo(), 2);
    QCOMPARE(alarms()->getNumber(0)->text(), QStringLiteral("8"));
    QCOMPARE(alarms()->getDescription(0)->text(), QStringLiteral("drain"));
    QCOMPARE(alarms()->getNumber(1)->text(), QStringLiteral("1"));
    QCOMPARE(alarms()->getUnit(1)->currentIndex(), int(Alarm::Hours));
}

void TestTaskWindowSaving::editingTSavesChangesToSelectedTask() {
    const int id = insertTask(QStringLiteral("Pasta"), 1);
    TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, "
                                      "description) VALUES (%1, 0, 8, 0, 'drain')")
                           .arg(id));
    manager->loadTasks();
    Task* edited = taskWithId(id);
    manager->setSelectedTask(edited);
    const int tasksBefore = manager->allTasks().size();
    open();
    retype(title(), QStringLiteral("Rice"));
    click(QStringLiteral("removeButton"));
    click(QStringLiteral("addButton"));
    retype(alarms()->getNumber(0), QStringLiteral("20"));

    SqlTrace trace;
    click(QStringLiteral("acceptButton"));
    QCOMPARE(manager->allTasks().size(), tasksBefore);
    QCOMPARE(manager->focusedTask(), edited);
    QCOMPARE(edited->id(), id);
    QCOMPARE(edited->name(), QStringLiteral("Rice"));
    QCOMPARE(edited->noOfAlarms(), 1);
    QCOMPARE(edited->getAlarm(0)->units(), 20);
    QCOMPARE(trace.withValues().mid(0, 3),
             (QStringList{QStringLiteral("UPDATE tasks SET name = 'Rice' WHERE id = %1").arg(id),
                          QStringLiteral("DELETE FROM alarms WHERE task_id = %1").arg(id),
                          QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, "
                                         "unit_type, description) VALUES (NULL, '%1', '0', 20, 0, "
                                         "'')")
                              .arg(id)}));
    QVERIFY(!window->isVisible());
}

void TestTaskWindowSaving::editingDOpensWithTaskValues() {
    const int id = insertTask(QStringLiteral("Bins"), 2, QStringLiteral("2030-05-06"),
                              QStringLiteral("07:15"));
    TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, "
                                      "description) VALUES (%1, 1, 12, 1, 'out')")
                           .arg(id));
    TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (%1, 3, 0, '2030-12-31', 3, 2, 'W:1:4')")
            .arg(id));
    manager->loadTasks();
    manager->setSelectedTask(taskWithId(id));
    open();
    QCOMPARE(title()->text(), QStringLiteral("Bins"));
    QVERIFY(find<QAbstractButton>(QStringLiteral("calendarButton"))->isChecked());
    auto* time = find<QMaemo5ValueButton>(QStringLiteral("timeButton"));
    auto* date = find<QMaemo5ValueButton>(QStringLiteral("dateButton"));
    QCOMPARE(qobject_cast<QMaemo5TimePickSelector*>(time->pickSelector())->currentTime(),
             QTime(7, 15));
    QCOMPARE(qobject_cast<QMaemo5DatePickSelector*>(date->pickSelector())->currentDate(),
             QDate(2030, 5, 6));
    QCOMPARE(time->valueText(), QStringLiteral("07:15"));
    QCOMPARE(window->getStartDate(), QDate(2030, 5, 6));
    QCOMPARE(alarms()->alarmsNo(), 1);
    QVERIFY(alarms()->getIsBefore(0));
    QCOMPARE(alarms()->getNumber(0)->text(), QStringLiteral("12"));

    click(QStringLiteral("repeatButton"));
    QVERIFY(repeatType(RepeatUntilDate)->isChecked());
    QCOMPARE(interval()->text(), QStringLiteral("2"));
    QCOMPARE(find<QComboBox>(QStringLiteral("repeatIntervalTypeCombo"))->currentIndex(),
             int(IntervalWeeks));
    QVERIFY(find<QWidget>(QStringLiteral("weeklyRepeatWidget"))->isVisible());
    QButtonGroup* days = find<QButtonGroup>(QStringLiteral("weekDaysGroup"));
    QVERIFY(days->button(1)->isChecked());
    QVERIFY(days->button(4)->isChecked());
    QVERIFY(!days->button(2)->isChecked());
    QCOMPARE(qobject_cast<QMaemo5DatePickSelector*>(
                 find<QMaemo5ValueButton>(QStringLiteral("repeatUntilButton"))->pickSelector())
                 ->currentDate(),
             QDate(2030, 12, 31));
}

void TestTaskWindowSaving::cancelClosesWithoutHandingOver_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("T") << QStringLiteral("typeTButton");
    QTest::newRow("D") << QStringLiteral("typeDButton");
}

void TestTaskWindowSaving::cancelClosesWithoutHandingOver() {
    QFETCH(QString, type);
    open();
    click(type);
    QTest::keyClicks(title(), QStringLiteral("Never mind"));
    const int tasksBefore = manager->allTasks().size();
    SqlTrace trace;
    click(QStringLiteral("cancelButton"));
    QVERIFY(!window->isVisible());
    QCOMPARE(manager->allTasks().size(), tasksBefore);
    for (const QString& statement : trace.withValues()) {
        QVERIFY2(!isInsertOrUpdate(statement), qPrintable(statement));
    }
}

PARDO_TEST_MAIN(TestTaskWindowSaving)
#include "tst_taskwindowsaving.moc"
