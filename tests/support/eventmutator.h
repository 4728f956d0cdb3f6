#pragma once

#include <QVariant>
#include <QVariantMap>

class EventFuzzer;

// Changes that take a valid event away from the contract: a value of another type, an integer
// out of its range, a text or list too long.
class EventMutator {
public:
    explicit EventMutator(EventFuzzer& fuzzer);

    void changeType(QVariantMap& event);
    void changeInteger(QVariantMap& event);
    void changeSize(QVariantMap& event);

private:
    QVariant anyTm();

    EventFuzzer& fuzzer_;
};
