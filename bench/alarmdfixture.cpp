#include "alarmdfixture.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <alarmd/libalarm.h>

#include <cstdlib>

namespace {

bool writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) > 0;
}

} // namespace

AlarmdFixture::AlarmdFixture(bool startDaemon)
    : dir_(QDir::tempPath() + QStringLiteral("/pardo-bench-XXXXXX")) {
    if (!dir_.isValid()) {
        error_ = QStringLiteral("no temporary folder");
        return;
    }
    for (const char* sub : {"home", "data", "config", "runtime", "bus"}) {
        QDir(root()).mkpath(QString::fromLatin1(sub));
    }
    qputenv("HOME", (root() + QStringLiteral("/home")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", (root() + QStringLiteral("/data")).toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (root() + QStringLiteral("/config")).toLocal8Bit());
    qputenv("XDG_RUNTIME_DIR", (root() + QStringLiteral("/runtime")).toLocal8Bit());
    QFile::setPermissions(root() + QStringLiteral("/runtime"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // Sound is played, into nothing.
    writeFile(root() + QStringLiteral("/home/.asoundrc"), "pcm.!default {\n    type null\n}\n");
    ready_ = startBus() && (!startDaemon || this->startDaemon());
}

AlarmdFixture::~AlarmdFixture() {
    for (QProcess* process : {&daemon_, &bus_}) {
        if (process->state() != QProcess::NotRunning) {
            process->terminate();
            if (!process->waitForFinished(5000)) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
    }
}

bool AlarmdFixture::startBus() {
    const QString folder = root() + QStringLiteral("/bus");
    const QString config = folder + QStringLiteral("/session.conf");
    const QByteArray text =
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
        "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig><type>session</type><listen>unix:dir=" +
        folder.toUtf8() +
        "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
        "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
    if (!writeFile(config, text)) {
        error_ = QStringLiteral("cannot write the bus configuration");
        return false;
    }
    bus_.setProgram(QStringLiteral("dbus-daemon"));
    bus_.setArguments({QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                       QStringLiteral("--print-address=1")});
    bus_.start();
    if (!bus_.waitForStarted(5000)) {
        error_ = QStringLiteral("cannot start dbus-daemon");
        return false;
    }
    while (!bus_.canReadLine()) {
        if (!bus_.waitForReadyRead(5000)) {
            error_ = QStringLiteral("dbus-daemon gave no address");
            return false;
        }
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus_.readLine().trimmed());
    return true;
}

bool AlarmdFixture::startDaemon() {
    daemon_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    daemon_.start(QStringLiteral(PARDO_ALARMD_PATH), {});
    if (!daemon_.waitForStarted(5000)) {
        error_ = QStringLiteral("cannot start pardo-alarmd");
        return false;
    }
    // Ready once it answers.
    for (int i = 0; i < 200; ++i) {
        if (cookie_t* cookies = alarmd_event_query(0, 0, 0, 0, "")) {
            free(cookies);
            return true;
        }
        QThread::msleep(50);
    }
    error_ = QStringLiteral("pardo-alarmd does not answer");
    return false;
}
