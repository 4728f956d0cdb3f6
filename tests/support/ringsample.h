#pragma once

#include <QString>

#include "ringrequest.h"

// A ring as the reminder makes them: "Stop" (action 0) and "Snooze" (action 1),
// due on a fixed morning.
class RingSample {
public:
    static RingRequest stopAndSnooze(qint64 cookie, const QString& title,
                                     const QString& message = QStringLiteral("Bring the card"));
};
