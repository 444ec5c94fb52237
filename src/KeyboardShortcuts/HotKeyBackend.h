#pragma once

#include "Name.h"
#include "Shortcut.h"

#include <functional>

namespace KeyboardShortcuts {

// The desktop's service for system-wide hot keys. Ids are chosen by the caller and unique
// within a run.
class HotKeyBackend
{
public:
    using EventHandler = std::function<void(int hotKeyId, EventType type)>;

    // The status a backend returns when the desktop offers no system-wide hot keys at all.
    static constexpr int kUnsupported = -1;

    virtual ~HotKeyBackend() = default;

    // 0 when the hot key is registered; otherwise the system's status (on X11 the protocol
    // error, BadAccess (10) when another program holds the key) and nothing is registered.
    virtual int registerHotKey(int hotKeyId, const Shortcut &shortcut) = 0;
    // Unknown ids are ignored.
    virtual void unregisterHotKey(int hotKeyId) = 0;
    // Presses and releases of registered hot keys, on the main thread.
    virtual void setEventHandler(EventHandler handler) = 0;
};

// For desktops without global key grabs (Wayland, the offscreen platform): refuses everything.
class UnsupportedHotKeyBackend final : public HotKeyBackend
{
public:
    int registerHotKey(int, const Shortcut &) override { return kUnsupported; }
    void unregisterHotKey(int) override {}
    void setEventHandler(EventHandler) override {}
};

} // namespace KeyboardShortcuts
