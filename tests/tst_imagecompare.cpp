#include <QIcon>
#include <QPainter>

#include "imagecompare.h"
#include "pardotest.h"

namespace {

// Moves the colour channels of a few pixels by `levels`, staying inside 0-255; alpha stays.
QImage nudged(const QImage& source, const QList<QPoint>& points, int levels) {
    QImage image = source.convertToFormat(QImage::Format_ARGB32);
    for (const QPoint& point : points) {
        const QRgb pixel = image.pixel(point);
        auto move = [levels](int channel) {
            return channel + levels <= 255 ? channel + levels : channel - levels;
        };
        image.setPixel(point, qRgba(move(qRed(pixel)), move(qGreen(pixel)), move(qBlue(pixel)),
                                    qAlpha(pixel)));
    }
    return image;
}

// The first `count` fully opaque pixels, where a change of colour cannot hide.
QList<QPoint> opaquePoints(const QImage& image, int count) {
    QList<QPoint> points;
    for (int y = 0; y < image.height() && points.size() < count; ++y) {
        for (int x = 0; x < image.width() && points.size() < count; ++x) {
            if (qAlpha(image.pixel(x, y)) == 255) {
                points << QPoint(x, y);
            }
        }
    }
    return points;
}

// The same shape painted in another colour.
QImage recoloured(const QImage& source, const QColor& colour) {
    QImage image = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    return image;
}

QImage plain(const QSize& size, const QColor& colour) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

} // namespace

class TestImageCompare : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void identicalImagesMatch_data();
    void identicalImagesMatch();
    void smallDifferencesMatch_data();
    void smallDifferencesMatch();
    void differentImagesDoNotMatch_data();
    void differentImagesDoNotMatch();
    void sizeMismatchFails_data();
    void sizeMismatchFails();
    void pixelBoundIsACount();
    void explanationLocatesTheDifference();
    void iconImageIgnoresTheScreenScale();
};

void TestImageCompare::identicalImagesMatch_data() {
    QTest::addColumn<QImage>("image");
    QTest::newRow("settings icon") << ImageCompare::resource(QStringLiteral("icon_settings.png"));
    QTest::newRow("active task button")
        << ImageCompare::resource(QStringLiteral("task_button_active.png"));
    QTest::newRow("plain colour") << plain(QSize(20, 10), QColor(10, 200, 30));
}

void TestImageCompare::identicalImagesMatch() {
    QFETCH(QImage, image);
    QVERIFY(!image.isNull());
    const ImageCompare::Result result = ImageCompare::compare(image, image);
    QVERIFY2(result.matches(), qPrintable(result.explanation()));
    QCOMPARE(result.differing, 0);
    QCOMPARE(result.worstChannel, 0);
    QCOMPARE(result.firstDiffering, QPoint(-1, -1));
    // Another format of the same pixels is the same image.
    QVERIFY(ImageCompare::compare(image.convertToFormat(QImage::Format_ARGB32_Premultiplied), image)
                .matches());
}

void TestImageCompare::smallDifferencesMatch_data() {
    QTest::addColumn<QImage>("actual");
    QTest::addColumn<QImage>("expected");
    QTest::addColumn<bool>("differs");
    const QImage settings = ImageCompare::resource(QStringLiteral("icon_settings.png"));
    const QImage active = ImageCompare::resource(QStringLiteral("task_button_active.png"));
    QTest::newRow("one pixel, 3 levels")
        << nudged(settings, opaquePoints(settings, 1), 3) << settings << true;
    QTest::newRow("two pixels, 5 levels")
        << nudged(active, {QPoint(150, 50), QPoint(30, 60)}, 5) << active << true;
    // A premultiplied round trip, as a pixmap on another machine may make.
    QTest::newRow("premultiplied round trip")
        << settings.convertToFormat(QImage::Format_ARGB32_Premultiplied)
               .convertToFormat(QImage::Format_ARGB32)
        << settings << false;
    // Anti-aliased edges drawn a little differently: a handful of pixels far off.
    QTest::newRow("a few edge pixels far off")
        << nudged(settings, opaquePoints(settings, 3), 120) << settings << true;
}

void TestImageCompare::smallDifferencesMatch() {
    QFETCH(QImage, actual);
    QFETCH(QImage, expected);
    QFETCH(bool, differs);
    const ImageCompare::Result result = ImageCompare::compare(actual, expected);
    QVERIFY2(result.matches(), qPrintable(result.explanation()));
    if (differs) {
        QVERIFY(result.worstChannel > 0);
    }
}

void TestImageCompare::differentImagesDoNotMatch_data() {
    QTest::addColumn<QImage>("actual");
    QTest::addColumn<QImage>("expected");
    auto image = [](const char* name) {
        return ImageCompare::resource(QLatin1String(name));
    };
    // The pairs the application swaps on the same button, and the closest pair it has.
    QTest::newRow("settings icon for new-task icon")
        << image("icon_settings.png") << image("icon_newtask.png");
    QTest::newRow("edit icon for delete icon")
        << image("icon_edittask.png") << image("icon_deletetask.png");
    QTest::newRow("inactive grey for active green task button")
        << image("task_button_inactive.png") << image("task_button_active.png");
    QTest::newRow("sidebar button pressed for released")
        << image("task_edit_sidebar_button_pressed.png") << image("task_edit_sidebar_button.png");
    QTest::newRow("upper action button for lower")
        << image("action_upper_right_button.png") << image("action_lower_right_button.png");
    QTest::newRow("cancel icon for accept icon")
        << image("icon_cancel.png") << image("icon_accept.png");
    QTest::newRow("settings icon in another colour")
        << recoloured(image("icon_settings.png"), QColor(220, 30, 30))
        << image("icon_settings.png");
    QTest::newRow("plain colours") << plain(QSize(20, 10), QColor(0x22, 0xc7, 0x0d))
                                   << plain(QSize(20, 10), QColor(0x44, 0x44, 0x44));
}

void TestImageCompare::differentImagesDoNotMatch() {
    QFETCH(QImage, actual);
    QFETCH(QImage, expected);
    QVERIFY(!actual.isNull() && !expected.isNull());
    QCOMPARE(actual.size(), expected.size());
    const ImageCompare::Result result = ImageCompare::compare(actual, expected);
    QVERIFY2(!result.matches(), qPrintable(result.explanation()));
    QVERIFY(result.differing > result.allowed);
    QVERIFY(result.worstChannel > ImageCompare::Bounds().channel);
    QVERIFY(result.explanation().contains(QLatin1String("pixels differ")));
}

void TestImageCompare::sizeMismatchFails_data() {
    QTest::addColumn<QImage>("actual");
    QTest::addColumn<QImage>("expected");
    QTest::addColumn<QString>("explanation");
    const QImage settings = ImageCompare::resource(QStringLiteral("icon_settings.png"));
    QTest::newRow("smaller") << settings.scaled(70, 70) << settings
                             << QStringLiteral("size mismatch: actual 70x70, expected 130x130");
    QTest::newRow("one column more")
        << plain(QSize(131, 130), Qt::white) << plain(QSize(130, 130), Qt::white)
        << QStringLiteral("size mismatch: actual 131x130, expected 130x130");
    QTest::newRow("nothing rendered")
        << QImage() << settings << QStringLiteral("empty image: actual 0x0, expected 130x130");
    QTest::newRow("both empty") << QImage() << QImage()
                                << QStringLiteral("empty image: actual 0x0, expected 0x0");
}

void TestImageCompare::sizeMismatchFails() {
    QFETCH(QImage, actual);
    QFETCH(QImage, expected);
    QFETCH(QString, explanation);
    const ImageCompare::Result result = ImageCompare::compare(actual, expected);
    QVERIFY(!result.matches());
    QCOMPARE(result.explanation(), explanation);
}

void TestImageCompare::pixelBoundIsACount() {
    // 100 x 100 pixels and half a percent: 50 may be far off, not 51.
    const QImage base = plain(QSize(100, 100), QColor(40, 40, 40));
    QList<QPoint> points;
    for (int i = 0; i < 51; ++i) {
        points << QPoint(i, 2 * (i % 50));
    }
    const ImageCompare::Result fifty =
        ImageCompare::compare(nudged(base, points.mid(0, 50), 200), base);
    QCOMPARE(fifty.allowed, 50);
    QCOMPARE(fifty.differing, 50);
    QVERIFY(fifty.matches());
    const ImageCompare::Result fiftyOne = ImageCompare::compare(nudged(base, points, 200), base);
    QCOMPARE(fiftyOne.differing, 51);
    QVERIFY(!fiftyOne.matches());
    // The channel bound is inclusive and can be set.
    const QImage off = nudged(base, points, 16);
    QCOMPARE(ImageCompare::compare(off, base).differing, 0);
    QCOMPARE(ImageCompare::compare(off, base, {15, 0.0}).differing, 51);
}

void TestImageCompare::explanationLocatesTheDifference() {
    const QImage base = plain(QSize(30, 20), QColor(0x22, 0xc7, 0x0d));
    const QImage off = nudged(base, {QPoint(7, 3), QPoint(2, 9)}, 100);
    const ImageCompare::Result result = ImageCompare::compare(off, base, {16, 0.0});
    QVERIFY(!result.matches());
    QCOMPARE(result.differing, 2);
    QCOMPARE(result.allowed, 0);
    QCOMPARE(result.worstChannel, 100);
    QCOMPARE(result.firstDiffering, QPoint(7, 3));
    QCOMPARE(result.explanation(),
             QStringLiteral("2 of 600 pixels differ beyond the bound (0 allowed); worst channel "
                            "distance 100; first at (7, 3)"));
}

void TestImageCompare::iconImageIgnoresTheScreenScale() {
    const QImage newTask = ImageCompare::resource(QStringLiteral("icon_newtask.png"));
    const QIcon icon(QPixmap::fromImage(newTask));
    const QImage shown = ImageCompare::iconImage(icon, QSize(130, 130));
    QCOMPARE(shown.size(), QSize(130, 130));
    PARDO_COMPARE_IMAGES(shown, newTask);
    QVERIFY(
        !ImageCompare::compare(shown, ImageCompare::resource(QStringLiteral("icon_settings.png")))
             .matches());
}

PARDO_TEST_MAIN(TestImageCompare)
#include "tst_imagecompare.moc"
