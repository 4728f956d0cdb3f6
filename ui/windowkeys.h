#pragma once

#include <QObject>
#include <QPointer>

class QAbstractButton;
class QWidget;

// Gives a main window the keys of a dialog: Escape presses its cancel button (or closes it
// when it has none), Return and Enter press the focused button, or else the default button.
// Keys that a control uses itself never get here.
class WindowKeys : public QObject {
    Q_OBJECT
public:
    explicit WindowKeys(QWidget* window);

    void setCancelButton(QAbstractButton* button);
    void setDefaultButton(QAbstractButton* button);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool press(QAbstractButton* button);

    QWidget* window;
    QPointer<QAbstractButton> cancelButton;
    QPointer<QAbstractButton> defaultButton;
};
