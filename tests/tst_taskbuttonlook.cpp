#include <QPainter>

#include "imagecompare.h"
#include "maemo5theme.h"
#include "pardotest.h"
#include "taskbutton.h"

namespace {

// The look as the toolkit drew it from style sheets: the reference for the painted one.
const QString kInactive = QStringLiteral(
    "TaskButton {border: 1px solid #333333;border-radius: 6px;background-color: "
    "#222222;background-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 0.67, stop: 0 #444444, "
    "stop: 1 #222222);margin: 12px;}");
const QString kActive = QStringLiteral(
    "TaskButton {border: 1px solid #199909;border-radius: 6px;background-color: "
    "#116a06;background-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 0.67, stop: 0 #22c70d, "
    "stop: 1 #116a06);margin: 12px;}");
const QString kSelectedBorder = QStringLiteral("border: 1px solid #f8e52d;");

QString referenceSheet(bool active, bool selected) {
    QString sheet = active ? kActive : kInactive;
    if (selected) {
        sheet.replace(active ? QStringLiteral("border: 1px solid #199909;")
                             : QStringLiteral("border: 1px solid #333333;"),
                      kSelectedBorder);
    }
    return sheet;
}

QImage rendered(QWidget& widget) {
    return widget.grab().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

// The part of the window's image where `child` is, in the image's own pixels.
QImage partOf(const QImage& window, const QWidget& child) {
    const qreal ratio = window.devicePixelRatio();
    const QRectF area(QPointF(child.geometry().topLeft()) * ratio,
                      QSizeF(child.geometry().size()) * ratio);
    return window.copy(area.toRect());
}

} // namespace

class TestTaskButtonLook : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void noStyleSheet_data();
    void noStyleSheet();
    void paintedLikeTheStyleSheet_data();
    void paintedLikeTheStyleSheet();
    void statesLookDifferent();
};

void TestTaskButtonLook::initTestCase() {
    // The application's own style, palette and font, as the buttons are shown at start.
    Maemo5Theme::apply(*qApp);
}

void TestTaskButtonLook::noStyleSheet_data() {
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("selected");
    QTest::newRow("inactive") << false << false;
    QTest::newRow("active") << true << false;
    QTest::newRow("inactive, selected") << false << true;
    QTest::newRow("active, selected") << true << true;
}

void TestTaskButtonLook::noStyleSheet() {
    QFETCH(bool, active);
    QFETCH(bool, selected);
    // A style sheet per button is parsed and polished once per task at start.
    TaskButton button;
    QVERIFY(button.styleSheet().isEmpty());
    button.setText(QStringLiteral("Bin day"));
    button.setActivated(active);
    button.setSelected(selected, active);
    QVERIFY(button.styleSheet().isEmpty());
    button.setSelected(!selected, active);
    button.setActivated(!active);
    QVERIFY(button.styleSheet().isEmpty());
}

void TestTaskButtonLook::paintedLikeTheStyleSheet_data() {
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("selected");
    QTest::addColumn<bool>("pressed");
    QTest::addColumn<bool>("focused");
    QTest::addColumn<QString>("text");
    const QString name = QStringLiteral("Bin day");
    for (bool active : {false, true}) {
        for (bool selected : {false, true}) {
            for (bool pressed : {false, true}) {
                for (bool focused : {false, true}) {
                    QTest::addRow("%s%s%s%s", active ? "active" : "inactive",
                                  selected ? ", selected" : "", pressed ? ", pressed" : "",
                                  focused ? ", keyboard focus" : "")
                        << active << selected << pressed << focused << name;
                }
            }
        }
    }
    QTest::newRow("no text") << true << false << false << false << QString();
    QTest::newRow("wider than the face")
        << false << false << false << false
        << QStringLiteral("Take the blue bin out to the street before seven on Tuesday");
    QTest::newRow("two lines") << true << true << false << false
                               << QStringLiteral("Water\nthe plants");
    QTest::newRow("mnemonic") << false << true << false << false
                              << QStringLiteral("Tom && Jerry &call");
}

void TestTaskButtonLook::paintedLikeTheStyleSheet() {
    QFETCH(bool, active);
    QFETCH(bool, selected);
    QFETCH(bool, pressed);
    QFETCH(bool, focused);
    QFETCH(QString, text);
    QWidget window;
    auto* painted = new TaskButton(&window);
    auto* reference = new TaskButton(&window);
    auto* other = new TaskButton(&window);
    reference->move(0, 100);
    other->move(0, 200);
    for (TaskButton* button : {painted, reference}) {
        button->setText(text);
        button->setActivated(active);
        button->setSelected(selected, active);
        button->setDown(pressed);
    }
    reference->setStyleSheet(referenceSheet(active, selected));
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    other->setFocus(Qt::TabFocusReason);

    if (focused) {
        reference->setFocus(Qt::TabFocusReason);
    }
    // Each seen in the window, over what shows through its margin.
    const QImage expected = partOf(rendered(window), *reference);
    if (focused) {
        painted->setFocus(Qt::TabFocusReason);
    }
    const QImage actual = partOf(rendered(window), *painted);
    QCOMPARE(actual.size(), expected.size());
    PARDO_COMPARE_IMAGES(actual, expected);
}

void TestTaskButtonLook::statesLookDifferent() {
    // The comparison above would pass for any two identical blanks: the states must show.
    QList<QImage> looks;
    for (int state = 0; state < 4; ++state) {
        TaskButton button;
        button.setText(QStringLiteral("Bin day"));
        button.setActivated(state & 1);
        button.setSelected(state & 2, state & 1);
        looks.append(rendered(button));
    }
    for (int a = 0; a < looks.size(); ++a) {
        for (int b = a + 1; b < looks.size(); ++b) {
            QVERIFY2(!ImageCompare::compare(looks.at(a), looks.at(b)).matches(),
                     qPrintable(QStringLiteral("states %1 and %2 look the same").arg(a).arg(b)));
        }
    }
}

PARDO_TEST_MAIN(TestTaskButtonLook)
#include "tst_taskbuttonlook.moc"
