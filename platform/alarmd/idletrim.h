#pragma once

#include <QObject>
#include <QTimer>

// Gives the library pages the daemon touched while busy back to the system
// once it has been quiet for a moment: a daemon that sleeps for hours holds
// only what it needs to wake. One trim per burst of work, never a timer of
// its own while idle.
class IdleTrim : public QObject {
    Q_OBJECT
public:
    explicit IdleTrim(QObject* parent = nullptr);

    // Work was done: trim once it has been quiet for `quietMs`.
    void touch();
    // Pages of mapped files that the process has not written are let go; what
    // is still needed comes back from the page cache. False when the kernel cannot.
    static bool trimNow();

    static constexpr int quietMs = 30000;

private:
    QTimer quiet_;
    bool supported_ = true;
};
