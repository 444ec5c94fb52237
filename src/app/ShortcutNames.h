#pragma once

#include "KeyboardShortcuts/Name.h"

// The application's named global shortcuts.
namespace ShortcutNames {

// Opens and closes the overlay; Shift+Super+V until the user picks another.
inline const KeyboardShortcuts::Name toggleOverlay(
    QStringLiteral("toggleOverlay"),
    KeyboardShortcuts::Shortcut(KeyboardShortcuts::Key::v,
                                KeyboardShortcuts::ModifierFlag::command
                                    | KeyboardShortcuts::ModifierFlag::shift));

} // namespace ShortcutNames
