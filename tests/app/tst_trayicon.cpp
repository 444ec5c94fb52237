#include "app/AppPrefs.h"
#include "app/ui/TrayIcon.h"

#include <QAction>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class TestTrayIcon : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_prefs = std::make_unique<AppPrefs>(
            std::make_unique<QSettings>(m_dir->filePath(QStringLiteral("p.conf")),
                                        QSettings::IniFormat));
    }

    // Whether the icon is in the tray is checked in a real tray; here, its look and parts.
    void pausingSwitchesTheIcon()
    {
        TrayIcon tray(*m_prefs);
        tray.followPreferences();
        QCOMPARE(tray.statusItem()->toolTip(), QStringLiteral("Cliphaven"));
        QCOMPARE(tray.statusItem()->contextMenu(), tray.menu());
        const QImage normal = tray.statusItem()->icon().pixmap(22, 22).toImage();
        QVERIFY(!normal.isNull());
        m_prefs->setPaused(true);
        const QImage paused = tray.statusItem()->icon().pixmap(22, 22).toImage();
        QVERIFY(!paused.isNull());
        QVERIFY(paused != normal);
        m_prefs->setPaused(false);
        QCOMPARE(tray.statusItem()->icon().pixmap(22, 22).toImage(), normal);
        // Started with the setting off, there is no icon; shown again while paused, the icon
        // made anew has the paused look.
        m_prefs->setShowInMenuBar(false);
        QVERIFY(!TrayIcon(*m_prefs).statusItem());
        m_prefs->setPaused(true);
        m_prefs->setShowInMenuBar(true);
        QCOMPARE(tray.statusItem()->icon().pixmap(22, 22).toImage(), paused);
    }

    // The menu's four entries, in order (a separator before the updates), each asking for its
    // action and nothing else.
    void menuEntriesAskForTheirActions_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QByteArray>("signal");
        QTest::newRow("show") << 0 << "Show Cliphaven"
                              << QByteArray(SIGNAL(toggleOverlayRequested()));
        QTest::newRow("preferences")
            << 1 << "Preferences…" << QByteArray(SIGNAL(preferencesRequested()));
        QTest::newRow("updates") << 3 << "Check for Updates…"
                                 << QByteArray(SIGNAL(checkForUpdatesRequested()));
        QTest::newRow("quit") << 4 << "Quit Cliphaven" << QByteArray(SIGNAL(quitRequested()));
    }

    void menuEntriesAskForTheirActions()
    {
        QFETCH(int, index);
        QFETCH(QString, entry);
        QFETCH(QByteArray, signal);

        TrayIcon tray(*m_prefs);
        const QList<QAction *> actions = tray.menu()->actions();
        QCOMPARE(actions.size(), 5);
        QVERIFY(actions.at(2)->isSeparator());
        QCOMPARE(actions.at(index)->text(), entry);
        QList<std::shared_ptr<QSignalSpy>> spies;
        for (const char *each : {SIGNAL(toggleOverlayRequested()),
                                 SIGNAL(preferencesRequested()),
                                 SIGNAL(checkForUpdatesRequested()),
                                 SIGNAL(quitRequested())})
            spies.append(std::make_shared<QSignalSpy>(&tray, each));
        actions.at(index)->trigger();
        for (const auto &spy : spies)
            QCOMPARE(spy->size(), spy->signal() == signal.mid(1) ? 1 : 0); // SIGNAL() adds a code
    }

    // A left click toggles and a right click opens the menu, as clicks in a real tray show;
    // the other activations do nothing.
    void otherActivationsDoNothing()
    {
        TrayIcon tray(*m_prefs);
        QSignalSpy toggled(&tray, &TrayIcon::toggleOverlayRequested);
        emit tray.statusItem()->activated(QSystemTrayIcon::DoubleClick); // after its click
        emit tray.statusItem()->activated(QSystemTrayIcon::MiddleClick);
        QCOMPARE(toggled.size(), 0);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<AppPrefs> m_prefs;
};

QTEST_MAIN(TestTrayIcon)
#include "tst_trayicon.moc"
