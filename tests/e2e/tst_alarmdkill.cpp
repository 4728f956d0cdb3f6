#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>

#include <alarmd/libalarm.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

const QString daemonName = QStringLiteral("org.velmar.alarmd");

bool daemonRunning() {
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(daemonName);
}

struct Acknowledged {
    cookie_t cookie;
    int sequence;
};

} // namespace

// The real pardo-alarmd on a private bus with a fresh data folder, killed
// with SIGKILL while a client adds events as fast as it can.
class TestAlarmdKill : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void killDuringABurstLosesNothingAcknowledged_data();
    void killDuringABurstLosesNothingAcknowledged();
    void endsWithItsBus();

private:
    bool startDaemon(const QString& dataHome);
    bool stopDaemon();

    std::unique_ptr<QProcess> daemon;
};

void TestAlarmdKill::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
}

void TestAlarmdKill::cleanup() {
    QVERIFY(stopDaemon());
}

bool TestAlarmdKill::startDaemon(const QString& dataHome) {
    daemon = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome);
    daemon->setProcessEnvironment(environment);
    daemon->setProcessChannelMode(QProcess::MergedChannels);
    daemon->start(QStringLiteral(PARDO_ALARMD_PATH), {});
    return daemon->waitForStarted(10000) && QTest::qWaitFor(daemonRunning, 20000);
}

// Ends the daemon normally (so a sanitizer build checks it at exit) and
// fails on anything a sanitizer reported.
bool TestAlarmdKill::stopDaemon() {
    if (!daemon) {
        return true;
    }
    if (daemon->state() != QProcess::NotRunning) {
        daemon->terminate();
        if (!daemon->waitForFinished(20000)) {
            daemon->kill();
            daemon->waitForFinished(5000);
            return false;
        }
    }
    const QByteArray output = daemon->readAll();
    daemon.reset();
    if (output.contains("Sanitizer")) {
        qWarning("%s", output.constData());
        return false;
    }
    return QTest::qWaitFor([] { return !daemonRunning(); }, 10000);
}

void TestAlarmdKill::killDuringABurstLosesNothingAcknowledged_data() {
    QTest::addColumn<int>("killAfter");
    QTest::newRow("early") << 20;
    QTest::newRow("later") << 300;
}

void TestAlarmdKill::killDuringABurstLosesNothingAcknowledged() {
    QFETCH(int, killAfter);
    const QString dataHome = TestEnvironment::current()->root() + QStringLiteral("/kill-") +
                             QString::fromLatin1(QTest::currentDataTag());
    QVERIFY(startDaemon(dataHome));

    std::mutex mutex;
    std::vector<Acknowledged> acknowledged;
    std::atomic<int> count{0};
    std::atomic<bool> stop{false};
    const time_t base = time(nullptr) + 86400;
    std::thread client([&] {
        for (int i = 0; i < 100000 && !stop; ++i) {
            alarm_event_t* event = alarm_event_create();
            alarm_event_set_alarm_appid(event, "burst");
            alarm_event_set_title(event, "Burst");
            const QByteArray message = "burst " + QByteArray::number(i);
            alarm_event_set_message(event, message.constData());
            alarm_event_set_attr_int(event, "sequence", i);
            event->alarm_time = base + i;
            alarm_action_t* stopButton = alarm_event_add_actions(event, 1);
            alarm_action_set_label(stopButton, "Stop");
            stopButton->flags = ALARM_ACTION_WHEN_RESPONDED;
            const cookie_t cookie = alarmd_event_add(event);
            alarm_event_delete(event);
            if (cookie == 0) {
                break;
            }
            {
                std::lock_guard<std::mutex> lock(mutex);
                acknowledged.push_back({cookie, i});
            }
            ++count;
        }
    });
    const bool reached = QTest::qWaitFor([&] { return count >= killAfter; }, 60000);
    daemon->kill();
    daemon->waitForFinished(10000);
    QTRY_VERIFY_WITH_TIMEOUT(!daemonRunning(), 10000);
    stop = true;
    client.join();
    QVERIFY(reached);
    QCOMPARE(daemon->exitStatus(), QProcess::CrashExit);
    QVERIFY(int(acknowledged.size()) >= killAfter);

    QVERIFY(startDaemon(dataHome));
    for (const Acknowledged& item : acknowledged) {
        alarm_event_t* event = alarmd_event_get(item.cookie);
        QVERIFY2(event, qPrintable(QStringLiteral("event %1 was lost").arg(item.sequence)));
        const int sequence = alarm_event_get_attr_int(event, "sequence", -1);
        const QString message = QString::fromUtf8(alarm_event_get_message(event));
        const time_t trigger = event->trigger;
        alarm_event_delete(event);
        QCOMPARE(sequence, item.sequence);
        QCOMPARE(message, QStringLiteral("burst %1").arg(item.sequence));
        QCOMPARE(trigger, base + item.sequence);
    }
    // At most the one add in flight at the kill was stored without its answer.
    cookie_t* cookies = alarmd_event_query(0, 0, 0, 0, "burst");
    QVERIFY(cookies);
    int stored = 0;
    while (cookies[stored]) {
        ++stored;
    }
    free(cookies);
    QVERIFY(stored >= int(acknowledged.size()));
    QVERIFY(stored <= int(acknowledged.size()) + 1);
}

void TestAlarmdKill::endsWithItsBus() {
    auto bus = std::make_unique<PrivateBus>(TestEnvironment::current()->root() +
                                            QStringLiteral("/ending-bus"));
    QVERIFY(bus->isRunning());
    const QString probeName = QStringLiteral("ending-probe");
    {
        QDBusConnection probe = QDBusConnection::connectToBus(bus->address(), probeName);
        QVERIFY(probe.isConnected());
        QProcess ending;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus->address());
        environment.insert(QStringLiteral("XDG_DATA_HOME"),
                           TestEnvironment::current()->root() + QStringLiteral("/ending-data"));
        ending.setProcessEnvironment(environment);
        ending.setProcessChannelMode(QProcess::MergedChannels);
        ending.start(QStringLiteral(PARDO_ALARMD_PATH), {});
        QVERIFY(ending.waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(probe.interface()->isServiceRegistered(daemonName), 20000);
        bus.reset();
        QVERIFY(ending.waitForFinished(20000));
        QCOMPARE(ending.exitStatus(), QProcess::NormalExit);
        QCOMPARE(ending.exitCode(), 0);
        const QByteArray output = ending.readAll();
        QVERIFY2(output.contains("the session bus went away"), output.constData());
        QVERIFY2(!output.contains("Sanitizer"), output.constData());
    }
    QDBusConnection::disconnectFromBus(probeName);
}

PARDO_DBUS_TEST_MAIN(TestAlarmdKill)
#include "tst_alarmdkill.moc"
