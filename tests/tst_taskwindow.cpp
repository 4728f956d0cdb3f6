#include <QButtonGroup>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "alarmswidget.h"
#include "imagecompare.h"
#include "modalanswerer.h"
#include "newtaskbutton.h"
#include "fingers.h"
#include "pardotest.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5timepickselector.h"
#include "qmaemo5valuebutton.h"
#include "repetitionswidget.h"
#include "stackedwindow.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "taskwindowbutton.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

namespace {

QImage iconOf(const QAbstractButton* button, int size) {
    return ImageCompare::iconImage(button->icon(), QSize(size, size));
}

QImage image(const char* name) {
    return ImageCompare::resource(QLatin1String(name));
}

bool isInsertOrUpdate(const QString& statement) {
    return statement.startsWith(QLatin1String("INSERT")) ||
           statement.startsWith(QLatin1String("UPDATE"));
}

} // namespace

class TestTaskWindow : public QObject {
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
    void titleTakesTwentyCharacters();
    void emptyTitleRefused_data();
    void emptyTitleRefused();
    void blankTitlePasses();
    void alarmOffsetOutOfRange_data();
    void alarmOffsetOutOfRange();
    void validationStopsAtFirstFailure();
    void neverAcceptsAnyIntervalAndStop();
    void xTimesStopCount_data();
    void xTimesStopCount();
    void otherTypesNeverCheckStopCount_data();
    void otherTypesNeverCheckStopCount();
    void intervalChecked_data();
    void intervalChecked();
    void intervalCheckedBeforeStopCount();
    void saveTaskTHandsNewTask();
    void saveTaskDHandsNewTask();
    void editingTOpensStraightOnTEditor();
    void editingTSavesChangesToSelectedTask();
    void editingDOpensWithTaskValues();
    void cancelClosesWithoutHandingOver_data();
    void cancelClosesWithoutHandingOver();
    void startDateFollowsDatePicker();
    void displayEditTaskLayoutFollowsFocusedType();

private:
    void open();
    void openD();
    int insertTask(const QString& name, int type, const QString& date = QString(),
                   const QString& time = QString());
    Task* taskWithId(int id) const;
    Task* newest() const;
    template <typename T> T* find(const QString& name) const {
        T* found = window->findChild<T*>(name);
        if (!found) {
            qWarning("no %s named %s", T::staticMetaObject.className(), qPrintable(name));
        }
        return found;
    }
    void click(const QString& name);
    QAbstractButton* repeatType(int id) const;
    RepetitionsWidget* repetitions() const { return window->findChild<RepetitionsWidget*>(); }
    AlarmsWidget* alarms() const { return window->findChild<AlarmsWidget*>(); }
    QLineEdit* title() const { return find<QLineEdit>(QStringLiteral("titleEdit")); }
    QLineEdit* interval() const {
        return find<QLineEdit>(QStringLiteral("repeatIntervalNumberEdit"));
    }
    QLineEdit* stopCount() const { return find<QLineEdit>(QStringLiteral("repeatStopNumberEdit")); }

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<TaskWindow> window;
};

void TestTaskWindow::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
}

void TestTaskWindow::cleanup() {
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestTaskWindow::open() {
    if (manager->allTasks().isEmpty()) {
        manager->loadTasks();
    }
    window = std::make_unique<TaskWindow>(*manager, nullptr);
    window->resize(800, 480);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    // Without a window manager (a bare X server) nothing activates a new window by itself.
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
}

void TestTaskWindow::openD() {
    open();
    click(QStringLiteral("typeDButton"));
}

int TestTaskWindow::insertTask(const QString& name, int type, const QString& date,
                               const QString& time) {
    TestDatabase::exec(QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                                      "('%1', 1, %2, %3, %4)")
                           .arg(name)
                           .arg(type)
                           .arg(date.isEmpty() ? QStringLiteral("NULL")
                                               : QLatin1Char('\'') + date + QLatin1Char('\''))
                           .arg(time.isEmpty() ? QStringLiteral("NULL")
                                               : QLatin1Char('\'') + time + QLatin1Char('\'')));
    return TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
}

Task* TestTaskWindow::taskWithId(int id) const {
    for (Task* task : manager->allTasks()) {
        if (task->id() == id) {
            return task;
        }
    }
    return nullptr;
}

Task* TestTaskWindow::newest() const {
    Task* found = nullptr;
    for (Task* task : manager->allTasks()) {
        if (!found || task->id() > found->id()) {
            found = task;
        }
    }
    return found;
}

void TestTaskWindow::click(const QString& name) {
    auto* button = find<QAbstractButton>(name);
    QVERIFY(button);
    QVERIFY(button->isVisible());
    QTest::mouseClick(button, Qt::LeftButton);
}

QAbstractButton* TestTaskWindow::repeatType(int id) const {
    return find<QButtonGroup>(QStringLiteral("repeatTypeGroup"))->button(id);
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

void TestTaskWindow::titleTakesTwentyCharacters() {
    open();
    click(QStringLiteral("typeTButton"));
    QTest::keyClicks(title(), QStringLiteral("abcdefghijklmnopqrstu"));
    QCOMPARE(title()->text(), QStringLiteral("abcdefghijklmnopqrst"));
}

void TestTaskWindow::emptyTitleRefused_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("T") << QStringLiteral("typeTButton");
    QTest::newRow("D") << QStringLiteral("typeDButton");
}

void TestTaskWindow::emptyTitleRefused() {
    QFETCH(QString, type);
    open();
    click(type);
    alarms()->getNumber(0)->setText(QStringLiteral("5"));
    const int tasksBefore = manager->allTasks().size();
    ModalAnswerer answerer(QMessageBox::Ok);
    SqlTrace trace;
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 1);
    const ModalAnswerer::Seen& box = answerer.seen().first();
    QCOMPARE(box.title, QStringLiteral("Missing title"));
    QCOMPARE(box.text, QStringLiteral("Every task must have a title."));
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QVERIFY(!box.hasParent);
    // Nothing handed over, the window stays with its input.
    QVERIFY(trace.withValues().isEmpty());
    QCOMPARE(manager->allTasks().size(), tasksBefore);
    QVERIFY(window->isVisible());
    QCOMPARE(alarms()->getNumber(0)->text(), QStringLiteral("5"));
}

void TestTaskWindow::blankTitlePasses() {
    open();
    click(QStringLiteral("typeTButton"));
    QTest::keyClicks(title(), QStringLiteral("   "));
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QVERIFY(answerer.seen().isEmpty());
    QCOMPARE(newest()->name(), QStringLiteral("   "));
    QVERIFY(!window->isVisible());
}

void TestTaskWindow::alarmOffsetOutOfRange_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("text");
    QTest::newRow("T") << QStringLiteral("typeTButton")
                       << QStringLiteral("Every alarm must have an offset between 0 and 99.");
    QTest::newRow("D") << QStringLiteral("typeDButton")
                       << QStringLiteral("Every alarm must have an offset between -99 and 99.");
}

void TestTaskWindow::alarmOffsetOutOfRange() {
    QFETCH(QString, type);
    QFETCH(QString, text);
    open();
    click(type);
    QTest::keyClicks(title(), QStringLiteral("Offsets"));
    alarms()->addAlarm();
    alarms()->getNumber(0)->setText(QStringLiteral("7"));
    // Typing cannot get past 99: the third digit is refused.
    retype(alarms()->getNumber(1), QStringLiteral("100"));
    QCOMPARE(alarms()->getNumber(1)->text(), QStringLiteral("10"));
    // Only a value set behind the field's back can, and the editor still refuses it.
    alarms()->getNumber(1)->setText(QStringLiteral("100"));
    const int tasksBefore = manager->allTasks().size();
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Invalid alarm offset"));
    QCOMPARE(answerer.seen().first().text, text);
    QCOMPARE(answerer.seen().first().icon, QMessageBox::Critical);
    QCOMPARE(manager->allTasks().size(), tasksBefore);
    QVERIFY(window->isVisible());

    // The largest offset passes.
    alarms()->getNumber(1)->setText(QStringLiteral("99"));
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(manager->allTasks().size(), tasksBefore + 1);
    QCOMPARE(newest()->getAlarm(1)->units(), 99);
}

void TestTaskWindow::validationStopsAtFirstFailure() {
    openD();
    alarms()->getNumber(0)->setText(QStringLiteral("100"));
    click(QStringLiteral("repeatButton"));
    tap(repeatType(RepeatXTimes));
    interval()->clear();
    stopCount()->clear();
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Missing title"));

    title()->setText(QStringLiteral("Order"));
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 2);
    QCOMPARE(answerer.seen().last().title, QStringLiteral("Invalid alarm offset"));

    alarms()->getNumber(0)->setText(QStringLiteral("1"));
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 3);
    QCOMPARE(answerer.seen().last().title, QStringLiteral("Invalid repeat interval"));
}

void TestTaskWindow::neverAcceptsAnyIntervalAndStop() {
    openD();
    QTest::keyClicks(title(), QStringLiteral("Once"));
    click(QStringLiteral("repeatButton"));
    tap(repeatType(RepeatForever));
    interval()->clear();
    tap(repeatType(RepeatXTimes));
    stopCount()->clear();
    tap(repeatType(RepeatNever));
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QVERIFY(answerer.seen().isEmpty());
    Task* saved = newest();
    QCOMPARE(saved->name(), QStringLiteral("Once"));
    QCOMPARE(saved->repetition(), int(RepeatNever));
    QVERIFY(!window->isVisible());
}

void TestTaskWindow::xTimesStopCount_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("set");
    QTest::addColumn<bool>("accepted");
    // Typed values go through the field's validator; set ones do not.
    QTest::newRow("1") << QStringLiteral("1") << QString() << false;
    QTest::newRow("2") << QStringLiteral("2") << QString() << true;
    QTest::newRow("99") << QStringLiteral("99") << QString() << true;
    QTest::newRow("100") << QString() << QStringLiteral("100") << false;
    QTest::newRow("empty") << QString() << QString() << false;
}

void TestTaskWindow::xTimesStopCount() {
    QFETCH(QString, typed);
    QFETCH(QString, set);
    QFETCH(bool, accepted);
    openD();
    QTest::keyClicks(title(), QStringLiteral("Counted"));
    click(QStringLiteral("repeatButton"));
    tap(repeatType(RepeatXTimes));
    retype(stopCount(), typed);
    if (!set.isEmpty()) {
        stopCount()->setText(set);
    }
    const int tasksBefore = manager->allTasks().size();
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    if (accepted) {
        QVERIFY(answerer.seen().isEmpty());
        QCOMPARE(manager->allTasks().size(), tasksBefore + 1);
        QCOMPARE(newest()->repetitionStopNumber(), typed.toInt());
    } else {
        QCOMPARE(answerer.seen().size(), 1);
        QCOMPARE(answerer.seen().first().title, QStringLiteral("Invalid repeat stop criteria"));
        QCOMPARE(answerer.seen().first().text,
                 QStringLiteral("Repeat stop number must be between 2 and 99."));
        QCOMPARE(answerer.seen().first().icon, QMessageBox::Critical);
        QCOMPARE(manager->allTasks().size(), tasksBefore);
        QVERIFY(window->isVisible());
    }
}

void TestTaskWindow::otherTypesNeverCheckStopCount_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("stop");
    QTest::newRow("forever, 1") << int(RepeatForever) << QStringLiteral("1");
    QTest::newRow("forever, empty") << int(RepeatForever) << QString();
    QTest::newRow("until, 1") << int(RepeatUntilDate) << QStringLiteral("1");
    QTest::newRow("until, 100") << int(RepeatUntilDate) << QStringLiteral("100");
}

void TestTaskWindow::otherTypesNeverCheckStopCount() {
    QFETCH(int, kind);
    QFETCH(QString, stop);
    openD();
    QTest::keyClicks(title(), QStringLiteral("Repeating"));
    click(QStringLiteral("repeatButton"));
    tap(repeatType(kind));
    stopCount()->setText(stop);
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QVERIFY(answerer.seen().isEmpty());
    QCOMPARE(newest()->repetition(), kind);
    QCOMPARE(newest()->repetitionStopNumber(), 0);
}

void TestTaskWindow::intervalChecked_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("accepted");
    for (int kind : {int(RepeatForever), int(RepeatUntilDate), int(RepeatXTimes)}) {
        const QByteArray name = QByteArray::number(kind);
        QTest::newRow(name + ", empty") << kind << QString() << false;
        QTest::newRow(name + ", 100") << kind << QStringLiteral("100") << false;
        QTest::newRow(name + ", 1") << kind << QStringLiteral("1") << true;
        QTest::newRow(name + ", 99") << kind << QStringLiteral("99") << true;
    }
}

void TestTaskWindow::intervalChecked() {
    QFETCH(int, kind);
    QFETCH(QString, value);
    QFETCH(bool, accepted);
    openD();
    QTest::keyClicks(title(), QStringLiteral("Interval"));
    click(QStringLiteral("repeatButton"));
    tap(repeatType(kind));
    retype(interval(), value);
    if (value == QLatin1String("100")) {
        // The field refuses the third digit; only a value set behind its back gets there.
        QCOMPARE(interval()->text(), QStringLiteral("10"));
        interval()->setText(value);
    }
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    if (accepted) {
        QVERIFY(answerer.seen().isEmpty());
        QCOMPARE(newest()->repeatIntervalNumber(), value.toInt());
    } else {
        QCOMPARE(answerer.seen().size(), 1);
        QCOMPARE(answerer.seen().first().title, QStringLiteral("Invalid repeat interval"));
        QCOMPARE(answerer.seen().first().text,
                 QStringLiteral("Repeat interval units must be between 1 and 99."));
        QVERIFY(window->isVisible());
    }
}

void TestTaskWindow::intervalCheckedBeforeStopCount() {
    openD();
    QTest::keyClicks(title(), QStringLiteral("Both bad"));
    click(QStringLiteral("repeatButton"));
    tap(repeatType(RepeatXTimes));
    retype(interval(), QString());
    retype(stopCount(), QStringLiteral("1"));
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Invalid repeat interval"));
}

void TestTaskWindow::saveTaskTHandsNewTask() {
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

void TestTaskWindow::saveTaskDHandsNewTask() {
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

void TestTaskWindow::editingTOpensStraightOnTEditor() {
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

void TestTaskWindow::editingTSavesChangesToSelectedTask() {
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

void TestTaskWindow::editingDOpensWithTaskValues() {
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

void TestTaskWindow::cancelClosesWithoutHandingOver_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("T") << QStringLiteral("typeTButton");
    QTest::newRow("D") << QStringLiteral("typeDButton");
}

void TestTaskWindow::cancelClosesWithoutHandingOver() {
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
