#include "startuptrace.h"

#include <QEvent>
#include <QObject>
#include <QWidget>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

// The moment the bench started us, or -1 when nobody asked.
long long origin() {
    static const long long value = [] {
        const char* text = std::getenv("PARDO_STARTUP_TRACE");
        return text ? std::atoll(text) : -1LL;
    }();
    return value;
}

class FirstPaint : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            // Marked once the paint is done, as the user sees it.
            deleteLater();
            StartupTrace::mark("first paint");
        }
        return false;
    }
};

} // namespace

void StartupTrace::mark(const char* phase) {
    if (origin() < 0) {
        return;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long nanos = static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
    std::fprintf(stderr, "startup %s %.2f\n", phase, double(nanos - origin()) / 1e6);
    std::fflush(stderr);
}

void StartupTrace::markFirstPaint(QWidget* window) {
    if (origin() >= 0) {
        window->installEventFilter(new FirstPaint(window));
    }
}
