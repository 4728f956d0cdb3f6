#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QProcess>
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

QStringList expectedNames() {
    QStringList names;
    for (const ImageEntry& entry : kImages)
        names << QString::fromLatin1(entry.name);
    names.sort();
    return names;
}

QStringList filesIn(const QString& path) {
    return QDir(path).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestArtwork : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void resourceImage_data();
    void resourceImage();
    void resourcesListExactlyTheTable();
    void committedDirectoryHoldsExactlyTheTable();
    void generatorWritesExactlyTheTable();
    void generatedMatchesCommitted_data();
    void generatedMatchesCommitted();

private:
    QTemporaryDir generated;
    QString generatorError;
};

void TestArtwork::initTestCase() {
    // Referencing the resource makes the library a hard dependency, so the images are
    // registered even when the linker drops libraries nothing seems to use.
    Q_INIT_RESOURCE(mainresources);

    // Generate once; the tests that need the output report a failure here themselves.
    QVERIFY(generated.isValid());
    QProcess generator;
    generator.start(QStringLiteral(ARTGEN_PATH), {generated.path()});
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
    for (const ImageEntry& entry : kImages)
        QTest::newRow(entry.name) << entry.width << entry.height << QByteArray(entry.format);
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

void TestArtwork::committedDirectoryHoldsExactlyTheTable() {
    QCOMPARE(filesIn(QStringLiteral(IMAGES_DIR)), expectedNames());
}

void TestArtwork::generatorWritesExactlyTheTable() {
    QVERIFY2(generatorError.isEmpty(), qPrintable(generatorError));
    QCOMPARE(filesIn(generated.path()), expectedNames());
}

void TestArtwork::generatedMatchesCommitted_data() {
    QTest::addColumn<QString>("name");
    for (const ImageEntry& entry : kImages)
        QTest::newRow(entry.name) << QString::fromLatin1(entry.name);
}

void TestArtwork::generatedMatchesCommitted() {
    QFETCH(QString, name);
    QVERIFY2(generatorError.isEmpty(), qPrintable(generatorError));
    const QByteArray fresh = contents(QDir(generated.path()).filePath(name));
    const QByteArray committed = contents(QDir(QStringLiteral(IMAGES_DIR)).filePath(name));
    QVERIFY2(!fresh.isEmpty(), "the generator did not write this file");
    QVERIFY2(!committed.isEmpty(), "this file is not committed");
    QVERIFY2(fresh == committed, "differs from the committed file; regenerate with "
                                 "`cmake --build build --target artwork` and commit the result");
}

PARDO_TEST_MAIN(TestArtwork)
#include "tst_artwork.moc"
