#pragma once

#include <QDate>
#include <QObject>
#include <QTime>
#include <QTimer>

#include <functional>

class QAbstractButton;
class QDialog;

// Plays the user in the picker dialogs that open while it lives: lets
// `choose` work the dialog's controls, then presses "Done" or closes the dialog.
class PickerDriver : public QObject {
    Q_OBJECT
public:
    enum Ending { PressDone, CloseDialog };
    using Chooser = std::function<void(QDialog*)>;

    explicit PickerDriver(Chooser choose, Ending ending = PressDone);

    int handled() const { return count; }
    QString lastTitle() const { return title; }

    // What a user does in the date picker: goes to the date in the calendar.
    static void chooseDate(QDialog* dialog, const QDate& date);
    // What a user does in the time picker: taps the hour, then the minute.
    static void chooseTime(QDialog* dialog, const QTime& time);

    // Taps a value button and chooses in the picker it opens.
    static void pickDate(QAbstractButton* valueButton, const QDate& date);
    static void pickTime(QAbstractButton* valueButton, const QTime& time);

private:
    void poll();

    Chooser choose;
    Ending ending;
    QTimer timer;
    int count = 0;
    QString title;
};
