// Loading, the grid, selection and switching tasks on and off.
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

class TestTaskManager : public TaskManagerTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { TaskManagerTestCase::init(); }
    void cleanup() { TaskManagerTestCase::cleanup(); }
    void loadsSeedTask();
    void emptyDatabaseGivesEmptyGrid();
    void failingSelectLoadsNothing();
    void fiveTasksFillThreeRows();
    void selectionSignalOrder();
    void settingsActionFollowsSelection();
    void toggleMovesBetweenGroups();
    void toggleStatements_data();
    void toggleStatements();
    void failedToggleUpdateIsUnnoticed();
};

void TestTaskManager::loadsSeedTask() {
    startManager();
    QCOMPARE(manager->allTasks().size(), 1);
    Task* seed = manager->allTasks().first();
    QCOMPARE(seed->id(), 1);
    QCOMPARE(seed->name(), QStringLiteral("Initial"));
    QVERIFY(!seed->active());
    QCOMPARE(seed->type(), Task::T);
    QCOMPARE(seed->noOfAlarms(), 1);
    QCOMPARE(seed->date(), QDate::currentDate());
    QCOMPARE(gridPosition(seed), qMakePair(0, 0));
    QCOMPARE(manager->focusedTask(), nullptr);
}

void TestTaskManager::emptyDatabaseGivesEmptyGrid() {
    manager = std::make_unique<TaskManager>();
    QVERIFY(TestDatabase::exec(QStringLiteral("DELETE FROM tasks")));
    startManager();
    QVERIFY(manager->allTasks().isEmpty());
    QCOMPARE(grid->count(), 0);
}

void TestTaskManager::failingSelectLoadsNothing() {
    // A tasks table without a type column passes the opening check but not the load.
    const QString path =
        TestEnvironment::current()->home() + QStringLiteral("/pardoreminder.db.sqlite");
    QVERIFY(TestDatabase::prepareFile(
        path,
        {QStringLiteral("CREATE TABLE tasks (id INTEGER PRIMARY KEY, name TEXT, active INTEGER)"),
         QStringLiteral("INSERT INTO tasks VALUES (1, 'Lost', 1)")}));
    startManager();
    QVERIFY(manager->allTasks().isEmpty());
    QCOMPARE(grid->count(), 0);
}

void TestTaskManager::fiveTasksFillThreeRows() {
    insertTask(QStringLiteral("eve"), false, 2);
    insertTask(QStringLiteral("bob"), true, 2);
    insertTask(QStringLiteral("Dan"), false, 2);
    insertTask(QStringLiteral("amy"), true, 1);
    TestDatabase::exec(QStringLiteral("DELETE FROM tasks WHERE id = 1"));
    insertTask(QStringLiteral("cat"), true, 2);
    startManager();
    // Active first, then by plain string order (upper case before lower case).
    QCOMPARE(namesInOrder(*manager),
             (QStringList{QStringLiteral("amy"), QStringLiteral("bob"), QStringLiteral("cat"),
                          QStringLiteral("Dan"), QStringLiteral("eve")}));
    const QVector<QPair<int, int>> expected{{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 0}};
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(gridPosition(manager->allTasks().at(i)), expected.at(i));
    }
    QCOMPARE(grid->count(), 5);
}

void TestTaskManager::selectionSignalOrder() {
    insertTask(QStringLiteral("A"), true, 2);
    insertTask(QStringLiteral("B"), true, 2);
    startManager();
    Task* a = taskNamed(QStringLiteral("A"));
    Task* b = taskNamed(QStringLiteral("B"));
    QStringList order;
    connect(manager.get(), &TaskManager::taskGainedFocus, this,
            [&order] { order << QStringLiteral("gained"); });
    connect(manager.get(), &TaskManager::taskLostFocus, this,
            [&order] { order << QStringLiteral("lost"); });
    QSignalSpy gained(manager.get(), &TaskManager::taskGainedFocus);

    a->processSelectionChanged();
    QCOMPARE(order, QStringList{QStringLiteral("gained")});
    QCOMPARE(manager->focusedTask(), a);
    QCOMPARE(a->taskButton()->borderColor(), QColor(0xf8e52d));

    order.clear();
    b->processSelectionChanged();
    QCOMPARE(order, (QStringList{QStringLiteral("lost"), QStringLiteral("gained")}));
    QCOMPARE(manager->focusedTask(), b);
    QCOMPARE(a->taskButton()->borderColor(), QColor(0x199909));

    order.clear();
    b->processSelectionChanged();
    QCOMPARE(order, QStringList{QStringLiteral("lost")});
    QCOMPARE(manager->focusedTask(), nullptr);
    QCOMPARE(b->taskButton()->borderColor(), QColor(0x199909));
    QCOMPARE(gained.count(), 2);
}

void TestTaskManager::settingsActionFollowsSelection() {
    startManager();
    QSignalSpy settings(manager.get(), &TaskManager::settingsCalled);
    QSignalSpy edit(manager.get(), &TaskManager::editTaskCalled);
    manager->handleSettingsAction();
    QCOMPARE(settings.count(), 1);
    QCOMPARE(edit.count(), 0);
    manager->allTasks().first()->processSelectionChanged();
    manager->handleSettingsAction();
    QCOMPARE(settings.count(), 1);
    QCOMPARE(edit.count(), 1);
}

void TestTaskManager::toggleMovesBetweenGroups() {
    insertTask(QStringLiteral("Alpha"), true, 2);
    insertTask(QStringLiteral("Beta"), true, 2);
    startManager();
    Task* alpha = taskNamed(QStringLiteral("Alpha"));
    QCOMPARE(gridPosition(alpha), qMakePair(0, 0));
    alpha->changeActivationState();
    QVERIFY(!alpha->active());
    // Beta, then the inactive group: Alpha before Initial.
    QCOMPARE(namesInOrder(*manager), (QStringList{QStringLiteral("Beta"), QStringLiteral("Alpha"),
                                                  QStringLiteral("Initial")}));
    QCOMPARE(gridPosition(alpha), qMakePair(0, 1));
    QCOMPARE(savedNotes(), 0);
    const auto row = TestDatabase::rows(
        QStringLiteral("SELECT active FROM tasks WHERE id = %1").arg(alpha->id()));
    QCOMPARE(row.at(0).at(0).toBool(), false);
}

void TestTaskManager::toggleStatements_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("startActive");
    QTest::newRow("D off") << 2 << true;
    QTest::newRow("D on") << 2 << false;
    QTest::newRow("T on") << 1 << false;
    QTest::newRow("T off") << 1 << true;
}

void TestTaskManager::toggleStatements() {
    QFETCH(int, type);
    QFETCH(bool, startActive);
    manager = std::make_unique<TaskManager>();
    QVERIFY(TestDatabase::exec(
        QStringLiteral(
            "INSERT INTO tasks (id, name, active, type, date, time) VALUES (7, 'Seven', %1, %2, "
            "'2020-01-01', '06:00')")
            .arg(startActive ? QStringLiteral("'true'") : QStringLiteral("'false'"))
            .arg(type)));
    startManager();
    Task* seven = taskNamed(QStringLiteral("Seven"));
    QCOMPARE(seven->active(), startActive);
    SqlTrace trace;
    seven->changeActivationState();
    QCOMPARE(trace.statements().size(), 1);
    if (type == 2) {
        QCOMPARE(trace.statements().first(),
                 QStringLiteral("UPDATE tasks SET active = :0 WHERE id = :1"));
        QCOMPARE(trace.withValues().first(),
                 QStringLiteral("UPDATE tasks SET active = '%1' WHERE id = 7")
                     .arg(seven->active() ? 1 : 0));
        QCOMPARE(seven->date(), QDate(2020, 1, 1));
    } else {
        QCOMPARE(
            trace.statements().first(),
            QStringLiteral("UPDATE tasks SET active = :0, date = :1, time = :2 WHERE id = :3"));
        QCOMPARE(seven->date(), QDate::currentDate());
        const auto moment =
            TestDatabase::rows(QStringLiteral("SELECT date, time FROM tasks WHERE id = 7"));
        QCOMPARE(moment.at(0).at(0).toString(),
                 seven->date().toString(QStringLiteral("yyyy-MM-dd")));
        QCOMPARE(moment.at(0).at(1).toString(), seven->time().toString(QStringLiteral("HH:mm")));
    }
    const auto row =
        TestDatabase::rows(QStringLiteral("SELECT active, typeof(active) FROM tasks WHERE id = 7"));
    QCOMPARE(row.at(0).at(0).toBool(), !startActive);
    QCOMPARE(row.at(0).at(1).toString(), QStringLiteral("integer"));
}

void TestTaskManager::failedToggleUpdateIsUnnoticed() {
    insertTask(QStringLiteral("Zed"), true, 2);
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "CREATE TRIGGER frozen BEFORE UPDATE ON tasks BEGIN SELECT RAISE(FAIL, 'no'); END")));
    startManager();
    Task* zed = taskNamed(QStringLiteral("Zed"));
    QCOMPARE(gridPosition(zed), qMakePair(0, 0));
    zed->changeActivationState();
    QVERIFY(!zed->active());
    QCOMPARE(gridPosition(zed), qMakePair(0, 1));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT active FROM tasks WHERE name = 'Zed'"))
                 .at(0)
                 .at(0)
                 .toInt(),
             1);
}

PARDO_TEST_MAIN(TestTaskManager)
#include "tst_taskmanager.moc"
