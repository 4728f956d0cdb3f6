#pragma once

#include <QPoint>
#include <QSize>
#include <QString>

class QIcon;
class QImage;

// Compares rasterised images the way they can be expected to agree across machines:
// anti-aliasing, font hinting, SIMD paths and premultiplied round trips move a channel
// by a few levels here and there, so an exact comparison says more about the CPU than
// about the program.
namespace ImageCompare {

struct Bounds {
    // Largest difference of one channel (0-255, premultiplied) that still counts as the same.
    int channel = 16;
    // Share of the pixels that may differ by more than `channel`, for the odd edge pixel.
    double pixelShare = 0.005;
};

struct Result {
    QSize actualSize;
    QSize expectedSize;
    // Pixels with a channel further off than the bound, and how many were allowed.
    int differing = 0;
    int allowed = 0;
    // Largest channel difference anywhere, and the first pixel beyond the bound (row by row).
    int worstChannel = 0;
    QPoint firstDiffering = QPoint(-1, -1);

    bool matches() const;
    QString explanation() const;
};

Result compare(const QImage& actual, const QImage& expected, const Bounds& bounds = {});

// An image from the compiled-in resources, ":/images/<name>".
QImage resource(const QString& name);
// What an icon holds for `size` at one device pixel per pixel, whatever the screen's scale.
QImage iconImage(const QIcon& icon, const QSize& size);

} // namespace ImageCompare

// Fails the current test function with the explanation when the images do not match.
#define PARDO_COMPARE_IMAGES(actual, expected)                                                     \
    do {                                                                                           \
        const ImageCompare::Result pardoImageResult = ImageCompare::compare((actual), (expected)); \
        QVERIFY2(pardoImageResult.matches(), qPrintable(pardoImageResult.explanation()));          \
    } while (false)
