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
    , isBeforeButton(nullptr) {
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
    connect(isBeforeButton, &QPushButton::clicked, this, &AlarmWidget::handleIsBeforeClicked);
    layout->addWidget(isBeforeButton);

    numberEdit = new QLineEdit(alarm ? QString::number(alarm->units()) : QStringLiteral("0"));
    numberEdit->setObjectName(QStringLiteral("numberEdit"));
    numberEdit->setMaximumWidth(100);
    numberEdit->setInputMethodHints(Qt::ImhDigitsOnly);
    numberEdit->setValidator(new QIntValidator(0, 99, numberEdit));
    layout->addWidget(numberEdit);

    unitCombo = new QComboBox;
    unitCombo->setObjectName(QStringLiteral("unitCombo"));
    unitCombo->addItems(
        {QStringLiteral("minutes"), QStringLiteral("hours"), QStringLiteral("days")});
    unitCombo->setMaximumWidth(110);
    if (alarm) {
        unitCombo->setCurrentIndex(static_cast<int>(alarm->unitType()));
    }
    layout->addWidget(unitCombo);

    descriptionEdit = new QLineEdit(alarm ? alarm->description() : QString());
    descriptionEdit->setObjectName(QStringLiteral("descriptionEdit"));
    layout->addWidget(descriptionEdit);

    auto* removeButton = new QPushButton;
    removeButton->setObjectName(QStringLiteral("removeButton"));
    removeButton->setFlat(true);
    removeButton->setIcon(QIcon(QStringLiteral(":/images/icon_cancel_small.png")));
    removeButton->setIconSize(QSize(50, 50));
    removeButton->setFixedSize(70, 70);
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
}

void AlarmWidget::handleAlarmRemoved() {
    Q_EMIT alarmRemoved(this);
    close();
}
