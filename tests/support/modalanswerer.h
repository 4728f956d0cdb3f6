#pragma once

#include <QMessageBox>
#include <QObject>
#include <QStringList>
#include <QTimer>

// Answers every modal message box that comes up while it lives by pressing
// `answer`, and remembers what each box looked like. With AnyModal it also
// dismisses any other modal window, so that a test expecting none fails at once
// instead of waiting for a user who never comes.
class ModalAnswerer : public QObject {
    Q_OBJECT
public:
    enum Reach { MessageBoxes, AnyModal };

    struct Seen {
        QString title;
        QString text;
        QMessageBox::Icon icon;
        QMessageBox::StandardButtons buttons;
        QMessageBox::StandardButton defaultButton;
        bool hasParent;
        QString className;
    };

    explicit ModalAnswerer(QMessageBox::StandardButton answer, Reach reach = MessageBoxes);

    const QList<Seen>& seen() const { return boxes; }
    // One line per window seen, for a failure message.
    QString describe() const;

private:
    void poll();

    QMessageBox::StandardButton answer;
    Reach reach;
    QTimer timer;
    QList<Seen> boxes;
};
