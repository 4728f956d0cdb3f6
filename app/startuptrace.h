#pragma once

class QWidget;

// Where start-up time goes, for the start-up bench: when PARDO_STARTUP_TRACE holds the
// CLOCK_MONOTONIC moment (in ns) at which the process was started, each phase prints
// "startup PHASE MS" on standard error, MS counted from that moment. Silent otherwise.
class StartupTrace {
public:
    static void mark(const char* phase);
    // Marks "first paint" when `window` is painted the first time.
    static void markFirstPaint(QWidget* window);
};
