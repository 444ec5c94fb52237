#include "KeyboardShortcuts/Notifier.h"
#include "KeyboardShortcuts/Registry.h"
#include "fakes/FakeHotKeyBackend.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
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
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_settings = std::make_unique<QSettings>(settingsPath(), QSettings::IniFormat);
        m_backend = std::make_unique<FakeHotKeyBackend>();
        m_registry = std::make_unique<Registry>(*m_settings, *m_backend);
    }

    void cleanup()
    {
        m_registry.reset();
        m_backend.reset();
        m_settings.reset();
        m_dir.reset();
    }

    // Stored as the JSON text under the prefixed key; a name never set reads as its default,
    // a cleared one stays cleared on the next launch, and reset brings back the default.
    void storage()
    {
        QSignalSpy announced(&Notifier::shared(), &Notifier::shortcutByNameDidChange);
        QCOMPARE(m_registry->getShortcut(kToggle), kShiftSuperV);
        QCOMPARE(m_registry->getShortcut(kOther), std::nullopt);
        QVERIFY(m_settings->allKeys().isEmpty()); // reading writes nothing
        m_registry->setShortcut(kCtrlAltK, kToggle);
        m_registry->setShortcut(std::nullopt, kOther);
        // Every stored change is announced, with its name.
        QCOMPARE(announced.count(), 2);
        QCOMPARE(announced.at(1).at(0).value<Name>().rawValue, QStringLiteral("other"));
        m_settings->sync();
        QSettings reread(settingsPath(), QSettings::IniFormat);
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
        m_settings->setValue(QStringLiteral("KeyboardShortcuts_toggleOverlay"), stored);
        m_settings->sync();
        QSettings settings(settingsPath(), QSettings::IniFormat);
        FakeHotKeyBackend backend;
        Registry registry(settings, backend);
        // No shortcut, and not the default either: the user's value is there, just unreadable.
        QCOMPARE(registry.getShortcut(kToggle), std::nullopt);
        registry.onKeyDown(kToggle, [] {});
        QVERIFY(backend.attempts.isEmpty());
    }

    void registeredWhileWantedWithIdsNeverReused()
    {
        m_registry->setShortcut(kF5, kOther);
        m_registry->declare(kToggle);
        QVERIFY(m_backend->attempts.isEmpty());
        QVERIFY(!m_registry->isEnabled(kToggle));
        int fired = 0;
        m_registry->onKeyDown(kToggle, [&] { ++fired; });
        QVERIFY(m_registry->isEnabled(kToggle));
        QVERIFY(!m_registry->isEnabled(kOther));
        m_registry->onKeyUp(kToggle, [] {}); // a second handler registers nothing new
        QCOMPARE(ids(m_backend->attempts), QList<int>{1});

        m_registry->setShortcut(std::nullopt, kToggle);
        QVERIFY(m_backend->registered.isEmpty());
        m_registry->setShortcut(kShiftSuperV, kToggle);
        m_registry->setShortcut(kCtrlAltK, kToggle);
        QCOMPARE(ids(m_backend->attempts), QList<int>({1, 2, 3}));
        QCOMPARE(m_backend->registered.keys(), QList<int>{3});

        m_backend->press(kShiftSuperV);
        QCOMPARE(fired, 0);
        m_backend->press(kCtrlAltK);
        QCOMPARE(fired, 1);
    }

    void changeMadeElsewhereReRegisters()
    {
        m_registry->onKeyDown(kToggle, [] {});
        // The preferences' recorder writes through its own registry object and announces it.
        FakeHotKeyBackend otherBackend;
        Registry recorder(*m_settings, otherBackend);
        recorder.setShortcut(kF5, kToggle);
        QCOMPARE(m_backend->registered.values(), QList<Shortcut>{kF5});
        QVERIFY(otherBackend.registered.isEmpty());
    }

    void twoNamesOnOneShortcutBothFire()
    {
        QStringList calls;
        // Names are called in the order the registry first saw them.
        m_registry->declare(kToggle);
        m_registry->setShortcut(kShiftSuperV, kOther);
        m_registry->onKeyDown(kToggle, [&] { calls << QStringLiteral("toggle"); });
        m_registry->onKeyDown(kOther, [&] { calls << QStringLiteral("other"); });
        QCOMPARE(m_backend->registered.size(), 1);
        m_backend->press(kShiftSuperV);
        QCOMPARE(calls, QStringList({"toggle", "other"}));

        // Moving one name away keeps the shared shortcut for the other.
        m_registry->setShortcut(kF5, kOther);
        QCOMPARE(m_backend->registered.size(), 2);
        calls.clear();
        m_backend->press(kShiftSuperV);
        QCOMPARE(calls, QStringList{"toggle"});
    }

    // Handlers run in the order they were added, streams after them; a stream ends when its
    // handle is dropped or cancelled, also from inside a handler, and releases its shortcut.
    void eventStreams()
    {
        QStringList calls;
        const auto record = [&](const char *what) { return [&calls, what] { calls << what; }; };
        EventStream later = m_registry->events(kToggle, [&](EventType) { calls << "stream"; });
        m_registry->onKeyDown(kToggle, record("first"));
        m_registry->onKeyDown(kToggle, record("second"));
        m_backend->send(kShiftSuperV, EventType::keyDown);
        QCOMPARE(calls, QStringList({"first", "second", "stream"}));
        m_registry->onKeyDown(kToggle, [&] { later.cancel(); });
        m_backend->send(kShiftSuperV, EventType::keyDown);
        QCOMPARE(calls.size(), 5);
        m_registry->removeHandler(kToggle);
        QVERIFY(m_backend->registered.isEmpty());
        {
            const EventStream scoped = m_registry->events(kToggle, [](EventType) {});
            QCOMPARE(m_backend->registered.size(), 1);
        }
        QVERIFY(m_backend->registered.isEmpty());
    }

    void refusedShortcutPrintsTheDiagnosticOnceAndSparesTheOthers()
    {
        m_backend->refusals.insert(kCtrlAltK, 10);
        int toggled = 0;
        m_registry->onKeyDown(kToggle, [&] { ++toggled; });
        QTest::ignoreMessage(QtWarningMsg, "Error registering hotkey Ctrl+Alt+K: 10");
        m_registry->setShortcut(kCtrlAltK, kOther);
        m_registry->onKeyDown(kOther, [] {});
        QVERIFY(!m_registry->isEnabled(kOther));
        QVERIFY(m_registry->isEnabled(kToggle));
        m_backend->press(kShiftSuperV);
        QCOMPARE(toggled, 1);
        QCOMPARE(ids(m_backend->attempts), QList<int>({1, 2})); // the failure used up its id

        // Not retried on every change of another name.
        m_registry->setShortcut(kF5, kToggle);
        QCOMPARE(m_backend->attempts.size(), 3);
        // Once nobody wants it any more, wanting it again tries again.
        m_backend->refusals.clear();
        m_registry->setShortcut(std::nullopt, kOther);
        m_registry->setShortcut(kCtrlAltK, kOther);
        QVERIFY(m_registry->isEnabled(kOther));
    }

    void disableAndEnableKeepWhatIsStored()
    {
        int fired = 0;
        m_registry->onKeyDown(kToggle, [&] { ++fired; });
        m_registry->disable(kToggle);
        QVERIFY(m_backend->registered.isEmpty());
        QVERIFY(!m_registry->isEnabled(kToggle));
        QCOMPARE(m_registry->getShortcut(kToggle), kShiftSuperV);

        // A disabled name sharing a shortcut with an enabled one is not called.
        m_registry->setShortcut(kShiftSuperV, kOther);
        int other = 0;
        m_registry->onKeyDown(kOther, [&] { ++other; });
        m_backend->press(kShiftSuperV);
        QCOMPARE(other, 1);
        QCOMPARE(fired, 0);

        m_registry->disable({kToggle, kOther});
        QVERIFY(m_backend->registered.isEmpty());
        m_registry->enable({kToggle, kOther});
        QCOMPARE(m_backend->registered.size(), 1);
        m_backend->press(kShiftSuperV);
        QCOMPARE(fired, 1);
        QCOMPARE(other, 2);
    }

    void unknownIdsAreIgnoredAndDestroyingUnregistersEverything()
    {
        int fired = 0;
        m_registry->onKeyDown(kToggle, [&] { ++fired; });
        m_registry->setShortcut(kF5, kOther);
        m_registry->onKeyUp(kOther, [] {});
        QCOMPARE(m_backend->registered.size(), 2);
        m_backend->handler(99, EventType::keyDown);
        // An event queued before its hot key was unregistered.
        m_registry->removeHandler(kToggle);
        QCOMPARE(m_backend->registered.values(), QList<Shortcut>{kF5});
        m_backend->handler(1, EventType::keyDown);
        QCOMPARE(fired, 0);
        m_registry.reset();
        QVERIFY(m_backend->registered.isEmpty());
        QVERIFY(!m_backend->handler);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<FakeHotKeyBackend> m_backend;
    std::unique_ptr<Registry> m_registry;

    QString settingsPath() const { return m_dir->filePath(QStringLiteral("settings.ini")); }
};

QTEST_GUILESS_MAIN(TestShortcutRegistry)
#include "tst_shortcutregistry.moc"
