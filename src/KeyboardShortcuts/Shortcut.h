#pragma once

#include "Key.h"
#include "KeyboardLayout.h"
#include "Modifiers.h"

#include <QByteArray>
#include <QHashFunctions>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <optional>

class QDebug;
class QKeyEvent;

namespace KeyboardShortcuts {

// A key and its modifier keys, in the encoding stored in the settings: the Carbon key code and
// the Carbon modifier mask. Values are kept as given; only the Key/ModifierFlags constructor
// normalises.
struct Shortcut
{
    qint64 carbonKeyCode = 0;
    qint64 carbonModifiers = 0;

    constexpr Shortcut() = default;
    constexpr Shortcut(qint64 keyCode, qint64 modifiers)
        : carbonKeyCode(keyCode)
        , carbonModifiers(modifiers)
    {}
    // Keeps only the five known modifiers.
    Shortcut(Key key, ModifierFlags modifiers);

    // The shortcut a key press or release makes; none for other events and for keys outside
    // the key table. Never carries the function modifier.
    static std::optional<Shortcut> fromEvent(const QKeyEvent &event, const KeyboardLayout &layout);
    static std::optional<Shortcut> fromEvent(const QKeyEvent &event);

    Key key() const { return Key(carbonKeyCode); }
    ModifierFlags modifiers() const { return modifierFlags(carbonModifiers); }

    // The key's part of the display text: a special key's glyph, else the layout's unshifted
    // character upper-cased, else "\uFFFD".
    QString keyText(const KeyboardLayout &layout) const;
    QString keyText() const;
    // One text per key to press: the modifier names in display order, then the key.
    QStringList keyCaps(const KeyboardLayout &layout) const;
    QStringList keyCaps() const;
    // The key caps joined by "+", as in "Shift+Super+V".
    QString presentableDescription(const KeyboardLayout &layout) const;
    QString presentableDescription() const;
    QString description() const { return presentableDescription(); }

    // The stored form: {"carbonKeyCode":9,"carbonModifiers":768}.
    QByteArray toJson() const;
    // None unless the text is a JSON object with both members as whole numbers.
    static std::optional<Shortcut> fromJson(const QByteArray &json);

    friend constexpr bool operator==(const Shortcut &a, const Shortcut &b) = default;
    friend size_t qHash(const Shortcut &shortcut, size_t seed = 0)
    {
        return qHashMulti(seed, shortcut.carbonKeyCode, shortcut.carbonModifiers);
    }
};

QDebug operator<<(QDebug debug, const Shortcut &shortcut);

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::Shortcut)
