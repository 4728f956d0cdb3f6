#include "toolrun.h"

#include <QProcess>

bool runTool(const QString& program, const QStringList& arguments, ToolOutput* output,
             const QProcessEnvironment& env, int timeoutMs) {
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    if (!process.waitForFinished(timeoutMs) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        return false;
    }
    output->exitCode = process.exitCode();
    output->out = QString::fromUtf8(process.readAllStandardOutput());
    output->err = QString::fromUtf8(process.readAllStandardError());
    return true;
}
