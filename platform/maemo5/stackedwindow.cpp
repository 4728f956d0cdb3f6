#include "stackedwindow.h"

#include <QApplication>
#include <QEvent>
#include <QWidget>

#include "screenfit.h"

namespace {
const char* const kProperty = "maemo5StackedWindow";
}

StackedWindow::StackedWindow(QWidget* window)
    : QObject(window) {
    window->installEventFilter(this);
}

void StackedWindow::enable(QWidget* window) {
    if (isEnabled(window)) {
        return;
    }
    window->setProperty(kProperty, true);
    if (window->parentWidget()) {
        window->setWindowFlag(Qt::Window, true);
        new StackedWindow(window);
    }
}

bool StackedWindow::isEnabled(const QWidget* window) {
    return window->property(kProperty).toBool();
}

bool StackedWindow::eventFilter(QObject* watched, QEvent* event) {
    auto* window = static_cast<QWidget*>(watched);
    QWidget* below = window->parentWidget() ? window->parentWidget()->window() : nullptr;
    if (below) {
        if (event->type() == QEvent::Show) {
            window->setGeometry(below->geometry());
            // The window below may have been moved or sized past the screen's edge.
            ScreenFit::keepInside(window);
        } else if (event->type() == QEvent::Close) {
            below->show();
            below->raise();
            below->activateWindow();
            // A note shown just before closing (such as "Task saved.") stays above the window
            // that comes back.
            const QWidgetList windows = QApplication::topLevelWidgets();
            for (QWidget* other : windows) {
                if (other->windowType() == Qt::ToolTip && other->isVisible()) {
                    other->raise();
                }
            }
        }
    }
    return QObject::eventFilter(watched, event);
}
