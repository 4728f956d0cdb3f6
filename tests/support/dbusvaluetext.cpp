#include "dbusvaluetext.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>

namespace {

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
        return DBusValueText::describe(argument.asVariant());
    case QDBusArgument::VariantType: {
        QDBusVariant inner;
        argument >> inner;
        return QStringLiteral("<%1>").arg(DBusValueText::describe(inner.variant()));
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

QString DBusValueText::signatureOf(const QVariant& value) {
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

QString DBusValueText::describe(const QVariant& value) {
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
