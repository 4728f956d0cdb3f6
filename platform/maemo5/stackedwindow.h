#pragma once

#include <QObject>

class QWidget;

// Desktop stand-in for the handheld's stacked windows: a stacked window is its
// own top-level window laid exactly over its parent, and closing it brings the
// parent back to the front.
class StackedWindow : public QObject {
    Q_OBJECT
public:
    static void enable(QWidget* window);
    static bool isEnabled(const QWidget* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit StackedWindow(QWidget* window);
};
