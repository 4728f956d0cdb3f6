#pragma once

#include <QList>
#include <QWidget>

class QLabel;
class QPushButton;
struct RingRequest;

// The window of a due event: on top of all others, titled with the event's
// title, showing the due time and the message, one button per button action
// in table order. Closing it counts as pressing the first button. It never
// takes the keyboard from another window: a Return meant for what the user is
// typing must not answer it.
class AlarmDialog : public QWidget {
    Q_OBJECT
public:
    explicit AlarmDialog(const RingRequest& request, QWidget* parent = nullptr);

    qint64 cookie() const { return cookie_; }
    QList<QPushButton*> buttons() const { return buttons_; }
    QString dueText() const;
    QString messageText() const;
    // Closes the window without answering (the event was answered elsewhere or withdrawn).
    void dismiss();

Q_SIGNALS:
    // The button of the event's action at `actionIndex` was pressed.
    void answered(int actionIndex);

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void answer(int actionIndex);

    qint64 cookie_ = 0;
    int firstAction_ = -1;
    bool done_ = false;
    QLabel* time_ = nullptr;
    QLabel* date_ = nullptr;
    QLabel* message_ = nullptr;
    QList<QPushButton*> buttons_;
};
