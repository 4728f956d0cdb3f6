#include "daemonprocess.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QtTest>

namespace {

const QString serviceName = QStringLiteral("org.velmar.alarmd");

} // namespace

DaemonProcess::DaemonProcess(const QString& program, const QString& dataHome,
                             const QString& logPath)
    : program_(program)
    , dataHome_(dataHome)
    , logPath_(logPath) {}

DaemonProcess::~DaemonProcess() {
    if (isRunning()) {
        kill();
    }
}

bool DaemonProcess::nameIsOwned() {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName);
}

bool DaemonProcess::start(int timeoutMs) {
    process_ = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome_);
    process_->setProcessEnvironment(environment);
    process_->setProcessChannelMode(QProcess::MergedChannels);
    process_->setStandardOutputFile(logPath_, QIODevice::Append);
    process_->start(program_, {});
    if (!process_->waitForStarted(10000)) {
        return false;
    }
    QProcess* process = process_.get();
    const bool settled = QTest::qWaitFor(
        [process] { return process->state() != QProcess::Running || nameIsOwned(); }, timeoutMs);
    return settled && process->state() == QProcess::Running && nameIsOwned();
}

bool DaemonProcess::isRunning() const {
    return process_ && process_->state() != QProcess::NotRunning;
}

qint64 DaemonProcess::pid() const {
    return process_ ? process_->processId() : 0;
}

bool DaemonProcess::kill() {
    if (isRunning()) {
        process_->kill();
        process_->waitForFinished(10000);
    }
    return QTest::qWaitFor([] { return !nameIsOwned(); }, 10000);
}

bool DaemonProcess::stop(int timeoutMs) {
    if (!process_) {
        return true;
    }
    if (process_->state() != QProcess::NotRunning) {
        process_->terminate();
        if (!process_->waitForFinished(timeoutMs)) {
            kill();
            return false;
        }
    }
    const bool released = QTest::qWaitFor([] { return !nameIsOwned(); }, 10000);
    return released && process_->exitStatus() == QProcess::NormalExit && process_->exitCode() == 0;
}

QString DaemonProcess::howItEnded() const {
    if (!process_) {
        return QStringLiteral("never started");
    }
    if (process_->state() != QProcess::NotRunning) {
        return QStringLiteral("still running");
    }
    if (process_->exitStatus() == QProcess::CrashExit) {
        return QStringLiteral("crashed or was killed");
    }
    return QStringLiteral("exited with status %1").arg(process_->exitCode());
}

QDBusMessage DaemonProcess::call(const QString& method, const QVariantList& arguments,
                                 int timeoutMs) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        serviceName, QStringLiteral("/org/velmar/alarmd"), serviceName, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, timeoutMs);
}

bool DaemonProcess::isSilence(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage) {
        return false;
    }
    static const QStringList silent = {QStringLiteral("org.freedesktop.DBus.Error.NoReply"),
                                       QStringLiteral("org.freedesktop.DBus.Error.Timeout"),
                                       QStringLiteral("org.freedesktop.DBus.Error.TimedOut"),
                                       QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown"),
                                       QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner"),
                                       QStringLiteral("org.freedesktop.DBus.Error.Disconnected")};
    return silent.contains(reply.errorName());
}

bool DaemonProcess::answers(int timeoutMs) const {
    const QDBusMessage reply = call(QStringLiteral("query_event"),
                                    {qlonglong(0), qlonglong(0), 0u, 0u, QString()}, timeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage && reply.signature() == QLatin1String("ax");
}

QByteArray DaemonProcess::log() const {
    QFile file(logPath_);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString DaemonProcess::sanitizerReport() const {
    QStringList found;
    for (const QByteArray& line : log().split('\n')) {
        if (line.contains("runtime error") || line.contains("Sanitizer")) {
            found << QString::fromUtf8(line);
        }
    }
    return found.join(QLatin1Char('\n'));
}
