#pragma once

#include "HotKeyBackend.h"
#include "KeyboardLayout.h"

#include <memory>

namespace KeyboardShortcuts {

// The desktop's keyboard layout and hot-key service: X11's when the application runs on the
// xcb platform, otherwise the US layout and a backend that refuses every hot key.
// Make it after the application object, and drop it before.
struct SystemKeyboard
{
    std::unique_ptr<KeyboardLayout> layout;
    // Declared after the layout it may use, so it goes first.
    std::unique_ptr<HotKeyBackend> hotKeys;

    static SystemKeyboard create();
};

} // namespace KeyboardShortcuts
