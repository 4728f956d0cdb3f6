#include "systemclock.h"

#include <QFile>
#include <QFileSystemWatcher>
#include <QSocketNotifier>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <limits>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

const char* const localtimePath = "/etc/localtime";
const char* const timezonePath = "/etc/timezone";
// Armed instead of nothing, so that clock changes are still reported.
const qint64 farFuture = std::numeric_limits<qint32>::max();

} // namespace

SystemClock::SystemClock(QObject* parent)
    : Clock(parent) {
    fd_ = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (fd_ < 0) {
        qWarning("pardo-alarmd: cannot create a real-time timer: %s", strerror(errno));
        return;
    }
    notifier_ = new QSocketNotifier(fd_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &SystemClock::readTimer);
    arm(farFuture);

    zone_ = zoneFingerprint();
    zoneWatcher_ = new QFileSystemWatcher(this);
    // The file is replaced rather than written when the zone changes, so its
    // folder is watched too; both are quiet on a running desktop.
    zoneWatcher_->addPath(QStringLiteral("/etc"));
    zoneWatcher_->addPath(QLatin1String(localtimePath));
    connect(zoneWatcher_, &QFileSystemWatcher::fileChanged, this, &SystemClock::checkZone);
    connect(zoneWatcher_, &QFileSystemWatcher::directoryChanged, this, &SystemClock::checkZone);
}

SystemClock::~SystemClock() {
    if (fd_ >= 0) {
        delete notifier_;
        ::close(fd_);
    }
}

qint64 SystemClock::now() const {
    // Not time(): it reads a coarse clock that may still show the previous
    // second when the timer fires at the start of the next one.
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return qint64(ts.tv_sec);
}

void SystemClock::wakeAt(qint64 moment) {
    arm(moment);
}

void SystemClock::cancelWake() {
    arm(farFuture);
}

void SystemClock::arm(qint64 moment) {
    if (fd_ < 0) {
        return;
    }
    armedAt_ = moment;
    itimerspec timer{};
    // Zero would disarm the timer; a moment in the past fires at once.
    timer.it_value.tv_sec = time_t(std::max<qint64>(moment, 1));
    if (timerfd_settime(fd_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &timer, nullptr) != 0) {
        qWarning("pardo-alarmd: cannot arm the real-time timer: %s", strerror(errno));
    }
}

void SystemClock::readTimer() {
    ++wakeups_;
    uint64_t expirations = 0;
    const ssize_t got = ::read(fd_, &expirations, sizeof expirations);
    if (got < 0 && errno == ECANCELED) {
        // The clock was set: the old deadline means nothing now. Re-arm first
        // so that a later change is reported as well.
        arm(armedAt_);
        Q_EMIT timeChanged();
        return;
    }
    if (got == sizeof expirations) {
        if (armedAt_ >= farFuture) {
            arm(farFuture);
            return;
        }
        Q_EMIT woke();
    }
}

QByteArray SystemClock::zoneFingerprint() const {
    QByteArray fingerprint = qgetenv("TZ");
    for (const char* path : {localtimePath, timezonePath}) {
        QFile file(QString::fromLatin1(path));
        fingerprint += '\n';
        if (file.open(QIODevice::ReadOnly)) {
            fingerprint += file.readAll();
        }
    }
    return fingerprint;
}

void SystemClock::checkZone() {
    if (!zoneWatcher_->files().contains(QLatin1String(localtimePath))) {
        zoneWatcher_->addPath(QLatin1String(localtimePath));
    }
    const QByteArray zone = zoneFingerprint();
    if (zone == zone_) {
        return;
    }
    zone_ = zone;
    tzset();
    Q_EMIT zoneChanged();
}
