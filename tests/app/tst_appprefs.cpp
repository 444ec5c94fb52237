#include "app/AppPrefs.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestAppPrefs : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_path = m_dir.filePath(QStringLiteral("prefs-%1.conf").arg(++m_run)); }

    // The defaults that keep secrets out of the history.
    void privateDefaultsOnFirstLaunch()
    {
        AppPrefs prefs(settings());
        QCOMPARE(prefs.forgetTransientCopies(), true);
        QCOMPARE(prefs.recordPrimarySelection(), false);
        QVERIFY(prefs.settings().allKeys().isEmpty()); // reading writes nothing back
    }

    void oddStoredValues_data()
    {
        QTest::addColumn<QByteArray>("property"); // stored as "Cliphaven" and the capitalised name
        QTest::addColumn<QString>("stored");      // the raw text of the settings file
        QTest::addColumn<QVariant>("expected");

        QTest::newRow("ignored: a number is no list")
            << QByteArray("ignoredApps") << u"@Variant(\\0\\0\\0\\x2\\0\\0\\0\\x5)"_s
            << QVariant(QStringList());
        QTest::newRow("transient copies: garbage keeps them forgotten")
            << QByteArray("forgetTransientCopies") << u"maybe"_s << QVariant(true);
        QTest::newRow("paste keystrokes: unreadable entries dropped")
            << QByteArray("pasteKeystrokes") << u"alt+v Emacs, shift+insert Emacs, ctrl+v"_s
            << QVariant(QStringList{"shift+insert Emacs"});
    }

    void oddStoredValues()
    {
        QFETCH(QByteArray, property);
        QFETCH(QString, stored);
        QFETCH(QVariant, expected);
        const QByteArray key = "Cliphaven" + property.left(1).toUpper() + property.mid(1);
        {
            QFile file(m_path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("[General]\n" + key + '=' + stored.toUtf8() + '\n');
        }
        AppPrefs prefs(settings());
        QCOMPARE(prefs.property(property.constData()), expected);
    }

    void everyAssignmentIsWrittenAndSurvivesARestart()
    {
        {
            AppPrefs prefs(settings());
            prefs.setPaused(true);
            prefs.setShowInMenuBar(false);
            prefs.setSeenPauseExplainer(true);
            prefs.setIgnoredApps({QStringLiteral("KeePassXC"), QStringLiteral("Bitwarden")});
            prefs.setPlaySounds(false);
            // Written at once, not at exit: another reader sees the values now.
            QSettings other(m_path, QSettings::IniFormat);
            QCOMPARE(other.value(AppPrefs::kPausedKey).toString(), QStringLiteral("true"));
            QCOMPARE(other.value(AppPrefs::kPlaySoundsKey).toString(), QStringLiteral("false"));
        }
        AppPrefs again(settings());
        QCOMPARE(again.paused(), true);
        QCOMPARE(again.showInMenuBar(), false);
        QCOMPARE(again.seenPauseExplainer(), true);
        QCOMPARE(again.ignoredApps(), (QStringList{"KeePassXC", "Bitwarden"}));
        QCOMPARE(again.playSounds(), false);
    }

    void addAndRemoveIgnoredApps()
    {
        AppPrefs prefs(settings());
        QSignalSpy changed(&prefs, &AppPrefs::ignoredAppsChanged);
        prefs.addIgnoredApp(QStringLiteral("KeePassXC"));
        prefs.addIgnoredApp(QStringLiteral("KeePassXC"));
        prefs.addIgnoredApp(QStringLiteral("keepassxc")); // the list itself keeps case
        QCOMPARE(prefs.ignoredApps(), (QStringList{"KeePassXC", "keepassxc"}));
        QCOMPARE(changed.count(), 2);
        prefs.setIgnoredApps({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("a")});
        prefs.removeIgnoredApp(QStringLiteral("a"));
        QCOMPARE(prefs.ignoredApps(), QStringList{"b"});
    }

    void pasteKeystrokeChoices()
    {
        AppPrefs prefs(settings());
        QSignalSpy changed(&prefs, &AppPrefs::pasteKeystrokesChanged);
        prefs.setPasteKeystroke(QStringLiteral("XTerm"), PasteKeystroke::controlShiftV);
        prefs.setPasteKeystroke(QStringLiteral("Emacs"), PasteKeystroke::shiftInsert);
        // One choice per program, whatever the case it is named in; the latest wins.
        prefs.setPasteKeystroke(QStringLiteral("xterm"), PasteKeystroke::controlV);
        QCOMPARE(prefs.pasteKeystrokes(), (QStringList{"shift+insert Emacs", "ctrl+v xterm"}));
        QCOMPARE(changed.count(), 3);
        prefs.removePasteKeystroke(QStringLiteral("XTERM"));
        QCOMPARE(prefs.pasteKeystrokes(), QStringList{"shift+insert Emacs"});
        AppPrefs again(settings());
        QCOMPARE(again.pasteKeystrokeOverrides(),
                 (QList<PasteKeystrokeRules::Override>{{"Emacs", PasteKeystroke::shiftInsert}}));
    }

    // QSettings stores a list of one as a plain string, and splits such strings at commas.
    void emptyAndSingleElementListsReadBack()
    {
        for (const QStringList &apps :
             {QStringList{}, QStringList{"only"}, QStringList{"a, b", "c"}}) {
            init();
            AppPrefs(settings()).setIgnoredApps(apps);
            QCOMPARE(AppPrefs(settings()).ignoredApps(), apps);
        }
    }

private:
    std::unique_ptr<QSettings> settings() const
    {
        return std::make_unique<QSettings>(m_path, QSettings::IniFormat);
    }

    QTemporaryDir m_dir;
    QString m_path;
    int m_run = 0;
};

QTEST_GUILESS_MAIN(TestAppPrefs)
#include "tst_appprefs.moc"
