#include "imagecompare.h"
#include "newtaskbutton.h"
#include "pardotest.h"
#include "taskwindowbutton.h"

namespace {

// The button alone on a transparent ground, to compare with its (partly transparent) image.
QImage rendering(QWidget& widget) {
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

QImage image(const char* name) {
    return ImageCompare::resource(QLatin1String(name));
}

} // namespace

class TestEditorButtons : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void taskWindowButtonLooks();
    void taskWindowButtonShowsPressedImageWhenChecked();
    void newTaskButtonLooks();
    void newTaskButtonShowsItsImage();
    void noSignalsOrSlotsOfTheirOwn();
};

void TestEditorButtons::taskWindowButtonLooks() {
    TaskWindowButton button;
    QCOMPARE(button.minimumSize(), QSize(110, 84));
    QCOMPARE(button.sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(button.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    QVERIFY(button.isFlat());
    QCOMPARE(button.contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(button.styleSheet(),
             QStringLiteral("TaskWindowButton {background-image: "
                            "url(:/images/task_edit_sidebar_button.png); border: none;}\n"
                            "TaskWindowButton:pressed, TaskWindowButton:checked {background-image: "
                            "url(:/images/task_edit_sidebar_button_pressed.png);}"));
}

void TestEditorButtons::taskWindowButtonShowsPressedImageWhenChecked() {
    TaskWindowButton button;
    button.setCheckable(true);
    button.resize(110, 84);
    PARDO_COMPARE_IMAGES(rendering(button), image("task_edit_sidebar_button.png"));
    button.setChecked(true);
    PARDO_COMPARE_IMAGES(rendering(button), image("task_edit_sidebar_button_pressed.png"));
    QVERIFY(
        !ImageCompare::compare(rendering(button), image("task_edit_sidebar_button.png")).matches());
}

void TestEditorButtons::newTaskButtonLooks() {
    NewTaskButton button;
    QCOMPARE(button.minimumSize(), QSize(200, 200));
    QCOMPARE(button.sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(button.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    QVERIFY(button.isFlat());
    QCOMPARE(button.contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(button.styleSheet(),
             QStringLiteral("NewTaskButton {background-image: url(:/images/new_task_button.png); "
                            "border: none;}\nNewTaskButton:pressed {background-image: "
                            "url(:/images/new_task_button_pressed.png);}"));
}

void TestEditorButtons::newTaskButtonShowsItsImage() {
    NewTaskButton button;
    button.resize(200, 200);
    PARDO_COMPARE_IMAGES(rendering(button), image("new_task_button.png"));
    // Not checkable: checking has no look of its own.
    button.setCheckable(true);
    button.setChecked(true);
    PARDO_COMPARE_IMAGES(rendering(button), image("new_task_button.png"));
    QVERIFY(
        !ImageCompare::compare(rendering(button), image("new_task_button_pressed.png")).matches());
}

void TestEditorButtons::noSignalsOrSlotsOfTheirOwn() {
    for (const QMetaObject* meta :
         {&TaskWindowButton::staticMetaObject, &NewTaskButton::staticMetaObject}) {
        QCOMPARE(meta->methodCount(), QPushButton::staticMetaObject.methodCount());
    }
}

PARDO_TEST_MAIN(TestEditorButtons)
#include "tst_editorbuttons.moc"
