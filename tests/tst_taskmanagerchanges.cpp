// Adding, editing and deleting tasks, and the daemon's callbacks.
#include <QGridLayout>
#include <QSignalSpy>
#include <QWidget>

#include "modalanswerer.h"
#include "notes.h"
#include "pardotest.h"
#include "qmaemo5informationbox.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "testdatabase.h"

#include "taskmanagertestcase.h"

class TestTaskManagerChanges : public TaskManagerTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { TaskManagerTestCase::init(); }
    void cleanup() { TaskManagerTestCase::cleanup(); }
    void addTaskStoresAndShowsOnce_data();
    void addTaskStoresAndShowsOnce();
    void addedTitleSurvivesRestart_data();
    void addedTitleSurvivesRestart();
    void failedInsertAddsNothing_data();
    void failedInsertAddsNothing();
    void editReReadsFromDatabase();
    void editWithoutSelectionDoesNothing();
    void newTaskWithoutSelectionAsksNothing();
    void deleteAnsweredNoChangesNothing();
    void deleteAnsweredYesRemoves();
    void removalStopsAtFailedDelete_data();
    void removalStopsAtFailedDelete();
    void alarmCallbackForUnknownTask();
};

void TestTaskManagerChanges::addTaskStoresAndShowsOnce_data() {
    QTest::addColumn<int>("type");
    QTest::newRow("T") << 1;
    QTest::newRow("D") << 2;
}

void TestTaskManagerChanges::addTaskStoresAndShowsOnce() {
    QFETCH(int, type);
    startManager();
    auto* task = new Task(*manager, 0, QStringLiteral("Added"), true, Task::Type(type));
    if (type == 2) {
        task->setDate(QDate(2026, 12, 24));
        task->setTime(QTime(18, 0));
    }
    task->addAlarm(true, 15, Alarm::Minutes, QStringLiteral("go"));
    SqlTrace trace;
    manager->addTask(*task);
    QCOMPARE(savedNotes(), 1);
    QCOMPARE(task->id(), 2);
    QVERIFY(manager->allTasks().contains(task));
    QCOMPARE(namesInOrder(*manager),
             (QStringList{QStringLiteral("Added"), QStringLiteral("Initial")}));
    QCOMPARE(gridPosition(task), qMakePair(0, 0));
    QCOMPARE(grid->count(), 2);

    // Placing the alarms reads the snooze setting; only the writes matter here.
    const QStringList ran =
        trace.statements().filter(QRegularExpression(QStringLiteral("^(?!SELECT)")));
    QCOMPARE(ran.size(), type == 2 ? 4 : 3);
    QVERIFY(ran.at(0).startsWith(QStringLiteral("INSERT INTO tasks")));
    QVERIFY(ran.at(1).startsWith(QStringLiteral("INSERT INTO alarms")));
    if (type == 2) {
        QVERIFY(ran.at(2).startsWith(QStringLiteral("INSERT INTO repetitions")));
        QCOMPARE(ran.at(3), QStringLiteral("UPDATE tasks SET active = :0 WHERE id = :1"));
        QVERIFY(trace.withValues().contains(
            QStringLiteral("UPDATE tasks SET active = '1' WHERE id = 2")));
    } else {
        QCOMPARE(
            ran.at(2),
            QStringLiteral("UPDATE tasks SET active = :0, date = :1, time = :2 WHERE id = :3"));
        // The creation moment, to the minute.
        const auto row =
            TestDatabase::rows(QStringLiteral("SELECT date, time FROM tasks WHERE id = 2"));
        QCOMPARE(row.at(0).at(0).toString(), task->date().toString(QStringLiteral("yyyy-MM-dd")));
        QCOMPARE(row.at(0).at(1).toString(), task->time().toString(QStringLiteral("HH:mm")));
    }
    const auto active = TestDatabase::rows(QStringLiteral("SELECT active FROM tasks WHERE id = 2"));
    QCOMPARE(active.at(0).at(0).toInt(), 1);
}

void TestTaskManagerChanges::addedTitleSurvivesRestart_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("description");
    QTest::newRow("apostrophe") << 2 << QStringLiteral("Mom's call") << QStringLiteral("it's time");
    QTest::newRow("double quote") << 1 << QStringLiteral("a\"b") << QStringLiteral("\"now\"");
    QTest::newRow("injection") << 2 << QStringLiteral("x'); DROP TABLE tasks; --")
                               << QStringLiteral("'); DELETE FROM alarms; --");
    QTest::newRow("unicode") << 1 << QStringLiteral("Zoë – 日本語 🎉") << QStringLiteral("ß ✓");
    QTest::newRow("blank") << 2 << QStringLiteral(" ") << QString();
}

void TestTaskManagerChanges::addedTitleSurvivesRestart() {
    QFETCH(int, type);
    QFETCH(QString, title);
    QFETCH(QString, description);
    startManager();
    auto* task = new Task(*manager, 0, title, true, Task::Type(type));
    task->setDate(QDate(2030, 5, 6));
    task->setTime(QTime(12, 30));
    task->addAlarm(type == 2, 10, Alarm::Minutes, description);
    QVERIFY(manager->addTask(*task));
    QVERIFY(task->id() > 1);
    const int id = task->id();
    QCOMPARE(savedNotes(), 1);
    QVERIFY(manager->allTasks().contains(task));

    // A later start reads it back from the file.
    Notes::closeAll();
    container.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
    startManager();
    QCOMPARE(manager->allTasks().size(), 2);
    Task* loaded = taskNamed(title);
    QVERIFY(loaded);
    QCOMPARE(loaded->id(), id);
    QVERIFY(loaded->active());
    QCOMPARE(int(loaded->type()), type);
    QCOMPARE(loaded->noOfAlarms(), 1);
    QCOMPARE(loaded->getAlarm(0)->description(), description);
    QCOMPARE(loaded->getAlarm(0)->units(), 10);
    // No row was written under a task that does not exist.
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id NOT IN "
                                               "(SELECT id FROM tasks)")),
             (QVector<QVariantList>{{0}}));
    if (type == 2) {
        QCOMPARE(loaded->date(), QDate(2030, 5, 6));
        QCOMPARE(loaded->time(), QTime(12, 30));
        QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT task_id FROM repetitions")),
                 (QVector<QVariantList>{{id}}));
    }
}

void TestTaskManagerChanges::failedInsertAddsNothing_data() {
    QTest::addColumn<int>("type");
    QTest::newRow("T") << 1;
    QTest::newRow("D") << 2;
}

void TestTaskManagerChanges::failedInsertAddsNothing() {
    QFETCH(int, type);
    startManager();
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "CREATE TRIGGER no_tasks BEFORE INSERT ON tasks BEGIN SELECT RAISE(ABORT, 'no'); END")));
    auto task = std::make_unique<Task>(*manager, 0, QStringLiteral("Lost"), true, Task::Type(type));
    task->setDate(QDate(2030, 5, 6));
    task->setTime(QTime(12, 30));
    task->addAlarm(false, 10, Alarm::Minutes, QStringLiteral("never"));
    const int cellsBefore = grid->count();
    SqlTrace trace;
    QVERIFY(!manager->addTask(*task));
    QCOMPARE(task->id(), 0);
    // Only the refused insert ran: no alarm, repetition or activation statement under id 0.
    QCOMPARE(trace.statements().size(), 1);
    QVERIFY(trace.statements().first().startsWith(QStringLiteral("INSERT INTO tasks")));
    QCOMPARE(savedNotes(), 0);
    QVERIFY(!manager->allTasks().contains(task.get()));
    QCOMPARE(namesInOrder(*manager), QStringList{QStringLiteral("Initial")});
    QCOMPARE(grid->count(), cellsBefore);
    QCOMPARE(grid->indexOf(task->taskButton()), -1);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id <> 1")),
             (QVector<QVariantList>{{0}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM repetitions")),
             (QVector<QVariantList>{{0}}));
}

void TestTaskManagerChanges::editReReadsFromDatabase() {
    insertTask(QStringLiteral("Work"), true, 2);
    startManager();
    Task* work = taskNamed(QStringLiteral("Work"));
    work->processSelectionChanged();
    QCOMPARE(manager->focusedTask(), work);

    Task edited(*manager, 0, QStringLiteral("Alpha work"), true, Task::D);
    edited.setDate(QDate(2027, 1, 2));
    edited.setTime(QTime(12, 30, 45));
    edited.addAlarm(false, 1, Alarm::Hours, QStringLiteral("after"));
    edited.addAlarm(true, 2, Alarm::Days, QString());
    work->taskButton()->setSelected(true, true);
    manager->saveSelectedTaskChanges(edited);

    QCOMPARE(savedNotes(), 1);
    QCOMPARE(work->name(), QStringLiteral("Alpha work"));
    QCOMPARE(work->taskButton()->text(), QStringLiteral("Alpha work"));
    QCOMPARE(work->date(), QDate(2027, 1, 2));
    // What the database holds: the seconds are gone.
    QCOMPARE(work->time(), QTime(12, 30));
    QCOMPARE(work->noOfAlarms(), 2);
    QCOMPARE(work->getAlarm(0)->description(), QStringLiteral("after"));
    QVERIFY(work->getAlarm(1)->isBefore());
    QVERIFY(work->active());
    QCOMPARE(manager->focusedTask(), work);
    QVERIFY(!manager->allTasks().contains(&edited));
    QCOMPARE(gridPosition(work), qMakePair(0, 0));
}

void TestTaskManagerChanges::editWithoutSelectionDoesNothing() {
    startManager();
    Task edited(*manager, 0, QStringLiteral("Other"), true, Task::T);
    SqlTrace trace;
    manager->saveSelectedTaskChanges(edited);
    QVERIFY(trace.statements().isEmpty());
    QCOMPARE(savedNotes(), 0);
    QCOMPARE(manager->allTasks().first()->name(), QStringLiteral("Initial"));
}

void TestTaskManagerChanges::newTaskWithoutSelectionAsksNothing() {
    startManager();
    QSignalSpy newTask(manager.get(), &TaskManager::newTaskCalled);
    ModalAnswerer answerer(QMessageBox::Yes);
    manager->handleTaskAction();
    QCOMPARE(newTask.count(), 1);
    QTest::qWait(50);
    QVERIFY(answerer.seen().isEmpty());
    QCOMPARE(manager->allTasks().size(), 1);
}

void TestTaskManagerChanges::deleteAnsweredNoChangesNothing() {
    startManager();
    Task* seed = manager->allTasks().first();
    seed->processSelectionChanged();
    QSignalSpy lost(manager.get(), &TaskManager::taskLostFocus);
    QSignalSpy removed(manager.get(), &TaskManager::taskRemoved);
    QSignalSpy newTask(manager.get(), &TaskManager::newTaskCalled);
    ModalAnswerer answerer(QMessageBox::No);
    SqlTrace trace;
    manager->handleTaskAction();
    QCOMPARE(answerer.seen().size(), 1);
    const ModalAnswerer::Seen& box = answerer.seen().first();
    QCOMPARE(box.title, QStringLiteral("Delete task"));
    QCOMPARE(box.text, QStringLiteral("Are you sure you want to delete this task?"));
    QCOMPARE(box.buttons, QMessageBox::Yes | QMessageBox::No);
    QCOMPARE(box.defaultButton, QMessageBox::NoButton);
    QCOMPARE(box.icon, QMessageBox::Question);
    QVERIFY(!box.hasParent);

    QVERIFY(trace.statements().isEmpty());
    QCOMPARE(manager->allTasks().size(), 1);
    QCOMPARE(manager->focusedTask(), seed);
    QCOMPARE(lost.count(), 0);
    QCOMPARE(removed.count(), 0);
    QCOMPARE(newTask.count(), 0);
}

void TestTaskManagerChanges::deleteAnsweredYesRemoves() {
    insertTask(QStringLiteral("Keep"), true, 2);
    const int goneId = insertTask(QStringLiteral("Gone"), true, 2);
    startManager();
    Task* gone = taskNamed(QStringLiteral("Gone"));
    QPointer<TaskButton> button = gone->taskButton();
    gone->processSelectionChanged();
    QStringList order;
    connect(manager.get(), &TaskManager::taskLostFocus, this,
            [&order] { order << QStringLiteral("lost"); });
    connect(manager.get(), &TaskManager::taskRemoved, this,
            [&order] { order << QStringLiteral("removed"); });
    ModalAnswerer answerer(QMessageBox::Yes);
    SqlTrace trace;
    manager->handleTaskAction();
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(trace.statements(),
             (QStringList{QStringLiteral("DELETE FROM tasks WHERE id = :0"),
                          QStringLiteral("DELETE FROM alarms WHERE task_id = :0"),
                          QStringLiteral("DELETE FROM repetitions WHERE task_id = :0")}));
    QCOMPARE(
        trace.withValues(),
        (QStringList{QStringLiteral("DELETE FROM tasks WHERE id = %1").arg(goneId),
                     QStringLiteral("DELETE FROM alarms WHERE task_id = %1").arg(goneId),
                     QStringLiteral("DELETE FROM repetitions WHERE task_id = %1").arg(goneId)}));
    QCOMPARE(order, (QStringList{QStringLiteral("lost"), QStringLiteral("removed")}));
    QVERIFY(button.isNull());
    QCOMPARE(namesInOrder(*manager),
             (QStringList{QStringLiteral("Keep"), QStringLiteral("Initial")}));
    QCOMPARE(manager->focusedTask(), nullptr);
    QCOMPARE(grid->count(), 2);
    QCOMPARE(gridPosition(taskNamed(QStringLiteral("Initial"))), qMakePair(0, 1));
    QCOMPARE(
        TestDatabase::rows(QStringLiteral("SELECT count(*) FROM tasks WHERE id = %1").arg(goneId)),
        (QVector<QVariantList>{{0}}));
}

void TestTaskManagerChanges::removalStopsAtFailedDelete_data() {
    QTest::addColumn<QString>("table");
    QTest::addColumn<int>("statementsRun");
    QTest::newRow("tasks") << QStringLiteral("tasks") << 1;
    QTest::newRow("alarms") << QStringLiteral("alarms") << 2;
    QTest::newRow("repetitions") << QStringLiteral("repetitions") << 3;
}

void TestTaskManagerChanges::removalStopsAtFailedDelete() {
    QFETCH(QString, table);
    QFETCH(int, statementsRun);
    const int id = insertTask(QStringLiteral("Stuck"), true, 2);
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, description) "
                       "VALUES (%1, 0, 5, 0, '')")
            .arg(id)));
    QVERIFY(TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (%1, 1, 0, '', 0, 0, '')")
            .arg(id)));
    QVERIFY(TestDatabase::exec(
        QStringLiteral(
            "CREATE TRIGGER keep BEFORE DELETE ON %1 BEGIN SELECT RAISE(FAIL, 'no'); END")
            .arg(table)));
    startManager();
    Task* stuck = taskNamed(QStringLiteral("Stuck"));
    stuck->processSelectionChanged();
    QSignalSpy lost(manager.get(), &TaskManager::taskLostFocus);
    QSignalSpy removed(manager.get(), &TaskManager::taskRemoved);
    SqlTrace trace;
    manager->removeTask();
    QCOMPARE(trace.statements().size(), statementsRun);
    QVERIFY(manager->allTasks().contains(stuck));
    QCOMPARE(manager->focusedTask(), stuck);
    QCOMPARE(lost.count(), 0);
    QCOMPARE(removed.count(), 0);
    QCOMPARE(gridPosition(stuck), qMakePair(0, 0));
    const int taskRows =
        TestDatabase::rows(QStringLiteral("SELECT count(*) FROM tasks WHERE id = %1").arg(id))
            .at(0)
            .at(0)
            .toInt();
    const int alarmRows =
        TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id = %1").arg(id))
            .at(0)
            .at(0)
            .toInt();
    QCOMPARE(taskRows, table == QLatin1String("tasks") ? 1 : 0);
    QCOMPARE(alarmRows, table == QLatin1String("repetitions") ? 0 : 1);
}

void TestTaskManagerChanges::alarmCallbackForUnknownTask() {
    startManager();
    Task* seed = manager->allTasks().first();
    seed->processSelectionChanged();
    SqlTrace trace;
    manager->handleAlarmTriggeredForTask(4242, 0);
    manager->handleAlarmTriggeredForTask(1, 99);
    // The callback reads the snooze setting for the dialog event and writes nothing.
    for (const QString& statement : trace.statements()) {
        QCOMPARE(statement,
                 QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'"));
    }
    QCOMPARE(manager->focusedTask(), seed);
    QVERIFY(!seed->active());
}

PARDO_TEST_MAIN(TestTaskManagerChanges)
#include "tst_taskmanagerchanges.moc"
