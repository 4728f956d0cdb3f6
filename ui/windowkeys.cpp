#include "windowkeys.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QWidget>

WindowKeys::WindowKeys(QWidget* watched)
    : QObject(watched)
    , window(watched) {
    // Key presses that the focused control ignores travel up to the window, and pass here.
    window->installEventFilter(this);
}

void WindowKeys::setCancelButton(QAbstractButton* button) {
    cancelButton = button;
}

void WindowKeys::setDefaultButton(QAbstractButton* button) {
    defaultButton = button;
}

bool WindowKeys::press(QAbstractButton* button) {
    if (!button || !button->isVisible() || !button->isEnabled()) {
        return false;
    }
    button->click();
    return true;
}

bool WindowKeys::eventFilter(QObject* watched, QEvent* event) {
    if (watched != window || event->type() != QEvent::KeyPress) {
        return QObject::eventFilter(watched, event);
    }
    auto* key = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers modifiers = key->modifiers() & ~Qt::KeypadModifier;
    if (modifiers != Qt::NoModifier) {
        return QObject::eventFilter(watched, event);
    }
    switch (key->key()) {
    case Qt::Key_Escape:
        if (!press(cancelButton)) {
            window->close();
        }
        // The window may be gone now: touch nothing of it.
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (press(qobject_cast<QAbstractButton*>(window->focusWidget()))) {
            return true;
        }
        return press(defaultButton);
    default:
        return QObject::eventFilter(watched, event);
    }
}
