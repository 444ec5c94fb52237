#pragma once

#include "Key.h"

#include <QString>

#include <optional>

namespace KeyboardShortcuts {

// The desktop's current keyboard layout, as far as shortcuts need it.
class KeyboardLayout
{
public:
    virtual ~KeyboardLayout() = default;

    // The one character the key at this position types without modifiers in the current
    // layout; empty when it types none (modifier and media keys, unknown positions).
    virtual QString character(Key key) const = 0;
    // The key at a native scan code (the X keycode on X11); none when unknown.
    virtual std::optional<Key> keyForScanCode(quint32 nativeScanCode) const = 0;
    // Whether the key types a character, plain or with Shift, in any of the layouts the user
    // can switch to; a shortcut of Shift and such a key would take that character away.
    virtual bool typesCharacterInAnyLayout(Key key) const { return !character(key).isEmpty(); }
};

// The US layout, from the key table alone: used where the desktop's layout cannot be read.
class UsKeyboardLayout final : public KeyboardLayout
{
public:
    QString character(Key key) const override;
    std::optional<Key> keyForScanCode(quint32 nativeScanCode) const override;
};

// The layout display text and key events are read with: the installed one, else the US layout.
// The caller keeps the installed layout alive until it installs another or nullptr.
const KeyboardLayout &currentKeyboardLayout();
void setCurrentKeyboardLayout(const KeyboardLayout *layout);

} // namespace KeyboardShortcuts
