#pragma once

#include "Key.h"
#include "KeyboardLayout.h"

#include <QtGlobal>

#include <optional>
#include <span>

class QKeyEvent;

namespace KeyboardShortcuts {

// One key position: its Carbon key code, the XKB name of the same position (the name is the
// same whatever the layout, so a shortcut stays on its physical key) and the keysym it types
// on a US layout, used when the keyboard has no key of that name.
struct KeyTableRow
{
    qint64 carbonKeyCode;
    const char *xkbKeyName; // nullptr: no such position on PC keyboards
    quint32 keysym;         // 0: none
};

std::span<const KeyTableRow> keyTable();
const KeyTableRow *keyTableRow(Key key);
const KeyTableRow *keyTableRowForXkbName(const char *name);
const KeyTableRow *keyTableRowForKeysym(quint32 keysym);

// The key of a Qt key code as on a US layout; the keypad flag tells keypad keys from the main
// block. Letters and the shifted symbols map to their key (Qt::Key_Exclam is Key::one).
std::optional<Key> keyForQtKey(int qtKey, Qt::KeyboardModifiers modifiers);

// The key of a key event: by its native scan code in the layout when it has one (the key's
// position), otherwise by its Qt key code. None for keys outside the table.
std::optional<Key> keyFromEvent(const QKeyEvent &event, const KeyboardLayout &layout);
std::optional<Key> keyFromEvent(const QKeyEvent &event);

} // namespace KeyboardShortcuts
