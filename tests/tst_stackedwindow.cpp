#include "pardotest.h"
#include "stackedwindow.h"

class TestStackedWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void rootWindowIsOnlyMarked();
    void childOpensOverItsParent_data();
    void childOpensOverItsParent();
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
    QTest::newRow("handheld size") << QRect(0, 0, 800, 480);
    QTest::newRow("moved and larger") << QRect(40, 30, 900, 600);
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

PARDO_TEST_MAIN(TestStackedWindow)
#include "tst_stackedwindow.moc"
