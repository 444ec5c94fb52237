#include "WaylandKeyPoster.h"

#include "WaylandConnection.h"

#include "virtual-keyboard-unstable-v1-client-protocol.h"

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <cstring>
#include <memory>

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// How long the compositor may take to list its globals.
constexpr std::chrono::seconds kSetupTimeout{1};

template<typename T, void (*Free)(T *)>
struct Deleter
{
    void operator()(T *p) const { Free(p); }
};

} // namespace

WaylandKeyPoster::WaylandKeyPoster(const QByteArray &socket)
    : m_connection(std::make_unique<WaylandConnection>(socket))
{
    if (!m_connection->fetchGlobals(WaylandConnection::Clock::now() + kSetupTimeout))
        return;
    m_manager = static_cast<zwp_virtual_keyboard_manager_v1 *>(
        m_connection->bind(&zwp_virtual_keyboard_manager_v1_interface, 1));
    m_seat = static_cast<wl_seat *>(m_connection->bind(&wl_seat_interface, 1));
}

WaylandKeyPoster::~WaylandKeyPoster()
{
    if (m_keyboard)
        zwp_virtual_keyboard_v1_destroy(m_keyboard);
    if (m_manager)
        zwp_virtual_keyboard_manager_v1_destroy(m_manager);
    if (m_seat)
        wl_seat_destroy(m_seat);
}

bool WaylandKeyPoster::isTrusted()
{
    return m_manager && m_seat && m_connection->isOpen();
}

bool WaylandKeyPoster::ensureKeyboard()
{
    if (m_keyboard)
        return true;
    std::unique_ptr<xkb_context, Deleter<xkb_context, xkb_context_unref>> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return false;
    const xkb_rule_names names = {"evdev", "pc105", "us", "", ""};
    std::unique_ptr<xkb_keymap, Deleter<xkb_keymap, xkb_keymap_unref>> keymap(
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return false;
    std::unique_ptr<char, Deleter<void, free>> text(
        xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1));
    if (!text)
        return false;
    m_controlMask = 1u << xkb_keymap_mod_get_index(keymap.get(), XKB_MOD_NAME_CTRL);
    m_shiftMask = 1u << xkb_keymap_mod_get_index(keymap.get(), XKB_MOD_NAME_SHIFT);

    // The compositor maps the keymap from a file; the terminating NUL is part of its size.
    const size_t size = std::strlen(text.get()) + 1;
    const int fd = memfd_create("cliphaven-keymap", MFD_CLOEXEC);
    if (fd < 0)
        return false;
    bool written = ftruncate(fd, off_t(size)) == 0;
    for (size_t done = 0; written && done < size;) {
        const ssize_t put = pwrite(fd, text.get() + done, size - done, off_t(done));
        written = put > 0;
        done += written ? size_t(put) : 0;
    }
    if (!written) {
        close(fd);
        return false;
    }
    m_keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(m_manager, m_seat);
    zwp_virtual_keyboard_v1_keymap(m_keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, quint32(size));
    close(fd);
    return true;
}

void WaylandKeyPoster::key(quint32 code, bool down)
{
    zwp_virtual_keyboard_v1_key(m_keyboard,
                                ++m_time,
                                code,
                                down ? WL_KEYBOARD_KEY_STATE_PRESSED
                                     : WL_KEYBOARD_KEY_STATE_RELEASED);
}

void WaylandKeyPoster::modifiers(quint32 depressed)
{
    zwp_virtual_keyboard_v1_modifiers(m_keyboard, depressed, 0, 0, 0);
}

void WaylandKeyPoster::postPasteKeystroke(PasteKeystroke keystroke)
{
    if (!isTrusted() || !ensureKeyboard())
        return;
    quint32 mask = 0;
    QList<quint32> held;
    quint32 code = KEY_V;
    switch (keystroke) {
    case PasteKeystroke::controlV:
        held = {KEY_LEFTCTRL};
        mask = m_controlMask;
        break;
    case PasteKeystroke::controlShiftV:
        held = {KEY_LEFTCTRL, KEY_LEFTSHIFT};
        mask = m_controlMask | m_shiftMask;
        break;
    case PasteKeystroke::shiftInsert:
        held = {KEY_LEFTSHIFT};
        mask = m_shiftMask;
        code = KEY_INSERT;
        break;
    }
    // Whatever the shortcut left held, the keystroke starts from no modifiers.
    modifiers(0);
    for (quint32 modifier : std::as_const(held))
        key(modifier, true);
    modifiers(mask);
    key(code, true);
    key(code, false);
    for (auto it = held.crbegin(); it != held.crend(); ++it)
        key(*it, false);
    modifiers(0);
    // The requests leave now; no answer is awaited.
    wl_display_flush(m_connection->display());
}
