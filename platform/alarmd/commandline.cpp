#include "commandline.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>

#include "pardoversion.h"

namespace {

void print(std::FILE* stream, const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stream);
}

// The option's name without its dashes and value ("--foo=1" gives "foo").
QString optionName(const QString& argument) {
    QString name = argument.section(QLatin1Char('='), 0, 0);
    while (name.startsWith(QLatin1Char('-'))) {
        name.remove(0, 1);
    }
    return name;
}

// The options before "--", as typed.
QStringList options(const QStringList& arguments) {
    QStringList result;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--")) {
            break;
        }
        if (argument.size() > 1 && argument.startsWith(QLatin1Char('-'))) {
            result << argument;
        }
    }
    return result;
}

// The option as it was typed ("--foo", "-foo") for a name the parser did not know.
QString spelling(const QStringList& arguments, const QString& name) {
    for (const QString& option : options(arguments)) {
        if (optionName(option) == name) {
            return option.section(QLatin1Char('='), 0, 0);
        }
    }
    return QStringLiteral("--") + name;
}

} // namespace

CommandLine::CommandLine(const QString& name, const QString& description, Kind kind)
    : name_(name)
    , help_({QStringLiteral("h"), QStringLiteral("help")},
            QStringLiteral("Displays this help and exits."))
    , version_({QStringLiteral("v"), QStringLiteral("version")},
               QStringLiteral("Displays the version and exits.")) {
    parser_.setApplicationDescription(
        kind == WithWindows
            ? description +
                  QStringLiteral(
                      "\nQt's own options (-platform, -style, -reverse, ...) work as usual.")
            : description);
    // Qt's options are single-dash words; "-platform" must not read as "-p -l -a ...".
    parser_.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser_.addOption(help_);
    parser_.addOption(version_);
}

std::optional<int> CommandLine::answer(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    // Qt's options are not known yet and count as unknown here; check() judges them,
    // and a value given to one of ours ("--version=2").
    parser_.parse(arguments);
    if (!withValue(arguments).isEmpty()) {
        return std::nullopt;
    }
    if (parser_.isSet(help_)) {
        // The usage line names the program as argv[0] has it, which the parser
        // reads from an application object; this one needs no display.
        int count = argc;
        std::optional<QCoreApplication> application;
        if (!QCoreApplication::instance()) {
            application.emplace(count, argv);
        }
        print(stdout, parser_.helpText());
        return 0;
    }
    if (parser_.isSet(version_)) {
        print(stdout, name_ + QStringLiteral(" " PARDO_VERSION "\n"));
        return 0;
    }
    return std::nullopt;
}

QString CommandLine::withValue(const QStringList& arguments) const {
    for (const QString& option : options(arguments)) {
        const QString name = optionName(option);
        if (option.contains(QLatin1Char('=')) &&
            (help_.names().contains(name) || version_.names().contains(name))) {
            return option.section(QLatin1Char('='), 0, 0);
        }
    }
    return {};
}

std::optional<int> CommandLine::check(const QStringList& arguments) {
    QString complaint;
    if (!parser_.parse(arguments)) {
        const QStringList unknown = parser_.unknownOptionNames();
        if (!unknown.isEmpty()) {
            complaint =
                QStringLiteral("unknown option '%1'").arg(spelling(arguments, unknown.first()));
        } else if (const QString option = withValue(arguments); !option.isEmpty()) {
            complaint = QStringLiteral("option '%1' takes no value").arg(option);
        } else {
            complaint = parser_.errorText();
        }
    } else if (!parser_.positionalArguments().isEmpty()) {
        complaint =
            QStringLiteral("unexpected argument '%1'").arg(parser_.positionalArguments().first());
    } else {
        return std::nullopt;
    }
    print(stderr, QStringLiteral("%1: %2\nTry --help.\n").arg(name_, complaint));
    return 2;
}
