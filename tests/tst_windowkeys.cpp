#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPointer>

#include "alarmswidget.h"
#include "fingers.h"
#include "imagecompare.h"
#include "newtaskbutton.h"
#include "notes.h"
#include "pardotest.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5valuebutton.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindowbutton.h"
#include "testdatabase.h"
#include "windowopener.h"

Q_DECLARE_METATYPE(WindowOpener::Kind)

namespace {

QString storedSnooze() {
    return TestDatabase::rows(
               QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'"))
        .value(0)
        .value(0)
        .toString();
}

QStringList taskNames() {
    QStringList names;
    for (const QVariantList& row :
         TestDatabase::rows(QStringLiteral("SELECT name FROM tasks ORDER BY id"))) {
        names << row.at(0).toString();
    }
    return names;
}

// A key as the window system delivers it: to the focused control of the active window.
void press(Qt::Key key) {
    QWidget* active = QApplication::activeWindow();
    QVERIFY(active);
    QTest::keyClick(active->windowHandle(), key);
}

QString focusName() {
    QWidget* focus = QApplication::focusWidget();
    if (!focus) {
        return QStringLiteral("(none)");
    }
    return focus->objectName().isEmpty() ? QString::fromLatin1(focus->metaObject()->className())
                                         : focus->objectName();
}

bool closed(const QPointer<QWidget>& window) {
    return !window || !window->isVisible();
}

// Share of the pixels along the widget's border that are the focus ring's green.
double greenBorder(QWidget* widget) {
    const QImage image = widget->grab().toImage().convertToFormat(QImage::Format_ARGB32);
    const int inset = qRound(2 * image.devicePixelRatio());
    int green = 0;
    int all = 0;
    auto look = [&](int x, int y) {
        const QColor c = image.pixelColor(x, y);
        ++all;
        if (c.green() > 150 && c.red() < 90 && c.blue() < 60) {
            ++green;
        }
    };
    for (int x = inset * 4; x < image.width() - inset * 4; ++x) {
        look(x, inset);
        look(x, image.height() - 1 - inset);
    }
    for (int y = inset * 4; y < image.height() - inset * 4; ++y) {
        look(inset, y);
        look(image.width() - 1 - inset, y);
    }
    return all ? double(green) / all : 0;
}

} // namespace

class TestWindowKeys : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void escapeCancels_data();
    void escapeCancels();
    void returnInFieldSaves_data();
    void returnInFieldSaves();
    void keysPressFocusedButton_data();
    void keysPressFocusedButton();
    void tabOrder_data();
    void tabOrder();
    void newAlarmRowTakesFocusInOrder();
    void escapeInPickerCancelsOnlyThePicker();
    void focusIsVisible_data();
    void focusIsVisible();

private:
    QWidget* open(WindowOpener::Kind kind);

    std::unique_ptr<WindowOpener> opener;
};

void TestWindowKeys::cleanup() {
    Notes::closeAll();
    opener.reset();
}

QWidget* TestWindowKeys::open(WindowOpener::Kind kind) {
    opener = std::make_unique<WindowOpener>(QString::fromLatin1(QTest::currentTestFunction()) +
                                            QString::fromLatin1(QTest::currentDataTag()));
    return opener->open(kind);
}

void TestWindowKeys::escapeCancels_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::newRow("type chooser") << WindowOpener::TypeChooser;
    QTest::newRow("countdown, new") << WindowOpener::CountdownNew;
    QTest::newRow("countdown, editing") << WindowOpener::CountdownEditing;
    QTest::newRow("dated, new") << WindowOpener::DatedNew;
    QTest::newRow("dated, editing") << WindowOpener::DatedEditing;
    // The about text takes the focus, then each of its two links in turn.
    QTest::newRow("settings") << WindowOpener::Settings;
}

void TestWindowKeys::escapeCancels() {
    QFETCH(WindowOpener::Kind, kind);
    QPointer<QWidget> window = open(kind);
    QVERIFY(window);
    const QStringList tasksBefore = taskNames();
    const QString snoozeBefore = storedSnooze();
    // Something typed, so that a save would show.
    if (auto* title = window->findChild<QLineEdit*>(QStringLiteral("titleEdit"))) {
        Fingers::retype(title, QStringLiteral("Changed"));
    } else if (auto* snooze = window->findChild<QLineEdit*>(QStringLiteral("snoozeIntervalEdit"))) {
        Fingers::retype(snooze, QStringLiteral("42"));
    }
    press(Qt::Key_Escape);
    QTRY_VERIFY(closed(window));
    QCOMPARE(taskNames(), tasksBefore);
    QCOMPARE(storedSnooze(), snoozeBefore);
    QVERIFY(Notes::visibleTexts().isEmpty());
}

void TestWindowKeys::returnInFieldSaves_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("text");
    // Without the main window's grid the manager shows no note for a task.
    QTest::addColumn<QString>("note");
    QTest::newRow("countdown, new") << WindowOpener::CountdownNew << QStringLiteral("titleEdit")
                                    << QStringLiteral("Tea") << QString();
    QTest::newRow("countdown, editing")
        << WindowOpener::CountdownEditing << QStringLiteral("titleEdit")
        << QStringLiteral("Green tea") << QString();
    QTest::newRow("dated, new") << WindowOpener::DatedNew << QStringLiteral("titleEdit")
                                << QStringLiteral("Dentist") << QString();
    QTest::newRow("dated, editing") << WindowOpener::DatedEditing << QStringLiteral("titleEdit")
                                    << QStringLiteral("Recycling") << QString();
    // The about text takes the focus, then each of its two links in turn.
    QTest::newRow("settings") << WindowOpener::Settings << QStringLiteral("snoozeIntervalEdit")
                              << QStringLiteral("25") << QStringLiteral("Settings saved.");
}

void TestWindowKeys::returnInFieldSaves() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(QString, field);
    QFETCH(QString, text);
    QFETCH(QString, note);
    QPointer<QWidget> window = open(kind);
    QVERIFY(window);
    auto* edit = window->findChild<QLineEdit*>(field);
    QVERIFY(edit);
    Fingers::retype(edit, text);
    QCOMPARE(QApplication::focusWidget(), edit);
    press(Qt::Key_Return);
    QTRY_VERIFY(closed(window));
    if (kind == WindowOpener::Settings) {
        QCOMPARE(storedSnooze(), text);
    } else {
        QVERIFY2(taskNames().contains(text), qPrintable(taskNames().join(QLatin1Char(','))));
    }
    if (!note.isEmpty()) {
        QVERIFY(Notes::visibleTexts().contains(note));
    }
}

void TestWindowKeys::keysPressFocusedButton_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("shows");
    QTest::newRow("countdown type, Return")
        << WindowOpener::TypeChooser << QStringLiteral("typeTButton") << int(Qt::Key_Return)
        << QStringLiteral("titleEdit");
    QTest::newRow("dated type, Enter") << WindowOpener::TypeChooser << QStringLiteral("typeDButton")
                                       << int(Qt::Key_Enter) << QStringLiteral("dateButton");
    QTest::newRow("dated type, Space") << WindowOpener::TypeChooser << QStringLiteral("typeDButton")
                                       << int(Qt::Key_Space) << QStringLiteral("dateButton");
    QTest::newRow("alarms panel") << WindowOpener::DatedNew << QStringLiteral("alarmButton")
                                  << int(Qt::Key_Return) << QStringLiteral("addButton");
    QTest::newRow("repeat panel") << WindowOpener::DatedEditing << QStringLiteral("repeatButton")
                                  << int(Qt::Key_Return) << QStringLiteral("weekDaysBox");
    QTest::newRow("cancel, not save")
        << WindowOpener::CountdownEditing << QStringLiteral("cancelButton") << int(Qt::Key_Return)
        << QString();
}

void TestWindowKeys::keysPressFocusedButton() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(QString, button);
    QFETCH(int, key);
    QFETCH(QString, shows);
    QPointer<QWidget> window = open(kind);
    QVERIFY(window);
    const QStringList tasksBefore = taskNames();
    auto* target = window->findChild<QAbstractButton*>(button);
    QVERIFY(target);
    target->setFocus(Qt::TabFocusReason);
    QCOMPARE(QApplication::focusWidget(), target);
    press(Qt::Key(key));
    if (shows.isEmpty()) {
        // The focused cancel button wins over the default (save) button.
        QTRY_VERIFY(closed(window));
        QCOMPARE(taskNames(), tasksBefore);
        QVERIFY(Notes::visibleTexts().isEmpty());
    } else {
        QTRY_VERIFY(window->findChild<QWidget*>(shows));
        QTRY_VERIFY(window->findChild<QWidget*>(shows)->isVisible());
        QVERIFY(window->isVisible());
    }
}

void TestWindowKeys::tabOrder_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<QString>("panel");
    QTest::addColumn<QStringList>("order");
    const QString row = QStringLiteral("isBeforeButton,numberEdit,unitCombo,descriptionEdit,"
                                       "removeButton");
    const QString countdownRow = QStringLiteral("numberEdit,unitCombo,descriptionEdit,"
                                                "removeButton");
    QTest::newRow("type chooser")
        << WindowOpener::TypeChooser << QString()
        << QStringLiteral("typeTButton,typeDButton").split(QLatin1Char(','));
    QTest::newRow("countdown, new") << WindowOpener::CountdownNew << QString()
                                    << (QStringLiteral("titleEdit,") + countdownRow +
                                        QStringLiteral(",addButton,cancelButton,acceptButton"))
                                           .split(QLatin1Char(','));
    QTest::newRow("countdown, editing")
        << WindowOpener::CountdownEditing << QString()
        << (QStringLiteral("titleEdit,") + countdownRow + QLatin1Char(',') + countdownRow +
            QLatin1Char(',') + countdownRow +
            QStringLiteral(",addButton,cancelButton,acceptButton"))
               .split(QLatin1Char(','));
    // The three panel buttons are one group, so one Tab stop: the arrow keys move inside it.
    auto sidebar = [](const QString& panel) {
        return QStringLiteral("cancelButton,%1,acceptButton").arg(panel);
    };
    QTest::newRow("dated, date and time") << WindowOpener::DatedNew << QString()
                                          << (QStringLiteral("titleEdit,timeButton,dateButton,") +
                                              sidebar(QStringLiteral("calendarButton")))
                                                 .split(QLatin1Char(','));
    QTest::newRow("dated, alarms")
        << WindowOpener::DatedEditing << QStringLiteral("alarmButton")
        << (row + QLatin1Char(',') + row + QLatin1Char(',') + row + QStringLiteral(",addButton,") +
            sidebar(QStringLiteral("alarmButton")))
               .split(QLatin1Char(','));
    // So are the repeat kinds and the weekdays.
    QTest::newRow("dated, repetition")
        << WindowOpener::DatedEditing << QStringLiteral("repeatButton")
        << (QStringLiteral("xTimesButton,repeatIntervalNumberEdit,repeatIntervalTypeCombo,"
                           "repeatStopNumberEdit,day1Button,") +
            sidebar(QStringLiteral("repeatButton")))
               .split(QLatin1Char(','));
    // The about text takes the focus, then each of its two links in turn.
    QTest::newRow("settings")
        << WindowOpener::Settings << QString()
        << QStringLiteral(
               "snoozeIntervalEdit,aboutText,aboutText,aboutText,cancelButton,acceptButton")
               .split(QLatin1Char(','));
}

void TestWindowKeys::tabOrder() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(QString, panel);
    QFETCH(QStringList, order);
    QWidget* window = open(kind);
    QVERIFY(window);
    if (!panel.isEmpty()) {
        auto* button = window->findChild<QAbstractButton*>(panel);
        QVERIFY(button);
        Fingers::tap(button);
    }
    QWidget* first = window->findChild<QWidget*>(order.first());
    QVERIFY(first);
    first->setFocus(Qt::TabFocusReason);
    QStringList visited{focusName()};
    for (int i = 1; i <= order.size(); ++i) {
        press(Qt::Key_Tab);
        visited << focusName();
    }
    // A whole round, back to where it started.
    QCOMPARE(visited, order + QStringList{order.first()});
    // Backwards the same way.
    QStringList back{focusName()};
    for (int i = 1; i <= order.size(); ++i) {
        press(Qt::Key_Backtab);
        back << focusName();
    }
    QStringList reversed = order + QStringList{order.first()};
    std::reverse(reversed.begin(), reversed.end());
    QCOMPARE(back, reversed);
}

void TestWindowKeys::newAlarmRowTakesFocusInOrder() {
    QWidget* window = open(WindowOpener::CountdownEditing);
    QVERIFY(window);
    auto* alarms = window->findChild<AlarmsWidget*>();
    QCOMPARE(alarms->alarmsNo(), 3);
    auto* add = window->findChild<QAbstractButton*>(QStringLiteral("addButton"));
    add->setFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    QCOMPARE(alarms->alarmsNo(), 4);
    QCOMPARE(QApplication::focusWidget(), alarms->getNumber(3));
    // From the new row, Tab goes on through it, to "+ Add new" and then to the sidebar.
    QStringList visited;
    for (int i = 0; i < 5; ++i) {
        press(Qt::Key_Tab);
        visited << focusName();
    }
    QCOMPARE(visited, (QStringList{QStringLiteral("unitCombo"), QStringLiteral("descriptionEdit"),
                                   QStringLiteral("removeButton"), QStringLiteral("addButton"),
                                   QStringLiteral("cancelButton")}));
    press(Qt::Key_Backtab);
    press(Qt::Key_Backtab);
    press(Qt::Key_Backtab);
    QCOMPARE(QApplication::focusWidget()->parentWidget(), alarms->getNumber(3)->parentWidget());
}

void TestWindowKeys::escapeInPickerCancelsOnlyThePicker() {
    QPointer<QWidget> window = open(WindowOpener::DatedEditing);
    QVERIFY(window);
    auto* dateButton = window->findChild<QMaemo5ValueButton*>(QStringLiteral("dateButton"));
    QVERIFY(dateButton);
    auto* selector = qobject_cast<QMaemo5DatePickSelector*>(dateButton->pickSelector());
    const QDate before = selector->currentDate();
    const QString shown = dateButton->valueText();

    int pickers = 0;
    QTimer poll;
    poll.setInterval(20);
    connect(&poll, &QTimer::timeout, this, [&pickers] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible() || !dialog->isActiveWindow()) {
            return;
        }
        ++pickers;
        // A step in the calendar first, which Escape must throw away.
        press(Qt::Key_Right);
        press(Qt::Key_Escape);
    });
    poll.start();
    dateButton->setFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    poll.stop();
    QCOMPARE(pickers, 1);
    QVERIFY(window && window->isVisible());
    QCOMPARE(selector->currentDate(), before);
    QCOMPARE(dateButton->valueText(), shown);
}

void TestWindowKeys::focusIsVisible_data() {
    QTest::addColumn<WindowOpener::Kind>("kind");
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("other");
    QTest::newRow("type button") << WindowOpener::TypeChooser << QStringLiteral("typeDButton")
                                 << QStringLiteral("typeTButton");
    QTest::newRow("sidebar cancel") << WindowOpener::CountdownNew << QStringLiteral("cancelButton")
                                    << QStringLiteral("titleEdit");
    QTest::newRow("sidebar panel")
        << WindowOpener::DatedNew << QStringLiteral("alarmButton") << QStringLiteral("titleEdit");
    QTest::newRow("settings save") << WindowOpener::Settings << QStringLiteral("acceptButton")
                                   << QStringLiteral("snoozeIntervalEdit");
}

void TestWindowKeys::focusIsVisible() {
    QFETCH(WindowOpener::Kind, kind);
    QFETCH(QString, button);
    QFETCH(QString, other);
    QWidget* window = open(kind);
    QVERIFY(window);
    auto* target = window->findChild<QWidget*>(button);
    auto* elsewhere = window->findChild<QWidget*>(other);
    QVERIFY(target && elsewhere);
    elsewhere->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(!target->hasFocus());
    const double without = greenBorder(target);
    target->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(target->hasFocus());
    const double with = greenBorder(target);
    QVERIFY2(without < 0.2 && with > 0.8,
             qPrintable(
                 QStringLiteral("green border %1 without focus, %2 with").arg(without).arg(with)));
}

PARDO_TEST_MAIN(TestWindowKeys)
#include "tst_windowkeys.moc"
