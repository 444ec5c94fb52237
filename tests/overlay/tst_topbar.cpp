#include "KeyboardShortcuts/Registry.h"
#include "app/AppPrefs.h"
#include "app/ShortcutNames.h"
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

    std::unique_ptr<QSettings> settings()
    {
        return std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("prefs.conf")),
                                           QSettings::IniFormat);
    }

private slots:
    void init() { QFile::remove(m_dir.filePath(QStringLiteral("prefs.conf"))); }

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

        AppPrefs prefs(settings());
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

    void afterCancelTheNextPauseIsImmediate()
    {
        AppPrefs prefs(settings());
        MoreMenu menu(prefs);
        int questions = 0;
        menu.confirmPause = [&] {
            ++questions;
            return false;
        };
        menu.togglePause();
        QTRY_COMPARE(questions, 1);
        QVERIFY(!prefs.paused());
        menu.togglePause();
        QVERIFY(prefs.paused());
        menu.togglePause();
        QVERIFY(!prefs.paused());
        QTest::qWait(50);
        QCOMPARE(questions, 1);
    }

    void keyCapsFollowTheStoredShortcut()
    {
        auto store = settings();
        FakeHotKeyBackend backend;
        Registry registry(*store, backend);
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

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TopBarTest)
#include "tst_topbar.moc"
