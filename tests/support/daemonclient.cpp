#include "daemonclient.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QtTest>

#include <csignal>

namespace DaemonClient {

bool writeServiceFile(const QString& servicesDir, const QString& name, const QString& exec) {
    QFile file(servicesDir + QLatin1Char('/') + name + QStringLiteral(".service"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    file.write(QStringLiteral("[D-BUS Service]\nName=%1\nExec=%2\n").arg(name, exec).toUtf8());
    return true;
}

bool isRunning(const QString& name) {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(name);
}

bool stopService(const QString& name) {
    if (!isRunning(name)) {
        return true;
    }
    const uint pid = QDBusConnection::sessionBus().interface()->servicePid(name).value();
    if (pid == 0 || ::kill(pid_t(pid), SIGTERM) != 0) {
        return false;
    }
    return QTest::qWaitFor([&name] { return !isRunning(name); }, 10000);
}

QList<cookie_t> cookies(const char* appid) {
    cookie_t* found = alarmd_event_query(0, 0, 0, 0, appid);
    if (!found) {
        return {cookie_t(-1)};
    }
    QList<cookie_t> list;
    for (const cookie_t* c = found; *c; ++c) {
        list << *c;
    }
    std::free(found);
    return list;
}

std::vector<Event> events(const char* appid) {
    std::vector<Event> result;
    for (cookie_t cookie : cookies(appid)) {
        if (cookie > 0) {
            if (alarm_event_t* event = alarmd_event_get(cookie)) {
                result.emplace_back(event);
            }
        }
    }
    return result;
}

QString text(const char* value) {
    return QString::fromUtf8(value);
}

} // namespace DaemonClient
