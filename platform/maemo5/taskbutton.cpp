#include "taskbutton.h"

#include <QAccessible>
#include <QDateTime>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLocale>
#include <QPainter>
#include <QRegularExpression>
#include <QScrollArea>

#include "taskbuttonaccessible.h"

namespace {

const QString kInactiveStyle = QStringLiteral(
    "TaskButton {border: 1px solid #333333;border-radius: 6px;background-color: "
    "#222222;background-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 0.67, stop: 0 #444444, "
    "stop: 1 #222222);margin: 12px;}");
const QString kActiveStyle = QStringLiteral(
    "TaskButton {border: 1px solid #199909;border-radius: 6px;background-color: "
    "#116a06;background-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 0.67, stop: 0 #22c70d, "
    "stop: 1 #116a06);margin: 12px;}");
const QString kImageStyle =
    QStringLiteral("TaskButton {background-image: url(:/images/task_button_inactive.png); border: "
                   "none;}\nTaskButton:checked {background-image: "
                   "url(:/images/task_button_active.png);}");

// The ring lies in the button's transparent margin, clear of the border the selection colours.
const int kRingInset = 4;
const int kRingWidth = 3;
const QColor kRingColor(0x4d, 0xb8, 0xff);

} // namespace

TaskButton::TaskButton(QWidget* parent)
    : QPushButton(parent)
    , taskActive(false)
    , focusRingShown(false) {
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
    setStyleSheet(active ? kActiveStyle : kInactiveStyle);
    if (taskActive != active) {
        taskActive = active;
        QAccessible::State changed;
        changed.checked = true;
        QAccessibleStateChangeEvent event(this, changed);
        QAccessible::updateAccessibility(&event);
    }
}

void TaskButton::setSelected(bool selected, bool activated) {
    static const QRegularExpression border(QStringLiteral("border: 1px solid #[^;]*;"));
    QString replacement;
    if (selected) {
        replacement = QStringLiteral("border: 1px solid #f8e52d;");
    } else if (activated) {
        replacement = QStringLiteral("border: 1px solid #199909;");
    } else {
        replacement = QStringLiteral("border: 1px solid #333333;");
    }
    QString sheet = styleSheet();
    sheet.replace(border, replacement);
    setStyleSheet(sheet);
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
    QPushButton::paintEvent(event);
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
