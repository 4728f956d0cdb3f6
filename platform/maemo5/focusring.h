#pragma once

class QWidget;

// The image buttons' style sheets draw no focus frame; a keyboard user still has to see
// which of them has the focus.
class FocusRing {
public:
    // Draws the ring over `widget` when it has the focus; call at the end of its paintEvent.
    static void paint(QWidget* widget);
};
