#include "mainwindowtestcase.h"

#include <QtTest>
#include <QAccessible>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QVBoxLayout>

#include "accessibilitycheck.h"
#include "actionbutton.h"
#include "imagecompare.h"
#include "maemo5theme.h"
#include "mainwindow.h"
#include "settingswindow.h"
#include "stackedwindow.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

MainWindowTestCase::MainWindowTestCase() = default;
MainWindowTestCase::~MainWindowTestCase() = default;

QImage MainWindowTestCase::iconOf(const QAbstractButton* button) {
    return ImageCompare::iconImage(button->icon(), QSize(130, 130));
}

QImage MainWindowTestCase::image(const char* name) {
    return ImageCompare::resource(QLatin1String(name));
}

QStringList MainWindowTestCase::stateOf(const QWidget* editor) {
    QStringList state{
        QStringLiteral("%1 parent %2 window %3 visible %4 at %5,%6 %7x%8")
            .arg(editor->windowTitle(),
                 QString::fromLatin1(editor->parentWidget()
                                         ? editor->parentWidget()->metaObject()->className()
                                         : "none"))
            .arg(editor->isWindow())
            .arg(editor->isVisible())
            .arg(editor->x())
            .arg(editor->y())
            .arg(editor->width())
            .arg(editor->height())};
    for (const QWidget* child : editor->findChildren<QWidget*>()) {
        if (!child->isVisibleTo(editor)) {
            continue;
        }
        QString entry = QString::fromLatin1(child->metaObject()->className()) + QLatin1Char(' ') +
                        child->objectName();
        if (const auto* edit = qobject_cast<const QLineEdit*>(child)) {
            entry += QStringLiteral(" text '%1'").arg(edit->text());
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(child)) {
            entry += QStringLiteral(" text '%1' checked %2")
                         .arg(button->text())
                         .arg(button->isChecked());
        } else if (const auto* label = qobject_cast<const QLabel*>(child)) {
            entry += QStringLiteral(" text '%1'").arg(label->text());
        }
        state << entry;
    }
    return state;
}

void MainWindowTestCase::init() {
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
}

void MainWindowTestCase::cleanup() {
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
}

void MainWindowTestCase::start(const QStringList& activeNames, const QStringList& inactiveNames) {
    manager = std::make_unique<TaskManager>();
    for (const QString& name : activeNames) {
        TestDatabase::exec(
            QStringLiteral("INSERT INTO tasks (name, active, type) VALUES ('%1', 1, 1)").arg(name));
    }
    for (const QString& name : inactiveNames) {
        TestDatabase::exec(
            QStringLiteral("INSERT INTO tasks (name, active, type) VALUES ('%1', 0, 1)").arg(name));
    }
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void MainWindowTestCase::activate() {
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
}

QWidget* MainWindowTestCase::gridWidget(int index) const {
    auto* grid = qobject_cast<QGridLayout*>(window->findChild<QScrollArea*>()->widget()->layout());
    QLayoutItem* item = grid ? grid->itemAt(index) : nullptr;
    return item ? item->widget() : nullptr;
}

ActionButton* MainWindowTestCase::upper() const {
    return window->findChildren<ActionButton*>().value(0);
}

ActionButton* MainWindowTestCase::lower() const {
    return window->findChildren<ActionButton*>().value(1);
}

Task* MainWindowTestCase::taskNamed(const QString& name) const {
    for (Task* task : manager->allTasks()) {
        if (task->name() == name) {
            return task;
        }
    }
    return nullptr;
}

TaskButton* MainWindowTestCase::buttonOf(const QString& name) const {
    return taskNamed(name)->taskButton();
}

void MainWindowTestCase::tap(const QString& name) {
    QTest::mouseClick(buttonOf(name), Qt::LeftButton, {}, QPoint(150, 50));
}

void MainWindowTestCase::doubleTap(const QString& name) {
    // Through the window, as the platform delivers a double tap.
    TaskButton* button = buttonOf(name);
    QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {},
                       button->mapTo(window.get(), QPoint(150, 50)));
}
