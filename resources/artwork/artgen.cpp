// Draws every image of the application; run with the output directory as the only argument.

#include "icons.h"
#include "painting.h"

#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>
#include <QRegularExpression>
#include <QSvgGenerator>

#include <cstdio>
#include <functional>
#include <vector>

using namespace art;

namespace {

struct Artwork {
    const char* name;
    std::function<QImage()> make;
};

QImage panel(int width, int height, qreal margin, qreal radius, PanelState state,
             const PanelColors& colors = kGreyPanel) {
    return panelImage(width, height, margin, {radius, radius, radius, radius}, colors, state);
}

// The two action buttons sit on the right edge, so their outer corner is rounded more.
QImage actionButton(bool upper, PanelState state) {
    const qreal r = 14, outer = 30;
    const Corners corners = upper ? Corners{r, outer, r, r} : Corners{r, r, outer, r};
    return panelImage(138, 138, 3, corners, kGreyPanel, state);
}

QImage darkBackground() {
    const int w = 800, h = 424;
    QImage image = newCanvas(w, h, QImage::Format_RGB32);
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        QLinearGradient base(0, 0, 0, h);
        base.setColorAt(0, QColor(0x28, 0x28, 0x28));
        base.setColorAt(1, QColor(0x12, 0x12, 0x12));
        p.fillRect(image.rect(), base);

        QRadialGradient glow(QPointF(w * 0.5, h * 0.15), w * 0.6);
        glow.setColorAt(0, QColor(255, 255, 255, 16));
        glow.setColorAt(1, QColor(255, 255, 255, 0));
        p.fillRect(image.rect(), glow);

        // Faint diagonal brushing.
        for (int x = -h, i = 0; x < w; x += 5, ++i) {
            p.setPen(QPen(QColor(255, 255, 255, i % 3 == 0 ? 7 : 3), 1));
            p.drawLine(QPointF(x, h), QPointF(x + h, 0));
        }

        QRadialGradient vignette(QPointF(w * 0.5, h * 0.5), w * 0.65);
        vignette.setColorAt(0.55, QColor(0, 0, 0, 0));
        vignette.setColorAt(1, QColor(0, 0, 0, 110));
        p.fillRect(image.rect(), vignette);
    }

    // Fine grain from a fixed-seed xorshift, so the output never changes between runs.
    quint32 state = 0x9e3779b9u;
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            const int n = int(state % 5) - 2;
            const QRgb c = row[x];
            row[x] = qRgb(qBound(0, qRed(c) + n, 255), qBound(0, qGreen(c) + n, 255),
                          qBound(0, qBlue(c) + n, 255));
        }
    }
    return image;
}

std::vector<Artwork> artworks() {
    using S = PanelState;
    return {
        {"action_upper_right_button.png",
         [] {
             return actionButton(true, S::Raised);
         }},
        {"action_upper_right_button_pressed.png",
         [] {
             return actionButton(true, S::Pressed);
         }},
        {"action_lower_right_button.png",
         [] {
             return actionButton(false, S::Raised);
         }},
        {"action_lower_right_button_pressed.png",
         [] {
             return actionButton(false, S::Pressed);
         }},
        {"icon_settings.png",
         [] {
             return renderIcon(130, drawGear);
         }},
        {"icon_edittask.png",
         [] {
             return renderIcon(130, drawPencil);
         }},
        {"icon_newtask.png",
         [] {
             return renderIcon(130, drawPlus);
         }},
        {"icon_deletetask.png",
         [] {
             return renderIcon(130, drawBin);
         }},
        {"task_button_inactive.png",
         [] {
             return panel(317, 100, 12, 10, S::Raised);
         }},
        {"task_button_active.png",
         [] {
             return panel(317, 100, 12, 10, S::Raised, kGreenPanel);
         }},
        {"pardo_background_dark.jpg", darkBackground},
        {"icon_calendar.png",
         [] {
             return renderIcon(70, [](QPainter& p) { drawCalendar(p, 4, 3); });
         }},
        {"icon_accept.png",
         [] {
             return renderIcon(70, drawCheck);
         }},
        {"icon_cancel.png",
         [] {
             return renderIcon(70, drawCross);
         }},
        {"icon_repeat.png",
         [] {
             return renderIcon(70, drawRepeat);
         }},
        {"icon_alarm.png",
         [] {
             return renderIcon(70, drawBell);
         }},
        {"icon_stopwatch.png",
         [] {
             return renderIcon(140, drawStopwatch);
         }},
        {"icon_calendar_big.png",
         [] {
             return renderIcon(140, [](QPainter& p) { drawCalendar(p, 7, 5); });
         }},
        {"new_task_button.png",
         [] {
             return panel(200, 200, 4, 18, S::Raised);
         }},
        {"new_task_button_pressed.png",
         [] {
             return panel(200, 200, 4, 18, S::Pressed);
         }},
        {"task_edit_sidebar_button.png",
         [] {
             return panel(110, 84, 3, 10, S::Raised);
         }},
        {"task_edit_sidebar_button_pressed.png",
         [] {
             return panel(110, 84, 3, 10, S::Pressed);
         }},
        {"icon_cancel_small.png",
         [] {
             return renderIcon(50, drawCross);
         }},
    };
}

// The launcher icon for the desktop's icon theme: PNGs at the sizes menus ask for, and
// the same drawing as SVG so that any other size stays sharp.
bool writeThemeIcons(const QDir& hicolor) {
    const QString name = QStringLiteral("org.velmar.pardoreminder");
    for (const int size : {48, 64, 128, 256}) {
        const QString folder = QStringLiteral("%1x%1/apps").arg(size);
        const QString path = hicolor.filePath(folder + QLatin1Char('/') + name + ".png");
        if (!hicolor.mkpath(folder) || !renderIcon(size, drawStopwatch).save(path, "png")) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return false;
        }
    }
    const QString folder = QStringLiteral("scalable/apps");
    const QString path = hicolor.filePath(folder + QLatin1Char('/') + name + ".svg");
    if (!hicolor.mkpath(folder)) {
        std::fprintf(stderr, "cannot create %s\n", qPrintable(hicolor.filePath(folder)));
        return false;
    }
    QSvgGenerator svg;
    svg.setFileName(path);
    svg.setSize(QSize(100, 100));
    svg.setViewBox(QRectF(0, 0, 100, 100));
    svg.setTitle(QStringLiteral("Pardo Reminder"));
    svg.setResolution(96);
    {
        QPainter p;
        if (!p.begin(&svg)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return false;
        }
        beginIcon(p, 100);
        drawStopwatch(p);
    }
    // The icon has no text; the generator still names a font on every group, and an
    // invalid one at that (no application object, no fonts): leave those out.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    QString svgText = QString::fromUtf8(file.readAll());
    file.close();
    svgText.remove(
        QRegularExpression(QStringLiteral("\\s+font-(family|size|weight|style)=\"[^\"]*\"")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(svgText.toUtf8()) < 0) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const bool withIcons = argc == 4 && qstrcmp(argv[2], "--icons") == 0;
    if (argc != 2 && !withIcons) {
        std::fprintf(stderr, "usage: %s OUTPUT_DIR [--icons HICOLOR_DIR]\n", argv[0]);
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    if (!dir.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "cannot create %s\n", argv[1]);
        return 1;
    }
    // Every image once as designed and once at twice the density, for screens scaled by 2.
    for (const int scale : {1, 2}) {
        setCanvasScale(scale);
        for (const Artwork& artwork : artworks()) {
            QString name = QString::fromLatin1(artwork.name);
            const bool jpeg = name.endsWith(QLatin1String(".jpg"));
            if (scale != 1)
                name.insert(name.lastIndexOf(QLatin1Char('.')), QStringLiteral("@%1x").arg(scale));
            QImageWriter writer(dir.filePath(name), jpeg ? "jpeg" : "png");
            if (jpeg)
                writer.setQuality(90);
            if (!writer.write(artwork.make())) {
                std::fprintf(stderr, "cannot write %s: %s\n", qPrintable(writer.fileName()),
                             qPrintable(writer.errorString()));
                return 1;
            }
        }
    }
    setCanvasScale(1);
    if (withIcons && !writeThemeIcons(QDir(QString::fromLocal8Bit(argv[3]))))
        return 1;
    return 0;
}
