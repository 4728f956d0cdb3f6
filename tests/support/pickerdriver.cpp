#include "pickerdriver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCalendarWidget>
#include <QDialog>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

namespace {

void tapRow(QListWidget* list, int row) {
    QListWidgetItem* item = list->item(row);
    list->scrollToItem(item, QAbstractItemView::PositionAtCenter);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

} // namespace

PickerDriver::PickerDriver(Chooser chooser, Ending end)
    : choose(std::move(chooser))
    , ending(end) {
    connect(&timer, &QTimer::timeout, this, &PickerDriver::poll);
    timer.start(10);
}

void PickerDriver::poll() {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (!dialog || !dialog->isVisible() || qobject_cast<QMessageBox*>(dialog)) {
        return;
    }
    ++count;
    title = dialog->windowTitle();
    if (choose) {
        choose(dialog);
    }
    if (ending == PressDone) {
        auto* done = dialog->findChild<QPushButton*>(QStringLiteral("doneButton"));
        QVERIFY(done);
        QCOMPARE(done->text(), QStringLiteral("Done"));
        QTest::mouseClick(done, Qt::LeftButton);
    } else {
        dialog->close();
    }
}

void PickerDriver::chooseDate(QDialog* dialog, const QDate& date) {
    auto* calendar = dialog->findChild<QCalendarWidget*>(QStringLiteral("calendar"));
    QVERIFY(calendar);
    calendar->setSelectedDate(date);
}

void PickerDriver::chooseTime(QDialog* dialog, const QTime& time) {
    auto* hours = dialog->findChild<QListWidget*>(QStringLiteral("hourList"));
    auto* minutes = dialog->findChild<QListWidget*>(QStringLiteral("minuteList"));
    QVERIFY(hours && minutes);
    tapRow(hours, time.hour());
    tapRow(minutes, time.minute());
}

void PickerDriver::pickDate(QAbstractButton* valueButton, const QDate& date) {
    PickerDriver driver([date](QDialog* dialog) { chooseDate(dialog, date); });
    QTest::mouseClick(valueButton, Qt::LeftButton);
    QCOMPARE(driver.handled(), 1);
}

void PickerDriver::pickTime(QAbstractButton* valueButton, const QTime& time) {
    PickerDriver driver([time](QDialog* dialog) { chooseTime(dialog, time); });
    QTest::mouseClick(valueButton, Qt::LeftButton);
    QCOMPARE(driver.handled(), 1);
}
