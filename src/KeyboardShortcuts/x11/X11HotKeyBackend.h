#pragma once

#include "KeyboardShortcuts/HotKeyBackend.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>

struct xcb_connection_t;

namespace KeyboardShortcuts {

class X11Keymap;

// System-wide hot keys as passive key grabs on every root window, on Qt's own connection.
// A grab is made for each combination of Caps Lock and Num Lock, since X matches modifiers
// exactly; if any of them is refused (BadAccess: another client holds the key) none is kept.
// Presses and releases arrive through a native event filter and reach the handler from the
// event loop, after Qt has seen the event's time.
//
// While one of the application's own popups holds the keyboard, X gives no passive grab; the
// key then comes to the popup's window, and the filter takes it there instead.
class X11HotKeyBackend final : public QObject,
                               public HotKeyBackend,
                               public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    // The keymap must outlive the backend.
    X11HotKeyBackend(xcb_connection_t *connection, X11Keymap &keymap, QObject *parent = nullptr);
    ~X11HotKeyBackend() override;

    int registerHotKey(int hotKeyId, const Shortcut &shortcut) override;
    void unregisterHotKey(int hotKeyId) override;
    void setEventHandler(EventHandler handler) override;
    void setKeymapChangedHandler(KeymapChangedHandler handler) override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    struct Grab
    {
        quint8 keycode = 0;
        quint16 modifiers = 0;
        quint16 numLock = 0; // the Num Lock bit the grab was made with
        friend bool operator==(const Grab &, const Grab &) = default;
    };
    struct HotKey
    {
        Shortcut shortcut;
        Grab grab;
    };

    std::optional<Grab> resolve(const Shortcut &shortcut) const;
    QList<quint16> lockVariants(const Grab &grab) const;
    int grab(const Grab &grab);
    void ungrab(const Grab &grab);
    void regrabAll();
    void forgetPresses(int hotKeyId);
    bool isKeyDown(quint8 keycode) const;
    void deliver(int hotKeyId, EventType type);

    xcb_connection_t *m_connection;
    X11Keymap &m_keymap;
    QList<quint32> m_roots;
    QMap<int, HotKey> m_hotKeys;
    struct Press
    {
        int hotKeyId = 0;
        quint32 lastTime = 0; // of the press or its latest repeat
    };
    // The hot key each held keycode pressed, so that its release (whatever modifiers are left
    // by then) and the key's auto-repeat are recognised.
    QHash<quint8, Press> m_pressed;
    QHash<quint8, quint32> m_lastReleaseTimes;
    EventHandler m_handler;
    KeymapChangedHandler m_keymapChanged;
};

} // namespace KeyboardShortcuts
