#include "X11KeyPoster.h"

#include <QGuiApplication>
#include <QList>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <memory>

namespace {

constexpr xcb_keysym_t kControlL = 0xffe3;
constexpr xcb_keysym_t kShiftL = 0xffe1;
constexpr xcb_keysym_t kLowerV = 0x0076;
constexpr xcb_keysym_t kInsert = 0xff63;

// Modifiers first, the key last.
QList<xcb_keysym_t> keysymsOf(PasteKeystroke keystroke)
{
    switch (keystroke) {
    case PasteKeystroke::controlV:
        return {kControlL, kLowerV};
    case PasteKeystroke::controlShiftV:
        return {kControlL, kShiftL, kLowerV};
    case PasteKeystroke::shiftInsert:
        return {kShiftL, kInsert};
    }
    return {};
}

template<typename T>
std::unique_ptr<T, decltype(&free)> reply(T *raw)
{
    return {raw, &free};
}

bool isWaylandSession()
{
    return qEnvironmentVariable("XDG_SESSION_TYPE") == u"wayland"
           || QGuiApplication::platformName() == u"wayland";
}

} // namespace

X11KeyPoster::X11KeyPoster(const QByteArray &displayName)
{
    m_connection = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), nullptr);
    if (xcb_connection_has_error(m_connection)) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        return;
    }
    const xcb_query_extension_reply_t *xtest = xcb_get_extension_data(m_connection, &xcb_test_id);
    m_hasXTest = xtest && xtest->present;
}

X11KeyPoster::~X11KeyPoster()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

bool X11KeyPoster::isTrusted()
{
    return m_connection && m_hasXTest && !isWaylandSession();
}

void X11KeyPoster::fakeKey(quint8 type, quint8 keycode)
{
    xcb_test_fake_input(m_connection, type, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

void X11KeyPoster::postPasteKeystroke(PasteKeystroke keystroke)
{
    if (!isTrusted())
        return;

    // The keyboard mapping is read each time: the user may have switched layouts since.
    std::unique_ptr<xcb_key_symbols_t, decltype(&xcb_key_symbols_free)>
        symbols(xcb_key_symbols_alloc(m_connection), &xcb_key_symbols_free);
    auto keycodeOf = [&](xcb_keysym_t keysym) -> xcb_keycode_t {
        std::unique_ptr<xcb_keycode_t, decltype(&free)>
            codes(xcb_key_symbols_get_keycode(symbols.get(), keysym), &free);
        return codes ? codes.get()[0] : XCB_NO_SYMBOL;
    };
    QList<xcb_keycode_t> keys;
    for (const xcb_keysym_t keysym : keysymsOf(keystroke)) {
        const xcb_keycode_t code = keycodeOf(keysym);
        if (code == XCB_NO_SYMBOL)
            return;
        keys.append(code);
    }

    const auto modifierCookie = xcb_get_modifier_mapping(m_connection);
    const auto keymapCookie = xcb_query_keymap(m_connection);
    auto modifiers = reply(xcb_get_modifier_mapping_reply(m_connection, modifierCookie, nullptr));
    auto keymap = reply(xcb_query_keymap_reply(m_connection, keymapCookie, nullptr));
    if (modifiers && keymap) {
        const xcb_keycode_t *codes = xcb_get_modifier_mapping_keycodes(modifiers.get());
        const int count = xcb_get_modifier_mapping_keycodes_length(modifiers.get());
        for (int i = 0; i < count; ++i) {
            const xcb_keycode_t code = codes[i];
            if (code != XCB_NO_SYMBOL && (keymap->keys[code / 8] & (1 << (code % 8))))
                fakeKey(XCB_KEY_RELEASE, code);
        }
    }

    for (const xcb_keycode_t code : std::as_const(keys))
        fakeKey(XCB_KEY_PRESS, code);
    for (auto it = keys.crbegin(); it != keys.crend(); ++it)
        fakeKey(XCB_KEY_RELEASE, *it);
    xcb_flush(m_connection);
}
