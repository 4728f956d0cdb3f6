#include <QLineEdit>
#include <QPointer>

#include "actionbutton.h"
#include "fingers.h"
#include "mainwindow.h"
#include "modalanswerer.h"
#include "notes.h"
#include "pardotest.h"
#include "settingswindow.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

namespace {

const int kRounds = 50;

} // namespace

// Editors and settings windows opened from the main window, over and over.
class TestWindowLifetime : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void closedWindowsAreFreed_data();
    void closedWindowsAreFreed();
    void openWindowStaysUntilClosed();

private:
    QWidget* open(const QString& kind);
    void close(QWidget* top, const QString& how);
    ActionButton* upper() const { return window->findChildren<ActionButton*>().value(0); }
    ActionButton* lower() const { return window->findChildren<ActionButton*>().value(1); }
    void click(QWidget* top, const char* name);
    int alive() const;

    std::unique_ptr<TaskManager> manager;
    std::unique_ptr<MainWindow> window;
    // Saving the seed task's unchanged fields asks nothing; a box that comes up fails the test.
    std::unique_ptr<ModalAnswerer> boxes;
};

void TestWindowLifetime::init() {
    boxes = std::make_unique<ModalAnswerer>(QMessageBox::Ok);
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void TestWindowLifetime::cleanup() {
    const QString unexpected = boxes->describe();
    boxes.reset();
    Notes::closeAll();
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
    QVERIFY2(unexpected.isEmpty(), qPrintable(QStringLiteral("unexpected box: ") + unexpected));
}

int TestWindowLifetime::alive() const {
    return window->findChildren<TaskWindow*>().size() +
           window->findChildren<SettingsWindow*>().size();
}

void TestWindowLifetime::click(QWidget* top, const char* name) {
    auto* button = top->findChild<QAbstractButton*>(QLatin1String(name));
    QVERIFY2(button && button->isVisible(), name);
    QTest::mouseClick(button, Qt::LeftButton);
}

// Through the main window's action buttons, as a user opens them.
QWidget* TestWindowLifetime::open(const QString& kind) {
    if (kind == QLatin1String("edit task")) {
        Task* seed = manager->allTasks().value(0);
        if (manager->focusedTask() != seed) {
            QTest::mouseClick(seed->taskButton(), Qt::LeftButton, {}, QPoint(150, 50));
        }
        QTest::mouseClick(upper(), Qt::LeftButton);
    } else if (kind == QLatin1String("new task")) {
        QTest::mouseClick(lower(), Qt::LeftButton);
    } else {
        QTest::mouseClick(upper(), Qt::LeftButton);
    }
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if ((qobject_cast<TaskWindow*>(top) || qobject_cast<SettingsWindow*>(top)) &&
            top->isVisible()) {
            return top;
        }
    }
    return nullptr;
}

void TestWindowLifetime::close(QWidget* top, const QString& how) {
    if (how == QLatin1String("cancel")) {
        if (qobject_cast<TaskWindow*>(top) && !top->findChild<QLineEdit*>()) {
            // The type choice comes first and has no cancel button of its own.
            click(top, "typeTButton");
        }
        click(top, "cancelButton");
    } else if (how == QLatin1String("accept")) {
        click(top, "acceptButton");
    } else {
        // What the window's close button and Escape do.
        QVERIFY(top->close());
    }
}

void TestWindowLifetime::closedWindowsAreFreed_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("how");
    QTest::newRow("new task editor, cancelled")
        << QStringLiteral("new task") << QStringLiteral("cancel");
    QTest::newRow("new task editor, closed")
        << QStringLiteral("new task") << QStringLiteral("close");
    QTest::newRow("task editor, cancelled")
        << QStringLiteral("edit task") << QStringLiteral("cancel");
    QTest::newRow("task editor, accepted")
        << QStringLiteral("edit task") << QStringLiteral("accept");
    QTest::newRow("task editor, closed") << QStringLiteral("edit task") << QStringLiteral("close");
    QTest::newRow("settings, cancelled") << QStringLiteral("settings") << QStringLiteral("cancel");
    QTest::newRow("settings, accepted") << QStringLiteral("settings") << QStringLiteral("accept");
    QTest::newRow("settings, closed") << QStringLiteral("settings") << QStringLiteral("close");
}

void TestWindowLifetime::closedWindowsAreFreed() {
    QFETCH(QString, kind);
    QFETCH(QString, how);
    QList<QPointer<QWidget>> opened;
    for (int round = 0; round < kRounds; ++round) {
        QWidget* top = open(kind);
        QVERIFY2(top, qPrintable(QStringLiteral("round %1 opened nothing").arg(round)));
        QCOMPARE(top->parentWidget(), window.get());
        opened << top;
        close(top, how);
        QVERIFY(!top->isVisible());
        QVERIFY(window->isVisible());
        // The user goes on with the main window before opening the next one.
        QTRY_VERIFY(opened.last().isNull());
    }
    QCOMPARE(alive(), 0);
    for (const QPointer<QWidget>& top : opened) {
        QVERIFY(top.isNull());
    }
    // The main window still opens them as before.
    QWidget* again = open(kind);
    QVERIFY(again);
    QCOMPARE(alive(), 1);
}

void TestWindowLifetime::openWindowStaysUntilClosed() {
    QPointer<QWidget> editor = open(QStringLiteral("new task"));
    QVERIFY(editor);
    QTest::qWait(50);
    QVERIFY(editor);
    QVERIFY(editor->isVisible());
    // Hiding is not closing: only a closed window goes.
    editor->hide();
    QTest::qWait(50);
    QVERIFY(editor);
    editor->show();
    QVERIFY(editor->close());
    QTRY_VERIFY(editor.isNull());
}

PARDO_TEST_MAIN(TestWindowLifetime)
#include "tst_windowlifetime.moc"
