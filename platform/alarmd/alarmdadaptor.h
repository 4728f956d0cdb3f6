#pragma once

#include <QDBusContext>
#include <QList>
#include <QMap>
#include <QObject>
#include <QVariantMap>

class AlarmQueue;
class RingDispatcher;

// The daemon on the session bus: interface "org.velmar.alarmd" at "/org/velmar/alarmd".
class AlarmdAdaptor : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.velmar.alarmd")
public:
    AlarmdAdaptor(AlarmQueue& queue, RingDispatcher& rings, QObject* parent = nullptr);

public Q_SLOTS:
    Q_SCRIPTABLE qlonglong add_event(const QVariantMap& event);
    Q_SCRIPTABLE QVariantMap get_event(qlonglong cookie);
    Q_SCRIPTABLE bool del_event(qlonglong cookie);
    Q_SCRIPTABLE QList<qlonglong> query_event(qlonglong first, qlonglong last, uint flagMask,
                                              uint flags, const QString& appid);
    Q_SCRIPTABLE bool respond(qlonglong cookie, int actionIndex);
    // The caller's graphical session (DISPLAY, WAYLAND_DISPLAY, XAUTHORITY,
    // XDG_RUNTIME_DIR, XDG_SESSION_TYPE): rings that wait for a display open there.
    Q_SCRIPTABLE bool set_display(const QMap<QString, QString>& environment);

Q_SIGNALS:
    // A method was called, whoever called it.
    void called();

private:
    QString caller() const;

    AlarmQueue& queue_;
    RingDispatcher& rings_;
};
