#include "KeyboardShortcuts/Notifier.h"
#include "common/TestShortcuts.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace KeyboardShortcuts;

namespace {

const Shortcut kShiftSuperV(Key::v, ModifierFlag::shift | ModifierFlag::command);
const Shortcut kCtrlAltK(Key::k, ModifierFlag::control | ModifierFlag::option);
const Shortcut kF5(Key::f5, {});

const Name kToggle(QStringLiteral("toggleOverlay"), kShiftSuperV);
const Name kOther(QStringLiteral("other"));

QList<int> ids(const QList<FakeHotKeyBackend::Attempt> &attempts)
{
    QList<int> result;
    for (const auto &attempt : attempts)
        result.append(attempt.id);
    return result;
}

} // namespace

class TestShortcutRegistry : public QObject
{
    Q_OBJECT

private slots:
    void init() { r = std::make_unique<TestShortcuts>(); }

    // Stored as the JSON text under the prefixed key; a name never set reads as its default,
    // a cleared one stays cleared on the next launch, and reset brings back the default.
    void storage()
    {
        QSignalSpy announced(&Notifier::shared(), &Notifier::shortcutByNameDidChange);
        QCOMPARE(r->registry.getShortcut(kToggle), kShiftSuperV);
        QCOMPARE(r->registry.getShortcut(kOther), std::nullopt);
        QVERIFY(r->settings.allKeys().isEmpty()); // reading writes nothing
        r->registry.setShortcut(kCtrlAltK, kToggle);
        r->registry.setShortcut(std::nullopt, kOther);
        // Every stored change is announced, with its name.
        QCOMPARE(announced.count(), 2);
        QCOMPARE(announced.at(1).at(0).value<Name>().rawValue, QStringLiteral("other"));
        r->settings.sync();
        QSettings reread(r->settings.fileName(), QSettings::IniFormat);
        const QVariant stored = reread.value(QStringLiteral("KeyboardShortcuts_toggleOverlay"));
        QCOMPARE(stored.typeId(), QMetaType::QString);
        QCOMPARE(Shortcut::fromJson(stored.toString().toUtf8()), kCtrlAltK);

        FakeHotKeyBackend backend;
        Registry next(reread, backend);
        QCOMPARE(next.getShortcut(kToggle), kCtrlAltK);
        next.setShortcut(std::nullopt, kToggle);
        QCOMPARE(Registry(reread, backend).getShortcut(kToggle), std::nullopt);
        // A known name keeps the default it was declared with; reset without a default clears.
        const Name third(QStringLiteral("third"), kF5);
        next.declare(third);
        next.setShortcut(kCtrlAltK, kOther);
        next.setShortcut(std::nullopt, third);
        next.resetAll();
        QCOMPARE(next.getShortcut(Name(QStringLiteral("toggleOverlay"))), kShiftSuperV);
        QCOMPARE(next.getShortcut(kOther), std::nullopt);
        QCOMPARE(next.getShortcut(Name(QStringLiteral("third"))), kF5);
    }

    void storedValueThatIsNotAShortcut_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("garbage text") << QVariant(QStringLiteral("not json"));
        QTest::newRow("a number") << QVariant(42);
    }

    void storedValueThatIsNotAShortcut()
    {
        QFETCH(QVariant, stored);
        r->settings.setValue(QStringLiteral("KeyboardShortcuts_toggleOverlay"), stored);
        r->settings.sync();
        QSettings settings(r->settings.fileName(), QSettings::IniFormat);
        FakeHotKeyBackend backend;
        Registry registry(settings, backend);
        // No shortcut, and not the default either: the user's value is there, just unreadable.
        QCOMPARE(registry.getShortcut(kToggle), std::nullopt);
        registry.onKeyDown(kToggle, [] {});
        QVERIFY(backend.attempts.isEmpty());
    }

    void registeredWhileWantedWithIdsNeverReused()
    {
        r->registry.setShortcut(kF5, kOther);
        r->registry.declare(kToggle);
        QVERIFY(r->backend.attempts.isEmpty());
        QVERIFY(!r->registry.isEnabled(kToggle));
        int fired = 0;
        r->registry.onKeyDown(kToggle, [&] { ++fired; });
        QVERIFY(r->registry.isEnabled(kToggle));
        QVERIFY(!r->registry.isEnabled(kOther));
        r->registry.onKeyUp(kToggle, [] {}); // a second handler registers nothing new
        QCOMPARE(ids(r->backend.attempts), QList<int>{1});

        r->registry.setShortcut(std::nullopt, kToggle);
        QVERIFY(r->backend.registered.isEmpty());
        r->registry.setShortcut(kShiftSuperV, kToggle);
        r->registry.setShortcut(kCtrlAltK, kToggle);
        QCOMPARE(ids(r->backend.attempts), QList<int>({1, 2, 3}));
        QCOMPARE(r->backend.registered.keys(), QList<int>{3});

        r->backend.press(kShiftSuperV);
        QCOMPARE(fired, 0);
        r->backend.press(kCtrlAltK);
        QCOMPARE(fired, 1);
    }

    void changeMadeElsewhereReRegisters()
    {
        r->registry.onKeyDown(kToggle, [] {});
        // The preferences' recorder writes through its own registry object and announces it.
        FakeHotKeyBackend otherBackend;
        Registry recorder(r->settings, otherBackend);
        recorder.setShortcut(kF5, kToggle);
        QCOMPARE(r->backend.registered.values(), QList<Shortcut>{kF5});
        QVERIFY(otherBackend.registered.isEmpty());
    }

    void twoNamesOnOneShortcutBothFire()
    {
        QStringList calls;
        // Names are called in the order the registry first saw them.
        r->registry.declare(kToggle);
        r->registry.setShortcut(kShiftSuperV, kOther);
        r->registry.onKeyDown(kToggle, [&] { calls << QStringLiteral("toggle"); });
        r->registry.onKeyDown(kOther, [&] { calls << QStringLiteral("other"); });
        QCOMPARE(r->backend.registered.size(), 1);
        r->backend.press(kShiftSuperV);
        QCOMPARE(calls, QStringList({"toggle", "other"}));

        // Moving one name away keeps the shared shortcut for the other.
        r->registry.setShortcut(kF5, kOther);
        QCOMPARE(r->backend.registered.size(), 2);
        calls.clear();
        r->backend.press(kShiftSuperV);
        QCOMPARE(calls, QStringList{"toggle"});
    }

    // Handlers run in the order they were added, streams after them; a stream ends when its
    // handle is dropped or cancelled, also from inside a handler, and releases its shortcut.
    void eventStreams()
    {
        QStringList calls;
        const auto record = [&](const char *what) { return [&calls, what] { calls << what; }; };
        EventStream later = r->registry.events(kToggle, [&](EventType) { calls << "stream"; });
        r->registry.onKeyDown(kToggle, record("first"));
        r->registry.onKeyDown(kToggle, record("second"));
        r->backend.send(kShiftSuperV, EventType::keyDown);
        QCOMPARE(calls, QStringList({"first", "second", "stream"}));
        r->registry.onKeyDown(kToggle, [&] { later.cancel(); });
        r->backend.send(kShiftSuperV, EventType::keyDown);
        QCOMPARE(calls.size(), 5);
        r->registry.removeHandler(kToggle);
        QVERIFY(r->backend.registered.isEmpty());
        {
            const EventStream scoped = r->registry.events(kToggle, [](EventType) {});
            QCOMPARE(r->backend.registered.size(), 1);
        }
        QVERIFY(r->backend.registered.isEmpty());
    }

    void refusedShortcutPrintsTheDiagnosticOnceAndSparesTheOthers()
    {
        r->backend.refusals.insert(kCtrlAltK, 10);
        int toggled = 0;
        r->registry.onKeyDown(kToggle, [&] { ++toggled; });
        QTest::ignoreMessage(QtWarningMsg, "Error registering hotkey Ctrl+Alt+K: 10");
        r->registry.setShortcut(kCtrlAltK, kOther);
        r->registry.onKeyDown(kOther, [] {});
        QVERIFY(!r->registry.isEnabled(kOther));
        QVERIFY(r->registry.isEnabled(kToggle));
        r->backend.press(kShiftSuperV);
        QCOMPARE(toggled, 1);
        QCOMPARE(ids(r->backend.attempts), QList<int>({1, 2})); // the failure used up its id

        // Not retried on every change of another name.
        r->registry.setShortcut(kF5, kToggle);
        QCOMPARE(r->backend.attempts.size(), 3);
        // Once nobody wants it any more, wanting it again tries again.
        r->backend.refusals.clear();
        r->registry.setShortcut(std::nullopt, kOther);
        r->registry.setShortcut(kCtrlAltK, kOther);
        QVERIFY(r->registry.isEnabled(kOther));
    }

    void disableAndEnableKeepWhatIsStored()
    {
        int fired = 0;
        r->registry.onKeyDown(kToggle, [&] { ++fired; });
        r->registry.disable(kToggle);
        QVERIFY(r->backend.registered.isEmpty());
        QVERIFY(!r->registry.isEnabled(kToggle));
        QCOMPARE(r->registry.getShortcut(kToggle), kShiftSuperV);

        // A disabled name sharing a shortcut with an enabled one is not called.
        r->registry.setShortcut(kShiftSuperV, kOther);
        int other = 0;
        r->registry.onKeyDown(kOther, [&] { ++other; });
        r->backend.press(kShiftSuperV);
        QCOMPARE(other, 1);
        QCOMPARE(fired, 0);

        r->registry.disable({kToggle, kOther});
        QVERIFY(r->backend.registered.isEmpty());
        r->registry.enable({kToggle, kOther});
        QCOMPARE(r->backend.registered.size(), 1);
        r->backend.press(kShiftSuperV);
        QCOMPARE(fired, 1);
        QCOMPARE(other, 2);
    }

    void unknownIdsAreIgnoredAndDestroyingUnregistersEverything()
    {
        int fired = 0;
        r->registry.onKeyDown(kToggle, [&] { ++fired; });
        r->registry.setShortcut(kF5, kOther);
        r->registry.onKeyUp(kOther, [] {});
        QCOMPARE(r->backend.registered.size(), 2);
        r->backend.handler(99, EventType::keyDown);
        // An event queued before its hot key was unregistered.
        r->registry.removeHandler(kToggle);
        QCOMPARE(r->backend.registered.values(), QList<Shortcut>{kF5});
        r->backend.handler(1, EventType::keyDown);
        QCOMPARE(fired, 0);
        FakeHotKeyBackend backend;
        {
            Registry registry(r->settings, backend);
            registry.onKeyDown(kToggle, [] {});
            QCOMPARE(backend.registered.size(), 1);
        }
        QVERIFY(backend.registered.isEmpty());
        QVERIFY(!backend.handler);
    }

private:
    std::unique_ptr<TestShortcuts> r;
};

QTEST_GUILESS_MAIN(TestShortcutRegistry)
#include "tst_shortcutregistry.moc"
