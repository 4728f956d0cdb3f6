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

namespace {

std::vector<DaemonClient::Event> eventsOf(int taskId) {
    std::vector<DaemonClient::Event> found;
    for (DaemonClient::Event& event : DaemonClient::events("PARDO")) {
        if (alarm_event_get_attr_int(event.get(), "task_id", 0) == taskId) {
            found.push_back(std::move(event));
        }
    }
    return found;
}

// The statements that write the task's own rows, in the order they ran.
QStringList rowWrites(const QStringList& statements) {
    QStringList writes;
    for (const QString& statement : statements) {
        if (statement.contains(QLatin1String(" tasks ")) ||
            statement.contains(QLatin1String(" alarms ")) ||
            statement.contains(QLatin1String(" repetitions "))) {
            if (!statement.startsWith(QLatin1String("SELECT"))) {
                writes << statement;
            }
        }
    }
    return writes;
}

// ASCII as key presses; anything else as an input method would commit it.
void typeInto(QLineEdit* edit, const QString& text) {
    bool ascii = true;
    for (QChar c : text) {
        ascii = ascii && c.unicode() < 0x80;
    }
    if (ascii) {
        QTest::keyClicks(edit, text);
        return;
    }
    edit->setFocus();
    QInputMethodEvent commit;
    commit.setCommitString(text);
    QApplication::sendEvent(edit, &commit);
}

} // namespace

class TestEditorFlow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void newTaskButtonOpensEditorOverMainWindow();
    void settingsButtonOpensSettingsOverMainWindow();
    void editButtonOpensEditorOnSelectedTask();
    void createCountdownTask();
    void createWeeklyTaskTenTimes();
    void editWeeklyTaskFromMondayToTuesday();
    void saveSnoozeOfTwentyFive();
    void saveWithoutAnyAlarm_data();
    void saveWithoutAnyAlarm();
    void saveAnyTitle_data();
    void saveAnyTitle();
    void refusedInsertKeepsEditorOpen_data();
    void refusedInsertKeepsEditorOpen();

private:
    void start();
    void restart();
    ActionButton* upper() const { return window->findChildren<ActionButton*>().value(0); }
    ActionButton* lower() const { return window->findChildren<ActionButton*>().value(1); }
    template <typename W> W* shown() const {
        for (W* candidate : window->findChildren<W*>()) {
            if (candidate->isVisible()) {
                return candidate;
            }
        }
        return nullptr;
    }
    template <typename T> T* in(QWidget* top, const char* name) const {
        T* found = top->findChild<T*>(QLatin1String(name));
        if (!found) {
            qWarning("nothing named %s", name);
        }
        return found;
    }
    void click(QWidget* top, const char* name);
    TaskWindow* fillNewTask(const QString& type, const QString& title, const QString& description);
    Task* taskNamed(const QString& name) const;

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
    // None of these flows expects a message box; one that comes up is answered at once, so the
    // test fails where it happened instead of waiting for a user.
    std::unique_ptr<ModalAnswerer> boxes;
};

void TestEditorFlow::initTestCase() {
    // The real alarm daemon, started by the private bus when the editor first schedules.
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(DaemonClient::writeServiceFile(
        TestEnvironment::current()->root() + QStringLiteral("/bus/services"),
        QStringLiteral("org.velmar.alarmd"), QStringLiteral(PARDO_ALARMD_PATH)));
}

void TestEditorFlow::cleanupTestCase() {
    QVERIFY(DaemonClient::stopService(QStringLiteral("org.velmar.alarmd")));
}

void TestEditorFlow::init() {
    boxes = std::make_unique<ModalAnswerer>(QMessageBox::Ok);
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
    for (cookie_t cookie : DaemonClient::cookies("")) {
        QVERIFY(cookie > 0);
        alarmd_event_del(cookie);
    }
}

void TestEditorFlow::cleanup() {
    const QString unexpected = boxes->describe();
    boxes.reset();
    Notes::closeAll();
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
    QVERIFY2(unexpected.isEmpty(), qPrintable(QStringLiteral("unexpected box: ") + unexpected));
}

void TestEditorFlow::start() {
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void TestEditorFlow::restart() {
    Notes::closeAll();
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
    manager = std::make_unique<TaskManager>();
    start();
}

void TestEditorFlow::click(QWidget* top, const char* name) {
    auto* button = in<QAbstractButton>(top, name);
    QVERIFY(button);
    QVERIFY2(button->isVisible(), name);
    QTest::mouseClick(button, Qt::LeftButton);
}

Task* TestEditorFlow::taskNamed(const QString& name) const {
    for (Task* task : manager->allTasks()) {
        if (task->name() == name) {
            return task;
        }
    }
    return nullptr;
}

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

void TestEditorFlow::saveSnoozeOfTwentyFive() {
    start();
    QTest::mouseClick(upper(), Qt::LeftButton);
    QPointer<SettingsWindow> settings = shown<SettingsWindow>();
    QVERIFY(settings);
    auto* field = in<QLineEdit>(settings, "snoozeIntervalEdit");
    QCOMPARE(field->text(), QStringLiteral("10"));
    QCOMPARE(TestDatabase::rows(
                 QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'")),
             (QVector<QVariantList>{{QStringLiteral("10")}}));
    retype(field, QStringLiteral("25"));
    click(settings, "acceptButton");
    QVERIFY(!settings->isVisible());
    QVERIFY(window->isVisible());
    QCOMPARE(TestDatabase::rows(
                 QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'")),
             (QVector<QVariantList>{{QStringLiteral("25")}}));
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Settings saved.")});
    QCOMPARE(Notes::visible().first()->timeout(), 3000);

    QTest::mouseClick(upper(), Qt::LeftButton);
    SettingsWindow* again = shown<SettingsWindow>();
    QVERIFY(again);
    // A new window: the saved one is gone.
    QTRY_VERIFY(settings.isNull());
    QCOMPARE(in<QLineEdit>(again, "snoozeIntervalEdit")->text(), QStringLiteral("25"));

    // Events placed from now on snooze for 25 minutes.
    again->close();
    Task* seed = taskNamed(QStringLiteral("Initial"));
    QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {},
                       seed->taskButton()->mapTo(window.get(), QPoint(150, 50)));
    QVERIFY(seed->active());
    std::vector<DaemonClient::Event> placed = eventsOf(seed->id());
    QCOMPARE(placed.size(), size_t(1));
    QCOMPARE(qint64(placed[0]->snooze_secs), qint64(1500));
}

void TestEditorFlow::saveWithoutAnyAlarm_data() {
    // The type button of a new task, or none to edit the seed task.
    QTest::addColumn<QString>("type");
    QTest::newRow("new countdown task") << QStringLiteral("typeTButton");
    QTest::newRow("new dated task") << QStringLiteral("typeDButton");
    QTest::newRow("edited active task") << QString();
}

void TestEditorFlow::saveWithoutAnyAlarm() {
    QFETCH(QString, type);
    start();
    Task* seed = taskNamed(QStringLiteral("Initial"));
    QVERIFY(seed);
    TaskWindow* editor = nullptr;
    if (type.isEmpty()) {
        // Switched on first, so that it has an event in the daemon to lose.
        QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {},
                           seed->taskButton()->mapTo(window.get(), QPoint(150, 50)));
        QVERIFY(seed->active());
        QCOMPARE(eventsOf(seed->id()).size(), size_t(1));
        QTest::mouseClick(seed->taskButton(), Qt::LeftButton, {}, QPoint(150, 50));
        QCOMPARE(manager->focusedTask(), seed);
        QTest::mouseClick(upper(), Qt::LeftButton);
        editor = shown<TaskWindow>();
        QVERIFY(editor);
    } else {
        QTest::mouseClick(lower(), Qt::LeftButton);
        editor = shown<TaskWindow>();
        QVERIFY(editor);
        click(editor, qPrintable(type));
        QTest::keyClicks(in<QLineEdit>(editor, "titleEdit"), QStringLiteral("Stretch"));
        if (type == QLatin1String("typeDButton")) {
            click(editor, "alarmButton");
        }
    }
    AlarmsWidget* alarms = editor->findChild<AlarmsWidget*>();
    QCOMPARE(alarms->alarmsNo(), 1);
    click(alarms, "removeButton");
    QCOMPARE(alarms->alarmsNo(), 0);
    QTRY_VERIFY(alarms->findChildren<AlarmWidget*>().isEmpty());

    // Not even a modal window of another kind may come up.
    ModalAnswerer anyModal(QMessageBox::Ok, ModalAnswerer::AnyModal);
    click(editor, "acceptButton");
    QVERIFY2(boxes->seen().isEmpty(), qPrintable(boxes->describe()));
    QVERIFY2(anyModal.seen().isEmpty(), qPrintable(anyModal.describe()));
    QVERIFY(!editor->isVisible());

    Task* saved = type.isEmpty() ? seed : taskNamed(QStringLiteral("Stretch"));
    QVERIFY(saved);
    QVERIFY(saved->id() > 0);
    QVERIFY(saved->active());
    QCOMPARE(saved->noOfAlarms(), 0);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id = ") +
                                QString::number(saved->id())),
             (QVector<QVariantList>{{0}}));
    // The daemon answers, and holds nothing of the reminder's.
    QCOMPARE(DaemonClient::cookies("PARDO"), QList<cookie_t>());
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});
    QCOMPARE(Notes::visible().first()->timeout(), 3000);
    QVERIFY2(anyModal.seen().isEmpty(), qPrintable(anyModal.describe()));
}

TaskWindow* TestEditorFlow::fillNewTask(const QString& type, const QString& title,
                                        const QString& description) {
    QTest::mouseClick(lower(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    if (!editor) {
        return nullptr;
    }
    click(editor, qPrintable(type));
    typeInto(in<QLineEdit>(editor, "titleEdit"), title);
    if (type == QLatin1String("typeDButton")) {
        PickerDriver::pickTime(in<QMaemo5ValueButton>(editor, "timeButton"), QTime(12, 30));
        PickerDriver::pickDate(in<QMaemo5ValueButton>(editor, "dateButton"), QDate(2030, 5, 6));
        click(editor, "alarmButton");
    }
    AlarmsWidget* alarms = editor->findChild<AlarmsWidget*>();
    retype(alarms->getNumber(0), QStringLiteral("4"));
    typeInto(alarms->getDescription(0), description);
    return editor;
}

void TestEditorFlow::saveAnyTitle_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("description");
    const QString t = QStringLiteral("typeTButton");
    const QString d = QStringLiteral("typeDButton");
    QTest::newRow("apostrophe T") << t << QStringLiteral("Mom's call") << QStringLiteral("it's 4");
    QTest::newRow("apostrophe D") << d << QStringLiteral("Mom's call") << QStringLiteral("it's 4");
    QTest::newRow("double quote") << d << QStringLiteral("a\"b") << QStringLiteral("say \"hi\"");
    QTest::newRow("injection") << t << QStringLiteral("x');DROP TABLE tasks")
                               << QStringLiteral("'); DELETE FROM alarms; --");
    QTest::newRow("unicode") << d << QStringLiteral("Zoë – 日本語 🎉") << QStringLiteral("Grüße ✓");
    QTest::newRow("blank") << t << QStringLiteral(" ") << QStringLiteral("'");
}

void TestEditorFlow::saveAnyTitle() {
    QFETCH(QString, type);
    QFETCH(QString, title);
    QFETCH(QString, description);
    start();
    TaskWindow* editor = fillNewTask(type, title, description);
    QVERIFY(editor);
    QCOMPARE(in<QLineEdit>(editor, "titleEdit")->text(), title);
    click(editor, "acceptButton");
    QVERIFY(!editor->isVisible());
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});
    Task* saved = taskNamed(title);
    QVERIFY(saved);
    const int id = saved->id();
    QVERIFY(id > 1);
    QTRY_VERIFY(saved->taskButton()->isVisible());

    // The row is in the file under that id, with its alarm.
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT name, active FROM tasks WHERE id = ") +
                                QString::number(id)),
             (QVector<QVariantList>{{title, 1}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT units, description FROM alarms WHERE "
                                               "task_id = ") +
                                QString::number(id)),
             (QVector<QVariantList>{{4, description}}));
    // The daemon's event belongs to the task's real id; none to a task 0.
    std::vector<DaemonClient::Event> events = eventsOf(id);
    QCOMPARE(events.size(), size_t(1));
    QCOMPARE(DaemonClient::text(alarm_event_get_message(events[0].get())),
             title + QStringLiteral(" - ") + description);
    QVERIFY(eventsOf(0).empty());
    QCOMPARE(DaemonClient::cookies("PARDO").size(), 1);

    // And a later start still has it.
    restart();
    Task* loaded = taskNamed(title);
    QVERIFY(loaded);
    QCOMPARE(loaded->id(), id);
    QVERIFY(loaded->active());
    QCOMPARE(loaded->noOfAlarms(), 1);
    QCOMPARE(loaded->getAlarm(0)->description(), description);
    QCOMPARE(manager->allTasks().size(), 2);
}

void TestEditorFlow::refusedInsertKeepsEditorOpen_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("countdown") << QStringLiteral("typeTButton");
    QTest::newRow("dated") << QStringLiteral("typeDButton");
}

void TestEditorFlow::refusedInsertKeepsEditorOpen() {
    QFETCH(QString, type);
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "CREATE TRIGGER no_tasks BEFORE INSERT ON tasks BEGIN SELECT RAISE(ABORT, 'no'); END")));
    start();
    const auto buttonsBefore = window->findChildren<TaskButton*>().size();
    TaskWindow* editor = fillNewTask(type, QStringLiteral("Lost"), QStringLiteral("never"));
    QVERIFY(editor);
    click(editor, "acceptButton");

    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task could not be saved.")});
    QCOMPARE(Notes::visible().first()->timeout(), 3000);
    QVERIFY(editor->isVisible());
    QCOMPARE(shown<TaskWindow>(), editor);
    // What was typed is still there to try again.
    QCOMPARE(in<QLineEdit>(editor, "titleEdit")->text(), QStringLiteral("Lost"));
    QCOMPARE(taskNamed(QStringLiteral("Lost")), nullptr);
    QCOMPARE(manager->allTasks().size(), 1);
    QCOMPARE(window->findChildren<TaskButton*>().size(), buttonsBefore);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM tasks")),
             (QVector<QVariantList>{{1}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id <> 1")),
             (QVector<QVariantList>{{0}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM repetitions")),
             (QVector<QVariantList>{{0}}));
    QCOMPARE(DaemonClient::cookies("PARDO"), QList<cookie_t>());
}

PARDO_DBUS_TEST_MAIN(TestEditorFlow)
#include "tst_editorflow.moc"
