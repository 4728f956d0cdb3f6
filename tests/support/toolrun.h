#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// What a command-line tool printed and how it ended.
struct ToolOutput {
    int exitCode = -1;
    QString out;
    QString err;
    QString all() const { return out + err; }
};

// Runs `program` to its end; false when it could not start, crashed or took too long.
bool runTool(const QString& program, const QStringList& arguments, ToolOutput* output,
             const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
             int timeoutMs = 60000);
