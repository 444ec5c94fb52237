#include "Key.h"

#include <QCoreApplication>

#include <array>

namespace KeyboardShortcuts {

namespace {

// In the order of SpecialKey.
constexpr std::array<Key, kSpecialKeyCount> kSpecialKeys = {
    Key::return_,
    Key::delete_,
    Key::deleteForward,
    Key::end,
    Key::escape,
    Key::help,
    Key::home,
    Key::space,
    Key::tab,
    Key::pageUp,
    Key::pageDown,
    Key::upArrow,
    Key::rightArrow,
    Key::downArrow,
    Key::leftArrow,
    Key::f1,
    Key::f2,
    Key::f3,
    Key::f4,
    Key::f5,
    Key::f6,
    Key::f7,
    Key::f8,
    Key::f9,
    Key::f10,
    Key::f11,
    Key::f12,
    Key::f13,
    Key::f14,
    Key::f15,
    Key::f16,
    Key::f17,
    Key::f18,
    Key::f19,
    Key::f20,
    Key::keypad0,
    Key::keypad1,
    Key::keypad2,
    Key::keypad3,
    Key::keypad4,
    Key::keypad5,
    Key::keypad6,
    Key::keypad7,
    Key::keypad8,
    Key::keypad9,
    Key::keypadClear,
    Key::keypadDecimal,
    Key::keypadDivide,
    Key::keypadEnter,
    Key::keypadEquals,
    Key::keypadMinus,
    Key::keypadMultiply,
    Key::keypadPlus,
};

// A keypad key shows its own symbol inside a keycap (combining enclosing keycap).
QString keycap(QChar symbol)
{
    return QString(symbol) + QChar(0x20E3);
}

} // namespace

std::optional<SpecialKey> specialKey(Key key)
{
    for (int index = 0; index < kSpecialKeyCount; ++index) {
        if (kSpecialKeys[index] == key)
            return SpecialKey(index);
    }
    return std::nullopt;
}

QString pcKeyName(Key key)
{
    if (key == Key::insert)
        return QStringLiteral("Insert");
    if (key == Key::printScreen)
        return QStringLiteral("Print");
    if (key == Key::scrollLock)
        return QStringLiteral("Scroll Lock");
    if (key == Key::pause)
        return QStringLiteral("Pause");
    if (key == Key::menu)
        return QStringLiteral("Menu");
    return {};
}

Key keyOf(SpecialKey special)
{
    return kSpecialKeys[int(special)];
}

QString presentableDescription(SpecialKey special)
{
    switch (special) {
    case SpecialKey::return_:
        return QStringLiteral("↩");
    case SpecialKey::delete_:
        return QStringLiteral("⌫");
    case SpecialKey::deleteForward:
        return QStringLiteral("⌦");
    case SpecialKey::end:
        return QStringLiteral("↘");
    case SpecialKey::escape:
        return QStringLiteral("⎋");
    case SpecialKey::help:
        return QStringLiteral("?⃝");
    case SpecialKey::home:
        return QStringLiteral("↖");
    case SpecialKey::space: {
        QString name = QCoreApplication::translate("KeyboardShortcuts", "space");
        if (!name.isEmpty())
            name[0] = name[0].toTitleCase();
        return name;
    }
    case SpecialKey::tab:
        return QStringLiteral("⇥");
    case SpecialKey::pageUp:
        return QStringLiteral("⇞");
    case SpecialKey::pageDown:
        return QStringLiteral("⇟");
    case SpecialKey::upArrow:
        return QStringLiteral("↑");
    case SpecialKey::rightArrow:
        return QStringLiteral("→");
    case SpecialKey::downArrow:
        return QStringLiteral("↓");
    case SpecialKey::leftArrow:
        return QStringLiteral("←");
    case SpecialKey::f1:
    case SpecialKey::f2:
    case SpecialKey::f3:
    case SpecialKey::f4:
    case SpecialKey::f5:
    case SpecialKey::f6:
    case SpecialKey::f7:
    case SpecialKey::f8:
    case SpecialKey::f9:
    case SpecialKey::f10:
    case SpecialKey::f11:
    case SpecialKey::f12:
    case SpecialKey::f13:
    case SpecialKey::f14:
    case SpecialKey::f15:
    case SpecialKey::f16:
    case SpecialKey::f17:
    case SpecialKey::f18:
    case SpecialKey::f19:
    case SpecialKey::f20:
        return u'F' + QString::number(int(special) - int(SpecialKey::f1) + 1);
    case SpecialKey::keypad0:
    case SpecialKey::keypad1:
    case SpecialKey::keypad2:
    case SpecialKey::keypad3:
    case SpecialKey::keypad4:
    case SpecialKey::keypad5:
    case SpecialKey::keypad6:
    case SpecialKey::keypad7:
    case SpecialKey::keypad8:
    case SpecialKey::keypad9:
        return keycap(QChar(u'0' + (int(special) - int(SpecialKey::keypad0))));
    // Clear and Enter share one glyph on purpose.
    case SpecialKey::keypadClear:
    case SpecialKey::keypadEnter:
        return QStringLiteral("☒⃣");
    case SpecialKey::keypadDecimal:
        return keycap(u'.');
    case SpecialKey::keypadDivide:
        return keycap(u'/');
    case SpecialKey::keypadEquals:
        return keycap(u'=');
    case SpecialKey::keypadMinus:
        return keycap(u'-');
    case SpecialKey::keypadMultiply:
        return keycap(u'*');
    case SpecialKey::keypadPlus:
        return keycap(u'+');
    }
    Q_UNREACHABLE();
    return {};
}

} // namespace KeyboardShortcuts
