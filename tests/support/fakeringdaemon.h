#pragma once

#include <QDBusVirtualObject>
#include <QList>
#include <QString>

// The alarm daemon's `respond` method, as the ring window program calls it, served on a
// connection of its own: keeps each call and answers true, or never answers when silent.
class FakeRingDaemon : public QDBusVirtualObject {
public:
    struct Call {
        qint64 cookie = 0;
        int action = -1;
    };

    explicit FakeRingDaemon(const QString& service);
    ~FakeRingDaemon() override;

    bool isServing() const { return serving_; }
    QList<Call> calls() const { return calls_; }
    void clear() { calls_.clear(); }
    void setSilent(bool silent) { silent_ = silent; }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    QString service_;
    QString connectionName_;
    QList<Call> calls_;
    bool serving_ = false;
    bool silent_ = false;
};
