#include "Registry.h"

#include "Notifier.h"

#include <QSettings>

#include <algorithm>

namespace KeyboardShortcuts {

EventStream::EventStream(Registry *registry, QString name, QUuid id)
    : m_registry(registry)
    , m_name(std::move(name))
    , m_id(id)
{}

EventStream::EventStream(EventStream &&other) noexcept
    : m_registry(std::exchange(other.m_registry, nullptr))
    , m_name(std::move(other.m_name))
    , m_id(other.m_id)
{}

EventStream &EventStream::operator=(EventStream &&other) noexcept
{
    if (this != &other) {
        cancel();
        m_registry = std::exchange(other.m_registry, nullptr);
        m_name = std::move(other.m_name);
        m_id = other.m_id;
    }
    return *this;
}

EventStream::~EventStream()
{
    cancel();
}

void EventStream::cancel()
{
    if (Registry *registry = m_registry.data())
        registry->removeStream(m_name, m_id);
    m_registry = nullptr;
}

bool EventStream::isActive() const
{
    return m_registry && m_registry->hasStream(m_name, m_id);
}

QString Registry::settingsKey(const Name &name)
{
    return u"KeyboardShortcuts_" + name.rawValue;
}

Registry::Registry(QSettings &settings, HotKeyBackend &backend, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_carbon(
          backend,
          [this](const Shortcut &shortcut, EventType type) { dispatch(shortcut, type); },
          // A new keyboard may bring back a key that was missing, and a re-grab refused now
          // shows as refused.
          [this] { retryRefused(); })
{
    // A change stored anywhere re-registers.
    connect(&Notifier::shared(), &Notifier::shortcutByNameDidChange, this, [this] {
        updateRegistrations();
    });
}

Registry::~Registry() = default;

void Registry::declare(const Name &name)
{
    known(name);
}

const Name &Registry::known(const Name &name)
{
    for (const Name &existing : std::as_const(m_names)) {
        if (existing == name)
            return existing;
    }
    m_names.append(name);
    return m_names.constLast();
}

std::optional<Shortcut> Registry::getShortcut(const Name &name) const
{
    const QString key = settingsKey(name);
    if (!m_settings.contains(key)) {
        for (const Name &existing : m_names) {
            if (existing == name)
                return existing.defaultShortcut;
        }
        return name.defaultShortcut;
    }
    const QVariant value = m_settings.value(key);
    if (value.typeId() != QMetaType::QString && value.typeId() != QMetaType::QByteArray)
        return std::nullopt;
    return Shortcut::fromJson(value.toString().toUtf8());
}

void Registry::setShortcut(const std::optional<Shortcut> &shortcut, const Name &name)
{
    known(name);
    m_settings.setValue(settingsKey(name),
                        shortcut ? QString::fromUtf8(shortcut->toJson()) : QString());
    // On disk at once: a crash or a logout right after recording keeps the new shortcut.
    m_settings.sync();
    emit Notifier::shared().shortcutByNameDidChange(name);
}

void Registry::onKeyDown(const Name &name, Handler action)
{
    known(name);
    m_keyDownHandlers[name.rawValue].append(std::move(action));
    updateRegistrations();
}

void Registry::onKeyUp(const Name &name, Handler action)
{
    known(name);
    m_keyUpHandlers[name.rawValue].append(std::move(action));
    updateRegistrations();
}

EventStream Registry::events(const Name &name, StreamHandler handler)
{
    known(name);
    const QUuid id = QUuid::createUuid();
    m_streamHandlers[name.rawValue].insert(id, std::move(handler));
    updateRegistrations();
    return EventStream(this, name.rawValue, id);
}

EventStream Registry::events(EventType type, const Name &name, Handler handler)
{
    return events(name, [type, handler = std::move(handler)](EventType event) {
        if (event == type)
            handler();
    });
}

void Registry::enable(const Name &name)
{
    enable(QList<Name>{name});
}

void Registry::enable(const QList<Name> &names)
{
    for (const Name &name : names) {
        known(name);
        m_disabled.remove(name.rawValue);
    }
    updateRegistrations();
}

void Registry::disable(const Name &name)
{
    disable(QList<Name>{name});
}

void Registry::disable(const QList<Name> &names)
{
    for (const Name &name : names) {
        known(name);
        m_disabled.insert(name.rawValue);
    }
    updateRegistrations();
}

bool Registry::isEnabled(const Name &name) const
{
    const std::optional<Shortcut> shortcut = getShortcut(name);
    if (!shortcut || m_disabled.contains(name.rawValue) || !hasHandlers(name.rawValue))
        return false;
    return m_carbon.isRegistered(*shortcut);
}

bool Registry::isRefused(const Name &name) const
{
    const std::optional<Shortcut> shortcut = getShortcut(name);
    return shortcut && !m_disabled.contains(name.rawValue) && hasHandlers(name.rawValue)
           && m_registered.contains(*shortcut) && !m_carbon.isRegistered(*shortcut);
}

void Registry::retryRefused()
{
    for (const Shortcut &shortcut : std::as_const(m_registered)) {
        if (!m_carbon.isRegistered(shortcut))
            m_carbon.registerShortcut(shortcut);
    }
    emit registrationsChanged();
}

void Registry::reset(const Name &name)
{
    const std::optional<Shortcut> initial = known(name).defaultShortcut;
    setShortcut(initial, name);
}

void Registry::reset(const QList<Name> &names)
{
    for (const Name &name : names)
        reset(name);
}

void Registry::resetAll()
{
    const QList<Name> names = m_names;
    reset(names);
}

void Registry::removeHandler(const Name &name)
{
    m_keyDownHandlers.remove(name.rawValue);
    m_keyUpHandlers.remove(name.rawValue);
    m_streamHandlers.remove(name.rawValue);
    updateRegistrations();
}

void Registry::removeAllHandlers()
{
    m_keyDownHandlers.clear();
    m_keyUpHandlers.clear();
    m_streamHandlers.clear();
    updateRegistrations();
}

bool Registry::hasHandlers(const QString &name) const
{
    return !m_keyDownHandlers.value(name).isEmpty() || !m_keyUpHandlers.value(name).isEmpty()
           || !m_streamHandlers.value(name).isEmpty();
}

bool Registry::hasStream(const QString &name, const QUuid &id) const
{
    const auto it = m_streamHandlers.constFind(name);
    return it != m_streamHandlers.cend() && it->contains(id);
}

void Registry::removeStream(const QString &name, const QUuid &id)
{
    const auto it = m_streamHandlers.find(name);
    if (it == m_streamHandlers.end() || it->remove(id) == 0)
        return;
    if (it->isEmpty())
        m_streamHandlers.erase(it);
    updateRegistrations();
}

// A shortcut is wanted while an enabled name with a handler stores it. The old ones go before
// the new ones are registered, so moving a name to another shortcut never holds both.
void Registry::updateRegistrations()
{
    QList<Shortcut> wanted;
    for (const Name &name : std::as_const(m_names)) {
        if (m_disabled.contains(name.rawValue) || !hasHandlers(name.rawValue))
            continue;
        const std::optional<Shortcut> shortcut = getShortcut(name);
        if (shortcut && !wanted.contains(*shortcut))
            wanted.append(*shortcut);
    }
    for (const Shortcut &shortcut : QList<Shortcut>(m_registered)) {
        if (!wanted.contains(shortcut)) {
            m_carbon.unregisterShortcut(shortcut);
            m_registered.removeOne(shortcut);
        }
    }
    for (const Shortcut &shortcut : std::as_const(wanted)) {
        if (!m_registered.contains(shortcut)) {
            m_registered.append(shortcut);
            m_carbon.registerShortcut(shortcut);
        }
    }
    emit registrationsChanged();
}

// Handlers may add or remove handlers and streams while they run: work on copies, and skip a
// stream cancelled by an earlier handler.
void Registry::dispatch(const Shortcut &shortcut, EventType type)
{
    const QList<Name> names = m_names;
    for (const Name &name : names) {
        if (m_disabled.contains(name.rawValue) || getShortcut(name) != shortcut)
            continue;
        const auto &legacy = type == EventType::keyDown ? m_keyDownHandlers : m_keyUpHandlers;
        const QList<Handler> handlers = legacy.value(name.rawValue);
        for (const Handler &handler : handlers)
            handler();
        const QList<QUuid> streams = m_streamHandlers.value(name.rawValue).keys();
        for (const QUuid &id : streams) {
            const auto it = m_streamHandlers.constFind(name.rawValue);
            if (it == m_streamHandlers.cend() || !it->contains(id))
                continue;
            const StreamHandler handler = it->value(id);
            handler(type);
        }
    }
}

} // namespace KeyboardShortcuts
