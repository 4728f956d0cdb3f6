#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QPainter>
#include <QSvgRenderer>
#include <QTemporaryDir>

#include "pardotest.h"

namespace {

struct ImageEntry {
    const char* name;
    int width;
    int height;
    const char* format;
};

// Kept independent of the generator's own list on purpose: the two must agree.
const ImageEntry kImages[] = {
    {"action_upper_right_button.png", 138, 138, "png"},
    {"action_upper_right_button_pressed.png", 138, 138, "png"},
    {"action_lower_right_button.png", 138, 138, "png"},
    {"action_lower_right_button_pressed.png", 138, 138, "png"},
    {"icon_settings.png", 130, 130, "png"},
    {"icon_edittask.png", 130, 130, "png"},
    {"icon_newtask.png", 130, 130, "png"},
    {"icon_deletetask.png", 130, 130, "png"},
    {"task_button_inactive.png", 317, 100, "png"},
    {"task_button_active.png", 317, 100, "png"},
    {"pardo_background_dark.jpg", 800, 424, "jpeg"},
    {"icon_calendar.png", 70, 70, "png"},
    {"icon_accept.png", 70, 70, "png"},
    {"icon_cancel.png", 70, 70, "png"},
    {"icon_repeat.png", 70, 70, "png"},
    {"icon_alarm.png", 70, 70, "png"},
    {"icon_stopwatch.png", 140, 140, "png"},
    {"icon_calendar_big.png", 140, 140, "png"},
    {"new_task_button.png", 200, 200, "png"},
    {"new_task_button_pressed.png", 200, 200, "png"},
    {"task_edit_sidebar_button.png", 110, 84, "png"},
    {"task_edit_sidebar_button_pressed.png", 110, 84, "png"},
    {"icon_cancel_small.png", 50, 50, "png"},
};

QString doubleDensityName(const char* name) {
    QString doubled = QString::fromLatin1(name);
    return doubled.insert(doubled.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
}

QStringList expectedNames() {
    QStringList names;
    for (const ImageEntry& entry : kImages)
        names << QString::fromLatin1(entry.name) << doubleDensityName(entry.name);
    names.sort();
    return names;
}

QStringList filesIn(const QString& path) {
    return QDir(path).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

bool isGrey(QRgb c, int spread) {
    return qAbs(qRed(c) - qGreen(c)) <= spread && qAbs(qGreen(c) - qBlue(c)) <= spread;
}

bool isGreen(QRgb c) {
    return qGreen(c) > qRed(c) + 60 && qGreen(c) > qBlue(c) + 60;
}

int luminance(QRgb c) {
    return qGray(c);
}

// Mean luminance of the opaque pixels in a horizontal band through the middle.
int middleLuminance(const QImage& image) {
    qint64 sum = 0, count = 0;
    const int y0 = image.height() * 2 / 5, y1 = image.height() * 3 / 5;
    for (int y = y0; y < y1; ++y)
        for (int x = image.width() / 5; x < image.width() * 4 / 5; ++x) {
            const QRgb c = image.pixel(x, y);
            if (qAlpha(c) == 255) {
                sum += luminance(c);
                ++count;
            }
        }
    return count ? int(sum / count) : -1;
}

// Mean luminance of the pixels that are at least half opaque.
int meanLuminance(const QImage& image) {
    qint64 sum = 0, count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb c = image.pixel(x, y);
            if (qAlpha(c) >= 128) {
                sum += luminance(c);
                ++count;
            }
        }
    return count ? int(sum / count) : -1;
}

// Share of pixels that are at least half opaque.
double coverage(const QImage& image) {
    qint64 covered = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            covered += qAlpha(image.pixel(x, y)) >= 128;
    return double(covered) / (image.width() * image.height());
}

QImage resource(const char* name) {
    return QImage(QStringLiteral(":/images/") + QLatin1String(name))
        .convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TestArtwork : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void resourceImage_data();
    void resourceImage();
    void resourcesListExactlyTheTable();
    void generatorWritesExactlyTheTable();
    void generatedMatchesResourceSize_data();
    void generatedMatchesResourceSize();
    void taskButtonsShowTheirState();
    void pressedPanelsDifferFromRaised_data();
    void pressedPanelsDifferFromRaised();
    void iconsSitOnTransparentCanvas_data();
    void iconsSitOnTransparentCanvas();
    void backgroundIsDark();
    void doubleDensityDrawsTheSameImage_data();
    void doubleDensityDrawsTheSameImage();
    void themeIcons_data();
    void themeIcons();
    void scalableThemeIconDrawsTheSameIcon();

private:
    QTemporaryDir generated;
    QString generatorError;
    QString imagesPath() const { return generated.filePath(QStringLiteral("images")); }
    QString hicolorPath() const { return generated.filePath(QStringLiteral("hicolor")); }
};

void TestArtwork::initTestCase() {
    // Generate once; the tests that need the output report a failure here themselves.
    QVERIFY(generated.isValid());
    QProcess generator;
    generator.start(QStringLiteral(ARTGEN_PATH),
                    {imagesPath(), QStringLiteral("--icons"), hicolorPath()});
    if (!generator.waitForFinished(120000))
        generatorError = QStringLiteral("generator did not finish: ") + generator.errorString();
    else if (generator.exitStatus() != QProcess::NormalExit || generator.exitCode() != 0)
        generatorError = QStringLiteral("generator failed: ") +
                         QString::fromLocal8Bit(generator.readAllStandardError());
}

void TestArtwork::resourceImage_data() {
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QByteArray>("format");
    for (const ImageEntry& entry : kImages) {
        QTest::newRow(entry.name) << entry.width << entry.height << QByteArray(entry.format);
        QTest::newRow(qPrintable(doubleDensityName(entry.name)))
            << 2 * entry.width << 2 * entry.height << QByteArray(entry.format);
    }
}

void TestArtwork::resourceImage() {
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QByteArray, format);
    const QString path = QStringLiteral(":/images/") + QString::fromLatin1(QTest::currentDataTag());

    QImageReader reader(path);
    QCOMPARE(reader.format(), format);
    const QImage image = reader.read();
    QVERIFY2(!image.isNull(), qPrintable(path + QStringLiteral(": ") + reader.errorString()));
    QCOMPARE(image.width(), width);
    QCOMPARE(image.height(), height);
    // Every PNG is drawn on a transparent canvas; the JPEG background is opaque.
    QCOMPARE(image.hasAlphaChannel(), format == "png");
}

void TestArtwork::resourcesListExactlyTheTable() {
    QCOMPARE(filesIn(QStringLiteral(":/images")), expectedNames());
}

void TestArtwork::generatorWritesExactlyTheTable() {
    QVERIFY2(generatorError.isEmpty(), qPrintable(generatorError));
    QCOMPARE(filesIn(imagesPath()), expectedNames());
}

void TestArtwork::generatedMatchesResourceSize_data() {
    QTest::addColumn<QString>("name");
    for (const QString& name : expectedNames())
        QTest::newRow(qPrintable(name)) << name;
}

void TestArtwork::generatedMatchesResourceSize() {
    QFETCH(QString, name);
    QVERIFY2(generatorError.isEmpty(), qPrintable(generatorError));
    const QImage fresh(QDir(imagesPath()).filePath(name));
    const QImage compiledIn(QStringLiteral(":/images/") + name);
    QVERIFY2(!fresh.isNull(), "the generator did not write a readable image");
    QCOMPARE(fresh.size(), compiledIn.size());
    QCOMPARE(fresh.hasAlphaChannel(), compiledIn.hasAlphaChannel());
}

void TestArtwork::taskButtonsShowTheirState() {
    const QImage active = resource("task_button_active.png");
    const QImage inactive = resource("task_button_inactive.png");
    const QPoint middle(active.width() / 2, active.height() / 2);
    QVERIFY2(isGreen(active.pixel(middle)), "an active task is green");
    QVERIFY2(isGrey(inactive.pixel(middle), 8), "an inactive task is grey");
    QVERIFY(luminance(inactive.pixel(middle)) < 0x60);
    // The panels leave a margin for their shadow: the outer corner is see-through.
    QCOMPARE(qAlpha(active.pixel(0, 0)), 0);
    QCOMPARE(qAlpha(inactive.pixel(0, 0)), 0);
}

void TestArtwork::pressedPanelsDifferFromRaised_data() {
    QTest::addColumn<QString>("raised");
    QTest::addColumn<QString>("pressed");
    for (const char* base : {"action_upper_right_button", "action_lower_right_button",
                             "new_task_button", "task_edit_sidebar_button"})
        QTest::newRow(base) << QString::fromLatin1(base) + ".png"
                            << QString::fromLatin1(base) + "_pressed.png";
}

void TestArtwork::pressedPanelsDifferFromRaised() {
    QFETCH(QString, raised);
    QFETCH(QString, pressed);
    const QImage up = resource(qPrintable(raised));
    const QImage down = resource(qPrintable(pressed));
    QCOMPARE(up.size(), down.size());
    // A pressed panel is set into the surface: darker in the middle than the raised one.
    const int upLight = middleLuminance(up), downLight = middleLuminance(down);
    QVERIFY2(upLight > 0 && downLight >= 0,
             qPrintable(QStringLiteral("no opaque middle: %1 %2").arg(upLight).arg(downLight)));
    QVERIFY2(downLight < upLight,
             qPrintable(QStringLiteral("raised %1, pressed %2").arg(upLight).arg(downLight)));
}

void TestArtwork::iconsSitOnTransparentCanvas_data() {
    QTest::addColumn<QString>("name");
    for (const ImageEntry& entry : kImages)
        if (QByteArray(entry.name).startsWith("icon_"))
            QTest::newRow(entry.name) << QString::fromLatin1(entry.name);
}

void TestArtwork::iconsSitOnTransparentCanvas() {
    QFETCH(QString, name);
    const QImage icon = resource(qPrintable(name));
    const int last = icon.width() - 1;
    for (const QPoint corner : {QPoint(0, 0), QPoint(last, 0), QPoint(0, last), QPoint(last, last)})
        QCOMPARE(qAlpha(icon.pixel(corner)), 0);
    // A glyph, not an empty square nor a filled one.
    const double covered = coverage(icon);
    QVERIFY2(covered > 0.1 && covered < 0.9, qPrintable(QString::number(covered)));
}

void TestArtwork::backgroundIsDark() {
    const QImage background = resource("pardo_background_dark.jpg");
    qint64 sum = 0;
    for (int y = 0; y < background.height(); y += 4)
        for (int x = 0; x < background.width(); x += 4)
            sum += luminance(background.pixel(x, y));
    const qint64 samples = qint64((background.height() + 3) / 4) * ((background.width() + 3) / 4);
    QVERIFY(sum / samples < 0x40);
}

void TestArtwork::doubleDensityDrawsTheSameImage_data() {
    QTest::addColumn<QString>("name");
    for (const ImageEntry& entry : kImages)
        if (QByteArray(entry.format) == "png")
            QTest::newRow(entry.name) << QString::fromLatin1(entry.name);
}

void TestArtwork::doubleDensityDrawsTheSameImage() {
    QFETCH(QString, name);
    const QImage single = resource(qPrintable(name));
    const QImage doubled = resource(qPrintable(doubleDensityName(qPrintable(name))));
    QCOMPARE(doubled.size(), 2 * single.size());
    // The same drawing with finer edges: brought down to the single size it covers the
    // same area and has the same colour in the middle.
    const QImage reduced =
        doubled.scaled(single.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QVERIFY2(
        qAbs(coverage(reduced) - coverage(single)) < 0.03,
        qPrintable(QStringLiteral("%1 against %2").arg(coverage(reduced)).arg(coverage(single))));
    QVERIFY(qAbs(meanLuminance(reduced) - meanLuminance(single)) < 16);
}

void TestArtwork::themeIcons_data() {
    QTest::addColumn<int>("size");
    for (const int size : {48, 64, 128, 256})
        QTest::newRow(qPrintable(QStringLiteral("%1x%1").arg(size))) << size;
}

void TestArtwork::themeIcons() {
    QFETCH(int, size);
    QVERIFY2(generatorError.isEmpty(), qPrintable(generatorError));
    const QString path =
        QDir(hicolorPath())
            .filePath(QStringLiteral("%1x%1/apps/org.velmar.pardoreminder.png").arg(size));
    const QImage icon(path);
    QVERIFY2(!icon.isNull(), qPrintable(path));
    QCOMPARE(icon.size(), QSize(size, size));
    QVERIFY(icon.hasAlphaChannel());
    QCOMPARE(qAlpha(icon.pixel(0, 0)), 0);
    const double covered = coverage(icon.convertToFormat(QImage::Format_ARGB32));
    QVERIFY2(covered > 0.3 && covered < 0.9, qPrintable(QString::number(covered)));
}

void TestArtwork::scalableThemeIconDrawsTheSameIcon() {
    QVERIFY2(generatorError.isEmpty(), qPrintable(generatorError));
    const QString path =
        QDir(hicolorPath()).filePath(QStringLiteral("scalable/apps/org.velmar.pardoreminder.svg"));
    QSvgRenderer svg(path);
    QVERIFY2(svg.isValid(), qPrintable(path));
    QCOMPARE(svg.viewBoxF(), QRectF(0, 0, 100, 100));

    QImage drawn(128, 128, QImage::Format_ARGB32);
    drawn.fill(Qt::transparent);
    {
        QPainter p(&drawn);
        svg.render(&p);
    }
    const QImage png(
        QDir(hicolorPath()).filePath(QStringLiteral("128x128/apps/org.velmar.pardoreminder.png")));
    const QImage raster = png.convertToFormat(QImage::Format_ARGB32);
    QCOMPARE(raster.size(), drawn.size());
    // Same drawing through two paint engines: the outlines agree but for a thin seam of edge
    // pixels, and the face colours agree closely.
    qint64 disagree = 0;
    for (int y = 0; y < drawn.height(); ++y)
        for (int x = 0; x < drawn.width(); ++x)
            disagree += (qAlpha(drawn.pixel(x, y)) >= 128) != (qAlpha(raster.pixel(x, y)) >= 128);
    QVERIFY2(disagree < drawn.width() * drawn.height() / 50, qPrintable(QString::number(disagree)));
    const QPoint face(64, 60);
    QVERIFY(qAbs(luminance(drawn.pixel(face)) - luminance(raster.pixel(face))) < 24);
}

PARDO_TEST_MAIN(TestArtwork)
#include "tst_artwork.moc"
