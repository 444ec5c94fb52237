#include "KWinKeyPoster.h"

#include "WaylandConnection.h"

#include "fake-input-client-protocol.h"

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <QList>

#include <cstring>

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// How long the compositor may take to list its globals and send the seat's keymap.
constexpr std::chrono::seconds kSetupTimeout{1};
// keyboard_key arrived in version 4.
constexpr uint32_t kKeyboardVersion = 4;

// evdev codes are X11 key codes less 8, in xkbcommon's keymaps too.
constexpr quint32 kEvdevOffset = 8;

// The modifier keys a shortcut may leave held, released before the keystroke.
constexpr quint32 kModifierKeys[] = {KEY_LEFTCTRL,
                                     KEY_RIGHTCTRL,
                                     KEY_LEFTSHIFT,
                                     KEY_RIGHTSHIFT,
                                     KEY_LEFTALT,
                                     KEY_RIGHTALT,
                                     KEY_LEFTMETA,
                                     KEY_RIGHTMETA};

// Where the keys are on a US keyboard, for a seat whose keymap could not be read.
quint32 usKeyCode(quint32 keysym)
{
    switch (keysym) {
    case XKB_KEY_v:
        return KEY_V;
    case XKB_KEY_Insert:
        return KEY_INSERT;
    case XKB_KEY_Shift_L:
        return KEY_LEFTSHIFT;
    default:
        return KEY_LEFTCTRL;
    }
}

struct SeatKeymap
{
    QHash<quint32, quint32> *codes = nullptr;
    wl_keyboard *keyboard = nullptr;
    bool received = false;
};

// Every key's unshifted keysym in the first layout, the lowest key code first.
void learnKeymap(SeatKeymap &seat, const char *text, size_t size)
{
    xkb_context *context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context)
        return;
    xkb_keymap *keymap = xkb_keymap_new_from_buffer(context,
                                                    text,
                                                    strnlen(text, size),
                                                    XKB_KEYMAP_FORMAT_TEXT_V1,
                                                    XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (keymap) {
        for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap);
             code <= xkb_keymap_max_keycode(keymap) && code >= kEvdevOffset;
             ++code) {
            const xkb_keysym_t *syms = nullptr;
            const int count = xkb_keymap_key_get_syms_by_level(keymap, code, 0, 0, &syms);
            for (int i = 0; i < count; ++i) {
                if (!seat.codes->contains(syms[i]))
                    seat.codes->insert(syms[i], code - kEvdevOffset);
            }
        }
        xkb_keymap_unref(keymap);
    }
    xkb_context_unref(context);
}

const wl_keyboard_listener keyboardListener = {
    [](void *data, wl_keyboard *, uint32_t format, int32_t fd, uint32_t size) {
        auto *seat = static_cast<SeatKeymap *>(data);
        seat->received = true;
        if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
            void *text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
            if (text != MAP_FAILED) {
                learnKeymap(*seat, static_cast<const char *>(text), size);
                munmap(text, size);
            }
        }
        close(fd);
    },
    [](void *, wl_keyboard *, uint32_t, wl_surface *, wl_array *) {},
    [](void *, wl_keyboard *, uint32_t, wl_surface *) {},
    [](void *, wl_keyboard *, uint32_t, uint32_t, uint32_t, uint32_t) {},
    [](void *, wl_keyboard *, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {},
    [](void *, wl_keyboard *, int32_t, int32_t) {},
};

const wl_seat_listener seatListener = {
    [](void *data, wl_seat *seat, uint32_t capabilities) {
        auto *keymap = static_cast<SeatKeymap *>(data);
        if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) && !keymap->keyboard) {
            keymap->keyboard = wl_seat_get_keyboard(seat);
            wl_keyboard_add_listener(keymap->keyboard, &keyboardListener, keymap);
        }
    },
    [](void *, wl_seat *, const char *) {},
};

} // namespace

KWinKeyPoster::KWinKeyPoster(const QByteArray &socket)
    : m_connection(std::make_unique<WaylandConnection>(socket))
{
    const auto deadline = WaylandConnection::Clock::now() + kSetupTimeout;
    if (!m_connection->fetchGlobals(deadline))
        return;
    const auto offered = m_connection->globals().constFind(org_kde_kwin_fake_input_interface.name);
    if (offered == m_connection->globals().cend() || offered->version < kKeyboardVersion)
        return;
    m_input = static_cast<org_kde_kwin_fake_input *>(
        m_connection->bind(&org_kde_kwin_fake_input_interface, kKeyboardVersion));
    org_kde_kwin_fake_input_authenticate(m_input,
                                         "Cliphaven",
                                         "Paste the clipboard item you pick into the app you "
                                         "were using");
    readSeatKeymap();
}

KWinKeyPoster::~KWinKeyPoster()
{
    if (m_input)
        org_kde_kwin_fake_input_destroy(m_input);
}

void KWinKeyPoster::readSeatKeymap()
{
    auto *seat = static_cast<wl_seat *>(m_connection->bind(&wl_seat_interface, 1));
    if (!seat)
        return;
    SeatKeymap keymap{&m_codes};
    wl_seat_add_listener(seat, &seatListener, &keymap);
    const auto deadline = WaylandConnection::Clock::now() + kSetupTimeout;
    // The capabilities, then the keymap of the keyboard they offer.
    if (m_connection->roundtrip(deadline) && keymap.keyboard)
        m_connection->roundtrip(deadline);
    // Later keymaps, key and focus events are of no use to a program that only types.
    if (keymap.keyboard)
        wl_keyboard_destroy(keymap.keyboard);
    wl_seat_destroy(seat);
}

quint32 KWinKeyPoster::keyCode(quint32 keysym) const
{
    return m_codes.value(keysym, usKeyCode(keysym));
}

bool KWinKeyPoster::isTrusted()
{
    // Reading what is there notices a compositor that has gone.
    return m_input && m_connection->dispatchOnce(WaylandConnection::Clock::now());
}

void KWinKeyPoster::key(quint32 code, bool down)
{
    org_kde_kwin_fake_input_keyboard_key(m_input,
                                         code,
                                         down ? WL_KEYBOARD_KEY_STATE_PRESSED
                                              : WL_KEYBOARD_KEY_STATE_RELEASED);
}

void KWinKeyPoster::postPasteKeystroke(PasteKeystroke keystroke)
{
    if (!isTrusted())
        return;
    QList<quint32> held;
    quint32 target = XKB_KEY_v;
    switch (keystroke) {
    case PasteKeystroke::controlV:
        held = {XKB_KEY_Control_L};
        break;
    case PasteKeystroke::controlShiftV:
        held = {XKB_KEY_Control_L, XKB_KEY_Shift_L};
        break;
    case PasteKeystroke::shiftInsert:
        held = {XKB_KEY_Shift_L};
        target = XKB_KEY_Insert;
        break;
    }
    // The fake device shares the seat's keyboard state: releasing the modifiers there undoes
    // what the shortcut's keys still hold. A key that is not down is ignored.
    for (quint32 modifier : kModifierKeys)
        key(modifier, false);
    for (quint32 modifier : std::as_const(held))
        key(keyCode(modifier), true);
    key(keyCode(target), true);
    key(keyCode(target), false);
    for (auto it = held.crbegin(); it != held.crend(); ++it)
        key(keyCode(*it), false);
    // The requests leave now; no answer is awaited.
    wl_display_flush(m_connection->display());
}
