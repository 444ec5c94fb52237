#include "app/ui/PreferencesWindow.h"
#include "app/ui/TrayIcon.h"
#include "common/TestPrefs.h"
#include "common/TestShortcuts.h"
#include "model/Store.h"

#include <QAction>
#include <QGuiApplication>
#include <QMenu>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The shell's own windows: the tray icon's look and menu (whether it is in the tray, and what
// clicks on it do, is checked in a real tray), and the preferences window.
class TestAppWindows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Launch at login writes under the configuration folder: keep it here.
        qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
    }

    void preferencesWindowIsBuiltOnceThenShownAgain()
    {
        Store store(m_dir.filePath(QStringLiteral("store.json")));
        TestPrefs test;
        TestShortcuts shortcuts;
        PreferencesWindow preferences(store, test.prefs, shortcuts.registry, nullptr);
        QVERIFY(!preferences.window());
        preferences.showPreferences();
        QQuickWindow *window = preferences.window();
        QVERIFY(window);
        QVERIFY(window->isVisible());
        QCOMPARE(window->title(), QStringLiteral("Cliphaven Preferences"));
        QCOMPARE(window->size(), QSize(460, 560));

        // Closing hides; the next show brings back the same window.
        window->close();
        QTRY_VERIFY(!window->isVisible());
        preferences.showPreferences();
        QCOMPARE(preferences.window(), window);
        QVERIFY(window->isVisible());
    }

    void pausingSwitchesTheIcon()
    {
        TestPrefs test;
        AppPrefs &prefs = test.prefs;
        TrayIcon tray(prefs);
        tray.followPreferences();
        const auto look = [&tray] { return tray.statusItem()->icon().pixmap(22, 22).toImage(); };
        QCOMPARE(tray.statusItem()->toolTip(), QStringLiteral("Cliphaven"));
        QCOMPARE(tray.statusItem()->contextMenu(), tray.menu());
        const QImage normal = look();
        QVERIFY(!normal.isNull());
        prefs.setPaused(true);
        const QImage paused = look();
        QVERIFY(!paused.isNull());
        QVERIFY(paused != normal);
        prefs.setPaused(false);
        QCOMPARE(look(), normal);
        // Started with the setting off, there is no icon; shown again while paused, the icon
        // made anew has the paused look.
        prefs.setShowInMenuBar(false);
        QVERIFY(!TrayIcon(prefs).statusItem());
        prefs.setPaused(true);
        prefs.setShowInMenuBar(true);
        QCOMPARE(look(), paused);
    }

    // The menu's four entries, in order (a separator before the updates), each asking for its
    // action and nothing else.
    void menuEntriesAskForTheirActions()
    {
        TestPrefs test;
        TrayIcon tray(test.prefs);
        QStringList asked;
        connect(&tray, &TrayIcon::toggleOverlayRequested, this, [&] { asked << "toggle"; });
        connect(&tray, &TrayIcon::preferencesRequested, this, [&] { asked << "preferences"; });
        connect(&tray, &TrayIcon::checkForUpdatesRequested, this, [&] { asked << "updates"; });
        connect(&tray, &TrayIcon::quitRequested, this, [&] { asked << "quit"; });
        QStringList entries;
        for (QAction *action : tray.menu()->actions()) {
            entries << (action->isSeparator() ? QStringLiteral("-") : action->text());
            action->trigger();
        }
        QCOMPARE(entries,
                 QStringList({"Show Cliphaven",
                              "Preferences…",
                              "-",
                              "Check for Updates…",
                              "Quit Cliphaven"}));
        QCOMPARE(asked, QStringList({"toggle", "preferences", "updates", "quit"}));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestAppWindows)
#include "tst_appwindows.moc"
