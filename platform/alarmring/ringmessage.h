#pragma once

#include <QByteArray>
#include <QString>

#include "ringrequest.h"

// The daemon's lines to the ring window program, one JSON object per line:
//   {"show":{"cookie":7,"title":"...","trigger":1700000000,"message":"...","sound":"",
//            "snoozeSecs":600,"buttons":[{"action":0,"label":"Stop","snooze":false},...]}}
//   {"withdraw":7}
// and the program's lines back: "ready" once its display is open, "shown 7" once a window is up.
class RingMessage {
public:
    enum Kind { Invalid, Show, Withdraw };

    Kind kind = Invalid;
    RingRequest request;
    qint64 cookie = 0;
    // Why a line was not understood.
    QString error;

    static QByteArray show(const RingRequest& request);
    static QByteArray withdraw(qint64 cookie);
    // Reads one line (with or without its newline). Never trusts it: anything
    // but a well-formed message within the daemon's bounds is Invalid.
    static RingMessage parse(const QByteArray& line);

    // Lines are bounded: a longer one is not read as a message.
    static constexpr int maxLineBytes = 64 * 1024;
    static constexpr int maxButtons = 16;
    static constexpr int maxTextBytes = 4096;
};
