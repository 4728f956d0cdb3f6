#pragma once

#include <QImage>

#include <functional>

class QPainter;

// Icon glyphs, each drawn in a 100x100 box.
namespace art {

QImage renderIcon(int size, const std::function<void(QPainter&)>& draw);

void drawGear(QPainter& p);
void drawPencil(QPainter& p);
void drawPlus(QPainter& p);
void drawBin(QPainter& p);
void drawCheck(QPainter& p);
void drawCross(QPainter& p);
void drawRepeat(QPainter& p);
void drawBell(QPainter& p);
void drawStopwatch(QPainter& p);
void drawCalendar(QPainter& p, int columns, int rows);

} // namespace art
