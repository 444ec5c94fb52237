#include "KeyboardShortcuts/KeyTable.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QTest>

using namespace KeyboardShortcuts;

Q_DECLARE_METATYPE(std::optional<KeyboardShortcuts::Shortcut>)

namespace {

// A German-like layout: Y and Z swapped, ß on the minus key, a dead circumflex on the backtick
// key, and scan code 55 on the V position.
class FakeLayout final : public KeyboardLayout
{
public:
    QString character(Key key) const override
    {
        if (key == Key::z)
            return QStringLiteral("y");
        if (key == Key::y)
            return QStringLiteral("z");
        if (key == Key::minus)
            return QStringLiteral("ß");
        if (key == Key::backtick)
            return QStringLiteral("^");
        if (key == Key::quote)
            return QStringLiteral("ä");
        if (key == Key::semicolon)
            return QStringLiteral("ab"); // not one character
        if (key == Key::comma)
            return QStringLiteral("𝔸"); // one character, two UTF-16 units
        return m_us.character(key);
    }
    std::optional<Key> keyForScanCode(quint32 nativeScanCode) const override
    {
        if (nativeScanCode == 55)
            return Key::v;
        return std::nullopt;
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
        QTest::newRow("no modifiers") << Key::one.rawValue << qint64(0) << QStringLiteral("1");
        QTest::newRow("unknown modifier bits are dropped")
            << Key::v.rawValue << (CarbonModifier::shift | 0x400 | 0x1)
            << QStringLiteral("Shift+V");
        QTest::newRow("punctuation")
            << Key::backtick.rawValue << CarbonModifier::control << QStringLiteral("Ctrl+`");
        QTest::newRow("special key glyph")
            << Key::return_.rawValue << CarbonModifier::command << QStringLiteral("Super+↩");
        QTest::newRow("space shows its name")
            << Key::space.rawValue << CarbonModifier::option << QStringLiteral("Alt+Space");
        QTest::newRow("keypad digit") << Key::keypad7.rawValue << qint64(0) << QStringLiteral("7⃣");
        QTest::newRow("modifier key has no character")
            << Key::command.rawValue << qint64(0) << QStringLiteral("\uFFFD");
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
        QTest::newRow("sharp s stays one character") << Key::minus << QStringLiteral("ß");
        QTest::newRow("accented letter upper-cased") << Key::quote << QStringLiteral("Ä");
        QTest::newRow("dead key") << Key::backtick << QStringLiteral("^");
        QTest::newRow("more than one character") << Key::semicolon << QStringLiteral("\uFFFD");
        QTest::newRow("character outside the BMP") << Key::comma << QStringLiteral("𝔸");
        QTest::newRow("special keys keep their glyph") << Key::tab << QStringLiteral("⇥");
    }

    void keyTextFollowsTheLayout()
    {
        QFETCH(Key, key);
        QFETCH(QString, expected);

        const FakeLayout layout;
        QCOMPARE(Shortcut(key, {}).keyText(layout), expected);

        // Installed as the current layout, the plain forms use it too.
        setCurrentKeyboardLayout(&layout);
        const QString installed = Shortcut(key, ModifierFlag::control).presentableDescription();
        setCurrentKeyboardLayout(nullptr);
        QCOMPARE(installed, u"Ctrl+" + expected);
    }

    void keyCapsAreOnePerKey()
    {
        const Shortcut shortcut(Key::z, ModifierFlag::command | ModifierFlag::option);
        QCOMPARE(shortcut.keyCaps(FakeLayout()),
                 QStringList({QStringLiteral("Alt"), QStringLiteral("Super"), QStringLiteral("Y")}));
        QCOMPARE(Shortcut(Key::f1, {}).keyCaps(FakeLayout()), QStringList{QStringLiteral("F1")});
    }

    void modifierConversion_data()
    {
        QTest::addColumn<qint64>("carbon");
        QTest::addColumn<quint32>("flags");
        QTest::addColumn<QStringList>("names");

        QTest::newRow("none") << qint64(0) << 0u << QStringList();
        QTest::newRow("shift and command")
            << qint64(0x300) << 0x120000u << QStringList{"Shift", "Super"};
        QTest::newRow("function") << qint64(0x20000) << 0x800000u << QStringList{"Fn"};
        QTest::newRow("all five") << kAllCarbonModifiers << 0x9E0000u
                                  << QStringList{"Ctrl", "Alt", "Shift", "Super", "Fn"};
    }

    void modifierConversion()
    {
        QFETCH(qint64, carbon);
        QFETCH(quint32, flags);
        QFETCH(QStringList, names);

        QCOMPARE(modifierFlags(carbon).toInt(), flags);
        QCOMPARE(carbonModifiers(ModifierFlags::fromInt(flags)), carbon);
        QCOMPARE(modifierNames(ModifierFlags::fromInt(flags)), names);
        // Bits that are no modifier (Caps Lock, device bits) are dropped both ways.
        QCOMPARE(modifierFlags(carbon | 0x400 | 0x1).toInt(), flags);
        QCOMPARE(carbonModifiers(ModifierFlags::fromInt(flags | 0x10000 | 0x1)), carbon);
    }

    void qtModifierConversion_data()
    {
        QTest::addColumn<Qt::KeyboardModifiers>("qt");
        QTest::addColumn<qint64>("carbon");

        QTest::newRow("none") << Qt::KeyboardModifiers() << qint64(0);
        QTest::newRow("Meta (Super) is command")
            << Qt::KeyboardModifiers(Qt::MetaModifier) << CarbonModifier::command;
        QTest::newRow("all four") << (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier
                                      | Qt::MetaModifier)
                                  << qint64(0x1B00);
    }

    void qtModifierConversion()
    {
        QFETCH(Qt::KeyboardModifiers, qt);
        QFETCH(qint64, carbon);

        QCOMPARE(carbonModifiers(qt), carbon);
        QCOMPARE(carbonModifiers(qt | Qt::KeypadModifier | Qt::GroupSwitchModifier), carbon);
        QCOMPARE(qtModifiers(carbon), qt);
        // Qt has no function modifier.
        QCOMPARE(qtModifiers(carbon | CarbonModifier::function), qt);
    }

    void jsonRoundTrip_data()
    {
        QTest::addColumn<Shortcut>("shortcut");

        QTest::newRow("default shortcut")
            << Shortcut(Key::v, ModifierFlag::command | ModifierFlag::shift);
        QTest::newRow("no modifiers") << Shortcut(Key::f5, {});
        QTest::newRow("unknown bits kept") << Shortcut(300, 0x301);
        QTest::newRow("negative and 64-bit values")
            << Shortcut(-5, std::numeric_limits<qint64>::max());
    }

    void jsonRoundTrip()
    {
        QFETCH(Shortcut, shortcut);
        QCOMPARE(Shortcut::fromJson(shortcut.toJson()), shortcut);
    }

    void jsonUsesTheStoredMemberNames()
    {
        const QByteArray json = Shortcut(Key::v, ModifierFlag::command | ModifierFlag::shift)
                                    .toJson();
        const QJsonObject object = QJsonDocument::fromJson(json).object();
        QCOMPARE(object.keys(), QStringList({"carbonKeyCode", "carbonModifiers"}));
        QCOMPARE(object.value("carbonKeyCode").toInteger(), 9);
        QCOMPARE(object.value("carbonModifiers").toInteger(), 768);
        // Written by another program, with other members and spacing.
        QCOMPARE(Shortcut::fromJson(
                     R"({ "carbonModifiers" : 256, "other": true, "carbonKeyCode": 0 })"),
                 Shortcut(Key::a, ModifierFlag::command));
    }

    void jsonThatIsNotAShortcut_data()
    {
        QTest::addColumn<QByteArray>("json");

        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray("\xff\xfe garbage");
        QTest::newRow("modifiers missing") << QByteArray(R"({"carbonKeyCode":9})");
        QTest::newRow("numbers as text")
            << QByteArray(R"({"carbonKeyCode":"9","carbonModifiers":"768"})");
        QTest::newRow("fraction") << QByteArray(R"({"carbonKeyCode":9.5,"carbonModifiers":768})");
        QTest::newRow("truncated") << QByteArray(R"({"carbonKeyCode":9,"carbonModifiers":7)");
        QTest::newRow("too large for 64 bits")
            << QByteArray(R"({"carbonKeyCode":1e30,"carbonModifiers":0})");
    }

    void jsonThatIsNotAShortcut()
    {
        QFETCH(QByteArray, json);
        QCOMPARE(Shortcut::fromJson(json), std::nullopt);
    }

    void qtKeys_data()
    {
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<qint64>("expected"); // -1: none

        const Qt::KeyboardModifiers none;
        const Qt::KeyboardModifiers keypad = Qt::KeypadModifier;
        QTest::newRow("letter") << int(Qt::Key_V) << none << Key::v.rawValue;
        QTest::newRow("shifted digit") << int(Qt::Key_Exclam) << none << Key::one.rawValue;
        QTest::newRow("shifted punctuation")
            << int(Qt::Key_Question) << none << Key::slash.rawValue;
        QTest::newRow("keypad digit") << int(Qt::Key_5) << keypad << Key::keypad5.rawValue;
        QTest::newRow("keypad without Num Lock")
            << int(Qt::Key_Home) << keypad << Key::keypad7.rawValue;
        QTest::newRow("keypad operator")
            << int(Qt::Key_Asterisk) << keypad << Key::keypadMultiply.rawValue;
        QTest::newRow("main block asterisk")
            << int(Qt::Key_Asterisk) << none << Key::eight.rawValue;
        QTest::newRow("enter") << int(Qt::Key_Enter) << keypad << Key::keypadEnter.rawValue;
        QTest::newRow("shift+tab") << int(Qt::Key_Backtab) << none << Key::tab.rawValue;
        QTest::newRow("backspace is delete")
            << int(Qt::Key_Backspace) << none << Key::delete_.rawValue;
        QTest::newRow("delete is forward delete")
            << int(Qt::Key_Delete) << none << Key::deleteForward.rawValue;
        QTest::newRow("F20") << int(Qt::Key_F20) << none << Key::f20.rawValue;
        QTest::newRow("Super") << int(Qt::Key_Super_L) << none << Key::command.rawValue;
        QTest::newRow("F21 has no key") << int(Qt::Key_F21) << none << qint64(-1);
        QTest::newRow("Print has no key") << int(Qt::Key_Print) << none << qint64(-1);
    }

    void qtKeys()
    {
        QFETCH(int, qtKey);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(qint64, expected);

        const std::optional<Key> key = keyForQtKey(qtKey, modifiers);
        QCOMPARE(key ? key->rawValue : -1, expected);
    }

    void keyEvents_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<quint32>("scanCode");
        QTest::addColumn<std::optional<Shortcut>>("expected");

        const auto press = int(QEvent::KeyPress);
        QTest::newRow("press") << press << int(Qt::Key_V) << (Qt::ShiftModifier | Qt::MetaModifier)
                               << 0u << std::optional(Shortcut(9, 0x300));
        QTest::newRow("release") << int(QEvent::KeyRelease) << int(Qt::Key_F5)
                                 << Qt::KeyboardModifiers(Qt::ControlModifier) << 0u
                                 << std::optional(Shortcut(Key::f5, ModifierFlag::control));
        QTest::newRow("keypad flag is no modifier")
            << press << int(Qt::Key_Enter) << Qt::KeyboardModifiers(Qt::KeypadModifier) << 0u
            << std::optional(Shortcut(Key::keypadEnter, {}));
        QTest::newRow("the scan code's position wins over the Qt key")
            << press << int(Qt::Key_Z) << Qt::KeyboardModifiers() << 55u
            << std::optional(Shortcut(Key::v, {}));
        QTest::newRow("unknown scan code falls back to the Qt key")
            << press << int(Qt::Key_Z) << Qt::KeyboardModifiers() << 999u
            << std::optional(Shortcut(Key::z, {}));
        QTest::newRow("key outside the table")
            << press << int(Qt::Key_Print) << Qt::KeyboardModifiers() << 0u
            << std::optional<Shortcut>();
        QTest::newRow("shortcut override is no key event")
            << int(QEvent::ShortcutOverride) << int(Qt::Key_V) << Qt::KeyboardModifiers() << 0u
            << std::optional<Shortcut>();
    }

    void keyEvents()
    {
        QFETCH(int, type);
        QFETCH(int, qtKey);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(quint32, scanCode);
        QFETCH(std::optional<Shortcut>, expected);

        const QKeyEvent event(QEvent::Type(type), qtKey, modifiers, scanCode, 0, 0);
        QCOMPARE(Shortcut::fromEvent(event, FakeLayout()), expected);
    }
};

QTEST_GUILESS_MAIN(TestShortcut)
#include "tst_shortcut.moc"
