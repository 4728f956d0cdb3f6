#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

#include "accessibilitycheck.h"
#include "fingers.h"
#include "pardotest.h"
#include "windowopener.h"

Q_DECLARE_METATYPE(WindowOpener::Kind)

namespace {

// How far into a window a user goes before looking: which panel, which choices.
enum class Panel { AsOpened, Alarms, WeeklyRepetition, MonthlyRepetition, MoreRows };

void click(QWidget* window, const char* name) {
    auto* button = window->findChild<QAbstractButton*>(QLatin1String(name));
    QVERIFY2(button, name);
    QVERIFY2(button->isVisible(), name);
    Fingers::tap(button);
}

void goTo(QWidget* window, Panel panel) {
    switch (panel) {
    case Panel::AsOpened:
        return;
    case Panel::Alarms:
        click(window, "alarmButton");
        click(window, "addButton");
        return;
    case Panel::MoreRows:
        click(window, "addButton");
        click(window, "addButton");
        return;
    case Panel::WeeklyRepetition:
    case Panel::MonthlyRepetition: {
        click(window, "repeatButton");
        click(window, "xTimesButton");
        auto* unit = window->findChild<QComboBox*>(QStringLiteral("repeatIntervalTypeCombo"));
        QVERIFY(unit);
        unit->setCurrentIndex(panel == Panel::WeeklyRepetition ? 3 : 4);
        return;
    }
    }
}

int interactiveCount(QWidget* window) {
    int count = 0;
    for (QWidget* widget : window->findChildren<QWidget*>()) {
        if (widget->isVisible() &&
            AccessibilityCheck::isInteractive(AccessibilityCheck::role(widget))) {
            ++count;
        }
    }
    return count;
}

} // namespace

class TestAccessibility : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void everyControlIsNamed_data();
    void everyControlIsNamed();
    void iconButtonsNameTheirAction_data();
    void iconButtonsNameTheirAction();
    void labelsNameTheirFields_data();
    void labelsNameTheirFields();
    void alarmRowControlsAreNamed();

private:
    QWidget* open(WindowOpener::Kind kind, Panel panel);

    std::unique_ptr<WindowOpener> opener;
};

void TestAccessibility::initTestCase() {
    AccessibilityCheck::activate();
}

void TestAccessibility::cleanup() {
    opener.reset();
}

QWidget* TestAccessibility::open(WindowOpener::Kind kind, Panel panel) {
    opener = std::make_unique<WindowOpener>(QString::fromLatin1(QTest::currentTestFunction()) +
                                            QString::fromLatin1(QTest::currentDataTag()));
    QWidget* window = opener->open(kind);
    if (window) {
        goTo(window, panel);
    }
    return window;
}

void TestAccessibility::everyControlIsNamed_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<Panel>("panel");
    QTest::addColumn<int>("atLeast");
    QTest::newRow("type chooser") << WindowOpener::TypeChooser << Panel::AsOpened << 2;
    QTest::newRow("countdown, new") << WindowOpener::CountdownNew << Panel::MoreRows << 14;
    QTest::newRow("countdown, editing") << WindowOpener::CountdownEditing << Panel::AsOpened << 14;
    QTest::newRow("dated, new") << WindowOpener::DatedNew << Panel::AsOpened << 8;
    QTest::newRow("dated, alarms") << WindowOpener::DatedNew << Panel::Alarms << 12;
    QTest::newRow("dated, weekly") << WindowOpener::DatedNew << Panel::WeeklyRepetition << 18;
    QTest::newRow("dated, monthly") << WindowOpener::DatedNew << Panel::MonthlyRepetition << 12;
    QTest::newRow("dated, editing") << WindowOpener::DatedEditing << Panel::AsOpened << 8;
    QTest::newRow("dated, editing alarms") << WindowOpener::DatedEditing << Panel::Alarms << 20;
    QTest::newRow("dated, editing repetition")
        << WindowOpener::DatedEditing << Panel::WeeklyRepetition << 18;
    QTest::newRow("settings") << WindowOpener::Settings << Panel::AsOpened << 3;
}

void TestAccessibility::everyControlIsNamed() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(Panel, panel);
    QFETCH(int, atLeast);
    QWidget* window = open(kind, panel);
    QVERIFY(window);
    // The walk must have seen the window's controls, or an empty result proves nothing.
    // New rows appear one event later.
    QTRY_VERIFY2(interactiveCount(window) >= atLeast,
                 qPrintable(QString::number(interactiveCount(window))));
    PARDO_VERIFY_ALL_NAMED(window);
    const QList<AccessibilityCheck::Control> silent =
        AccessibilityCheck::iconButtonsWithoutToolTip(window);
    QVERIFY2(silent.isEmpty(), qPrintable(AccessibilityCheck::describe(silent)));
}

void TestAccessibility::iconButtonsNameTheirAction_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("action");
    QTest::newRow("countdown type") << WindowOpener::TypeChooser << QStringLiteral("typeTButton")
                                    << QStringLiteral("From activation time");
    QTest::newRow("dated type") << WindowOpener::TypeChooser << QStringLiteral("typeDButton")
                                << QStringLiteral("At fixed date & time");
    for (WindowOpener::Kind kind :
         {WindowOpener::CountdownNew, WindowOpener::DatedEditing, WindowOpener::Settings}) {
        const QByteArray window = kind == WindowOpener::CountdownNew   ? "countdown"
                                  : kind == WindowOpener::DatedEditing ? "dated"
                                                                       : "settings";
        QTest::newRow(window + " cancel")
            << kind << QStringLiteral("cancelButton") << QStringLiteral("Cancel");
        QTest::newRow(window + " save")
            << kind << QStringLiteral("acceptButton") << QStringLiteral("Save");
    }
    QTest::newRow("repeat") << WindowOpener::DatedNew << QStringLiteral("repeatButton")
                            << QStringLiteral("Repeat");
    QTest::newRow("alarms") << WindowOpener::DatedNew << QStringLiteral("alarmButton")
                            << QStringLiteral("Alarms");
    QTest::newRow("date and time") << WindowOpener::DatedNew << QStringLiteral("calendarButton")
                                   << QStringLiteral("Date and time");
    QTest::newRow("remove alarm") << WindowOpener::CountdownNew << QStringLiteral("removeButton")
                                  << QStringLiteral("Remove alarm");
    QTest::newRow("add alarm") << WindowOpener::CountdownNew << QStringLiteral("addButton")
                               << QStringLiteral("Add new alarm");
}

void TestAccessibility::iconButtonsNameTheirAction() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(QString, button);
    QFETCH(QString, action);
    QWidget* window = open(kind, Panel::AsOpened);
    QVERIFY(window);
    auto* found = window->findChild<QAbstractButton*>(button);
    QVERIFY(found);
    QCOMPARE(AccessibilityCheck::name(found), action);
    QVERIFY(AccessibilityCheck::isInteractive(AccessibilityCheck::role(found)));
    QCOMPARE(found->toolTip(), action);
}

void TestAccessibility::labelsNameTheirFields_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<Panel>("panel");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("label");
    QTest::newRow("countdown title") << WindowOpener::CountdownNew << Panel::AsOpened
                                     << QStringLiteral("titleEdit") << QStringLiteral("Title");
    QTest::newRow("dated title") << WindowOpener::DatedEditing << Panel::AsOpened
                                 << QStringLiteral("titleEdit") << QStringLiteral("Title");
    QTest::newRow("repeat interval")
        << WindowOpener::DatedNew << Panel::WeeklyRepetition
        << QStringLiteral("repeatIntervalNumberEdit") << QStringLiteral("Every");
    QTest::newRow("snooze interval")
        << WindowOpener::Settings << Panel::AsOpened << QStringLiteral("snoozeIntervalEdit")
        << QStringLiteral("Snooze interval (min):");
}

void TestAccessibility::labelsNameTheirFields() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(Panel, panel);
    QFETCH(QString, field);
    QFETCH(QString, label);
    QWidget* window = open(kind, panel);
    QVERIFY(window);
    auto* edit = window->findChild<QLineEdit*>(field);
    QVERIFY(edit);
    QCOMPARE(AccessibilityCheck::labelledBy(edit), label);
    QCOMPARE(AccessibilityCheck::name(edit), label);
    QCOMPARE(AccessibilityCheck::role(edit), QAccessible::EditableText);
}

void TestAccessibility::alarmRowControlsAreNamed() {
    QWidget* window = open(WindowOpener::DatedEditing, Panel::Alarms);
    QVERIFY(window);
    auto* sign = window->findChild<QPushButton*>(QStringLiteral("isBeforeButton"));
    QVERIFY(sign);
    // The toggle reads "+" or "-"; its name says what that means, and follows a press.
    const QString before = AccessibilityCheck::name(sign);
    QVERIFY(before == QStringLiteral("Before the set time") ||
            before == QStringLiteral("After the set time"));
    Fingers::tap(sign);
    QVERIFY(AccessibilityCheck::name(sign) != before);
    QCOMPARE(AccessibilityCheck::name(window->findChild<QWidget*>(QStringLiteral("numberEdit"))),
             QStringLiteral("Offset"));
    QCOMPARE(
        AccessibilityCheck::name(window->findChild<QWidget*>(QStringLiteral("descriptionEdit"))),
        QStringLiteral("Description"));
}

PARDO_TEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
