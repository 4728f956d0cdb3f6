#include <QAccessible>
#include <QGridLayout>
#include <QScrollArea>

#include "mainwindow.h"
#include "fixedtime.h"
#include "pardotest.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "testdatabase.h"

namespace {

const QString kNone = QStringLiteral("No alarm queued");

QString shown(const QDateTime& moment) {
    return QStringLiteral("Next alarm: ") +
           QLocale::c().toString(moment, QStringLiteral("ddd d MMM, HH:mm"));
}

// One alarm row: before or after, units, unit (0 minutes, 1 hours, 2 days).
struct Offset {
    bool before;
    int units;
    int unit;
};

int addTask(const QString& name, bool active, int type, const QString& date, const QString& time) {
    TestDatabase::exec(
        QStringLiteral("INSERT INTO tasks (name, active, type, date, time) VALUES "
                       "('%1', %2, %3, %4, %5)")
            .arg(name)
            .arg(active ? 1 : 0)
            .arg(type)
            .arg(date.isEmpty() ? QStringLiteral("NULL") : QStringLiteral("'%1'").arg(date),
                 time.isEmpty() ? QStringLiteral("NULL") : QStringLiteral("'%1'").arg(time)));
    return TestDatabase::rows(QStringLiteral("SELECT max(id) FROM tasks")).at(0).at(0).toInt();
}

void addAlarm(int taskId, const Offset& offset) {
    TestDatabase::exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, unit_type, "
                                      "description) VALUES (%1, %2, %3, %4, '')")
                           .arg(taskId)
                           .arg(offset.before ? 1 : 0)
                           .arg(offset.units)
                           .arg(offset.unit));
}

// kind: 1 never, 2 forever, 3 until, 4 times; interval type 0 minutes .. 5 years.
void addRepetition(int taskId, int kind, int stopNumber, int intervalType, int intervalNumber,
                   const QString& extra) {
    TestDatabase::exec(
        QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, repeat_units, "
                       "repeat_stop_date, repeat_interval_type, repeat_interval_units, extra_data) "
                       "VALUES (%1, %2, %3, '', %4, %5, '%6')")
            .arg(taskId)
            .arg(kind)
            .arg(stopNumber)
            .arg(intervalType)
            .arg(intervalNumber)
            .arg(extra));
}

QString zone() {
    return QString::fromLocal8Bit(qgetenv("TZ"));
}

} // namespace

Q_DECLARE_METATYPE(QList<Offset>)

// The next ring as each task's button tells it, in the main window, in the zone of the run.
class TestNextAlarm : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void eachTaskSaysWhenItRings_data();
    void eachTaskSaysWhenItRings();
    void weeklyForeverFromThePast();
    void everyHalfHourFromThePast();
    void switchingOnAndOffByKeyboard();
    void savingAnEditMovesIt();
    void savingAnEditedCountdownRestartsIt();
    void aPassingRingMovesOn();
    void aTooltipIsCurrent();
    void countsFromTheMomentOfTheClock_data();
    void countsFromTheMomentOfTheClock();

private:
    void start();
    TaskButton* buttonOf(const QString& name) const;
    Task* taskNamed(const QString& name) const;
    QString textOf(const QString& name) const;

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
};

void TestNextAlarm::init() {
    TestDatabase::freshHome(
        QString::fromLatin1(QTest::currentTestFunction()) +
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('_')));
    // The manager opens the database, so rows can be written before the window loads them.
    manager = std::make_unique<TaskManager>();
}

void TestNextAlarm::cleanup() {
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestNextAlarm::start() {
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

Task* TestNextAlarm::taskNamed(const QString& name) const {
    for (Task* task : manager->allTasks()) {
        if (task->name() == name) {
            return task;
        }
    }
    return nullptr;
}

TaskButton* TestNextAlarm::buttonOf(const QString& name) const {
    return taskNamed(name)->taskButton();
}

// The tooltip, after checking that a screen reader hears the same.
QString TestNextAlarm::textOf(const QString& name) const {
    TaskButton* button = buttonOf(name);
    const QString description =
        QAccessible::queryAccessibleInterface(button)->text(QAccessible::Description);
    if (description != button->toolTip()) {
        return QStringLiteral("tooltip '%1' but description '%2'")
            .arg(button->toolTip(), description);
    }
    return button->toolTip();
}

void TestNextAlarm::eachTaskSaysWhenItRings_data() {
    QTest::addColumn<bool>("active");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("date");
    QTest::addColumn<QString>("time");
    QTest::addColumn<QList<Offset>>("alarms");
    // kind, stop number, interval type, interval number, extra data; kind 0: no row.
    QTest::addColumn<QVariantList>("repetition");
    QTest::addColumn<QString>("utc");
    QTest::addColumn<QString>("berlin");
    QTest::addColumn<QString>("newYork");

    const QVariantList never{1, 0, 0, 0, QString()};
    const QString thursday = QStringLiteral("Next alarm: Thu 26 Nov, 07:06");
    auto same = [](QTestData& row, const QString& text) {
        row << text << text << text;
    };

    same(QTest::newRow("dated, ten minutes before")
             << true << 2 << QStringLiteral("2037-11-26") << QStringLiteral("07:16")
             << QList<Offset>{{true, 10, 0}} << never,
         thursday);
    same(QTest::newRow("dated, the earliest of its alarms")
             << true << 2 << QStringLiteral("2037-11-27") << QStringLiteral("07:06")
             << QList<Offset>{{false, 2, 1}, {true, 1, 2}, {false, 0, 0}} << never,
         thursday);
    QTest::newRow("dated, hours before across a daylight-saving change")
        << true << 2 << QStringLiteral("2030-10-27") << QStringLiteral("07:06")
        << QList<Offset>{{true, 6, 1}} << never << QStringLiteral("Next alarm: Sun 27 Oct, 01:06")
        << QStringLiteral("Next alarm: Sun 27 Oct, 02:06")
        << QStringLiteral("Next alarm: Sun 27 Oct, 01:06");
    same(QTest::newRow("dated, a day before keeps the time of day")
             << true << 2 << QStringLiteral("2030-10-28") << QStringLiteral("07:06")
             << QList<Offset>{{true, 1, 2}} << never,
         QStringLiteral("Next alarm: Sun 27 Oct, 07:06"));
    same(QTest::newRow("dated, past")
             << true << 2 << QStringLiteral("2020-01-01") << QStringLiteral("07:06")
             << QList<Offset>{{false, 0, 0}} << never,
         kNone);
    same(QTest::newRow("dated, switched off")
             << false << 2 << QStringLiteral("2037-11-26") << QStringLiteral("07:06")
             << QList<Offset>{{false, 0, 0}} << never,
         kNone);
    same(QTest::newRow("dated, without alarms")
             << true << 2 << QStringLiteral("2037-11-26") << QStringLiteral("07:06")
             << QList<Offset>{} << never,
         kNone);
    same(QTest::newRow("weekly, its first time ahead")
             << true << 2 << QStringLiteral("2037-11-26") << QStringLiteral("07:06")
             << QList<Offset>{{false, 0, 0}} << QVariantList{4, 3, 3, 1, QStringLiteral("W:1:4")},
         thursday);
    same(QTest::newRow("weekly, three times, all past")
             << true << 2 << QStringLiteral("2020-01-06") << QStringLiteral("07:06")
             << QList<Offset>{{false, 0, 0}} << QVariantList{4, 3, 3, 1, QStringLiteral("W:1:4")},
         kNone);
    same(QTest::newRow("hourly, its first time ahead")
             << true << 2 << QStringLiteral("2037-11-26") << QStringLiteral("07:06")
             << QList<Offset>{{false, 0, 0}} << QVariantList{2, 0, 1, 1, QString()},
         thursday);
    same(QTest::newRow("daily, three times, all past")
             << true << 2 << QStringLiteral("2020-01-01") << QStringLiteral("07:06")
             << QList<Offset>{{false, 0, 0}} << QVariantList{4, 3, 2, 1, QString()},
         kNone);
    // A countdown counts from its activation, forward whatever "before" says.
    same(QTest::newRow("countdown")
             << true << 1 << QStringLiteral("2037-11-26") << QStringLiteral("06:36")
             << QList<Offset>{{true, 30, 0}} << QVariantList{0},
         thursday);
    // Its days are 86400 seconds, as the daemon is told.
    QTest::newRow("countdown, a day across a daylight-saving change")
        << true << 1 << QStringLiteral("2030-10-26") << QStringLiteral("07:06")
        << QList<Offset>{{false, 1, 2}} << QVariantList{0}
        << QStringLiteral("Next alarm: Sun 27 Oct, 07:06")
        << QStringLiteral("Next alarm: Sun 27 Oct, 06:06")
        << QStringLiteral("Next alarm: Sun 27 Oct, 07:06");
    same(QTest::newRow("countdown, run out")
             << true << 1 << QStringLiteral("2020-01-01") << QStringLiteral("07:06")
             << QList<Offset>{{false, 5, 0}} << QVariantList{0},
         kNone);
    same(QTest::newRow("countdown, switched off")
             << false << 1 << QStringLiteral("2037-11-26") << QStringLiteral("06:36")
             << QList<Offset>{{false, 30, 0}} << QVariantList{0},
         kNone);
}

void TestNextAlarm::eachTaskSaysWhenItRings() {
    QFETCH(bool, active);
    QFETCH(int, type);
    QFETCH(QString, date);
    QFETCH(QString, time);
    QFETCH(QList<Offset>, alarms);
    QFETCH(QVariantList, repetition);
    QFETCH(QString, utc);
    QFETCH(QString, berlin);
    QFETCH(QString, newYork);
    const int id = addTask(QStringLiteral("Task"), active, type, date, time);
    for (const Offset& offset : alarms) {
        addAlarm(id, offset);
    }
    if (repetition.at(0).toInt() > 0) {
        addRepetition(id, repetition.at(0).toInt(), repetition.at(1).toInt(),
                      repetition.at(2).toInt(), repetition.at(3).toInt(),
                      repetition.at(4).toString());
    }
    start();
    QString expected = utc;
    if (zone() == QLatin1String("Europe/Berlin")) {
        expected = berlin;
    } else if (zone() == QLatin1String("America/New_York")) {
        expected = newYork;
    } else {
        QCOMPARE(zone(), QStringLiteral("UTC"));
    }
    QCOMPARE(textOf(QStringLiteral("Task")), expected);
    // The seed task is off.
    QCOMPARE(textOf(QStringLiteral("Initial")), kNone);
}

void TestNextAlarm::weeklyForeverFromThePast() {
    // Every Monday and Thursday at 07:06 since January 2020, without end.
    const int id = addTask(QStringLiteral("Bins"), true, 2, QStringLiteral("2020-01-06"),
                           QStringLiteral("07:06"));
    addAlarm(id, {false, 0, 0});
    addRepetition(id, 2, 0, 3, 1, QStringLiteral("W:1:4"));
    auto expected = [] {
        const QDateTime now = QDateTime::currentDateTime();
        for (QDate day = now.date();; day = day.addDays(1)) {
            const QDateTime candidate(day, QTime(7, 6));
            if ((day.dayOfWeek() == 1 || day.dayOfWeek() == 4) && now < candidate) {
                return shown(candidate);
            }
        }
    };
    const QString before = expected();
    start();
    const QString text = textOf(QStringLiteral("Bins"));
    QVERIFY2(text == before || text == expected(), qPrintable(text));
}

void TestNextAlarm::everyHalfHourFromThePast() {
    // Every 30 minutes since 2020: on the hour and the half hour, wherever the zones' whole-hour
    // changes have moved the clock.
    const int id = addTask(QStringLiteral("Stretch"), true, 2, QStringLiteral("2020-01-01"),
                           QStringLiteral("00:00"));
    addAlarm(id, {false, 0, 0});
    addRepetition(id, 2, 0, 0, 30, QString());
    auto expected = [] {
        const QDateTime now = QDateTime::currentDateTime();
        const QTime t = now.time();
        QDateTime next(now.date(), QTime(t.hour(), t.minute() < 30 ? 30 : 0));
        if (t.minute() >= 30) {
            next = next.addSecs(3600);
        }
        return shown(next);
    };
    const QString before = expected();
    start();
    const QString text = textOf(QStringLiteral("Stretch"));
    QVERIFY2(text == before || text == expected(), qPrintable(text));
}

void TestNextAlarm::switchingOnAndOffByKeyboard() {
    const int dated = addTask(QStringLiteral("Dentist"), false, 2, QStringLiteral("2037-11-26"),
                              QStringLiteral("07:16"));
    addAlarm(dated, {true, 10, 0});
    const int countdown = addTask(QStringLiteral("Tea"), false, 1, QString(), QString());
    addAlarm(countdown, {false, 4, 0});
    start();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    QCOMPARE(textOf(QStringLiteral("Dentist")), kNone);
    QCOMPARE(textOf(QStringLiteral("Tea")), kNone);

    buttonOf(QStringLiteral("Dentist"))->setFocus(Qt::TabFocusReason);
    QTest::keyClick(buttonOf(QStringLiteral("Dentist")), Qt::Key_Return);
    QVERIFY(taskNamed(QStringLiteral("Dentist"))->active());
    QCOMPARE(textOf(QStringLiteral("Dentist")), QStringLiteral("Next alarm: Thu 26 Nov, 07:06"));

    const QDateTime before = QDateTime::currentDateTime();
    buttonOf(QStringLiteral("Tea"))->setFocus(Qt::TabFocusReason);
    QTest::keyClick(buttonOf(QStringLiteral("Tea")), Qt::Key_Return);
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY(taskNamed(QStringLiteral("Tea"))->active());
    const QString text = textOf(QStringLiteral("Tea"));
    QVERIFY2(text == shown(before.addSecs(240)) || text == shown(after.addSecs(240)),
             qPrintable(text));

    QTest::keyClick(buttonOf(QStringLiteral("Tea")), Qt::Key_Return);
    QCOMPARE(textOf(QStringLiteral("Tea")), kNone);
    QTest::keyClick(buttonOf(QStringLiteral("Dentist")), Qt::Key_Enter);
    QCOMPARE(textOf(QStringLiteral("Dentist")), kNone);
}

void TestNextAlarm::savingAnEditMovesIt() {
    const int id = addTask(QStringLiteral("Dentist"), true, 2, QStringLiteral("2037-11-26"),
                           QStringLiteral("07:16"));
    addAlarm(id, {true, 10, 0});
    start();
    QCOMPARE(textOf(QStringLiteral("Dentist")), QStringLiteral("Next alarm: Thu 26 Nov, 07:06"));
    manager->setSelectedTask(taskNamed(QStringLiteral("Dentist")));

    Task edited(*manager, 0, QStringLiteral("Dentist"), true, Task::D);
    edited.setDate(QDate(2037, 12, 3));
    edited.setTime(QTime(9, 30));
    edited.addAlarm(true, 1, Alarm::Hours, QString());
    manager->saveSelectedTaskChanges(edited);
    QCOMPARE(textOf(QStringLiteral("Dentist")), QStringLiteral("Next alarm: Thu 3 Dec, 08:30"));
}

void TestNextAlarm::savingAnEditedCountdownRestartsIt() {
    // Switched on long ago with a far alarm: saving it starts the countdown again from now.
    const int id = addTask(QStringLiteral("Tea"), true, 1, QStringLiteral("2037-11-26"),
                           QStringLiteral("06:36"));
    addAlarm(id, {false, 30, 0});
    start();
    QCOMPARE(textOf(QStringLiteral("Tea")), QStringLiteral("Next alarm: Thu 26 Nov, 07:06"));
    manager->setSelectedTask(taskNamed(QStringLiteral("Tea")));

    Task edited(*manager, 0, QStringLiteral("Tea"), true, Task::T);
    edited.addAlarm(false, 3, Alarm::Hours, QString());
    const QDateTime before = QDateTime::currentDateTime();
    manager->saveSelectedTaskChanges(edited);
    const QDateTime after = QDateTime::currentDateTime();
    const QString text = textOf(QStringLiteral("Tea"));
    QVERIFY2(text == shown(before.addSecs(3 * 3600)) || text == shown(after.addSecs(3 * 3600)),
             qPrintable(text));
}

void TestNextAlarm::aPassingRingMovesOn() {
    const int id = addTask(QStringLiteral("Eggs"), true, 1, QStringLiteral("2037-11-26"),
                           QStringLiteral("06:36"));
    addAlarm(id, {false, 1, 0});
    addAlarm(id, {false, 1, 1});
    start();
    // As if switched on a minute ago, less eight seconds: the first alarm rings in eight seconds.
    Task* eggs = taskNamed(QStringLiteral("Eggs"));
    const QDateTime started = QDateTime::currentDateTime().addSecs(-52);
    eggs->setDate(started.date());
    eggs->setTime(started.time());
    manager->redisplayTasks();
    QCOMPARE(textOf(QStringLiteral("Eggs")), shown(started.addSecs(60)));
    // Once it has rung, the hour's alarm is next, without anyone touching the task.
    QTRY_COMPARE_WITH_TIMEOUT(textOf(QStringLiteral("Eggs")), shown(started.addSecs(3600)), 40000);
}

void TestNextAlarm::aTooltipIsCurrent() {
    const int id = addTask(QStringLiteral("Eggs"), true, 1, QStringLiteral("2037-11-26"),
                           QStringLiteral("06:36"));
    addAlarm(id, {false, 30, 0});
    start();
    QCOMPARE(textOf(QStringLiteral("Eggs")), QStringLiteral("Next alarm: Thu 26 Nov, 07:06"));
    // Moved behind the button's back (as a clock change would), it is right again on hovering.
    Task* eggs = taskNamed(QStringLiteral("Eggs"));
    eggs->setDate(QDate(2037, 11, 26));
    eggs->setTime(QTime(7, 6));
    QHelpEvent hover(QEvent::ToolTip, QPoint(150, 50),
                     buttonOf(QStringLiteral("Eggs"))->mapToGlobal(QPoint(150, 50)));
    QApplication::sendEvent(buttonOf(QStringLiteral("Eggs")), &hover);
    QCOMPARE(textOf(QStringLiteral("Eggs")), QStringLiteral("Next alarm: Thu 26 Nov, 07:36"));
}

void TestNextAlarm::countsFromTheMomentOfTheClock_data() {
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QString>("daily");
    QTest::addColumn<QString>("countdown");
    const QDate saturday(2031, 6, 14);
    const QDate sunday(2031, 6, 15);
    const QString sundayNine = QStringLiteral("Next alarm: Sun 15 Jun, 09:00");
    QTest::newRow("the evening before") << QDateTime(saturday, QTime(23, 30)) << sundayNine
                                        << QStringLiteral("Next alarm: Sun 15 Jun, 00:30");
    QTest::newRow("a minute before") << QDateTime(sunday, QTime(8, 59)) << sundayNine
                                     << QStringLiteral("Next alarm: Sun 15 Jun, 09:59");
    QTest::newRow("a minute after")
        << QDateTime(sunday, QTime(9, 1)) << QStringLiteral("Next alarm: Mon 16 Jun, 09:00")
        << QStringLiteral("Next alarm: Sun 15 Jun, 10:01");
}

// Any moment can be tried at once: the application reads the time from one source.
void TestNextAlarm::countsFromTheMomentOfTheClock() {
    QFETCH(QDateTime, now);
    QFETCH(QString, daily);
    QFETCH(QString, countdown);
    const FixedTime clock(now);
    const int dailyId = addTask(QStringLiteral("Daily"), true, 2, QStringLiteral("2031-06-01"),
                                QStringLiteral("09:00"));
    addAlarm(dailyId, {false, 0, 0});
    addRepetition(dailyId, 2, 0, 2, 1, QString());
    const int countdownId = addTask(QStringLiteral("Countdown"), false, 1, QString(), QString());
    addAlarm(countdownId, {false, 1, 1});
    start();
    QCOMPARE(textOf(QStringLiteral("Daily")), daily);
    taskNamed(QStringLiteral("Countdown"))->changeActivationState();
    QCOMPARE(textOf(QStringLiteral("Countdown")), countdown);
    QCOMPARE(taskNamed(QStringLiteral("Countdown"))->countdownStart(), now);
}

PARDO_TEST_MAIN(TestNextAlarm)
#include "tst_nextalarm.moc"
