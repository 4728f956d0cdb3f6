#include <QLabel>
#include <QPushButton>
#include <QWindow>

#include "notes.h"
#include "pardotest.h"
#include "qmaemo5informationbox.h"

class TestInformationBox : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void showsTextAndGoesAway_data();
    void showsTextAndGoesAway();
    void defaultTimeoutIsThreeSeconds();
    void doesNotTakeFocus();
    void sitsAtTopOfActiveWindow();
    void clicksReachWhatLiesUnder_data();
    void clicksReachWhatLiesUnder();
};

void TestInformationBox::showsTextAndGoesAway_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("timeout");
    QTest::newRow("task") << QStringLiteral("Task saved.") << 300;
    QTest::newRow("settings") << QStringLiteral("Settings saved.") << 150;
}

void TestInformationBox::showsTextAndGoesAway() {
    QFETCH(QString, text);
    QFETCH(int, timeout);
    QMaemo5InformationBox::information(nullptr, text, timeout);
    QCOMPARE(Notes::visible().size(), 1);
    QCOMPARE(Notes::visible().first()->text(), text);
    QCOMPARE(Notes::visible().first()->findChild<QLabel*>()->text(), text);
    QCOMPARE(Notes::visible().first()->timeout(), timeout);
    QTRY_VERIFY_WITH_TIMEOUT(Notes::visible().isEmpty(), timeout + 2000);
}

void TestInformationBox::defaultTimeoutIsThreeSeconds() {
    QMaemo5InformationBox::information(nullptr, QStringLiteral("Task saved."));
    QMaemo5InformationBox::information(nullptr, QStringLiteral("Stays."),
                                       QMaemo5InformationBox::NoTimeout);
    QMap<QString, int> timeouts;
    for (const QMaemo5InformationBox* box : Notes::visible()) {
        timeouts.insert(box->text(), box->timeout());
    }
    QCOMPARE(timeouts, (QMap<QString, int>{{QStringLiteral("Task saved."), 3000},
                                           {QStringLiteral("Stays."), 0}}));
    Notes::closeAll();
    QVERIFY(Notes::visible().isEmpty());
}

void TestInformationBox::doesNotTakeFocus() {
    QWidget window;
    window.resize(400, 300);
    window.show();
    window.activateWindow();
    QTRY_VERIFY(window.isActiveWindow());
    QMaemo5InformationBox::information(nullptr, QStringLiteral("Task saved."), 200);
    QCOMPARE(Notes::visible().size(), 1);
    QVERIFY(Notes::visible().first()->testAttribute(Qt::WA_ShowWithoutActivating));
    QTest::qWait(50);
    QVERIFY(window.isActiveWindow());
    QVERIFY(!Notes::visible().first()->isModal());
    QTRY_VERIFY(Notes::visible().isEmpty());
}

void TestInformationBox::sitsAtTopOfActiveWindow() {
    QWidget window;
    window.setGeometry(100, 80, 500, 300);
    window.show();
    window.activateWindow();
    QTRY_VERIFY(window.isActiveWindow());
    QMaemo5InformationBox::information(nullptr, QStringLiteral("Task saved."), 200);
    QMaemo5InformationBox* box = Notes::visible().first();
    QCOMPARE(box->geometry().topLeft(), window.geometry().topLeft());
    QCOMPARE(box->width(), window.width());
    QTRY_VERIFY(Notes::visible().isEmpty());
}

void TestInformationBox::clicksReachWhatLiesUnder_data() {
    QTest::addColumn<QPoint>("where");
    QTest::newRow("middle") << QPoint(250, 20);
    QTest::newRow("near the left edge") << QPoint(6, 30);
    QTest::newRow("near the right edge") << QPoint(494, 10);
}

void TestInformationBox::clicksReachWhatLiesUnder() {
    QFETCH(QPoint, where);
    QWidget window;
    window.setGeometry(100, 80, 500, 300);
    auto* button = new QPushButton(QStringLiteral("Under"), &window);
    button->setGeometry(0, 0, 500, 60);
    window.show();
    window.activateWindow();
    QTRY_VERIFY(window.isActiveWindow());
    QSignalSpy clicked(button, &QPushButton::clicked);

    QMaemo5InformationBox::information(nullptr, QStringLiteral("Task saved."), 3000);
    QMaemo5InformationBox* box = Notes::visible().first();
    QVERIFY(QTest::qWaitForWindowExposed(box));
    const QPoint global = button->mapToGlobal(where);
    // The banner does lie over the spot.
    QVERIFY(box->geometry().contains(global));

    // The click goes to the window the platform finds at that spot, as a real one does.
    QWindow* target = QGuiApplication::topLevelAt(global);
    QVERIFY(target);
    QTest::mouseClick(target, Qt::LeftButton, {}, target->mapFromGlobal(global));
    QTRY_COMPARE(clicked.count(), 1);
    // Twice in a row, while the banner is still up.
    QTest::mouseClick(target, Qt::LeftButton, {}, target->mapFromGlobal(global));
    QTRY_COMPARE(clicked.count(), 2);
    QVERIFY(box->isVisible());
    // What a window system that routes clicks itself (X11, Wayland) goes by.
    QVERIFY(box->windowHandle()->flags() & Qt::WindowTransparentForInput);
    Notes::closeAll();
}

PARDO_TEST_MAIN(TestInformationBox)
#include "tst_informationbox.moc"
