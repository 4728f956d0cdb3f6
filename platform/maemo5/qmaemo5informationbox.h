#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QWindow;

// Transient, non-modal banner at the top of the active window (or the screen)
// that never takes the focus, lets clicks through to what lies under it and goes
// away by itself.
class QMaemo5InformationBox : public QWidget {
    Q_OBJECT
public:
    enum { DefaultTimeout = 3000, NoTimeout = 0 };

    static void information(QWidget* parent, const QString& text, int timeout = DefaultTimeout);

    QString text() const;
    // Milliseconds the box stays up after it is shown; NoTimeout keeps it until closed.
    int timeout() const { return timeoutMs; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QMaemo5InformationBox(QWidget* anchor, const QString& text, int timeout);

    QWindow* windowBelow(const QPoint& globalPosition) const;

    QLabel* label;
    int timeoutMs;
    // Where a press went, so that its release and moves follow it.
    QPointer<QWindow> pressTarget;
};
