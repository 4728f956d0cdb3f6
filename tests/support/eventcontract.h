#pragma once

#include <QString>
#include <QStringList>

#include <vector>

// The daemon's contract as the fuzzers read it: the client library's flags, the bounds, zones,
// and the callback targets they aim at.
namespace EventContract {

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

inline const QStringList unknownZones = {
    QStringLiteral("Nowhere/Special"), QStringLiteral("Europe/Atlantis"),
    QStringLiteral("Moon/Tranquility"), QStringLiteral("../../../etc/passwd"),
    QStringLiteral("Europe/Berlin/../../x")};
inline const QStringList knownZones = {QStringLiteral("UTC"), QStringLiteral("Europe/Berlin"),
                                       QStringLiteral("America/New_York"),
                                       QStringLiteral("Asia/Kolkata")};

struct Target {
    const char* service;
    const char* path;
    const char* interface;
    const char* name;
};

inline const std::vector<Target> targets = {
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

} // namespace EventContract
