#include "KeyboardShortcuts/Registry.h"
#include "app/ShortcutNames.h"
#include "common/TestPrefs.h"
#include "fakes/FakeHotKeyBackend.h"
#include "overlay/HotkeyCaps.h"
#include "overlay/MoreMenu.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;

// The overflow menu's pause explainer and the shortcut's key caps.
class TopBarTest : public QObject
{
    Q_OBJECT

private slots:
    void pauseExplainsOnceBeforeTheFirstPause_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<bool>("seen");
        QTest::addColumn<bool>("choosePause");
        QTest::addColumn<int>("asked");
        QTest::addColumn<bool>("pausedAfter");

        QTest::newRow("first pause, Pause chosen") << false << false << true << 1 << true;
        QTest::newRow("first pause, Cancel keeps capturing")
            << false << false << false << 1 << false;
        QTest::newRow("explainer seen: pauses at once") << false << true << true << 0 << true;
        QTest::newRow("resume never explains") << true << false << true << 0 << false;
    }

    void pauseExplainsOnceBeforeTheFirstPause()
    {
        QFETCH(bool, paused);
        QFETCH(bool, seen);
        QFETCH(bool, choosePause);
        QFETCH(int, asked);
        QFETCH(bool, pausedAfter);

        TestPrefs test;
        AppPrefs &prefs = test.prefs;
        prefs.setPaused(paused);
        prefs.setSeenPauseExplainer(seen);
        MoreMenu menu(prefs);
        int questions = 0;
        bool seenWhenAsked = false;
        menu.confirmPause = [&] {
            ++questions;
            seenWhenAsked = prefs.seenPauseExplainer();
            return choosePause;
        };
        QSignalSpy pausedChanged(&menu, &MoreMenu::pausedChanged);

        menu.togglePause();
        // The alert waits for the next turn; the menu's state is already settled.
        QCOMPARE(questions, 0);
        QCOMPARE(prefs.seenPauseExplainer(), seen || !paused);
        QTest::qWait(50);
        QCOMPARE(questions, asked);
        // Marked before it shows, whatever the answer.
        QCOMPARE(seenWhenAsked, asked > 0);
        QCOMPARE(prefs.paused(), pausedAfter);
        QCOMPARE(menu.paused(), pausedAfter);
        QCOMPARE(pausedChanged.count(), paused != pausedAfter ? 1 : 0);
    }

    void keyCapsFollowTheStoredShortcut()
    {
        QTemporaryDir dir;
        QSettings store(dir.filePath(QStringLiteral("shortcuts.conf")), QSettings::IniFormat);
        FakeHotKeyBackend backend;
        Registry registry(store, backend);
        HotkeyCaps caps;
        QSignalSpy changed(&caps, &HotkeyCaps::keysChanged);
        caps.setSource([&] { return registry.getShortcut(ShortcutNames::toggleOverlay); });
        // Never recorded: the default.
        QCOMPARE(caps.keys(), (QStringList{"Shift", "Super", "V"}));
        QCOMPARE(changed.count(), 1);

        registry.setShortcut(Shortcut(Key::k, ModifierFlag::control | ModifierFlag::option),
                             ShortcutNames::toggleOverlay);
        QCOMPARE(caps.keys(), (QStringList{"Ctrl", "Alt", "K"}));
        QCOMPARE(changed.count(), 2);

        // Another name's change, or reading the same shortcut again, is not a change.
        registry.setShortcut(Shortcut(Key::j, ModifierFlag::command), Name(QStringLiteral("other")));
        caps.refresh();
        QCOMPARE(changed.count(), 2);

        registry.setShortcut(std::nullopt, ShortcutNames::toggleOverlay);
        QCOMPARE(caps.keys(), QStringList());
        QCOMPARE(changed.count(), 3);
    }
};

QTEST_GUILESS_MAIN(TopBarTest)
#include "tst_topbar.moc"
