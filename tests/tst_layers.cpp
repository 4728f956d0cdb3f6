// Each layer's library sees its own headers and those of the layers below it, never the ones
// above: a header of the layer above must not even be found. Checked with the compiler and
// the flags the build itself gives each layer's sources.
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

class TestLayers : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void headerReach_data();
    void headerReach();

private:
    // Compiler command line of each source file, as the build runs it.
    QHash<QString, QStringList> commands;
    QTemporaryDir scratch;
};

namespace {

QString sourcePath(const QString& relative) {
    return QDir::cleanPath(QStringLiteral(PARDO_SOURCE_DIR "/") + relative);
}

// The compile command without its output and input, for checking another file instead.
QStringList syntaxOnly(QStringList arguments, const QString& file) {
    if (!arguments.isEmpty() && arguments.first().endsWith(QLatin1String("ccache"))) {
        arguments.removeFirst();
    }
    QStringList kept;
    for (int i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("-o") || argument == QLatin1String("-c") ||
            argument == QLatin1String("-MF") || argument == QLatin1String("-MT") ||
            argument == QLatin1String("-MQ")) {
            ++i;
            continue;
        }
        if (argument == QLatin1String("-MD") || argument == QLatin1String("-MMD")) {
            continue;
        }
        kept.append(argument);
    }
    kept << QStringLiteral("-fsyntax-only") << file;
    return kept;
}

} // namespace

void TestLayers::initTestCase() {
    QVERIFY(scratch.isValid());
    QFile file(QStringLiteral(PARDO_BUILD_DIR "/compile_commands.json"));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
    const QJsonArray entries = QJsonDocument::fromJson(file.readAll()).array();
    for (const QJsonValue& value : entries) {
        const QJsonObject entry = value.toObject();
        QStringList arguments;
        if (entry.contains(QLatin1String("arguments"))) {
            for (const QJsonValue& argument : entry.value(QLatin1String("arguments")).toArray()) {
                arguments.append(argument.toString());
            }
        } else {
            arguments = QProcess::splitCommand(entry.value(QLatin1String("command")).toString());
        }
        commands.insert(QDir::cleanPath(entry.value(QLatin1String("file")).toString()), arguments);
    }
    QVERIFY(!commands.isEmpty());
}

void TestLayers::headerReach_data() {
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("header");
    QTest::addColumn<bool>("reachable");

    struct Row {
        const char* layer;
        const char* source;
        const char* header;
        bool reachable;
    };
    const Row rows[] = {
        {"widgets", "platform/maemo5/taskbutton.cpp", "qmaemo5valuebutton.h", true},
        {"widgets", "platform/maemo5/taskbutton.cpp", "databasemanager.h", false},
        {"widgets", "platform/maemo5/taskbutton.cpp", "task.h", false},
        {"storage", "storage/databasemanager.cpp", "storedrows.h", true},
        {"storage", "storage/databasemanager.cpp", "task.h", false},
        {"storage", "storage/databasemanager.cpp", "repetitionrule.h", false},
        {"storage", "storage/databasemanager.cpp", "taskbutton.h", false},
        {"rules", "model/repetitionrule.cpp", "databasemanager.h", false},
        {"rules", "model/repetitionrule.cpp", "taskbutton.h", false},
        {"model", "model/task.cpp", "databasemanager.h", true},
        {"model", "model/task.cpp", "taskbutton.h", true},
        {"model", "model/task.cpp", "alarmmanager.h", false},
        {"model", "model/task.cpp", "taskmanager.h", false},
        {"model", "model/task.cpp", "repetitionswidget.h", false},
        {"model", "model/task.cpp", "mainwindow.h", false},
        {"alarms", "alarms/alarmmanager.cpp", "task.h", true},
        {"alarms", "alarms/alarmmanager.cpp", "alarmd/libalarm.h", true},
        {"alarms", "alarms/alarmmanager.cpp", "taskmanager.h", false},
        {"alarms", "alarms/alarmmanager.cpp", "taskwindow.h", false},
        {"core", "core/taskmanager.cpp", "alarmmanager.h", true},
        {"core", "core/taskmanager.cpp", "taskwindow.h", false},
        {"core", "core/taskmanager.cpp", "mainwindow.h", false},
        {"ui", "ui/taskwindow.cpp", "taskmanager.h", true},
        {"ui", "ui/taskwindow.cpp", "mainwindow.h", false},
        {"app", "app/mainwindow.cpp", "taskwindow.h", true},
    };
    for (const Row& row : rows) {
        QTest::addRow("%s includes %s", row.layer, row.header)
            << QString::fromLatin1(row.source) << QString::fromLatin1(row.header) << row.reachable;
    }
}

void TestLayers::headerReach() {
    QFETCH(QString, source);
    QFETCH(QString, header);
    QFETCH(bool, reachable);

    const QString path = sourcePath(source);
    QVERIFY2(commands.contains(path), qPrintable(path + QStringLiteral(" is not built")));

    const QString probe =
        scratch.filePath(QString(header).replace(QLatin1Char('/'), QLatin1Char('_')) + ".cpp");
    QFile file(probe);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QStringLiteral("#include \"%1\"\n").arg(header).toUtf8());
    file.close();

    QStringList arguments = syntaxOnly(commands.value(path), probe);
    const QString compiler = arguments.takeFirst();
    QProcess compile;
    compile.setWorkingDirectory(QStringLiteral(PARDO_BUILD_DIR));
    compile.start(compiler, arguments);
    QVERIFY(compile.waitForFinished(120000));
    const QString errors = QString::fromLocal8Bit(compile.readAllStandardError());

    if (reachable) {
        QVERIFY2(compile.exitStatus() == QProcess::NormalExit && compile.exitCode() == 0,
                 qPrintable(errors));
    } else {
        QVERIFY2(compile.exitCode() != 0, qPrintable(header + QStringLiteral(" was found")));
        // Refused for not being found, not for some other fault of the probe.
        QVERIFY2(errors.contains(QLatin1String("No such file")), qPrintable(errors));
    }
}

QTEST_GUILESS_MAIN(TestLayers)
#include "tst_layers.moc"
