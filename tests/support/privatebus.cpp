#include "privatebus.h"

#include <QDir>
#include <QFile>

PrivateBus::PrivateBus(const QString& configFolder, const QString& servicesDir)
    : folder(configFolder)
    , services(servicesDir.isEmpty() ? configFolder + QStringLiteral("/services") : servicesDir) {
    QDir().mkpath(folder);
    QDir().mkpath(services);
    const QString config = folder + QStringLiteral("/session.conf");
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return;
    }
    file.write(QStringLiteral(
                   "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
                   "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                   "<busconfig>\n"
                   "  <type>session</type>\n"
                   "  <listen>unix:dir=%1</listen>\n"
                   "  <servicedir>%2</servicedir>\n"
                   "  <policy context=\"default\">\n"
                   "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                   "    <allow eavesdrop=\"true\"/>\n"
                   "    <allow own=\"*\"/>\n"
                   "  </policy>\n"
                   "</busconfig>\n")
                   .arg(folder, services)
                   .toUtf8());
    file.close();

    daemon.setProgram(QStringLiteral("dbus-daemon"));
    daemon.setArguments({QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                         QStringLiteral("--print-address=1")});
    daemon.setProcessChannelMode(QProcess::SeparateChannels);
    daemon.start();
    if (!daemon.waitForStarted(5000)) {
        return;
    }
    while (!daemon.canReadLine()) {
        if (!daemon.waitForReadyRead(5000)) {
            return;
        }
    }
    busAddress = QString::fromUtf8(daemon.readLine()).trimmed();
}

PrivateBus::~PrivateBus() {
    if (daemon.state() != QProcess::NotRunning) {
        daemon.terminate();
        if (!daemon.waitForFinished(3000)) {
            daemon.kill();
            daemon.waitForFinished(3000);
        }
    }
}

void PrivateBus::exportAddress() const {
    qputenv("DBUS_SESSION_BUS_ADDRESS", busAddress.toUtf8());
}
