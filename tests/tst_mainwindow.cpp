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

namespace {

QImage iconOf(const QAbstractButton* button) {
    return ImageCompare::iconImage(button->icon(), QSize(130, 130));
}

QImage image(const char* name) {
    return ImageCompare::resource(QLatin1String(name));
}

// What an editor window shows: where it is, and every visible widget with its text.
QStringList stateOf(const QWidget* editor) {
    QStringList state{
        QStringLiteral("%1 parent %2 window %3 visible %4 at %5,%6 %7x%8")
            .arg(editor->windowTitle(),
                 QString::fromLatin1(editor->parentWidget()
                                         ? editor->parentWidget()->metaObject()->className()
                                         : "none"))
            .arg(editor->isWindow())
            .arg(editor->isVisible())
            .arg(editor->x())
            .arg(editor->y())
            .arg(editor->width())
            .arg(editor->height())};
    for (const QWidget* child : editor->findChildren<QWidget*>()) {
        if (!child->isVisibleTo(editor)) {
            continue;
        }
        QString entry = QString::fromLatin1(child->metaObject()->className()) + QLatin1Char(' ') +
                        child->objectName();
        if (const auto* edit = qobject_cast<const QLineEdit*>(child)) {
            entry += QStringLiteral(" text '%1'").arg(edit->text());
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(child)) {
            entry += QStringLiteral(" text '%1' checked %2")
                         .arg(button->text())
                         .arg(button->isChecked());
        } else if (const auto* label = qobject_cast<const QLabel*>(child)) {
            entry += QStringLiteral(" text '%1'").arg(label->text());
        }
        state << entry;
    }
    return state;
}

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void construction();
    void emptyDatabaseShowsPrimaryIcons();
    void tapSelectsAndSwitchesIcons();
    void actionButtonsReachTheManager();
    void doubleTapUnselectedInactive();
    void doubleTapSelected();
    void doubleTapAnotherWhileOneIsSelected();
    void manyTasksScrollVertically();
    void themeIsLightOnDark();
    void addTaskIgnoresItsText_data();
    void addTaskIgnoresItsText();
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

private:
    void start(const QStringList& activeNames = {}, const QStringList& inactiveNames = {});
    void activate();
    QWidget* gridWidget(int index) const;
    ActionButton* upper() const;
    ActionButton* lower() const;
    TaskButton* buttonOf(const QString& name) const;
    Task* taskNamed(const QString& name) const;
    void tap(const QString& name);
    void doubleTap(const QString& name);

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
};

void TestMainWindow::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
}

void TestMainWindow::cleanup() {
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestMainWindow::start(const QStringList& activeNames, const QStringList& inactiveNames) {
    manager = std::make_unique<TaskManager>();
    for (const QString& name : activeNames) {
        TestDatabase::exec(
            QStringLiteral("INSERT INTO tasks (name, active, type) VALUES ('%1', 1, 1)").arg(name));
    }
    for (const QString& name : inactiveNames) {
        TestDatabase::exec(
            QStringLiteral("INSERT INTO tasks (name, active, type) VALUES ('%1', 0, 1)").arg(name));
    }
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void TestMainWindow::activate() {
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
}

QWidget* TestMainWindow::gridWidget(int index) const {
    auto* grid = qobject_cast<QGridLayout*>(window->findChild<QScrollArea*>()->widget()->layout());
    QLayoutItem* item = grid ? grid->itemAt(index) : nullptr;
    return item ? item->widget() : nullptr;
}

ActionButton* TestMainWindow::upper() const {
    return window->findChildren<ActionButton*>().value(0);
}

ActionButton* TestMainWindow::lower() const {
    return window->findChildren<ActionButton*>().value(1);
}

Task* TestMainWindow::taskNamed(const QString& name) const {
    for (Task* task : manager->allTasks()) {
        if (task->name() == name) {
            return task;
        }
    }
    return nullptr;
}

TaskButton* TestMainWindow::buttonOf(const QString& name) const {
    return taskNamed(name)->taskButton();
}

void TestMainWindow::tap(const QString& name) {
    QTest::mouseClick(buttonOf(name), Qt::LeftButton, {}, QPoint(150, 50));
}

void TestMainWindow::doubleTap(const QString& name) {
    // Through the window, as the platform delivers a double tap.
    TaskButton* button = buttonOf(name);
    QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {},
                       button->mapTo(window.get(), QPoint(150, 50)));
}

void TestMainWindow::construction() {
    start();
    QCOMPARE(window->windowTitle(), QStringLiteral("Pardo Reminder"));
    QCOMPARE(window->size(), QSize(800, 480));
    QVERIFY(StackedWindow::isEnabled(window.get()));

    auto* row = qobject_cast<QHBoxLayout*>(window->centralWidget()->layout());
    QVERIFY(row);
    QCOMPARE(row->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(row->spacing(), 0);
    QCOMPARE(row->count(), 2);

    auto* scroll = qobject_cast<QScrollArea*>(row->itemAt(0)->widget());
    QVERIFY(scroll);
    QVERIFY(scroll->widgetResizable());
    QCOMPARE(scroll->frameStyle(), 0);
    auto* grid = qobject_cast<QGridLayout*>(scroll->widget()->layout());
    QVERIFY(grid);
    QCOMPARE(grid->sizeConstraint(), QLayout::SetMinAndMaxSize);
    QCOMPARE(grid->contentsMargins(), QMargins(12, 12, 0, 12));
    QCOMPARE(grid->spacing(), 0);
    QCOMPARE(grid->count(), 1);
    QCOMPARE(grid->itemAt(0)->widget(), buttonOf(QStringLiteral("Initial")));

    auto* column = qobject_cast<QVBoxLayout*>(row->itemAt(1)->layout());
    QVERIFY(column);
    QCOMPARE(column->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(column->count(), 3);
    QCOMPARE(column->itemAt(0)->widget(), upper());
    QVERIFY(column->itemAt(1)->spacerItem());
    QCOMPARE(column->itemAt(2)->widget(), lower());
    // Upper button at the top, lower one at the bottom of the right-hand column.
    QCOMPARE(upper()->geometry().top(), 0);
    QCOMPARE(lower()->geometry().bottom(), window->centralWidget()->height() - 1);
    QCOMPARE(upper()->geometry().right(), window->centralWidget()->width() - 1);
}

void TestMainWindow::emptyDatabaseShowsPrimaryIcons() {
    manager = std::make_unique<TaskManager>();
    QVERIFY(TestDatabase::exec(QStringLiteral("DELETE FROM tasks")));
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QCOMPARE(window->findChildren<TaskButton*>().size(), 0);
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_settings.png"));
    PARDO_COMPARE_IMAGES(iconOf(lower()), image("icon_newtask.png"));
}

void TestMainWindow::tapSelectsAndSwitchesIcons() {
    start({QStringLiteral("Run")});
    tap(QStringLiteral("Run"));
    QCOMPARE(manager->focusedTask(), taskNamed(QStringLiteral("Run")));
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_edittask.png"));
    PARDO_COMPARE_IMAGES(iconOf(lower()), image("icon_deletetask.png"));
    QCOMPARE(buttonOf(QStringLiteral("Run"))->borderColor(), QColor(0xf8e52d));
    QVERIFY(buttonOf(QStringLiteral("Run"))->isActivated());

    tap(QStringLiteral("Run"));
    QCOMPARE(manager->focusedTask(), nullptr);
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_settings.png"));
    PARDO_COMPARE_IMAGES(iconOf(lower()), image("icon_newtask.png"));
    QCOMPARE(buttonOf(QStringLiteral("Run"))->borderColor(), QColor(0x199909));
    QCOMPARE(buttonOf(QStringLiteral("Initial"))->borderColor(), QColor(0x333333));
}

void TestMainWindow::actionButtonsReachTheManager() {
    start();
    QSignalSpy settings(manager.get(), &TaskManager::settingsCalled);
    QSignalSpy edit(manager.get(), &TaskManager::editTaskCalled);
    QSignalSpy newTask(manager.get(), &TaskManager::newTaskCalled);
    QTest::mouseClick(upper(), Qt::LeftButton);
    QTest::mouseClick(lower(), Qt::LeftButton);
    QCOMPARE(settings.count(), 1);
    QCOMPARE(newTask.count(), 1);
    tap(QStringLiteral("Initial"));
    QTest::mouseClick(upper(), Qt::LeftButton);
    QCOMPARE(edit.count(), 1);
    QCOMPARE(settings.count(), 1);
}

void TestMainWindow::doubleTapUnselectedInactive() {
    start({}, {QStringLiteral("Nap")});
    doubleTap(QStringLiteral("Nap"));
    QVERIFY(taskNamed(QStringLiteral("Nap"))->active());
    QCOMPARE(manager->focusedTask(), nullptr);
    TaskButton* const look = buttonOf(QStringLiteral("Nap"));
    QCOMPARE(look->borderColor(), QColor(0x199909));
    QVERIFY(look->isActivated());
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_settings.png"));
}

void TestMainWindow::doubleTapSelected() {
    start({QStringLiteral("Gym")});
    tap(QStringLiteral("Gym"));
    doubleTap(QStringLiteral("Gym"));
    QVERIFY(!taskNamed(QStringLiteral("Gym"))->active());
    QCOMPARE(manager->focusedTask(), taskNamed(QStringLiteral("Gym")));
    TaskButton* const look = buttonOf(QStringLiteral("Gym"));
    QCOMPARE(look->borderColor(), QColor(0xf8e52d));
    QVERIFY(!look->isActivated());
    PARDO_COMPARE_IMAGES(iconOf(lower()), image("icon_deletetask.png"));
}

void TestMainWindow::doubleTapAnotherWhileOneIsSelected() {
    start({QStringLiteral("A"), QStringLiteral("B")});
    tap(QStringLiteral("B"));
    doubleTap(QStringLiteral("A"));
    QVERIFY(!taskNamed(QStringLiteral("A"))->active());
    QVERIFY(taskNamed(QStringLiteral("B"))->active());
    QCOMPARE(manager->focusedTask(), nullptr);
    PARDO_COMPARE_IMAGES(iconOf(upper()), image("icon_settings.png"));
    PARDO_COMPARE_IMAGES(iconOf(lower()), image("icon_newtask.png"));
    for (const QString& name : {QStringLiteral("A"), QStringLiteral("B")}) {
        QVERIFY(buttonOf(name)->borderColor() != QColor(0xf8e52d));
    }
}

void TestMainWindow::manyTasksScrollVertically() {
    QStringList names;
    for (int i = 0; i < 12; ++i) {
        names << QStringLiteral("Task %1").arg(i, 2, 10, QLatin1Char('0'));
    }
    start(names);
    auto* scroll = window->findChild<QScrollArea*>();
    QTRY_VERIFY(scroll->verticalScrollBar()->maximum() > 0);
    QCOMPARE(scroll->horizontalScrollBar()->maximum(), 0);
    // The action column stays where it was.
    QCOMPARE(upper()->geometry().top(), 0);
    QCOMPARE(lower()->geometry().bottom(), window->centralWidget()->height() - 1);
}

void TestMainWindow::themeIsLightOnDark() {
    const QPalette before = QApplication::palette();
    Maemo5Theme::apply(*qApp);
    const QPalette palette = QApplication::palette();
    QVERIFY(palette.color(QPalette::Window).lightness() < 40);
    QVERIFY(palette.color(QPalette::ButtonText).lightness() > 200);
    QVERIFY(palette.color(QPalette::WindowText).lightness() > 200);
    QCOMPARE(QApplication::font().pixelSize(), 20);
    QApplication::setPalette(before);
}

void TestMainWindow::addTaskIgnoresItsText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("selected");
    const QStringList texts = {QString(),
                               QStringLiteral("T"),
                               QStringLiteral("D"),
                               QStringLiteral("Dentist"),
                               QStringLiteral("t"),
                               QStringLiteral(" T "),
                               QStringLiteral("Zahn\u00e4rztin \u23f0"),
                               QString(300, QLatin1Char('x'))};
    for (const QString& selected : {QString(), QStringLiteral("Run")}) {
        for (const QString& text : texts) {
            const QString tag = QStringLiteral("'%1'%2").arg(
                text.left(12), selected.isEmpty() ? QStringLiteral(", none selected")
                                                  : QStringLiteral(", one selected"));
            QTest::newRow(qPrintable(tag)) << text << selected;
        }
    }
}

void TestMainWindow::addTaskIgnoresItsText() {
    QFETCH(QString, text);
    QFETCH(QString, selected);
    start({QStringLiteral("Run")}, {QStringLiteral("Nap")});
    if (!selected.isEmpty()) {
        tap(selected);
    }
    Task* focused = manager->focusedTask();
    const int tasks = manager->allTasks().size();
    QCOMPARE(focused, selected.isEmpty() ? nullptr : taskNamed(selected));

    SqlTrace withoutTrace;
    window->addTask();
    const QStringList withoutStatements = withoutTrace.statements();
    QList<TaskWindow*> editors = window->findChildren<TaskWindow*>();
    QCOMPARE(editors.size(), 1);
    const QStringList without = stateOf(editors.at(0));
    // Sanity: the editor without a text is the one the selection asks for.
    QVERIFY(without.join(QLatin1Char('\n'))
                .contains(selected.isEmpty()
                              ? QStringLiteral("typeTButton")
                              : QStringLiteral("titleEdit text '%1'").arg(selected)));

    SqlTrace withTrace;
    window->addTask(text);
    QCOMPARE(withTrace.statements(), withoutStatements);
    editors = window->findChildren<TaskWindow*>();
    QCOMPARE(editors.size(), 2);
    QCOMPARE(stateOf(editors.at(1)), without);
    QCOMPARE(manager->focusedTask(), focused);
    QCOMPARE(manager->allTasks().size(), tasks);
}

void TestMainWindow::tabWalksTheGridThenTheActions() {
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

void TestMainWindow::keyboardAloneSelectsSwitchesAndDeselects() {
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

void TestMainWindow::returnDoubleTapsTheFocusedTask_data() {
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

void TestMainWindow::returnDoubleTapsTheFocusedTask() {
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

void TestMainWindow::arrowsMoveBetweenTasks() {
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

void TestMainWindow::actionButtonsNameTheirAction() {
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

void TestMainWindow::newTaskShortcutAlwaysMakesANewTask_data() {
    QTest::addColumn<QString>("selected");
    QTest::newRow("nothing selected") << QString();
    QTest::newRow("a task selected") << QStringLiteral("Run");
}

void TestMainWindow::newTaskShortcutAlwaysMakesANewTask() {
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

void TestMainWindow::quitShortcutEndsTheApplication() {
    start();
    activate();
    QTimer::singleShot(0, window.get(),
                       [this] { QTest::keyClick(window.get(), Qt::Key_Q, Qt::ControlModifier); });
    // Without the shortcut nothing ends the loop but this.
    QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(99); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

void TestMainWindow::helpShortcutShowsTheQuickStart() {
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

void TestMainWindow::everyControlHasAName_data() {
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

void TestMainWindow::everyControlHasAName() {
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

void TestMainWindow::tasksExposeTheirOnOffState() {
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

PARDO_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
