#include <QButtonGroup>
#include <QComboBox>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPointer>

#include "actionbutton.h"
#include "alarmswidget.h"
#include "alarmwidget.h"
#include "mainwindow.h"
#include "fingers.h"
#include "modalanswerer.h"
#include "daemonclient.h"
#include "notes.h"
#include "pardotest.h"
#include "silentsounddevice.h"
#include "pickerdriver.h"
#include "qmaemo5informationbox.h"
#include "qmaemo5valuebutton.h"
#include "settingswindow.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

#include "editorflowtestcase.h"

// Saving from the editor: the snooze setting, tasks without alarms, any title, and a
// refused insert.
class TestEditorSaving : public EditorFlowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { EditorFlowTestCase::initTestCase(QStringLiteral(PARDO_ALARMD_PATH)); }
    void cleanupTestCase() { EditorFlowTestCase::cleanupTestCase(); }
    void init() { EditorFlowTestCase::init(); }
    void cleanup() { EditorFlowTestCase::cleanup(); }
    void saveSnoozeOfTwentyFive();
    void saveWithoutAnyAlarm_data();
    void saveWithoutAnyAlarm();
    void saveAnyTitle_data();
    void saveAnyTitle();
    void refusedInsertKeepsEditorOpen_data();
    void refusedInsertKeepsEditorOpen();
};

void TestEditorSaving::saveSnoozeOfTwentyFive() {
    start();
    QTest::mouseClick(upper(), Qt::LeftButton);
    QPointer<SettingsWindow> settings = shown<SettingsWindow>();
    QVERIFY(settings);
    auto* field = in<QLineEdit>(settings, "snoozeIntervalEdit");
    QCOMPARE(field->text(), QStringLiteral("10"));
    QCOMPARE(TestDatabase::rows(
                 QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'")),
             (QVector<QVariantList>{{QStringLiteral("10")}}));
    retype(field, QStringLiteral("25"));
    click(settings, "acceptButton");
    QVERIFY(!settings->isVisible());
    QVERIFY(window->isVisible());
    QCOMPARE(TestDatabase::rows(
                 QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'")),
             (QVector<QVariantList>{{QStringLiteral("25")}}));
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Settings saved.")});
    QCOMPARE(Notes::visible().first()->timeout(), 3000);

    QTest::mouseClick(upper(), Qt::LeftButton);
    SettingsWindow* again = shown<SettingsWindow>();
    QVERIFY(again);
    // A new window: the saved one is gone.
    QTRY_VERIFY(settings.isNull());
    QCOMPARE(in<QLineEdit>(again, "snoozeIntervalEdit")->text(), QStringLiteral("25"));

    // Events placed from now on snooze for 25 minutes.
    again->close();
    Task* seed = taskNamed(QStringLiteral("Initial"));
    QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {},
                       seed->taskButton()->mapTo(window.get(), QPoint(150, 50)));
    QVERIFY(seed->active());
    std::vector<DaemonClient::Event> placed = eventsOf(seed->id());
    QCOMPARE(placed.size(), size_t(1));
    QCOMPARE(qint64(placed[0]->snooze_secs), qint64(1500));
}

void TestEditorSaving::saveWithoutAnyAlarm_data() {
    // The type button of a new task, or none to edit the seed task.
    QTest::addColumn<QString>("type");
    QTest::newRow("new countdown task") << QStringLiteral("typeTButton");
    QTest::newRow("new dated task") << QStringLiteral("typeDButton");
    QTest::newRow("edited active task") << QString();
}

void TestEditorSaving::saveWithoutAnyAlarm() {
    QFETCH(QString, type);
    start();
    Task* seed = taskNamed(QStringLiteral("Initial"));
    QVERIFY(seed);
    TaskWindow* editor = nullptr;
    if (type.isEmpty()) {
        // Switched on first, so that it has an event in the daemon to lose.
        QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {},
                           seed->taskButton()->mapTo(window.get(), QPoint(150, 50)));
        QVERIFY(seed->active());
        QCOMPARE(eventsOf(seed->id()).size(), size_t(1));
        QTest::mouseClick(seed->taskButton(), Qt::LeftButton, {}, QPoint(150, 50));
        QCOMPARE(manager->focusedTask(), seed);
        QTest::mouseClick(upper(), Qt::LeftButton);
        editor = shown<TaskWindow>();
        QVERIFY(editor);
    } else {
        QTest::mouseClick(lower(), Qt::LeftButton);
        editor = shown<TaskWindow>();
        QVERIFY(editor);
        click(editor, qPrintable(type));
        QTest::keyClicks(in<QLineEdit>(editor, "titleEdit"), QStringLiteral("Stretch"));
        if (type == QLatin1String("typeDButton")) {
            click(editor, "alarmButton");
        }
    }
    AlarmsWidget* alarms = editor->findChild<AlarmsWidget*>();
    QCOMPARE(alarms->alarmsNo(), 1);
    click(alarms, "removeButton");
    QCOMPARE(alarms->alarmsNo(), 0);
    QTRY_VERIFY(alarms->findChildren<AlarmWidget*>().isEmpty());

    // Not even a modal window of another kind may come up.
    ModalAnswerer anyModal(QMessageBox::Ok, ModalAnswerer::AnyModal);
    click(editor, "acceptButton");
    QVERIFY2(boxes->seen().isEmpty(), qPrintable(boxes->describe()));
    QVERIFY2(anyModal.seen().isEmpty(), qPrintable(anyModal.describe()));
    QVERIFY(!editor->isVisible());

    Task* saved = type.isEmpty() ? seed : taskNamed(QStringLiteral("Stretch"));
    QVERIFY(saved);
    QVERIFY(saved->id() > 0);
    QVERIFY(saved->active());
    QCOMPARE(saved->noOfAlarms(), 0);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id = ") +
                                QString::number(saved->id())),
             (QVector<QVariantList>{{0}}));
    // The daemon answers, and holds nothing of the reminder's.
    QCOMPARE(DaemonClient::cookies("PARDO"), QList<cookie_t>());
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});
    QCOMPARE(Notes::visible().first()->timeout(), 3000);
    QVERIFY2(anyModal.seen().isEmpty(), qPrintable(anyModal.describe()));
}

void TestEditorSaving::saveAnyTitle_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("description");
    const QString t = QStringLiteral("typeTButton");
    const QString d = QStringLiteral("typeDButton");
    QTest::newRow("apostrophe T") << t << QStringLiteral("Mom's call") << QStringLiteral("it's 4");
    QTest::newRow("apostrophe D") << d << QStringLiteral("Mom's call") << QStringLiteral("it's 4");
    QTest::newRow("double quote") << d << QStringLiteral("a\"b") << QStringLiteral("say \"hi\"");
    QTest::newRow("injection") << t << QStringLiteral("x');DROP TABLE tasks")
                               << QStringLiteral("'); DELETE FROM alarms; --");
    QTest::newRow("unicode") << d << QStringLiteral("Zoë – 日本語 🎉") << QStringLiteral("Grüße ✓");
    QTest::newRow("blank") << t << QStringLiteral(" ") << QStringLiteral("'");
}

void TestEditorSaving::saveAnyTitle() {
    QFETCH(QString, type);
    QFETCH(QString, title);
    QFETCH(QString, description);
    start();
    TaskWindow* editor = fillNewTask(type, title, description);
    QVERIFY(editor);
    QCOMPARE(in<QLineEdit>(editor, "titleEdit")->text(), title);
    click(editor, "acceptButton");
    QVERIFY(!editor->isVisible());
    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task saved.")});
    Task* saved = taskNamed(title);
    QVERIFY(saved);
    const int id = saved->id();
    QVERIFY(id > 1);
    QTRY_VERIFY(saved->taskButton()->isVisible());

    // The row is in the file under that id, with its alarm.
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT name, active FROM tasks WHERE id = ") +
                                QString::number(id)),
             (QVector<QVariantList>{{title, 1}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT units, description FROM alarms WHERE "
                                               "task_id = ") +
                                QString::number(id)),
             (QVector<QVariantList>{{4, description}}));
    // The daemon's event belongs to the task's real id; none to a task 0.
    std::vector<DaemonClient::Event> events = eventsOf(id);
    QCOMPARE(events.size(), size_t(1));
    QCOMPARE(DaemonClient::text(alarm_event_get_message(events[0].get())),
             title + QStringLiteral(" - ") + description);
    QVERIFY(eventsOf(0).empty());
    QCOMPARE(DaemonClient::cookies("PARDO").size(), 1);

    // And a later start still has it.
    restart();
    Task* loaded = taskNamed(title);
    QVERIFY(loaded);
    QCOMPARE(loaded->id(), id);
    QVERIFY(loaded->active());
    QCOMPARE(loaded->noOfAlarms(), 1);
    QCOMPARE(loaded->getAlarm(0)->description(), description);
    QCOMPARE(manager->allTasks().size(), 2);
}

void TestEditorSaving::refusedInsertKeepsEditorOpen_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("countdown") << QStringLiteral("typeTButton");
    QTest::newRow("dated") << QStringLiteral("typeDButton");
}

void TestEditorSaving::refusedInsertKeepsEditorOpen() {
    QFETCH(QString, type);
    QVERIFY(TestDatabase::exec(QStringLiteral(
        "CREATE TRIGGER no_tasks BEFORE INSERT ON tasks BEGIN SELECT RAISE(ABORT, 'no'); END")));
    start();
    const auto buttonsBefore = window->findChildren<TaskButton*>().size();
    TaskWindow* editor = fillNewTask(type, QStringLiteral("Lost"), QStringLiteral("never"));
    QVERIFY(editor);
    click(editor, "acceptButton");

    QCOMPARE(Notes::visibleTexts(), QStringList{QStringLiteral("Task could not be saved.")});
    QCOMPARE(Notes::visible().first()->timeout(), 3000);
    QVERIFY(editor->isVisible());
    QCOMPARE(shown<TaskWindow>(), editor);
    // What was typed is still there to try again.
    QCOMPARE(in<QLineEdit>(editor, "titleEdit")->text(), QStringLiteral("Lost"));
    QCOMPARE(taskNamed(QStringLiteral("Lost")), nullptr);
    QCOMPARE(manager->allTasks().size(), 1);
    QCOMPARE(window->findChildren<TaskButton*>().size(), buttonsBefore);
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM tasks")),
             (QVector<QVariantList>{{1}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM alarms WHERE task_id <> 1")),
             (QVector<QVariantList>{{0}}));
    QCOMPARE(TestDatabase::rows(QStringLiteral("SELECT count(*) FROM repetitions")),
             (QVector<QVariantList>{{0}}));
    QCOMPARE(DaemonClient::cookies("PARDO"), QList<cookie_t>());
}

PARDO_DBUS_TEST_MAIN(TestEditorSaving)
#include "tst_editorsaving.moc"
