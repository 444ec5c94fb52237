#pragma once

#include "Name.h"
#include "Shortcut.h"

#include <QList>

#include <functional>

namespace KeyboardShortcuts {

// The desktop's service for system-wide hot keys. Ids are chosen by the caller and unique
// within a run.
class HotKeyBackend
{
public:
    using EventHandler = std::function<void(int hotKeyId, EventType type)>;
    // After the keyboard's mapping changed and the backend made its hot keys again: those it
    // could not make (the key is gone, or another program holds it by now) are dropped and
    // named here.
    using KeymapChangedHandler = std::function<void(const QList<int> &droppedHotKeyIds)>;

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
    // Backends whose hot keys do not depend on the keymap never call it.
    virtual void setKeymapChangedHandler(KeymapChangedHandler handler) { Q_UNUSED(handler); }
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
