#include "screenfit.h"

#include <QEvent>
#include <QGuiApplication>
#include <QMargins>
#include <QRect>
#include <QScreen>
#include <QWidget>

namespace {

// Known once a window manager has framed the window; nothing before.
QMargins frameMargins(const QWidget* window) {
    const QRect frame = window->frameGeometry();
    const QRect inner = window->geometry();
    return QMargins(inner.left() - frame.left(), inner.top() - frame.top(),
                    frame.right() - inner.right(), frame.bottom() - inner.bottom());
}

} // namespace

ScreenFit::ScreenFit(QWidget* window)
    : QObject(window) {
    window->installEventFilter(this);
}

bool ScreenFit::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show && watched->isWidgetType()) {
        keepInside(static_cast<QWidget*>(watched));
    }
    return QObject::eventFilter(watched, event);
}

QRect ScreenFit::availableArea(const QWidget* window) {
    QScreen* screen = window ? window->screen() : nullptr;
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    return screen ? screen->availableGeometry() : QRect();
}

void ScreenFit::resize(QWidget* window, const QSize& preferred) {
    if (!window->findChild<ScreenFit*>(QString(), Qt::FindDirectChildrenOnly)) {
        new ScreenFit(window);
    }
    const QRect area = availableArea(window);
    if (!area.isValid()) {
        window->resize(preferred);
        return;
    }
    window->resize(preferred.boundedTo(area.size().shrunkBy(frameMargins(window))));
}

void ScreenFit::keepInside(QWidget* window) {
    const QRect area = availableArea(window);
    if (!area.isValid()) {
        return;
    }
    const QMargins margins = frameMargins(window);
    const QSize inner = window->size().boundedTo(area.size().shrunkBy(margins));
    if (inner != window->size()) {
        window->resize(inner);
    }
    // pos() is where the frame starts.
    QRect frame(window->pos(), window->size().grownBy(margins));
    if (frame.right() > area.right()) {
        frame.moveRight(area.right());
    }
    if (frame.bottom() > area.bottom()) {
        frame.moveBottom(area.bottom());
    }
    if (frame.left() < area.left()) {
        frame.moveLeft(area.left());
    }
    if (frame.top() < area.top()) {
        frame.moveTop(area.top());
    }
    if (frame.topLeft() != window->pos()) {
        window->move(frame.topLeft());
    }
}
