#include <QButtonGroup>
#include <QComboBox>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPointer>

#include "actionbutton.h"
#include "alarmswidget.h"
#include "alarmwidget.h"
#include "mainwindow.h"
#include "fingers.h"
#include "modalanswerer.h"
#include "daemonclient.h"
#include "notes.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "pickerdriver.h"
#include "qmaemo5informationbox.h"
#include "qmaemo5valuebutton.h"
#include "settingswindow.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

#include "editorflowtestcase.h"

// The editor from the main window's buttons to the stored rows and the daemon's events.
class TestEditorFlow : public EditorFlowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { EditorFlowTestCase::initTestCase(QStringLiteral(PARDO_ALARMD_PATH)); }
    void cleanupTestCase() { EditorFlowTestCase::cleanupTestCase(); }
    void init() { EditorFlowTestCase::init(); }
    void cleanup() { EditorFlowTestCase::cleanup(); }
    void newTaskButtonOpensEditorOverMainWindow();
    void settingsButtonOpensSettingsOverMainWindow();
    void editButtonOpensEditorOnSelectedTask();
    void createCountdownTask();
    void createWeeklyTaskTenTimes();
    void editWeeklyTaskFromMondayToTuesday();
};

void TestEditorFlow::newTaskButtonOpensEditorOverMainWindow() {
    start();
    QTest::mouseClick(lower(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    QVERIFY(editor);
    QCOMPARE(editor->parentWidget(), window.get());
    QVERIFY(editor->isWindow());
    QCOMPARE(editor->geometry(), window->geometry());
    QVERIFY(in<QAbstractButton>(editor, "typeTButton"));
    // Cancelling brings the main window back, and the closed editor goes.
    click(editor, "typeTButton");
    click(editor, "cancelButton");
    QVERIFY(!editor->isVisible());
    QVERIFY(window->isVisible());
    QTRY_COMPARE(window->findChildren<TaskWindow*>().size(), 0);
}

void TestEditorFlow::settingsButtonOpensSettingsOverMainWindow() {
    start();
    QTest::mouseClick(upper(), Qt::LeftButton);
    SettingsWindow* settings = shown<SettingsWindow>();
    QVERIFY(settings);
    QCOMPARE(settings->parentWidget(), window.get());
    QCOMPARE(settings->geometry(), window->geometry());
    QCOMPARE(shown<TaskWindow>(), nullptr);
}

void TestEditorFlow::editButtonOpensEditorOnSelectedTask() {
    start();
    QTest::mouseClick(taskNamed(QStringLiteral("Initial"))->taskButton(), Qt::LeftButton, {},
                      QPoint(150, 50));
    QTest::mouseClick(upper(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    QVERIFY(editor);
    QCOMPARE(in<QLineEdit>(editor, "titleEdit")->text(), QStringLiteral("Initial"));
    QCOMPARE(editor->findChild<AlarmsWidget*>()->alarmsNo(), 1);
    QCOMPARE(shown<SettingsWindow>(), nullptr);
}

void TestEditorFlow::createCountdownTask() {
    start();
    QTest::mouseClick(lower(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    click(editor, "typeTButton");
    QTest::keyClicks(in<QLineEdit>(editor, "titleEdit"), QStringLiteral("Tea"));
    AlarmsWidget* alarms = editor->findChild<AlarmsWidget*>();
    retype(alarms->getNumber(0), QStringLiteral("4"));
    QTest::keyClicks(alarms->getDescription(0), QStringLiteral("Steep"));

    SqlTrace trace;
    click(editor, "acceptButton");
    QVERIFY(!editor->isVisible());
    Task* tea = taskNamed(QStringLiteral("Tea"));
    QVERIFY(tea);
    const QString id = QString::number(tea->id());
    const QString date = tea->date().toString(QStringLiteral("yyyy-MM-dd"));
    const QString time = tea->time().toString(QStringLiteral("HH:mm"));
    QCOMPARE(
        rowWrites(trace.statements()),
        (QStringList{
            QStringLiteral("INSERT INTO tasks (id, name, active, type) VALUES (NULL, :0, "
                           "'true', :1)"),
            QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                           "description) VALUES (NULL, :0, :1, :2, :3, :4)"),
            QStringLiteral("UPDATE tasks SET active = :0, date = :1, time = :2 WHERE id = :3")}));
    QCOMPARE(
        TestDatabase::rows(
            QStringLiteral("SELECT name, active, type, date, time FROM tasks WHERE id = ") + id)
            .at(0),
        (QVariantList{QStringLiteral("Tea"), 1, 1, date, time}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT is_before, units, unit_type, description "
                                               "FROM alarms WHERE task_id = ") +
                                id),
             (QVector<QVariantList>{{0, 4, 0, QStringLiteral("Steep")}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM repetitions")).at(0).at(0),
             QVariant(0));
    // On the grid, active first; the note once.
    QTRY_VERIFY(tea->taskButton()->isVisible());
    QCOMPARE(manager->allTasks().first(), tea);
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});
    // The daemon holds one event per alarm, counting from now, with the dialog buttons.
    std::vector<DaemonClient::Event> teaEvents = eventsOf(tea->id());
    QCOMPARE(teaEvents.size(), size_t(1));
    QVERIFY(qAbs(qint64(teaEvents[0]->alarm_time) - qint64(::time(nullptr) + 240)) <= 2);
    QCOMPARE(DaemonClient::text(alarm_event_get_message(teaEvents[0].get())),
             QStringLiteral("Tea - Steep"));
    QCOMPARE(alarm_event_get_action_count(teaEvents[0].get()), size_t(3));
}

void TestEditorFlow::createWeeklyTaskTenTimes() {
    start();
    QTest::mouseClick(lower(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    click(editor, "typeDButton");
    QTest::keyClicks(in<QLineEdit>(editor, "titleEdit"), QStringLiteral("Lunch"));
    PickerDriver::pickTime(in<QMaemo5ValueButton>(editor, "timeButton"), QTime(12, 30));
    // A Monday.
    PickerDriver::pickDate(in<QMaemo5ValueButton>(editor, "dateButton"), QDate(2030, 5, 6));

    click(editor, "alarmButton");
    AlarmsWidget* alarms = editor->findChild<AlarmsWidget*>();
    click(editor, "isBeforeButton");
    retype(alarms->getNumber(0), QStringLiteral("10"));

    click(editor, "repeatButton");
    auto* kinds = in<QButtonGroup>(editor, "repeatTypeGroup");
    tap(kinds->button(RepeatXTimes));
    retype(in<QLineEdit>(editor, "repeatStopNumberEdit"), QStringLiteral("10"));
    retype(in<QLineEdit>(editor, "repeatIntervalNumberEdit"), QStringLiteral("1"));
    auto* unit = in<QComboBox>(editor, "repeatIntervalTypeCombo");
    unit->setFocus();
    for (int i = 0; i < IntervalWeeks; ++i) {
        QTest::keyClick(unit, Qt::Key_Down);
    }
    QCOMPARE(unit->currentText(), QStringLiteral("weeks"));
    auto* days = in<QButtonGroup>(editor, "weekDaysGroup");
    QVERIFY(days->button(1)->isChecked());
    QVERIFY(!days->button(1)->isEnabled());
    // Today's weekday, fixed when the editor opened, is switched off again.
    for (QAbstractButton* day : days->buttons()) {
        if (day->isChecked() && day->isEnabled()) {
            tap(day);
        }
    }
    tap(days->button(4));

    SqlTrace trace;
    click(editor, "acceptButton");
    QVERIFY(!editor->isVisible());
    Task* lunch = taskNamed(QStringLiteral("Lunch"));
    QVERIFY(lunch);
    const QString id = QString::number(lunch->id());
    QCOMPARE(rowWrites(trace.statements()),
             (QStringList{
                 QStringLiteral("INSERT INTO tasks (id, name, active, type, date, time) VALUES "
                                "(NULL, :0, 'true', :1, :2, :3)"),
                 QStringLiteral("INSERT INTO alarms (id, task_id, is_before, units, unit_type, "
                                "description) VALUES (NULL, :0, :1, :2, :3, :4)"),
                 QStringLiteral("INSERT INTO repetitions (id, task_id, repeat_type, repeat_units, "
                                "repeat_stop_date, repeat_interval_type, repeat_interval_units, "
                                "extra_data) VALUES (NULL, :0, :1, :2, :3, :4, :5, :6)"),
                 QStringLiteral("UPDATE tasks SET active = :0 WHERE id = :1")}));
    QCOMPARE(
        TestDatabase::rows(
            QStringLiteral("SELECT name, active, type, date, time FROM tasks WHERE id = ") + id)
            .at(0),
        (QVariantList{QStringLiteral("Lunch"), 1, 2, QStringLiteral("2030-05-06"),
                      QStringLiteral("12:30")}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT is_before, units, unit_type, description "
                                               "FROM alarms WHERE task_id = ") +
                                id),
             (QVector<QVariantList>{{1, 10, 0, QString()}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT repeat_type, repeat_units, "
                                               "repeat_stop_date, repeat_interval_type, "
                                               "repeat_interval_units, extra_data FROM "
                                               "repetitions WHERE task_id = ") +
                                id),
             (QVector<QVariantList>{{4, 10, QString(), 3, 1, QStringLiteral("W:1:4")}}));
    QCOMPARE(lunch->weeklyRepeatDays(), (QList<int>{1, 4}));
    QCOMPARE(lunch->repetitionStopNumber(), 10);
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});
    // A weekly repetition is beyond the daemon: one callback event at the first alarm moment.
    std::vector<DaemonClient::Event> lunchEvents = eventsOf(lunch->id());
    QCOMPARE(lunchEvents.size(), size_t(1));
    QCOMPARE(alarm_event_get_action_count(lunchEvents[0].get()), size_t(1));
    QCOMPARE(alarm_event_get_action(lunchEvents[0].get(), 0)->flags, 0x1022u);
    QCOMPARE(qint64(lunchEvents[0]->trigger),
             QDateTime(QDate(2030, 5, 6), QTime(12, 20)).toSecsSinceEpoch());

    // What a later start reads back.
    restart();
    lunch = taskNamed(QStringLiteral("Lunch"));
    QCOMPARE(lunch->weeklyRepeatDays(), (QList<int>{1, 4}));
    QCOMPARE(lunch->repetition(), int(RepeatXTimes));
    QCOMPARE(lunch->date(), QDate(2030, 5, 6));
    QCOMPARE(lunch->time(), QTime(12, 30));
    QVERIFY(lunch->getAlarm(0)->isBefore());
}

void TestEditorFlow::editWeeklyTaskFromMondayToTuesday() {
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO tasks (id, name, active, type, date, time) VALUES (7, 'Swim', 1, 2, "
        "'2030-05-06', '18:00')")));
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "INSERT INTO repetitions (task_id, repeat_type, repeat_units, repeat_stop_date, "
        "repeat_interval_type, repeat_interval_units, extra_data) VALUES (7, 2, 0, '', 3, 1, "
        "'W:1')")));
    start();
    Task* swim = taskNamed(QStringLiteral("Swim"));
    QCOMPARE(swim->weeklyRepeatDays(), QList<int>{1});
    QTest::mouseClick(swim->taskButton(), Qt::LeftButton, {}, QPoint(150, 50));
    QTest::mouseClick(upper(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    QVERIFY(editor);
    PickerDriver::pickDate(in<QMaemo5ValueButton>(editor, "dateButton"), QDate(2030, 5, 7));
    click(editor, "repeatButton");
    auto* days = in<QButtonGroup>(editor, "weekDaysGroup");
    QVERIFY(days->button(1)->isChecked());
    QVERIFY(days->button(1)->isEnabled());
    QVERIFY(days->button(2)->isChecked());
    QVERIFY(!days->button(2)->isEnabled());
    tap(days->button(1));
    QVERIFY(!days->button(1)->isChecked());

    SqlTrace trace;
    click(editor, "acceptButton");
    QVERIFY(!editor->isVisible());
    QVERIFY(
        rowWrites(trace.statements())
            .contains(QStringLiteral(
                "UPDATE repetitions SET repeat_type = :0, repeat_units = :1, repeat_stop_date = "
                ":2, repeat_interval_type = :3, repeat_interval_units = :4, extra_data = :5 "
                "WHERE task_id = :6")));
    QCOMPARE(TestDatabase::rows(QStringLiteral(
                 "SELECT repeat_type, repeat_units, repeat_stop_date, repeat_interval_type, "
                 "repeat_interval_units, extra_data FROM repetitions WHERE task_id = 7")),
             (QVector<QVariantList>{{2, 0, QStringLiteral(""), 3, 1, QStringLiteral("W:2")}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT date FROM tasks WHERE id = 7")),
             (QVector<QVariantList>{{QStringLiteral("2030-05-07")}}));
    // The same task object, still selected, has the new day after the old one until a restart.
    QCOMPARE(taskNamed(QStringLiteral("Swim")), swim);
    QCOMPARE(manager->focusedTask(), swim);
    QCOMPARE(swim->weeklyRepeatDays(), (QList<int>{1, 2}));
    QCOMPARE(swim->date(), QDate(2030, 5, 7));
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});

    restart();
    QCOMPARE(taskNamed(QStringLiteral("Swim"))->weeklyRepeatDays(), QList<int>{2});
}

PARDO_DBUS_TEST_MAIN(TestEditorFlow)
#include "tst_editorflow.moc"
