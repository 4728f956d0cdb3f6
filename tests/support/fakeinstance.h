#pragma once

#include <QObject>
#include <QString>

// Holds the application's name and object on a bus connection, as a running instance does,
// and counts the calls of top_application that it answers.
class FakeInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.velmar.pardoreminder")
public:
    // `connectionName` names a connection the test has opened already.
    explicit FakeInstance(const QString& connectionName);
    ~FakeInstance() override;

    bool isServing() const { return serving; }
    int raised() const { return calls; }

public Q_SLOTS:
    Q_SCRIPTABLE int top_application();

Q_SIGNALS:
    void raisedNow();

private:
    QString connectionName;
    bool serving;
    int calls;
};
