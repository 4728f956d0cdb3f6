#pragma once

#include <QDBusConnection>
#include <QMap>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <memory>

class QTemporaryDir;
class SessionDisplay;
class XServer;

using Variables = QMap<QString, QString>;

// What the display lookup's tests share: a live X server, the names of a killed and a made-up
// one, a bus connection for a fake manager, a scratch folder for each test function, and a
// lookup run to its answer.
class SessionDisplayTestCase : public QObject {
    Q_OBJECT
public:
    enum Source { None, Manager, Announced, Own };
    enum Display { NoDisplay, LiveX, KilledX, MadeUpX };
    Q_ENUM(Source)
    Q_ENUM(Display)

    SessionDisplayTestCase();
    ~SessionDisplayTestCase() override;

protected:
    struct Answer {
        bool found = false;
        QProcessEnvironment display;
    };

    static QStringList assignments(const Variables& variables);
    static QProcessEnvironment environmentOf(const Variables& variables);

    // For initTestCase(), cleanupTestCase() and init().
    void startDisplays();
    void stopDisplays();
    void makeScratch();
    // Runs one find() to its single answer.
    void lookup(SessionDisplay& sessionDisplay, Answer* answer, int timeoutMs = 5000);
    QString displayName(Display display) const;
    Variables source(Display display, const QString& name) const;

    std::unique_ptr<XServer> xserver;
    QString killedDisplay;
    QString madeUpDisplay;
    QDBusConnection managerBus{QString()};
    std::unique_ptr<QTemporaryDir> scratch;
};
