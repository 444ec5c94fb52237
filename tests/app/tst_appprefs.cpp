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

    void defaultsOnFirstLaunch()
    {
        AppPrefs prefs(settings());
        QCOMPARE(prefs.paused(), false);
        QCOMPARE(prefs.showInMenuBar(), true);
        QCOMPARE(prefs.seenPauseExplainer(), false);
        QCOMPARE(prefs.ignoredApps(), QStringList());
        QCOMPARE(prefs.playSounds(), true);
        QVERIFY(prefs.settings().allKeys().isEmpty()); // reading writes nothing back
    }

    void oddStoredValues_data()
    {
        QTest::addColumn<QByteArray>("property"); // stored as "Cliphaven" and the capitalised name
        QTest::addColumn<QString>("stored");      // the raw text of the settings file
        QTest::addColumn<QVariant>("expected");

        QTest::newRow("menu bar: a string reads as on")
            << QByteArray("showInMenuBar") << u"hello"_s << QVariant(true);
        QTest::newRow("paused: garbage reads as off")
            << QByteArray("paused") << u"garbage"_s << QVariant(false);
        QTest::newRow("ignored: a number is no list")
            << QByteArray("ignoredApps") << u"@Variant(\\0\\0\\0\\x2\\0\\0\\0\\x5)"_s
            << QVariant(QStringList());
        QTest::newRow("ignored: a list") << QByteArray("ignoredApps") << u"KeePassXC, firefox"_s
                                         << QVariant(QStringList{"KeePassXC", "firefox"});
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

    void changeSignalsOnlyForRealChanges()
    {
        AppPrefs prefs(settings());
        QSignalSpy paused(&prefs, &AppPrefs::pausedChanged);
        QSignalSpy sounds(&prefs, &AppPrefs::playSoundsChanged);
        prefs.setPaused(false);
        prefs.setPlaySounds(true);
        QCOMPARE(paused.count(), 0);
        QCOMPARE(sounds.count(), 0);
        // The unchanged value is still written, so a key never written can be told apart.
        QVERIFY(prefs.settings().contains(AppPrefs::kPlaySoundsKey));
        prefs.setPaused(true);
        prefs.setPaused(true);
        QCOMPARE(paused.count(), 1);
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
