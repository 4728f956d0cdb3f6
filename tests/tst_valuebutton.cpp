#include <QDialog>
#include <QSignalSpy>

#include "pardotest.h"
#include "pickerdriver.h"
#include "qmaemo5datepickselector.h"
#include "qmaemo5timepickselector.h"
#include "qmaemo5valuebutton.h"

namespace {

// How many pixels of the button's rendering have about this colour.
int pixelsOf(QWidget& widget, const QColor& colour) {
    const QImage image = widget.grab().toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (qAbs(pixel.red() - colour.red()) < 40 &&
                qAbs(pixel.green() - colour.green()) < 40 &&
                qAbs(pixel.blue() - colour.blue()) < 40) {
                ++count;
            }
        }
    }
    return count;
}

} // namespace

class TestValueButton : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void textAndLayout();
    void selectorGivesValueAndOwner();
    void selectorWithParentKeepsIt();
    void valueFollowsSelector();
    void clickOpensPickerAndDoneUpdates();
    void closingPickerKeepsValue();
    void clickWithoutSelectorOpensNothing();
    void replacingSelectorDropsTheOld();
    void sizeFitsTextAndValue_data();
    void sizeFitsTextAndValue();
    void valueIsDrawnInLinkColour();
};

void TestValueButton::textAndLayout() {
    QMaemo5ValueButton button(QStringLiteral("Time:"));
    QCOMPARE(button.text(), QStringLiteral("Time:"));
    QCOMPARE(button.valueLayout(), QMaemo5ValueButton::ValueBesideText);
    QCOMPARE(button.pickSelector(), nullptr);
    QVERIFY(button.valueText().isEmpty());
    button.setValueLayout(QMaemo5ValueButton::ValueUnderText);
    QCOMPARE(button.valueLayout(), QMaemo5ValueButton::ValueUnderText);
    QWidget parent;
    QMaemo5ValueButton child(QStringLiteral("Until:"), &parent);
    QCOMPARE(child.parentWidget(), &parent);
}

void TestValueButton::selectorGivesValueAndOwner() {
    QMaemo5ValueButton button(QStringLiteral("Date:"));
    auto* selector = new QMaemo5DatePickSelector;
    selector->setCurrentDate(QDate(2010, 5, 1));
    button.setPickSelector(selector);
    QCOMPARE(button.pickSelector(), selector);
    QCOMPARE(selector->parent(), &button);
    QCOMPARE(button.valueText(), QStringLiteral("1 May 2010"));
}

void TestValueButton::selectorWithParentKeepsIt() {
    QObject owner;
    auto* selector = new QMaemo5TimePickSelector(&owner);
    {
        QMaemo5ValueButton button(QStringLiteral("Time:"));
        button.setPickSelector(selector);
        QCOMPARE(selector->parent(), &owner);
    }
    // Not the button's to delete.
    QCOMPARE(owner.children().size(), 1);
}

void TestValueButton::valueFollowsSelector() {
    QMaemo5ValueButton button(QStringLiteral("Time:"));
    auto* selector = new QMaemo5TimePickSelector;
    button.setPickSelector(selector);
    QVERIFY(button.valueText().isEmpty());
    selector->setCurrentTime(QTime(8, 15));
    QCOMPARE(button.valueText(), QStringLiteral("08:15"));
}

void TestValueButton::clickOpensPickerAndDoneUpdates() {
    QWidget window;
    auto* button = new QMaemo5ValueButton(QStringLiteral("Time:"), &window);
    auto* selector = new QMaemo5TimePickSelector;
    selector->setCurrentTime(QTime(12, 0));
    button->setPickSelector(selector);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    QSignalSpy spy(selector, &QMaemo5TimePickSelector::selected);
    PickerDriver driver([](QDialog* dialog) { PickerDriver::chooseTime(dialog, QTime(18, 45)); });
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(driver.handled(), 1);
    QCOMPARE(driver.lastTitle(), QStringLiteral("Time"));
    QCOMPARE(button->valueText(), QStringLiteral("18:45"));
    QCOMPARE(selector->currentTime(), QTime(18, 45));
    QCOMPARE(spy.count(), 1);
    // The picker is gone once chosen.
    QCOMPARE(window.findChildren<QDialog*>().size(), 0);
}

void TestValueButton::closingPickerKeepsValue() {
    QWidget window;
    auto* button = new QMaemo5ValueButton(QStringLiteral("Date:"), &window);
    auto* selector = new QMaemo5DatePickSelector;
    selector->setCurrentDate(QDate(2010, 5, 1));
    button->setPickSelector(selector);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    PickerDriver driver(
        [](QDialog* dialog) { PickerDriver::chooseDate(dialog, QDate(2011, 1, 1)); },
        PickerDriver::CloseDialog);
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(driver.handled(), 1);
    QCOMPARE(button->valueText(), QStringLiteral("1 May 2010"));
    QCOMPARE(selector->currentDate(), QDate(2010, 5, 1));
}

void TestValueButton::clickWithoutSelectorOpensNothing() {
    QWidget window;
    auto* button = new QMaemo5ValueButton(QStringLiteral("Date:"), &window);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    PickerDriver driver(nullptr);
    QSignalSpy clicked(button, &QMaemo5ValueButton::clicked);
    QTest::mouseClick(button, Qt::LeftButton);
    QTest::qWait(50);
    QCOMPARE(clicked.count(), 1);
    QCOMPARE(driver.handled(), 0);
}

void TestValueButton::replacingSelectorDropsTheOld() {
    QMaemo5ValueButton button(QStringLiteral("Date:"));
    QPointer<QMaemo5DatePickSelector> first = new QMaemo5DatePickSelector;
    first->setCurrentDate(QDate(2010, 5, 1));
    button.setPickSelector(first);
    auto* second = new QMaemo5DatePickSelector;
    second->setCurrentDate(QDate(2020, 2, 2));
    button.setPickSelector(second);
    QVERIFY(first.isNull());
    QCOMPARE(button.valueText(), QStringLiteral("2 Feb 2020"));
}

void TestValueButton::sizeFitsTextAndValue_data() {
    QTest::addColumn<int>("layout");
    QTest::newRow("beside") << int(QMaemo5ValueButton::ValueBesideText);
    QTest::newRow("under") << int(QMaemo5ValueButton::ValueUnderText);
    QTest::newRow("under, centred") << int(QMaemo5ValueButton::ValueUnderTextCentered);
}

void TestValueButton::sizeFitsTextAndValue() {
    QFETCH(int, layout);
    QMaemo5ValueButton button(QStringLiteral("Until:"));
    button.setValueLayout(QMaemo5ValueButton::ValueLayout(layout));
    button.setValueText(QStringLiteral("24 Dec 2031"));
    const QFontMetrics metrics = button.fontMetrics();
    const QSize hint = button.sizeHint();
    // Finger-sized.
    QVERIFY(hint.height() >= 70);
    if (layout == QMaemo5ValueButton::ValueBesideText) {
        QVERIFY(hint.width() > metrics.horizontalAdvance(QStringLiteral("Until:")) +
                                   metrics.horizontalAdvance(QStringLiteral("24 Dec 2031")));
    } else {
        QVERIFY(hint.width() > metrics.horizontalAdvance(QStringLiteral("24 Dec 2031")));
        QVERIFY(hint.height() > 2 * metrics.height());
    }
    QCOMPARE(button.minimumSizeHint(), hint);
}

void TestValueButton::valueIsDrawnInLinkColour() {
    QMaemo5ValueButton button(QStringLiteral("Date:"));
    QPalette palette = button.palette();
    palette.setColor(QPalette::Link, QColor(255, 0, 255));
    button.setPalette(palette);
    button.resize(300, 70);
    QCOMPARE(pixelsOf(button, QColor(255, 0, 255)), 0);
    button.setValueText(QStringLiteral("24 Dec 2031"));
    QVERIFY(pixelsOf(button, QColor(255, 0, 255)) > 20);
    button.setEnabled(false);
    QCOMPARE(pixelsOf(button, QColor(255, 0, 255)), 0);
}

PARDO_TEST_MAIN(TestValueButton)
#include "tst_valuebutton.moc"
