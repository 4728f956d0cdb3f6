#include "taskbutton.h"

#include <QAccessible>
#include <QDateTime>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <QStyleOptionButton>
#include <QScrollArea>

#include "taskbuttonaccessible.h"

namespace {

const QString kImageStyle =
    QStringLiteral("TaskButton {background-image: url(:/images/task_button_inactive.png); border: "
                   "none;}\nTaskButton:checked {background-image: "
                   "url(:/images/task_button_active.png);}");

// The face: a rounded, one-pixel bordered box inside a transparent margin, with a gradient
// that runs from the top to two thirds down and stays flat below.
const int kMargin = 12;
const qreal kRadius = 6;
const qreal kGradientEnd = 0.67;
const QColor kActiveTop(0x22, 0xc7, 0x0d);
const QColor kActiveBottom(0x11, 0x6a, 0x06);
const QColor kInactiveTop(0x44, 0x44, 0x44);
const QColor kInactiveBottom(0x22, 0x22, 0x22);
const QColor kActiveBorder(0x19, 0x99, 0x09);
const QColor kInactiveBorder(0x33, 0x33, 0x33);
const QColor kSelectedBorder(0xf8, 0xe5, 0x2d);

// The ring lies in the button's transparent margin, clear of the border the selection colours.
const int kRingInset = 4;
const int kRingWidth = 3;
const QColor kRingColor(0x4d, 0xb8, 0xff);

} // namespace

TaskButton::TaskButton(QWidget* parent)
    : QPushButton(parent)
    , taskActive(false)
    , focusRingShown(false)
    , border(kInactiveBorder) {
    static const bool accessibleInstalled = [] {
        QAccessible::installFactory(&TaskButtonAccessible::create);
        return true;
    }();
    Q_UNUSED(accessibleInstalled);
    setFixedSize(317, 100);
    setFlat(true);
    setContentsMargins(0, 0, 0, 0);
    setActivated(false);
}

void TaskButton::createFromImage() {
    setMinimumSize(317, 100);
    setMaximumSize(317, 100);
    setStyleSheet(kImageStyle);
    setCheckable(true);
    setFlat(true);
    setContentsMargins(0, 0, 0, 0);
}

void TaskButton::setActivated(bool active) {
    // The whole look follows the activity: a selection border goes, and so does the image look.
    if (!styleSheet().isEmpty()) {
        setStyleSheet(QString());
    }
    border = active ? kActiveBorder : kInactiveBorder;
    update();
    if (taskActive != active) {
        taskActive = active;
        QAccessible::State changed;
        changed.checked = true;
        QAccessibleStateChangeEvent event(this, changed);
        QAccessible::updateAccessibility(&event);
    }
}

void TaskButton::setSelected(bool selected, bool activated) {
    // Only the border changes; the face keeps the colours of the last setActivated().
    if (selected) {
        border = kSelectedBorder;
    } else {
        border = activated ? kActiveBorder : kInactiveBorder;
    }
    update();
}

void TaskButton::doubleTap() {
    Q_EMIT clicked(false);
    Q_EMIT doubleClicked();
    Q_EMIT clicked(false);
}

void TaskButton::setNextAlarm(const QDateTime& moment) {
    const QString text =
        moment.isValid()
            ? tr("Next alarm: ") +
                  QLocale::c().toString(moment.toLocalTime(), QStringLiteral("ddd d MMM, HH:mm"))
            : tr("No alarm queued");
    if (toolTip() != text) {
        setToolTip(text);
    }
    if (accessibleDescription() != text) {
        setAccessibleDescription(text);
    }
}

QSize TaskButton::sizeHint() const {
    return minimumSize();
}

QSize TaskButton::minimumSizeHint() const {
    return minimumSize();
}

void TaskButton::mouseDoubleClickEvent(QMouseEvent* /*event*/) {
    // The second press never reaches QPushButton, so the double tap is one click more, not two.
    Q_EMIT doubleClicked();
    Q_EMIT clicked(false);
}

void TaskButton::keyPressEvent(QKeyEvent* event) {
    if (!focusRingShown) {
        focusRingShown = true;
        update();
    }
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Holding the key must not switch the task on and off in a row.
        if (!event->isAutoRepeat()) {
            doubleTap();
        }
        event->accept();
        return;
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
        // Arrows stay in the grid: at its edge they do nothing.
        if (event->modifiers() == Qt::NoModifier) {
            moveFocus(event->key());
            event->accept();
            return;
        }
        break;
    default:
        break;
    }
    QPushButton::keyPressEvent(event);
}

bool TaskButton::moveFocus(int key) {
    auto* grid = parentWidget() ? qobject_cast<QGridLayout*>(parentWidget()->layout()) : nullptr;
    if (!grid) {
        return false;
    }
    const int index = grid->indexOf(this);
    if (index < 0) {
        return false;
    }
    int row = 0;
    int column = 0;
    int rowSpan = 0;
    int columnSpan = 0;
    grid->getItemPosition(index, &row, &column, &rowSpan, &columnSpan);
    switch (key) {
    case Qt::Key_Left:
        --column;
        break;
    case Qt::Key_Right:
        ++column;
        break;
    case Qt::Key_Up:
        --row;
        break;
    default:
        ++row;
        break;
    }
    if (row < 0 || column < 0 || row >= grid->rowCount() || column >= grid->columnCount()) {
        return false;
    }
    QLayoutItem* item = grid->itemAtPosition(row, column);
    // Down into a shorter last row lands on its last task.
    while (!item && column > 0 && (key == Qt::Key_Up || key == Qt::Key_Down)) {
        item = grid->itemAtPosition(row, --column);
    }
    QWidget* target = item ? item->widget() : nullptr;
    if (!target || !target->isVisible() || target->focusPolicy() == Qt::NoFocus) {
        return false;
    }
    target->setFocus(Qt::OtherFocusReason);
    for (QWidget* up = parentWidget(); up; up = up->parentWidget()) {
        if (auto* area = qobject_cast<QScrollArea*>(up)) {
            area->ensureWidgetVisible(target, 0, 0);
            break;
        }
    }
    return true;
}

void TaskButton::focusInEvent(QFocusEvent* event) {
    focusRingShown = event->reason() != Qt::MouseFocusReason;
    QPushButton::focusInEvent(event);
    update();
}

void TaskButton::focusOutEvent(QFocusEvent* event) {
    focusRingShown = false;
    QPushButton::focusOutEvent(event);
    update();
}

void TaskButton::paintEvent(QPaintEvent* event) {
    // A style sheet of its own (the image look) is the toolkit's to paint.
    if (!styleSheet().isEmpty()) {
        QPushButton::paintEvent(event);
    } else {
        paintFace();
    }
    if (!focusRingShown || !hasFocus()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(kRingColor, kRingWidth);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const qreal half = kRingWidth / 2.0;
    const QRectF ring = QRectF(rect()).adjusted(kRingInset + half, kRingInset + half,
                                                -(kRingInset + half), -(kRingInset + half));
    painter.drawRoundedRect(ring, 9, 9);
}

void TaskButton::paintFace() {
    // Drawn by hand: a style sheet per button costs its parsing and polish for every task.
    QPainter painter(this);
    const QRectF box = QRectF(rect()).adjusted(kMargin, kMargin, -kMargin, -kMargin);
    if (box.isEmpty()) {
        return;
    }
    QLinearGradient gradient(0, 0, 0, kGradientEnd);
    gradient.setCoordinateMode(QGradient::ObjectBoundingMode);
    gradient.setColorAt(0, taskActive ? kActiveTop : kInactiveTop);
    gradient.setColorAt(1, taskActive ? kActiveBottom : kInactiveBottom);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath face;
    face.addRoundedRect(box, kRadius, kRadius);
    painter.fillPath(face, gradient);
    painter.setPen(QPen(border, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), kRadius - 0.5, kRadius - 0.5);
    painter.setRenderHint(QPainter::Antialiasing, false);

    QStyleOptionButton option;
    initStyleOption(&option);
    option.rect = box.adjusted(1, 1, -1, -1).toRect();
    style()->drawControl(QStyle::CE_PushButtonLabel, &option, &painter, this);
}
