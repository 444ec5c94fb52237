#pragma once

#include "KeyboardShortcuts/HotKeyBackend.h"

#include <QHash>
#include <QList>
#include <QMap>

// Records registrations and delivers presses the way the system would: to every hot key
// registered for the pressed shortcut. Shortcuts in refusals are refused with their status.
class FakeHotKeyBackend final : public KeyboardShortcuts::HotKeyBackend
{
public:
    struct Attempt
    {
        int id;
        KeyboardShortcuts::Shortcut shortcut;
    };

    QList<Attempt> attempts;
    QMap<int, KeyboardShortcuts::Shortcut> registered;
    QHash<KeyboardShortcuts::Shortcut, int> refusals;
    EventHandler handler;
    KeymapChangedHandler keymapChanged;

    int registerHotKey(int hotKeyId, const KeyboardShortcuts::Shortcut &shortcut) override
    {
        attempts.append({hotKeyId, shortcut});
        if (const int status = refusals.value(shortcut); status != 0)
            return status;
        registered.insert(hotKeyId, shortcut);
        return 0;
    }
    void unregisterHotKey(int hotKeyId) override { registered.remove(hotKeyId); }
    void setEventHandler(EventHandler eventHandler) override { handler = std::move(eventHandler); }
    void setKeymapChangedHandler(KeymapChangedHandler changed) override
    {
        keymapChanged = std::move(changed);
    }

    // A new keymap on which the refused shortcuts cannot be grabbed again: they are dropped.
    void changeKeymap()
    {
        QList<int> dropped;
        for (auto it = registered.begin(); it != registered.end();) {
            if (refusals.value(*it) != 0) {
                dropped.append(it.key());
                it = registered.erase(it);
            } else {
                ++it;
            }
        }
        if (keymapChanged)
            keymapChanged(dropped);
    }

    void send(const KeyboardShortcuts::Shortcut &shortcut, KeyboardShortcuts::EventType type)
    {
        const QList<int> ids = registered.keys(shortcut);
        for (const int id : ids)
            handler(id, type);
    }
    void press(const KeyboardShortcuts::Shortcut &shortcut)
    {
        send(shortcut, KeyboardShortcuts::EventType::keyDown);
        send(shortcut, KeyboardShortcuts::EventType::keyUp);
    }
};
