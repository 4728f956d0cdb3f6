#include "icons.h"

#include "painting.h"

#include <QPainter>
#include <QTransform>
#include <QtMath>

namespace art {

static QPointF polar(const QPointF& center, qreal radius, qreal degrees) {
    const qreal a = qDegreesToRadians(degrees);
    return center + QPointF(radius * qCos(a), radius * qSin(a));
}

static QPainterPath line(const QPointF& from, const QPointF& to) {
    QPainterPath path(from);
    path.lineTo(to);
    return path;
}

static QPainterPath rounded(const QRectF& r, qreal radius) {
    QPainterPath path;
    path.addRoundedRect(r, radius, radius);
    return path;
}

QImage renderIcon(int size, const std::function<void(QPainter&)>& draw) {
    QImage image = newCanvas(size, size);
    QPainter p(&image);
    beginIcon(p, size);
    draw(p);
    return image;
}

void drawGear(QPainter& p) {
    const QPointF c(50, 50);
    const int teeth = 8;
    const qreal step = 360.0 / teeth;
    QPolygonF rim;
    for (int i = 0; i < teeth; ++i) {
        const qreal a = i * step;
        rim << polar(c, 33, a - 13) << polar(c, 45, a - 7.5) << polar(c, 45, a + 7.5);
        for (qreal d = 13; d < step - 13; d += 4)
            rim << polar(c, 33, a + d);
    }
    QPainterPath gear;
    gear.addPolygon(rim);
    gear.closeSubpath();
    paintGlyph(p, gear.subtracted(circle(c, 14)), kLight);

    // A groove around the hub gives the flat disc some depth.
    p.setPen(QPen(QColor(0, 0, 0, 60), 2.5));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(c, 23, 23);
}

void drawPencil(QPainter& p) {
    // Built lying along +x with the tip at the origin, then tilted up to the right.
    const qreal half = 11;
    QPainterPath wood;
    wood.moveTo(0, 0);
    wood.lineTo(24, -half);
    wood.lineTo(24, half);
    wood.closeSubpath();
    QPainterPath lead;
    lead.moveTo(0, 0);
    lead.lineTo(8.7, -4);
    lead.lineTo(8.7, 4);
    lead.closeSubpath();
    QPainterPath body;
    body.addRect(QRectF(24, -half, 56, 2 * half));
    QPainterPath ferrule;
    ferrule.addRect(QRectF(80, -half, 9, 2 * half));
    const QPainterPath eraser = roundedRect(QRectF(89, -half, 11, 2 * half), {0, 5, 5, 0});

    QTransform tilt;
    tilt.translate(14, 86);
    tilt.rotate(-45);
    paintShadow(p, tilt.map(wood.united(body).united(ferrule).united(eraser)));

    p.save();
    p.setTransform(tilt, true);
    paintFill(p, body, kLight);
    paintFill(p, wood, QColor(0xd8, 0xc6, 0xa0));
    paintFill(p, lead, QColor(0x55, 0x55, 0x55));
    paintFill(p, eraser, kGreen);
    paintFill(p, ferrule, QColor(0xa8, 0xa8, 0xa8));
    p.setPen(QPen(QColor(0, 0, 0, 70), 1.2));
    for (qreal y : {-3.7, 3.7})
        p.drawLine(QPointF(24, y), QPointF(80, y));
    for (qreal x : {83.0, 86.0})
        p.drawLine(QPointF(x, -half), QPointF(x, half));
    p.restore();
}

void drawPlus(QPainter& p) {
    const QPainterPath plus =
        rounded(QRectF(40, 12, 20, 76), 6).united(rounded(QRectF(12, 40, 76, 20), 6));
    paintGlyph(p, plus, kGreen);
}

void drawBin(QPainter& p) {
    const QPainterPath handle =
        rounded(QRectF(37, 8, 26, 14), 4).subtracted(rounded(QRectF(43, 13, 14, 12), 1.5));
    const QPainterPath lid = rounded(QRectF(13, 18, 74, 10), 3);
    QPainterPath body;
    body.moveTo(19, 32);
    body.lineTo(81, 32);
    body.lineTo(75, 85);
    body.quadTo(74.3, 92, 67, 92);
    body.lineTo(33, 92);
    body.quadTo(25.7, 92, 25, 85);
    body.closeSubpath();
    QPainterPath ribs;
    ribs.addPath(line({35, 42}, {37.5, 82}));
    ribs.addPath(line({50, 42}, {50, 82}));
    ribs.addPath(line({65, 42}, {62.5, 82}));
    body = body.subtracted(outline(ribs, 6));

    paintShadow(p, body.united(lid).united(handle));
    paintFill(p, body, kLight);
    paintFill(p, lid.united(handle), kRed);
}

void drawCheck(QPainter& p) {
    QPainterPath tick(QPointF(17, 53));
    tick.lineTo(39, 75);
    tick.lineTo(84, 27);
    paintGlyph(p, outline(tick, 16), kGreen);
}

void drawCross(QPainter& p) {
    QPainterPath cross = line({24, 24}, {76, 76});
    cross.addPath(line({76, 24}, {24, 76}));
    paintGlyph(p, outline(cross, 16), kRed);
}

void drawRepeat(QPainter& p) {
    const QPointF c(50, 50);
    const qreal radius = 31;
    const QRectF orbit(c.x() - radius, c.y() - radius, 2 * radius, 2 * radius);
    QPainterPath arrows;
    // Two clockwise arcs, each ending in an arrowhead that points into the gap before the next.
    for (qreal start : {160.0, 340.0}) {
        const qreal end = start - 130;
        QPainterPath arc;
        arc.arcMoveTo(orbit, start);
        arc.arcTo(orbit, start, end - start);
        arrows = arrows.united(outline(arc, 10, Qt::FlatCap));

        const qreal a = qDegreesToRadians(end);
        const QPointF tip = c + QPointF(radius * qCos(a), -radius * qSin(a));
        const QPointF ahead(qSin(a), qCos(a));
        const QPointF across(qCos(a), -qSin(a));
        QPolygonF head;
        head << tip + ahead * 15 << tip - ahead * 1 + across * 13 << tip - ahead * 1 - across * 13;
        QPainterPath headPath;
        headPath.addPolygon(head);
        headPath.closeSubpath();
        arrows = arrows.united(headPath);
    }
    paintGlyph(p, arrows, kLight);
}

void drawBell(QPainter& p) {
    QPainterPath bell(QPointF(17, 71));
    bell.cubicTo(26, 65, 29, 58, 29, 45);
    bell.cubicTo(29, 30, 38, 21, 50, 21);
    bell.cubicTo(62, 21, 71, 30, 71, 45);
    bell.cubicTo(71, 58, 74, 65, 83, 71);
    bell.closeSubpath();
    bell = bell.united(rounded(QRectF(12, 67, 76, 10), 5)).united(circle({50, 16}, 6));
    const QPainterPath clapper = circle({50, 84}, 8);

    paintShadow(p, bell.united(clapper));
    paintFill(p, clapper, kGreen);
    paintFill(p, bell, kLight);
}

void drawStopwatch(QPainter& p) {
    const QPointF c(50, 57);
    const QPainterPath crown =
        rounded(QRectF(38, 3, 24, 9), 3).united(rounded(QRectF(45, 10, 10, 12), 1));
    QPainterPath button = rounded(QRectF(-5, -5, 10, 9), 2);
    QTransform place;
    place.translate(polar(c, 40, -45).x(), polar(c, 40, -45).y());
    place.rotate(45);
    button = place.map(button);
    const QPainterPath ring = circle(c, 37).subtracted(circle(c, 30));

    paintShadow(p, circle(c, 37).united(crown).united(button));
    paintFill(p, crown, kLight);
    paintFill(p, button, QColor(0xb8, 0xb8, 0xb8));
    paintFill(p, circle(c, 30), kFace);
    paintFill(p, ring, kLight);

    QPainterPath ticks;
    for (int i = 0; i < 12; ++i) {
        const qreal inner = i % 3 == 0 ? 20 : 23.5;
        ticks.addPath(line(polar(c, inner, i * 30), polar(c, 26.5, i * 30)));
    }
    const QPainterPath hand = line(polar(c, 6, 135), polar(c, 21, -45));
    paintFill(p, outline(ticks, 2.6), kLight);
    paintGlyph(p, outline(hand, 3.6), kGreen);
    paintFill(p, circle(c, 4.5), kLight);
}

void drawCalendar(QPainter& p, int columns, int rows) {
    const QPainterPath page = rounded(QRectF(12, 20, 76, 72), 9);
    QPainterPath headerBand;
    headerBand.addRect(QRectF(12, 20, 76, 20));
    const QPainterPath header = page.intersected(headerBand);
    QPainterPath rings = rounded(QRectF(27, 9, 9, 20), 4.5);
    rings.addPath(rounded(QRectF(64, 9, 9, 20), 4.5));

    paintShadow(p, page.united(rings));
    paintFill(p, page, kLight);
    paintFill(p, header, kGreen);
    paintFill(p, rings, kLight);

    const QRectF grid(20, 46, 60, 38);
    const qreal gap = columns > 5 ? 2.2 : 3.5;
    const qreal w = (grid.width() - gap * (columns - 1)) / columns;
    const qreal h = (grid.height() - gap * (rows - 1)) / rows;
    const int today = rows * columns / 2 + 1;
    for (int row = 0; row < rows; ++row) {
        for (int col = 0; col < columns; ++col) {
            const QRectF cell(grid.left() + col * (w + gap), grid.top() + row * (h + gap), w, h);
            const bool highlight = row * columns + col == today;
            paintFill(p, rounded(cell, 1.2), highlight ? kGreen : QColor(0x80, 0x80, 0x80));
        }
    }
}

} // namespace art
