#pragma once

#include <QList>
#include <QString>

// One button of a ring: the index of its action in the event's table, its
// label as the client wrote it, and whether it snoozes.
struct RingButton {
    int action = -1;
    QString label;
    bool snooze = false;

    bool operator==(const RingButton& other) const {
        return action == other.action && label == other.label && snooze == other.snooze;
    }
};

// What a ring shows of a due event, wherever it is shown: in a ring window,
// as a notification. Plain values, so that the daemon can hand it to another
// process.
struct RingRequest {
    qint64 cookie = 0;
    QString title;
    // Due time, seconds since the epoch.
    qint64 trigger = 0;
    QString message;
    QString sound;
    // How long a snooze lasts, in seconds.
    qint64 snoozeSecs = 600;
    QList<RingButton> buttons;

    // The button's text as shown: a snooze button says for how long.
    QString buttonText(const RingButton& button) const;
    // The action a closed window or notification stands for: the first button's.
    int firstAction() const { return buttons.isEmpty() ? -1 : buttons.first().action; }

    // "10 min", "1 h 30 min", "45 s", "2 d".
    static QString durationText(qint64 seconds);

    bool operator==(const RingRequest& other) const;
};
