#include "testenvironment.h"

#include <QDir>

#include <cstdlib>

namespace {
TestEnvironment* currentEnvironment = nullptr;

void setVar(const char* name, const QString& value) {
    qputenv(name, value.toLocal8Bit());
}
} // namespace

TestEnvironment::TestEnvironment()
    : dir(QDir::tempPath() + QStringLiteral("/pardo-test-XXXXXX")) {
    if (!dir.isValid()) {
        qFatal("cannot create a temporary folder for the test");
    }
    const QString base = dir.path();
    for (const char* sub : {"home", "config", "data", "cache", "runtime"}) {
        QDir(base).mkpath(QString::fromLatin1(sub));
    }
    QFile::setPermissions(base + QStringLiteral("/runtime"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    setVar("HOME", base + QStringLiteral("/home"));
    setVar("XDG_CONFIG_HOME", base + QStringLiteral("/config"));
    setVar("XDG_DATA_HOME", base + QStringLiteral("/data"));
    setVar("XDG_CACHE_HOME", base + QStringLiteral("/cache"));
    setVar("XDG_RUNTIME_DIR", base + QStringLiteral("/runtime"));
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        setVar("QT_QPA_PLATFORM", QStringLiteral("offscreen"));
    }
    setVar("LC_ALL", QStringLiteral("C.UTF-8"));
    setVar("LANG", QStringLiteral("C.UTF-8"));
    // Nothing may reach the user's own bus; tests that need one start their own.
    setVar("DBUS_SESSION_BUS_ADDRESS",
           QStringLiteral("unix:path=") + base + QStringLiteral("/runtime/no-bus-here"));
    // No window system either, unless one was asked for by name (xcb under xvfb-run, say).
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.startsWith("xcb")) {
        qunsetenv("DISPLAY");
    }
    if (!platform.startsWith("wayland")) {
        qunsetenv("WAYLAND_DISPLAY");
    }
    currentEnvironment = this;
}

TestEnvironment* TestEnvironment::current() {
    return currentEnvironment;
}

QString TestEnvironment::home() const {
    return QString::fromLocal8Bit(qgetenv("HOME"));
}

QString TestEnvironment::databasePath() const {
    return home() + QStringLiteral("/pardoreminder.db.sqlite");
}

void TestEnvironment::setHome(const QString& path) {
    setVar("HOME", path);
}
