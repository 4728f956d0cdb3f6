#include "alarmdialog.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QCloseEvent>
#include <QDateTime>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

#include "ringrequest.h"

namespace {

// Screen readers read an alert at once, whatever the user is doing elsewhere.
QAccessibleInterface* alertInterface(const QString& className, QObject* object) {
    if (className == QLatin1String("AlarmDialog") && object && object->isWidgetType()) {
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::AlertMessage);
    }
    return nullptr;
}

// The theme may size fonts in pixels rather than points.
QFont scaled(QFont font, qreal factor) {
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    } else if (font.pixelSize() > 0) {
        font.setPixelSize(qRound(font.pixelSize() * factor));
    }
    return font;
}

} // namespace

AlarmDialog::AlarmDialog(const RingRequest& request, QWidget* parent)
    : QWidget(parent, Qt::Dialog | Qt::WindowStaysOnTopHint)
    , cookie_(request.cookie)
    , firstAction_(request.firstAction()) {
    static const bool alertRole = [] {
        QAccessible::installFactory(&alertInterface);
        return true;
    }();
    Q_UNUSED(alertRole);
    setObjectName(QStringLiteral("alarmDialog"));
    setWindowTitle(request.title);
    // Shown over what the user is doing, but the keyboard stays there.
    setAttribute(Qt::WA_ShowWithoutActivating);

    const QDateTime due = QDateTime::fromSecsSinceEpoch(request.trigger);
    const QLocale locale;
    time_ = new QLabel(locale.toString(due.time(), QLocale::ShortFormat), this);
    time_->setObjectName(QStringLiteral("dueTime"));
    QFont large = scaled(time_->font(), 2.5);
    large.setBold(true);
    time_->setFont(large);
    time_->setAlignment(Qt::AlignCenter);

    date_ = new QLabel(locale.toString(due.date(), QLocale::LongFormat), this);
    date_->setObjectName(QStringLiteral("dueDate"));
    date_->setAlignment(Qt::AlignCenter);

    // Bus clients write the message: never let it be read as markup.
    message_ = new QLabel(request.message, this);
    message_->setObjectName(QStringLiteral("message"));
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    message_->setAlignment(Qt::AlignCenter);
    // A long message makes the window taller, not wider: rings stay side by side.
    message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    message_->setFont(scaled(message_->font(), 1.4));

    auto* row = new QHBoxLayout;
    for (const RingButton& ringButton : request.buttons) {
        const QString text = request.buttonText(ringButton);
        // Shown as written: an '&' of a bus client's label is no keyboard shortcut.
        auto* button =
            new QPushButton(QString(text).replace(QLatin1Char('&'), QStringLiteral("&&")), this);
        button->setObjectName(QStringLiteral("action%1").arg(ringButton.action));
        button->setAccessibleName(text);
        button->setMinimumHeight(48);
        // Return presses the button that has the focus, and only that one.
        button->setAutoDefault(true);
        const int action = ringButton.action;
        connect(button, &QPushButton::clicked, this, [this, action] { answer(action); });
        row->addWidget(button);
        buttons_.append(button);
    }
    if (!buttons_.isEmpty()) {
        setFocusProxy(buttons_.first());
    }

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(12);
    layout->addWidget(time_);
    layout->addWidget(date_);
    layout->addWidget(message_, 1);
    layout->addLayout(row);
    // Narrow enough for four across a laptop's screen, so that several rings do not overlap.
    setMinimumWidth(300);
    // What the alert says when it is announced: the due time and the message.
    setAccessibleDescription(dueText() + QStringLiteral(". ") + messageText());
}

void AlarmDialog::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous()) {
        QAccessibleEvent alert(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void AlarmDialog::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

QString AlarmDialog::dueText() const {
    return time_->text() + QLatin1Char(' ') + date_->text();
}

QString AlarmDialog::messageText() const {
    return message_->text();
}

void AlarmDialog::dismiss() {
    done_ = true;
    close();
}

void AlarmDialog::answer(int actionIndex) {
    if (done_) {
        return;
    }
    done_ = true;
    Q_EMIT answered(actionIndex);
}

void AlarmDialog::closeEvent(QCloseEvent* event) {
    event->accept();
    if (firstAction_ >= 0) {
        answer(firstAction_);
    }
}
