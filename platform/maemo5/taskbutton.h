#pragma once

#include <QPushButton>

class QDateTime;
class QFocusEvent;
class QKeyEvent;
class QMouseEvent;
class QPaintEvent;

class TaskButton : public QPushButton {
    Q_OBJECT
public:
    explicit TaskButton(QWidget* parent = nullptr);

    // An image-based look, kept as an alternative to the style-sheet one.
    void createFromImage();

    // Whether the task is on; screen readers get it as the checked state.
    bool isActivated() const { return taskActive; }
    // What a double tap gives: the first tap's click, then doubleClicked() and one click more.
    void doubleTap();
    // Tooltip and accessible description: when the task rings next (an invalid moment: never).
    void setNextAlarm(const QDateTime& moment);

Q_SIGNALS:
    void doubleClicked();

public Q_SLOTS:
    void setActivated(bool active);
    void setSelected(bool selected, bool activated);

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool moveFocus(int key);

    bool taskActive;
    // The ring marks the keyboard's place; a finger on the screen needs none.
    bool focusRingShown;
};
