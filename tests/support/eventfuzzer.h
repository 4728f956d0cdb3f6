#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <random>

// Random add_event dictionaries, most of them a few changes away from a valid event, each with
// the rules of the daemon's contract it breaks (EventRules): an event that breaks one must be
// refused. Any D-Bus type can be sent as a value, not only what the client library sends.
class EventFuzzer {
public:
    enum class Focus { Types, Integers, Actions, Sizes, Mixed };

    struct Case {
        QVariantMap event;
        // One sentence per broken rule; empty when the daemon may accept the event.
        QStringList breaks;
        // Due so far ahead that, once acknowledged, it stays for the whole test.
        bool farFuture = false;
    };

    EventFuzzer(quint64 seed, qint64 now);

    Case next(Focus focus);
    // Call before making the values of another message by hand.
    void startMessage();
    // A valid one-shot event, due days ahead.
    QVariantMap validEvent();
    // A value of any D-Bus type; containers nest up to `depth` levels.
    QVariant anyValue(int depth = 3);
    qint64 extremeInteger();
    QString anyString();
    // Uniform in [0, bound).
    quint64 below(quint64 bound);
    bool chance(double probability);

private:
    // The changes away from a valid event draw from the same values and seed.
    friend class EventMutator;

    QVariant anyBasic();
    QVariant anyContainer(int depth);
    QVariant hugeString();
    QVariantMap anyAction();
    QList<QVariantMap> anyActions();
    template <typename T> const T& pick(const std::vector<T>& from) {
        return from.at(size_t(below(from.size())));
    }

    std::mt19937_64 random_;
    qint64 now_;
    int descriptorsLeft_ = 2;
};
