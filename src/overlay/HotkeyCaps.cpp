#include "HotkeyCaps.h"

#include "KeyboardShortcuts/Notifier.h"

HotkeyCaps::HotkeyCaps(QObject *parent)
    : QObject(parent)
{
    connect(&KeyboardShortcuts::Notifier::shared(),
            &KeyboardShortcuts::Notifier::shortcutByNameDidChange,
            this,
            &HotkeyCaps::refresh);
}

void HotkeyCaps::setSource(Source source)
{
    m_source = std::move(source);
    refresh();
}

void HotkeyCaps::setRefused(bool refused)
{
    if (refused == m_refused)
        return;
    m_refused = refused;
    emit refusedChanged();
}

void HotkeyCaps::refresh()
{
    const std::optional<KeyboardShortcuts::Shortcut> shortcut = m_source ? m_source()
                                                                         : std::nullopt;
    const QStringList keys = shortcut ? shortcut->keyCaps() : QStringList();
    if (keys == m_keys)
        return;
    m_keys = keys;
    emit keysChanged();
}
