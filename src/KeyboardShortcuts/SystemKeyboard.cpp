#include "SystemKeyboard.h"

#include "x11/X11HotKeyBackend.h"
#include "x11/X11Keymap.h"

#include <QGuiApplication>

namespace KeyboardShortcuts {

SystemKeyboard SystemKeyboard::create()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (x11 && x11->connection()) {
        auto keymap = std::make_unique<X11Keymap>(x11->connection());
        auto hotKeys = std::make_unique<X11HotKeyBackend>(x11->connection(), *keymap);
        return SystemKeyboard{std::move(keymap), std::move(hotKeys)};
    }
    return SystemKeyboard{std::make_unique<UsKeyboardLayout>(),
                          std::make_unique<UnsupportedHotKeyBackend>()};
}

} // namespace KeyboardShortcuts
