#include "ringdispatcher.h"

#include <QTimer>

#include <algorithm>

#include "ringnotifier.h"
#include "ringwindowhost.h"
#include "sessiondisplay.h"

namespace {

// A ring window program that lived this long did not die of its start.
constexpr qint64 settledMs = 10000;
constexpr int longestPauseMs = 30000;
constexpr int firstRetryMs = 1000;

// Twice as long after each failure in a row, from `firstMs` up to the longest pause.
int pauseAfter(int firstMs, int failures) {
    return std::min(longestPauseMs, firstMs << std::min(failures, 15));
}

} // namespace

RingDispatcher::RingDispatcher(const QDBusConnection& bus, const QProcessEnvironment& own,
                               QObject* parent)
    : QObject(parent)
    , own_(own)
    , display_(new SessionDisplay(bus, own, this))
    , windows_(new RingWindowHost(this))
    , notifier_(new RingNotifier(bus, this))
    , retryTimer_(new QTimer(this)) {
    retryTimer_->setSingleShot(true);
    connect(retryTimer_, &QTimer::timeout, this, &RingDispatcher::retry);
    connect(display_, &SessionDisplay::found, this, &RingDispatcher::displayFound);
    connect(display_, &SessionDisplay::notFound, this, &RingDispatcher::noDisplay);
    connect(display_, &SessionDisplay::announced, this, [this] { placeSoon(); });

    connect(windows_, &RingWindowHost::ready, this, &RingDispatcher::windowsReady);
    connect(windows_, &RingWindowHost::shown, this, [this](qint64 cookie) {
        if (route(cookie) == Window) {
            Q_EMIT shown(cookie);
        }
    });
    connect(windows_, &RingWindowHost::failedToOpen, this, [this] {
        // That display cannot be used; the next one, a notification, or waiting.
        qWarning("pardo-alarmd: the ring window program could not open its display");
        display_->markFailed(windows_->display());
        placeSoon();
        retryLater();
    });
    connect(windows_, &RingWindowHost::ended, this, &RingDispatcher::windowsLost);
    connect(windows_, &RingWindowHost::closed, this, [this] { placeSoon(); });

    connect(notifier_, &RingNotifier::availableChanged, this, [this](bool available) {
        if (available) {
            for (Ring& ring : rings_) {
                ring.notificationFailed = false;
            }
            placeSoon();
        }
    });
    connect(notifier_, &RingNotifier::shown, this, [this](qint64 cookie) {
        if (route(cookie) == Notification) {
            Q_EMIT shown(cookie);
        }
    });
    connect(notifier_, &RingNotifier::answered, this, &RingDispatcher::answered);
    connect(notifier_, &RingNotifier::failed, this, [this](qint64 cookie) {
        const auto it = rings_.find(cookie);
        if (it != rings_.end() && it->route == Notification) {
            it->route = Waiting;
            it->notificationFailed = true;
            placeSoon();
        }
    });
}

RingDispatcher::~RingDispatcher() = default;

void RingDispatcher::setProgram(const QString& path) {
    windows_->setProgram(path);
}

RingDispatcher::Route RingDispatcher::route(qint64 cookie) const {
    const auto it = rings_.constFind(cookie);
    return it == rings_.cend() ? Waiting : it->route;
}

void RingDispatcher::ring(const RingRequest& request) {
    const auto it = rings_.find(request.cookie);
    if (it != rings_.end()) {
        it->request = request;
        if (it->route == Window) {
            windows_->show(request);
        } else if (it->route == Notification) {
            notifier_->show(request);
        }
        return;
    }
    Ring ring;
    ring.request = request;
    rings_.insert(request.cookie, ring);
    placeSoon();
}

void RingDispatcher::withdraw(qint64 cookie) {
    const auto it = rings_.find(cookie);
    if (it == rings_.end()) {
        return;
    }
    const Route was = it->route;
    rings_.erase(it);
    if (was == Window) {
        windows_->withdraw(cookie);
    } else if (was == Notification) {
        notifier_->withdraw(cookie);
    }
    if (rings_.isEmpty()) {
        // Nothing rings: the program does not wait around for the next alarm.
        windows_->finish();
        stopRetrying();
    }
}

bool RingDispatcher::announce(const QMap<QString, QString>& variables, QString* error) {
    return display_->announce(variables, error);
}

bool RingDispatcher::hasWaiting() const {
    for (const Ring& ring : rings_) {
        if (ring.route == Waiting) {
            return true;
        }
    }
    return false;
}

void RingDispatcher::placeSoon(int delayMs) {
    if (placing_ && delayMs == 0) {
        return;
    }
    placing_ = true;
    QTimer::singleShot(delayMs, this, &RingDispatcher::place);
}

void RingDispatcher::place() {
    placing_ = false;
    if (!hasWaiting()) {
        return;
    }
    if (windows_->isRunning()) {
        // A starting program takes them when ready, a closing one when it is gone.
        if (windows_->isReady() && !windows_->isFinishing()) {
            for (Ring& ring : rings_) {
                if (ring.route == Waiting) {
                    ring.route = Window;
                    windows_->show(ring.request);
                }
            }
        }
        return;
    }
    if (!windows_->hasProgram()) {
        toNotifications();
        return;
    }
    if (!looking_) {
        looking_ = true;
        display_->find();
    }
}

void RingDispatcher::displayFound(const QProcessEnvironment& display) {
    looking_ = false;
    if (hasWaiting() && !windows_->isRunning()) {
        windows_->start(display, own_);
    } else {
        placeSoon();
    }
}

void RingDispatcher::noDisplay() {
    looking_ = false;
    toNotifications();
    if (display_->managerUnanswered() && hasWaiting()) {
        retryLater();
    }
}

void RingDispatcher::retryLater() {
    if (retryTimer_->isActive()) {
        return;
    }
    retryTimer_->start(pauseAfter(firstRetryMs, retries_));
    ++retries_;
}

void RingDispatcher::stopRetrying() {
    retryTimer_->stop();
    retries_ = 0;
}

void RingDispatcher::retry() {
    display_->forgetFailed();
    placeSoon();
}

void RingDispatcher::toNotifications() {
    if (!notifier_->isAvailable()) {
        // Waits: a notification service appearing or the application telling its display
        // brings it out.
        return;
    }
    for (Ring& ring : rings_) {
        if (ring.route == Waiting && !ring.notificationFailed) {
            ring.route = Notification;
            notifier_->show(ring.request);
        }
    }
}

void RingDispatcher::windowsReady() {
    windowsAlive_.start();
    stopRetrying();
    place();
}

void RingDispatcher::windowsLost() {
    // Killed, crashed or its display went away: its rings are shown again, on
    // whatever display exists now.
    for (Ring& ring : rings_) {
        if (ring.route == Window) {
            ring.route = Waiting;
        }
    }
    if (windowsAlive_.isValid() && windowsAlive_.elapsed() >= settledMs) {
        quickDeaths_ = 0;
    } else {
        ++quickDeaths_;
    }
    placeSoon(pauseAfter(100, quickDeaths_));
}
