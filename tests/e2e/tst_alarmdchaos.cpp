#include <QDBusArgument>
#include <QDBusMessage>
#include <QDateTime>
#include <QElapsedTimer>
#include <QSet>

#include <csignal>
#include <random>
#include <thread>

#include "daemonprocess.h"
#include "eventfuzzer.h"
#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

quint64 seed() {
    bool ok = false;
    const quint64 value = qEnvironmentVariable("PARDO_FUZZ_SEED").toULongLong(&ok);
    return ok ? value : 20240612;
}

int setting(const char* name, int fallback) {
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

constexpr uint dbusAction = 0x02;
constexpr uint whenTriggered = 0x20;
constexpr uint whenResponded = 0x40;
constexpr uint runDelayed = 0x40;

// Far: days ahead, stays. Dialog: due now with a button, stays until answered. Ring: due now
// without buttons, gone once it rang.
enum class Kind { Far, Dialog, Ring };

struct Tracked {
    Kind kind;
    int op;
    qint64 due;
};

struct Op {
    enum Type { Add, Delete, Respond } type;
    Kind kind = Kind::Far;
    int number = 0;
    qlonglong cookie = 0;
    qint64 due = 0;
};

QVariantMap eventFor(Kind kind, int number, qint64 due) {
    const QVariantMap signal{
        {QStringLiteral("flags"), dbusAction | whenTriggered},
        {QStringLiteral("dbus_path"), QStringLiteral("/org/example/Chaos")},
        {QStringLiteral("dbus_interface"), QStringLiteral("org.example.Chaos")},
        {QStringLiteral("dbus_name"), QStringLiteral("Rang")}};
    const QVariantMap button{{QStringLiteral("flags"), whenResponded},
                             {QStringLiteral("label"), QStringLiteral("Done")}};
    QList<QVariantMap> actions;
    QVariantMap event{{QStringLiteral("alarm_appid"), QStringLiteral("chaos")},
                      {QStringLiteral("title"), QStringLiteral("Operation %1").arg(number)},
                      {QStringLiteral("alarm_time"), qlonglong(due)},
                      {QStringLiteral("attrs"), QVariantMap{{QStringLiteral("op"), number}}}};
    switch (kind) {
    case Kind::Far:
        actions << button;
        break;
    case Kind::Dialog:
        // However late a restart comes, the dialog still opens.
        event.insert(QStringLiteral("flags"), runDelayed);
        actions << button << signal;
        break;
    case Kind::Ring:
        actions << signal;
        break;
    }
    event.insert(QStringLiteral("actions"), QVariant::fromValue(actions));
    return event;
}

int opOf(qlonglong cookie) {
    const QDBusMessage reply = DaemonProcess::call(QStringLiteral("get_event"), {cookie});
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return -1;
    }
    const QVariantMap event = qdbus_cast<QVariantMap>(reply.arguments().first());
    const QVariantMap attrs = qdbus_cast<QVariantMap>(event.value(QStringLiteral("attrs")));
    return attrs.value(QStringLiteral("op"), -1).toInt();
}

} // namespace

// kill -9 of the real daemon at random moments while events are added, ring and are answered:
// after each restart the queue holds exactly what was acknowledged and not yet served. Only an
// operation in flight at the kill may have happened or not.
class TestAlarmdChaos : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void killsLoseNothingAcknowledged();

private:
    Op nextOp(qint64 now);
    // Performs `op`; false when no answer came (the daemon was killed meanwhile).
    bool perform(const Op& op, QString* failure);
    // Compares the restarted daemon's queue with what was acknowledged.
    QString check(qint64 now);
    bool ringsGone();

    std::mt19937_64 random{seed()};
    QMap<qlonglong, Tracked> queued;
    QSet<qlonglong> served;
    QList<Op> inFlight;
    int operations = 0;
};

void TestAlarmdChaos::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    EventFuzzer registration(0, 0);
    Q_UNUSED(registration);
}

Op TestAlarmdChaos::nextOp(qint64 now) {
    QList<qlonglong> far;
    QList<qlonglong> dialogs;
    for (auto it = queued.cbegin(); it != queued.cend(); ++it) {
        if (it->kind == Kind::Far) {
            far << it.key();
        } else if (it->kind == Kind::Dialog) {
            dialogs << it.key();
        }
    }
    const int addFar = far.size() < 40 ? 3 : 0;
    const int remove = far.isEmpty() ? 0 : (far.size() < 40 ? 2 : 6);
    const int addRing = 2;
    const int addDialog = dialogs.size() < 4 ? 2 : 0;
    const int respond = dialogs.isEmpty() ? 0 : 4;
    const auto any = [this](const QList<qlonglong>& from) {
        return from.at(
            qsizetype(std::uniform_int_distribution<qsizetype>(0, from.size() - 1)(random)));
    };
    int roll = std::uniform_int_distribution<int>(0, addFar + remove + addRing + addDialog +
                                                         respond - 1)(random);
    Op op{Op::Add};
    op.number = ++operations;
    // Mostly due at once, now and then a second ahead.
    op.due = now + (std::uniform_int_distribution<int>(0, 9)(random) == 0 ? 1 : 0);
    if ((roll -= addFar) < 0) {
        op.kind = Kind::Far;
        op.due = now + 30 * 86400 + op.number;
    } else if ((roll -= remove) < 0) {
        op.type = Op::Delete;
        op.cookie = any(far);
    } else if ((roll -= addRing) < 0) {
        op.kind = Kind::Ring;
    } else if ((roll -= addDialog) < 0) {
        op.kind = Kind::Dialog;
    } else {
        op.type = Op::Respond;
        op.cookie = any(dialogs);
    }
    return op;
}

bool TestAlarmdChaos::perform(const Op& op, QString* failure) {
    QDBusMessage reply;
    switch (op.type) {
    case Op::Add:
        reply = DaemonProcess::call(QStringLiteral("add_event"),
                                    {eventFor(op.kind, op.number, op.due)});
        break;
    case Op::Delete:
        reply = DaemonProcess::call(QStringLiteral("del_event"), {op.cookie});
        break;
    case Op::Respond:
        reply = DaemonProcess::call(QStringLiteral("respond"), {op.cookie, 0});
        break;
    }
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1) {
        return false;
    }
    const QVariant answer = reply.arguments().first();
    switch (op.type) {
    case Op::Add:
        if (answer.toLongLong() <= 0) {
            *failure = QStringLiteral("operation %1: a valid event was refused").arg(op.number);
        } else {
            queued.insert(answer.toLongLong(), {op.kind, op.number, op.due});
        }
        break;
    case Op::Delete:
        if (!answer.toBool()) {
            *failure = QStringLiteral("operation %1: del_event of queued event %2 answered false")
                           .arg(op.number)
                           .arg(op.cookie);
        }
        queued.remove(op.cookie);
        served.insert(op.cookie);
        break;
    case Op::Respond:
        // False while its dialog is not open yet.
        if (answer.toBool()) {
            queued.remove(op.cookie);
            served.insert(op.cookie);
        }
        break;
    }
    return true;
}

QString TestAlarmdChaos::check(qint64 now) {
    const QDBusMessage reply = DaemonProcess::call(QStringLiteral("query_event"),
                                                   {qlonglong(0), qlonglong(0), 0u, 0u, QString()});
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return QStringLiteral("query_event failed: ") + reply.errorMessage();
    }
    const QList<qlonglong> list = qdbus_cast<QList<qlonglong>>(reply.arguments().first());
    const QSet<qlonglong> present(list.cbegin(), list.cend());

    // What was in flight at a kill either happened or did not: the queue tells which.
    for (const Op& op : std::as_const(inFlight)) {
        if (op.type == Op::Add) {
            for (qlonglong cookie : present) {
                if (!queued.contains(cookie) && !served.contains(cookie) &&
                    opOf(cookie) == op.number) {
                    queued.insert(cookie, {op.kind, op.number, op.due});
                }
            }
        } else if (!present.contains(op.cookie)) {
            queued.remove(op.cookie);
            served.insert(op.cookie);
        }
    }
    inFlight.clear();

    QStringList wrong;
    for (qlonglong cookie : present) {
        if (served.contains(cookie)) {
            wrong << QStringLiteral("event %1 was served, yet it is back").arg(cookie);
        } else if (!queued.contains(cookie)) {
            wrong << QStringLiteral("event %1 (operation %2) was never acknowledged")
                         .arg(cookie)
                         .arg(opOf(cookie));
        }
    }
    for (auto it = queued.begin(); it != queued.end();) {
        const qlonglong cookie = it.key();
        if (it->kind == Kind::Ring && !present.contains(cookie)) {
            served.insert(cookie);
            it = queued.erase(it);
            continue;
        }
        if (it->kind == Kind::Ring) {
            // It rings as soon as the daemon runs; a kill may delay that, never for long.
            if (now > it->due + 30) {
                wrong << QStringLiteral("event %1 (operation %2) did not ring, due %3 s ago")
                             .arg(cookie)
                             .arg(it->op)
                             .arg(now - it->due);
            }
        } else if (!present.contains(cookie)) {
            wrong << QStringLiteral("acknowledged event %1 (operation %2) was lost")
                         .arg(cookie)
                         .arg(it->op);
        } else if (opOf(cookie) != it->op) {
            wrong << QStringLiteral("event %1 is not operation %2's").arg(cookie).arg(it->op);
        }
        ++it;
    }
    return wrong.join(QLatin1Char('\n'));
}

bool TestAlarmdChaos::ringsGone() {
    const QString problem = check(QDateTime::currentSecsSinceEpoch());
    if (!problem.isEmpty()) {
        return false;
    }
    for (const Tracked& tracked : std::as_const(queued)) {
        if (tracked.kind == Kind::Ring) {
            return false;
        }
    }
    return true;
}

void TestAlarmdChaos::killsLoseNothingAcknowledged() {
    const int rounds = setting("PARDO_CHAOS_ROUNDS", 200);
    const int budgetMs = setting("PARDO_CHAOS_MS", 90000);
    qInfo("seed %llu (PARDO_FUZZ_SEED), at most %d rounds (PARDO_CHAOS_ROUNDS) in %d ms "
          "(PARDO_CHAOS_MS)",
          seed(), rounds, budgetMs);
    const QString folder = TestEnvironment::current()->root() + QStringLiteral("/chaos");
    DaemonProcess daemon(QStringLiteral(PARDO_ALARMD_PATH), folder + QStringLiteral("/data"),
                         folder + QStringLiteral(".log"));
    QVERIFY(daemon.start());

    QElapsedTimer elapsed;
    elapsed.start();
    int round = 0;
    for (; round < rounds && elapsed.elapsed() < budgetMs; ++round) {
        const QString where = QStringLiteral("round %1 (seed %2)").arg(round).arg(seed());
        const pid_t pid = pid_t(daemon.pid());
        // Now and then the kill falls while the restarted daemon takes up its queue.
        const bool atStart = std::uniform_int_distribution<int>(0, 6)(random) == 0;
        const int delayUs = std::uniform_int_distribution<int>(0, atStart ? 20000 : 50000)(random);
        if (atStart) {
            std::thread killer([pid, delayUs] {
                std::this_thread::sleep_for(std::chrono::microseconds(delayUs));
                ::kill(pid, SIGKILL);
            });
            killer.join();
        } else {
            const QString problem = check(QDateTime::currentSecsSinceEpoch());
            QVERIFY2(problem.isEmpty(), qPrintable(where + QStringLiteral(": ") + problem));
            std::thread killer([pid, delayUs] {
                std::this_thread::sleep_for(std::chrono::microseconds(delayUs));
                ::kill(pid, SIGKILL);
            });
            QString failure;
            for (int i = 0; i < 1000; ++i) {
                const Op op = nextOp(QDateTime::currentSecsSinceEpoch());
                if (!perform(op, &failure)) {
                    inFlight << op;
                    break;
                }
                if (!failure.isEmpty()) {
                    break;
                }
            }
            killer.join();
            QVERIFY2(failure.isEmpty(), qPrintable(where + QStringLiteral(": ") + failure));
        }
        QVERIFY(daemon.kill());
        QVERIFY2(daemon.sanitizerReport().isEmpty(), qPrintable(daemon.sanitizerReport()));
        QVERIFY2(daemon.start(),
                 qPrintable(where + QStringLiteral(": the daemon did not start again: ") +
                            QString::fromUtf8(daemon.log().right(2000))));
    }
    qInfo("%d rounds, %d operations, %d events queued at the end", round, operations,
          int(queued.size()));
    const QString problem = check(QDateTime::currentSecsSinceEpoch());
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QTRY_VERIFY_WITH_TIMEOUT(ringsGone(), 20000);
    QVERIFY2(daemon.stop(), qPrintable(daemon.howItEnded()));
    QVERIFY2(daemon.sanitizerReport().isEmpty(), qPrintable(daemon.sanitizerReport()));
}

PARDO_DBUS_TEST_MAIN(TestAlarmdChaos)
#include "tst_alarmdchaos.moc"
