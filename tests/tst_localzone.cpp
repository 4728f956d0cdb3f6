#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QtTest>

#include "localzone.h"
#include "repetitionrule.h"

// Naming the zone file in TZ must change nothing but how often the C library looks
// at it: the same zone and offsets, a changed file seen by the next query, and a
// TZ that someone else set left alone.
class TestLocalZone : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void keepsTheZoneAsFound_data();
    void keepsTheZoneAsFound();
    void changedZoneFileIsReadAgain();
    void queriesGiveTheSameAnswers();

private:
    QByteArray testZone_;
};

namespace {

void setZone(const QByteArray& zone, bool set) {
    if (set) {
        qputenv("TZ", zone);
    } else {
        qunsetenv("TZ");
    }
    tzset();
}

// Offsets around the year's changes, where a different zone would show.
QList<int> offsets() {
    QList<int> result;
    for (int month = 1; month <= 12; ++month) {
        for (const QTime& time : {QTime(2, 30), QTime(12, 0)}) {
            result.append(QDateTime(QDate(2024, month, 27), time).offsetFromUtc());
        }
    }
    return result;
}

int julyOffset() {
    return QDateTime(QDate(2024, 7, 1), QTime(12, 0)).offsetFromUtc();
}

// Replaces the file as a zone tool does: a new file moved into place.
bool installZone(const QString& zoneFile, const QString& zone) {
    const QString fresh = zoneFile + QStringLiteral(".new");
    QFile::remove(fresh);
    return QFile::copy(QStringLiteral("/usr/share/zoneinfo/") + zone, fresh) &&
           ::rename(QFile::encodeName(fresh).constData(),
                    QFile::encodeName(zoneFile).constData()) == 0;
}

} // namespace

void TestLocalZone::init() {
    testZone_ = qgetenv("TZ");
}

void TestLocalZone::cleanup() {
    setZone(testZone_, !testZone_.isNull());
}

void TestLocalZone::keepsTheZoneAsFound_data() {
    QTest::addColumn<bool>("set");
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<bool>("named");

    QTest::newRow("unset") << false << QByteArray() << true;
    QTest::newRow("named") << true << QByteArray("America/New_York") << false;
    QTest::newRow("empty means UTC") << true << QByteArray("") << false;
}

void TestLocalZone::keepsTheZoneAsFound() {
    QFETCH(bool, set);
    QFETCH(QByteArray, zone);
    QFETCH(bool, named);

    setZone(zone, set);
    const QByteArray id = QTimeZone::systemTimeZoneId();
    const QList<int> before = offsets();
    LocalZone::refresh();
    if (named) {
        const QByteArray given = qgetenv("TZ");
        QVERIFY2(given == ":/etc/localtime" || given == ":/etc/./localtime", given.constData());
    } else {
        QCOMPARE(qgetenv("TZ"), zone);
    }
    QCOMPARE(QTimeZone::systemTimeZoneId(), id);
    QCOMPARE(offsets(), before);
    // Again, with nothing changed: the same zone.
    LocalZone::refresh();
    QCOMPARE(offsets(), before);
}

void TestLocalZone::changedZoneFileIsReadAgain() {
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString zoneFile = folder.filePath(QStringLiteral("localtime"));
    const QByteArray path = QFile::encodeName(zoneFile);
    QVERIFY(installZone(zoneFile, QStringLiteral("Europe/Berlin")));
    setZone(QByteArray(), false);

    LocalZone::refresh(path);
    QCOMPARE(julyOffset(), 2 * 3600);
    LocalZone::refresh(path);
    QCOMPARE(julyOffset(), 2 * 3600);

    QVERIFY(installZone(zoneFile, QStringLiteral("America/New_York")));
    LocalZone::refresh(path);
    QCOMPARE(julyOffset(), -4 * 3600);
}

void TestLocalZone::queriesGiveTheSameAnswers() {
    RepetitionRule rule;
    rule.setDate(QDate(2024, 1, 1));
    rule.setTime(QTime(9, 0));
    rule.setRepetitionFields(RepeatXTimes, 5, QDate(), 1, IntervalWeeks, {1}, 1);
    setZone(QByteArray(), false);
    QCOMPARE(rule.nthRepetition(2), QDateTime(QDate(2024, 1, 15), QTime(9, 0)));
    QCOMPARE(rule.getNumberOfRepetitionsFromDateTime(nullptr), 4);
    QVERIFY(rule.calculateEndDateTime().isValid());
}

QTEST_GUILESS_MAIN(TestLocalZone)
#include "tst_localzone.moc"
