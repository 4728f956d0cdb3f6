#include <QScreen>

#include "pardotest.h"
#include "stackedwindow.h"

class TestStackedWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void rootWindowIsOnlyMarked();
    void childOpensOverItsParent_data();
    void childOpensOverItsParent();
    void childStaysInsideScreen();
};

void TestStackedWindow::rootWindowIsOnlyMarked() {
    QWidget root;
    QVERIFY(!StackedWindow::isEnabled(&root));
    StackedWindow::enable(&root);
    QVERIFY(StackedWindow::isEnabled(&root));
    QVERIFY(root.isWindow());
}

void TestStackedWindow::childOpensOverItsParent_data() {
    QTest::addColumn<QRect>("parentGeometry");
    QTest::newRow("top left") << QRect(20, 20, 600, 400);
    QTest::newRow("moved and smaller") << QRect(60, 50, 500, 300);
}

void TestStackedWindow::childOpensOverItsParent() {
    QFETCH(QRect, parentGeometry);
    QWidget parent;
    parent.setGeometry(parentGeometry);
    parent.show();
    QVERIFY(QTest::qWaitForWindowExposed(&parent));

    auto* child = new QWidget(&parent);
    StackedWindow::enable(child);
    QVERIFY(child->isWindow());
    child->show();
    QVERIFY(QTest::qWaitForWindowExposed(child));
    QCOMPARE(child->geometry(), parent.geometry());

    parent.hide();
    child->close();
    QTRY_VERIFY(parent.isVisible());
}

void TestStackedWindow::childStaysInsideScreen() {
    QWidget parent;
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    // Larger than the screen and partly off it, as a window the user dragged there.
    parent.setGeometry(QRect(area.topLeft() + QPoint(40, 30), area.size() + QSize(100, 80)));
    parent.show();
    QVERIFY(QTest::qWaitForWindowExposed(&parent));

    auto* child = new QWidget(&parent);
    StackedWindow::enable(child);
    child->show();
    QVERIFY(QTest::qWaitForWindowExposed(child));
    QVERIFY2(area.contains(child->frameGeometry()),
             qPrintable(QStringLiteral("%1,%2 %3x%4")
                            .arg(child->frameGeometry().x())
                            .arg(child->frameGeometry().y())
                            .arg(child->frameGeometry().width())
                            .arg(child->frameGeometry().height())));
    child->close();
}

PARDO_TEST_MAIN(TestStackedWindow)
#include "tst_stackedwindow.moc"
