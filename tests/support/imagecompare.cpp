#include "imagecompare.h"

#include <QIcon>
#include <QImage>
#include <QPixmap>

#include <algorithm>
#include <cmath>

namespace ImageCompare {

namespace {

// Premultiplied, so that the colour of an all but transparent pixel, which carries no
// information and comes out of a round trip as anything, cannot count as a difference.
QImage normalised(const QImage& image) {
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

int channelDistance(QRgb a, QRgb b) {
    return std::max({qAbs(qRed(a) - qRed(b)), qAbs(qGreen(a) - qGreen(b)),
                     qAbs(qBlue(a) - qBlue(b)), qAbs(qAlpha(a) - qAlpha(b))});
}

QString sizeText(const QSize& size) {
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

} // namespace

bool Result::matches() const {
    return actualSize == expectedSize && !actualSize.isEmpty() && differing <= allowed;
}

QString Result::explanation() const {
    if (actualSize.isEmpty() || expectedSize.isEmpty()) {
        return QStringLiteral("empty image: actual %1, expected %2")
            .arg(sizeText(actualSize), sizeText(expectedSize));
    }
    if (actualSize != expectedSize) {
        return QStringLiteral("size mismatch: actual %1, expected %2")
            .arg(sizeText(actualSize), sizeText(expectedSize));
    }
    QString text = QStringLiteral("%1 of %2 pixels differ beyond the bound (%3 allowed); "
                                  "worst channel distance %4")
                       .arg(differing)
                       .arg(actualSize.width() * actualSize.height())
                       .arg(allowed)
                       .arg(worstChannel);
    if (firstDiffering.x() >= 0) {
        text +=
            QStringLiteral("; first at (%1, %2)").arg(firstDiffering.x()).arg(firstDiffering.y());
    }
    return text;
}

Result compare(const QImage& actual, const QImage& expected, const Bounds& bounds) {
    Result result;
    result.actualSize = actual.size();
    result.expectedSize = expected.size();
    if (actual.size() != expected.size() || actual.isNull()) {
        return result;
    }
    result.allowed =
        int(std::floor(bounds.pixelShare * double(actual.width()) * double(actual.height())));
    const QImage a = normalised(actual);
    const QImage b = normalised(expected);
    for (int y = 0; y < a.height(); ++y) {
        const auto* lineA = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* lineB = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x) {
            const int distance = channelDistance(lineA[x], lineB[x]);
            result.worstChannel = std::max(result.worstChannel, distance);
            if (distance > bounds.channel) {
                if (result.differing == 0) {
                    result.firstDiffering = QPoint(x, y);
                }
                ++result.differing;
            }
        }
    }
    return result;
}

QImage resource(const QString& name) {
    return QImage(QStringLiteral(":/images/") + name);
}

QImage iconImage(const QIcon& icon, const QSize& size) {
    return icon.pixmap(size, 1.0).toImage();
}

} // namespace ImageCompare
