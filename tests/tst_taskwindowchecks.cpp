#include <QLineEdit>

#include "fingers.h"
#include "modalanswerer.h"
#include "pardotest.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindowtestcase.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

// What the task window checks before it saves: title, alarm offset, interval and stop count.
class TestTaskWindowChecks : public TaskWindowTestCase {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
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
};

void TestTaskWindowChecks::init() {
    openDatabase();
}

void TestTaskWindowChecks::cleanup() {
    closeDatabase();
}

void TestTaskWindowChecks::titleTakesTwentyCharacters() {
    open();
    click(QStringLiteral("typeTButton"));
    QTest::keyClicks(title(), QStringLiteral("abcdefghijklmnopqrstu"));
    QCOMPARE(title()->text(), QStringLiteral("abcdefghijklmnopqrst"));
}

void TestTaskWindowChecks::emptyTitleRefused_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("T") << QStringLiteral("typeTButton");
    QTest::newRow("D") << QStringLiteral("typeDButton");
}

void TestTaskWindowChecks::emptyTitleRefused() {
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

void TestTaskWindowChecks::blankTitlePasses() {
    open();
    click(QStringLiteral("typeTButton"));
    QTest::keyClicks(title(), QStringLiteral("   "));
    ModalAnswerer answerer(QMessageBox::Ok);
    click(QStringLiteral("acceptButton"));
    QVERIFY(answerer.seen().isEmpty());
    QCOMPARE(newest()->name(), QStringLiteral("   "));
    QVERIFY(!window->isVisible());
}

void TestTaskWindowChecks::alarmOffsetOutOfRange_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("text");
    QTest::newRow("T") << QStringLiteral("typeTButton")
                       << QStringLiteral("Every alarm must have an offset between 0 and 99.");
    QTest::newRow("D") << QStringLiteral("typeDButton")
                       << QStringLiteral("Every alarm must have an offset between -99 and 99.");
}

void TestTaskWindowChecks::alarmOffsetOutOfRange() {
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

void TestTaskWindowChecks::validationStopsAtFirstFailure() {
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

void TestTaskWindowChecks::neverAcceptsAnyIntervalAndStop() {
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

void TestTaskWindowChecks::xTimesStopCount_data() {
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

void TestTaskWindowChecks::xTimesStopCount() {
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

void TestTaskWindowChecks::otherTypesNeverCheckStopCount_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("stop");
    QTest::newRow("forever, 1") << int(RepeatForever) << QStringLiteral("1");
    QTest::newRow("forever, empty") << int(RepeatForever) << QString();
    QTest::newRow("until, 1") << int(RepeatUntilDate) << QStringLiteral("1");
    QTest::newRow("until, 100") << int(RepeatUntilDate) << QStringLiteral("100");
}

void TestTaskWindowChecks::otherTypesNeverCheckStopCount() {
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

void TestTaskWindowChecks::intervalChecked_data() {
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

void TestTaskWindowChecks::intervalChecked() {
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

void TestTaskWindowChecks::intervalCheckedBeforeStopCount() {
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

PARDO_TEST_MAIN(TestTaskWindowChecks)
#include "tst_taskwindowchecks.moc"
