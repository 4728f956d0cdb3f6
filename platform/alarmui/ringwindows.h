#pragma once

#include <QByteArray>
#include <QDBusConnection>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QString>

class AlarmDialog;
class QScreen;
struct RingRequest;

// The ring windows of one program: reads the daemon's lines, opens, replaces and
// withdraws one window per cookie, places them so that none hides another, and
// answers the daemon through its `respond` method on the bus.
class RingWindows : public QObject {
    Q_OBJECT
public:
    // How long an answer waits for the daemon before it is given up.
    static constexpr int respondTimeoutMs = 5000;

    RingWindows(const QDBusConnection& bus, const QString& service, QObject* parent = nullptr);
    ~RingWindows() override;

    // Takes bytes as they come from the daemon: whole lines are handled, a partial one waits.
    void feed(const QByteArray& bytes);

    // Closes every window unanswered: nobody is left to take an answer.
    void withdrawAll();

    AlarmDialog* window(qint64 cookie) const;
    QList<AlarmDialog*> windows() const;

Q_SIGNALS:
    // A line for the daemon, without its newline.
    void line(const QByteArray& text);

private:
    void handle(const QByteArray& text);
    void show(const RingRequest& request);
    void withdraw(qint64 cookie);
    void respond(qint64 cookie, int actionIndex);
    void forget(qint64 cookie);
    QPoint place(AlarmDialog* dialog);

    QDBusConnection bus_;
    QString service_;
    QByteArray pending_;
    // Set while the rest of an over-long line is skipped.
    bool skipping_ = false;
    // In order of arrival, which is also their stacking order.
    QList<qint64> order_;
    QHash<qint64, QPointer<AlarmDialog>> dialogs_;
    int cascaded_ = 0;
};
