#include "qmaemo5valuebutton.h"

#include <QDialog>
#include <QStyleOptionButton>
#include <QStylePainter>

#include "qmaemo5abstractpickselector.h"

namespace {
const int kGap = 16;
const int kPadding = 12;
// Finger-sized, as the handheld's buttons.
const int kMinimumHeight = 70;
} // namespace

QMaemo5ValueButton::QMaemo5ValueButton(QWidget* parent)
    : QMaemo5ValueButton(QString(), parent) {}

QMaemo5ValueButton::QMaemo5ValueButton(const QString& text, QWidget* parent)
    : QPushButton(text, parent) {
    connect(this, &QPushButton::clicked, this, &QMaemo5ValueButton::openPicker);
}

QMaemo5ValueButton::~QMaemo5ValueButton() = default;

void QMaemo5ValueButton::setValueLayout(ValueLayout valueLayout) {
    if (layout == valueLayout) {
        return;
    }
    layout = valueLayout;
    updateGeometry();
    update();
}

QMaemo5AbstractPickSelector* QMaemo5ValueButton::pickSelector() const {
    return selector;
}

void QMaemo5ValueButton::setPickSelector(QMaemo5AbstractPickSelector* chosen) {
    if (selector == chosen) {
        return;
    }
    if (selector) {
        disconnect(selector, nullptr, this, nullptr);
        if (selector->parent() == this) {
            delete selector;
        }
    }
    selector = chosen;
    if (chosen) {
        if (!chosen->parent()) {
            chosen->setParent(this);
        }
        connect(chosen, &QMaemo5AbstractPickSelector::selected, this,
                &QMaemo5ValueButton::setValueText);
        setValueText(chosen->currentValueText());
    }
}

void QMaemo5ValueButton::setValueText(const QString& text) {
    if (value == text) {
        return;
    }
    value = text;
    // Read out after the button's name, as the value is shown beside it.
    setAccessibleDescription(text);
    updateGeometry();
    update();
}

void QMaemo5ValueButton::openPicker() {
    if (!selector) {
        return;
    }
    QPointer<QWidget> picker = selector->widget(this);
    if (auto* dialog = qobject_cast<QDialog*>(picker.data())) {
        dialog->exec();
    }
    // The dialog may be gone already if the window closed under it.
    delete picker.data();
}

QRect QMaemo5ValueButton::contentsArea() const {
    QStyleOptionButton option;
    initStyleOption(&option);
    return style()
        ->subElementRect(QStyle::SE_PushButtonContents, &option, this)
        .adjusted(kPadding, 2, -kPadding, -2);
}

QSize QMaemo5ValueButton::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    const int textWidth = metrics.horizontalAdvance(text());
    const int valueWidth = metrics.horizontalAdvance(value);
    QSize contents;
    if (layout == ValueBesideText) {
        contents = QSize(textWidth + kGap + valueWidth, metrics.height());
    } else {
        contents = QSize(qMax(textWidth, valueWidth), 2 * metrics.height() + 4);
    }
    contents += QSize(2 * kPadding, 4);
    QStyleOptionButton option;
    initStyleOption(&option);
    QSize size = style()->sizeFromContents(QStyle::CT_PushButton, &option, contents, this);
    size.setHeight(qMax(size.height(), kMinimumHeight));
    return size;
}

QSize QMaemo5ValueButton::minimumSizeHint() const {
    return sizeHint();
}

void QMaemo5ValueButton::paintEvent(QPaintEvent* /*event*/) {
    QStylePainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text.clear();
    option.icon = QIcon();
    painter.drawControl(QStyle::CE_PushButton, option);

    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor textColour = palette().color(group, QPalette::ButtonText);
    // The value stands out from the label, as on the handheld.
    const QColor valueColour = isEnabled() ? palette().color(QPalette::Link) : textColour;
    const QFontMetrics metrics = fontMetrics();
    const QRect area = contentsArea();

    QRect textRect;
    QRect valueRect;
    int textAlignment = Qt::AlignLeft | Qt::AlignVCenter;
    int valueAlignment = Qt::AlignLeft | Qt::AlignVCenter;
    if (layout == ValueBesideText) {
        const int textWidth = qMin(metrics.horizontalAdvance(text()), area.width());
        textRect = QRect(area.left(), area.top(), textWidth, area.height());
        valueRect = area.adjusted(textWidth + kGap, 0, 0, 0);
    } else {
        const int half = area.height() / 2;
        textRect = QRect(area.left(), area.top(), area.width(), half);
        valueRect = QRect(area.left(), area.top() + half, area.width(), area.height() - half);
        const Qt::Alignment horizontal =
            layout == ValueUnderTextCentered ? Qt::AlignHCenter : Qt::AlignLeft;
        textAlignment = horizontal | Qt::AlignBottom;
        valueAlignment = horizontal | Qt::AlignTop;
    }
    painter.setPen(textColour);
    painter.drawText(textRect, textAlignment,
                     metrics.elidedText(text(), Qt::ElideRight, textRect.width()));
    painter.setPen(valueColour);
    painter.drawText(valueRect, valueAlignment,
                     metrics.elidedText(value, Qt::ElideRight, valueRect.width()));
}
