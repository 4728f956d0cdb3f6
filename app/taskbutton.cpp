#include "taskbutton.h"

#include <QRegularExpression>

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

} // namespace

TaskButton::TaskButton(QWidget* parent)
    : QPushButton(parent) {
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

void TaskButton::mouseDoubleClickEvent(QMouseEvent* /*event*/) {
    // The second press never reaches QPushButton, so the double tap is one click more, not two.
    Q_EMIT doubleClicked();
    Q_EMIT clicked(false);
}
