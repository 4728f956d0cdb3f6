#include "eventfuzzer.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QRegularExpression>

#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace {

// Flags of the client library, as the daemon reads them.
constexpr uint snoozeAction = 0x01;
constexpr uint dbusAction = 0x02;
constexpr uint execAction = 0x04;
constexpr uint whenQueued = 0x10;
constexpr uint whenTriggered = 0x20;
constexpr uint whenResponded = 0x40;
constexpr uint whenDeleted = 0x80;
constexpr uint useActivation = 0x1000;
constexpr uint useSystemBus = 0x2000;

constexpr qint64 endOf9999 = 253402300799;
constexpr qint64 day = 86400;
// Ten years, counted generously so that any reading of "10 years" is within it.
constexpr qint64 tenYears = 10 * 366 * day;
constexpr int longestText = 4096;

const QStringList unknownZones = {
    QStringLiteral("Nowhere/Special"), QStringLiteral("Europe/Atlantis"),
    QStringLiteral("Moon/Tranquility"), QStringLiteral("../../../etc/passwd"),
    QStringLiteral("Europe/Berlin/../../x")};
const QStringList knownZones = {QStringLiteral("UTC"), QStringLiteral("Europe/Berlin"),
                                QStringLiteral("America/New_York"), QStringLiteral("Asia/Kolkata")};

struct Target {
    const char* service;
    const char* path;
    const char* interface;
    const char* name;
};

const std::vector<Target> targets = {
    {"org.example.Fuzz", "/org/example/Fuzz", "org.example.Fuzz", "Ring"},
    {"", "/org/example/Fuzz", "org.example.Fuzz", "Rang"},
    {"org.velmar.pardoreminder", "/org/velmar/pardoreminder", "org.velmar.pardoreminder",
     "alarm_triggered"},
    {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ReleaseName"},
    {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName"},
    {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Properties", "GetAll"},
    {"", "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local", "Disconnected"},
    {"org.velmar.alarmd", "/org/velmar/alarmd", "org.velmar.alarmd", "del_event"},
    {"org.velmar.alarmd", "/org/velmar/alarmd", "org.velmar.alarmd", "add_event"},
    {":1.0", "/org/example/Fuzz", "org.example.Fuzz", "Ring"},
};

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

bool isDBusName(const QString& text) {
    return text == QLatin1String("org.freedesktop.DBus") ||
           text.startsWith(QLatin1String("org.freedesktop.DBus."));
}

bool isDaemonName(const QString& text) {
    return text == QLatin1String("org.velmar.alarmd");
}

bool isDBusPath(const QString& text) {
    return text == QLatin1String("/org/freedesktop/DBus") ||
           text.startsWith(QLatin1String("/org/freedesktop/DBus/"));
}

bool isSoundName(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9._-]*$"));
    return pattern.match(text).hasMatch();
}

QString shortened(const QString& text) {
    if (text.size() <= 60) {
        return text;
    }
    return QStringLiteral("%1…(%2 characters)").arg(text.left(24)).arg(text.size());
}

QString join(const QStringList& items, int total) {
    QStringList shown = items.mid(0, 8);
    if (total > shown.size()) {
        shown << QStringLiteral("…(%1 items)").arg(total);
    }
    return shown.join(QStringLiteral(", "));
}

QString describeArgument(const QDBusArgument& argument) {
    switch (argument.currentType()) {
    case QDBusArgument::BasicType:
        return EventFuzzer::describe(argument.asVariant());
    case QDBusArgument::VariantType: {
        QDBusVariant inner;
        argument >> inner;
        return QStringLiteral("<%1>").arg(EventFuzzer::describe(inner.variant()));
    }
    case QDBusArgument::ArrayType: {
        const QString signature = argument.currentSignature();
        QStringList items;
        int count = 0;
        argument.beginArray();
        while (!argument.atEnd()) {
            const QString item = describeArgument(argument);
            if (count++ < 8) {
                items << item;
            }
        }
        argument.endArray();
        return signature + QLatin1Char('[') + join(items, count) + QLatin1Char(']');
    }
    case QDBusArgument::StructureType: {
        QStringList items;
        argument.beginStructure();
        while (!argument.atEnd()) {
            items << describeArgument(argument);
        }
        argument.endStructure();
        return QLatin1Char('(') + items.join(QStringLiteral(", ")) + QLatin1Char(')');
    }
    case QDBusArgument::MapType: {
        QStringList items;
        int count = 0;
        argument.beginMap();
        while (!argument.atEnd()) {
            argument.beginMapEntry();
            const QString key = describeArgument(argument);
            const QString value = describeArgument(argument);
            argument.endMapEntry();
            if (count++ < 40) {
                items << key + QStringLiteral(": ") + value;
            }
        }
        argument.endMap();
        QStringList shown = items;
        if (count > items.size()) {
            shown << QStringLiteral("…(%1 entries)").arg(count);
        }
        return QLatin1Char('{') + shown.join(QStringLiteral(", ")) + QLatin1Char('}');
    }
    case QDBusArgument::MapEntryType:
    case QDBusArgument::UnknownType:
        break;
    }
    return QStringLiteral("?");
}

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

QVariant EventFuzzer::anyTm() {
    const std::vector<int> values = {
        std::numeric_limits<int>::min(), -1, 0, 1, 11, 12, 23, 24, 31, 32, 59, 60, 125, 8099, 8100,
        std::numeric_limits<int>::max()};
    QList<int> tm;
    const int size = chance(0.9) ? 9 : int(below(12));
    for (int i = 0; i < size; ++i) {
        tm << (chance(0.3) ? -1 : pick(values));
    }
    return QVariant::fromValue(tm);
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

void EventFuzzer::changeType(QVariantMap& event) {
    static const QStringList keys = {QStringLiteral("title"),        QStringLiteral("message"),
                                     QStringLiteral("sound"),        QStringLiteral("icon"),
                                     QStringLiteral("flags"),        QStringLiteral("alarm_appid"),
                                     QStringLiteral("alarm_time"),   QStringLiteral("alarm_tm"),
                                     QStringLiteral("alarm_tz"),     QStringLiteral("recur_secs"),
                                     QStringLiteral("recur_count"),  QStringLiteral("snooze_secs"),
                                     QStringLiteral("snooze_total"), QStringLiteral("response"),
                                     QStringLiteral("actions"),      QStringLiteral("attrs"),
                                     QStringLiteral("cookie"),       QStringLiteral("trigger")};
    switch (below(6)) {
    case 0:
        event.insert(keys.at(qsizetype(below(quint64(keys.size())))), anyValue());
        break;
    case 1:
        event.insert(chance(0.5) ? anyString() : QStringLiteral("alarm_time "), anyValue());
        break;
    case 2:
        if (!event.isEmpty()) {
            event.remove(event.keys().at(qsizetype(below(quint64(event.size())))));
        }
        break;
    case 3:
        if (!event.isEmpty()) {
            // The right value, one variant deeper.
            const QString key = event.keys().at(qsizetype(below(quint64(event.size()))));
            event.insert(key, QVariant::fromValue(QDBusVariant(event.value(key))));
        }
        break;
    case 4: {
        // An action with a value of another type under one of its keys.
        QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        if (actions.isEmpty()) {
            actions << anyAction();
        }
        static const QStringList actionKeys = {
            QStringLiteral("flags"),          QStringLiteral("label"),
            QStringLiteral("dbus_service"),   QStringLiteral("dbus_path"),
            QStringLiteral("dbus_interface"), QStringLiteral("dbus_name"),
            QStringLiteral("dbus_args"),      QStringLiteral("exec_command"),
            QStringLiteral("unknown")};
        QVariantMap& action = actions[qsizetype(below(quint64(actions.size())))];
        action.insert(actionKeys.at(qsizetype(below(quint64(actionKeys.size())))), anyValue());
        event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        break;
    }
    default: {
        // Integers of the neighbouring widths and signedness.
        static const QStringList integers = {
            QStringLiteral("alarm_time"),  QStringLiteral("recur_secs"),
            QStringLiteral("recur_count"), QStringLiteral("snooze_secs"),
            QStringLiteral("flags"),       QStringLiteral("response")};
        const QString key = integers.at(qsizetype(below(quint64(integers.size()))));
        const qint64 value = now_ + 30 * day;
        const std::vector<QVariant> variants = {int(value),       uint(value),
                                                qlonglong(value), qulonglong(value),
                                                double(value),    QString::number(value)};
        event.insert(key, pick(variants));
        break;
    }
    }
}

void EventFuzzer::changeInteger(QVariantMap& event) {
    switch (below(9)) {
    case 0:
        event.insert(QStringLiteral("alarm_time"), qlonglong(extremeInteger()));
        break;
    case 1:
        event.insert(QStringLiteral("recur_secs"), qlonglong(extremeInteger()));
        if (chance(0.5)) {
            event.insert(QStringLiteral("recur_count"), -1);
        }
        break;
    case 2:
        event.insert(QStringLiteral("recur_count"), int(extremeInteger()));
        break;
    case 3:
        event.insert(QStringLiteral("snooze_secs"), qlonglong(extremeInteger()));
        break;
    case 4:
        event.insert(QStringLiteral("snooze_total"), qlonglong(extremeInteger()));
        break;
    case 5:
        if (chance(0.5)) {
            event.insert(QStringLiteral("flags"), uint(extremeInteger()));
        } else {
            event.insert(QStringLiteral("response"), int(extremeInteger()));
        }
        break;
    case 6:
        event.insert(QStringLiteral("alarm_tm"), anyTm());
        if (chance(0.7)) {
            event.insert(QStringLiteral("alarm_time"), qlonglong(chance(0.5) ? -1 : 0));
        }
        break;
    case 7: {
        QVariantMap attrs = event.value(QStringLiteral("attrs")).toMap();
        attrs.insert(anyString(), anyBasic());
        attrs.insert(QStringLiteral("extreme"), qlonglong(extremeInteger()));
        event.insert(QStringLiteral("attrs"), attrs);
        break;
    }
    default:
        // A series that started in the past, with any period.
        event.insert(QStringLiteral("alarm_time"), qlonglong(now_ - qint64(below(1000))));
        event.insert(QStringLiteral("recur_secs"),
                     chance(0.3) ? qlonglong(9223372036854773760LL) : qlonglong(extremeInteger()));
        event.insert(QStringLiteral("recur_count"), chance(0.5) ? -1 : int(extremeInteger()));
        break;
    }
}

void EventFuzzer::changeSize(QVariantMap& event) {
    switch (below(8)) {
    case 0: {
        static const QStringList keys = {QStringLiteral("title"),    QStringLiteral("message"),
                                         QStringLiteral("icon"),     QStringLiteral("alarm_appid"),
                                         QStringLiteral("alarm_tz"), QStringLiteral("sound")};
        event.insert(keys.at(qsizetype(below(quint64(keys.size())))), hugeString());
        break;
    }
    case 1: {
        QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        if (actions.isEmpty()) {
            actions << QVariantMap{{QStringLiteral("flags"), whenResponded}};
        }
        actions[0].insert(QStringLiteral("label"), hugeString());
        event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        break;
    }
    case 2: {
        QVariantMap attrs;
        const int count = chance(0.5) ? 65 + int(below(1000)) : int(below(65));
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
        const int count = chance(0.5) ? 10000 : 17 + int(below(100));
        for (int i = 0; i < count; ++i) {
            actions << button;
        }
        event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        break;
    }
    case 4: {
        QVariant nested = anyBasic();
        // Deep, yet within what the bus lets through.
        const int depth = 10 + int(below(10));
        for (int i = 0; i < depth; ++i) {
            nested = chance(0.5) ? QVariant::fromValue(QDBusVariant(nested))
                                 : QVariant(QVariantList{nested});
        }
        event.insert(chance(0.5) ? QStringLiteral("attrs") : QStringLiteral("nested"), nested);
        break;
    }
    case 5: {
        QList<int> many(10000 + qsizetype(below(50000)), 7);
        event.insert(chance(0.5) ? QStringLiteral("alarm_tm") : QStringLiteral("many"),
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
        if (chance(0.3)) {
            event.clear();
        }
        break;
    }
    default: {
        QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        QVariantList args;
        const int count = chance(0.5) ? 10000 : int(below(100));
        for (int i = 0; i < count; ++i) {
            args << anyBasic();
        }
        if (!actions.isEmpty()) {
            actions[0].insert(QStringLiteral("dbus_args"), args);
            event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
        }
        break;
    }
    }
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
                changeType(event);
                break;
            case Focus::Integers:
                changeInteger(event);
                break;
            case Focus::Actions:
                event.insert(QStringLiteral("actions"), QVariant::fromValue(anyActions()));
                if (chance(0.5)) {
                    i = changes;
                }
                break;
            case Focus::Sizes:
                changeSize(event);
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
    result.breaks = brokenRules(event);
    result.farFuture = isFarFuture(event, now_);
    return result;
}

QString EventFuzzer::signatureOf(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::UChar:
        return QStringLiteral("y");
    case QMetaType::Bool:
        return QStringLiteral("b");
    case QMetaType::Short:
        return QStringLiteral("n");
    case QMetaType::UShort:
        return QStringLiteral("q");
    case QMetaType::Int:
        return QStringLiteral("i");
    case QMetaType::UInt:
        return QStringLiteral("u");
    case QMetaType::LongLong:
        return QStringLiteral("x");
    case QMetaType::ULongLong:
        return QStringLiteral("t");
    case QMetaType::Double:
        return QStringLiteral("d");
    case QMetaType::QString:
        return QStringLiteral("s");
    case QMetaType::QStringList:
        return QStringLiteral("as");
    case QMetaType::QByteArray:
        return QStringLiteral("ay");
    case QMetaType::QVariantList:
        return QStringLiteral("av");
    case QMetaType::QVariantMap:
        return QStringLiteral("a{sv}");
    default:
        break;
    }
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<QDBusVariant>()) {
        return QStringLiteral("v");
    }
    if (type == QMetaType::fromType<QDBusObjectPath>()) {
        return QStringLiteral("o");
    }
    if (type == QMetaType::fromType<QDBusSignature>()) {
        return QStringLiteral("g");
    }
    if (type == QMetaType::fromType<QDBusUnixFileDescriptor>()) {
        return QStringLiteral("h");
    }
    if (type == QMetaType::fromType<QList<int>>()) {
        return QStringLiteral("ai");
    }
    if (type == QMetaType::fromType<QList<qlonglong>>()) {
        return QStringLiteral("ax");
    }
    if (type == QMetaType::fromType<QList<QVariantMap>>()) {
        return QStringLiteral("aa{sv}");
    }
    if (type == QMetaType::fromType<QDBusArgument>()) {
        return value.value<QDBusArgument>().currentSignature();
    }
    return QStringLiteral("?");
}

QStringList EventFuzzer::brokenRules(const QVariantMap& event) {
    static const QHash<QString, QString> eventTypes = {
        {QStringLiteral("title"), QStringLiteral("s")},
        {QStringLiteral("message"), QStringLiteral("s")},
        {QStringLiteral("sound"), QStringLiteral("s")},
        {QStringLiteral("icon"), QStringLiteral("s")},
        {QStringLiteral("alarm_appid"), QStringLiteral("s")},
        {QStringLiteral("alarm_tz"), QStringLiteral("s")},
        {QStringLiteral("flags"), QStringLiteral("u")},
        {QStringLiteral("alarm_time"), QStringLiteral("x")},
        {QStringLiteral("alarm_tm"), QStringLiteral("ai")},
        {QStringLiteral("recur_secs"), QStringLiteral("x")},
        {QStringLiteral("recur_count"), QStringLiteral("i")},
        {QStringLiteral("snooze_secs"), QStringLiteral("x")},
        {QStringLiteral("snooze_total"), QStringLiteral("x")},
        {QStringLiteral("response"), QStringLiteral("i")},
        {QStringLiteral("attrs"), QStringLiteral("a{sv}")},
        {QStringLiteral("actions"), QStringLiteral("aa{sv}")}};
    static const QHash<QString, QString> actionTypes = {
        {QStringLiteral("flags"), QStringLiteral("u")},
        {QStringLiteral("label"), QStringLiteral("s")},
        {QStringLiteral("exec_command"), QStringLiteral("s")},
        {QStringLiteral("dbus_interface"), QStringLiteral("s")},
        {QStringLiteral("dbus_service"), QStringLiteral("s")},
        {QStringLiteral("dbus_path"), QStringLiteral("s")},
        {QStringLiteral("dbus_name"), QStringLiteral("s")},
        {QStringLiteral("dbus_args"), QStringLiteral("av")}};

    QStringList broken;
    const auto has = [&event](const char* key, const char* signature) {
        const QVariant value = event.value(QLatin1String(key));
        return value.isValid() && signatureOf(value) == QLatin1String(signature);
    };
    for (auto it = event.cbegin(); it != event.cend(); ++it) {
        const auto type = eventTypes.constFind(it.key());
        if (type != eventTypes.cend() && signatureOf(it.value()) != *type) {
            broken << QStringLiteral("\"%1\" has type %2 instead of %3")
                          .arg(it.key(), signatureOf(it.value()), *type);
        }
    }
    const auto text = [&event](const char* key) {
        return event.value(QLatin1String(key)).toString();
    };
    const auto wide = [&event](const char* key) {
        return qint64(event.value(QLatin1String(key)).toLongLong());
    };
    if (!has("alarm_appid", "s") || text("alarm_appid").isEmpty()) {
        broken << QStringLiteral("no alarm_appid");
    }
    for (const char* key : {"title", "message"}) {
        if (has(key, "s") && text(key).toUtf8().size() > longestText) {
            broken << QStringLiteral("%1 longer than 4 KiB").arg(QLatin1String(key));
        }
    }
    if (has("alarm_time", "x") && wide("alarm_time") > endOf9999 + day) {
        broken << QStringLiteral("alarm_time after the year 9999");
    }
    if (has("recur_secs", "x") && wide("recur_secs") < 0) {
        broken << QStringLiteral("negative recur_secs");
    }
    if (has("recur_secs", "x") && wide("recur_secs") > tenYears) {
        broken << QStringLiteral("recur_secs over 10 years");
    }
    if (has("recur_secs", "x") && wide("recur_secs") > 0) {
        const int count = event.value(QStringLiteral("recur_count")).toInt();
        // A recur_count of another type breaks the type rule already.
        if (!event.contains(QStringLiteral("recur_count")) ||
            (has("recur_count", "i") && count == 0)) {
            broken << QStringLiteral("recurring with recur_count 0");
        } else if (has("recur_count", "i") && count < -1) {
            broken << QStringLiteral("recur_count below -1");
        }
    }
    if (has("snooze_secs", "x") && wide("snooze_secs") > tenYears) {
        broken << QStringLiteral("snooze_secs over 10 years");
    }
    if (has("alarm_tz", "s") && unknownZones.contains(text("alarm_tz"))) {
        broken << QStringLiteral("unknown alarm_tz");
    }
    if (has("sound", "s") && !isSoundName(text("sound"))) {
        broken << QStringLiteral("sound is neither a theme name nor a sound file");
    }
    if (has("attrs", "a{sv}") && event.value(QStringLiteral("attrs")).toMap().size() > 64) {
        broken << QStringLiteral("more than 64 attributes");
    }

    bool anythingToDo = false;
    if (has("actions", "aa{sv}")) {
        const QList<QVariantMap> actions =
            event.value(QStringLiteral("actions")).value<QList<QVariantMap>>();
        if (actions.size() > 16) {
            broken << QStringLiteral("more than 16 actions");
        }
        for (int i = 0; i < actions.size() && i < 100; ++i) {
            const QVariantMap& action = actions.at(i);
            const QString where = QStringLiteral("actions[%1]").arg(i);
            bool typed = true;
            for (auto it = action.cbegin(); it != action.cend(); ++it) {
                const auto type = actionTypes.constFind(it.key());
                if (type != actionTypes.cend() && signatureOf(it.value()) != *type) {
                    broken << QStringLiteral("%1.%2 has type %3 instead of %4")
                                  .arg(where, it.key(), signatureOf(it.value()), *type);
                    typed = false;
                }
            }
            if (!typed) {
                continue;
            }
            const uint flags = action.value(QStringLiteral("flags")).toUInt();
            const auto field = [&action](const char* key) {
                return action.value(QLatin1String(key)).toString();
            };
            const bool button = (flags & whenResponded) && !field("label").isEmpty();
            if (flags & execAction) {
                broken << where + QStringLiteral(" runs a command");
            }
            if (flags & useSystemBus) {
                broken << where + QStringLiteral(" uses the system bus");
            }
            if ((flags & whenResponded) && field("label").isEmpty()) {
                broken << where + QStringLiteral(" is a button without a label");
            }
            if (field("label").toUtf8().size() > longestText) {
                broken << where + QStringLiteral(" has a label longer than 4 KiB");
            }
            if (flags & dbusAction) {
                if (field("dbus_path").isEmpty() || field("dbus_interface").isEmpty() ||
                    field("dbus_name").isEmpty()) {
                    broken << where + QStringLiteral(" lacks a path, interface or name");
                }
                if (isDBusName(field("dbus_service")) || isDBusName(field("dbus_interface")) ||
                    isDBusPath(field("dbus_path"))) {
                    broken << where + QStringLiteral(" targets the bus itself");
                }
                if (isDaemonName(field("dbus_service")) || isDaemonName(field("dbus_interface"))) {
                    broken << where + QStringLiteral(" targets the daemon");
                }
            }
            anythingToDo =
                anythingToDo || button ||
                ((flags & dbusAction) && (flags & (whenQueued | whenTriggered | whenDeleted)));
        }
    }
    if (!anythingToDo) {
        broken << QStringLiteral("no action does anything");
    }
    return broken;
}

bool EventFuzzer::isFarFuture(const QVariantMap& event, qint64 now) {
    const QVariant time = event.value(QStringLiteral("alarm_time"));
    return signatureOf(time) == QLatin1String("x") && time.toLongLong() >= now + 2 * day &&
           time.toLongLong() <= endOf9999 - day;
}

QString EventFuzzer::describe(const QVariant& value) {
    const QString signature = signatureOf(value);
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        // What this process built cannot be read back; what the bus delivered can.
        if (argument.currentType() == QDBusArgument::UnknownType) {
            return QStringLiteral("%1(…)").arg(signature);
        }
        return describeArgument(argument);
    }
    if (type == QMetaType::fromType<QDBusVariant>()) {
        return QStringLiteral("<%1>").arg(describe(value.value<QDBusVariant>().variant()));
    }
    if (type == QMetaType::fromType<QDBusObjectPath>()) {
        return QStringLiteral("o:") + value.value<QDBusObjectPath>().path();
    }
    if (type == QMetaType::fromType<QDBusSignature>()) {
        return QStringLiteral("g:") + value.value<QDBusSignature>().signature();
    }
    if (type == QMetaType::fromType<QDBusUnixFileDescriptor>()) {
        return QStringLiteral("h:fd");
    }
    // The first few items of a typed list, and how many it held.
    const auto listed = [](const QString& prefix, const auto& list, int shown, const auto& item) {
        QStringList items;
        for (int i = 0; i < list.size() && i < shown; ++i) {
            items << item(list.at(i));
        }
        return prefix + QLatin1Char('[') + join(items, int(list.size())) + QLatin1Char(']');
    };
    const auto number = [](auto n) {
        return QString::number(n);
    };
    if (type == QMetaType::fromType<QList<int>>()) {
        return listed(QStringLiteral("ai"), value.value<QList<int>>(), 9, number);
    }
    if (type == QMetaType::fromType<QList<qlonglong>>()) {
        return listed(QStringLiteral("ax"), value.value<QList<qlonglong>>(), 8, number);
    }
    if (type == QMetaType::fromType<QList<QVariantMap>>()) {
        return listed(QStringLiteral("aa{sv}"), value.value<QList<QVariantMap>>(), 8,
                      [](const QVariantMap& map) { return describe(map); });
    }
    switch (type.id()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        QStringList items;
        for (auto it = map.cbegin(); it != map.cend() && items.size() < 40; ++it) {
            items << QStringLiteral("\"%1\": %2").arg(shortened(it.key()), describe(it.value()));
        }
        if (map.size() > items.size()) {
            items << QStringLiteral("…(%1 entries)").arg(map.size());
        }
        return QLatin1Char('{') + items.join(QStringLiteral(", ")) + QLatin1Char('}');
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        QStringList items;
        for (int i = 0; i < list.size() && i < 8; ++i) {
            items << describe(list.at(i));
        }
        return QStringLiteral("av[") + join(items, int(list.size())) + QLatin1Char(']');
    }
    case QMetaType::QStringList: {
        const QStringList list = value.toStringList();
        QStringList items;
        for (int i = 0; i < list.size() && i < 8; ++i) {
            items << QLatin1Char('"') + shortened(list.at(i)) + QLatin1Char('"');
        }
        return QStringLiteral("as[") + join(items, int(list.size())) + QLatin1Char(']');
    }
    case QMetaType::QByteArray:
        return QStringLiteral("ay(%1 bytes)").arg(value.toByteArray().size());
    case QMetaType::QString:
        return QLatin1Char('"') + shortened(value.toString()) + QLatin1Char('"');
    case QMetaType::Double:
        return QStringLiteral("d:") + QString::number(value.toDouble(), 'g', 17);
    case QMetaType::UChar:
        return QStringLiteral("y:%1").arg(uint(value.value<uchar>()));
    default:
        return signature + QLatin1Char(':') + value.toString();
    }
}
