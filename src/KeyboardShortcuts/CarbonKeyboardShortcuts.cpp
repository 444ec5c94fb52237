#include "CarbonKeyboardShortcuts.h"

#include <QDebug>

namespace KeyboardShortcuts {

CarbonKeyboardShortcuts::CarbonKeyboardShortcuts(HotKeyBackend &backend, Handler handler)
    : m_backend(backend)
    , m_handler(std::move(handler))
{
    m_backend.setEventHandler(
        [this](int hotKeyId, EventType type) { handleHotKeyEvent(hotKeyId, type); });
}

CarbonKeyboardShortcuts::~CarbonKeyboardShortcuts()
{
    unregisterAll();
    m_backend.setEventHandler({});
}

bool CarbonKeyboardShortcuts::registerShortcut(const Shortcut &shortcut)
{
    const int hotKeyId = ++m_hotKeyIdCounter;
    const int status = m_backend.registerHotKey(hotKeyId, shortcut);
    // A desktop without global key grabs refuses every shortcut; Preferences says so instead.
    if (status != 0 && status != HotKeyBackend::kUnsupported) {
        qWarning().noquote() << u"Error registering hotkey " + shortcut.presentableDescription()
                                    + u':'
                             << status;
    }
    if (status != 0)
        return false;
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
