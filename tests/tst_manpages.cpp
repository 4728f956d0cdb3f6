#include <QProcess>
#include <QRegularExpression>

#include "pardotest.h"
#include "pardoversion.h"
#include "toolrun.h"

// The generated man pages: clean under groff's warnings, carrying the build's
// version, and describing what the programs really do.
class TestManPages : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void pages_data();
    void rendersWithoutWarnings_data() { pages_data(); }
    void rendersWithoutWarnings();
    void describesTheProgram_data() { pages_data(); }
    void describesTheProgram();
};

void TestManPages::pages_data() {
    QTest::addColumn<QString>("page");
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("mentions");

    QTest::newRow("pardo-reminder(1)")
        << QStringLiteral(MAN_DIR "/pardo-reminder.1") << QStringLiteral(PARDO_REMINDER_PATH)
        << QStringList{QStringLiteral("~/pardoreminder.db.sqlite"),
                       QStringLiteral("org.velmar.pardoreminder"),
                       QStringLiteral("/org/velmar/pardoreminder"),
                       QStringLiteral("top_application()"),
                       QStringLiteral("alarm_triggered(i task id, i alarm number)"),
                       QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("QT_QPA_PLATFORM"),
                       QStringLiteral("-platform name"),
                       QStringLiteral("pardo-alarmd(1)")};
    QTest::newRow("pardo-alarmd(1)")
        << QStringLiteral(MAN_DIR "/pardo-alarmd.1") << QStringLiteral(PARDO_ALARMD_PATH)
        << QStringList{QStringLiteral("$XDG_DATA_HOME/pardo-alarmd/queue.sqlite"),
                       QStringLiteral("~/.local/share/pardo-alarmd/"),
                       QStringLiteral("org.velmar.alarmd"),
                       QStringLiteral("/org/velmar/alarmd"),
                       QStringLiteral("add_event(a{sv} event) -> x cookie"),
                       QStringLiteral("get_event(x cookie) -> a{sv} event"),
                       QStringLiteral("del_event(x cookie) -> b deleted"),
                       QStringLiteral("query_event(x first, x last, u mask, u flags, s "
                                      "application) -> ax cookies"),
                       QStringLiteral("respond(x cookie, i action) -> b"),
                       QStringLiteral("org.velmar.alarmd.Error.UnknownCookie"),
                       QStringLiteral("set_display(a{ss} session) -> b"),
                       QStringLiteral("XDG_DATA_HOME"),
                       QStringLiteral("org.freedesktop.Notifications"),
                       QStringLiteral("pardo-alarm-ui(1)"),
                       QStringLiteral("pardo-reminder(1)")};
    QTest::newRow("pardo-alarm-ui(1)")
        << QStringLiteral(MAN_DIR "/pardo-alarm-ui.1") << QStringLiteral(PARDO_ALARM_UI_PATH)
        << QStringList{QStringLiteral("pardo-alarmd(1)"),
                       QStringLiteral("respond"),
                       QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("WAYLAND_DISPLAY"),
                       QStringLiteral("Snooze 10 min"),
                       QStringLiteral("-platform name")};
}

void TestManPages::rendersWithoutWarnings() {
    QFETCH(QString, page);
    ToolOutput groff;
    QVERIFY(runTool(QStringLiteral(GROFF_PATH),
                    {QStringLiteral("-man"), QStringLiteral("-Tutf8"), QStringLiteral("-ww"),
                     QStringLiteral("-z"), page},
                    &groff));
    QCOMPARE(groff.exitCode, 0);
    QVERIFY2(groff.err.isEmpty(), qPrintable(groff.err));
    QVERIFY2(groff.out.isEmpty(), qPrintable(groff.out));
}

void TestManPages::describesTheProgram() {
    QFETCH(QString, page);
    QFETCH(QString, program);
    QFETCH(QStringList, mentions);

    // Plain text on long lines, without hyphenation, so that words can be looked for.
    ToolOutput groff;
    QVERIFY(runTool(QStringLiteral(GROFF_PATH),
                    {QStringLiteral("-man"), QStringLiteral("-Tutf8"), QStringLiteral("-rLL=400n"),
                     QStringLiteral("-rHY=0"), QStringLiteral("-P-cbou"), page},
                    &groff));
    QCOMPARE(groff.exitCode, 0);
    const QString text = groff.out;
    const QString name = QFileInfo(program).fileName();

    QVERIFY2(text.startsWith(name + QStringLiteral("(1)")), qPrintable(text.left(200)));
    QVERIFY2(text.contains(QStringLiteral("Pardo Reminder " PARDO_VERSION)),
             "the page does not carry the build's version");
    QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\nNAME\n +%1 - \\S").arg(name))),
             "no NAME line for whatis");
    for (const QString& section :
         {QStringLiteral("SYNOPSIS"), QStringLiteral("DESCRIPTION"), QStringLiteral("OPTIONS"),
          QStringLiteral("FILES"), QStringLiteral("D-BUS INTERFACE"), QStringLiteral("EXIT STATUS"),
          QStringLiteral("ENVIRONMENT"), QStringLiteral("SEE ALSO")}) {
        QVERIFY2(text.contains(QLatin1Char('\n') + section + QLatin1Char('\n')),
                 qPrintable(section));
    }
    for (const QString& mention : mentions) {
        QVERIFY2(text.contains(mention), qPrintable(mention));
    }
    for (const QString& variable : {QStringLiteral("HOME"), QStringLiteral("TZ")}) {
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\\b%1\\b").arg(variable))),
                 qPrintable(variable));
    }

    // Every option the daemon's own help lists is on the page; the application defines none
    // of its own, and its page says so.
    if (name == QLatin1String("pardo-reminder")) {
        QVERIFY(text.contains(QStringLiteral("defines no options of its own")));
        QVERIFY(!text.contains(QStringLiteral("--help")));
    } else {
        ToolOutput help;
        QVERIFY(runTool(program, {QStringLiteral("--help")}, &help));
        QCOMPARE(help.exitCode, 0);
        const QRegularExpression optionLine(QStringLiteral("^  (-\\S.*?)  "),
                                            QRegularExpression::MultilineOption);
        int options = 0;
        for (auto match = optionLine.globalMatch(help.out); match.hasNext();) {
            const QString spelling = match.next().captured(1);
            QVERIFY2(text.contains(QStringLiteral("\n       ") + spelling + QLatin1Char('\n')),
                     qPrintable(spelling));
            ++options;
        }
        QCOMPARE(options, 2);
    }
    // Both programs end with 0, 1 (no bus) or 2 (name taken, usage error).
    for (const QString& status : {QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2")}) {
        QVERIFY2(text.contains(QStringLiteral("\n       ") + status + QLatin1Char('\n')),
                 qPrintable(status));
    }
}

PARDO_TEST_MAIN(TestManPages)
#include "tst_manpages.moc"
