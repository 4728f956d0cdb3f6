#include "painting.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPathStroker>

namespace art {

static int canvasScale = 1;

void setCanvasScale(int scale) {
    canvasScale = scale;
}

QImage newCanvas(int width, int height, QImage::Format format) {
    QImage image(width * canvasScale, height * canvasScale, format);
    image.fill(Qt::transparent);
    image.setDotsPerMeterX(3780 * canvasScale); // 96 dpi per logical pixel
    image.setDotsPerMeterY(3780 * canvasScale);
    image.setDevicePixelRatio(canvasScale);
    return image;
}

QPainterPath circle(const QPointF& center, qreal radius) {
    QPainterPath path;
    path.addEllipse(center, radius, radius);
    return path;
}

QPainterPath outline(const QPainterPath& path, qreal width, Qt::PenCapStyle cap) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(cap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(path).simplified();
}

void beginIcon(QPainter& p, int size) {
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 100.0, size / 100.0);
}

void paintShadow(QPainter& p, const QPainterPath& silhouette) {
    p.save();
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 45));
    p.drawPath(silhouette.translated(0, 3.5));
    p.setBrush(QColor(0, 0, 0, 80));
    p.drawPath(silhouette.translated(0, 2));
    p.restore();
}

void paintFill(QPainter& p, const QPainterPath& path, const QColor& base) {
    const QRectF box = path.boundingRect();
    QLinearGradient shade(box.topLeft(), box.bottomLeft());
    shade.setColorAt(0, base.lighter(118));
    shade.setColorAt(0.45, base);
    shade.setColorAt(1, base.darker(135));
    QColor rim = base.darker(220);
    rim.setAlpha(170);
    QPen pen(rim, 1);
    pen.setCosmetic(true);
    p.save();
    p.setPen(pen);
    p.setBrush(shade);
    p.drawPath(path);
    p.restore();
}

void paintGlyph(QPainter& p, const QPainterPath& path, const QColor& base) {
    paintShadow(p, path);
    paintFill(p, path, base);
}

QPainterPath roundedRect(const QRectF& r, const Corners& c) {
    QPainterPath path;
    path.moveTo(r.left() + c.topLeft, r.top());
    path.arcTo(QRectF(r.right() - 2 * c.topRight, r.top(), 2 * c.topRight, 2 * c.topRight), 90,
               -90);
    path.arcTo(QRectF(r.right() - 2 * c.bottomRight, r.bottom() - 2 * c.bottomRight,
                      2 * c.bottomRight, 2 * c.bottomRight),
               0, -90);
    path.arcTo(QRectF(r.left(), r.bottom() - 2 * c.bottomLeft, 2 * c.bottomLeft, 2 * c.bottomLeft),
               270, -90);
    path.arcTo(QRectF(r.left(), r.top(), 2 * c.topLeft, 2 * c.topLeft), 180, -90);
    path.closeSubpath();
    return path;
}

static Corners grown(const Corners& c, qreal by) {
    return {c.topLeft + by, c.topRight + by, c.bottomRight + by, c.bottomLeft + by};
}

static QPainterPath inset(const QRectF& r, const Corners& c, qreal by) {
    const Corners shrunk = grown(c, -by);
    return roundedRect(r.adjusted(by, by, -by, -by),
                       {qMax<qreal>(shrunk.topLeft, 0), qMax<qreal>(shrunk.topRight, 0),
                        qMax<qreal>(shrunk.bottomRight, 0), qMax<qreal>(shrunk.bottomLeft, 0)});
}

static QColor withAlpha(QColor color, int alpha) {
    color.setAlpha(alpha);
    return color;
}

// Fades from `from` at the top edge to transparent `depth` pixels further down.
static QLinearGradient topFade(const QRectF& r, const QColor& from, qreal depth) {
    QLinearGradient fade(r.topLeft(), r.topLeft() + QPointF(0, depth));
    fade.setColorAt(0, from);
    fade.setColorAt(1, withAlpha(from, 0));
    return fade;
}

static void paintRaised(QPainter& p, const QRectF& r, const Corners& c, const PanelColors& colors,
                        qreal margin) {
    // Soft drop shadow built from stacked translucent outlines.
    const int spread = qMin(4, int(margin));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 22));
    for (int i = spread; i >= 1; --i)
        p.drawPath(roundedRect(r.adjusted(-i, -i, i, i), grown(c, i)).translated(0, 1.5));

    const QPainterPath body = roundedRect(r, c);
    QLinearGradient fill(r.topLeft(), r.bottomLeft());
    fill.setColorAt(0, colors.top);
    fill.setColorAt(1, colors.bottom);
    p.setBrush(fill);
    p.drawPath(body);

    p.save();
    p.setClipPath(body);
    p.setBrush(topFade(r, QColor(255, 255, 255, 34), r.height() * 0.5));
    p.drawRect(r);
    p.restore();

    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QBrush(topFade(r, QColor(255, 255, 255, 110), r.height() * 0.4)), 1));
    p.drawPath(inset(r, c, 1.5));
    p.setPen(QPen(colors.border, 1));
    p.drawPath(inset(r, c, 0.5));
}

static void paintPressed(QPainter& p, const QRectF& r, const Corners& c,
                         const PanelColors& colors) {
    // A faint light lip below the panel makes it read as set into the surface.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 22));
    p.drawPath(roundedRect(r, c).translated(0, 1));

    const QPainterPath body = roundedRect(r, c);
    QLinearGradient fill(r.topLeft(), r.bottomLeft());
    fill.setColorAt(0, colors.bottom.darker(140));
    fill.setColorAt(1, colors.top.darker(125));
    p.setBrush(fill);
    p.drawPath(body);

    p.save();
    p.setClipPath(body);
    p.setBrush(topFade(r, QColor(0, 0, 0, 120), qMin<qreal>(r.height() * 0.25, 20)));
    p.drawRect(r);
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(withAlpha(kGreen, 45), 6));
    p.drawPath(inset(r, c, 1));
    p.setPen(QPen(withAlpha(kGreen, 140), 2));
    p.drawPath(inset(r, c, 1.5));
    p.restore();

    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QColor(0x11, 0x11, 0x11), 1));
    p.drawPath(inset(r, c, 0.5));
}

QImage panelImage(int width, int height, qreal margin, const Corners& corners,
                  const PanelColors& colors, PanelState state) {
    QImage image = newCanvas(width, height);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r(margin, margin, width - 2 * margin, height - 2 * margin);
    if (state == PanelState::Raised)
        paintRaised(p, r, corners, colors, margin);
    else
        paintPressed(p, r, corners, colors);
    return image;
}

} // namespace art
