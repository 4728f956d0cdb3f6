#include <QAccessible>
#include <QPainter>
#include <QSignalSpy>

#include "actionbutton.h"
#include "imagecompare.h"
#include "pardotest.h"
#include "taskbutton.h"

namespace {

const QColor kInactiveBorder(0x33, 0x33, 0x33);
const QColor kActiveBorder(0x19, 0x99, 0x09);
const QColor kSelectedBorder(0xf8, 0xe5, 0x2d);

QImage iconImage(const QAbstractButton& button) {
    return ImageCompare::iconImage(button.icon(), QSize(130, 130));
}

QImage rendered(TaskButton& button) {
    return button.grab().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

// The transparent margin around the face, where only a focus ring may draw.
QImage marginBand(const QImage& image) {
    QImage band = image.copy();
    QPainter painter(&band);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(12, 12), QSize(317 - 24, 100 - 24)), Qt::transparent);
    return band;
}

QImage face(const QImage& image) {
    return image.copy(QRect(QPoint(12, 12), QSize(317 - 24, 100 - 24)));
}

} // namespace

class TestTaskButton : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void construction();
    void activationSetsTheWholeLook();
    void selectionSwapsOnlyTheBorder_data();
    void selectionSwapsOnlyTheBorder();
    void activationDropsSelectionBorder();
    void singleTapIsOneClick();
    void doubleTapGivesDoubleClickedThenClick();
    void doubleClickEventAlone();
    void imageLook();
    void actionButtons_data();
    void actionButtons();
    void spaceTapsReturnDoubleTaps_data();
    void spaceTapsReturnDoubleTaps();
    void heldReturnSwitchesOnce();
    void focusRingOnlyForTheKeyboard_data();
    void focusRingOnlyForTheKeyboard();
    void accessibleToggle();
    void nextAlarmText_data();
    void nextAlarmText();
};

void TestTaskButton::construction() {
    TaskButton button;
    QCOMPARE(button.size(), QSize(317, 100));
    QCOMPARE(button.minimumSize(), QSize(317, 100));
    QCOMPARE(button.maximumSize(), QSize(317, 100));
    QVERIFY(button.isFlat());
    QCOMPARE(button.contentsMargins(), QMargins(0, 0, 0, 0));
    QVERIFY(!button.isActivated());
    QCOMPARE(button.borderColor(), kInactiveBorder);
    QVERIFY(!button.isCheckable());
}

void TestTaskButton::activationSetsTheWholeLook() {
    TaskButton button;
    button.setActivated(true);
    QVERIFY(button.isActivated());
    QCOMPARE(button.borderColor(), kActiveBorder);
    button.setActivated(false);
    QVERIFY(!button.isActivated());
    QCOMPARE(button.borderColor(), kInactiveBorder);
    // The image look goes as a whole too.
    button.createFromImage();
    button.setActivated(true);
    QVERIFY(button.styleSheet().isEmpty());
    QCOMPARE(button.borderColor(), kActiveBorder);
}

void TestTaskButton::selectionSwapsOnlyTheBorder_data() {
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("selected");
    QTest::addColumn<QColor>("border");
    QTest::newRow("active, selected") << true << true << kSelectedBorder;
    QTest::newRow("inactive, selected") << false << true << kSelectedBorder;
    QTest::newRow("active, not selected") << true << false << kActiveBorder;
    QTest::newRow("inactive, not selected") << false << false << kInactiveBorder;
}

void TestTaskButton::selectionSwapsOnlyTheBorder() {
    QFETCH(bool, active);
    QFETCH(bool, selected);
    QFETCH(QColor, border);
    TaskButton button;
    button.setActivated(active);
    // Start from the other selection state, so the swap has to work both ways.
    button.setSelected(!selected, active);
    button.setSelected(selected, active);
    QCOMPARE(button.borderColor(), border);
    QCOMPARE(button.isActivated(), active);
    // The activity given with the selection colours the border only, not the face.
    button.setSelected(false, !active);
    QCOMPARE(button.borderColor(), active ? kInactiveBorder : kActiveBorder);
    QCOMPARE(button.isActivated(), active);
}

void TestTaskButton::activationDropsSelectionBorder() {
    TaskButton button;
    button.setActivated(true);
    button.setSelected(true, true);
    QCOMPARE(button.borderColor(), kSelectedBorder);
    button.setActivated(false);
    QCOMPARE(button.borderColor(), kInactiveBorder);
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
    QTest::addColumn<QString>("primaryName");
    QTest::addColumn<QString>("secondaryName");
    QTest::newRow("upper") << true
                           << QStringLiteral(
                                  "ActionButton {background-image: "
                                  "url(:/images/action_upper_right_button.png); border: "
                                  "none;}\nActionButton:pressed {background-image: "
                                  "url(:/images/action_upper_right_button_pressed.png);}")
                           << QStringLiteral(":/images/icon_settings.png")
                           << QStringLiteral(":/images/icon_edittask.png")
                           << QStringLiteral("Settings") << QStringLiteral("Edit task");
    QTest::newRow("lower") << false
                           << QStringLiteral(
                                  "ActionButton {background-image: "
                                  "url(:/images/action_lower_right_button.png); border: "
                                  "none;}\nActionButton:pressed {background-image: "
                                  "url(:/images/action_lower_right_button_pressed.png);}")
                           << QStringLiteral(":/images/icon_newtask.png")
                           << QStringLiteral(":/images/icon_deletetask.png")
                           << QStringLiteral("New task") << QStringLiteral("Delete task");
}

void TestTaskButton::actionButtons() {
    QFETCH(bool, isUpper);
    QFETCH(QString, sheet);
    QFETCH(QString, primary);
    QFETCH(QString, secondary);
    QFETCH(QString, primaryName);
    QFETCH(QString, secondaryName);
    ActionButton button(isUpper);
    auto names = [&button] {
        return QStringList{button.toolTip(), button.accessibleName(),
                           QAccessible::queryAccessibleInterface(&button)->text(QAccessible::Name)};
    };
    QCOMPARE(names(), QStringList(3, primaryName));
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
    QCOMPARE(names(), QStringList(3, secondaryName));
    button.setPrimaryAction();
    PARDO_COMPARE_IMAGES(iconImage(button), primaryImage);
    QCOMPARE(names(), QStringList(3, primaryName));
    QVERIFY(!ImageCompare::compare(iconImage(button), secondaryImage).matches());
}

void TestTaskButton::spaceTapsReturnDoubleTaps_data() {
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter") << int(Qt::Key_Enter);
}

void TestTaskButton::spaceTapsReturnDoubleTaps() {
    QFETCH(int, key);
    TaskButton button;
    button.show();
    QVERIFY(QTest::qWaitForWindowActive(&button));
    button.setFocus(Qt::TabFocusReason);
    QStringList order;
    connect(&button, &TaskButton::clicked, this, [&order](bool checked) {
        order << (checked ? QStringLiteral("clicked(true)") : QStringLiteral("clicked(false)"));
    });
    connect(&button, &TaskButton::doubleClicked, this,
            [&order] { order << QStringLiteral("doubleClicked"); });
    // Space is a tap, Return or Enter the same as a double tap through the window.
    QTest::keyClick(&button, Qt::Key_Space);
    QCOMPARE(order, QStringList{QStringLiteral("clicked(false)")});
    order.clear();
    QTest::keyClick(&button, Qt::Key(key));
    QCOMPARE(order, (QStringList{QStringLiteral("clicked(false)"), QStringLiteral("doubleClicked"),
                                 QStringLiteral("clicked(false)")}));
    QVERIFY(!button.isChecked());
}

void TestTaskButton::heldReturnSwitchesOnce() {
    TaskButton button;
    button.show();
    QVERIFY(QTest::qWaitForWindowActive(&button));
    button.setFocus(Qt::TabFocusReason);
    QSignalSpy doubles(&button, &TaskButton::doubleClicked);
    QTest::keyPress(&button, Qt::Key_Return);
    for (int i = 0; i < 3; ++i) {
        QKeyEvent repeat(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QString(), true);
        QApplication::sendEvent(&button, &repeat);
    }
    QTest::keyRelease(&button, Qt::Key_Return);
    QCOMPARE(doubles.count(), 1);
}

void TestTaskButton::focusRingOnlyForTheKeyboard_data() {
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("selected");
    QTest::newRow("inactive") << false << false;
    QTest::newRow("active") << true << false;
    QTest::newRow("active, selected") << true << true;
    QTest::newRow("inactive, selected") << false << true;
}

void TestTaskButton::focusRingOnlyForTheKeyboard() {
    QFETCH(bool, active);
    QFETCH(bool, selected);
    QWidget window;
    auto* button = new TaskButton(&window);
    auto* other = new TaskButton(&window);
    other->move(0, 100);
    button->setText(QStringLiteral("Run"));
    button->setActivated(active);
    button->setSelected(selected, active);
    const QString sheet = button->styleSheet();
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    other->setFocus(Qt::TabFocusReason);
    const QImage plain = rendered(*button);

    button->setFocus(Qt::TabFocusReason);
    QVERIFY(button->hasFocus());
    const QImage ring = rendered(*button);
    // The ring is drawn around the face, in the margin; the face and the style sheet stay.
    QVERIFY2(!ImageCompare::compare(marginBand(ring), marginBand(plain)).matches(),
             "no focus ring in the margin");
    PARDO_COMPARE_IMAGES(face(ring), face(plain));
    QCOMPARE(button->styleSheet(), sheet);
    // Clearly visible: bright against the dark window, all round.
    int bright = 0;
    for (const QPoint& p : {QPoint(158, 5), QPoint(158, 94), QPoint(5, 50), QPoint(311, 50)}) {
        if (qGray(ring.pixel(p)) > 120 && qAlpha(ring.pixel(p)) > 200) {
            ++bright;
        }
    }
    QCOMPARE(bright, 4);

    // Away, and back by a finger: no ring.
    other->setFocus(Qt::TabFocusReason);
    PARDO_COMPARE_IMAGES(rendered(*button), plain);
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(150, 50));
    QVERIFY(button->hasFocus());
    PARDO_COMPARE_IMAGES(rendered(*button), plain);
    // A key pressed after the finger brings it back.
    QTest::keyClick(button, Qt::Key_Shift);
    PARDO_COMPARE_IMAGES(rendered(*button), ring);
}

void TestTaskButton::accessibleToggle() {
    TaskButton button;
    button.setText(QStringLiteral("Bin day"));
    QAccessibleInterface* node = QAccessible::queryAccessibleInterface(&button);
    QVERIFY(node);
    QCOMPARE(node->role(), QAccessible::Button);
    QCOMPARE(node->text(QAccessible::Name), QStringLiteral("Bin day"));
    QVERIFY(node->state().checkable);
    QVERIFY(!node->state().checked);
    button.setActivated(true);
    QVERIFY(node->state().checked);
    // The button itself does not toggle on a click: the look follows the task only.
    QVERIFY(!button.isCheckable());
    button.click();
    QVERIFY(node->state().checked);
    QVERIFY(!button.isChecked());
    button.setActivated(false);
    QVERIFY(!node->state().checked);

    // The image look stays as it was: checkable, with its own checked state.
    TaskButton imageButton;
    imageButton.createFromImage();
    imageButton.click();
    QVERIFY(imageButton.isChecked());
}

void TestTaskButton::nextAlarmText_data() {
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<QString>("text");
    QTest::newRow("Thursday morning") << QDateTime(QDate(2026, 11, 26), QTime(7, 6))
                                      << QStringLiteral("Next alarm: Thu 26 Nov, 07:06");
    QTest::newRow("single-digit day, evening") << QDateTime(QDate(2027, 1, 3), QTime(19, 45, 59))
                                               << QStringLiteral("Next alarm: Sun 3 Jan, 19:45");
    QTest::newRow("midnight") << QDateTime(QDate(2030, 5, 1), QTime(0, 0))
                              << QStringLiteral("Next alarm: Wed 1 May, 00:00");
    QTest::newRow("from another zone, shown in local time")
        << QDateTime(QDate(2030, 5, 1), QTime(0, 0)).toUTC()
        << QStringLiteral("Next alarm: Wed 1 May, 00:00");
    QTest::newRow("none") << QDateTime() << QStringLiteral("No alarm queued");
}

void TestTaskButton::nextAlarmText() {
    QFETCH(QDateTime, moment);
    QFETCH(QString, text);
    // Whatever the user's language, the text keeps its one form.
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    TaskButton button;
    button.setText(QStringLiteral("Tea"));
    button.setNextAlarm(moment);
    QLocale::setDefault(before);
    QCOMPARE(button.toolTip(), text);
    QCOMPARE(button.accessibleDescription(), text);
    QCOMPARE(QAccessible::queryAccessibleInterface(&button)->text(QAccessible::Description), text);
}

PARDO_TEST_MAIN(TestTaskButton)
#include "tst_taskbutton.moc"
