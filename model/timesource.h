#pragma once

#include <QDateTime>

// Where the application reads the time: the system clock, unless a test installs a source of
// its own, so that what depends on the moment is checked at any moment without waiting.
class TimeSource {
public:
    virtual ~TimeSource() = default;
    // Now, in local time.
    virtual QDateTime now() const = 0;

    // Through the installed source.
    static QDateTime currentDateTime();
    static QDate currentDate() { return currentDateTime().date(); }
    static QTime currentTime() { return currentDateTime().time(); }
    static qint64 currentSecsSinceEpoch() { return currentDateTime().toSecsSinceEpoch(); }
    // `source` rules from now on; nullptr brings back the system clock. The caller keeps it.
    static void install(const TimeSource* source);
};
