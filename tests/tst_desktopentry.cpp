#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "pardotest.h"
#include "toolrun.h"
#include "pardoversion.h"

namespace {

const QString entryPath = QStringLiteral(DESKTOP_ENTRY_PATH);
const QString metainfoPath = QStringLiteral(METAINFO_PATH);

// The keys of the [Desktop Entry] group.
QMap<QString, QString> readEntry(const QString& path) {
    QMap<QString, QString> keys;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return keys;
    }
    bool inGroup = false;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1Char('['))) {
            inGroup = line == QLatin1String("[Desktop Entry]");
        } else if (inGroup && line.contains(QLatin1Char('='))) {
            keys.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
        }
    }
    return keys;
}

QStringList texts(const QDomElement& parent, const QString& tag) {
    QStringList result;
    for (QDomElement e = parent.firstChildElement(tag); !e.isNull();
         e = e.nextSiblingElement(tag)) {
        result << e.text();
    }
    return result;
}

} // namespace

// The launcher and the AppStream data: clean under their validators (no
// network), agreeing with each other and with the build, and the launcher
// installed with the program's full path.
class TestDesktopEntry : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void entryPassesDesktopFileValidate();
    void metainfoPassesAppstreamValidate();
    void metainfoAgreesWithEntryAndBuild();
    void installedEntryNamesTheProgram_data();
    void installedEntryNamesTheProgram();
};

void TestDesktopEntry::entryPassesDesktopFileValidate() {
    ToolOutput validate;
    QVERIFY(runTool(QStringLiteral(DESKTOP_FILE_VALIDATE_PATH), {entryPath}, &validate));
    QVERIFY2(validate.exitCode == 0, qPrintable(validate.all()));
    QVERIFY2(!validate.all().contains(QRegularExpression(QStringLiteral(": (error|warning): "))),
             qPrintable(validate.all()));
}

void TestDesktopEntry::metainfoPassesAppstreamValidate() {
    ToolOutput validate;
    QVERIFY(runTool(QStringLiteral(APPSTREAMCLI_PATH),
                    {QStringLiteral("validate"), QStringLiteral("--no-net"),
                     QStringLiteral("--no-color"), metainfoPath},
                    &validate));
    QVERIFY2(validate.exitCode == 0, qPrintable(validate.all()));
    QVERIFY2(!validate.all().contains(QRegularExpression(QStringLiteral("^[EW]: "),
                                                         QRegularExpression::MultilineOption)),
             qPrintable(validate.all()));
    QVERIFY2(validate.all().contains(QStringLiteral("Validation was successful")),
             qPrintable(validate.all()));
}

void TestDesktopEntry::metainfoAgreesWithEntryAndBuild() {
    const QMap<QString, QString> entry = readEntry(entryPath);
    QFile file(metainfoPath);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QDomDocument document;
    QVERIFY(document.setContent(&file));
    const QDomElement component = document.documentElement();
    const QString id = QStringLiteral("org.velmar.pardoreminder");

    QCOMPARE(component.attribute(QStringLiteral("type")), QStringLiteral("desktop-application"));
    QCOMPARE(texts(component, QStringLiteral("id")), QStringList{id});
    // The launcher is named after the D-Bus name, and so is the icon.
    QCOMPARE(QFileInfo(entryPath).fileName(), id + QStringLiteral(".desktop"));
    QCOMPARE(texts(component, QStringLiteral("launchable")),
             QStringList{id + QStringLiteral(".desktop")});
    QCOMPARE(entry.value(QStringLiteral("Icon")), id);
    QCOMPARE(entry.value(QStringLiteral("Exec")), QStringLiteral("pardo-reminder"));
    QCOMPARE(texts(component, QStringLiteral("name")),
             QStringList{entry.value(QStringLiteral("Name"))});

    QStringList categories =
        entry.value(QStringLiteral("Categories")).split(QLatin1Char(';'), Qt::SkipEmptyParts);
    QCOMPARE(texts(component.firstChildElement(QStringLiteral("categories")),
                   QStringLiteral("category")),
             categories);

    const QDomElement release = component.firstChildElement(QStringLiteral("releases"))
                                    .firstChildElement(QStringLiteral("release"));
    QCOMPARE(release.attribute(QStringLiteral("version")), QStringLiteral(PARDO_VERSION));
    QCOMPARE(release.attribute(QStringLiteral("date")), QStringLiteral(PARDO_RELEASE_DATE));
    QVERIFY(QDate::fromString(QStringLiteral(PARDO_RELEASE_DATE), Qt::ISODate).isValid());

    const QDomElement provides = component.firstChildElement(QStringLiteral("provides"));
    QCOMPARE(texts(provides, QStringLiteral("binary")),
             (QStringList{QStringLiteral("pardo-reminder"), QStringLiteral("pardo-alarmd")}));
    QCOMPARE(texts(provides, QStringLiteral("dbus")),
             (QStringList{id, QStringLiteral("org.velmar.alarmd")}));
    for (QDomElement dbus = provides.firstChildElement(QStringLiteral("dbus")); !dbus.isNull();
         dbus = dbus.nextSiblingElement(QStringLiteral("dbus"))) {
        QCOMPARE(dbus.attribute(QStringLiteral("type")), QStringLiteral("user"));
    }

    // Screenshots: the README's images, published under the homepage.
    QString homepage;
    for (QDomElement url = component.firstChildElement(QStringLiteral("url")); !url.isNull();
         url = url.nextSiblingElement(QStringLiteral("url"))) {
        if (url.attribute(QStringLiteral("type")) == QLatin1String("homepage")) {
            homepage = url.text();
        }
    }
    QVERIFY(homepage.startsWith(QStringLiteral("https://")));
    int defaults = 0;
    int shots = 0;
    const QDomElement screenshots = component.firstChildElement(QStringLiteral("screenshots"));
    for (QDomElement shot = screenshots.firstChildElement(QStringLiteral("screenshot"));
         !shot.isNull(); shot = shot.nextSiblingElement(QStringLiteral("screenshot"))) {
        ++shots;
        const QString image = shot.firstChildElement(QStringLiteral("image")).text();
        QVERIFY2(image.startsWith(homepage), qPrintable(image));
        QVERIFY2(QFile::exists(QStringLiteral(DOCS_DIR "/") + QUrl(image).fileName()),
                 qPrintable(image));
        QVERIFY(!shot.firstChildElement(QStringLiteral("caption")).text().isEmpty());
        if (shot.attribute(QStringLiteral("type")) == QLatin1String("default")) {
            ++defaults;
            QCOMPARE(QUrl(image).fileName(), QStringLiteral("main-window.png"));
        }
    }
    QCOMPARE(defaults, 1);
    QVERIFY(shots >= 3);
}

void TestDesktopEntry::installedEntryNamesTheProgram_data() {
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("exec");

    // The expectation below assumes the usual relative bin and share folders.
    const QString bin = QStringLiteral(INSTALL_BINDIR);
    QTest::newRow("/usr") << QStringLiteral("/usr")
                          << QStringLiteral("/usr/%1/pardo-reminder").arg(bin);
    QTest::newRow("home folder") << QStringLiteral("/home/ana/.local")
                                 << QStringLiteral("/home/ana/.local/%1/pardo-reminder").arg(bin);
    QTest::newRow("blank") << QStringLiteral("/opt/Pardo Reminder")
                           << QStringLiteral("\"/opt/Pardo Reminder/%1/pardo-reminder\"").arg(bin);
    QTest::newRow("reserved characters")
        << QStringLiteral("/opt/a$b%c\"d")
        << QStringLiteral("\"/opt/a\\\\$b%%c\\\\\"d/%1/pardo-reminder\"").arg(bin);
}

void TestDesktopEntry::installedEntryNamesTheProgram() {
    QFETCH(QString, prefix);
    QFETCH(QString, exec);

    // The install rules of the launcher's folder alone, as cmake --install runs them.
    QTemporaryDir destdir(TestEnvironment::current()->root() + QStringLiteral("/destdir-XXXXXX"));
    QVERIFY(destdir.isValid());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DESTDIR"), destdir.path());
    ToolOutput install;
    QVERIFY(runTool(QStringLiteral(CMAKE_PATH),
                    {QStringLiteral("-DCMAKE_INSTALL_PREFIX=") + prefix, QStringLiteral("-P"),
                     QStringLiteral(INSTALL_SCRIPT)},
                    &install, env));
    QVERIFY2(install.exitCode == 0, qPrintable(install.all()));

    const QString share = destdir.path() + prefix + QStringLiteral("/" INSTALL_DATADIR);
    const QString installed =
        share + QStringLiteral("/applications/org.velmar.pardoreminder.desktop");
    QVERIFY2(QFile::exists(installed), qPrintable(install.all()));
    QMap<QString, QString> entry = readEntry(installed);
    QCOMPARE(entry.value(QStringLiteral("Exec")), exec);
    // Apart from Exec, the launcher is installed as written.
    QMap<QString, QString> source = readEntry(entryPath);
    entry.remove(QStringLiteral("Exec"));
    source.remove(QStringLiteral("Exec"));
    QCOMPARE(entry, source);

    ToolOutput validate;
    QVERIFY(runTool(QStringLiteral(DESKTOP_FILE_VALIDATE_PATH), {installed}, &validate));
    QVERIFY2(validate.exitCode == 0, qPrintable(validate.all()));
    QVERIFY2(!validate.all().contains(QRegularExpression(QStringLiteral(": (error|warning): "))),
             qPrintable(validate.all()));

    QFile metainfo(share + QStringLiteral("/metainfo/org.velmar.pardoreminder.metainfo.xml"));
    QVERIFY(metainfo.open(QIODevice::ReadOnly));
    QFile built(metainfoPath);
    QVERIFY(built.open(QIODevice::ReadOnly));
    // The same document, whatever the bytes: parsed, the two read alike.
    QDomDocument installedDocument, builtDocument;
    QVERIFY(installedDocument.setContent(&metainfo));
    QVERIFY(builtDocument.setContent(&built));
    QCOMPARE(installedDocument.toString(), builtDocument.toString());
}

PARDO_TEST_MAIN(TestDesktopEntry)
#include "tst_desktopentry.moc"
