#pragma once

#include <QColor>
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
    // The colour of the face's border: the selection's, or else the activity's.
    QColor borderColor() const { return border; }
    // Tooltip and accessible description: when the task rings next (an invalid moment: never).
    void setNextAlarm(const QDateTime& moment);

    // The size is fixed: no need to measure the text of every task for the grid.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

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
    void paintFace();

    bool taskActive;
    // The ring marks the keyboard's place; a finger on the screen needs none.
    bool focusRingShown;
    QColor border;
};
