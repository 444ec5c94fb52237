#include "app/ui/TrayIcon.h"
#include "common/TestPrefs.h"

#include <QAction>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>

// Whether the icon is in the tray, and what clicks on it do, is checked in a real tray; here,
// its look and its menu.
class TestTrayIcon : public QObject
{
    Q_OBJECT

private slots:
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
};

QTEST_MAIN(TestTrayIcon)
#include "tst_trayicon.moc"
