#pragma once

#include <QWidget>

class QLabel;

// Transient, non-modal banner at the top of the active window (or the screen)
// that never takes the focus and goes away by itself.
class QMaemo5InformationBox : public QWidget {
    Q_OBJECT
public:
    enum { DefaultTimeout = 3000, NoTimeout = 0 };

    static void information(QWidget* parent, const QString& text, int timeout = DefaultTimeout);

    QString text() const;
    // Milliseconds the box stays up after it is shown; NoTimeout keeps it until closed.
    int timeout() const { return timeoutMs; }

private:
    QMaemo5InformationBox(QWidget* anchor, const QString& text, int timeout);

    QLabel* label;
    int timeoutMs;
};
