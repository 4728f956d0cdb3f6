#include <QCalendarWidget>
#include <QDialog>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>

#include "pardotest.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5timepickselector.h"

class TestPickSelectors : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void dateValueTextIsShortLocaleFormat_data();
    void dateValueTextIsShortLocaleFormat();
    void settingDateSignalsOnlyChanges();
    void datePickerShowsDateAndDone();
    void datePickerDoneChoosesDate();
    void datePickerClosedKeepsDate();
    void datePickerWithoutDateStartsToday();
    void timeValueTextIsHoursAndMinutes_data();
    void timeValueTextIsHoursAndMinutes();
    void settingTimeDropsSeconds();
    void timePickerShowsTime();
    void timePickerDoneChoosesTime_data();
    void timePickerDoneChoosesTime();
    void timePickerClosedKeepsTime();
};

void TestPickSelectors::dateValueTextIsShortLocaleFormat_data() {
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("text");
    // The tests pin the C locale, whose short date format is "d MMM yyyy".
    QTest::newRow("single digits") << QDate(2010, 5, 1) << QStringLiteral("1 May 2010");
    QTest::newRow("double digits") << QDate(2031, 12, 24) << QStringLiteral("24 Dec 2031");
    QTest::newRow("leap day") << QDate(2028, 2, 29) << QStringLiteral("29 Feb 2028");
    QTest::newRow("none") << QDate() << QString();
}

void TestPickSelectors::dateValueTextIsShortLocaleFormat() {
    QFETCH(QDate, date);
    QFETCH(QString, text);
    QCOMPARE(QLocale::system().name(), QStringLiteral("C"));
    QMaemo5DatePickSelector selector;
    selector.setCurrentDate(date);
    QCOMPARE(selector.currentDate(), date);
    QCOMPARE(selector.currentValueText(), text);
    QCOMPARE(selector.currentValueText(), QLocale::system().toString(date, QLocale::ShortFormat));
}

void TestPickSelectors::settingDateSignalsOnlyChanges() {
    QMaemo5DatePickSelector selector;
    QSignalSpy spy(&selector, &QMaemo5DatePickSelector::selected);
    selector.setCurrentDate(QDate(2010, 5, 1));
    selector.setCurrentDate(QDate(2010, 5, 1));
    selector.setCurrentDate(QDate(2010, 5, 2));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("1 May 2010"));
    QCOMPARE(spy.at(1).at(0).toString(), QStringLiteral("2 May 2010"));
}

void TestPickSelectors::datePickerShowsDateAndDone() {
    QPushButton opener(QStringLiteral("Date:"));
    QMaemo5DatePickSelector selector;
    selector.setCurrentDate(QDate(2012, 2, 29));
    std::unique_ptr<QWidget> picker(selector.widget(&opener));
    auto* dialog = qobject_cast<QDialog*>(picker.get());
    QVERIFY(dialog);
    QVERIFY(dialog->isModal());
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Date"));
    auto* calendar = dialog->findChild<QCalendarWidget*>(QStringLiteral("calendar"));
    QVERIFY(calendar);
    QCOMPARE(calendar->selectedDate(), QDate(2012, 2, 29));
    auto* done = dialog->findChild<QPushButton*>(QStringLiteral("doneButton"));
    QVERIFY(done);
    QCOMPARE(done->text(), QStringLiteral("Done"));
}

void TestPickSelectors::datePickerDoneChoosesDate() {
    QMaemo5DatePickSelector selector;
    selector.setCurrentDate(QDate(2010, 5, 1));
    QSignalSpy spy(&selector, &QMaemo5DatePickSelector::selected);
    PickerDriver driver(
        [](QDialog* dialog) { PickerDriver::chooseDate(dialog, QDate(2010, 6, 15)); });
    std::unique_ptr<QWidget> picker(selector.widget(nullptr));
    QCOMPARE(qobject_cast<QDialog*>(picker.get())->exec(), int(QDialog::Accepted));
    QCOMPARE(driver.handled(), 1);
    QCOMPARE(selector.currentDate(), QDate(2010, 6, 15));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("15 Jun 2010"));
}

void TestPickSelectors::datePickerClosedKeepsDate() {
    QMaemo5DatePickSelector selector;
    selector.setCurrentDate(QDate(2010, 5, 1));
    QSignalSpy spy(&selector, &QMaemo5DatePickSelector::selected);
    PickerDriver driver(
        [](QDialog* dialog) { PickerDriver::chooseDate(dialog, QDate(2010, 6, 15)); },
        PickerDriver::CloseDialog);
    std::unique_ptr<QWidget> picker(selector.widget(nullptr));
    QCOMPARE(qobject_cast<QDialog*>(picker.get())->exec(), int(QDialog::Rejected));
    QCOMPARE(driver.handled(), 1);
    QCOMPARE(selector.currentDate(), QDate(2010, 5, 1));
    QCOMPARE(spy.count(), 0);
}

void TestPickSelectors::datePickerWithoutDateStartsToday() {
    QMaemo5DatePickSelector selector;
    std::unique_ptr<QWidget> picker(selector.widget(nullptr));
    auto* calendar = picker->findChild<QCalendarWidget*>(QStringLiteral("calendar"));
    QCOMPARE(calendar->selectedDate(), QDate::currentDate());
}

void TestPickSelectors::timeValueTextIsHoursAndMinutes_data() {
    QTest::addColumn<QTime>("time");
    QTest::addColumn<QString>("text");
    QTest::newRow("midnight") << QTime(0, 0) << QStringLiteral("00:00");
    QTest::newRow("leading zeros") << QTime(9, 5) << QStringLiteral("09:05");
    QTest::newRow("afternoon") << QTime(14, 30) << QStringLiteral("14:30");
    QTest::newRow("seconds dropped") << QTime(23, 59, 59, 999) << QStringLiteral("23:59");
    QTest::newRow("none") << QTime() << QString();
}

void TestPickSelectors::timeValueTextIsHoursAndMinutes() {
    QFETCH(QTime, time);
    QFETCH(QString, text);
    QMaemo5TimePickSelector selector;
    selector.setCurrentTime(time);
    QCOMPARE(selector.currentValueText(), text);
}

void TestPickSelectors::settingTimeDropsSeconds() {
    QMaemo5TimePickSelector selector;
    QSignalSpy spy(&selector, &QMaemo5TimePickSelector::selected);
    selector.setCurrentTime(QTime(12, 30, 45));
    QCOMPARE(selector.currentTime(), QTime(12, 30));
    // Another second of the same minute is the same value.
    selector.setCurrentTime(QTime(12, 30, 50));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("12:30"));
}

void TestPickSelectors::timePickerShowsTime() {
    QPushButton opener(QStringLiteral("Time:"));
    QMaemo5TimePickSelector selector;
    selector.setCurrentTime(QTime(7, 45));
    std::unique_ptr<QWidget> picker(selector.widget(&opener));
    auto* dialog = qobject_cast<QDialog*>(picker.get());
    QVERIFY(dialog);
    QVERIFY(dialog->isModal());
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Time"));
    auto* hours = dialog->findChild<QListWidget*>(QStringLiteral("hourList"));
    auto* minutes = dialog->findChild<QListWidget*>(QStringLiteral("minuteList"));
    QVERIFY(hours && minutes);
    QCOMPARE(hours->count(), 24);
    QCOMPARE(minutes->count(), 60);
    QCOMPARE(hours->item(0)->text(), QStringLiteral("00"));
    QCOMPARE(minutes->item(59)->text(), QStringLiteral("59"));
    QCOMPARE(hours->currentRow(), 7);
    QCOMPARE(minutes->currentRow(), 45);
    QCOMPARE(dialog->findChild<QPushButton*>(QStringLiteral("doneButton"))->text(),
             QStringLiteral("Done"));
}

void TestPickSelectors::timePickerDoneChoosesTime_data() {
    QTest::addColumn<QTime>("chosen");
    QTest::addColumn<QString>("text");
    QTest::newRow("first rows") << QTime(0, 0) << QStringLiteral("00:00");
    QTest::newRow("middle") << QTime(13, 7) << QStringLiteral("13:07");
    QTest::newRow("last rows") << QTime(23, 59) << QStringLiteral("23:59");
}

void TestPickSelectors::timePickerDoneChoosesTime() {
    QFETCH(QTime, chosen);
    QFETCH(QString, text);
    QMaemo5TimePickSelector selector;
    selector.setCurrentTime(QTime(10, 10));
    QSignalSpy spy(&selector, &QMaemo5TimePickSelector::selected);
    PickerDriver driver([chosen](QDialog* dialog) { PickerDriver::chooseTime(dialog, chosen); });
    std::unique_ptr<QWidget> picker(selector.widget(nullptr));
    QCOMPARE(qobject_cast<QDialog*>(picker.get())->exec(), int(QDialog::Accepted));
    QCOMPARE(selector.currentTime(), chosen);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), text);
}

void TestPickSelectors::timePickerClosedKeepsTime() {
    QMaemo5TimePickSelector selector;
    selector.setCurrentTime(QTime(10, 10));
    QSignalSpy spy(&selector, &QMaemo5TimePickSelector::selected);
    PickerDriver driver([](QDialog* dialog) { PickerDriver::chooseTime(dialog, QTime(4, 4)); },
                        PickerDriver::CloseDialog);
    std::unique_ptr<QWidget> picker(selector.widget(nullptr));
    qobject_cast<QDialog*>(picker.get())->exec();
    QCOMPARE(driver.handled(), 1);
    QCOMPARE(selector.currentTime(), QTime(10, 10));
    QCOMPARE(spy.count(), 0);
}

PARDO_TEST_MAIN(TestPickSelectors)
#include "tst_pickselectors.moc"
