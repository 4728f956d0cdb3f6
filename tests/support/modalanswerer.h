#pragma once

#include <QMessageBox>
#include <QObject>
#include <QStringList>
#include <QTimer>

// Answers every modal message box that comes up while it lives by pressing
// `answer`, and remembers what each box looked like.
class ModalAnswerer : public QObject {
    Q_OBJECT
public:
    struct Seen {
        QString title;
        QString text;
        QMessageBox::Icon icon;
        QMessageBox::StandardButtons buttons;
        QMessageBox::StandardButton defaultButton;
        bool hasParent;
    };

    explicit ModalAnswerer(QMessageBox::StandardButton answer);

    const QList<Seen>& seen() const { return boxes; }

private:
    void poll();

    QMessageBox::StandardButton answer;
    QTimer timer;
    QList<Seen> boxes;
};
