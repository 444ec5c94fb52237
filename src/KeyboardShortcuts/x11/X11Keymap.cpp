#include "X11Keymap.h"

#include "KeyboardShortcuts/KeyTable.h"
#include "KeyboardShortcuts/Modifiers.h"

#include <QCoreApplication>
#include <QTimer>

#include <xcb/xcb.h>
// xkb.h names a struct member "explicit".
#define explicit dont_use_cxx_explicit
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdlib>
#include <memory>

namespace KeyboardShortcuts {

namespace {

template<typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

// What a dead key shows on its own: the spacing form of its accent.
char32_t deadKeyCharacter(xkb_keysym_t keysym)
{
    switch (keysym) {
    case XKB_KEY_dead_grave:
        return U'`';
    case XKB_KEY_dead_acute:
        return U'\u00B4';
    case XKB_KEY_dead_circumflex:
        return U'^';
    case XKB_KEY_dead_tilde:
        return U'~';
    case XKB_KEY_dead_macron:
        return U'\u00AF';
    case XKB_KEY_dead_breve:
        return U'\u02D8';
    case XKB_KEY_dead_abovedot:
        return U'\u02D9';
    case XKB_KEY_dead_diaeresis:
        return U'\u00A8';
    case XKB_KEY_dead_abovering:
        return U'\u02DA';
    case XKB_KEY_dead_doubleacute:
        return U'\u02DD';
    case XKB_KEY_dead_caron:
        return U'\u02C7';
    case XKB_KEY_dead_cedilla:
        return U'\u00B8';
    case XKB_KEY_dead_ogonek:
        return U'\u02DB';
    default:
        return 0;
    }
}

constexpr quint16 kMod1 = XCB_MOD_MASK_1;
constexpr quint16 kMod4 = XCB_MOD_MASK_4;

} // namespace

X11Keymap::X11Keymap(xcb_connection_t *connection, QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_context(xkb_context_new(XKB_CONTEXT_NO_FLAGS))
{
    Q_ASSERT(connection);
    quint8 firstEvent = 0;
    m_hasXkb = m_context
               && xkb_x11_setup_xkb_extension(m_connection,
                                              XKB_X11_MIN_MAJOR_XKB_VERSION,
                                              XKB_X11_MIN_MINOR_XKB_VERSION,
                                              XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                              nullptr,
                                              nullptr,
                                              &firstEvent,
                                              nullptr);
    if (m_hasXkb) {
        m_xkbFirstEvent = firstEvent;
        m_deviceId = xkb_x11_get_core_keyboard_device_id(m_connection);
        m_hasXkb = m_deviceId >= 0;
    }
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11Keymap::~X11Keymap()
{
    if (QCoreApplication *app = QCoreApplication::instance())
        app->removeNativeEventFilter(this);
    xkb_state_unref(m_state);
    xkb_keymap_unref(m_keymap);
    xkb_context_unref(m_context);
}

xkb_keymap *X11Keymap::keymap() const
{
    if (!m_keymap && m_hasXkb) {
        m_keymap = xkb_x11_keymap_new_from_device(m_context,
                                                  m_connection,
                                                  m_deviceId,
                                                  XKB_KEYMAP_COMPILE_NO_FLAGS);
        if (m_keymap)
            loadModifierMasks();
    }
    return m_keymap;
}

xkb_state *X11Keymap::state() const
{
    if (!m_state && keymap())
        m_state = xkb_x11_state_new_from_device(m_keymap, m_connection, m_deviceId);
    return m_state;
}

// The core modifier map says which of Mod1..Mod5 each modifier key sets; Alt and Super are
// Mod1 and Mod4 on nearly every keymap, which is the fallback.
void X11Keymap::loadModifierMasks() const
{
    m_masks = {};
    const Reply<xcb_get_modifier_mapping_reply_t>
        reply(xcb_get_modifier_mapping_reply(m_connection,
                                             xcb_get_modifier_mapping(m_connection),
                                             nullptr),
              &std::free);
    if (reply) {
        const xcb_keycode_t *keycodes = xcb_get_modifier_mapping_keycodes(reply.get());
        const int perModifier = reply->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int index = 0; index < perModifier; ++index) {
                const xcb_keycode_t keycode = keycodes[modifier * perModifier + index];
                if (keycode == 0)
                    continue;
                const xkb_layout_index_t layouts = xkb_keymap_num_layouts_for_key(m_keymap, keycode);
                for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
                    const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(m_keymap,
                                                                                   keycode,
                                                                                   layout);
                    for (xkb_level_index_t level = 0; level < levels; ++level) {
                        const xkb_keysym_t *keysyms = nullptr;
                        const int count = xkb_keymap_key_get_syms_by_level(m_keymap,
                                                                           keycode,
                                                                           layout,
                                                                           level,
                                                                           &keysyms);
                        for (int i = 0; i < count; ++i) {
                            const quint16 bit = quint16(1u << modifier);
                            switch (keysyms[i]) {
                            case XKB_KEY_Alt_L:
                            case XKB_KEY_Alt_R:
                                m_masks.alt |= bit;
                                break;
                            case XKB_KEY_Super_L:
                            case XKB_KEY_Super_R:
                                m_masks.super |= bit;
                                break;
                            case XKB_KEY_Num_Lock:
                                m_masks.numLock |= bit;
                                break;
                            default:
                                break;
                            }
                        }
                    }
                }
            }
        }
    }
    if (m_masks.alt == 0)
        m_masks.alt = kMod1;
    if (m_masks.super == 0)
        m_masks.super = kMod4;
}

std::optional<quint8> X11Keymap::keycode(Key key) const
{
    const KeyTableRow *row = keyTableRow(key);
    xkb_keymap *map = keymap();
    if (!row || !map)
        return std::nullopt;
    if (row->xkbKeyName) {
        const xkb_keycode_t byName = xkb_keymap_key_by_name(map, row->xkbKeyName);
        if (byName != XKB_KEYCODE_INVALID && byName <= 255)
            return quint8(byName);
    }
    if (row->keysym == 0)
        return std::nullopt;
    // Keyboards without the named key may still have one that types the keysym.
    const xkb_keycode_t last = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(map), 255);
    for (xkb_keycode_t code = xkb_keymap_min_keycode(map); code <= last; ++code) {
        const xkb_keysym_t *keysyms = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(map, code, 0, 0, &keysyms);
        for (int i = 0; i < count; ++i) {
            if (keysyms[i] == row->keysym)
                return quint8(code);
        }
    }
    return std::nullopt;
}

std::optional<Key> X11Keymap::keyForScanCode(quint32 nativeScanCode) const
{
    xkb_keymap *map = keymap();
    if (!map || nativeScanCode > 255)
        return std::nullopt;
    if (const KeyTableRow *row = keyTableRowForXkbName(xkb_keymap_key_get_name(map, nativeScanCode)))
        return Key(row->carbonKeyCode);
    const xkb_keysym_t *keysyms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(map, nativeScanCode, 0, 0, &keysyms) == 1) {
        if (const KeyTableRow *row = keyTableRowForKeysym(keysyms[0]))
            return Key(row->carbonKeyCode);
    }
    return std::nullopt;
}

QString X11Keymap::character(Key key) const
{
    const std::optional<quint8> code = keycode(key);
    xkb_state *current = state();
    if (!code || !current)
        return {};
    // The group in effect, at level 0: the unshifted character whatever modifiers are held.
    const xkb_layout_index_t layout = xkb_state_key_get_layout(current, *code);
    if (layout == XKB_LAYOUT_INVALID)
        return {};
    const xkb_keysym_t *keysyms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(m_keymap, *code, layout, 0, &keysyms) != 1)
        return {};
    char32_t character = xkb_keysym_to_utf32(keysyms[0]);
    if (character == 0)
        character = deadKeyCharacter(keysyms[0]);
    if (character < 0x20 || (character >= 0x7f && character < 0xa0))
        return {};
    return QString::fromUcs4(&character, 1);
}

bool X11Keymap::typesCharacterInAnyLayout(Key key) const
{
    const std::optional<quint8> code = keycode(key);
    xkb_keymap *map = keymap();
    if (!code || !map)
        return false;
    // Every group of the keymap, at its first two levels: plain and shifted.
    const xkb_layout_index_t layouts = xkb_keymap_num_layouts_for_key(map, *code);
    for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
        const xkb_level_index_t levels
            = std::min<xkb_level_index_t>(xkb_keymap_num_levels_for_key(map, *code, layout), 2);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            const xkb_keysym_t *keysyms = nullptr;
            const int count = xkb_keymap_key_get_syms_by_level(map, *code, layout, level, &keysyms);
            for (int i = 0; i < count; ++i) {
                char32_t character = xkb_keysym_to_utf32(keysyms[i]);
                if (character == 0)
                    character = deadKeyCharacter(keysyms[i]);
                if (character >= 0x20 && !(character >= 0x7f && character < 0xa0))
                    return true;
            }
        }
    }
    return false;
}

std::optional<quint16> X11Keymap::modifierMask(qint64 carbonModifiers) const
{
    if (carbonModifiers & CarbonModifier::function)
        return std::nullopt;
    if (!keymap())
        return std::nullopt;
    quint16 mask = 0;
    if (carbonModifiers & CarbonModifier::shift)
        mask |= XCB_MOD_MASK_SHIFT;
    if (carbonModifiers & CarbonModifier::control)
        mask |= XCB_MOD_MASK_CONTROL;
    if (carbonModifiers & CarbonModifier::option)
        mask |= m_masks.alt;
    if (carbonModifiers & CarbonModifier::command)
        mask |= m_masks.super;
    return mask;
}

quint16 X11Keymap::numLockMask() const
{
    return keymap() ? m_masks.numLock : 0;
}

void X11Keymap::invalidate()
{
    xkb_state_unref(m_state);
    m_state = nullptr;
    xkb_keymap_unref(m_keymap);
    m_keymap = nullptr;
    if (m_changePending)
        return;
    // setxkbmap and layout switches send several events; reload once.
    m_changePending = true;
    QTimer::singleShot(0, this, [this] {
        m_changePending = false;
        emit changed();
    });
}

bool X11Keymap::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    const quint8 type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        invalidate();
    } else if (m_hasXkb && type == m_xkbFirstEvent) {
        // Every XKB event shares one event code; the kind is in the second byte.
        switch (event->pad0) {
        case XCB_XKB_NEW_KEYBOARD_NOTIFY:
        case XCB_XKB_MAP_NOTIFY:
            invalidate();
            break;
        case XCB_XKB_STATE_NOTIFY: {
            const auto *notify = reinterpret_cast<const xcb_xkb_state_notify_event_t *>(event);
            constexpr int groupParts = XCB_XKB_STATE_PART_GROUP_STATE
                                       | XCB_XKB_STATE_PART_GROUP_BASE
                                       | XCB_XKB_STATE_PART_GROUP_LATCH
                                       | XCB_XKB_STATE_PART_GROUP_LOCK;
            if (notify->changed & groupParts) {
                xkb_state_unref(m_state);
                m_state = nullptr;
            }
            break;
        }
        default:
            break;
        }
    }
    return false;
}

} // namespace KeyboardShortcuts
