#include <QAccessible>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>

#include "accessibilitycheck.h"
#include "alarmdialog.h"
#include "pardotest.h"
#include "ringrequest.h"

namespace {

RingButton button(int action, const QString& label, bool snooze = false) {
    RingButton ring;
    ring.action = action;
    ring.label = label;
    ring.snooze = snooze;
    return ring;
}

// The application's ring: "Stop", "Snooze" and a button that opens the app.
RingRequest applicationRing() {
    RingRequest request;
    request.cookie = 7;
    request.title = QStringLiteral("PARDO");
    request.message = QStringLiteral("Bins out");
    request.trigger = QDateTime(QDate(2031, 5, 13), QTime(7, 5)).toSecsSinceEpoch();
    request.snoozeSecs = 600;
    request.buttons = {button(0, QStringLiteral("Stop")), button(1, QStringLiteral("Snooze"), true),
                       button(2, QStringLiteral("PARDO"))};
    return request;
}

QStringList texts(const AlarmDialog& dialog) {
    QStringList result;
    for (const QPushButton* pushButton : dialog.buttons()) {
        result << pushButton->text();
    }
    return result;
}

} // namespace

class TestRingWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void showsTitleDueTimeMessageAndButtons();
    void onlyRingButtonsBecomeButtons();
    void messageIsPlainText();
    void labelsAreShownAsWritten_data();
    void labelsAreShownAsWritten();
    void snoozeSaysForHowLong_data();
    void snoozeSaysForHowLong();
    void pressingAButtonAnswersIt();
    void closingIsTheFirstButton();
    void isAnAlertWithNamedButtons();
    void showsWithoutTakingTheKeyboard();
    void keyboardUserCanAnswer();
    void escapeIsTheFirstButton();
};

void TestRingWindow::initTestCase() {
    AccessibilityCheck::activate();
}

void TestRingWindow::showsTitleDueTimeMessageAndButtons() {
    AlarmDialog dialog(applicationRing());
    QCOMPARE(dialog.cookie(), 7);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("PARDO"));
    QVERIFY(dialog.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    const QLocale locale;
    const QDateTime due(QDate(2031, 5, 13), QTime(7, 5));
    QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("dueTime"))->text(),
             locale.toString(due.time(), QLocale::ShortFormat));
    QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("dueDate"))->text(),
             locale.toString(due.date(), QLocale::LongFormat));
    QVERIFY(dialog.dueText().contains(QStringLiteral("2031")));
    QCOMPARE(dialog.messageText(), QStringLiteral("Bins out"));
    QCOMPARE(texts(dialog), (QStringList{QStringLiteral("Stop"), QStringLiteral("Snooze 10 min"),
                                         QStringLiteral("PARDO")}));
}

void TestRingWindow::onlyRingButtonsBecomeButtons() {
    RingRequest request = applicationRing();
    // Actions without a button (a bus call when due, say) leave gaps in the indexes.
    request.buttons = {button(1, QStringLiteral("Later"), true), button(4, QStringLiteral("Open"))};
    AlarmDialog dialog(request);
    QCOMPARE(dialog.findChildren<QPushButton*>().size(), 2);
    QCOMPARE(texts(dialog), (QStringList{QStringLiteral("Later 10 min"), QStringLiteral("Open")}));
    QSignalSpy answered(&dialog, &AlarmDialog::answered);
    dialog.buttons().at(1)->click();
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toInt(), 4);
}

void TestRingWindow::messageIsPlainText() {
    RingRequest request = applicationRing();
    request.message = QStringLiteral("<b>bold</b> & <a href=\"x\">link</a>");
    AlarmDialog dialog(request);
    auto* message = dialog.findChild<QLabel*>(QStringLiteral("message"));
    QCOMPARE(message->textFormat(), Qt::PlainText);
    QCOMPARE(message->text(), request.message);
}

void TestRingWindow::labelsAreShownAsWritten_data() {
    QTest::addColumn<QString>("label");
    QTest::newRow("ampersand") << QStringLiteral("Salt & pepper");
    QTest::newRow("mnemonic-like") << QStringLiteral("&Stop");
    QTest::newRow("double") << QStringLiteral("a && b");
}

void TestRingWindow::labelsAreShownAsWritten() {
    QFETCH(QString, label);
    RingRequest request = applicationRing();
    request.buttons = {button(0, label)};
    AlarmDialog dialog(request);
    QPushButton* only = dialog.buttons().first();
    // Shown literally: every '&' doubled, so none is a shortcut.
    QCOMPARE(only->text(), QString(label).replace(QLatin1Char('&'), QStringLiteral("&&")));
    QVERIFY(only->shortcut().isEmpty());
    QCOMPARE(AccessibilityCheck::name(only), label);
}

void TestRingWindow::snoozeSaysForHowLong_data() {
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("10 min") << qint64(600) << QStringLiteral("Snooze 10 min");
    QTest::newRow("5 min") << qint64(300) << QStringLiteral("Snooze 5 min");
    QTest::newRow("1 h 30 min") << qint64(5400) << QStringLiteral("Snooze 1 h 30 min");
    QTest::newRow("45 s") << qint64(45) << QStringLiteral("Snooze 45 s");
    QTest::newRow("1 d") << qint64(86400) << QStringLiteral("Snooze 1 d");
}

void TestRingWindow::snoozeSaysForHowLong() {
    QFETCH(qint64, seconds);
    QFETCH(QString, text);
    RingRequest request = applicationRing();
    request.snoozeSecs = seconds;
    AlarmDialog dialog(request);
    QPushButton* snooze = dialog.buttons().at(1);
    QCOMPARE(snooze->text(), text);
    QCOMPARE(AccessibilityCheck::name(snooze), text);
    // Only the snooze button says a duration.
    QCOMPARE(dialog.buttons().at(0)->text(), QStringLiteral("Stop"));
}

void TestRingWindow::pressingAButtonAnswersIt() {
    AlarmDialog dialog(applicationRing());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QSignalSpy answered(&dialog, &AlarmDialog::answered);
    dialog.buttons().at(2)->click();
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toInt(), 2);
    // The window going away after the answer answers nothing more.
    dialog.dismiss();
    QCOMPARE(answered.size(), 1);
}

void TestRingWindow::closingIsTheFirstButton() {
    RingRequest request = applicationRing();
    request.buttons = {button(3, QStringLiteral("Done")), button(5, QStringLiteral("Later"), true)};
    AlarmDialog dialog(request);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QSignalSpy answered(&dialog, &AlarmDialog::answered);
    QVERIFY(dialog.close());
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toInt(), 3);

    AlarmDialog withdrawn(applicationRing());
    withdrawn.show();
    QVERIFY(QTest::qWaitForWindowExposed(&withdrawn));
    QSignalSpy silent(&withdrawn, &AlarmDialog::answered);
    withdrawn.dismiss();
    QCOMPARE(silent.size(), 0);
}

void TestRingWindow::isAnAlertWithNamedButtons() {
    AlarmDialog dialog(applicationRing());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QCOMPARE(AccessibilityCheck::role(&dialog), QAccessible::AlertMessage);
    QCOMPARE(AccessibilityCheck::name(&dialog), QStringLiteral("PARDO"));
    QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(&dialog);
    QVERIFY(iface->text(QAccessible::Description).contains(QStringLiteral("Bins out")));
    PARDO_VERIFY_ALL_NAMED(&dialog);
    QStringList names;
    for (QPushButton* pushButton : dialog.buttons()) {
        names << AccessibilityCheck::name(pushButton);
    }
    QCOMPARE(names, (QStringList{QStringLiteral("Stop"), QStringLiteral("Snooze 10 min"),
                                 QStringLiteral("PARDO")}));
    dialog.dismiss();
}

void TestRingWindow::showsWithoutTakingTheKeyboard() {
    // What a window system makes of it (the window manager leaves the focus where it is) is
    // seen on a real X server by the program's end-to-end test.
    AlarmDialog dialog(applicationRing());
    QVERIFY(dialog.testAttribute(Qt::WA_ShowWithoutActivating));
    QVERIFY(dialog.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
}

void TestRingWindow::keyboardUserCanAnswer() {
    AlarmDialog dialog(applicationRing());
    QSignalSpy answered(&dialog, &AlarmDialog::answered);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    // Switching to the window on purpose: the first button has the focus, Tab walks the others.
    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QTRY_COMPARE(QApplication::focusWidget(), dialog.buttons().at(0));
    QTest::keyClick(&dialog, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), dialog.buttons().at(1));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toInt(), 1);
    dialog.dismiss();
}

void TestRingWindow::escapeIsTheFirstButton() {
    AlarmDialog dialog(applicationRing());
    QSignalSpy answered(&dialog, &AlarmDialog::answered);
    dialog.show();
    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QTRY_COMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toInt(), 0);
    QVERIFY(!dialog.isVisible());
}

PARDO_TEST_MAIN(TestRingWindow)
#include "tst_ringwindow.moc"
