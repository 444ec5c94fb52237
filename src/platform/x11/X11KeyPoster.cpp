#include "X11KeyPoster.h"

#include <QGuiApplication>
#include <QVarLengthArray>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <memory>

namespace {

constexpr xcb_keysym_t kControlL = 0xffe3;
constexpr xcb_keysym_t kShiftL = 0xffe1;
constexpr xcb_keysym_t kInsert = 0xff63;
constexpr xcb_keysym_t kLowerV = 0x0076;

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
    // The modifiers pressed in order, then the key. A keystroke whose keys are missing from
    // the layout is not typed at all: a lone V or Insert would reach the program as text.
    QVarLengthArray<xcb_keycode_t, 3> keys;
    switch (keystroke) {
    case PasteKeystroke::controlV:
        keys = {keycodeOf(kControlL), keycodeOf(kLowerV)};
        break;
    case PasteKeystroke::controlShiftV:
        keys = {keycodeOf(kControlL), keycodeOf(kShiftL), keycodeOf(kLowerV)};
        break;
    case PasteKeystroke::shiftInsert:
        keys = {keycodeOf(kShiftL), keycodeOf(kInsert)};
        break;
    }
    if (keys.contains(XCB_NO_SYMBOL))
        return;

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

    for (const xcb_keycode_t key : std::as_const(keys))
        fakeKey(XCB_KEY_PRESS, key);
    for (auto key = keys.crbegin(); key != keys.crend(); ++key)
        fakeKey(XCB_KEY_RELEASE, *key);
    xcb_flush(m_connection);
}
