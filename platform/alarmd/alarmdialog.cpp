#include "alarmdialog.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QCloseEvent>
#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScreen>
#include <QShowEvent>
#include <QVBoxLayout>

#include "alarmevent.h"

namespace {

// Screen readers read an alert at once, whatever the user is doing elsewhere.
QAccessibleInterface* alertInterface(const QString& className, QObject* object) {
    if (className == QLatin1String("AlarmDialog") && object && object->isWidgetType()) {
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::AlertMessage);
    }
    return nullptr;
}

} // namespace

AlarmDialog::AlarmDialog(const AlarmEvent& event, QWidget* parent)
    : QWidget(parent, Qt::Dialog | Qt::WindowStaysOnTopHint)
    , cookie_(event.cookie)
    , firstButton_(event.firstButton()) {
    static const bool alertRole = [] {
        QAccessible::installFactory(&alertInterface);
        return true;
    }();
    Q_UNUSED(alertRole);
    setObjectName(QStringLiteral("alarmDialog"));
    setWindowTitle(event.title);
    setAttribute(Qt::WA_DeleteOnClose, false);

    const QDateTime due = QDateTime::fromSecsSinceEpoch(event.trigger);
    const QLocale locale;
    time_ = new QLabel(locale.toString(due.time(), QLocale::ShortFormat), this);
    time_->setObjectName(QStringLiteral("dueTime"));
    QFont large = time_->font();
    large.setPointSizeF(large.pointSizeF() * 2.5);
    large.setBold(true);
    time_->setFont(large);
    time_->setAlignment(Qt::AlignCenter);

    date_ = new QLabel(locale.toString(due.date(), QLocale::LongFormat), this);
    date_->setObjectName(QStringLiteral("dueDate"));
    date_->setAlignment(Qt::AlignCenter);

    // Bus clients write the message: never let it be read as markup.
    message_ = new QLabel(event.message, this);
    message_->setObjectName(QStringLiteral("message"));
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    message_->setAlignment(Qt::AlignCenter);
    QFont medium = message_->font();
    medium.setPointSizeF(medium.pointSizeF() * 1.4);
    message_->setFont(medium);

    auto* row = new QHBoxLayout;
    for (int i = 0; i < event.actions.size(); ++i) {
        const AlarmAction& action = event.actions.at(i);
        if (!action.isButton()) {
            continue;
        }
        // Shown as written: an '&' of a bus client's label is no keyboard shortcut.
        QString text = action.label;
        auto* button = new QPushButton(text.replace(QLatin1Char('&'), QStringLiteral("&&")), this);
        button->setObjectName(QStringLiteral("action%1").arg(i));
        button->setMinimumHeight(48);
        connect(button, &QPushButton::clicked, this, [this, i] { Q_EMIT answered(i); });
        row->addWidget(button);
        buttons_.append(button);
    }
    if (!buttons_.isEmpty()) {
        buttons_.first()->setDefault(true);
        buttons_.first()->setFocus();
    }

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(12);
    layout->addWidget(time_);
    layout->addWidget(date_);
    layout->addWidget(message_, 1);
    layout->addLayout(row);
    setMinimumWidth(360);
    // What the alert says when it is announced: the due time and the message.
    setAccessibleDescription(dueText() + QStringLiteral(". ") + messageText());
}

void AlarmDialog::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // In the middle of the screen, where it is seen, also without a window manager to place it.
    if (!event->spontaneous()) {
        if (QScreen* screen = this->screen()) {
            QRect frame = frameGeometry();
            frame.moveCenter(screen->availableGeometry().center());
            move(frame.topLeft());
        }
        QAccessibleEvent alert(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

QString AlarmDialog::dueText() const {
    return time_->text() + QLatin1Char(' ') + date_->text();
}

QString AlarmDialog::messageText() const {
    return message_->text();
}

void AlarmDialog::dismiss() {
    dismissed_ = true;
    close();
}

void AlarmDialog::closeEvent(QCloseEvent* event) {
    event->accept();
    if (!dismissed_ && firstButton_ >= 0) {
        dismissed_ = true;
        Q_EMIT answered(firstButton_);
    }
}
