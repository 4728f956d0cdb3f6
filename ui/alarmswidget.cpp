#include "alarmswidget.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "alarmwidget.h"
#include "task.h"

AlarmsWidget::AlarmsWidget(bool fromActivation, const Task* edited, QWidget* parent)
    : QWidget(parent)
    , isTaskT(fromActivation)
    , alarmsLayout(nullptr)
    , task(edited)
    , addButton(nullptr) {
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* heading =
        new QLabel(tr("Alarms ") + (isTaskT ? tr("from activation time:") : tr("from set time:")));
    heading->setMinimumHeight(84);
    heading->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    layout->addWidget(heading);

    alarmsLayout = new QGridLayout;
    alarmsLayout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(alarmsLayout);

    // An existing task shows its own alarms (maybe none); a new one starts with one blank row.
    if (task) {
        addInitialWidgets();
    } else {
        addAlarmWidgets(false, 0);
    }

    addButton = new QPushButton(tr("+ Add new"));
    addButton->setObjectName(QStringLiteral("addButton"));
    addButton->setAccessibleName(tr("Add new alarm"));
    addButton->setToolTip(tr("Add new alarm"));
    connect(addButton, &QPushButton::clicked, this, &AlarmsWidget::addAlarm);
    layout->addWidget(addButton);
}

int AlarmsWidget::alarmsNo() const {
    return alarmWidgets.size();
}

QLineEdit* AlarmsWidget::getNumber(int i) const {
    return alarmWidgets.at(i)->numberEdit;
}

QComboBox* AlarmsWidget::getUnit(int i) const {
    return alarmWidgets.at(i)->unitCombo;
}

QLineEdit* AlarmsWidget::getDescription(int i) const {
    return alarmWidgets.at(i)->descriptionEdit;
}

bool AlarmsWidget::getIsBefore(int i) const {
    if (isTaskT) {
        return false;
    }
    return alarmWidgets.at(i)->isBefore();
}

void AlarmsWidget::addAlarmWidgets(bool fromTask, int index) {
    auto* widget = new AlarmWidget(fromTask, isTaskT, index, task, this);
    alarmWidgets.append(widget);
    // The grid's row count never shrinks, so a new row always lands below the others.
    alarmsLayout->addWidget(widget, alarmsLayout->rowCount(), 0);
    connect(widget, &AlarmWidget::alarmRemoved, this, &AlarmsWidget::removeAlarm);
}

void AlarmsWidget::addInitialWidgets() {
    if (!task) {
        return;
    }
    for (int i = 0; i < task->noOfAlarms(); ++i) {
        addAlarmWidgets(true, i);
    }
}

void AlarmsWidget::addAlarm() {
    if (!alarmsLayout) {
        return;
    }
    // A new row's controls join the end of the window's Tab chain; they belong before "Add new".
    QWidget* before = addButton ? addButton->previousInFocusChain() : nullptr;
    addAlarmWidgets(false, 0);
    AlarmWidget* row = alarmWidgets.last();
    if (before && before != row) {
        QWidget* previous = before;
        for (QWidget* control : row->focusOrder()) {
            setTabOrder(previous, control);
            previous = control;
        }
        setTabOrder(previous, addButton);
    }
    // Shown now rather than one event later, so that it can take the focus at once.
    row->show();
    row->firstField()->setFocus(Qt::OtherFocusReason);
}

void AlarmsWidget::removeAlarm(AlarmWidget* widget) {
    alarmWidgets.removeOne(widget);
}
