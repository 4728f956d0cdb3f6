#include <QApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "commandline.h"
#include "maemo5theme.h"
#include "ringwindows.h"
#include "translation.h"

namespace {

void writeLine(const QByteArray& text) {
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    std::fputc('\n', stdout);
    // The daemon waits for these lines: none may sit in a buffer.
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[]) {
    // A daemon that went away must not kill us with its closed pipe; the end of input ends us.
    std::signal(SIGPIPE, SIG_IGN);
    CommandLine commandLine(QStringLiteral("pardo-alarm-ui"),
                            QStringLiteral("Ring windows of the Pardo Reminder alarm daemon, which "
                                           "starts this program and feeds it on standard input."),
                            CommandLine::WithWindows);
    if (const std::optional<int> status = commandLine.answer(argc, argv)) {
        return *status;
    }
    QApplication app(argc, argv);
    if (const std::optional<int> status = commandLine.check(QCoreApplication::arguments())) {
        return *status;
    }
    QApplication::setApplicationName(QStringLiteral("pardo-alarm-ui"));
    QApplication::setQuitOnLastWindowClosed(false);
    Maemo5Theme::apply(app);
    Translation::install();

    RingWindows windows(QDBusConnection::sessionBus(), QStringLiteral("org.velmar.alarmd"));
    QObject::connect(&windows, &RingWindows::line, &app, &writeLine);

    const int input = STDIN_FILENO;
    ::fcntl(input, F_SETFL, ::fcntl(input, F_GETFL) | O_NONBLOCK);
    QSocketNotifier notifier(input, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &windows, [&notifier, &windows] {
        char buffer[16384];
        for (;;) {
            const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count > 0) {
                windows.feed(QByteArray(buffer, qsizetype(count)));
                continue;
            }
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return;
            }
            // The daemon closed our input or died: nobody is left to answer to, and a
            // window closed on the way out must not count as its first button.
            notifier.setEnabled(false);
            windows.withdrawAll();
            QCoreApplication::exit(0);
            return;
        }
    });

    writeLine("ready");
    return app.exec();
}
