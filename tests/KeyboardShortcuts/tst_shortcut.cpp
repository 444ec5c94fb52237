#include "KeyboardShortcuts/KeyTable.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QTest>

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

} // namespace

class TestShortcut : public QObject
{
    Q_OBJECT

private slots:
    void displayText_data()
    {
        QTest::addColumn<qint64>("keyCode");
        QTest::addColumn<qint64>("modifiers");
        QTest::addColumn<QString>("expected");

        QTest::newRow("shift before command, letter upper-cased")
            << Key::v.rawValue << (CarbonModifier::command | CarbonModifier::shift)
            << QStringLiteral("Shift+Super+V");
        QTest::newRow("all five modifiers in display order")
            << Key::a.rawValue << kAllCarbonModifiers
            << QStringLiteral("Ctrl+Alt+Shift+Super+Fn+A");
        QTest::newRow("special key glyph")
            << Key::return_.rawValue << CarbonModifier::command << QStringLiteral("Super+↩");
        QTest::newRow("space shows its name")
            << Key::space.rawValue << CarbonModifier::option << QStringLiteral("Alt+Space");
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
        QTest::newRow("special keys keep their glyph") << Key::tab << QStringLiteral("⇥");
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

    void modifierConversion_data()
    {
        QTest::addColumn<qint64>("carbon");
        QTest::addColumn<quint32>("flags");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<Qt::KeyboardModifiers>("qt");
        QTest::newRow("shift and command")
            << qint64(0x300) << 0x120000u << QStringList{"Shift", "Super"}
            << (Qt::ShiftModifier | Qt::MetaModifier);
        QTest::newRow("control, option, command")
            << qint64(0x1900) << 0x1C0000u << QStringList{"Ctrl", "Alt", "Super"}
            << (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
        QTest::newRow("all five, Qt has no function modifier")
            << kAllCarbonModifiers << 0x9E0000u
            << QStringList{"Ctrl", "Alt", "Shift", "Super", "Fn"}
            << (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier);
    }
    void modifierConversion()
    {
        QFETCH(qint64, carbon);
        QFETCH(quint32, flags);
        QFETCH(QStringList, names);
        QFETCH(Qt::KeyboardModifiers, qt);
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
        QTest::newRow("numbers as text")
            << QByteArray(R"({"carbonKeyCode":"9","carbonModifiers":"768"})");
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
        QTest::newRow("shift+tab") << press << int(Qt::Key_Backtab) << none << 0u << key(Key::tab);
        QTest::newRow("backspace is delete")
            << press << int(Qt::Key_Backspace) << none << 0u << key(Key::delete_);
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
};

QTEST_GUILESS_MAIN(TestShortcut)
#include "tst_shortcut.moc"
