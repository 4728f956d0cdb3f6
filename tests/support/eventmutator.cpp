#include "eventmutator.h"

#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusVariant>

#include <limits>

#include "eventcontract.h"
#include "eventfuzzer.h"

using namespace EventContract;

EventMutator::EventMutator(EventFuzzer& fuzzer)
    : fuzzer_(fuzzer) {}

void EventMutator::changeType(QVariantMap& event) {
    static const QStringList keys = {QStringLiteral("title"),        QStringLiteral("message"),
                                     QStringLiteral("sound"),        QStringLiteral("icon"),
                                     QStringLiteral("flags"),        QStringLiteral("alarm_appid"),
                                     QStringLiteral("alarm_time"),   QStringLiteral("alarm_tm"),
                                     QStringLiteral("alarm_tz"),     QStringLiteral("recur_secs"),
                                     QStringLiteral("recur_count"),  QStringLiteral("snooze_secs"),
                                     QStringLiteral("snooze_total"), QStringLiteral("response"),
                                     QStringLiteral("actions"),      QStringLiteral("attrs"),
                                     QStringLiteral("cookie"),       QStringLiteral("trigger")};
    switch (fuzzer_.below(6)) {
    case 0:
        event.insert(keys.at(qsizetype(fuzzer_.below(quint64(keys.size())))), fuzzer_.anyValue());
        break;
    case 1:
        event.insert(fuzzer_.chance(0.5) ? fuzzer_.anyString() : QStringLiteral("alarm_time "),
                     fuzzer_.anyValue());
        break;
    case 2:
        if (!event.isEmpty()) {
            event.remove(event.keys().at(qsizetype(fuzzer_.below(quint64(event.size())))));
        }
        break;
    case 3:
        if (!event.isEmpty()) {
            // The right value, one variant deeper.
            const QString key = event.keys().at(qsizetype(fuzzer_.below(quint64(event.size()))));
            event.insert(key, QVariant::fromValue(QDBusVariant(event.value(key))));
        }
        break;
    case 4: {
        // An action with a value of another type under one of its keys.
        QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        if (actions.isEmpty()) {
            actions << fuzzer_.anyAction();
        }
        static const QStringList actionKeys = {
            QStringLiteral("flags"),          QStringLiteral("label"),
            QStringLiteral("dbus_service"),   QStringLiteral("dbus_path"),
            QStringLiteral("dbus_interface"), QStringLiteral("dbus_name"),
            QStringLiteral("dbus_args"),      QStringLiteral("exec_command"),
            QStringLiteral("unknown")};
        QVariantMap& action = actions[qsizetype(fuzzer_.below(quint64(actions.size())))];
        action.insert(actionKeys.at(qsizetype(fuzzer_.below(quint64(actionKeys.size())))),
                      fuzzer_.anyValue());
        event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        break;
    }
    default: {
        // Integers of the neighbouring widths and signedness.
        static const QStringList integers = {
            QStringLiteral("alarm_time"),  QStringLiteral("recur_secs"),
            QStringLiteral("recur_count"), QStringLiteral("snooze_secs"),
            QStringLiteral("flags"),       QStringLiteral("response")};
        const QString key = integers.at(qsizetype(fuzzer_.below(quint64(integers.size()))));
        const qint64 value = fuzzer_.now_ + 30 * day;
        const std::vector<QVariant> variants = {int(value),       uint(value),
                                                qlonglong(value), qulonglong(value),
                                                double(value),    QString::number(value)};
        event.insert(key, fuzzer_.pick(variants));
        break;
    }
    }
}

void EventMutator::changeInteger(QVariantMap& event) {
    switch (fuzzer_.below(9)) {
    case 0:
        event.insert(QStringLiteral("alarm_time"), qlonglong(fuzzer_.extremeInteger()));
        break;
    case 1:
        event.insert(QStringLiteral("recur_secs"), qlonglong(fuzzer_.extremeInteger()));
        if (fuzzer_.chance(0.5)) {
            event.insert(QStringLiteral("recur_count"), -1);
        }
        break;
    case 2:
        event.insert(QStringLiteral("recur_count"), int(fuzzer_.extremeInteger()));
        break;
    case 3:
        event.insert(QStringLiteral("snooze_secs"), qlonglong(fuzzer_.extremeInteger()));
        break;
    case 4:
        event.insert(QStringLiteral("snooze_total"), qlonglong(fuzzer_.extremeInteger()));
        break;
    case 5:
        if (fuzzer_.chance(0.5)) {
            event.insert(QStringLiteral("flags"), uint(fuzzer_.extremeInteger()));
        } else {
            event.insert(QStringLiteral("response"), int(fuzzer_.extremeInteger()));
        }
        break;
    case 6:
        event.insert(QStringLiteral("alarm_tm"), anyTm());
        if (fuzzer_.chance(0.7)) {
            event.insert(QStringLiteral("alarm_time"), qlonglong(fuzzer_.chance(0.5) ? -1 : 0));
        }
        break;
    case 7: {
        QVariantMap attrs = event.value(QStringLiteral("attrs")).toMap();
        attrs.insert(fuzzer_.anyString(), fuzzer_.anyBasic());
        attrs.insert(QStringLiteral("extreme"), qlonglong(fuzzer_.extremeInteger()));
        event.insert(QStringLiteral("attrs"), attrs);
        break;
    }
    default:
        // A series that started in the past, with any period.
        event.insert(QStringLiteral("alarm_time"),
                     qlonglong(fuzzer_.now_ - qint64(fuzzer_.below(1000))));
        event.insert(QStringLiteral("recur_secs"), fuzzer_.chance(0.3)
                                                       ? qlonglong(9223372036854773760LL)
                                                       : qlonglong(fuzzer_.extremeInteger()));
        event.insert(QStringLiteral("recur_count"),
                     fuzzer_.chance(0.5) ? -1 : int(fuzzer_.extremeInteger()));
        break;
    }
}

void EventMutator::changeSize(QVariantMap& event) {
    switch (fuzzer_.below(8)) {
    case 0: {
        static const QStringList keys = {QStringLiteral("title"),    QStringLiteral("message"),
                                         QStringLiteral("icon"),     QStringLiteral("alarm_appid"),
                                         QStringLiteral("alarm_tz"), QStringLiteral("sound")};
        event.insert(keys.at(qsizetype(fuzzer_.below(quint64(keys.size())))), fuzzer_.hugeString());
        break;
    }
    case 1: {
        QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        if (actions.isEmpty()) {
            actions << QVariantMap{{QStringLiteral("flags"), whenResponded}};
        }
        actions[0].insert(QStringLiteral("label"), fuzzer_.hugeString());
        event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        break;
    }
    case 2: {
        QVariantMap attrs;
        const int count =
            fuzzer_.chance(0.5) ? 65 + int(fuzzer_.below(1000)) : int(fuzzer_.below(65));
        for (int i = 0; i < count; ++i) {
            attrs.insert(QStringLiteral("attr%1").arg(i), int(i));
        }
        event.insert(QStringLiteral("attrs"), attrs);
        break;
    }
    case 3: {
        QList<QVariantMap> actions;
        QVariantMap button{{QStringLiteral("flags"), whenResponded},
                           {QStringLiteral("label"), QStringLiteral("Stop")}};
        const int count = fuzzer_.chance(0.5) ? 10000 : 17 + int(fuzzer_.below(100));
        for (int i = 0; i < count; ++i) {
            actions << button;
        }
        event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        break;
    }
    case 4: {
        QVariant nested = fuzzer_.anyBasic();
        // Deep, yet within what the bus lets through.
        const int depth = 10 + int(fuzzer_.below(10));
        for (int i = 0; i < depth; ++i) {
            nested = fuzzer_.chance(0.5) ? QVariant::fromValue(QDBusVariant(nested))
                                         : QVariant(QVariantList{nested});
        }
        event.insert(fuzzer_.chance(0.5) ? QStringLiteral("attrs") : QStringLiteral("nested"),
                     nested);
        break;
    }
    case 5: {
        QList<int> many(10000 + qsizetype(fuzzer_.below(50000)), 7);
        event.insert(fuzzer_.chance(0.5) ? QStringLiteral("alarm_tm") : QStringLiteral("many"),
                     QVariant::fromValue(many));
        break;
    }
    case 6: {
        // Everything empty.
        for (auto it = event.begin(); it != event.end(); ++it) {
            if (it.value().metaType().id() == QMetaType::QString) {
                it.value() = QString();
            }
        }
        if (fuzzer_.chance(0.3)) {
            event.clear();
        }
        break;
    }
    default: {
        QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        QVariantList args;
        const int count = fuzzer_.chance(0.5) ? 10000 : int(fuzzer_.below(100));
        for (int i = 0; i < count; ++i) {
            args << fuzzer_.anyBasic();
        }
        if (!actions.isEmpty()) {
            actions[0].insert(QStringLiteral("dbus_args"), args);
            event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        }
        break;
    }
    }
}

QVariant EventMutator::anyTm() {
    const std::vector<int> values = {
        std::numeric_limits<int>::min(), -1, 0, 1, 11, 12, 23, 24, 31, 32, 59, 60, 125, 8099, 8100,
        std::numeric_limits<int>::max()};
    QList<int> tm;
    const int size = fuzzer_.chance(0.9) ? 9 : int(fuzzer_.below(12));
    for (int i = 0; i < size; ++i) {
        tm << (fuzzer_.chance(0.3) ? -1 : fuzzer_.pick(values));
    }
    return QVariant::fromValue(tm);
}
