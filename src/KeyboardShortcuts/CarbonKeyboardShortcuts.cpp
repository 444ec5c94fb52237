#include "CarbonKeyboardShortcuts.h"

#include <QDebug>

#include <algorithm>

namespace KeyboardShortcuts {

CarbonKeyboardShortcuts::CarbonKeyboardShortcuts(HotKeyBackend &backend,
                                                 Handler handler,
                                                 std::function<void()> keymapChanged)
    : m_backend(backend)
    , m_handler(std::move(handler))
    , m_keymapChanged(std::move(keymapChanged))
{
    m_backend.setEventHandler(
        [this](int hotKeyId, EventType type) { handleHotKeyEvent(hotKeyId, type); });
    m_backend.setKeymapChangedHandler([this](const QList<int> &dropped) {
        for (const int hotKeyId : dropped)
            m_hotKeys.remove(hotKeyId);
        if (m_keymapChanged)
            m_keymapChanged();
    });
}

CarbonKeyboardShortcuts::~CarbonKeyboardShortcuts()
{
    unregisterAll();
    m_backend.setEventHandler({});
    m_backend.setKeymapChangedHandler({});
}

bool CarbonKeyboardShortcuts::isRegistered(const Shortcut &shortcut) const
{
    return std::any_of(m_hotKeys.cbegin(), m_hotKeys.cend(), [&](const HotKey &hotKey) {
        return hotKey.shortcut == shortcut;
    });
}

bool CarbonKeyboardShortcuts::registerShortcut(const Shortcut &shortcut)
{
    const int hotKeyId = ++m_hotKeyIdCounter;
    const int status = m_backend.registerHotKey(hotKeyId, shortcut);
    // A desktop without global key grabs refuses every shortcut; Preferences says so instead.
    // A refusal is printed once, not again at every retry (each new keymap retries, and a
    // paste's synthetic keys can bring one), until its reason changes or the grab succeeds.
    if (status != 0 && status != HotKeyBackend::kUnsupported
        && m_reportedRefusals.value(shortcut) != status) {
        m_reportedRefusals.insert(shortcut, status);
        qWarning().noquote() << u"Error registering hotkey " + shortcut.presentableDescription()
                                    + u':'
                             << status;
    }
    if (status != 0)
        return false;
    m_reportedRefusals.remove(shortcut);
    m_hotKeys.insert(hotKeyId, HotKey{shortcut, hotKeyId});
    return true;
}

void CarbonKeyboardShortcuts::unregisterShortcut(const Shortcut &shortcut)
{
    for (auto it = m_hotKeys.begin(); it != m_hotKeys.end();) {
        if (it->shortcut == shortcut) {
            m_backend.unregisterHotKey(it.key());
            it = m_hotKeys.erase(it);
        } else {
            ++it;
        }
    }
}

void CarbonKeyboardShortcuts::unregisterAll()
{
    for (auto it = m_hotKeys.cbegin(); it != m_hotKeys.cend(); ++it)
        m_backend.unregisterHotKey(it.key());
    m_hotKeys.clear();
}

void CarbonKeyboardShortcuts::handleHotKeyEvent(int hotKeyId, EventType type)
{
    // Events of hot keys unregistered since the backend queued them are dropped.
    const auto it = m_hotKeys.constFind(hotKeyId);
    if (it == m_hotKeys.cend())
        return;
    const Shortcut shortcut = it->shortcut;
    m_handler(shortcut, type);
}

} // namespace KeyboardShortcuts
