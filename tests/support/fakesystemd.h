#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QStringList>

// A systemd user manager as far as its environment goes: owns org.freedesktop.systemd1 and
// serves the property Environment (as) of org.freedesktop.systemd1.Manager through
// org.freedesktop.DBus.Properties. Code under test in the same process must reach it through
// another connection than `bus`, as it would reach a real manager.
class FakeSystemd : public QDBusVirtualObject {
    Q_OBJECT
public:
    enum class Mode {
        Answers,
        // The question is taken and never answered.
        NeverAnswers,
        // Environment comes as one string (the first "KEY=value") instead of a list.
        WrongType
    };

    explicit FakeSystemd(const QDBusConnection& bus, QObject* parent = nullptr);
    ~FakeSystemd() override;

    // Whether the name and the object are on the bus.
    bool isRegistered() const { return registered; }
    void setEnvironment(const QStringList& assignments) { assignments_ = assignments; }
    QStringList environment() const { return assignments_; }
    void setMode(Mode mode) { mode_ = mode; }
    // Questions for Environment seen so far, answered or not.
    int questions() const { return asked; }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    void questioned();

private:
    QDBusConnection bus;
    QStringList assignments_;
    Mode mode_ = Mode::Answers;
    bool registered = false;
    int asked = 0;
};
