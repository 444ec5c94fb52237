#pragma once

#include "platform/KeyPoster.h"

#include <QByteArray>

#include <memory>

class WaylandConnection;
struct zwp_virtual_keyboard_manager_v1;
struct zwp_virtual_keyboard_v1;
struct wl_seat;

// Types the paste keystroke through a virtual keyboard of the compositor's
// (zwp_virtual_keyboard_manager_v1, offered by wlroots compositors), on a connection of its own.
// The keyboard and its keymap (US, so the key codes below mean what they say) are made at the
// first keystroke and kept. The seat takes a virtual keyboard's modifiers as its own while it
// types, so modifiers still held on the real keyboard are released first by saying none are
// down.
class WaylandKeyPoster final : public KeyPoster
{
public:
    // socket empty: WAYLAND_DISPLAY of the environment.
    explicit WaylandKeyPoster(const QByteArray &socket = {});
    ~WaylandKeyPoster() override;

    // Whether the compositor offers virtual keyboards and is still there.
    bool isTrusted() override;
    void postPasteKeystroke(PasteKeystroke keystroke) override;

private:
    bool ensureKeyboard();
    void key(quint32 code, bool down);
    void modifiers(quint32 depressed);

    std::unique_ptr<WaylandConnection> m_connection;
    zwp_virtual_keyboard_manager_v1 *m_manager = nullptr;
    wl_seat *m_seat = nullptr;
    zwp_virtual_keyboard_v1 *m_keyboard = nullptr;
    quint32 m_controlMask = 0;
    quint32 m_shiftMask = 0;
    quint32 m_time = 0;
};
