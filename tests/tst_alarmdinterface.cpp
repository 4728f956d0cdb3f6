#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDomDocument>
#include <QFile>

#include "alarmdaemon.h"
#include "manualclock.h"
#include "pardotest.h"

namespace {

// "name(in:a{sv},out:x)" for each method of `interfaceName`, in document order.
QStringList methodsOf(const QString& xml, const QString& interfaceName) {
    QDomDocument document;
    if (!document.setContent(xml)) {
        return {QStringLiteral("unreadable XML")};
    }
    QStringList methods;
    const QDomNodeList interfaces = document.elementsByTagName(QStringLiteral("interface"));
    for (int i = 0; i < interfaces.size(); ++i) {
        const QDomElement interface = interfaces.at(i).toElement();
        if (interface.attribute(QStringLiteral("name")) != interfaceName) {
            continue;
        }
        for (QDomElement method = interface.firstChildElement(QStringLiteral("method"));
             !method.isNull(); method = method.nextSiblingElement(QStringLiteral("method"))) {
            // Ins and outs each keep their order; how they interleave means nothing.
            QStringList args;
            QStringList outs;
            for (QDomElement arg = method.firstChildElement(QStringLiteral("arg")); !arg.isNull();
                 arg = arg.nextSiblingElement(QStringLiteral("arg"))) {
                const QString direction =
                    arg.attribute(QStringLiteral("direction"), QStringLiteral("in"));
                (direction == QLatin1String("out") ? outs : args)
                    << direction + QLatin1Char(':') + arg.attribute(QStringLiteral("type"));
            }
            args << outs;
            methods << method.attribute(QStringLiteral("name")) + QLatin1Char('(') +
                           args.join(QLatin1Char(',')) + QLatin1Char(')');
        }
        QStringList signalNames;
        for (QDomElement signal = interface.firstChildElement(QStringLiteral("signal"));
             !signal.isNull(); signal = signal.nextSiblingElement(QStringLiteral("signal"))) {
            signalNames << QStringLiteral("signal ") + signal.attribute(QStringLiteral("name"));
        }
        methods << signalNames;
    }
    std::sort(methods.begin(), methods.end());
    return methods;
}

} // namespace

// The published interface description says what the daemon serves, method for method.
class TestAlarmdInterface : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void introspectionMatchesTheDescription();
};

void TestAlarmdInterface::introspectionMatchesTheDescription() {
    QFile file(QStringLiteral(PARDO_INTERFACE_XML));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
    const QStringList described =
        methodsOf(QString::fromUtf8(file.readAll()), QStringLiteral("org.velmar.alarmd"));
    QCOMPARE(described.size(), 6);

    ManualClock clock(1700000000);
    AlarmDaemon daemon(clock, TestEnvironment::current()->root() + QStringLiteral("/queue"),
                       QDBusConnection::sessionBus());
    QString error;
    QVERIFY2(daemon.start(&error), qPrintable(error));
    QDBusConnection client =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("client"));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QDBusConnection::sessionBus().baseService(), QLatin1String(AlarmDaemon::objectPath),
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    QDBusPendingCall pending = client.asyncCall(call, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(pending.isFinished(), 10000);
    const QDBusMessage reply = pending.reply();
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    const QStringList served =
        methodsOf(reply.arguments().value(0).toString(), QStringLiteral("org.velmar.alarmd"));
    QCOMPARE(served, described);
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
}

PARDO_DBUS_TEST_MAIN(TestAlarmdInterface)
#include "tst_alarmdinterface.moc"
