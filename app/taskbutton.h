#pragma once

#include <QPushButton>

class QMouseEvent;

class TaskButton : public QPushButton {
    Q_OBJECT
public:
    explicit TaskButton(QWidget* parent = nullptr);

    // An image-based look, kept as an alternative to the style-sheet one.
    void createFromImage();

Q_SIGNALS:
    void doubleClicked();

public Q_SLOTS:
    void setActivated(bool active);
    void setSelected(bool selected, bool activated);

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
};
