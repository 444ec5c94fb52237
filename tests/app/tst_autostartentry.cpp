#include "app/AutostartEntry.h"
#include "app/DesktopEntry.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestAutostartEntry : public QObject
{
    Q_OBJECT

private slots:
    void switchingOnWritesAnEntryThatStartsTheProgramAndOffRemovesIt()
    {
        QTemporaryDir dir;
        const QString autostart = dir.filePath(QStringLiteral("config/autostart"));
        AutostartEntry entry(autostart, QStringLiteral("/opt/Cliphaven 2/bin/cliphaven"));
        QSignalSpy changed(&entry, &AutostartEntry::enabledChanged);
        QVERIFY(!entry.isEnabled());
        QVERIFY(entry.setEnabled(true));
        QVERIFY(entry.setEnabled(true));
        QVERIFY(entry.isEnabled());
        QCOMPARE(changed.size(), 1);

        QFile file(autostart + QStringLiteral("/cliphaven.desktop"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto parsed = DesktopEntry::parse(file.readAll(), u"cliphaven.desktop"_s, u"C"_s);
        QVERIFY(parsed);
        QCOMPARE(parsed->type, QStringLiteral("Application"));
        QCOMPARE(parsed->name, QStringLiteral("Cliphaven"));
        QCOMPARE(parsed->icon, QStringLiteral("cliphaven"));
        QCOMPARE(parsed->exec, QStringLiteral("\"/opt/Cliphaven 2/bin/cliphaven\""));

        QVERIFY(entry.setEnabled(false));
        QVERIFY(entry.setEnabled(false));
        QVERIFY(!QFile::exists(entry.filePath()));
        QVERIFY(!entry.isEnabled());
        QCOMPARE(changed.size(), 2);
    }

    void entriesSwitchedOffByTheDesktop_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("plain") << QByteArray("[Desktop Entry]\nType=Application\nExec=cliphaven\n")
                               << true;
        QTest::newRow("hidden") << QByteArray("[Desktop Entry]\nHidden = true\n") << false;
        QTest::newRow("switched off by GNOME")
            << QByteArray("[Desktop Entry]\r\nX-GNOME-Autostart-enabled=false\r\n") << false;
    }

    void entriesSwitchedOffByTheDesktop()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, enabled);
        QTemporaryDir dir;
        AutostartEntry entry(dir.path(), QStringLiteral("/usr/bin/cliphaven"));
        QFile file(entry.filePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        QCOMPARE(entry.isEnabled(), enabled);

        // Switching on again replaces a switched-off entry with a working one.
        QVERIFY(entry.setEnabled(true));
        QVERIFY(entry.isEnabled());
    }

    void execQuoting_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain path") << u"/usr/bin/cliphaven"_s << u"/usr/bin/cliphaven"_s;
        QTest::newRow("space") << u"/opt/my apps/cliphaven"_s << u"\"/opt/my apps/cliphaven\""_s;
        QTest::newRow("percent is doubled")
            << u"/opt/100%/cliphaven"_s << u"/opt/100%%/cliphaven"_s;
        QTest::newRow("dollar, quote and backslash escaped twice")
            << "/opt/a$b\"c\\d/cliphaven"
            << "\"/opt/a\\\\$b\\\\\"c\\\\\\\\d/cliphaven\"";
    }

    void execQuoting()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);
        QCOMPARE(AutostartEntry::execValue(program), exec);

        // Reading the value back as a desktop entry gives the program again.
        const auto parsed = DesktopEntry::parse("[Desktop Entry]\nName=C\nExec="
                                                    + AutostartEntry::execValue(program).toUtf8(),
                                                QStringLiteral("c.desktop"),
                                                QStringLiteral("C"));
        QVERIFY(parsed);
        QCOMPARE(parsed->program(), program.section(u'/', -1));
    }
};

QTEST_GUILESS_MAIN(TestAutostartEntry)
#include "tst_autostartentry.moc"
