#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDateTime>
#include <QElapsedTimer>

#include <optional>

#include "daemonprocess.h"
#include "dbusvaluetext.h"
#include "eventfuzzer.h"
#include "pardotest.h"
#include "silentsounddevice.h"

namespace {

// Same seed, same cases: PARDO_FUZZ_SEED replays or varies a run.
quint64 baseSeed() {
    bool ok = false;
    const quint64 seed = qEnvironmentVariable("PARDO_FUZZ_SEED").toULongLong(&ok);
    return ok ? seed : 20240612;
}

// Each run is cut short after this long, so that it stays quick under the sanitizers too.
int budgetMs() {
    bool ok = false;
    const int ms = qEnvironmentVariableIntValue("PARDO_FUZZ_MS", &ok);
    return ok ? ms : 1500;
}

constexpr int maxCases = 400;

quint64 seedFor(const QByteArray& name) {
    quint64 hash = 1469598103934665603ULL;
    for (const char c : name) {
        hash = (hash ^ quint64(uchar(c))) * 1099511628211ULL;
    }
    return baseSeed() ^ hash;
}

std::optional<QList<qlonglong>> queued() {
    const QDBusMessage reply = DaemonProcess::call(
        QStringLiteral("query_event"), {qlonglong(0), qlonglong(0), 0u, 0u, QString()}, 1000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    return qdbus_cast<QList<qlonglong>>(reply.arguments().first());
}

QString fetched(qlonglong cookie) {
    const QDBusMessage reply = DaemonProcess::call(QStringLiteral("get_event"), {cookie});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return QStringLiteral("no event (%1)").arg(reply.errorName());
    }
    return DBusValueText::describe(reply.arguments().first());
}

// What is wrong with the daemon now: it ended, does not answer query_event within 1 s (tried
// twice, so that one hiccup of a loaded machine is no failure), lost an acknowledged event or
// had a sanitizer report. Empty when nothing is.
QString trouble(const DaemonProcess& daemon, const QMap<qlonglong, QString>& kept) {
    if (!daemon.isRunning()) {
        return QStringLiteral("the daemon %1").arg(daemon.howItEnded());
    }
    std::optional<QList<qlonglong>> cookies = queued();
    if (!cookies) {
        cookies = queued();
    }
    if (!cookies) {
        return QStringLiteral("the daemon did not answer query_event within 1 s");
    }
    QStringList lost;
    for (auto it = kept.cbegin(); it != kept.cend(); ++it) {
        if (!cookies->contains(it.key())) {
            lost << QStringLiteral("%1 (%2)").arg(it.key()).arg(it.value());
        }
    }
    if (!lost.isEmpty()) {
        return QStringLiteral("acknowledged events are gone: ") + lost.join(QStringLiteral(", "));
    }
    const QString report = daemon.sanitizerReport();
    if (!report.isEmpty()) {
        return QStringLiteral("sanitizer report:\n") + report;
    }
    return QString();
}

// QtTest cuts a failure message at 1 KiB: the whole of a long one goes to the log first.
QString reported(const QString& message, const QStringList& accepted = QStringList()) {
    QString whole = message;
    if (!accepted.isEmpty()) {
        whole += QStringLiteral("\nAlso accepted though refused by the rules:\n") +
                 accepted.join(QLatin1Char('\n'));
    }
    if (whole.size() <= 900) {
        return whole;
    }
    for (const QString& line : whole.split(QLatin1Char('\n'))) {
        qWarning("%s", qPrintable(line));
    }
    return whole.left(700) + QStringLiteral("… (the whole message is in the log above)");
}

} // namespace

// The real pardo-alarmd on a private bus, fed random event dictionaries and random calls: it
// keeps answering, reports nothing to a sanitizer, refuses what breaks its rules and loses no
// event it acknowledged, also across a restart.
class TestAlarmdFuzz : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void randomEventsLeaveTheQueueWhole_data();
    void randomEventsLeaveTheQueueWhole();
    void randomCallsLeaveTheQueueWhole();

private:
    // Stops and restarts the daemon; every kept event must come back as it was.
    void restartKeeps(DaemonProcess& daemon, const QMap<qlonglong, QString>& kept,
                      const QStringList& accepted);
};

void TestAlarmdFuzz::initTestCase() {
    QVERIFY(SilentSoundDevice::install());
    qInfo("fuzz seed %llu (PARDO_FUZZ_SEED sets another), %d ms per run (PARDO_FUZZ_MS)",
          baseSeed(), budgetMs());
}

void TestAlarmdFuzz::randomEventsLeaveTheQueueWhole_data() {
    QTest::addColumn<int>("focus");
    QTest::newRow("types") << int(EventFuzzer::Focus::Types);
    QTest::newRow("integers") << int(EventFuzzer::Focus::Integers);
    QTest::newRow("actions") << int(EventFuzzer::Focus::Actions);
    QTest::newRow("sizes") << int(EventFuzzer::Focus::Sizes);
    QTest::newRow("mixed") << int(EventFuzzer::Focus::Mixed);
}

void TestAlarmdFuzz::randomEventsLeaveTheQueueWhole() {
    QFETCH(int, focus);
    const QByteArray tag = QTest::currentDataTag();
    const quint64 seed = seedFor(tag);
    const QString folder =
        TestEnvironment::current()->root() + QStringLiteral("/events-") + QString::fromLatin1(tag);
    DaemonProcess daemon(QStringLiteral(PARDO_ALARMD_PATH), folder + QStringLiteral("/data"),
                         folder + QStringLiteral(".log"));
    QVERIFY2(daemon.start(), daemon.log().constData());

    EventFuzzer fuzzer(seed, QDateTime::currentSecsSinceEpoch());
    QMap<qlonglong, QString> kept;
    QStringList accepted;
    QStringList recent;
    QElapsedTimer elapsed;
    elapsed.start();
    int cases = 0;
    for (; cases < maxCases && elapsed.elapsed() < budgetMs(); ++cases) {
        const EventFuzzer::Case fuzzed = fuzzer.next(EventFuzzer::Focus(focus));
        const QString name = QStringLiteral("case %1 of row \"%2\", PARDO_FUZZ_SEED=%3")
                                 .arg(cases)
                                 .arg(QString::fromLatin1(tag))
                                 .arg(baseSeed());
        const QString input = DBusValueText::describe(fuzzed.event);
        const QDBusMessage reply =
            DaemonProcess::call(QStringLiteral("add_event"), {fuzzed.event}, 10000);
        if (DaemonProcess::isSilence(reply)) {
            QFAIL(qPrintable(reported(
                QStringLiteral("add_event got no answer (%1) for %2: %3\nThe daemon %4. %5")
                    .arg(reply.errorName(), name, input, daemon.howItEnded(),
                         daemon.sanitizerReport()),
                accepted)));
        }
        qlonglong cookie = 0;
        if (reply.type() == QDBusMessage::ReplyMessage) {
            QVERIFY2(reply.signature() == QLatin1String("x"), qPrintable(reply.signature()));
            cookie = reply.arguments().first().toLongLong();
        }
        if (cookie < 0 || (cookie > 0 && !fuzzed.breaks.isEmpty())) {
            accepted << QStringLiteral("%1 got cookie %2 though: %3\n  %4")
                            .arg(name)
                            .arg(cookie)
                            .arg(fuzzed.breaks.join(QStringLiteral("; ")), input);
        }
        if (cookie > 0 && !fuzzed.farFuture) {
            // Events that may fall due while the test runs: a later failure may be theirs.
            recent << QStringLiteral("%1 (cookie %2): %3").arg(name).arg(cookie).arg(input);
            if (recent.size() > 10) {
                recent.removeFirst();
            }
        }
        if (cookie > 0 && fuzzed.farFuture) {
            kept.insert(cookie, name);
        }
        const QString problem = trouble(daemon, kept);
        if (!problem.isEmpty()) {
            QFAIL(qPrintable(reported(
                QStringLiteral("%1 after %2: %3\nThe latest events accepted that may be due:\n%4")
                    .arg(problem, name, input, recent.join(QLatin1Char('\n'))),
                accepted)));
        }
    }
    qInfo("%d cases, %d kept events", cases, int(kept.size()));
    restartKeeps(daemon, kept, accepted);
    if (QTest::currentTestFailed()) {
        return;
    }
    if (!accepted.isEmpty()) {
        QFAIL(qPrintable(reported(QStringLiteral("accepted though refused by the rules:\n") +
                                  accepted.join(QLatin1Char('\n')))));
    }
}

void TestAlarmdFuzz::randomCallsLeaveTheQueueWhole() {
    const quint64 seed = seedFor("calls");
    const QString folder = TestEnvironment::current()->root() + QStringLiteral("/calls");
    DaemonProcess daemon(QStringLiteral(PARDO_ALARMD_PATH), folder + QStringLiteral("/data"),
                         folder + QStringLiteral(".log"));
    QVERIFY2(daemon.start(), daemon.log().constData());

    EventFuzzer fuzzer(seed, QDateTime::currentSecsSinceEpoch());
    QMap<qlonglong, QString> kept;
    for (int i = 0; i < 10; ++i) {
        const QDBusMessage reply =
            DaemonProcess::call(QStringLiteral("add_event"), {fuzzer.validEvent()});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        const qlonglong cookie = reply.arguments().first().toLongLong();
        QVERIFY(cookie > 0);
        kept.insert(cookie, QStringLiteral("valid event %1").arg(i));
    }

    const auto anyCookie = [&]() -> qlonglong {
        if (!kept.isEmpty() && fuzzer.chance(0.2)) {
            return kept.keys().at(qsizetype(fuzzer.below(quint64(kept.size()))));
        }
        return fuzzer.extremeInteger();
    };
    const auto anyArguments = [&] {
        QVariantList arguments;
        const int count = int(fuzzer.below(4));
        for (int i = 0; i < count; ++i) {
            arguments << fuzzer.anyValue(2);
        }
        return arguments;
    };

    QStringList accepted;
    QElapsedTimer elapsed;
    elapsed.start();
    int calls = 0;
    for (; calls < maxCases && elapsed.elapsed() < budgetMs(); ++calls) {
        fuzzer.startMessage();
        QString method;
        QVariantList arguments;
        QString interface = QStringLiteral("org.velmar.alarmd");
        const bool wrong = fuzzer.chance(0.3);
        switch (fuzzer.below(6)) {
        case 0:
            method = QStringLiteral("get_event");
            arguments = wrong ? anyArguments() : QVariantList{anyCookie()};
            break;
        case 1:
            method = QStringLiteral("del_event");
            arguments = wrong ? anyArguments() : QVariantList{anyCookie()};
            break;
        case 2:
            method = QStringLiteral("query_event");
            arguments =
                wrong ? anyArguments()
                      : QVariantList{qlonglong(fuzzer.extremeInteger()),
                                     qlonglong(fuzzer.extremeInteger()),
                                     uint(fuzzer.extremeInteger()), uint(fuzzer.extremeInteger()),
                                     fuzzer.chance(0.1) ? QString(100000, QLatin1Char('a'))
                                                        : fuzzer.anyString()};
            break;
        case 3:
            method = QStringLiteral("respond");
            arguments =
                wrong ? anyArguments() : QVariantList{anyCookie(), int(fuzzer.extremeInteger())};
            break;
        case 4: {
            method = QStringLiteral("add_event");
            const std::vector<QVariantList> shapes = {
                {},
                {fuzzer.anyString()},
                {QVariant::fromValue(QDBusVariant(fuzzer.validEvent()))},
                {fuzzer.validEvent(), fuzzer.validEvent()},
                {QVariant::fromValue(QList<QVariantMap>{fuzzer.validEvent()})},
                {QVariantList{fuzzer.validEvent()}},
                anyArguments()};
            arguments = shapes.at(size_t(fuzzer.below(shapes.size())));
            break;
        }
        default: {
            const std::vector<std::pair<QString, QString>> others = {
                {QStringLiteral("org.freedesktop.DBus.Introspectable"),
                 QStringLiteral("Introspect")},
                {QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll")},
                {QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")},
                {QStringLiteral("org.velmar.alarmd"), QStringLiteral("no_such_method")},
                {QStringLiteral("org.velmar.alarmd.Other"), QStringLiteral("del_event")},
                {QString(), QStringLiteral("del_event")}};
            const auto& other = others.at(size_t(fuzzer.below(others.size())));
            interface = other.first;
            method = other.second;
            arguments = anyArguments();
            break;
        }
        }
        const QString name =
            QStringLiteral("call %1, PARDO_FUZZ_SEED=%2").arg(calls).arg(baseSeed());
        const QString input = QStringLiteral("%1.%2%3").arg(
            interface, method, DBusValueText::describe(QVariant(arguments)).mid(2));
        QDBusMessage message =
            QDBusMessage::createMethodCall(QStringLiteral("org.velmar.alarmd"),
                                           QStringLiteral("/org/velmar/alarmd"), interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, 10000);
        if (DaemonProcess::isSilence(reply)) {
            QFAIL(qPrintable(reported(
                QStringLiteral("no answer (%1) to %2: %3").arg(reply.errorName(), name, input))));
        }
        const bool yes = reply.type() == QDBusMessage::ReplyMessage &&
                         reply.signature() == QLatin1String("b") &&
                         reply.arguments().first().toBool();
        if (yes && interface == QLatin1String("org.velmar.alarmd") &&
            (method == QLatin1String("del_event") || method == QLatin1String("respond"))) {
            const qlonglong cookie = arguments.first().toLongLong();
            if (method == QLatin1String("respond")) {
                // Kept events lie days ahead: none has a dialog to answer.
                accepted << QStringLiteral("%1: respond answered true: %2").arg(name, input);
            }
            kept.remove(cookie);
        }
        const QString problem = trouble(daemon, kept);
        if (!problem.isEmpty()) {
            QFAIL(
                qPrintable(reported(QStringLiteral("%1 after %2: %3").arg(problem, name, input))));
        }
    }
    qInfo("%d calls, %d kept events", calls, int(kept.size()));
    restartKeeps(daemon, kept, accepted);
    if (QTest::currentTestFailed()) {
        return;
    }
    if (!accepted.isEmpty()) {
        QFAIL(qPrintable(reported(accepted.join(QLatin1Char('\n')))));
    }
}

void TestAlarmdFuzz::restartKeeps(DaemonProcess& daemon, const QMap<qlonglong, QString>& kept,
                                  const QStringList& accepted) {
    QMap<qlonglong, QString> before;
    for (auto it = kept.cbegin(); it != kept.cend(); ++it) {
        before.insert(it.key(), fetched(it.key()));
    }
    if (!daemon.stop()) {
        QFAIL(qPrintable(reported(QStringLiteral("the daemon did not end normally: %1\n%2")
                                      .arg(daemon.howItEnded(), daemon.sanitizerReport()),
                                  accepted)));
    }
    if (!daemon.start()) {
        QFAIL(qPrintable(
            reported(QStringLiteral("the daemon did not start again: %1\n%2")
                         .arg(daemon.howItEnded(), QString::fromUtf8(daemon.log().right(2000))),
                     accepted)));
    }
    const QString problem = trouble(daemon, kept);
    if (!problem.isEmpty()) {
        QFAIL(qPrintable(reported(QStringLiteral("after a restart: ") + problem, accepted)));
    }
    QStringList changed;
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        const QString now = fetched(it.key());
        if (now != it.value()) {
            changed << QStringLiteral("%1 (%2)\n  before: %3\n  after:  %4")
                           .arg(it.key())
                           .arg(kept.value(it.key()), it.value(), now);
        }
    }
    if (!changed.isEmpty()) {
        QFAIL(qPrintable(reported(QStringLiteral("events changed across a restart:\n") +
                                      changed.join(QLatin1Char('\n')),
                                  accepted)));
    }
    if (!daemon.stop()) {
        QFAIL(qPrintable(reported(QStringLiteral("the daemon did not end normally: %1\n%2")
                                      .arg(daemon.howItEnded(), daemon.sanitizerReport()),
                                  accepted)));
    }
}

PARDO_DBUS_TEST_MAIN(TestAlarmdFuzz)
#include "tst_alarmdfuzz.moc"
