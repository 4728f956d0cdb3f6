#include "editorflowtestcase.h"

#include <QApplication>
#include <QButtonGroup>
#include <QComboBox>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPointer>
#include <QtTest>

#include "actionbutton.h"
#include "alarmswidget.h"
#include "alarmwidget.h"
#include "mainwindow.h"
#include "fingers.h"
#include "modalanswerer.h"
#include "daemonclient.h"
#include "notes.h"
#include "silentsounddevice.h"
#include "pickerdriver.h"
#include "qmaemo5informationbox.h"
#include "qmaemo5valuebutton.h"
#include "settingswindow.h"
#include "task.h"
#include "taskbutton.h"
#include "taskmanager.h"
#include "taskwindow.h"
#include "testdatabase.h"

using Fingers::retype;
using Fingers::tap;

#include "testenvironment.h"

EditorFlowTestCase::EditorFlowTestCase() = default;
EditorFlowTestCase::~EditorFlowTestCase() = default;

std::vector<DaemonClient::Event> EditorFlowTestCase::eventsOf(int taskId) {
    std::vector<DaemonClient::Event> found;
    for (DaemonClient::Event& event : DaemonClient::events("PARDO")) {
        if (alarm_event_get_attr_int(event.get(), "task_id", 0) == taskId) {
            found.push_back(std::move(event));
        }
    }
    return found;
}

QStringList EditorFlowTestCase::rowWrites(const QStringList& statements) {
    QStringList writes;
    for (const QString& statement : statements) {
        if (statement.contains(QLatin1String(" tasks ")) ||
            statement.contains(QLatin1String(" alarms ")) ||
            statement.contains(QLatin1String(" repetitions "))) {
            if (!statement.startsWith(QLatin1String("SELECT"))) {
                writes << statement;
            }
        }
    }
    return writes;
}

void EditorFlowTestCase::typeInto(QLineEdit* edit, const QString& text) {
    bool ascii = true;
    for (QChar c : text) {
        ascii = ascii && c.unicode() < 0x80;
    }
    if (ascii) {
        QTest::keyClicks(edit, text);
        return;
    }
    edit->setFocus();
    QInputMethodEvent commit;
    commit.setCommitString(text);
    QApplication::sendEvent(edit, &commit);
}

void EditorFlowTestCase::initTestCase(const QString& daemonPath) {
    // The real alarm daemon, started by the private bus when the editor first schedules.
    QVERIFY(SilentSoundDevice::install());
    QVERIFY(DaemonClient::writeServiceFile(TestEnvironment::current()->root() +
                                               QStringLiteral("/bus/services"),
                                           QStringLiteral("org.velmar.alarmd"), daemonPath));
}

void EditorFlowTestCase::cleanupTestCase() {
    QVERIFY(DaemonClient::stopService(QStringLiteral("org.velmar.alarmd")));
}

void EditorFlowTestCase::init() {
    boxes = std::make_unique<ModalAnswerer>(QMessageBox::Ok);
    TestDatabase::freshHome(QString::fromLatin1(QTest::currentTestFunction()));
    manager = std::make_unique<TaskManager>();
    for (cookie_t cookie : DaemonClient::cookies("")) {
        QVERIFY(cookie > 0);
        alarmd_event_del(cookie);
    }
}

void EditorFlowTestCase::cleanup() {
    const QString unexpected = boxes->describe();
    boxes.reset();
    Notes::closeAll();
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
    QVERIFY2(unexpected.isEmpty(), qPrintable(QStringLiteral("unexpected box: ") + unexpected));
}

void EditorFlowTestCase::start() {
    window = std::make_unique<MainWindow>(*manager);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void EditorFlowTestCase::restart() {
    Notes::closeAll();
    window.reset();
    manager.reset();
    TestDatabase::dropDefaultConnection();
    manager = std::make_unique<TaskManager>();
    start();
}

void EditorFlowTestCase::click(QWidget* top, const char* name) {
    auto* button = in<QAbstractButton>(top, name);
    QVERIFY(button);
    QVERIFY2(button->isVisible(), name);
    QTest::mouseClick(button, Qt::LeftButton);
}

Task* EditorFlowTestCase::taskNamed(const QString& name) const {
    for (Task* task : manager->allTasks()) {
        if (task->name() == name) {
            return task;
        }
    }
    return nullptr;
}

TaskWindow* EditorFlowTestCase::fillNewTask(const QString& type, const QString& title,
                                            const QString& description) {
    QTest::mouseClick(lower(), Qt::LeftButton);
    TaskWindow* editor = shown<TaskWindow>();
    if (!editor) {
        return nullptr;
    }
    click(editor, qPrintable(type));
    typeInto(in<QLineEdit>(editor, "titleEdit"), title);
    if (type == QLatin1String("typeDButton")) {
        PickerDriver::pickTime(in<QMaemo5ValueButton>(editor, "timeButton"), QTime(12, 30));
        PickerDriver::pickDate(in<QMaemo5ValueButton>(editor, "dateButton"), QDate(2030, 5, 6));
        click(editor, "alarmButton");
    }
    AlarmsWidget* alarms = editor->findChild<AlarmsWidget*>();
    retype(alarms->getNumber(0), QStringLiteral("4"));
    typeInto(alarms->getDescription(0), description);
    return editor;
}
