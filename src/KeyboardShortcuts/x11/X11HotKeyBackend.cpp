#include "X11HotKeyBackend.h"

#include "X11Keymap.h"

#include <QCoreApplication>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace KeyboardShortcuts {

namespace {

constexpr quint16 kCoreModifiers = 0xff;
// Longer than any keyboard's auto-repeat delay.
constexpr quint32 kRepeatWindowMs = 2500;

} // namespace

X11HotKeyBackend::X11HotKeyBackend(xcb_connection_t *connection, X11Keymap &keymap, QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_keymap(keymap)
{
    Q_ASSERT(connection);
    for (auto it = xcb_setup_roots_iterator(xcb_get_setup(m_connection)); it.rem;
         xcb_screen_next(&it))
        m_roots.append(it.data->root);
    connect(&m_keymap, &X11Keymap::changed, this, &X11HotKeyBackend::regrabAll);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11HotKeyBackend::~X11HotKeyBackend()
{
    if (QCoreApplication *app = QCoreApplication::instance())
        app->removeNativeEventFilter(this);
    for (const HotKey &hotKey : std::as_const(m_hotKeys))
        ungrab(hotKey.grab);
    xcb_flush(m_connection);
}

std::optional<X11HotKeyBackend::Grab> X11HotKeyBackend::resolve(const Shortcut &shortcut) const
{
    const std::optional<quint8> keycode = m_keymap.keycode(shortcut.key());
    const std::optional<quint16> modifiers = m_keymap.modifierMask(shortcut.carbonModifiers);
    if (!keycode || !modifiers)
        return std::nullopt;
    return Grab{*keycode, *modifiers, m_keymap.numLockMask()};
}

QList<quint16> X11HotKeyBackend::lockVariants(const Grab &grab) const
{
    QList<quint16> variants{0, XCB_MOD_MASK_LOCK};
    if (grab.numLock != 0 && !(grab.modifiers & grab.numLock))
        variants << grab.numLock << quint16(grab.numLock | XCB_MOD_MASK_LOCK);
    return variants;
}

// All requests go out before the first check, so this costs one round trip.
int X11HotKeyBackend::grab(const Grab &grab)
{
    QList<xcb_void_cookie_t> cookies;
    for (const quint32 root : std::as_const(m_roots)) {
        for (const quint16 variant : lockVariants(grab)) {
            cookies << xcb_grab_key_checked(m_connection,
                                            0,
                                            root,
                                            grab.modifiers | variant,
                                            grab.keycode,
                                            XCB_GRAB_MODE_ASYNC,
                                            XCB_GRAB_MODE_ASYNC);
        }
    }
    int status = 0;
    for (const xcb_void_cookie_t &cookie : std::as_const(cookies)) {
        if (xcb_generic_error_t *error = xcb_request_check(m_connection, cookie)) {
            if (status == 0)
                status = error->error_code;
            std::free(error);
        }
    }
    // Ungrabbing only ever releases this client's own grabs, so the refused ones are safe to
    // include.
    if (status != 0)
        ungrab(grab);
    return status;
}

void X11HotKeyBackend::ungrab(const Grab &grab)
{
    for (const quint32 root : std::as_const(m_roots)) {
        for (const quint16 variant : lockVariants(grab))
            xcb_ungrab_key(m_connection, grab.keycode, root, grab.modifiers | variant);
    }
}

int X11HotKeyBackend::registerHotKey(int hotKeyId, const Shortcut &shortcut)
{
    Q_ASSERT(!m_hotKeys.contains(hotKeyId));
    const std::optional<Grab> resolved = resolve(shortcut);
    // A key this keyboard lacks, or the function modifier, which X does not have.
    if (!resolved)
        return XCB_VALUE;
    const int status = grab(*resolved);
    if (status != 0)
        return status;
    m_hotKeys.insert(hotKeyId, HotKey{shortcut, *resolved});
    return 0;
}

void X11HotKeyBackend::unregisterHotKey(int hotKeyId)
{
    const auto it = m_hotKeys.find(hotKeyId);
    if (it == m_hotKeys.end())
        return;
    ungrab(it->grab);
    m_hotKeys.erase(it);
    forgetPresses(hotKeyId);
    xcb_flush(m_connection);
}

void X11HotKeyBackend::setEventHandler(EventHandler handler)
{
    m_handler = std::move(handler);
}

void X11HotKeyBackend::setKeymapChangedHandler(KeymapChangedHandler handler)
{
    m_keymapChanged = std::move(handler);
}

// Key names keep their keycodes across layouts, but a new keyboard may move keys or Num Lock.
// The server also announces a new keymap whenever input switches between devices (a real
// keyboard and XTest), so unchanged grabs and their held keys are left alone.
// A grab the new keymap makes impossible, or that another client holds by now, is dropped and
// reported, so the registry can say so and try again later.
void X11HotKeyBackend::regrabAll()
{
    QList<int> dropped;
    for (auto it = m_hotKeys.begin(); it != m_hotKeys.end();) {
        HotKey &hotKey = *it;
        const std::optional<Grab> resolved = resolve(hotKey.shortcut);
        if (resolved && *resolved == hotKey.grab) {
            ++it;
            continue;
        }
        ungrab(hotKey.grab);
        forgetPresses(it.key());
        if (resolved && grab(*resolved) == 0) {
            hotKey.grab = *resolved;
            ++it;
        } else {
            dropped.append(it.key());
            it = m_hotKeys.erase(it);
        }
    }
    xcb_flush(m_connection);
    if (m_keymapChanged)
        m_keymapChanged(dropped);
}

void X11HotKeyBackend::forgetPresses(int hotKeyId)
{
    for (auto pressed = m_pressed.begin(); pressed != m_pressed.end();) {
        if (pressed->hotKeyId == hotKeyId)
            pressed = m_pressed.erase(pressed);
        else
            ++pressed;
    }
}

bool X11HotKeyBackend::isKeyDown(quint8 keycode) const
{
    std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)>
        reply(xcb_query_keymap_reply(m_connection, xcb_query_keymap(m_connection), nullptr),
              &std::free);
    return reply && (reply->keys[keycode / 8] & (1 << (keycode % 8)));
}

void X11HotKeyBackend::deliver(int hotKeyId, EventType type)
{
    QMetaObject::invokeMethod(
        this,
        [this, hotKeyId, type] {
            if (m_handler)
                m_handler(hotKeyId, type);
        },
        Qt::QueuedConnection);
}

bool X11HotKeyBackend::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    const quint8 type = event->response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    // Press and release events share one layout.
    const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event);
    // A grab's events come to the root window, and Qt, which has no window there, only takes
    // their time; the keys taken from a popup's window must not reach the popup.
    const bool consumed = !m_roots.contains(key->event);

    if (type == XCB_KEY_RELEASE) {
        const auto pressed = m_pressed.constFind(key->detail);
        if (pressed == m_pressed.cend())
            return false;
        m_lastReleaseTimes.insert(key->detail, key->time);
        // Auto-repeat may send a release with each repeated press while the key stays down.
        if (isKeyDown(key->detail))
            return consumed;
        const int hotKeyId = pressed->hotKeyId;
        m_pressed.erase(pressed);
        deliver(hotKeyId, EventType::keyUp);
        return consumed;
    }

    if (const auto pressed = m_pressed.find(key->detail); pressed != m_pressed.end()) {
        // Repeats come with or without a release before them, within the repeat delay.
        if (key->time - pressed->lastTime <= kRepeatWindowMs) {
            pressed->lastTime = key->time;
            return consumed;
        }
        // Long after: the release went elsewhere (another client's grab came and went), so
        // this is a new press; close the old one.
        const int hotKeyId = pressed->hotKeyId;
        m_pressed.erase(pressed);
        deliver(hotKeyId, EventType::keyUp);
    } else if (m_lastReleaseTimes.value(key->detail) == key->time) {
        // The repeat of a key whose release was just taken as real.
        return consumed;
    }
    const quint16 modifiers = key->state & kCoreModifiers;
    for (auto it = m_hotKeys.cbegin(); it != m_hotKeys.cend(); ++it) {
        const Grab &grab = it->grab;
        if (grab.keycode != key->detail)
            continue;
        if ((modifiers & ~(XCB_MOD_MASK_LOCK | grab.numLock)) != grab.modifiers)
            continue;
        m_pressed.insert(key->detail, Press{it.key(), key->time});
        deliver(it.key(), EventType::keyDown);
        return consumed;
    }
    return false;
}

} // namespace KeyboardShortcuts
