// Statements belong to the storage layer alone: no other folder of the
// application may run SQL or hold a statement text.
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

class TestSqlConfinement : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void noStatementsOutsideStorage_data();
    void noStatementsOutsideStorage();
    void storageHoldsTheStatements();
};

namespace {

QString sourceDir() {
    return QStringLiteral(PARDO_SOURCE_DIR);
}

// Lines of the sources under `folder` that match `pattern`, as "file:line: text".
QStringList hits(const QString& folder, const QRegularExpression& pattern) {
    QStringList found;
    QDirIterator it(sourceDir() + QLatin1Char('/') + folder,
                    {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            found.append(path + QStringLiteral(": unreadable"));
            continue;
        }
        int number = 0;
        while (!file.atEnd()) {
            const QString line = QString::fromUtf8(file.readLine());
            ++number;
            if (pattern.match(line).hasMatch()) {
                found.append(QStringLiteral("%1:%2: %3").arg(path).arg(number).arg(line.trimmed()));
            }
        }
    }
    return found;
}

const QRegularExpression& sqlPattern() {
    static const QRegularExpression pattern(
        QStringLiteral("QSql[A-Za-z]*|\\b(SELECT|INSERT|UPDATE|DELETE) "));
    return pattern;
}

} // namespace

void TestSqlConfinement::noStatementsOutsideStorage_data() {
    QTest::addColumn<QString>("folder");
    for (const char* folder : {"app", "core", "model", "alarms", "ui"}) {
        QTest::newRow(folder) << QString::fromLatin1(folder);
    }
}

void TestSqlConfinement::noStatementsOutsideStorage() {
    QFETCH(QString, folder);
    QVERIFY2(QDir(sourceDir() + QLatin1Char('/') + folder).exists(), qPrintable(folder));
    const QStringList found = hits(folder, sqlPattern());
    QVERIFY2(found.isEmpty(), qPrintable(found.join(QLatin1Char('\n'))));
}

// The search itself must see statements where they are.
void TestSqlConfinement::storageHoldsTheStatements() {
    const QStringList found = hits(QStringLiteral("storage"), sqlPattern());
    for (const char* word :
         {"QSqlQuery", "QSqlDatabase", "SELECT ", "INSERT ", "UPDATE ", "DELETE "}) {
        QVERIFY2(!found.filter(QString::fromLatin1(word)).isEmpty(), word);
    }
}

QTEST_GUILESS_MAIN(TestSqlConfinement)
#include "tst_sqlconfinement.moc"
