#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QList>
#include <QVariantList>

// A D-Bus object that answers every method call on its path and the paths
// below it and keeps them, so tests can see what the alarm daemon called and
// with which arguments. A test may use a path of its own under `path` to tell
// its calls from late ones of an earlier test.
class BusRecorder : public QDBusVirtualObject {
    Q_OBJECT
public:
    struct Call {
        QString path;
        QString interface;
        QString member;
        QVariantList arguments;
    };

    static constexpr const char* service = "org.velmar.test.recorder";
    static constexpr const char* path = "/recorder";
    static constexpr const char* interfaceName = "org.velmar.test.Recorder";

    // Serves `path` under `service` on its own connection to the session bus.
    BusRecorder();
    ~BusRecorder() override;

    bool isServing() const { return serving_; }
    QList<Call> calls() const { return calls_; }
    QList<Call> callsTo(const QString& objectPath) const;
    void clear() { calls_.clear(); }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    void called();

private:
    QString connectionName_;
    QList<Call> calls_;
    bool serving_ = false;
};
