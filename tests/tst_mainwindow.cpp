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

// The main window by touch: its grid, its action buttons and their icons, the theme.
class TestMainWindow : public MainWindowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init() { MainWindowTestCase::init(); }
    void cleanup() { MainWindowTestCase::cleanup(); }
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
};

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

PARDO_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
