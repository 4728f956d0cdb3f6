#include <QSignalSpy>

#include "actionbutton.h"
#include "imagecompare.h"
#include "pardotest.h"
#include "taskbutton.h"

namespace {

const QString kInactive = QStringLiteral(
    "TaskButton {border: 1px solid #333333;border-radius: 6px;background-color: "
    "#222222;background-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 0.67, stop: 0 #444444, "
    "stop: 1 #222222);margin: 12px;}");
const QString kActive = QStringLiteral(
    "TaskButton {border: 1px solid #199909;border-radius: 6px;background-color: "
    "#116a06;background-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 0.67, stop: 0 #22c70d, "
    "stop: 1 #116a06);margin: 12px;}");

QImage iconImage(const QAbstractButton& button) {
    return ImageCompare::iconImage(button.icon(), QSize(130, 130));
}

} // namespace

class TestTaskButton : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void construction();
    void activationReplacesWholeSheet();
    void selectionSwapsOnlyTheBorder_data();
    void selectionSwapsOnlyTheBorder();
    void activationDropsSelectionBorder();
    void singleTapIsOneClick();
    void doubleTapGivesDoubleClickedThenClick();
    void doubleClickEventAlone();
    void imageLook();
    void actionButtons_data();
    void actionButtons();
};

void TestTaskButton::construction() {
    TaskButton button;
    QCOMPARE(button.size(), QSize(317, 100));
    QCOMPARE(button.minimumSize(), QSize(317, 100));
    QCOMPARE(button.maximumSize(), QSize(317, 100));
    QVERIFY(button.isFlat());
    QCOMPARE(button.contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(button.styleSheet(), kInactive);
    QVERIFY(!button.isCheckable());
}

void TestTaskButton::activationReplacesWholeSheet() {
    TaskButton button;
    button.setActivated(true);
    QCOMPARE(button.styleSheet(), kActive);
    button.setActivated(false);
    QCOMPARE(button.styleSheet(), kInactive);
}

void TestTaskButton::selectionSwapsOnlyTheBorder_data() {
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("selected");
    QTest::addColumn<QString>("border");
    QTest::newRow("active, selected") << true << true << QStringLiteral("#f8e52d");
    QTest::newRow("inactive, selected") << false << true << QStringLiteral("#f8e52d");
    QTest::newRow("active, not selected") << true << false << QStringLiteral("#199909");
    QTest::newRow("inactive, not selected") << false << false << QStringLiteral("#333333");
}

void TestTaskButton::selectionSwapsOnlyTheBorder() {
    QFETCH(bool, active);
    QFETCH(bool, selected);
    QFETCH(QString, border);
    TaskButton button;
    button.setActivated(active);
    // Start from the other selection state, so the swap has to work both ways.
    button.setSelected(!selected, active);
    button.setSelected(selected, active);
    QString expected = active ? kActive : kInactive;
    expected.replace(active ? QStringLiteral("border: 1px solid #199909;")
                            : QStringLiteral("border: 1px solid #333333;"),
                     QStringLiteral("border: 1px solid %1;").arg(border));
    QCOMPARE(button.styleSheet(), expected);
}

void TestTaskButton::activationDropsSelectionBorder() {
    TaskButton button;
    button.setActivated(true);
    button.setSelected(true, true);
    QVERIFY(button.styleSheet().contains(QStringLiteral("#f8e52d")));
    button.setActivated(false);
    QCOMPARE(button.styleSheet(), kInactive);
}

void TestTaskButton::singleTapIsOneClick() {
    TaskButton button;
    button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&button));
    QSignalSpy clicks(&button, &TaskButton::clicked);
    QSignalSpy doubles(&button, &TaskButton::doubleClicked);
    QTest::mouseClick(&button, Qt::LeftButton, {}, QPoint(150, 50));
    QCOMPARE(clicks.count(), 1);
    QCOMPARE(doubles.count(), 0);
}

void TestTaskButton::doubleTapGivesDoubleClickedThenClick() {
    TaskButton button;
    button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&button));
    QStringList order;
    connect(&button, &TaskButton::clicked, this, [&order](bool checked) {
        order << (checked ? QStringLiteral("clicked(true)") : QStringLiteral("clicked(false)"));
    });
    connect(&button, &TaskButton::doubleClicked, this,
            [&order] { order << QStringLiteral("doubleClicked"); });
    // Through the window, as the platform delivers it: press, release, press with double click,
    // release.
    QTest::mouseDClick(button.windowHandle(), Qt::LeftButton, {}, QPoint(150, 50));
    QCOMPARE(order, (QStringList{QStringLiteral("clicked(false)"), QStringLiteral("doubleClicked"),
                                 QStringLiteral("clicked(false)")}));
}

void TestTaskButton::doubleClickEventAlone() {
    TaskButton button;
    button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&button));
    QStringList order;
    connect(&button, &TaskButton::clicked, this, [&order] { order << QStringLiteral("clicked"); });
    connect(&button, &TaskButton::doubleClicked, this,
            [&order] { order << QStringLiteral("doubleClicked"); });
    QMouseEvent event(QEvent::MouseButtonDblClick, QPointF(150, 50),
                      button.mapToGlobal(QPointF(150, 50)), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&button, &event);
    QCOMPARE(order, (QStringList{QStringLiteral("doubleClicked"), QStringLiteral("clicked")}));
    QVERIFY(!button.isDown());
}

void TestTaskButton::imageLook() {
    TaskButton button;
    button.createFromImage();
    QCOMPARE(button.minimumSize(), QSize(317, 100));
    QCOMPARE(button.maximumSize(), QSize(317, 100));
    QVERIFY(button.isCheckable());
    QVERIFY(button.isFlat());
    QCOMPARE(button.contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(button.styleSheet(),
             QStringLiteral("TaskButton {background-image: url(:/images/task_button_inactive.png); "
                            "border: none;}\nTaskButton:checked {background-image: "
                            "url(:/images/task_button_active.png);}"));
}

void TestTaskButton::actionButtons_data() {
    QTest::addColumn<bool>("isUpper");
    QTest::addColumn<QString>("sheet");
    QTest::addColumn<QString>("primary");
    QTest::addColumn<QString>("secondary");
    QTest::newRow("upper") << true
                           << QStringLiteral(
                                  "ActionButton {background-image: "
                                  "url(:/images/action_upper_right_button.png); border: "
                                  "none;}\nActionButton:pressed {background-image: "
                                  "url(:/images/action_upper_right_button_pressed.png);}")
                           << QStringLiteral(":/images/icon_settings.png")
                           << QStringLiteral(":/images/icon_edittask.png");
    QTest::newRow("lower") << false
                           << QStringLiteral(
                                  "ActionButton {background-image: "
                                  "url(:/images/action_lower_right_button.png); border: "
                                  "none;}\nActionButton:pressed {background-image: "
                                  "url(:/images/action_lower_right_button_pressed.png);}")
                           << QStringLiteral(":/images/icon_newtask.png")
                           << QStringLiteral(":/images/icon_deletetask.png");
}

void TestTaskButton::actionButtons() {
    QFETCH(bool, isUpper);
    QFETCH(QString, sheet);
    QFETCH(QString, primary);
    QFETCH(QString, secondary);
    ActionButton button(isUpper);
    QCOMPARE(button.minimumSize(), QSize(138, 138));
    QCOMPARE(button.maximumSize(), QSize(138, 138));
    QCOMPARE(button.styleSheet(), sheet);
    QVERIFY(button.isFlat());
    QCOMPARE(button.contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(button.iconSize(), QSize(130, 130));
    const QImage primaryImage(primary);
    const QImage secondaryImage(secondary);
    QVERIFY(!primaryImage.isNull() && !secondaryImage.isNull());
    PARDO_COMPARE_IMAGES(iconImage(button), primaryImage);
    button.setSecondaryAction();
    PARDO_COMPARE_IMAGES(iconImage(button), secondaryImage);
    QVERIFY(!ImageCompare::compare(iconImage(button), primaryImage).matches());
    button.setPrimaryAction();
    PARDO_COMPARE_IMAGES(iconImage(button), primaryImage);
    QVERIFY(!ImageCompare::compare(iconImage(button), secondaryImage).matches());
}

PARDO_TEST_MAIN(TestTaskButton)
#include "tst_taskbutton.moc"
