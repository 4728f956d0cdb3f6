#include "ringwindowhost.h"

#include <QFileInfo>
#include <QProcess>

#include <csignal>
#include <sys/prctl.h>

#include "ringmessage.h"
#include "ringrequest.h"
#include "sessiondisplay.h"

namespace {

// A reply line of the program is short; anything longer is not listened to.
constexpr int maxReplyBytes = 256;

} // namespace

RingWindowHost::RingWindowHost(QObject* parent)
    : QObject(parent) {}

RingWindowHost::~RingWindowHost() {
    if (process_) {
        process_->disconnect(this);
        process_->closeWriteChannel();
        if (!process_->waitForFinished(1000)) {
            process_->kill();
            process_->waitForFinished(1000);
        }
        delete process_;
    }
}

bool RingWindowHost::hasProgram() const {
    const QFileInfo info(program_);
    return !program_.isEmpty() && info.isFile() && info.isExecutable();
}

void RingWindowHost::start(const QProcessEnvironment& display, const QProcessEnvironment& base) {
    if (process_) {
        return;
    }
    QProcessEnvironment environment = base;
    // What the program is told about the session: the display's own variables
    // replace whatever the daemon was started with.
    for (const QString& name : SessionDisplay::displayVariables()) {
        environment.remove(name);
    }
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    // A daemon started by the bus may know its bus only as the starter's.
    if (!environment.contains(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")) &&
        environment.value(QStringLiteral("DBUS_STARTER_BUS_TYPE")) == QLatin1String("session")) {
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           environment.value(QStringLiteral("DBUS_STARTER_ADDRESS")));
    }
    environment.insert(display);
    display_ = display;
    ready_ = false;
    finishing_ = false;
    pending_.clear();

    process_ = new QProcess(this);
    process_->setProgram(program_);
    process_->setProcessEnvironment(environment);
    // Its warnings belong in the daemon's log.
    process_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Never outlives the daemon, whatever ends it.
    process_->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    connect(process_, &QProcess::readyReadStandardOutput, this, &RingWindowHost::readOutput);
    connect(process_, &QProcess::finished, this, &RingWindowHost::finished);
    connect(process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            qWarning("pardo-alarmd: cannot start %s", qPrintable(program_));
            finished();
        }
    });
    process_->start();
}

void RingWindowHost::show(const RingRequest& request) {
    send(RingMessage::show(request));
}

void RingWindowHost::withdraw(qint64 cookie) {
    send(RingMessage::withdraw(cookie));
}

void RingWindowHost::finish() {
    if (process_ && !finishing_) {
        finishing_ = true;
        process_->closeWriteChannel();
    }
}

void RingWindowHost::send(const QByteArray& line) {
    if (process_ && !finishing_) {
        process_->write(line);
    }
}

void RingWindowHost::readOutput() {
    while (process_ && process_->canReadLine()) {
        const QByteArray line = process_->readLine(maxReplyBytes).trimmed();
        if (line == "ready") {
            if (!ready_) {
                ready_ = true;
                Q_EMIT ready();
            }
        } else if (line.startsWith("shown ")) {
            bool ok = false;
            const qint64 cookie = line.mid(6).toLongLong(&ok);
            if (ok) {
                Q_EMIT shown(cookie);
            }
        }
    }
    // A line that never ends is not read into memory.
    if (process_ && process_->bytesAvailable() > maxReplyBytes) {
        process_->readAll();
    }
}

void RingWindowHost::finished() {
    if (!process_) {
        return;
    }
    QProcess* process = process_;
    process_ = nullptr;
    process->disconnect(this);
    process->deleteLater();
    const bool wasReady = ready_;
    const bool expected = finishing_;
    ready_ = false;
    finishing_ = false;
    if (expected) {
        Q_EMIT closed();
    } else if (wasReady) {
        Q_EMIT ended();
    } else {
        Q_EMIT failedToOpen();
    }
}
