#pragma once

#include <QColor>
#include <QImage>
#include <QPainterPath>
#include <QRectF>

class QPainter;

// Shared drawing helpers so every image uses the same materials.
namespace art {

inline const QColor kLight(0xe8, 0xe8, 0xe8);
inline const QColor kGreen(0x22, 0xc7, 0x0d);
inline const QColor kGreenBorder(0x19, 0x99, 0x09);
inline const QColor kGreenDark(0x11, 0x6a, 0x06);
inline const QColor kRed(0xd0, 0x30, 0x30);
inline const QColor kFace(0x2a, 0x2a, 0x2a);

// Transparent canvas with a fixed resolution, so saved files never depend on the screen.
// Sizes are logical: the canvas holds `scale` device pixels per pixel (see setCanvasScale),
// and a painter on it draws in logical pixels.
QImage newCanvas(int width, int height,
                 QImage::Format format = QImage::Format_ARGB32_Premultiplied);
// Device pixels per logical pixel of the canvases made from now on: 2 draws the "@2x"
// images that high-density screens load instead.
void setCanvasScale(int scale);

QPainterPath circle(const QPointF& center, qreal radius);
QPainterPath outline(const QPainterPath& path, qreal width, Qt::PenCapStyle cap = Qt::RoundCap);

// Icons are drawn in a 100x100 box and scaled, so every size shares one design.
void beginIcon(QPainter& p, int size);
void paintShadow(QPainter& p, const QPainterPath& silhouette);
void paintFill(QPainter& p, const QPainterPath& path, const QColor& base);
void paintGlyph(QPainter& p, const QPainterPath& path, const QColor& base);

struct Corners {
    qreal topLeft, topRight, bottomRight, bottomLeft;
};
QPainterPath roundedRect(const QRectF& r, const Corners& c);

struct PanelColors {
    QColor top, bottom, border;
};
inline const PanelColors kGreyPanel{QColor(0x4a, 0x4a, 0x4a), QColor(0x22, 0x22, 0x22),
                                    QColor(0x33, 0x33, 0x33)};
inline const PanelColors kGreenPanel{kGreen, kGreenDark, kGreenBorder};

enum class PanelState { Raised, Pressed };

// A button background: panel inset by margin, leaving room for its shadow.
QImage panelImage(int width, int height, qreal margin, const Corners& corners,
                  const PanelColors& colors, PanelState state);

} // namespace art
