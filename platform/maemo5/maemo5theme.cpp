#include "maemo5theme.h"

#include <QApplication>
#include <QFont>
#include <QPalette>
#include <QStyleFactory>

void Maemo5Theme::apply(QApplication& app) {
    app.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    QPalette palette;
    const QColor window(0x10, 0x10, 0x10);
    const QColor base(0x1c, 0x1c, 0x1c);
    const QColor text(0xf0, 0xf0, 0xf0);
    const QColor green(0x19, 0x99, 0x09);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x33, 0x33, 0x33));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Highlight, green);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x90, 0x90, 0x90));
    palette.setColor(QPalette::Link, QColor(0x22, 0xc7, 0x0d));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, QColor(0x70, 0x70, 0x70));
    }
    app.setPalette(palette);

    // Finger-sized text, as on the handheld's 800 x 480 screen.
    QFont font = app.font();
    font.setPixelSize(20);
    app.setFont(font);
}
