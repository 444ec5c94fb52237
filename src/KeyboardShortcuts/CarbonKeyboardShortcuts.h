#pragma once

#include "HotKeyBackend.h"
#include "Shortcut.h"

#include <QHash>
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

    // Takes over the backend's handlers; the handler receives the events of the hot keys
    // registered here, and keymapChanged runs after the backend re-made its hot keys for a new
    // keymap (the ones it lost are gone from here by then).
    CarbonKeyboardShortcuts(HotKeyBackend &backend,
                            Handler handler,
                            std::function<void()> keymapChanged = {});
    ~CarbonKeyboardShortcuts();

    CarbonKeyboardShortcuts(const CarbonKeyboardShortcuts &) = delete;
    CarbonKeyboardShortcuts &operator=(const CarbonKeyboardShortcuts &) = delete;

    // A refused shortcut prints "Error registering hotkey <text>: <status>" (once while the
    // same refusal lasts) and is not kept.
    bool registerShortcut(const Shortcut &shortcut);
    void unregisterShortcut(const Shortcut &shortcut);
    void unregisterAll();
    // Whether the shortcut is registered with the system now.
    bool isRegistered(const Shortcut &shortcut) const;

    QList<HotKey> hotKeys() const { return m_hotKeys.values(); }
    int lastHotKeyId() const { return m_hotKeyIdCounter; }

private:
    void handleHotKeyEvent(int hotKeyId, EventType type);

    HotKeyBackend &m_backend;
    Handler m_handler;
    std::function<void()> m_keymapChanged;
    QMap<int, HotKey> m_hotKeys;
    QHash<Shortcut, int> m_reportedRefusals;
    int m_hotKeyIdCounter = 0;
};

} // namespace KeyboardShortcuts
