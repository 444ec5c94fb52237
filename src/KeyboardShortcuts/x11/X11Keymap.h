#pragma once

#include "KeyboardShortcuts/KeyboardLayout.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace KeyboardShortcuts {

// The X server's keyboard as XKB describes it, read on Qt's connection: key positions by
// their XKB names, the characters of the current layout and group, and the real modifier bits
// that Alt, Super and Num Lock sit on. Reloaded when the server announces a new keymap.
class X11Keymap final : public QObject, public KeyboardLayout, public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    explicit X11Keymap(xcb_connection_t *connection, QObject *parent = nullptr);
    ~X11Keymap() override;

    QString character(Key key) const override;
    std::optional<Key> keyForScanCode(quint32 nativeScanCode) const override;
    bool typesCharacterInAnyLayout(Key key) const override;

    // The X keycode of the key's position; none when this keyboard has no such key.
    std::optional<quint8> keycode(Key key) const;
    // The core modifier bits of a Carbon mask; none when one has no X equivalent (function).
    std::optional<quint16> modifierMask(qint64 carbonModifiers) const;
    // The bit Num Lock sets; 0 when no modifier carries it.
    quint16 numLockMask() const;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

signals:
    // The server's keymap changed; emitted once per burst of change events, from the event
    // loop.
    void changed();

private:
    struct ModifierMasks
    {
        quint16 alt = 0;
        quint16 super = 0;
        quint16 numLock = 0;
    };

    xkb_keymap *keymap() const;
    xkb_state *state() const;
    void loadModifierMasks() const;
    void invalidate();

    xcb_connection_t *m_connection;
    xkb_context *m_context = nullptr;
    bool m_hasXkb = false;
    quint8 m_xkbFirstEvent = 0;
    qint32 m_deviceId = -1;
    bool m_changePending = false;
    // Loaded on first use after each change.
    mutable xkb_keymap *m_keymap = nullptr;
    mutable xkb_state *m_state = nullptr;
    mutable ModifierMasks m_masks;
};

} // namespace KeyboardShortcuts
