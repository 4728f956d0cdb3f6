#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <alarmd/libalarm.h>

#include <ctime>
#include <memory>

// What the client library's tests share: the daemon the private bus starts on the first call,
// and events and cookie lists that free themselves.
class LibAlarmTestCase : public QObject {
public:
    struct EventDeleter {
        void operator()(alarm_event_t* event) const;
    };
    using Event = std::unique_ptr<alarm_event_t, EventDeleter>;

    struct CookiesDeleter {
        void operator()(cookie_t* cookies) const;
    };
    using Cookies = std::unique_ptr<cookie_t, CookiesDeleter>;

protected:
    static const QString daemonName;

    static QString serviceFile();
    // The bus starts the daemon at daemonPath when a call goes to its name.
    static bool writeServiceFile(const char* daemonPath);
    static bool daemonRunning();
    static uint daemonPid();
    // Ends the daemon the bus started and waits until its name is free.
    static bool stopDaemon();

    static QList<cookie_t> toList(const cookie_t* cookies);
    static QList<cookie_t> query(time_t first, time_t last, int32_t mask, int32_t flags,
                                 const char* appid);
    static Event dialogEvent(const char* appid, time_t when);
    static QString text(const char* value);
    // Compares two actions field by field, arguments by type and value.
    static void compareActions(const alarm_action_t* got, const alarm_action_t* want);

    time_t now = 0;
};
