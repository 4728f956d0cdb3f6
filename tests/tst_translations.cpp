#include <QAbstractButton>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTranslator>
#include <QXmlStreamReader>

#include <memory>

#include "mainwindow.h"
#include "pardotest.h"
#include "settingswindow.h"
#include "task.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"
#include "ringrequest.h"
#include "translation.h"

namespace {

struct Message {
    QString context;
    QString source;
};

QList<Message> templateMessages() {
    QList<Message> messages;
    QFile file(QStringLiteral(PARDO_TRANSLATION_TEMPLATE));
    if (!file.open(QIODevice::ReadOnly)) {
        return messages;
    }
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            messages.append({context, xml.readElementText()});
        }
    }
    return xml.hasError() ? QList<Message>() : messages;
}

// A pseudo-translation of the whole template: every text in brackets, so that a text the code
// shows without tr() stands out.
bool writeBracketedTranslation(const QString& qmPath) {
    QFile source(QStringLiteral(PARDO_TRANSLATION_TEMPLATE));
    if (!source.open(QIODevice::ReadOnly)) {
        return false;
    }
    QString ts = QString::fromUtf8(source.readAll());
    static const QRegularExpression unfinished(
        QStringLiteral("<source>([^<]*)</source>(\\s*(?:<extracomment>[^<]*</extracomment>\\s*)?)"
                       "<translation type=\"unfinished\"></translation>"),
        QRegularExpression::DotMatchesEverythingOption);
    ts.replace(unfinished,
               QStringLiteral("<source>\\1</source>\\2<translation>[\\1]</translation>"));
    const QString tsPath = qmPath + QStringLiteral(".ts");
    QFile target(tsPath);
    if (!target.open(QIODevice::WriteOnly) || target.write(ts.toUtf8()) < 0) {
        return false;
    }
    target.close();
    QProcess lrelease;
    lrelease.start(QStringLiteral(PARDO_LRELEASE),
                   {QStringLiteral("-silent"), tsPath, QStringLiteral("-qm"), qmPath});
    return lrelease.waitForFinished(30000) && lrelease.exitCode() == 0 && QFile::exists(qmPath);
}

// What a widget shows or tells a screen reader in words.
QStringList wordsOf(QWidget* widget) {
    QStringList texts{widget->accessibleName(), widget->toolTip()};
    if (widget->isWindow()) {
        texts << widget->windowTitle();
    }
    if (auto* label = qobject_cast<QLabel*>(widget)) {
        texts << label->text();
    } else if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
        texts << button->text();
    } else if (auto* combo = qobject_cast<QComboBox*>(widget)) {
        for (int i = 0; i < combo->count(); ++i) {
            texts << combo->itemText(i);
        }
    }
    static const QRegularExpression word(QStringLiteral("[A-Za-z]{2,}"));
    QStringList words;
    for (const QString& text : texts) {
        if (text.contains(word)) {
            words << text;
        }
    }
    return words;
}

// Texts of `root` and its children that came through no translation; the user's own words
// (the tasks' names) are not the program's to translate.
QStringList untranslated(QWidget* root, const QStringList& userWords) {
    QStringList found;
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    for (QWidget* widget : widgets) {
        for (const QString& text : wordsOf(widget)) {
            if (!text.startsWith(QLatin1Char('[')) && !userWords.contains(text)) {
                found << QStringLiteral("%1 \"%2\"")
                             .arg(QString::fromLatin1(widget->metaObject()->className()), text);
            }
        }
    }
    return found;
}

} // namespace

class TestTranslations : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void templateHoldsTheTexts_data();
    void templateHoldsTheTexts();
    void noTranslationLeavesTheTextsAsWritten();
    void translationOfTheUsersLanguageIsUsed();
    void ringTextsAreTranslated_data();
    void ringTextsAreTranslated();
    void everyTextOfTheWindowsIsTranslated_data();
    void everyTextOfTheWindowsIsTranslated();

private:
    QString translations;
    std::unique_ptr<TaskManager> manager;
};

void TestTranslations::initTestCase() {
    // Where an installed translation would be: the user's own data folder.
    translations = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                   QStringLiteral("/pardo-reminder/translations");
    QVERIFY(QDir().mkpath(translations));
}

void TestTranslations::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
    manager->loadTasks();
}

void TestTranslations::cleanup() {
    manager.reset();
    TestDatabase::dropDefaultConnection();
    if (QTranslator* translator = Translation::installed()) {
        QCoreApplication::removeTranslator(translator);
    }
    QFile::remove(translations + QStringLiteral("/pardo-reminder_de.qm"));
}

void TestTranslations::templateHoldsTheTexts_data() {
    QTest::addColumn<QString>("context");
    QTest::addColumn<QString>("source");
    QTest::newRow("main window") << QStringLiteral("MainWindow") << QStringLiteral("New task");
    QTest::newRow("action button")
        << QStringLiteral("ActionButton") << QStringLiteral("Delete task");
    QTest::newRow("task button") << QStringLiteral("TaskButton")
                                 << QStringLiteral("No alarm queued");
    QTest::newRow("editor") << QStringLiteral("TaskWindow")
                            << QStringLiteral("Every task must have a title.");
    QTest::newRow("editor, free function")
        << QStringLiteral("TaskWindow") << QStringLiteral("Task could not be saved.");
    QTest::newRow("repetitions") << QStringLiteral("RepetitionsWidget")
                                 << QStringLiteral("Will repeat on the day %1.");
    QTest::newRow("alarm row") << QStringLiteral("AlarmWidget") << QStringLiteral("Remove alarm");
    QTest::newRow("settings") << QStringLiteral("SettingsWindow")
                              << QStringLiteral("Snooze interval (min):");
    QTest::newRow("about text") << QStringLiteral("SettingsWindow")
                                << QStringLiteral("Both will be appreciated.");
    QTest::newRow("delete question")
        << QStringLiteral("TaskManager")
        << QStringLiteral("Are you sure you want to delete this task?");
    QTest::newRow("picker") << QStringLiteral("QMaemo5AbstractPickSelector")
                            << QStringLiteral("Done");
    QTest::newRow("ring duration") << QStringLiteral("RingRequest") << QStringLiteral("min");
}

void TestTranslations::templateHoldsTheTexts() {
    QFETCH(QString, context);
    QFETCH(QString, source);
    const QList<Message> messages = templateMessages();
    QVERIFY2(messages.size() > 80, qPrintable(QString::number(messages.size())));
    bool found = false;
    for (const Message& message : messages) {
        found = found || (message.context == context && message.source.contains(source));
    }
    QVERIFY2(found, qPrintable(context + QStringLiteral(": ") + source));
}

void TestTranslations::noTranslationLeavesTheTextsAsWritten() {
    QVERIFY(!Translation::install(QLocale(QLocale::German, QLocale::Germany)));
    MainWindow window(*manager);
    QCOMPARE(window.windowTitle(), QStringLiteral("Pardo Reminder"));
}

void TestTranslations::translationOfTheUsersLanguageIsUsed() {
    QVERIFY(writeBracketedTranslation(translations + QStringLiteral("/pardo-reminder_de.qm")));
    QVERIFY(!Translation::install(QLocale(QLocale::French, QLocale::France)));
    QVERIFY(Translation::install(QLocale(QLocale::German, QLocale::Austria)));
    MainWindow window(*manager);
    QCOMPARE(window.windowTitle(), QStringLiteral("[Pardo Reminder]"));
}

void TestTranslations::ringTextsAreTranslated_data() {
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("plain");
    QTest::addColumn<QString>("translated");
    QTest::newRow("nothing") << qint64(0) << QStringLiteral("0 s") << QStringLiteral("[0 s]");
    QTest::newRow("seconds") << qint64(45) << QStringLiteral("45 s") << QStringLiteral("45 [s]");
    QTest::newRow("minutes") << qint64(600) << QStringLiteral("10 min")
                             << QStringLiteral("10 [min]");
    QTest::newRow("hours and minutes")
        << qint64(5400) << QStringLiteral("1 h 30 min") << QStringLiteral("1 [h] 30 [min]");
    QTest::newRow("days") << qint64(86400 * 2) << QStringLiteral("2 d") << QStringLiteral("2 [d]");
}

// The ring window and the daemon's notification say for how long a snooze lasts.
void TestTranslations::ringTextsAreTranslated() {
    QFETCH(qint64, seconds);
    QFETCH(QString, plain);
    QFETCH(QString, translated);
    QCOMPARE(RingRequest::durationText(seconds), plain);
    QVERIFY(writeBracketedTranslation(translations + QStringLiteral("/pardo-reminder_de.qm")));
    QVERIFY(Translation::install(QLocale(QLocale::German, QLocale::Germany)));
    QCOMPARE(RingRequest::durationText(seconds), translated);

    RingRequest request;
    request.snoozeSecs = seconds;
    const QString button = request.buttonText({2, QStringLiteral("Snooze"), true});
    QCOMPARE(button, QStringLiteral("[Snooze %1]").arg(translated));
}

void TestTranslations::everyTextOfTheWindowsIsTranslated_data() {
    QTest::addColumn<QString>("window");
    QTest::newRow("main window") << QStringLiteral("main");
    QTest::newRow("new task: the kind") << QStringLiteral("new");
    QTest::newRow("countdown editor") << QStringLiteral("countdown");
    QTest::newRow("dated editor") << QStringLiteral("dated");
    QTest::newRow("settings") << QStringLiteral("settings");
}

void TestTranslations::everyTextOfTheWindowsIsTranslated() {
    QFETCH(QString, window);
    QVERIFY(writeBracketedTranslation(translations + QStringLiteral("/pardo-reminder_de.qm")));
    QVERIFY(Translation::install(QLocale(QLocale::German, QLocale::Germany)));
    std::unique_ptr<QWidget> shown;
    if (window == QLatin1String("main")) {
        shown = std::make_unique<MainWindow>(*manager);
    } else if (window == QLatin1String("settings")) {
        shown = std::make_unique<SettingsWindow>(nullptr);
    } else {
        auto editor = std::make_unique<TaskWindow>(*manager, nullptr);
        if (window == QLatin1String("countdown")) {
            editor->displayTaskT();
        } else if (window == QLatin1String("dated")) {
            editor->displayTaskD();
        }
        shown = std::move(editor);
    }
    shown->show();
    QVERIFY(QTest::qWaitForWindowExposed(shown.get()));
    QStringList names;
    for (const Task* task : manager->allTasks()) {
        names << task->name();
    }
    const QStringList missed = untranslated(shown.get(), names);
    QVERIFY2(missed.isEmpty(), qPrintable(missed.join(QLatin1Char('\n'))));
}

PARDO_TEST_MAIN(TestTranslations)
#include "tst_translations.moc"
