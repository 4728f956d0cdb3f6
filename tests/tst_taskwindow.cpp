#include <QButtonGroup>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QVBoxLayout>

#include "imagecompare.h"
#include "newtaskbutton.h"
#include "pardotest.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5timepickselector.h"
#include "qmaemo5valuebutton.h"
#include "stackedwindow.h"
#include "taskmanager.h"
#include "taskwindowbutton.h"
#include "taskwindowtestcase.h"

namespace {

QImage iconOf(const QAbstractButton* button, int size) {
    return ImageCompare::iconImage(button->icon(), QSize(size, size));
}

QImage image(const char* name) {
    return ImageCompare::resource(QLatin1String(name));
}

} // namespace

// How the task window opens for a new task, and how its editors are laid out.
class TestTaskWindow : public TaskWindowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void typeSelectionForNewTask();
    void stopwatchOpensTEditor();
    void calendarOpensDEditor();
    void tEditorLayout();
    void dEditorOpensOnDatePanel();
    void dSidebarSwitchesPanels();
    void startDateFollowsDatePicker();
    void displayEditTaskLayoutFollowsFocusedType();
};

void TestTaskWindow::init() {
    openDatabase();
}

void TestTaskWindow::cleanup() {
    closeDatabase();
}

void TestTaskWindow::typeSelectionForNewTask() {
    open();
    QCOMPARE(window->windowTitle(), QStringLiteral("Pardo Reminder"));
    QVERIFY(StackedWindow::isEnabled(window.get()));
    QCOMPARE(window->findChild<AlarmsWidget*>(), nullptr);

    auto* row = qobject_cast<QHBoxLayout*>(window->centralWidget()->layout());
    QVERIFY(row);
    QCOMPARE(row->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(row->count(), 3);
    QVERIFY(row->itemAt(0)->spacerItem());
    auto* grid = qobject_cast<QGridLayout*>(row->itemAt(1)->layout());
    QVERIFY(grid);
    QVERIFY(row->itemAt(2)->spacerItem());
    QCOMPARE(grid->horizontalSpacing(), 80);
    QCOMPARE(grid->count(), 5);
    for (int i = 0; i < grid->count(); ++i) {
        QCOMPARE(grid->itemAt(i)->alignment(), Qt::AlignCenter);
    }

    auto widgetAt = [grid](int r, int c) {
        return grid->itemAtPosition(r, c)->widget();
    };
    auto* heading = qobject_cast<QLabel*>(widgetAt(0, 0));
    QCOMPARE(heading->text(), QStringLiteral("Create a new task starting"));
    int r, c, rowSpan, columnSpan;
    grid->getItemPosition(grid->indexOf(heading), &r, &c, &rowSpan, &columnSpan);
    QCOMPARE(columnSpan, 2);

    auto* countdown = qobject_cast<NewTaskButton*>(widgetAt(1, 0));
    auto* dated = qobject_cast<NewTaskButton*>(widgetAt(1, 1));
    QVERIFY(countdown && dated);
    QCOMPARE(countdown->iconSize(), QSize(140, 140));
    QCOMPARE(dated->iconSize(), QSize(140, 140));
    PARDO_COMPARE_IMAGES(iconOf(countdown, 140), image("icon_stopwatch.png"));
    PARDO_COMPARE_IMAGES(iconOf(dated, 140), image("icon_calendar_big.png"));
    QCOMPARE(qobject_cast<QLabel*>(widgetAt(2, 0))->text(), QStringLiteral("From activation time"));
    QCOMPARE(qobject_cast<QLabel*>(widgetAt(2, 1))->text(), QStringLiteral("At fixed date & time"));
    // Centred: as much room on the left as on the right.
    QTRY_VERIFY(
        qAbs(countdown->mapTo(window.get(), QPoint()).x() -
             (window->width() - dated->mapTo(window.get(), QPoint(dated->width(), 0)).x())) <= 1);
}

void TestTaskWindow::stopwatchOpensTEditor() {
    open();
    click(QStringLiteral("typeTButton"));
    QVERIFY(alarms());
    QCOMPARE(repetitions(), nullptr);
    QCOMPARE(window->findChildren<NewTaskButton*>().size(), 0);
    QCOMPARE(alarms()->findChild<QLabel*>()->text(),
             QStringLiteral("Alarms from activation time:"));
    QVERIFY(alarms()->isVisible());
    QCOMPARE(window->findChild<QMaemo5ValueButton*>(), nullptr);
    QCOMPARE(window->getStartDate(), QDate());
}

void TestTaskWindow::calendarOpensDEditor() {
    open();
    click(QStringLiteral("typeDButton"));
    QVERIFY(alarms());
    QVERIFY(repetitions());
    QCOMPARE(window->findChildren<NewTaskButton*>().size(), 0);
    QCOMPARE(alarms()->findChild<QLabel*>()->text(), QStringLiteral("Alarms from set time:"));
}

void TestTaskWindow::tEditorLayout() {
    open();
    click(QStringLiteral("typeTButton"));

    auto* row = qobject_cast<QHBoxLayout*>(window->centralWidget()->layout());
    QCOMPARE(row->contentsMargins(), QMargins(0, 0, 0, 0));
    auto* area = qobject_cast<QScrollArea*>(row->itemAt(0)->widget());
    QVERIFY(area);
    QCOMPARE(area->frameStyle(), 0);
    QVERIFY(area->widgetResizable());

    auto* column = qobject_cast<QVBoxLayout*>(area->widget()->layout());
    auto* grid = qobject_cast<QGridLayout*>(column->itemAt(0)->layout());
    QVERIFY(grid);
    auto* label = qobject_cast<QLabel*>(grid->itemAtPosition(0, 0)->widget());
    QCOMPARE(label->text(), QStringLiteral("Title"));
    QCOMPARE(label->minimumHeight(), 84);
    QCOMPARE(grid->itemAtPosition(0, 1)->widget(), title());
    QCOMPARE(qobject_cast<QLabel*>(grid->itemAtPosition(0, 2)->widget())->text(),
             QStringLiteral("(20 characters max)"));
    QCOMPARE(title()->maxLength(), 20);
    QCOMPARE(title()->minimumWidth(), 300);
    QCOMPARE(title()->maximumWidth(), 300);
    QVERIFY(title()->text().isEmpty());
    QTRY_COMPARE(QApplication::focusWidget(), title());
    QCOMPARE(column->itemAt(1)->widget(), alarms());
    QVERIFY(column->itemAt(2)->spacerItem());

    // Cancel at the top, accept at the bottom.
    auto* sidebar = qobject_cast<QVBoxLayout*>(row->itemAt(1)->layout());
    QVERIFY(sidebar);
    QCOMPARE(sidebar->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(sidebar->spacing(), 0);
    QCOMPARE(sidebar->count(), 3);
    auto* cancel = qobject_cast<TaskWindowButton*>(sidebar->itemAt(0)->widget());
    QVERIFY(sidebar->itemAt(1)->spacerItem());
    auto* accept = qobject_cast<TaskWindowButton*>(sidebar->itemAt(2)->widget());
    QVERIFY(cancel && accept);
    QCOMPARE(cancel->iconSize(), QSize(70, 70));
    QCOMPARE(accept->iconSize(), QSize(70, 70));
    PARDO_COMPARE_IMAGES(iconOf(cancel, 70), image("icon_cancel.png"));
    PARDO_COMPARE_IMAGES(iconOf(accept, 70), image("icon_accept.png"));
    QCOMPARE(cancel->geometry().top(), 0);
    QCOMPARE(accept->geometry().bottom(), window->centralWidget()->height() - 1);
}

void TestTaskWindow::dEditorOpensOnDatePanel() {
    open();
    const QDateTime before = QDateTime::currentDateTime();
    click(QStringLiteral("typeDButton"));
    const QDateTime after = QDateTime::currentDateTime();

    auto* row = qobject_cast<QHBoxLayout*>(window->centralWidget()->layout());
    QCOMPARE(row->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(row->spacing(), 0);
    auto* area = qobject_cast<QScrollArea*>(row->itemAt(0)->widget());
    QCOMPARE(area->frameStyle(), 0);
    QVERIFY(area->widgetResizable());
    QCOMPARE(area->widget()->contentsMargins(), QMargins(0, 0, 0, 0));
    auto* column = qobject_cast<QVBoxLayout*>(area->widget()->layout());
    QCOMPARE(column->spacing(), 0);
    QCOMPARE(column->count(), 4);
    QWidget* dtWidget = column->itemAt(0)->widget();
    QCOMPARE(dtWidget->objectName(), QStringLiteral("dtWidget"));
    QCOMPARE(column->itemAt(1)->widget(), alarms());
    QCOMPARE(column->itemAt(2)->widget(), repetitions());
    QVERIFY(column->itemAt(3)->spacerItem());

    QVERIFY(dtWidget->isVisible());
    QVERIFY(!alarms()->isVisible());
    QVERIFY(!repetitions()->isVisible());

    // Sidebar: cancel, repeat, alarm, calendar, accept, then one stretch. The three panel
    // buttons sit in a scroll area of their own, which scrolls only on a short screen.
    auto* sidebar = qobject_cast<QVBoxLayout*>(row->itemAt(1)->layout());
    QCOMPARE(sidebar->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(sidebar->spacing(), 0);
    QCOMPARE(sidebar->count(), 4);
    auto* panelArea = qobject_cast<QScrollArea*>(sidebar->itemAt(1)->widget());
    QVERIFY(panelArea);
    QCOMPARE(panelArea->frameStyle(), 0);
    auto* panelColumn = qobject_cast<QVBoxLayout*>(panelArea->widget()->layout());
    QCOMPARE(panelColumn->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(panelColumn->spacing(), 0);
    const QList<QLayoutItem*> items = {sidebar->itemAt(0), panelColumn->itemAt(0),
                                       panelColumn->itemAt(1), panelColumn->itemAt(2),
                                       sidebar->itemAt(2)};
    const QStringList names = {QStringLiteral("cancelButton"), QStringLiteral("repeatButton"),
                               QStringLiteral("alarmButton"), QStringLiteral("calendarButton"),
                               QStringLiteral("acceptButton")};
    const char* icons[] = {"icon_cancel.png", "icon_repeat.png", "icon_alarm.png",
                           "icon_calendar.png", "icon_accept.png"};
    for (int i = 0; i < names.size(); ++i) {
        auto* button = qobject_cast<TaskWindowButton*>(items.at(i)->widget());
        QVERIFY(button);
        QCOMPARE(button->objectName(), names.at(i));
        PARDO_COMPARE_IMAGES(iconOf(button, 70), image(icons[i]));
        QCOMPARE(button->iconSize(), QSize(70, 70));
        QCOMPARE(button->isCheckable(), i >= 1 && i <= 3);
        QCOMPARE(button->isChecked(), i == 3);
        QCOMPARE(button->mapTo(window->centralWidget(), QPoint(0, 0)).y(), i * 84);
    }
    QVERIFY(sidebar->itemAt(3)->spacerItem());
    QButtonGroup* group = find<QAbstractButton>(QStringLiteral("repeatButton"))->group();
    QVERIFY(group);
    QVERIFY(group->exclusive());
    QCOMPARE(group->parent(), window.get());
    QCOMPARE(group->buttons().size(), 3);

    // Date/time panel: the title row, then "Time:" and "Date:" with today's values.
    auto* grid = qobject_cast<QGridLayout*>(dtWidget->layout());
    auto* label = qobject_cast<QLabel*>(grid->itemAtPosition(0, 0)->widget());
    QCOMPARE(label->text(), QStringLiteral("Title"));
    QCOMPARE(label->minimumHeight(), 84);
    QVERIFY(label->alignment() & Qt::AlignRight);
    QCOMPARE(grid->itemAtPosition(0, 1)->widget(), title());
    QCOMPARE(title()->maxLength(), 20);
    QCOMPARE(title()->maximumWidth(), 300);
    QCOMPARE(title()->minimumWidth(), 300);
    QCOMPARE(qobject_cast<QLabel*>(grid->itemAtPosition(0, 2)->widget())->text(),
             QStringLiteral("(20 characters max)"));
    QTRY_COMPARE(QApplication::focusWidget(), title());

    auto* timeButton = find<QMaemo5ValueButton>(QStringLiteral("timeButton"));
    auto* dateButton = find<QMaemo5ValueButton>(QStringLiteral("dateButton"));
    QCOMPARE(grid->itemAtPosition(1, 0)->widget(), timeButton);
    QCOMPARE(grid->itemAtPosition(2, 0)->widget(), dateButton);
    int r, c, rowSpan, columnSpan;
    grid->getItemPosition(grid->indexOf(timeButton), &r, &c, &rowSpan, &columnSpan);
    QCOMPARE(columnSpan, 3);
    grid->getItemPosition(grid->indexOf(dateButton), &r, &c, &rowSpan, &columnSpan);
    QCOMPARE(columnSpan, 3);
    QCOMPARE(timeButton->text(), QStringLiteral("Time:"));
    QCOMPARE(dateButton->text(), QStringLiteral("Date:"));
    QCOMPARE(timeButton->valueLayout(), QMaemo5ValueButton::ValueBesideText);
    QCOMPARE(dateButton->valueLayout(), QMaemo5ValueButton::ValueBesideText);
    auto* timeSelector = qobject_cast<QMaemo5TimePickSelector*>(timeButton->pickSelector());
    auto* dateSelector = qobject_cast<QMaemo5DatePickSelector*>(dateButton->pickSelector());
    QVERIFY(timeSelector && dateSelector);
    const QTime shown = timeSelector->currentTime();
    QVERIFY(shown >= QTime(before.time().hour(), before.time().minute()) ||
            after.date() > before.date());
    QVERIFY(shown <= after.time() || after.date() > before.date());
    QVERIFY(dateSelector->currentDate() == before.date() ||
            dateSelector->currentDate() == after.date());
    QCOMPARE(window->getStartDate(), dateSelector->currentDate());
}

void TestTaskWindow::dSidebarSwitchesPanels() {
    openD();
    QWidget* dtWidget = find<QWidget>(QStringLiteral("dtWidget"));
    struct Step {
        const char* button;
        bool dt, alarms, repetitions;
    };
    const Step steps[] = {{"alarmButton", false, true, false},
                          {"repeatButton", false, false, true},
                          {"calendarButton", true, false, false},
                          {"repeatButton", false, false, true},
                          {"alarmButton", false, true, false}};
    for (const Step& step : steps) {
        click(QLatin1String(step.button));
        QCOMPARE(dtWidget->isVisible(), step.dt);
        QCOMPARE(alarms()->isVisible(), step.alarms);
        QCOMPARE(repetitions()->isVisible(), step.repetitions);
        // Exactly the pressed one of the three is checked.
        int checked = 0;
        for (const char* name : {"repeatButton", "alarmButton", "calendarButton"}) {
            checked += find<QAbstractButton>(QLatin1String(name))->isChecked() ? 1 : 0;
        }
        QCOMPARE(checked, 1);
        QVERIFY(find<QAbstractButton>(QLatin1String(step.button))->isChecked());
        // The title belongs to the date panel.
        QCOMPARE(title()->isVisible(), step.dt);
    }
}

void TestTaskWindow::startDateFollowsDatePicker() {
    openD();
    PickerDriver::pickDate(find<QMaemo5ValueButton>(QStringLiteral("dateButton")),
                           QDate(2031, 2, 14));
    QCOMPARE(window->getStartDate(), QDate(2031, 2, 14));
}

void TestTaskWindow::displayEditTaskLayoutFollowsFocusedType() {
    const int t = insertTask(QStringLiteral("Countdown"), 1);
    const int d = insertTask(QStringLiteral("Dated"), 2, QStringLiteral("2030-01-01"),
                             QStringLiteral("09:00"));
    manager->loadTasks();
    manager->setSelectedTask(taskWithId(d));
    open();
    QVERIFY(repetitions());
    manager->setSelectedTask(taskWithId(t));
    window->displayEditTaskLayout();
    QCOMPARE(repetitions(), nullptr);
    QCOMPARE(title()->text(), QStringLiteral("Countdown"));
    manager->setSelectedTask(taskWithId(d));
    window->displayEditTaskLayout();
    QVERIFY(repetitions());
    QCOMPARE(title()->text(), QStringLiteral("Dated"));
}

PARDO_TEST_MAIN(TestTaskWindow)
#include "tst_taskwindow.moc"
