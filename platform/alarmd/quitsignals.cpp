#include "quitsignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

sigset_t quitSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

} // namespace

bool QuitSignals::block() {
    const sigset_t set = quitSet();
    return pthread_sigmask(SIG_BLOCK, &set, nullptr) == 0;
}

QuitSignals::QuitSignals(QObject* parent)
    : QObject(parent) {
    const sigset_t set = quitSet();
    fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd_ < 0) {
        return;
    }
    notifier_ = new QSocketNotifier(fd_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &QuitSignals::readSignal);
}

QuitSignals::~QuitSignals() {
    delete notifier_;
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void QuitSignals::readSignal() {
    signalfd_siginfo info{};
    while (::read(fd_, &info, sizeof info) == sizeof info) {
        Q_EMIT received(int(info.ssi_signo));
    }
}
