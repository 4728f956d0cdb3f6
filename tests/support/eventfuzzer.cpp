#include "eventfuzzer.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>

#include <fcntl.h>
#include <limits>
#include <unistd.h>

#include "eventcontract.h"
#include "eventmutator.h"
#include "eventrules.h"

using namespace EventContract;

namespace {

const std::vector<QString> services = {
    QString(),
    QStringLiteral("org.example.Fuzz"),
    QStringLiteral("org.freedesktop.DBus"),
    QStringLiteral("org.freedesktop.DBus.Local"),
    QStringLiteral("org.velmar.alarmd"),
    QStringLiteral(":1.1"),
    QStringLiteral("not a name"),
    QStringLiteral("org..example"),
};
const std::vector<QString> paths = {
    QString(),
    QStringLiteral("/"),
    QStringLiteral("/org/example/Fuzz"),
    QStringLiteral("/org/freedesktop/DBus"),
    QStringLiteral("/org/freedesktop/DBus/Local"),
    QStringLiteral("//double"),
    QStringLiteral("relative/path"),
};
const std::vector<QString> interfaces = {
    QString(),
    QStringLiteral("org.example.Fuzz"),
    QStringLiteral("org.freedesktop.DBus"),
    QStringLiteral("org.freedesktop.DBus.Local"),
    QStringLiteral("org.freedesktop.DBus.Peer"),
    QStringLiteral("org.velmar.alarmd"),
    QStringLiteral("noDots"),
};
const std::vector<QString> members = {
    QString(),
    QStringLiteral("Ring"),
    QStringLiteral("ReleaseName"),
    QStringLiteral("RequestName"),
    QStringLiteral("Disconnected"),
    QStringLiteral("del_event"),
    QStringLiteral("Hello"),
    QStringLiteral("1digit"),
};
const std::vector<QString> sounds = {
    QString(),
    QStringLiteral("alarm-clock-elapsed"),
    QStringLiteral("bell"),
    QStringLiteral("message.new_email"),
    QStringLiteral("/etc/shadow"),
    QStringLiteral("/dev/zero"),
    QStringLiteral("../../../etc/passwd"),
    QStringLiteral("/usr/share/sounds/../../../etc/passwd"),
    QStringLiteral("sounds/x.oga"),
    QStringLiteral("two words"),
    QStringLiteral("~/x.oga"),
};
const std::vector<QString> words = {
    QString(),
    QStringLiteral("Stop"),
    QStringLiteral("&Snooze"),
    QStringLiteral("a && b"),
    QStringLiteral("Grüße 🔔 日本語 \u202etxet"),
    QStringLiteral("<b>bold</b><img src=\"x\">"),
    QStringLiteral("%s%n%d%%"),
    QStringLiteral("tab\tnew\nline\r\x01"),
    QStringLiteral("'; DROP TABLE events; --"),
    QStringLiteral("{\"t\":\"x\",\"v\":\"1\"}"),
    QStringLiteral(" "),
};

} // namespace

EventFuzzer::EventFuzzer(quint64 seed, qint64 now)
    : random_(seed)
    , now_(now) {
    qDBusRegisterMetaType<QList<int>>();
    qDBusRegisterMetaType<QList<qlonglong>>();
    qDBusRegisterMetaType<QList<QVariantMap>>();
}

void EventFuzzer::startMessage() {
    descriptorsLeft_ = 2;
}

quint64 EventFuzzer::below(quint64 bound) {
    return bound == 0 ? 0 : std::uniform_int_distribution<quint64>(0, bound - 1)(random_);
}

bool EventFuzzer::chance(double probability) {
    return std::uniform_real_distribution<double>(0.0, 1.0)(random_) < probability;
}

qint64 EventFuzzer::extremeInteger() {
    const std::vector<qint64> values = {
        std::numeric_limits<qint64>::min(),
        std::numeric_limits<qint64>::min() + 1,
        -(qint64(1) << 53) - 1,
        -(qint64(1) << 31),
        -100,
        -1,
        0,
        1,
        59,
        (qint64(1) << 31) - 1,
        qint64(1) << 31,
        qint64(1) << 32,
        (qint64(1) << 53) - 1,
        qint64(1) << 53,
        (qint64(1) << 53) + 1,
        endOf9999,
        endOf9999 + 1,
        tenYears,
        tenYears + 1,
        9223372036854773760LL,
        std::numeric_limits<qint64>::max() - 1,
        std::numeric_limits<qint64>::max(),
        now_,
        now_ - 100,
        now_ + 3,
        now_ + 30 * day,
    };
    if (chance(0.2)) {
        return qint64(random_());
    }
    return pick(values);
}

QString EventFuzzer::anyString() {
    if (chance(0.5)) {
        return pick(words);
    }
    static const QString characters = QStringLiteral(
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 ./_-:&<>\"'\\%äß€🔔");
    const int length = int(below(40));
    QString text;
    for (int i = 0; i < length; ++i) {
        text += characters.at(qsizetype(below(quint64(characters.size()))));
    }
    return text;
}

QVariant EventFuzzer::hugeString() {
    const int length = chance(0.05) ? (1 << 20) : 5000 + int(below(300000));
    return QString(length, QLatin1Char("xyz"[below(3)]));
}

QVariant EventFuzzer::anyBasic() {
    // The bus ends a connection that sends more descriptors than it allows in one message.
    const quint64 kinds = descriptorsLeft_ > 0 ? 13 : 12;
    switch (below(kinds)) {
    case 0:
        return QVariant::fromValue(uchar(below(256)));
    case 1:
        return chance(0.5);
    case 2:
        return QVariant::fromValue(short(extremeInteger()));
    case 3:
        return QVariant::fromValue(ushort(extremeInteger()));
    case 4:
        return int(extremeInteger());
    case 5:
        return uint(extremeInteger());
    case 6:
        return qlonglong(extremeInteger());
    case 7:
        return qulonglong(extremeInteger());
    case 8: {
        const std::vector<double> values = {0.0,
                                            -0.0,
                                            1.5,
                                            1e308,
                                            -1e308,
                                            std::numeric_limits<double>::quiet_NaN(),
                                            std::numeric_limits<double>::infinity(),
                                            -std::numeric_limits<double>::infinity(),
                                            9.3e18,
                                            double(now_)};
        return pick(values);
    }
    case 9:
        return anyString();
    case 10:
        return QVariant::fromValue(
            QDBusObjectPath(pick(paths).isEmpty() ? QStringLiteral("/") : QStringLiteral("/a/b")));
    case 11:
        return QVariant::fromValue(
            QDBusSignature(chance(0.5) ? QStringLiteral("a{sv}") : QStringLiteral("x")));
    default: {
        --descriptorsLeft_;
        // The descriptor is duplicated when the value is made; ours closes at once.
        const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        QDBusUnixFileDescriptor descriptor(fd);
        ::close(fd);
        return QVariant::fromValue(descriptor);
    }
    }
}

QVariant EventFuzzer::anyContainer(int depth) {
    const int count = chance(0.2) ? 0 : int(below(6));
    switch (below(10)) {
    case 0:
        return QVariant::fromValue(QDBusVariant(anyValue(depth - 1)));
    case 1: {
        QVariantList list;
        for (int i = 0; i < count; ++i) {
            list << anyValue(depth - 1);
        }
        return list;
    }
    case 2: {
        QVariantMap map;
        for (int i = 0; i < count; ++i) {
            map.insert(anyString(), anyValue(depth - 1));
        }
        return map;
    }
    case 3: {
        QStringList list;
        for (int i = 0; i < count; ++i) {
            list << anyString();
        }
        return list;
    }
    case 4: {
        QByteArray bytes;
        for (int i = 0; i < count * 7; ++i) {
            bytes += char(below(256));
        }
        return bytes;
    }
    case 5: {
        QList<int> list;
        for (int i = 0; i < count * 3; ++i) {
            list << int(extremeInteger());
        }
        return QVariant::fromValue(list);
    }
    case 6: {
        QList<qlonglong> list;
        for (int i = 0; i < count; ++i) {
            list << extremeInteger();
        }
        return QVariant::fromValue(list);
    }
    case 7:
        return QVariant::fromValue(anyActions());
    case 8: {
        QDBusArgument structure;
        structure.beginStructure();
        structure << int(extremeInteger()) << anyString() << qlonglong(extremeInteger());
        structure.endStructure();
        return QVariant::fromValue(structure);
    }
    default: {
        QDBusArgument map;
        map.beginMap(QMetaType::fromType<int>(), QMetaType::fromType<QString>());
        for (int i = 0; i < count; ++i) {
            map.beginMapEntry();
            map << int(i) << anyString();
            map.endMapEntry();
        }
        map.endMap();
        return QVariant::fromValue(map);
    }
    }
}

QVariant EventFuzzer::anyValue(int depth) {
    if (depth <= 0 || chance(0.6)) {
        return anyBasic();
    }
    return anyContainer(depth);
}

QVariantMap EventFuzzer::anyAction() {
    if (chance(0.5)) {
        // A well-formed call to one of the targets, so that the target alone decides.
        const Target& target = pick(targets);
        const std::vector<uint> whens = {whenQueued, whenTriggered, whenDeleted};
        QVariantMap action{
            {QStringLiteral("flags"), dbusAction | pick(whens)},
            {QStringLiteral("dbus_path"), QString::fromLatin1(target.path)},
            {QStringLiteral("dbus_interface"), QString::fromLatin1(target.interface)},
            {QStringLiteral("dbus_name"), QString::fromLatin1(target.name)}};
        if (*target.service) {
            action.insert(QStringLiteral("dbus_service"), QString::fromLatin1(target.service));
        }
        QVariantList args;
        if (qstrcmp(target.name, "ReleaseName") == 0) {
            args << QStringLiteral("org.velmar.alarmd");
        } else if (qstrcmp(target.name, "RequestName") == 0) {
            args << QStringLiteral("org.velmar.pardoreminder") << 4u;
        } else if (qstrcmp(target.name, "del_event") == 0) {
            args << qlonglong(1 + below(40));
        }
        action.insert(QStringLiteral("dbus_args"), args);
        return action;
    }
    QVariantMap action;
    uint flags = 0;
    if (chance(0.05)) {
        flags = uint(random_());
    } else {
        for (uint flag : {snoozeAction, dbusAction, whenQueued, whenTriggered, whenResponded,
                          whenDeleted, useActivation}) {
            if (chance(0.35)) {
                flags |= flag;
            }
        }
        for (uint flag : {execAction, useSystemBus}) {
            if (chance(0.04)) {
                flags |= flag;
            }
        }
    }
    action.insert(QStringLiteral("flags"), flags);
    if (chance(0.6)) {
        action.insert(QStringLiteral("label"), chance(0.02) ? hugeString() : pick(words));
    }
    if (chance(0.04)) {
        action.insert(QStringLiteral("exec_command"), QStringLiteral("touch /tmp/pardo-fuzz-ran"));
    }
    const Target& target = pick(targets);
    const auto field = [&](const char* key, const char* preset, const std::vector<QString>& pool) {
        const QString value = chance(0.8) ? QString::fromLatin1(preset) : pick(pool);
        if (!value.isNull() && (!value.isEmpty() || chance(0.3))) {
            action.insert(QLatin1String(key), value);
        }
    };
    field("dbus_service", target.service, services);
    field("dbus_path", target.path, paths);
    field("dbus_interface", target.interface, interfaces);
    field("dbus_name", target.name, members);
    QVariantList args;
    if (qstrcmp(target.name, "ReleaseName") == 0) {
        args << QStringLiteral("org.velmar.alarmd");
    } else if (qstrcmp(target.name, "RequestName") == 0) {
        args << QStringLiteral("org.velmar.pardoreminder") << 4u;
    } else if (qstrcmp(target.name, "del_event") == 0) {
        // Cookies count up from 1: these are events of this very test.
        args << qlonglong(1 + below(40));
    }
    const int extra = int(below(4));
    for (int i = 0; i < extra; ++i) {
        args << (chance(0.1) ? anyContainer(2) : anyBasic());
    }
    if (!args.isEmpty() || chance(0.5)) {
        action.insert(QStringLiteral("dbus_args"), args);
    }
    return action;
}

QList<QVariantMap> EventFuzzer::anyActions() {
    int count = 0;
    const quint64 kind = below(100);
    if (kind < 5) {
        count = 0;
    } else if (kind < 65) {
        count = 1 + int(below(4));
    } else if (kind < 90) {
        count = 5 + int(below(12));
    } else if (kind < 99) {
        count = 17 + int(below(24));
    } else {
        count = 10000;
    }
    QList<QVariantMap> actions;
    if (count == 10000) {
        const QVariantMap one = anyAction();
        for (int i = 0; i < count; ++i) {
            actions << one;
        }
        return actions;
    }
    for (int i = 0; i < count; ++i) {
        actions << anyAction();
    }
    return actions;
}

QVariantMap EventFuzzer::validEvent() {
    QVariantMap event;
    event.insert(QStringLiteral("alarm_appid"), QStringLiteral("fuzz"));
    event.insert(QStringLiteral("title"), chance(0.5) ? pick(words) : anyString());
    event.insert(QStringLiteral("message"), anyString());
    event.insert(QStringLiteral("alarm_time"), qlonglong(now_ + 2 * day + qint64(below(1u << 30))));
    QList<QVariantMap> actions;
    QVariantMap button;
    button.insert(QStringLiteral("flags"), whenResponded);
    button.insert(QStringLiteral("label"), QStringLiteral("Stop"));
    QVariantMap call;
    call.insert(QStringLiteral("flags"), dbusAction | whenTriggered);
    call.insert(QStringLiteral("dbus_service"), QStringLiteral("org.example.Fuzz"));
    call.insert(QStringLiteral("dbus_path"), QStringLiteral("/org/example/Fuzz"));
    call.insert(QStringLiteral("dbus_interface"), QStringLiteral("org.example.Fuzz"));
    call.insert(QStringLiteral("dbus_name"), QStringLiteral("Ring"));
    call.insert(QStringLiteral("dbus_args"), QVariantList{int(below(100)), anyString()});
    switch (below(3)) {
    case 0:
        actions << button;
        break;
    case 1:
        actions << call;
        break;
    default: {
        QVariantMap snooze = button;
        snooze.insert(QStringLiteral("flags"), snoozeAction | whenResponded);
        snooze.insert(QStringLiteral("label"), QStringLiteral("Snooze"));
        actions << snooze << button << call;
    }
    }
    event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
    QVariantMap attrs;
    attrs.insert(QStringLiteral("task_id"), int(below(1000)));
    attrs.insert(QStringLiteral("when"), qlonglong(extremeInteger()));
    attrs.insert(QStringLiteral("name"), anyString());
    event.insert(QStringLiteral("attrs"), attrs);
    if (chance(0.3)) {
        event.insert(QStringLiteral("recur_secs"), qlonglong(60 + below(30 * day)));
        event.insert(QStringLiteral("recur_count"), chance(0.5) ? -1 : int(1 + below(100)));
    }
    if (chance(0.3)) {
        event.insert(QStringLiteral("snooze_secs"), qlonglong(below(3600)));
    }
    if (chance(0.3)) {
        // Theme names only: the first few of the pool.
        event.insert(QStringLiteral("sound"), sounds.at(size_t(below(4))));
    }
    if (chance(0.2)) {
        event.insert(QStringLiteral("alarm_tz"), knownZones.at(qsizetype(below(4))));
    }
    if (chance(0.2)) {
        event.insert(QStringLiteral("flags"), uint(chance(0.5) ? 0x40 : 0x800));
    }
    return event;
}

EventFuzzer::Case EventFuzzer::next(Focus focus) {
    startMessage();
    Case result;
    QVariantMap event = validEvent();
    if (!chance(0.25)) {
        Focus chosen = focus;
        if (focus == Focus::Mixed) {
            chosen = Focus(below(4));
        }
        const int changes = 1 + int(below(3));
        for (int i = 0; i < changes; ++i) {
            switch (chosen) {
            case Focus::Types:
                EventMutator(*this).changeType(event);
                break;
            case Focus::Integers:
                EventMutator(*this).changeInteger(event);
                break;
            case Focus::Actions:
                event.insert(QStringLiteral("actions"), QVariant::fromValue(anyActions()));
                if (chance(0.5)) {
                    i = changes;
                }
                break;
            case Focus::Sizes:
                EventMutator(*this).changeSize(event);
                break;
            case Focus::Mixed:
                break;
            }
        }
        if (chance(0.15)) {
            event.insert(QStringLiteral("sound"), pick(sounds));
        }
        if (chance(0.1)) {
            event.insert(QStringLiteral("alarm_tz"), chance(0.5)
                                                         ? unknownZones.at(qsizetype(below(5)))
                                                         : knownZones.at(qsizetype(below(4))));
        }
    }
    result.event = event;
    result.breaks = EventRules::brokenRules(event);
    result.farFuture = EventRules::isFarFuture(event, now_);
    return result;
}
