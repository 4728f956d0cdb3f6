#pragma once

#include <QObject>

class QRect;
class QSize;
class QWidget;

// Windows are laid out for the handheld's 800x480 screen; a smaller or more magnified
// screen must still show them whole, so sizes and positions stay within its available area.
class ScreenFit : public QObject {
    Q_OBJECT
public:
    // Resizes `window` to `preferred`, or to as much of it as the available area holds, and
    // keeps it inside whenever it is shown (its frame is known only then).
    static void resize(QWidget* window, const QSize& preferred);
    // Shrinks and moves `window` so that its frame lies inside the available area.
    static void keepInside(QWidget* window);
    // The available area of the screen the window is on (the primary one before it is shown).
    static QRect availableArea(const QWidget* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit ScreenFit(QWidget* window);
};
