#include <QDBusConnection>
#include <QElapsedTimer>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>

#include "alarmdialog.h"
#include "fakeringdaemon.h"
#include "pardotest.h"
#include "ringsample.h"
#include "ringmessage.h"
#include "ringrequest.h"
#include "ringwindows.h"

namespace {

const QString daemonService = QStringLiteral("org.velmar.test.alarmd");

RingRequest ring(qint64 cookie, const QString& title, const QString& message = QString()) {
    return RingSample::stopAndSnooze(cookie, title, message);
}

QStringList titles(const RingWindows& windows) {
    QStringList result;
    for (const AlarmDialog* dialog : windows.windows()) {
        result << dialog->windowTitle();
    }
    return result;
}

} // namespace

class TestRingWindows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void showLinesOpenWindows();
    void aLineMayComeInPieces();
    void invalidLinesAreIgnored_data();
    void invalidLinesAreIgnored();
    void anOverlongLineIsDropped();
    void aSecondShowReplacesTheContent();
    void withdrawCloses();
    void windowsDoNotHideEachOther_data();
    void windowsDoNotHideEachOther();
    void moreThanFitKeepEveryTopInSight();
    void aLongMessageKeepsTheButtonsOnTheScreen();
    void aButtonAnswersTheDaemonAndCloses();
    void closingAnswersTheFirstButton();
    void aSilentDaemonBlocksNothing();

private:
    std::unique_ptr<FakeRingDaemon> daemon;
    std::unique_ptr<RingWindows> windows;
    std::unique_ptr<QSignalSpy> lines;
};

void TestRingWindows::initTestCase() {
    daemon = std::make_unique<FakeRingDaemon>(daemonService);
    QVERIFY(daemon->isServing());
}

void TestRingWindows::init() {
    daemon->clear();
    daemon->setSilent(false);
    windows = std::make_unique<RingWindows>(QDBusConnection::sessionBus(), daemonService);
    lines = std::make_unique<QSignalSpy>(windows.get(), &RingWindows::line);
}

void TestRingWindows::cleanup() {
    lines.reset();
    windows.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestRingWindows::showLinesOpenWindows() {
    windows->feed(RingMessage::show(ring(3, QStringLiteral("Dentist"))) +
                  RingMessage::show(ring(9, QStringLiteral("Bins out"))));
    QCOMPARE(titles(*windows),
             (QStringList{QStringLiteral("Dentist"), QStringLiteral("Bins out")}));
    for (AlarmDialog* dialog : windows->windows()) {
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
    }
    QCOMPARE(windows->window(9)->buttons().at(1)->text(), QStringLiteral("Snooze 10 min"));
    QCOMPARE(lines->size(), 2);
    QCOMPARE(lines->at(0).first().toByteArray(), QByteArray("shown 3"));
    QCOMPARE(lines->at(1).first().toByteArray(), QByteArray("shown 9"));
}

void TestRingWindows::aLineMayComeInPieces() {
    const QByteArray whole = RingMessage::show(ring(4, QStringLiteral("Split")));
    windows->feed(whole.left(17));
    QVERIFY(windows->windows().isEmpty());
    QCOMPARE(lines->size(), 0);
    windows->feed(whole.mid(17, whole.size() - 18));
    QVERIFY(windows->windows().isEmpty());
    windows->feed(whole.right(1) + RingMessage::withdraw(4).left(5));
    QCOMPARE(titles(*windows), QStringList{QStringLiteral("Split")});
    QCOMPARE(lines->size(), 1);
    QCOMPARE(lines->first().first().toByteArray(), QByteArray("shown 4"));
    windows->feed(RingMessage::withdraw(4).mid(5));
    QVERIFY(windows->windows().isEmpty());
}

void TestRingWindows::invalidLinesAreIgnored_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("garbage") << QByteArray("hello\n");
    QTest::newRow("array") << QByteArray("[1,2]\n");
    QTest::newRow("cookie as number") << QByteArray("{\"withdraw\":5}\n");
    QTest::newRow("unknown") << QByteArray("{\"ring\":{}}\n");
    QTest::newRow("cut") << RingMessage::show(ring(5, QStringLiteral("Cut"))).left(30) + '\n';
}

void TestRingWindows::invalidLinesAreIgnored() {
    QFETCH(QByteArray, line);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("ignoring a line")));
    windows->feed(line + RingMessage::show(ring(6, QStringLiteral("After"))));
    QCOMPARE(titles(*windows), QStringList{QStringLiteral("After")});
}

void TestRingWindows::anOverlongLineIsDropped() {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("longer than")));
    const QByteArray chunk(RingMessage::maxLineBytes / 4, 'x');
    for (int i = 0; i < 6; ++i) {
        windows->feed(chunk);
    }
    // The rest of the long line is not read as a message, the next line is.
    windows->feed(RingMessage::show(ring(8, QStringLiteral("Hidden"))).mid(1));
    QVERIFY(windows->windows().isEmpty());
    windows->feed(RingMessage::show(ring(9, QStringLiteral("Next"))));
    QCOMPARE(titles(*windows), QStringList{QStringLiteral("Next")});
}

void TestRingWindows::aSecondShowReplacesTheContent() {
    windows->feed(RingMessage::show(ring(3, QStringLiteral("Dentist"), QStringLiteral("at 9"))));
    windows->feed(RingMessage::show(ring(3, QStringLiteral("Dentist"), QStringLiteral("at 10"))));
    QCOMPARE(windows->windows().size(), 1);
    QCOMPARE(windows->window(3)->messageText(), QStringLiteral("at 10"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const QWidgetList tops = QApplication::topLevelWidgets();
    QCOMPARE(std::count_if(tops.cbegin(), tops.cend(),
                           [](QWidget* widget) { return qobject_cast<AlarmDialog*>(widget); }),
             1);
    // Replacing is not answering.
    QTest::qWait(50);
    QVERIFY(daemon->calls().isEmpty());
}

void TestRingWindows::withdrawCloses() {
    windows->feed(RingMessage::show(ring(3, QStringLiteral("Dentist"))) +
                  RingMessage::show(ring(4, QStringLiteral("Bins"))));
    QPointer<AlarmDialog> first = windows->window(3);
    QVERIFY(QTest::qWaitForWindowExposed(first.data()));
    windows->feed(RingMessage::withdraw(3) + RingMessage::withdraw(77));
    QTRY_VERIFY(first.isNull());
    QCOMPARE(titles(*windows), QStringList{QStringLiteral("Bins")});
    QTest::qWait(50);
    QVERIFY(daemon->calls().isEmpty());
}

void TestRingWindows::windowsDoNotHideEachOther_data() {
    QTest::addColumn<int>("count");
    QTest::newRow("three") << 3;
    QTest::newRow("eight") << 8;
}

void TestRingWindows::windowsDoNotHideEachOther() {
    QFETCH(int, count);
    for (int i = 1; i <= count; ++i) {
        // Messages of different lengths make windows of different heights.
        windows->feed(
            RingMessage::show(ring(i, QStringLiteral("Ring %1").arg(i),
                                   QStringLiteral("Something to do. ").repeated(i % 3 * 2 + 1))));
    }
    const QList<AlarmDialog*> open = windows->windows();
    QCOMPARE(open.size(), count);
    for (AlarmDialog* dialog : open) {
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
    }
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY2(area.width() >= 1280, "run on the 1280x800 test screen");
    for (int i = 0; i < open.size(); ++i) {
        const QRect frame = open.at(i)->frameGeometry();
        QVERIFY2(area.contains(frame), qPrintable(open.at(i)->windowTitle()));
        for (int j = i + 1; j < open.size(); ++j) {
            QVERIFY2(!frame.intersects(open.at(j)->frameGeometry()),
                     qPrintable(open.at(i)->windowTitle() + QStringLiteral(" / ") +
                                open.at(j)->windowTitle()));
        }
    }
}

void TestRingWindows::moreThanFitKeepEveryTopInSight() {
    const int count = 16;
    for (int i = 1; i <= count; ++i) {
        windows->feed(RingMessage::show(ring(i, QStringLiteral("Ring %1").arg(i))));
    }
    const QList<AlarmDialog*> open = windows->windows();
    QCOMPARE(open.size(), count);
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    // Stacked in order of arrival: no later window covers an earlier one's corner.
    for (int i = 0; i < open.size(); ++i) {
        QVERIFY(QTest::qWaitForWindowExposed(open.at(i)));
        const QPoint corner = open.at(i)->frameGeometry().topLeft();
        QVERIFY2(area.contains(corner), qPrintable(open.at(i)->windowTitle()));
        for (int j = i + 1; j < open.size(); ++j) {
            QVERIFY2(!open.at(j)->frameGeometry().contains(corner),
                     qPrintable(open.at(i)->windowTitle() + QStringLiteral(" under ") +
                                open.at(j)->windowTitle()));
        }
    }
}

void TestRingWindows::aLongMessageKeepsTheButtonsOnTheScreen() {
    // As long as a message may be.
    const QString message =
        QStringLiteral("Pack the tent. ").repeated(RingMessage::maxTextBytes / 15);
    windows->feed(RingMessage::show(ring(2, QStringLiteral("Camping"), message)));
    AlarmDialog* dialog = windows->window(2);
    QVERIFY(dialog);
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY2(area.contains(dialog->frameGeometry()),
             qPrintable(QStringLiteral("%1x%2").arg(dialog->width()).arg(dialog->height())));
    // All of it in sight, not squeezed.
    QVERIFY(dialog->height() >= dialog->heightForWidth(dialog->width()));
    QCOMPARE(dialog->messageText(), message);
}

void TestRingWindows::aButtonAnswersTheDaemonAndCloses() {
    windows->feed(RingMessage::show(ring(12, QStringLiteral("Dentist"))));
    QPointer<AlarmDialog> dialog = windows->window(12);
    QVERIFY(QTest::qWaitForWindowExposed(dialog.data()));
    dialog->buttons().at(1)->click();
    QTRY_VERIFY(dialog.isNull());
    QVERIFY(windows->windows().isEmpty());
    QTRY_COMPARE(daemon->calls().size(), 1);
    QCOMPARE(daemon->calls().first().cookie, 12);
    QCOMPARE(daemon->calls().first().action, 1);
}

void TestRingWindows::closingAnswersTheFirstButton() {
    windows->feed(RingMessage::show(ring(13, QStringLiteral("Dentist"))));
    QPointer<AlarmDialog> dialog = windows->window(13);
    QVERIFY(QTest::qWaitForWindowExposed(dialog.data()));
    QVERIFY(dialog->close());
    QTRY_VERIFY(dialog.isNull());
    QTRY_COMPARE(daemon->calls().size(), 1);
    QCOMPARE(daemon->calls().first().cookie, 13);
    QCOMPARE(daemon->calls().first().action, 0);
}

void TestRingWindows::aSilentDaemonBlocksNothing() {
    daemon->setSilent(true);
    windows->feed(RingMessage::show(ring(14, QStringLiteral("One"))) +
                  RingMessage::show(ring(15, QStringLiteral("Two"))));
    QPointer<AlarmDialog> dialog = windows->window(14);
    QVERIFY(QTest::qWaitForWindowExposed(dialog.data()));
    QElapsedTimer clock;
    clock.start();
    dialog->buttons().at(0)->click();
    // Back at once, well before the answer's timeout, and the window goes all the same.
    QVERIFY(clock.elapsed() < RingWindows::respondTimeoutMs / 2);
    QTRY_VERIFY(dialog.isNull());
    QTRY_COMPARE(daemon->calls().size(), 1);
    windows->feed(RingMessage::withdraw(15));
    QVERIFY(windows->windows().isEmpty());
    // The unanswered call runs out quietly.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("did not take")));
    QTest::qWait(RingWindows::respondTimeoutMs + 500);
}

PARDO_DBUS_TEST_MAIN(TestRingWindows)
#include "tst_ringwindows.moc"
