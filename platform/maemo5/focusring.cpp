#include "focusring.h"

#include <QPainter>
#include <QPen>
#include <QWidget>

namespace {
// The green the application marks active things with, plain on the dark theme.
const QColor kRingColour(0x22, 0xc7, 0x0d);
const int kRingWidth = 4;
} // namespace

void FocusRing::paint(QWidget* widget) {
    if (!widget->hasFocus()) {
        return;
    }
    QPainter painter(widget);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(kRingColour);
    pen.setWidth(kRingWidth);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const qreal inset = kRingWidth / 2.0;
    painter.drawRoundedRect(QRectF(widget->rect()).adjusted(inset, inset, -inset, -inset), 6, 6);
}
