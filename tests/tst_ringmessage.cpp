#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

#include "pardotest.h"
#include "ringmessage.h"
#include "ringrequest.h"

namespace {

// Same seed, same cases: PARDO_FUZZ_SEED replays or varies a run.
quint64 baseSeed() {
    bool ok = false;
    const quint64 seed = qEnvironmentVariable("PARDO_FUZZ_SEED").toULongLong(&ok);
    return ok ? seed : 20261123;
}

QString randomText(QRandomGenerator& random, int maxLength) {
    static const QString pieces[] = {
        QStringLiteral("a"),          QStringLiteral("Stop"), QStringLiteral("&"),
        QStringLiteral("\""),         QStringLiteral("\\"),   QStringLiteral("\n"),
        QStringLiteral("<b>"),        QString(QChar(0x00e9)), QString(QChar(0x4e2d)),
        QStringLiteral("\U0001F600"), QString(QChar(0)),      QStringLiteral(" ")};
    QString text;
    const int length = int(random.bounded(maxLength + 1));
    while (text.size() < length) {
        text += pieces[random.bounded(int(std::size(pieces)))];
    }
    return text;
}

RingRequest randomRequest(QRandomGenerator& random) {
    RingRequest request;
    request.cookie =
        qint64(random.bounded(quint64(1), quint64(std::numeric_limits<qint64>::max())));
    request.title = randomText(random, 60);
    request.message = randomText(random, 400);
    request.sound = randomText(random, 20);
    request.trigger = qint64(random.generate64());
    request.snoozeSecs =
        qint64(random.bounded(quint64(0), quint64(std::numeric_limits<qint64>::max())));
    const int buttons = int(random.bounded(RingMessage::maxButtons + 1));
    for (int i = 0; i < buttons; ++i) {
        RingButton button;
        button.action = int(random.bounded(RingMessage::maxButtons));
        button.label = randomText(random, 30);
        button.snooze = random.bounded(2) == 1;
        request.buttons.append(button);
    }
    return request;
}

// A JSON value of a random kind, sometimes nested deeply.
QJsonValue randomValue(QRandomGenerator& random, int depth) {
    switch (random.bounded(depth > 0 ? 9 : 6)) {
    case 0:
        return QJsonValue();
    case 1:
        return random.bounded(2) == 1;
    case 2:
        return double(qint64(random.generate64())) * (random.bounded(2) ? 1.0 : 1e300);
    case 3:
        return randomText(random, 20);
    case 4:
        return QString::number(qint64(random.generate64()));
    case 5:
        return QStringLiteral("99999999999999999999999999");
    case 6:
    case 7: {
        QJsonArray array;
        for (int i = int(random.bounded(4)); i > 0; --i) {
            array.append(randomValue(random, depth - 1));
        }
        return array;
    }
    default: {
        QJsonObject object;
        static const char* keys[] = {"show",    "withdraw", "cookie", "title",
                                     "trigger", "message",  "sound",  "buttons",
                                     "action",  "label",    "snooze", "snoozeSecs"};
        for (int i = int(random.bounded(5)); i > 0; --i) {
            object.insert(QLatin1String(keys[random.bounded(int(std::size(keys)))]),
                          randomValue(random, depth - 1));
        }
        return object;
    }
    }
}

// A line the daemon might have sent, damaged: bytes flipped, cut, repeated.
QByteArray mutate(QRandomGenerator& random, QByteArray line) {
    for (int i = int(random.bounded(1, 6)); i > 0 && !line.isEmpty(); --i) {
        const int at = int(random.bounded(int(line.size())));
        switch (random.bounded(5)) {
        case 0:
            line[at] = char(random.bounded(256));
            break;
        case 1:
            line.remove(at, int(random.bounded(1, 8)));
            break;
        case 2:
            line.insert(at, "{[\"\\:,}]0-e"[random.bounded(12)]);
            break;
        case 3:
            line.truncate(at);
            break;
        default:
            line.insert(at, line.mid(at, int(random.bounded(1, 40))));
            break;
        }
    }
    return line;
}

// Whatever parse accepts stays within the daemon's bounds.
bool withinBounds(const RingMessage& message, QString* why) {
    if (message.kind == RingMessage::Invalid) {
        return true;
    }
    if (message.kind == RingMessage::Withdraw) {
        *why = QStringLiteral("withdraw cookie");
        return message.cookie > 0;
    }
    const RingRequest& request = message.request;
    *why = QStringLiteral("cookie");
    if (request.cookie <= 0) {
        return false;
    }
    *why = QStringLiteral("snooze");
    if (request.snoozeSecs < 0) {
        return false;
    }
    *why = QStringLiteral("text");
    for (const QString& text : {request.title, request.message, request.sound}) {
        if (text.toUtf8().size() > RingMessage::maxTextBytes) {
            return false;
        }
    }
    *why = QStringLiteral("buttons");
    if (request.buttons.size() > RingMessage::maxButtons) {
        return false;
    }
    for (const RingButton& button : request.buttons) {
        if (button.action < 0 || button.action >= RingMessage::maxButtons ||
            button.label.toUtf8().size() > RingMessage::maxTextBytes) {
            return false;
        }
    }
    return true;
}

} // namespace

class TestRingMessage : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void randomRequestsTravelUnchanged();
    void withdrawTravelsUnchanged();
    void damagedLinesStayWithinBounds_data();
    void damagedLinesStayWithinBounds();
    void randomBytesAreRefused();
    void wrongShapesAreRefused_data();
    void wrongShapesAreRefused();
    void deepNestingIsRefused();
    void overlongLinesAreRefused();
};

void TestRingMessage::initTestCase() {
    qInfo("fuzz seed %llu (PARDO_FUZZ_SEED sets another)", baseSeed());
}

void TestRingMessage::randomRequestsTravelUnchanged() {
    QRandomGenerator random(baseSeed());
    for (int i = 0; i < 2000; ++i) {
        const RingRequest request = randomRequest(random);
        const QByteArray line = RingMessage::show(request);
        QVERIFY(line.endsWith('\n'));
        QCOMPARE(line.count('\n'), 1);
        const RingMessage back = RingMessage::parse(line);
        QVERIFY2(back.kind == RingMessage::Show, qPrintable(back.error));
        QVERIFY2(back.request == request, qPrintable(QStringLiteral("case %1").arg(i)));
    }
}

void TestRingMessage::withdrawTravelsUnchanged() {
    for (qint64 cookie : {qint64(1), qint64(42), std::numeric_limits<qint64>::max()}) {
        const RingMessage back = RingMessage::parse(RingMessage::withdraw(cookie));
        QCOMPARE(back.kind, RingMessage::Withdraw);
        QCOMPARE(back.cookie, cookie);
    }
}

void TestRingMessage::damagedLinesStayWithinBounds_data() {
    QTest::addColumn<int>("row");
    for (int row = 0; row < 4; ++row) {
        QTest::newRow(qPrintable(QStringLiteral("seed+%1").arg(row))) << row;
    }
}

void TestRingMessage::damagedLinesStayWithinBounds() {
    QFETCH(int, row);
    QRandomGenerator random(baseSeed() + quint64(row) + 1);
    int accepted = 0;
    for (int i = 0; i < 3000; ++i) {
        const QByteArray line = mutate(
            random, random.bounded(4) == 0 ? RingMessage::withdraw(qint64(random.generate64()))
                                           : RingMessage::show(randomRequest(random)));
        const RingMessage message = RingMessage::parse(line);
        QString why;
        QVERIFY2(withinBounds(message, &why),
                 qPrintable(why + QStringLiteral(": ") + QString::fromUtf8(line.left(200))));
        accepted += message.kind != RingMessage::Invalid;
    }
    // Some damage leaves a good line (a changed letter in a text): both ways were taken.
    QVERIFY(accepted > 0);
    QVERIFY(accepted < 3000);
}

void TestRingMessage::randomBytesAreRefused() {
    QRandomGenerator random(baseSeed() + 100);
    for (int i = 0; i < 3000; ++i) {
        QByteArray bytes(int(random.bounded(200)), Qt::Uninitialized);
        for (char& byte : bytes) {
            byte = char(random.bounded(256));
        }
        const RingMessage message = RingMessage::parse(bytes);
        QCOMPARE(message.kind, RingMessage::Invalid);
        QVERIFY(!message.error.isEmpty());
    }
    // Random JSON of every shape: whatever gets through is within bounds.
    for (int i = 0; i < 3000; ++i) {
        const QJsonValue value = randomValue(random, 6);
        const QByteArray line =
            value.isObject()  ? QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact)
            : value.isArray() ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact)
                              : QByteArray("null");
        QString why;
        QVERIFY2(withinBounds(RingMessage::parse(line), &why), qPrintable(why));
    }
}

void TestRingMessage::wrongShapesAreRefused_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("two messages") << QByteArray(R"({"withdraw":"1","show":{}})");
    QTest::newRow("cookie as number") << QByteArray(R"({"withdraw":1})");
    QTest::newRow("cookie zero") << QByteArray(R"({"withdraw":"0"})");
    QTest::newRow("cookie negative") << QByteArray(R"({"withdraw":"-4"})");
    QTest::newRow("cookie huge") << QByteArray(R"({"withdraw":"99999999999999999999"})");
    QTest::newRow("cookie text") << QByteArray(R"({"withdraw":"seven"})");
    const QByteArray good = RingMessage::show([] {
        RingRequest request;
        request.cookie = 5;
        request.title = QStringLiteral("T");
        RingButton button;
        button.action = 1;
        button.label = QStringLiteral("Stop");
        request.buttons = {button};
        return request;
    }());
    QTest::newRow("title a number") << QByteArray(good).replace("\"title\":\"T\"", "\"title\":5");
    QTest::newRow("no title") << QByteArray(good).replace("\"title\":\"T\",", "");
    QTest::newRow("action negative") << QByteArray(good).replace("\"action\":1", "\"action\":-1");
    QTest::newRow("action fraction") << QByteArray(good).replace("\"action\":1", "\"action\":1.5");
    QTest::newRow("action beyond") << QByteArray(good).replace("\"action\":1", "\"action\":1e300");
    QTest::newRow("action a string")
        << QByteArray(good).replace("\"action\":1", "\"action\":\"1\"");
    QTest::newRow("snooze not a bool")
        << QByteArray(good).replace("\"snooze\":false", "\"snooze\":0");
    QTest::newRow("buttons an object")
        << QByteArray(good).replace("\"buttons\":[", "\"buttons\":{\"a\":").replace("}]}", "}}}");
    QTest::newRow("button a number") << QByteArray(good).replace(
        QByteArray(good).mid(good.indexOf("[{"), good.indexOf("}]") - good.indexOf("[{") + 2),
        "[3]");
    QTest::newRow("snoozeSecs negative")
        << QByteArray(good).replace("\"snoozeSecs\":\"600\"", "\"snoozeSecs\":\"-1\"");
    QByteArray many = good;
    const QByteArray one =
        good.mid(good.indexOf("{\"action\""), good.indexOf("}]") - good.indexOf("{\"action\"") + 1);
    QByteArray list = one;
    for (int i = 0; i < RingMessage::maxButtons; ++i) {
        list += ',' + one;
    }
    QTest::newRow("too many buttons") << many.replace(one, list);
    QTest::newRow("title too long") << QByteArray(good).replace(
        "\"title\":\"T\"", "\"title\":\"" + QByteArray(RingMessage::maxTextBytes + 1, 'T') + '"');
}

void TestRingMessage::wrongShapesAreRefused() {
    QFETCH(QByteArray, line);
    const RingMessage message = RingMessage::parse(line);
    QVERIFY2(message.kind == RingMessage::Invalid, line.constData());
    QVERIFY(!message.error.isEmpty());
}

void TestRingMessage::deepNestingIsRefused() {
    for (int depth : {10, 1000, 100000}) {
        const QByteArray line =
            "{\"show\":" + QByteArray(depth, '[') + QByteArray(depth, ']') + '}';
        QCOMPARE(RingMessage::parse(line).kind, RingMessage::Invalid);
        const QByteArray objects =
            QByteArray("{\"show\":{\"a\":").repeated(depth) + "1" + QByteArray("}").repeated(depth);
        QCOMPARE(RingMessage::parse(objects).kind, RingMessage::Invalid);
    }
}

void TestRingMessage::overlongLinesAreRefused() {
    RingRequest request;
    request.cookie = 9;
    request.title = QStringLiteral("T");
    // Within every text bound, but too long as a line: thousands of whitespace bytes.
    QByteArray line = RingMessage::show(request);
    line.insert(1, QByteArray(RingMessage::maxLineBytes, ' '));
    const RingMessage message = RingMessage::parse(line);
    QCOMPARE(message.kind, RingMessage::Invalid);
    QVERIFY(message.error.contains(QStringLiteral("long")));
    line.remove(1, RingMessage::maxLineBytes - 100);
    QCOMPARE(RingMessage::parse(line).kind, RingMessage::Show);
}

PARDO_TEST_MAIN(TestRingMessage)
#include "tst_ringmessage.moc"
