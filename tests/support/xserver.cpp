#include "xserver.h"

#include <QRegularExpression>
#include <QStandardPaths>

#include "toolrun.h"

XServer::XServer() {
    start({});
}

XServer::XServer(int number) {
    start({QStringLiteral(":%1").arg(number)});
}

void XServer::start(const QStringList& displayArguments) {
    const QString program = QStandardPaths::findExecutable(QStringLiteral("Xvfb"));
    if (program.isEmpty()) {
        qWarning("Xvfb is not installed");
        return;
    }
    // The server picks a free display number itself and tells it on standard output.
    server.setProgram(program);
    server.setArguments(displayArguments +
                        QStringList{QStringLiteral("-displayfd"), QStringLiteral("1"),
                                    QStringLiteral("-screen"), QStringLiteral("0"),
                                    QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                                    QStringLiteral("tcp")});
    server.setProcessChannelMode(QProcess::SeparateChannels);
    server.start();
    if (!server.waitForStarted(5000)) {
        return;
    }
    while (!server.canReadLine()) {
        if (!server.waitForReadyRead(10000)) {
            return;
        }
    }
    bool ok = false;
    const int number = QString::fromUtf8(server.readLine()).trimmed().toInt(&ok);
    if (ok) {
        displayName = QStringLiteral(":%1").arg(number);
    }
}

XServer::~XServer() {
    if (server.state() != QProcess::NotRunning) {
        server.terminate();
        if (!server.waitForFinished(3000)) {
            server.kill();
            server.waitForFinished(3000);
        }
    }
}

int XServer::viewableWindows(const QString& title) const {
    const QString xwininfo = QStandardPaths::findExecutable(QStringLiteral("xwininfo"));
    ToolOutput tree;
    if (xwininfo.isEmpty() ||
        !runTool(xwininfo,
                 {QStringLiteral("-display"), displayName, QStringLiteral("-root"),
                  QStringLiteral("-tree")},
                 &tree, QProcessEnvironment::systemEnvironment(), 10000) ||
        tree.exitCode != 0) {
        return -1;
    }
    // "     0x200007 "Pardo Reminder": ("pardo-reminder" "pardo-reminder")  800x480+0+0  +0+0"
    const QRegularExpression line(QStringLiteral("^\\s*(0x[0-9a-f]+) \"(.*)\":"),
                                  QRegularExpression::MultilineOption);
    int viewable = 0;
    for (auto match = line.globalMatch(tree.out); match.hasNext();) {
        const QRegularExpressionMatch window = match.next();
        if (window.captured(2) != title) {
            continue;
        }
        ToolOutput info;
        if (!runTool(xwininfo,
                     {QStringLiteral("-display"), displayName, QStringLiteral("-id"),
                      window.captured(1)},
                     &info, QProcessEnvironment::systemEnvironment(), 10000)) {
            return -1;
        }
        // A window that is gone by now is not on the screen either.
        if (info.exitCode == 0 && info.out.contains(QLatin1String("Map State: IsViewable"))) {
            ++viewable;
        }
    }
    return viewable;
}
