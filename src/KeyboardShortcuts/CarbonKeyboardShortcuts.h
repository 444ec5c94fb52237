#pragma once

#include "HotKeyBackend.h"
#include "Shortcut.h"

#include <QMap>

#include <functional>

namespace KeyboardShortcuts {

// The system hot keys behind the registry: one record per registration, under an id counted
// from 1 and never reused in a run.
class CarbonKeyboardShortcuts
{
public:
    struct HotKey
    {
        Shortcut shortcut;
        int carbonHotKeyId = 0;
    };
    using Handler = std::function<void(const Shortcut &shortcut, EventType type)>;

    // Takes over the backend's event handler; the handler receives the events of the hot keys
    // registered here.
    CarbonKeyboardShortcuts(HotKeyBackend &backend, Handler handler);
    ~CarbonKeyboardShortcuts();

    CarbonKeyboardShortcuts(const CarbonKeyboardShortcuts &) = delete;
    CarbonKeyboardShortcuts &operator=(const CarbonKeyboardShortcuts &) = delete;

    // A refused shortcut prints "Error registering hotkey <text>: <status>" and is not kept.
    bool registerShortcut(const Shortcut &shortcut);
    void unregisterShortcut(const Shortcut &shortcut);
    void unregisterAll();

    QList<HotKey> hotKeys() const { return m_hotKeys.values(); }
    int lastHotKeyId() const { return m_hotKeyIdCounter; }

private:
    void handleHotKeyEvent(int hotKeyId, EventType type);

    HotKeyBackend &m_backend;
    Handler m_handler;
    QMap<int, HotKey> m_hotKeys;
    int m_hotKeyIdCounter = 0;
};

} // namespace KeyboardShortcuts
