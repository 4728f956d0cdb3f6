#include <QComboBox>
#include <QGridLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QVBoxLayout>

#include "alarmswidget.h"
#include "alarmwidget.h"
#include "imagecompare.h"
#include "pardotest.h"
#include "task.h"
#include "taskmanager.h"
#include "testdatabase.h"

namespace {

struct Row {
    QString sign;
    QString number;
    int unit;
    QString description;
};

Row rowOf(const AlarmWidget* widget) {
    return {widget->findChild<QPushButton*>(QStringLiteral("isBeforeButton"))->text(),
            widget->findChild<QLineEdit*>(QStringLiteral("numberEdit"))->text(),
            widget->findChild<QComboBox*>(QStringLiteral("unitCombo"))->currentIndex(),
            widget->findChild<QLineEdit*>(QStringLiteral("descriptionEdit"))->text()};
}

} // namespace

class TestAlarmsWidget : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void headingNamesTheReference_data();
    void headingNamesTheReference();
    void newTaskHasOneBlankRow_data();
    void newTaskHasOneBlankRow();
    void rowLooks();
    void rowsComeFromTheTask();
    void taskWithoutAlarmsHasNoRows();
    void taskTTogglesCannotBePressed();
    void dTogglePressedTwiceReturnsToPlus();
    void numberFieldTakesZeroToNinetyNine_data();
    void numberFieldTakesZeroToNinetyNine();
    void addNewAppendsBlankRowAtTheBottom();
    void allRowsMayBeRemoved();
    void removingSecondOfThreeShiftsIndexes();
    void removedRowDeletesItself();
    void addInitialWidgetsAddsTheTasksRowsAgain();

private:
    std::unique_ptr<TaskManager> manager;
};

void TestAlarmsWidget::initTestCase() {
    TestDatabase::freshHome(QStringLiteral("alarms"));
    manager = std::make_unique<TaskManager>();
}

void TestAlarmsWidget::cleanupTestCase() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestAlarmsWidget::headingNamesTheReference_data() {
    QTest::addColumn<bool>("isTaskT");
    QTest::addColumn<QString>("heading");
    QTest::newRow("T") << true << QStringLiteral("Alarms from activation time:");
    QTest::newRow("D") << false << QStringLiteral("Alarms from set time:");
}

void TestAlarmsWidget::headingNamesTheReference() {
    QFETCH(bool, isTaskT);
    QFETCH(QString, heading);
    AlarmsWidget widget(isTaskT, nullptr, nullptr);
    auto* layout = qobject_cast<QVBoxLayout*>(widget.layout());
    QVERIFY(layout);
    QCOMPARE(layout->spacing(), 0);
    QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
    auto* label = qobject_cast<QLabel*>(layout->itemAt(0)->widget());
    QVERIFY(label);
    QCOMPARE(label->text(), heading);
    QCOMPARE(label->minimumHeight(), 84);
    QCOMPARE(label->alignment(), Qt::AlignLeft | Qt::AlignBottom);
    auto* grid = qobject_cast<QGridLayout*>(layout->itemAt(1)->layout());
    QVERIFY(grid);
    QCOMPARE(grid->contentsMargins(), QMargins(0, 0, 0, 0));
    auto* add = qobject_cast<QPushButton*>(layout->itemAt(2)->widget());
    QVERIFY(add);
    QCOMPARE(add->text(), QStringLiteral("+ Add new"));
}

void TestAlarmsWidget::newTaskHasOneBlankRow_data() {
    QTest::addColumn<bool>("isTaskT");
    QTest::newRow("T") << true;
    QTest::newRow("D") << false;
}

void TestAlarmsWidget::newTaskHasOneBlankRow() {
    QFETCH(bool, isTaskT);
    AlarmsWidget widget(isTaskT, nullptr, nullptr);
    QCOMPARE(widget.alarmsNo(), 1);
    QCOMPARE(widget.getNumber(0)->text(), QStringLiteral("0"));
    QCOMPARE(widget.getUnit(0)->currentText(), QStringLiteral("minutes"));
    QCOMPARE(widget.getUnit(0)->currentIndex(), 0);
    QVERIFY(widget.getDescription(0)->text().isEmpty());
    QVERIFY(!widget.getIsBefore(0));
    const QList<AlarmWidget*> rows = widget.findChildren<AlarmWidget*>();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rowOf(rows.first()).sign, QStringLiteral("+"));
}

void TestAlarmsWidget::rowLooks() {
    AlarmsWidget widget(false, nullptr, nullptr);
    AlarmWidget* row = widget.findChild<AlarmWidget*>();
    QCOMPARE(row->minimumHeight(), 84);
    QCOMPARE(row->contentsMargins(), QMargins(0, 0, 0, 0));
    QVERIFY(row->testAttribute(Qt::WA_DeleteOnClose));
    auto* layout = qobject_cast<QHBoxLayout*>(row->layout());
    QVERIFY(layout);
    QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(layout->count(), 5);

    auto* toggle = qobject_cast<QPushButton*>(layout->itemAt(0)->widget());
    QCOMPARE(toggle->maximumWidth(), 50);
    QVERIFY(toggle->isEnabled());

    auto* number = qobject_cast<QLineEdit*>(layout->itemAt(1)->widget());
    QCOMPARE(number, widget.getNumber(0));
    QCOMPARE(number->maximumWidth(), 100);
    QCOMPARE(number->inputMethodHints(), Qt::ImhDigitsOnly);
    auto* validator = qobject_cast<const QIntValidator*>(number->validator());
    QVERIFY(validator);
    QCOMPARE(validator->bottom(), 0);
    QCOMPARE(validator->top(), 99);

    auto* unit = qobject_cast<QComboBox*>(layout->itemAt(2)->widget());
    QCOMPARE(unit, widget.getUnit(0));
    QCOMPARE(unit->maximumWidth(), 110);
    QCOMPARE(unit->count(), 3);
    QCOMPARE(unit->itemText(0), QStringLiteral("minutes"));
    QCOMPARE(unit->itemText(1), QStringLiteral("hours"));
    QCOMPARE(unit->itemText(2), QStringLiteral("days"));

    auto* description = qobject_cast<QLineEdit*>(layout->itemAt(3)->widget());
    QCOMPARE(description, widget.getDescription(0));
    // No length limit beyond the widget's own.
    QCOMPARE(description->maxLength(), QLineEdit().maxLength());

    auto* remove = qobject_cast<QPushButton*>(layout->itemAt(4)->widget());
    QVERIFY(remove->text().isEmpty());
    QVERIFY(remove->isFlat());
    QCOMPARE(remove->iconSize(), QSize(50, 50));
    QCOMPARE(remove->minimumSize(), QSize(70, 70));
    QCOMPARE(remove->maximumSize(), QSize(70, 70));
    PARDO_COMPARE_IMAGES(ImageCompare::iconImage(remove->icon(), QSize(50, 50)),
                         ImageCompare::resource(QStringLiteral("icon_cancel_small.png")));
}

void TestAlarmsWidget::rowsComeFromTheTask() {
    Task task(*manager, 5, QStringLiteral("Dentist"), true, Task::D);
    task.addAlarm(true, 10, Alarm::Minutes, QStringLiteral("Leave now"));
    task.addAlarm(false, 2, Alarm::Hours, QString());
    task.addAlarm(true, 99, Alarm::Days, QStringLiteral("Book it"));
    AlarmsWidget widget(false, &task, nullptr);
    QCOMPARE(widget.alarmsNo(), 3);
    const QList<AlarmWidget*> rows = widget.findChildren<AlarmWidget*>();
    const QList<Row> expected = {
        {QStringLiteral("-"), QStringLiteral("10"), 0, QStringLiteral("Leave now")},
        {QStringLiteral("+"), QStringLiteral("2"), 1, QString()},
        {QStringLiteral("-"), QStringLiteral("99"), 2, QStringLiteral("Book it")}};
    for (int i = 0; i < 3; ++i) {
        const Row row = rowOf(rows.at(i));
        QCOMPARE(row.sign, expected.at(i).sign);
        QCOMPARE(row.number, expected.at(i).number);
        QCOMPARE(row.unit, expected.at(i).unit);
        QCOMPARE(row.description, expected.at(i).description);
        QCOMPARE(widget.getNumber(i)->text(), expected.at(i).number);
        QCOMPARE(widget.getUnit(i)->currentIndex(), expected.at(i).unit);
        QCOMPARE(widget.getDescription(i)->text(), expected.at(i).description);
        QCOMPARE(widget.getIsBefore(i), expected.at(i).sign == QLatin1String("-"));
    }
}

void TestAlarmsWidget::taskWithoutAlarmsHasNoRows() {
    Task task(*manager, 5, QStringLiteral("Quiet"), true, Task::D);
    AlarmsWidget widget(false, &task, nullptr);
    QCOMPARE(widget.alarmsNo(), 0);
    QCOMPARE(widget.findChildren<AlarmWidget*>().size(), 0);
}

void TestAlarmsWidget::taskTTogglesCannotBePressed() {
    // A stored "before" alarm of a T task still shows its "-", but counts as after.
    Task task(*manager, 5, QStringLiteral("Tea"), true, Task::T);
    task.addAlarm(true, 3, Alarm::Minutes, QString());
    AlarmsWidget widget(true, &task, nullptr);
    widget.addAlarm();
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    const QList<AlarmWidget*> rows = widget.findChildren<AlarmWidget*>();
    QCOMPARE(rows.size(), 2);
    for (AlarmWidget* row : rows) {
        auto* toggle = row->findChild<QPushButton*>(QStringLiteral("isBeforeButton"));
        QVERIFY(!toggle->isEnabled());
        const QString before = toggle->text();
        QTest::mouseClick(toggle, Qt::LeftButton);
        QCOMPARE(toggle->text(), before);
    }
    QCOMPARE(rowOf(rows.at(0)).sign, QStringLiteral("-"));
    QCOMPARE(rowOf(rows.at(1)).sign, QStringLiteral("+"));
    QVERIFY(!widget.getIsBefore(0));
    QVERIFY(!widget.getIsBefore(1));
}

void TestAlarmsWidget::dTogglePressedTwiceReturnsToPlus() {
    AlarmsWidget widget(false, nullptr, nullptr);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    AlarmWidget* row = widget.findChild<AlarmWidget*>();
    auto* toggle = row->findChild<QPushButton*>(QStringLiteral("isBeforeButton"));
    QTest::mouseClick(toggle, Qt::LeftButton);
    QCOMPARE(toggle->text(), QStringLiteral("-"));
    QVERIFY(row->isBefore());
    QVERIFY(widget.getIsBefore(0));
    QTest::mouseClick(toggle, Qt::LeftButton);
    QCOMPARE(toggle->text(), QStringLiteral("+"));
    QVERIFY(!row->isBefore());
    QVERIFY(!widget.getIsBefore(0));
}

void TestAlarmsWidget::numberFieldTakesZeroToNinetyNine_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::newRow("zero") << QStringLiteral("0") << QStringLiteral("0");
    QTest::newRow("two digits") << QStringLiteral("99") << QStringLiteral("99");
    QTest::newRow("third digit refused") << QStringLiteral("100") << QStringLiteral("10");
    QTest::newRow("minus refused") << QStringLiteral("-5") << QStringLiteral("5");
    QTest::newRow("letters refused") << QStringLiteral("a1b") << QStringLiteral("1");
}

void TestAlarmsWidget::numberFieldTakesZeroToNinetyNine() {
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    AlarmsWidget widget(false, nullptr, nullptr);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    QLineEdit* number = widget.getNumber(0);
    number->clear();
    QTest::keyClicks(number, typed);
    QCOMPARE(number->text(), shown);
}

void TestAlarmsWidget::addNewAppendsBlankRowAtTheBottom() {
    Task task(*manager, 5, QStringLiteral("Gym"), true, Task::D);
    task.addAlarm(true, 15, Alarm::Minutes, QStringLiteral("Pack"));
    AlarmsWidget widget(false, &task, nullptr);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    auto* add = widget.findChild<QPushButton*>(QStringLiteral("addButton"));
    QTest::mouseClick(add, Qt::LeftButton);
    QCOMPARE(widget.alarmsNo(), 2);
    QCOMPARE(widget.getNumber(1)->text(), QStringLiteral("0"));
    QCOMPARE(widget.getUnit(1)->currentIndex(), 0);
    QVERIFY(widget.getDescription(1)->text().isEmpty());
    QVERIFY(!widget.getIsBefore(1));
    QCOMPARE(widget.getNumber(0)->text(), QStringLiteral("15"));
    QTRY_VERIFY(widget.getNumber(1)->mapTo(&widget, QPoint()).y() >
                widget.getNumber(0)->mapTo(&widget, QPoint()).y());
    QVERIFY(add->geometry().top() >= widget.getNumber(1)->mapTo(&widget, QPoint()).y());
}

void TestAlarmsWidget::allRowsMayBeRemoved() {
    AlarmsWidget widget(false, nullptr, nullptr);
    widget.addAlarm();
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    QCOMPARE(widget.alarmsNo(), 2);
    while (widget.alarmsNo() > 0) {
        auto* remove = widget.findChildren<AlarmWidget*>().first()->findChild<QPushButton*>(
            QStringLiteral("removeButton"));
        QTest::mouseClick(remove, Qt::LeftButton);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QCOMPARE(widget.findChildren<AlarmWidget*>().size(), 0);
    // A row added afterwards lands below the rows that were there: the grid never shrinks.
    auto* grid = widget.findChild<QGridLayout*>();
    const int rowsBefore = grid->rowCount();
    widget.addAlarm();
    QCOMPARE(widget.alarmsNo(), 1);
    int row = -1, column = -1, rowSpan = 0, columnSpan = 0;
    grid->getItemPosition(0, &row, &column, &rowSpan, &columnSpan);
    QCOMPARE(row, rowsBefore);
    QCOMPARE(column, 0);
}

void TestAlarmsWidget::removingSecondOfThreeShiftsIndexes() {
    AlarmsWidget widget(false, nullptr, nullptr);
    widget.addAlarm();
    widget.addAlarm();
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    for (int i = 0; i < 3; ++i) {
        widget.getDescription(i)->setText(QStringLiteral("row %1").arg(i));
    }
    QSignalSpy removed(widget.findChildren<AlarmWidget*>().at(1), &AlarmWidget::alarmRemoved);
    QTest::mouseClick(widget.findChildren<AlarmWidget*>().at(1)->findChild<QPushButton*>(
                          QStringLiteral("removeButton")),
                      Qt::LeftButton);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(widget.alarmsNo(), 2);
    QCOMPARE(widget.getDescription(0)->text(), QStringLiteral("row 0"));
    QCOMPARE(widget.getDescription(1)->text(), QStringLiteral("row 2"));
}

void TestAlarmsWidget::removedRowDeletesItself() {
    AlarmsWidget widget(false, nullptr, nullptr);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    QPointer<AlarmWidget> row = widget.findChild<AlarmWidget*>();
    row->handleAlarmRemoved();
    QVERIFY(!row->isVisible());
    QTRY_VERIFY(row.isNull());
    QCOMPARE(widget.alarmsNo(), 0);
}

void TestAlarmsWidget::addInitialWidgetsAddsTheTasksRowsAgain() {
    Task task(*manager, 5, QStringLiteral("Gym"), true, Task::D);
    task.addAlarm(false, 1, Alarm::Hours, QStringLiteral("a"));
    task.addAlarm(false, 2, Alarm::Days, QStringLiteral("b"));
    AlarmsWidget widget(false, &task, nullptr);
    widget.addInitialWidgets();
    QCOMPARE(widget.alarmsNo(), 4);
    QCOMPARE(widget.getDescription(2)->text(), QStringLiteral("a"));
    QCOMPARE(widget.getDescription(3)->text(), QStringLiteral("b"));
    // Without a task there is nothing to add.
    AlarmsWidget blank(false, nullptr, nullptr);
    blank.addInitialWidgets();
    QCOMPARE(blank.alarmsNo(), 1);
}

PARDO_TEST_MAIN(TestAlarmsWidget)
#include "tst_alarmswidget.moc"
