#include "repetitionswidgettestcase.h"

#include <QtTest>
#include <QButtonGroup>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

#include "modalanswerer.h"
#include "fingers.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5valuebutton.h"
#include "repetitionswidget.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

RepetitionsWidgetTestCase::RepetitionsWidgetTestCase() = default;
RepetitionsWidgetTestCase::~RepetitionsWidgetTestCase() = default;

void RepetitionsWidgetTestCase::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
}

void RepetitionsWidgetTestCase::cleanup() {
    window.reset();
    manager.reset();
    QLocale::setDefault(QLocale::c());
    TestDatabase::dropDefaultConnection();
}

void RepetitionsWidgetTestCase::openNew(const QDate& start) {
    manager->loadTasks();
    window = std::make_unique<TaskWindow>(*manager, nullptr);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QTest::mouseClick(find<QAbstractButton>("typeDButton"), Qt::LeftButton);
    if (start.isValid()) {
        pickStart(start);
    }
}

void RepetitionsWidgetTestCase::openStored(int id) {
    manager->loadTasks();
    manager->setSelectedTask(taskWithId(id));
    window = std::make_unique<TaskWindow>(*manager, nullptr);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void RepetitionsWidgetTestCase::showRepetitions() {
    QTest::mouseClick(find<QAbstractButton>("repeatButton"), Qt::LeftButton);
    QVERIFY(widget()->isVisible());
}

void RepetitionsWidgetTestCase::choose(int kind) {
    QAbstractButton* button = group("repeatTypeGroup")->button(kind);
    QVERIFY(button->isVisible());
    tap(button);
    QVERIFY(button->isChecked());
}

void RepetitionsWidgetTestCase::chooseUnit(int unit) {
    auto* combo = find<QComboBox>("repeatIntervalTypeCombo");
    QVERIFY(combo->isVisible());
    // As a finger does it: open the list, move to the entry, take it.
    combo->setFocus();
    while (combo->currentIndex() < unit) {
        QTest::keyClick(combo, Qt::Key_Down);
    }
    while (combo->currentIndex() > unit) {
        QTest::keyClick(combo, Qt::Key_Up);
    }
    QCOMPARE(combo->currentIndex(), unit);
}

void RepetitionsWidgetTestCase::pickStart(const QDate& date) {
    const bool onRepeat = find<QAbstractButton>("repeatButton")->isChecked();
    if (onRepeat) {
        QTest::mouseClick(find<QAbstractButton>("calendarButton"), Qt::LeftButton);
    }
    PickerDriver::pickDate(find<QMaemo5ValueButton>("dateButton"), date);
    QCOMPARE(window->getStartDate(), date);
    if (onRepeat) {
        showRepetitions();
    }
}

// What a user does after moving a new task off today: switches off the day that
// today's date had fixed.
void RepetitionsWidgetTestCase::uncheckEarlierDays() {
    for (QAbstractButton* day : group("weekDaysGroup")->buttons()) {
        if (day->isChecked() && day->isEnabled()) {
            tap(day);
        }
    }
}

int RepetitionsWidgetTestCase::insertDTask(const QString& name, const QString& date,
                                           const QString& repetition) {
    TestDatabase::exec(QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                                      "('%1', 1, 2, '%2', '08:00')")
                           .arg(name, date));
    const int id =
        TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
    TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, "
                       "repeat_interval_units, extra_data) VALUES (%1, %2)")
            .arg(id)
            .arg(repetition));
    return id;
}

Task* RepetitionsWidgetTestCase::taskWithId(int id) const {
    for (Task* task : manager->allTasks()) {
        if (task->id() == id) {
            return task;
        }
    }
    return nullptr;
}

Task* RepetitionsWidgetTestCase::newest() const {
    Task* found = nullptr;
    for (Task* task : manager->allTasks()) {
        if (!found || task->id() > found->id()) {
            found = task;
        }
    }
    return found;
}
