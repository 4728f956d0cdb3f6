#pragma once

#include <QStringList>
#include <QVariantMap>

// The rules of the daemon's contract that an add_event dictionary breaks: an event that breaks
// one must be refused.
class EventRules {
public:
    // One sentence per broken rule; empty when the daemon may accept the event.
    static QStringList brokenRules(const QVariantMap& event);
    // Due so far ahead that, once acknowledged, it stays for the whole test.
    static bool isFarFuture(const QVariantMap& event, qint64 now);
};
