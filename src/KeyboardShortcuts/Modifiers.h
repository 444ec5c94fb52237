#pragma once

#include <QFlags>
#include <QStringList>
#include <Qt>

namespace KeyboardShortcuts {

// Modifier flags with the values of the toolkit flags the stored shortcuts were defined with;
// only these five survive a conversion. On Linux command is Super and option is Alt.
enum class ModifierFlag : quint32 {
    shift = 0x20000,
    control = 0x40000,
    option = 0x80000,
    command = 0x100000,
    function = 0x800000,
};
Q_DECLARE_FLAGS(ModifierFlags, ModifierFlag)

// The Carbon modifier mask bits, the stored form of a shortcut's modifiers.
namespace CarbonModifier {
inline constexpr qint64 command = 0x100;
inline constexpr qint64 shift = 0x200;
inline constexpr qint64 option = 0x800;
inline constexpr qint64 control = 0x1000;
inline constexpr qint64 function = 0x20000;
} // namespace CarbonModifier

// Other bits are dropped in both directions.
qint64 carbonModifiers(ModifierFlags flags);
ModifierFlags modifierFlags(qint64 carbonModifiers);

// Qt's names on X11: Ctrl is control, Alt is option, Meta (the Super key) is command.
// Qt has no function modifier; the keypad flag is not a modifier key.
qint64 carbonModifiers(Qt::KeyboardModifiers modifiers);
Qt::KeyboardModifiers qtModifiers(qint64 carbonModifiers);

// The names of the modifiers present as Linux users know them ("Ctrl", "Alt", "Shift",
// "Super", "Fn"), always in the order control, option, shift, command, function.
QStringList modifierNames(ModifierFlags flags);

} // namespace KeyboardShortcuts

Q_DECLARE_OPERATORS_FOR_FLAGS(KeyboardShortcuts::ModifierFlags)
