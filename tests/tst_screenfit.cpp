#include <QAbstractButton>
#include <QPointer>
#include <QScreen>

#include "actionbutton.h"
#include "fingers.h"
#include "mainwindow.h"
#include "pardotest.h"
#include "settingswindow.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

namespace {

QString describe(const QRect& rect) {
    return QStringLiteral("%1,%2 %3x%4")
        .arg(rect.x())
        .arg(rect.y())
        .arg(rect.width())
        .arg(rect.height());
}

template <typename T> T* shownWindow() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<T*>(widget); window && window->isVisible()) {
            return window;
        }
    }
    return nullptr;
}

} // namespace

// Run on a 1280x800 screen, as it is and magnified twice (QT_SCALE_FACTOR=2, which leaves
// 640x400 to the windows).
class TestScreenFit : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void windowsOpenInsideScreen_data();
    void windowsOpenInsideScreen();

private:
    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> mainWindow;
};

void TestScreenFit::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()) +
                            QString::fromLatin1(QTest::currentDataTag()));
    manager = std::make_unique<TaskManager>();
    mainWindow = std::make_unique<MainWindow>(*manager);
}

void TestScreenFit::cleanup() {
    // Editors may delete themselves when closed; whatever is left goes with the main window.
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget != mainWindow.get() && widget->parentWidget() == mainWindow.get()) {
            widget->close();
        }
    }
    mainWindow.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void TestScreenFit::windowsOpenInsideScreen_data() {
    QTest::addColumn<QString>("window");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("panel");
    QTest::addColumn<QStringList>("buttons");
    const QStringList sidebar = {QStringLiteral("cancelButton"), QStringLiteral("acceptButton")};
    QTest::newRow("main window") << QStringLiteral("main") << QString() << QString()
                                 << QStringList();
    QTest::newRow("type chooser") << QStringLiteral("editor") << QString() << QString()
                                  << QStringList{QStringLiteral("typeTButton"),
                                                 QStringLiteral("typeDButton")};
    QTest::newRow("countdown editor")
        << QStringLiteral("editor") << QStringLiteral("typeTButton") << QString() << sidebar;
    QTest::newRow("dated editor") << QStringLiteral("editor") << QStringLiteral("typeDButton")
                                  << QString() << sidebar;
    QTest::newRow("dated editor, alarms")
        << QStringLiteral("editor") << QStringLiteral("typeDButton")
        << QStringLiteral("alarmButton") << sidebar;
    QTest::newRow("dated editor, repetitions")
        << QStringLiteral("editor") << QStringLiteral("typeDButton")
        << QStringLiteral("repeatButton") << sidebar;
    QTest::newRow("settings") << QStringLiteral("settings") << QString() << QString() << sidebar;
}

void TestScreenFit::windowsOpenInsideScreen() {
    QFETCH(QString, window);
    QFETCH(QString, type);
    QFETCH(QString, panel);
    QFETCH(QStringList, buttons);

    // As the application starts.
    mainWindow->show();
    QVERIFY(QTest::qWaitForWindowExposed(mainWindow.get()));
    QWidget* shown = mainWindow.get();
    if (window == QLatin1String("editor")) {
        manager->handleTaskAction();
        shown = shownWindow<TaskWindow>();
    } else if (window == QLatin1String("settings")) {
        manager->handleSettingsAction();
        shown = shownWindow<SettingsWindow>();
    }
    QVERIFY(shown);
    QVERIFY(QTest::qWaitForWindowExposed(shown));
    for (const QString& name : {type, panel}) {
        if (!name.isEmpty()) {
            auto* button = shown->findChild<QAbstractButton*>(name);
            QVERIFY2(button && button->isVisible(), qPrintable(name));
            Fingers::tap(button);
        }
    }
    if (window == QLatin1String("main")) {
        for (ActionButton* action : shown->findChildren<ActionButton*>()) {
            action->setObjectName(QStringLiteral("action%1").arg(buttons.size()));
            buttons << action->objectName();
        }
        QCOMPARE(buttons.size(), 2);
    }

    const QRect area = shown->screen()->availableGeometry();
    QTRY_VERIFY2(
        area.contains(shown->frameGeometry()),
        qPrintable(describe(shown->frameGeometry()) + QStringLiteral(" on ") + describe(area)));
    for (const QString& name : buttons) {
        auto* button = shown->findChild<QWidget*>(name);
        QVERIFY2(button && button->isVisible(), qPrintable(name));
        const QRect global(button->mapToGlobal(QPoint(0, 0)), button->size());
        QVERIFY2(area.contains(global), qPrintable(name + QLatin1Char(' ') + describe(global) +
                                                   QStringLiteral(" on ") + describe(area)));
        // Nothing of it cut off by the window or a scroll area.
        QVERIFY2(
            button->visibleRegion() == QRegion(button->rect()),
            qPrintable(name + QLatin1Char(' ') + describe(button->visibleRegion().boundingRect())));
    }
}

PARDO_TEST_MAIN(TestScreenFit)
#include "tst_screenfit.moc"
