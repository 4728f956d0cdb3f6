#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

// A program's command line: --help and --version of its own, and for a program
// with windows Qt's options (-platform, -style, ...), which the application
// object takes. A usage error ends the program with status 2.
class CommandLine {
public:
    enum Kind { WithoutWindows, WithWindows };

    // `name` starts every message; `description` is the one line under the usage.
    CommandLine(const QString& name, const QString& description, Kind kind);

    // Call before the application object exists, which may need a display:
    // prints the help or the version and gives 0 when either was asked for.
    std::optional<int> answer(int argc, char** argv);

    // Call once the application object has taken its own options out of the
    // arguments: whatever is left over is reported and gives 2.
    std::optional<int> check(const QStringList& arguments);

    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

private:
    // The first of our options given a value ("--version=2"), as typed without it.
    QString withValue(const QStringList& arguments) const;

    QString name_;
    QCommandLineParser parser_;
    QCommandLineOption help_;
    QCommandLineOption version_;
};
