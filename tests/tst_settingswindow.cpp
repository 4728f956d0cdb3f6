#include <QGridLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QScrollArea>
#include <QVBoxLayout>

#include "imagecompare.h"
#include "notes.h"
#include "pardotest.h"
#include "qmaemo5informationbox.h"
#include "settingswindow.h"
#include "stackedwindow.h"
#include "taskmanager.h"
#include "taskwindowbutton.h"
#include "testdatabase.h"

namespace {

const QString kSelect = QStringLiteral("SELECT value FROM meta WHERE name = 'gs_snooze_interval'");
const QString kInsert =
    QStringLiteral("INSERT INTO meta (id, name, value) VALUES (NULL, 'gs_snooze_interval', '10')");

QStringList storedValues() {
    QStringList values;
    for (const QVariantList& row : TestDatabase::rows(QStringLiteral(
             "SELECT value FROM meta WHERE name = 'gs_snooze_interval' ORDER BY id"))) {
        values << row.at(0).toString();
    }
    return values;
}

QLineEdit* field(const QWidget* window) {
    return window->findChild<QLineEdit*>(QStringLiteral("snoozeIntervalEdit"));
}

QImage image(const char* name) {
    return ImageCompare::resource(QLatin1String(name));
}

} // namespace

class TestSettingsWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void missingRowIsCreatedWithTen();
    void storedValueIsShown_data();
    void storedValueIsShown();
    void failedReadShowsTen();
    void layoutAndTexts();
    void fieldTakesOneToNinetyNine_data();
    void fieldTakesOneToNinetyNine();
    void savingWritesTypedTextAndCloses();
    void clearedFieldIsSavedEmptyAndReadsZero();
    void failedWriteStaysOpenSilently();
    void cancelClosesWithoutWriting();

private:
    void open();
    void save();

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<SettingsWindow> window;
};

void TestSettingsWindow::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
}

void TestSettingsWindow::cleanup() {
    Notes::closeAll();
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestSettingsWindow::open() {
    window = std::make_unique<SettingsWindow>(nullptr);
    window->resize(800, 480);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    // Without a window manager (a bare X server) nothing activates a new window by itself.
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
}

void TestSettingsWindow::save() {
    auto* accept = window->findChild<TaskWindowButton*>(QStringLiteral("acceptButton"));
    QTest::mouseClick(accept, Qt::LeftButton);
}

void TestSettingsWindow::missingRowIsCreatedWithTen() {
    QVERIFY(storedValues().isEmpty());
    SqlTrace trace;
    open();
    QCOMPARE(field(window.get())->text(), QStringLiteral("10"));
    QCOMPARE(trace.statements(), (QStringList{kSelect, kInsert}));
    QCOMPARE(storedValues(), QStringList{QStringLiteral("10")});
    // The next opening finds the row and adds none.
    trace.clear();
    open();
    QCOMPARE(trace.statements(), QStringList{kSelect});
    QCOMPARE(storedValues(), QStringList{QStringLiteral("10")});
}

void TestSettingsWindow::storedValueIsShown_data() {
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("shown");
    QTest::newRow("25") << QStringLiteral("25") << QStringLiteral("25");
    QTest::newRow("1") << QStringLiteral("1") << QStringLiteral("1");
    QTest::newRow("not a number") << QStringLiteral("soon") << QStringLiteral("0");
    QTest::newRow("empty") << QString() << QStringLiteral("0");
}

void TestSettingsWindow::storedValueIsShown() {
    QFETCH(QString, stored);
    QFETCH(QString, shown);
    QVERIFY(TestDatabase::exec(QStringLiteral("INSERT INTO meta (name, value) VALUES "
                                              "('gs_snooze_interval', '%1')")
                                   .arg(stored)));
    SqlTrace trace;
    open();
    QCOMPARE(field(window.get())->text(), shown);
    QCOMPARE(trace.statements(), QStringList{kSelect});
}

void TestSettingsWindow::failedReadShowsTen() {
    QVERIFY(TestDatabase::exec(QStringLiteral("DROP TABLE meta")));
    SqlTrace trace;
    open();
    QCOMPARE(field(window.get())->text(), QStringLiteral("10"));
    QCOMPARE(window->getSnoozeIntervalFromDatabase(), 10);
    // A failed read inserts nothing.
    for (const QString& statement : trace.statements()) {
        QVERIFY2(!statement.startsWith(QLatin1String("INSERT")), qPrintable(statement));
    }
}

void TestSettingsWindow::layoutAndTexts() {
    open();
    QCOMPARE(window->windowTitle(), QStringLiteral("Pardo Reminder"));
    QVERIFY(StackedWindow::isEnabled(window.get()));
    auto* row = qobject_cast<QHBoxLayout*>(window->centralWidget()->layout());
    QVERIFY(row);
    QCOMPARE(row->contentsMargins(), QMargins(0, 0, 0, 0));
    auto* area = qobject_cast<QScrollArea*>(row->itemAt(0)->widget());
    QVERIFY(area);
    QCOMPARE(area->frameStyle(), 0);
    QVERIFY(area->widgetResizable());
    auto* column = qobject_cast<QVBoxLayout*>(area->widget()->layout());
    auto* grid = qobject_cast<QGridLayout*>(column->itemAt(0)->layout());
    QVERIFY(grid);
    QVERIFY(column->itemAt(1)->spacerItem());
    QCOMPARE(grid->rowMinimumHeight(0), 84);
    QCOMPARE(grid->columnMinimumWidth(1), 410);

    QCOMPARE(qobject_cast<QLabel*>(grid->itemAtPosition(0, 0)->widget())->text(),
             QStringLiteral("Snooze interval (min):"));
    QLineEdit* edit = field(window.get());
    QCOMPARE(grid->itemAtPosition(0, 1)->widget(), edit);
    QCOMPARE(edit->maximumWidth(), 100);
    QCOMPARE(edit->inputMethodHints(), Qt::ImhDigitsOnly);
    auto* validator = qobject_cast<const QIntValidator*>(edit->validator());
    QVERIFY(validator);
    QCOMPARE(validator->bottom(), 1);
    QCOMPARE(validator->top(), 99);
    QTRY_COMPARE(QApplication::focusWidget(), edit);

    QWidget* quick = grid->itemAtPosition(1, 0)->widget();
    QCOMPARE(grid->itemAtPosition(1, 1)->widget(), quick);
    QCOMPARE(quick->layout()->contentsMargins(), QMargins(0, 0, 0, 0));
    QList<QLabel*> labels = quick->findChildren<QLabel*>();
    QCOMPARE(labels.size(), 2);
    QCOMPARE(labels.at(0)->text(), QStringLiteral("Quick start"));
    QVERIFY(labels.at(0)->font().bold());
    QCOMPARE(labels.at(1)->text(),
             QStringLiteral("Tap the task once to select it if you want to change or delete it. "
                            "Tap it twice to activate and deactivate it. That's it - fast and "
                            "simple!"));
    QVERIFY(labels.at(1)->wordWrap());
    QCOMPARE(labels.at(1)->font().pointSize(), 15);

    QWidget* feedback = grid->itemAtPosition(2, 0)->widget();
    QCOMPARE(grid->itemAtPosition(2, 1)->widget(), feedback);
    QCOMPARE(feedback->layout()->contentsMargins(), QMargins(0, 12, 0, 0));
    labels = feedback->findChildren<QLabel*>();
    QCOMPARE(labels.size(), 2);
    QCOMPARE(labels.at(0)->text(), QStringLiteral("Feedback and support"));
    QVERIFY(labels.at(0)->font().bold());
    QLabel* about = labels.at(1);
    QVERIFY(about->wordWrap());
    QCOMPARE(about->font().pointSize(), 15);
    QCOMPARE(about->textFormat(), Qt::RichText);
    QVERIFY(about->openExternalLinks());
    const QString text = about->text();
    QVERIFY(text.startsWith(
        QStringLiteral("The Pardo Reminder 1.0.1 was created by the Velmar Ltd. company. "
                       "Promotion website can be seen at <a href='")));
    QVERIFY(text.endsWith(QStringLiteral(". Both will be appreciated.")));
    QVERIFY(text.contains(
        QStringLiteral(". You can provide feedback or get support via <a href='mailto:")));
    QVERIFY(text.contains(QStringLiteral("?subject=PARDO%20feedback'><font color='#22c70d'>")));
    QCOMPARE(text.count(QStringLiteral("<font color='#22c70d'>")), 2);
    QCOMPARE(text.count(QStringLiteral("</font></a>")), 2);
    // The visible text of each link is its address, under a reserved example domain.
    const QRegularExpression link(QStringLiteral(
        "<a href='(?:mailto:|https?://)?([^'?]+)[^']*'><font color='#22c70d'>([^<]+)</font></a>"));
    auto matches = link.globalMatch(text);
    int links = 0;
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        QCOMPARE(match.captured(2), match.captured(1));
        QVERIFY(match.captured(1).contains(QLatin1String("example.com")));
        ++links;
    }
    QCOMPARE(links, 2);

    auto* sidebar = qobject_cast<QVBoxLayout*>(row->itemAt(1)->layout());
    QCOMPARE(sidebar->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(sidebar->spacing(), 0);
    QCOMPARE(sidebar->count(), 3);
    auto* cancel = qobject_cast<TaskWindowButton*>(sidebar->itemAt(0)->widget());
    QVERIFY(sidebar->itemAt(1)->spacerItem());
    auto* accept = qobject_cast<TaskWindowButton*>(sidebar->itemAt(2)->widget());
    QVERIFY(cancel && accept);
    QCOMPARE(cancel->iconSize(), QSize(70, 70));
    PARDO_COMPARE_IMAGES(ImageCompare::iconImage(cancel->icon(), QSize(70, 70)),
                         image("icon_cancel.png"));
    PARDO_COMPARE_IMAGES(ImageCompare::iconImage(accept->icon(), QSize(70, 70)),
                         image("icon_accept.png"));
    QCOMPARE(cancel->geometry().top(), 0);
    QCOMPARE(accept->geometry().bottom(), window->centralWidget()->height() - 1);
}

void TestSettingsWindow::fieldTakesOneToNinetyNine_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::newRow("two digits") << QStringLiteral("25") << QStringLiteral("25");
    QTest::newRow("third digit refused") << QStringLiteral("123") << QStringLiteral("12");
    QTest::newRow("letters refused") << QStringLiteral("a5b") << QStringLiteral("5");
    QTest::newRow("minus refused") << QStringLiteral("-3") << QStringLiteral("3");
    QTest::newRow("zero refused") << QStringLiteral("0") << QString();
    QTest::newRow("one") << QStringLiteral("1") << QStringLiteral("1");
}

void TestSettingsWindow::fieldTakesOneToNinetyNine() {
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    open();
    QLineEdit* edit = field(window.get());
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, typed);
    QCOMPARE(edit->text(), shown);
}

void TestSettingsWindow::savingWritesTypedTextAndCloses() {
    open();
    QLineEdit* edit = field(window.get());
    edit->selectAll();
    QTest::keyClicks(edit, QStringLiteral("25"));
    SqlTrace trace;
    save();
    QCOMPARE(trace.statements(),
             QStringList{
                 QStringLiteral("UPDATE meta SET value = '25' WHERE name = 'gs_snooze_interval'")});
    QCOMPARE(storedValues(), QStringList{QStringLiteral("25")});
    QVERIFY(!window->isVisible());
    QCOMPARE(Notes::visible().size(), 1);
    const QPointer<QMaemo5InformationBox> note = Notes::visible().first();
    QCOMPARE(note->text(), QStringLiteral("Settings saved."));
    QVERIFY(!note->parentWidget());
    // A transient note of three seconds: still there well after a short one would have gone,
    // gone once its time is up.
    QCOMPARE(note->timeout(), 3000);
    QTest::qWait(800);
    QVERIFY(note && note->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(Notes::visible().isEmpty(), 3000 + 2000);
    QVERIFY(note.isNull());

    open();
    QCOMPARE(field(window.get())->text(), QStringLiteral("25"));
}

void TestSettingsWindow::clearedFieldIsSavedEmptyAndReadsZero() {
    open();
    QLineEdit* edit = field(window.get());
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    SqlTrace trace;
    save();
    QCOMPARE(trace.statements(),
             QStringList{
                 QStringLiteral("UPDATE meta SET value = '' WHERE name = 'gs_snooze_interval'")});
    QCOMPARE(storedValues(), QStringList{QString()});
    QVERIFY(!window->isVisible());
    open();
    QCOMPARE(field(window.get())->text(), QStringLiteral("0"));
}

void TestSettingsWindow::failedWriteStaysOpenSilently() {
    open();
    QVERIFY(TestDatabase::exec(QStringLiteral("ALTER TABLE meta RENAME TO gone")));
    field(window.get())->selectAll();
    QTest::keyClicks(field(window.get()), QStringLiteral("30"));
    save();
    QVERIFY(window->isVisible());
    QTest::qWait(50);
    QVERIFY(Notes::visible().isEmpty());
    QCOMPARE(field(window.get())->text(), QStringLiteral("30"));
}

void TestSettingsWindow::cancelClosesWithoutWriting() {
    open();
    field(window.get())->selectAll();
    QTest::keyClicks(field(window.get()), QStringLiteral("45"));
    SqlTrace trace;
    QTest::mouseClick(window->findChild<TaskWindowButton*>(QStringLiteral("cancelButton")),
                      Qt::LeftButton);
    QVERIFY(!window->isVisible());
    QVERIFY(trace.statements().isEmpty());
    QCOMPARE(storedValues(), QStringList{QStringLiteral("10")});
}

PARDO_TEST_MAIN(TestSettingsWindow)
#include "tst_settingswindow.moc"
