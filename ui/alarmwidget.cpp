#include "alarmwidget.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLineEdit>
#include <QPushButton>

#include "alarm.h"
#include "task.h"

AlarmWidget::AlarmWidget(bool fromTask, bool isTaskT, int index, const Task* task, QWidget* parent)
    : QWidget(parent)
    , numberEdit(nullptr)
    , unitCombo(nullptr)
    , descriptionEdit(nullptr)
    , isBeforeButton(nullptr)
    , removeButton(nullptr) {
    const Alarm* alarm = fromTask && task ? task->getAlarm(index) : nullptr;

    setMinimumHeight(84);
    setContentsMargins(0, 0, 0, 0);
    setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    isBeforeButton =
        new QPushButton(alarm && alarm->isBefore() ? QStringLiteral("-") : QStringLiteral("+"));
    isBeforeButton->setObjectName(QStringLiteral("isBeforeButton"));
    isBeforeButton->setMaximumWidth(50);
    // A T task's offsets always count after its activation.
    isBeforeButton->setEnabled(!isTaskT);
    isBeforeButton->setToolTip(isTaskT ? tr("After activation")
                                       : tr("Before or after the set time"));
    connect(isBeforeButton, &QPushButton::clicked, this, &AlarmWidget::handleIsBeforeClicked);
    layout->addWidget(isBeforeButton);
    nameSign();

    numberEdit = new QLineEdit(alarm ? QString::number(alarm->units()) : QStringLiteral("0"));
    numberEdit->setObjectName(QStringLiteral("numberEdit"));
    numberEdit->setMaximumWidth(100);
    numberEdit->setInputMethodHints(Qt::ImhDigitsOnly);
    numberEdit->setValidator(new QIntValidator(0, 99, numberEdit));
    numberEdit->setAccessibleName(tr("Offset"));
    layout->addWidget(numberEdit);

    unitCombo = new QComboBox;
    unitCombo->setObjectName(QStringLiteral("unitCombo"));
    unitCombo->addItems({tr("minutes"), tr("hours"), tr("days")});
    unitCombo->setMaximumWidth(110);
    // Where combo boxes are read by their current entry, the description still tells what it is.
    unitCombo->setAccessibleName(tr("Unit"));
    unitCombo->setAccessibleDescription(tr("Unit of the offset"));
    if (alarm) {
        unitCombo->setCurrentIndex(static_cast<int>(alarm->unitType()));
    }
    layout->addWidget(unitCombo);

    descriptionEdit = new QLineEdit(alarm ? alarm->description() : QString());
    descriptionEdit->setObjectName(QStringLiteral("descriptionEdit"));
    descriptionEdit->setAccessibleName(tr("Description"));
    layout->addWidget(descriptionEdit);

    removeButton = new QPushButton;
    removeButton->setObjectName(QStringLiteral("removeButton"));
    removeButton->setFlat(true);
    removeButton->setIcon(QIcon(QStringLiteral(":/images/icon_cancel_small.png")));
    removeButton->setIconSize(QSize(50, 50));
    removeButton->setFixedSize(70, 70);
    removeButton->setAccessibleName(tr("Remove alarm"));
    removeButton->setToolTip(tr("Remove alarm"));
    connect(removeButton, &QPushButton::clicked, this, &AlarmWidget::handleAlarmRemoved);
    layout->addWidget(removeButton);
}

bool AlarmWidget::isBefore() const {
    return isBeforeButton->text() == QLatin1String("-");
}

void AlarmWidget::handleIsBeforeClicked() {
    if (isBeforeButton->text() == QLatin1String("+")) {
        isBeforeButton->setText(QStringLiteral("-"));
    } else {
        isBeforeButton->setText(QStringLiteral("+"));
    }
    nameSign();
}

QList<QWidget*> AlarmWidget::focusOrder() const {
    return {isBeforeButton, numberEdit, unitCombo, descriptionEdit, removeButton};
}

QWidget* AlarmWidget::firstField() const {
    return numberEdit;
}

void AlarmWidget::nameSign() {
    // "+" and "-" mean nothing read aloud.
    isBeforeButton->setAccessibleName(isBefore() ? tr("Before the set time")
                                                 : tr("After the set time"));
}

void AlarmWidget::handleAlarmRemoved() {
    Q_EMIT alarmRemoved(this);
    close();
}
