#include "KeyboardShortcuts/KeyTable.h"
#include "KeyboardShortcuts/Notifier.h"
#include "KeyboardShortcuts/Shortcut.h"
#include "common/TestShortcuts.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QSignalSpy>
#include <QTest>
#include <memory>

using namespace KeyboardShortcuts;

using OptionalShortcut = std::optional<KeyboardShortcuts::Shortcut>;
Q_DECLARE_METATYPE(OptionalShortcut)

namespace {

// A layout with Y and Z swapped and a text of two characters on the semicolon key, and scan
// code 55 on the V position.
class FakeLayout final : public KeyboardLayout
{
public:
    QString character(Key key) const override
    {
        const QHash<qint64, QString> german{{Key::z.rawValue, "y"},
                                            {Key::y.rawValue, "z"},
                                            {Key::semicolon.rawValue, "ab"}};
        return german.contains(key.rawValue) ? german.value(key.rawValue) : m_us.character(key);
    }
    std::optional<Key> keyForScanCode(quint32 nativeScanCode) const override
    {
        return nativeScanCode == 55 ? std::optional(Key::v) : std::nullopt;
    }

private:
    UsKeyboardLayout m_us;
};

constexpr qint64 kAllCarbonModifiers = CarbonModifier::control | CarbonModifier::option
                                       | CarbonModifier::shift | CarbonModifier::command
                                       | CarbonModifier::function;

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

// Shortcuts: their texts, conversions and storage form, key events, and the registry that stores
// them and dispatches their hot keys.
class TestShortcut : public QObject
{
    Q_OBJECT

private slots:
    void init() { r = std::make_unique<TestShortcuts>(); }

    void displayText_data()
    {
        QTest::addColumn<qint64>("keyCode");
        QTest::addColumn<qint64>("modifiers");
        QTest::addColumn<QString>("expected");

        QTest::newRow("all five modifiers in display order")
            << Key::a.rawValue << kAllCarbonModifiers
            << QStringLiteral("Ctrl+Alt+Shift+Super+Fn+A");
        QTest::newRow("special key glyph")
            << Key::return_.rawValue << CarbonModifier::command << QStringLiteral("Super+↩");
        QTest::newRow("key code outside the table")
            << qint64(200) << CarbonModifier::shift << QStringLiteral("Shift+\uFFFD");
    }
    void displayText()
    {
        QFETCH(qint64, keyCode);
        QFETCH(qint64, modifiers);
        QFETCH(QString, expected);
        const Shortcut shortcut(keyCode, modifiers);
        QCOMPARE(shortcut.presentableDescription(UsKeyboardLayout()), expected);
        // With no layout installed the US layout is used.
        QCOMPARE(shortcut.description(), expected);
    }

    void keyTextFollowsTheLayout_data()
    {
        QTest::addColumn<Key>("key");
        QTest::addColumn<QString>("expected");
        QTest::newRow("the layout's letter, not the position's") << Key::z << QStringLiteral("Y");
        QTest::newRow("more than one character") << Key::semicolon << QStringLiteral("\uFFFD");
    }
    void keyTextFollowsTheLayout()
    {
        QFETCH(Key, key);
        QFETCH(QString, expected);
        const FakeLayout layout;
        QCOMPARE(Shortcut(key, {}).keyText(layout), expected);
        QCOMPARE(Shortcut(key, ModifierFlag::command).keyCaps(layout),
                 QStringList({QStringLiteral("Super"), expected}));
        // Installed as the current layout, the plain forms use it too.
        setCurrentKeyboardLayout(&layout);
        const QString installed = Shortcut(key, ModifierFlag::control).presentableDescription();
        setCurrentKeyboardLayout(nullptr);
        QCOMPARE(installed, u"Ctrl+" + expected);
    }

    // All five modifiers; Qt has no function modifier.
    void modifierConversion()
    {
        const qint64 carbon = kAllCarbonModifiers;
        const quint32 flags = 0x9E0000u;
        const QStringList names{"Ctrl", "Alt", "Shift", "Super", "Fn"};
        const Qt::KeyboardModifiers qt = Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier
                                         | Qt::MetaModifier;
        QCOMPARE(modifierFlags(carbon).toInt(), flags);
        QCOMPARE(carbonModifiers(ModifierFlags::fromInt(flags)), carbon);
        QCOMPARE(modifierNames(ModifierFlags::fromInt(flags)), names);
        QCOMPARE(qtModifiers(carbon), qt);
        // Bits that are no modifier (Caps Lock, device bits, keypad) are dropped every way.
        QCOMPARE(modifierFlags(carbon | 0x400 | 0x1).toInt(), flags);
        QCOMPARE(carbonModifiers(ModifierFlags::fromInt(flags | 0x10000 | 0x1)), carbon);
        QCOMPARE(carbonModifiers(qt | Qt::KeypadModifier | Qt::GroupSwitchModifier),
                 carbon & ~CarbonModifier::function);
    }

    void jsonUsesTheStoredMemberNames()
    {
        const Shortcut shortcut(Key::v, ModifierFlag::command | ModifierFlag::shift);
        const QJsonObject object = QJsonDocument::fromJson(shortcut.toJson()).object();
        QCOMPARE(object.keys(), QStringList({"carbonKeyCode", "carbonModifiers"}));
        QCOMPARE(object.value("carbonKeyCode").toInteger(), 9);
        QCOMPARE(object.value("carbonModifiers").toInteger(), 768);
        // Written by another program, with other members and spacing.
        QCOMPARE(Shortcut::fromJson(
                     R"({ "carbonModifiers" : 256, "other": true, "carbonKeyCode": 0 })"),
                 Shortcut(Key::a, ModifierFlag::command));
        // Whatever is stored comes back, unknown bits and 64-bit values too.
        for (const Shortcut &stored : {shortcut, Shortcut(-5, std::numeric_limits<qint64>::max())})
            QCOMPARE(Shortcut::fromJson(stored.toJson()), stored);
    }

    void jsonThatIsNotAShortcut_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("garbage") << QByteArray("\xff\xfe garbage");
        QTest::newRow("modifiers missing") << QByteArray(R"({"carbonKeyCode":9})");
        QTest::newRow("too large for 64 bits")
            << QByteArray(R"({"carbonKeyCode":1e30,"carbonModifiers":0})");
    }
    void jsonThatIsNotAShortcut()
    {
        QFETCH(QByteArray, json);
        QCOMPARE(Shortcut::fromJson(json), std::nullopt);
    }

    void keyEvents_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<quint32>("scanCode");
        QTest::addColumn<OptionalShortcut>("expected");

        const int press = QEvent::KeyPress;
        const Qt::KeyboardModifiers none;
        const Qt::KeyboardModifiers keypad = Qt::KeypadModifier;
        const auto key = [](Key key, ModifierFlags flags = {}) {
            return OptionalShortcut(Shortcut(key, flags));
        };
        QTest::newRow("press") << press << int(Qt::Key_V) << (Qt::ShiftModifier | Qt::MetaModifier)
                               << 0u << OptionalShortcut(Shortcut(9, 0x300));
        QTest::newRow("release") << int(QEvent::KeyRelease) << int(Qt::Key_F5)
                                 << (none | Qt::ControlModifier) << 0u
                                 << key(Key::f5, ModifierFlag::control);
        QTest::newRow("the scan code's position wins over the Qt key")
            << press << int(Qt::Key_Z) << none << 55u << key(Key::v);
        QTest::newRow("unknown scan code falls back to the Qt key")
            << press << int(Qt::Key_Z) << none << 999u << key(Key::z);
        QTest::newRow("shifted digit")
            << press << int(Qt::Key_Exclam) << none << 0u << key(Key::one);
        QTest::newRow("keypad without Num Lock")
            << press << int(Qt::Key_Home) << keypad << 0u << key(Key::keypad7);
        QTest::newRow("F21 has no key")
            << press << int(Qt::Key_F21) << none << 0u << OptionalShortcut();
        QTest::newRow("shortcut override is no key event")
            << int(QEvent::ShortcutOverride) << int(Qt::Key_V) << none << 0u << OptionalShortcut();
    }
    void keyEvents()
    {
        QFETCH(int, type);
        QFETCH(int, qtKey);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(quint32, scanCode);
        QFETCH(OptionalShortcut, expected);
        const QKeyEvent event(QEvent::Type(type), qtKey, modifiers, scanCode, 0, 0);
        QCOMPARE(Shortcut::fromEvent(event, FakeLayout()), expected);
    }

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

    void storedValueThatIsNotAShortcut()
    {
        r->settings.setValue(QStringLiteral("KeyboardShortcuts_toggleOverlay"),
                             QStringLiteral("not json"));
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
        // Retried at a new keymap and refused for the same reason: not printed again.
        QTest::failOnWarning("Error registering hotkey Ctrl+Alt+K: 10");
        r->registry.retryRefused();
        QVERIFY(!r->registry.isEnabled(kOther));
        QCOMPARE(r->backend.attempts.size(), 3);

        // Not retried on every change of another name.
        r->registry.setShortcut(kF5, kToggle);
        QCOMPARE(r->backend.attempts.size(), 4);
        // Once nobody wants it any more, wanting it again tries again.
        r->backend.refusals.clear();
        r->registry.setShortcut(std::nullopt, kOther);
        r->registry.setShortcut(kCtrlAltK, kOther);
        QVERIFY(r->registry.isEnabled(kOther));
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

QTEST_GUILESS_MAIN(TestShortcut)
#include "tst_shortcut.moc"
