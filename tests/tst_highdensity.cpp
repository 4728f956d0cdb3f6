#include <QPainter>
#include <QPixmap>

#include "actionbutton.h"
#include "imagecompare.h"
#include "newtaskbutton.h"
#include "pardotest.h"

namespace {

QImage physical(const QPixmap& pixmap) {
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
}

QImage doubleDensity(const char* name) {
    QString file = QString::fromLatin1(name);
    return ImageCompare::resource(file.insert(file.lastIndexOf(QLatin1Char('.')), "@2x"));
}

// The single-density image as a scaled screen would show it without a "@2x" file.
QImage stretched(const char* name) {
    const QImage single = ImageCompare::resource(QLatin1String(name));
    return single.scaled(2 * single.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QImage over(const QColor& background, const QImage& image) {
    QImage result(image.size(), QImage::Format_ARGB32);
    result.fill(background);
    QImage source = image;
    source.setDevicePixelRatio(1);
    QPainter p(&result);
    p.drawImage(0, 0, source);
    p.end();
    return result;
}

} // namespace

// Runs on a screen scaled by 2 (QT_SCALE_FACTOR=2 from the test registration): icons and
// panel backgrounds come from the images drawn at twice the density, not stretched.
class TestHighDensity : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void actionIcons_data();
    void actionIcons();
    void panelBackground();
};

void TestHighDensity::initTestCase() {
    QCOMPARE(qApp->devicePixelRatio(), 2.0);
}

void TestHighDensity::actionIcons_data() {
    QTest::addColumn<bool>("upper");
    QTest::addColumn<QString>("image");
    QTest::newRow("settings") << true << QStringLiteral("icon_settings.png");
    QTest::newRow("new task") << false << QStringLiteral("icon_newtask.png");
}

void TestHighDensity::actionIcons() {
    QFETCH(bool, upper);
    QFETCH(QString, image);
    ActionButton button(upper);
    const QPixmap shown = button.icon().pixmap(QSize(130, 130));
    QCOMPARE(shown.devicePixelRatio(), 2.0);
    QCOMPARE(shown.size(), QSize(260, 260));
    const QByteArray name = image.toLatin1();
    PARDO_COMPARE_IMAGES(physical(shown), doubleDensity(name.constData()));
    QVERIFY(!ImageCompare::compare(physical(shown), stretched(name.constData())).matches());
}

void TestHighDensity::panelBackground() {
    NewTaskButton button;
    button.resize(200, 200);
    const QImage shown = physical(button.grab());
    QCOMPARE(shown.size(), QSize(400, 400));
    // The panel has a see-through rim: lay the images over what shows behind the button.
    const QColor behind = QColor::fromRgba(shown.pixel(0, 0));
    PARDO_COMPARE_IMAGES(shown, over(behind, doubleDensity("new_task_button.png")));
    QVERIFY(
        !ImageCompare::compare(shown, over(behind, stretched("new_task_button.png"))).matches());
}

PARDO_TEST_MAIN(TestHighDensity)
#include "tst_highdensity.moc"
