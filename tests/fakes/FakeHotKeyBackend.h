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
