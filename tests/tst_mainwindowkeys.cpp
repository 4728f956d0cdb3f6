#include <QAccessible>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QVBoxLayout>

#include "accessibilitycheck.h"
#include "actionbutton.h"
#include "imagecompare.h"
#include "maemo5theme.h"
#include "mainwindow.h"
#include "pardotest.h"
#include "settingswindow.h"
#include "stackedwindow.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

#include "mainwindowtestcase.h"

// The main window by keyboard and for screen readers: focus order, keys, shortcuts, names.
class TestMainWindowKeys : public MainWindowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { MainWindowTestCase::init(); }
    void cleanup() { MainWindowTestCase::cleanup(); }
    void tabWalksTheGridThenTheActions();
    void keyboardAloneSelectsSwitchesAndDeselects();
    void returnDoubleTapsTheFocusedTask_data();
    void returnDoubleTapsTheFocusedTask();
    void arrowsMoveBetweenTasks();
    void actionButtonsNameTheirAction();
    void newTaskShortcutAlwaysMakesANewTask_data();
    void newTaskShortcutAlwaysMakesANewTask();
    void quitShortcutEndsTheApplication();
    void helpShortcutShowsTheQuickStart();
    void everyControlHasAName_data();
    void everyControlHasAName();
    void tasksExposeTheirOnOffState();
};

void TestMainWindowKeys::tabWalksTheGridThenTheActions() {
    // Loaded by id (Initial, Zed, Alpha), shown sorted: Alpha, Zed, then the inactive Initial.
    start({QStringLiteral("Zed"), QStringLiteral("Alpha")});
    activate();
    const QList<QWidget*> expected{buttonOf(QStringLiteral("Zed")),
                                   buttonOf(QStringLiteral("Initial")), upper(), lower(),
                                   buttonOf(QStringLiteral("Alpha"))};
    QCOMPARE(gridWidget(0), buttonOf(QStringLiteral("Alpha")));
    gridWidget(0)->setFocus(Qt::TabFocusReason);
    QCOMPARE(QApplication::focusWidget(), gridWidget(0));
    QList<QWidget*> walked;
    for (int i = 0; i < expected.size(); ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        walked << QApplication::focusWidget();
    }
    QCOMPARE(walked, expected);

    // Switched off, Alpha moves behind Zed, and the walk follows: Zed, Alpha, Initial.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(gridWidget(1), buttonOf(QStringLiteral("Alpha")));
    QCOMPARE(QApplication::focusWidget(), buttonOf(QStringLiteral("Alpha")));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), buttonOf(QStringLiteral("Initial")));

    // A task added later takes its place in the walk too: first in the grid, first on the way.
    auto* beta = new Task(*manager, 0, QStringLiteral("Beta"), true, Task::D);
    QVERIFY(manager->addTask(*beta));
    QCOMPARE(gridWidget(0), beta->taskButton());
    QTRY_VERIFY(beta->taskButton()->isVisible());
    activate();
    beta->taskButton()->setFocus(Qt::TabFocusReason);
    QCOMPARE(QApplication::focusWidget(), beta->taskButton());
    const QList<QWidget*> afterAdding{buttonOf(QStringLiteral("Zed")),
                                      buttonOf(QStringLiteral("Alpha")),
                                      buttonOf(QStringLiteral("Initial")),
                                      upper(),
                                      lower(),
                                      beta->taskButton()};
    walked.clear();
    for (int i = 0; i < afterAdding.size(); ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        walked << QApplication::focusWidget();
    }
    QCOMPARE(walked, afterAdding);
}

void TestMainWindowKeys::keyboardAloneSelectsSwitchesAndDeselects() {
    start({QStringLiteral("Run")});
    activate();
    QSignalSpy gained(manager.get(), &TaskManager::taskGainedFocus);
    QSignalSpy lost(manager.get(), &TaskManager::taskLostFocus);
    buttonOf(QStringLiteral("Run"))->setFocus(Qt::TabFocusReason);
    QTest::keyClick(buttonOf(QStringLiteral("Run")), Qt::Key_Space);
    QCOMPARE(manager->focusedTask(), taskNamed(QStringLiteral("Run")));
    QCOMPARE(gained.count(), 1);
    QVERIFY(taskNamed(QStringLiteral("Run"))->active());
    QCOMPARE(buttonOf(QStringLiteral("Run"))->borderColor(), QColor(0xf8e52d));
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_edittask.png"));

    // Switched off and on by keyboard, it stays selected, as after a double tap.
    QTest::keyClick(buttonOf(QStringLiteral("Run")), Qt::Key_Return);
    QVERIFY(!taskNamed(QStringLiteral("Run"))->active());
    QTest::keyClick(buttonOf(QStringLiteral("Run")), Qt::Key_Return);
    QVERIFY(taskNamed(QStringLiteral("Run"))->active());
    QCOMPARE(manager->focusedTask(), taskNamed(QStringLiteral("Run")));
    QCOMPARE(gained.count(), 3);
    QCOMPARE(lost.count(), 2);

    // Again: deselected, as a second tap does.
    QTest::keyClick(buttonOf(QStringLiteral("Run")), Qt::Key_Space);
    QCOMPARE(manager->focusedTask(), nullptr);
    QCOMPARE(lost.count(), 3);
    QVERIFY(taskNamed(QStringLiteral("Run"))->active());
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_settings.png"));
}

void TestMainWindowKeys::returnDoubleTapsTheFocusedTask_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("selectedBefore");
    QTest::addColumn<QString>("selectedAfter");
    for (const int key : {int(Qt::Key_Return), int(Qt::Key_Enter)}) {
        const char* name = key == Qt::Key_Return ? "Return" : "Enter";
        QTest::addRow("%s, nothing selected", name) << key << QString() << QString();
        QTest::addRow("%s, the task selected", name)
            << key << QStringLiteral("Gym") << QStringLiteral("Gym");
        QTest::addRow("%s, another task selected", name)
            << key << QStringLiteral("Nap") << QString();
    }
}

void TestMainWindowKeys::returnDoubleTapsTheFocusedTask() {
    QFETCH(int, key);
    QFETCH(QString, selectedBefore);
    QFETCH(QString, selectedAfter);
    start({QStringLiteral("Gym"), QStringLiteral("Nap")});
    activate();
    if (!selectedBefore.isEmpty()) {
        tap(selectedBefore);
    }
    TaskButton* gym = buttonOf(QStringLiteral("Gym"));
    gym->setFocus(Qt::TabFocusReason);
    QTest::keyClick(gym, Qt::Key(key));
    QVERIFY(!taskNamed(QStringLiteral("Gym"))->active());
    QVERIFY(taskNamed(QStringLiteral("Nap"))->active());
    QCOMPARE(manager->focusedTask(), selectedAfter.isEmpty() ? nullptr : taskNamed(selectedAfter));
    // Switched off, it moved behind the active task, and the keyboard stays with it.
    QCOMPARE(gridWidget(1), gym);
    QCOMPARE(QApplication::focusWidget(), gym);
    QVERIFY(!gym->isActivated());
    QCOMPARE(gym->borderColor() == QColor(0xf8e52d), !selectedAfter.isEmpty());

    // And on again.
    QTest::keyClick(gym, Qt::Key(key));
    QVERIFY(taskNamed(QStringLiteral("Gym"))->active());
    QVERIFY(gym->isActivated());
}

void TestMainWindowKeys::arrowsMoveBetweenTasks() {
    // Five tasks: two rows of two and one alone in the last row.
    start({QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C"), QStringLiteral("D")});
    activate();
    const QList<QPair<int, int>> walk{{Qt::Key_Right, 1}, {Qt::Key_Right, 1}, {Qt::Key_Down, 3},
                                      {Qt::Key_Down, 4},  {Qt::Key_Down, 4},  {Qt::Key_Right, 4},
                                      {Qt::Key_Up, 2},    {Qt::Key_Left, 2},  {Qt::Key_Up, 0},
                                      {Qt::Key_Up, 0},    {Qt::Key_Left, 0}};
    gridWidget(0)->setFocus(Qt::TabFocusReason);
    QStringList expected;
    QStringList walked;
    for (const auto& step : walk) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(step.first));
        expected << gridWidget(step.second)->property("text").toString();
        walked << QApplication::focusWidget()->property("text").toString();
    }
    QCOMPARE(walked, expected);
    // Moving is not tapping.
    QCOMPARE(manager->focusedTask(), nullptr);
}

void TestMainWindowKeys::actionButtonsNameTheirAction() {
    start({QStringLiteral("Run")});
    activate();
    auto names = [this] {
        return QStringList{upper()->accessibleName(), upper()->toolTip(), lower()->accessibleName(),
                           lower()->toolTip()};
    };
    QCOMPARE(names(), (QStringList{QStringLiteral("Settings"), QStringLiteral("Settings"),
                                   QStringLiteral("New task"), QStringLiteral("New task")}));
    buttonOf(QStringLiteral("Run"))->setFocus(Qt::TabFocusReason);
    QTest::keyClick(buttonOf(QStringLiteral("Run")), Qt::Key_Space);
    QCOMPARE(names(), (QStringList{QStringLiteral("Edit task"), QStringLiteral("Edit task"),
                                   QStringLiteral("Delete task"), QStringLiteral("Delete task")}));
    QCOMPARE(QAccessible::queryAccessibleInterface(lower())->text(QAccessible::Name),
             QStringLiteral("Delete task"));
    QTest::keyClick(buttonOf(QStringLiteral("Run")), Qt::Key_Space);
    QCOMPARE(names(), (QStringList{QStringLiteral("Settings"), QStringLiteral("Settings"),
                                   QStringLiteral("New task"), QStringLiteral("New task")}));

    // The action buttons are on the keyboard's way and press with Space.
    QSignalSpy settings(manager.get(), &TaskManager::settingsCalled);
    QVERIFY(upper()->focusPolicy() & Qt::TabFocus);
    QVERIFY(lower()->focusPolicy() & Qt::TabFocus);
    upper()->setFocus(Qt::TabFocusReason);
    QTest::keyClick(upper(), Qt::Key_Space);
    QCOMPARE(settings.count(), 1);
}

void TestMainWindowKeys::newTaskShortcutAlwaysMakesANewTask_data() {
    QTest::addColumn<QString>("selected");
    QTest::newRow("nothing selected") << QString();
    QTest::newRow("a task selected") << QStringLiteral("Run");
}

void TestMainWindowKeys::newTaskShortcutAlwaysMakesANewTask() {
    QFETCH(QString, selected);
    start({QStringLiteral("Run")});
    activate();
    if (!selected.isEmpty()) {
        tap(selected);
    }
    QSignalSpy newTask(manager.get(), &TaskManager::newTaskCalled);
    QSignalSpy edit(manager.get(), &TaskManager::editTaskCalled);
    QTest::keyClick(window.get(), Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(newTask.count(), 1);
    QCOMPARE(edit.count(), 0);
    const QList<TaskWindow*> editors = window->findChildren<TaskWindow*>();
    QCOMPARE(editors.size(), 1);
    // The type chooser of a new task, not the editor of the selected one.
    QVERIFY(stateOf(editors.at(0)).join(QLatin1Char('\n')).contains(QStringLiteral("typeTButton")));
    QCOMPARE(manager->focusedTask(), nullptr);
    PARDO_COMPARE_IMAGES(iconOf(lower()), image("icon_newtask.png"));
    QCOMPARE(manager->allTasks().size(), 2);
}

void TestMainWindowKeys::quitShortcutEndsTheApplication() {
    start();
    activate();
    QTimer::singleShot(0, window.get(),
                       [this] { QTest::keyClick(window.get(), Qt::Key_Q, Qt::ControlModifier); });
    // Without the shortcut nothing ends the loop but this.
    QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(99); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

void TestMainWindowKeys::helpShortcutShowsTheQuickStart() {
    start({QStringLiteral("Run")});
    activate();
    QTest::keyClick(window.get(), Qt::Key_F1);
    const QList<SettingsWindow*> settings = window->findChildren<SettingsWindow*>();
    QCOMPARE(settings.size(), 1);
    QVERIFY(settings.at(0)->isVisible());
    auto* text = settings.at(0)->findChild<QLabel*>(QStringLiteral("quickStartText"));
    QVERIFY(text);
    QVERIFY(text->text().startsWith(QStringLiteral("Tap the task once")));
    QTRY_COMPARE(QApplication::focusWidget(), text);
    QVERIFY(text->isVisible());
    QVERIFY(!text->visibleRegion().isEmpty());
    QCOMPARE(QAccessible::queryAccessibleInterface(text)->state().focused, true);
}

void TestMainWindowKeys::everyControlHasAName_data() {
    QTest::addColumn<QStringList>("active");
    QTest::addColumn<bool>("selectFirst");
    QTest::newRow("seed task only") << QStringList() << false;
    QTest::newRow("a task selected") << QStringList{QStringLiteral("Run")} << true;
    QStringList many;
    for (int i = 0; i < 12; ++i) {
        many << QStringLiteral("Task %1").arg(i, 2, 10, QLatin1Char('0'));
    }
    QTest::newRow("enough tasks to scroll") << many << false;
}

void TestMainWindowKeys::everyControlHasAName() {
    QFETCH(QStringList, active);
    QFETCH(bool, selectFirst);
    QAccessible::setActive(true);
    start(active);
    activate();
    if (selectFirst) {
        tap(active.first());
    }
    PARDO_VERIFY_ALL_NAMED(window.get());
    const QList<AccessibilityCheck::Control> silentIcons =
        AccessibilityCheck::iconButtonsWithoutToolTip(window.get());
    QVERIFY2(silentIcons.isEmpty(), qPrintable(AccessibilityCheck::describe(silentIcons)));
    // The walk reached the tasks: each is named after its title.
    for (const QString& title : qAsConst(active)) {
        QCOMPARE(AccessibilityCheck::name(buttonOf(title)), title);
    }
    QAccessible::setActive(false);
}

void TestMainWindowKeys::tasksExposeTheirOnOffState() {
    start({QStringLiteral("Run")}, {QStringLiteral("Nap")});
    activate();
    auto stateOfTask = [this](const QString& name) {
        QAccessibleInterface* node = QAccessible::queryAccessibleInterface(buttonOf(name));
        return QStringLiteral("%1 %2 checkable %3 checked %4")
            .arg(node->text(QAccessible::Name))
            .arg(int(node->role()))
            .arg(node->state().checkable)
            .arg(node->state().checked);
    };
    const QString button = QString::number(int(QAccessible::Button));
    QCOMPARE(stateOfTask(QStringLiteral("Run")),
             QStringLiteral("Run %1 checkable 1 checked 1").arg(button));
    QCOMPARE(stateOfTask(QStringLiteral("Nap")),
             QStringLiteral("Nap %1 checkable 1 checked 0").arg(button));

    // A tap selects and leaves the state alone; a double tap switches it.
    tap(QStringLiteral("Nap"));
    QCOMPARE(stateOfTask(QStringLiteral("Nap")),
             QStringLiteral("Nap %1 checkable 1 checked 0").arg(button));
    QVERIFY(!buttonOf(QStringLiteral("Nap"))->isChecked());
    doubleTap(QStringLiteral("Nap"));
    QCOMPARE(stateOfTask(QStringLiteral("Nap")),
             QStringLiteral("Nap %1 checkable 1 checked 1").arg(button));

    // The screen reader's own actions do what the fingers do.
    QAccessibleActionInterface* actions =
        QAccessible::queryAccessibleInterface(buttonOf(QStringLiteral("Run")))->actionInterface();
    QVERIFY(actions);
    QVERIFY(actions->actionNames().contains(QAccessibleActionInterface::pressAction()));
    QVERIFY(actions->actionNames().contains(QAccessibleActionInterface::toggleAction()));
    actions->doAction(QAccessibleActionInterface::pressAction());
    QCOMPARE(manager->focusedTask(), taskNamed(QStringLiteral("Run")));
    actions->doAction(QAccessibleActionInterface::toggleAction());
    QVERIFY(!taskNamed(QStringLiteral("Run"))->active());
    QCOMPARE(manager->focusedTask(), taskNamed(QStringLiteral("Run")));
    QCOMPARE(stateOfTask(QStringLiteral("Run")),
             QStringLiteral("Run %1 checkable 1 checked 0").arg(button));
}

PARDO_TEST_MAIN(TestMainWindowKeys)
#include "tst_mainwindowkeys.moc"
