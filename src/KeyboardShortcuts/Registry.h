#pragma once

#include "CarbonKeyboardShortcuts.h"
#include "HotKeyBackend.h"
#include "Name.h"
#include "Shortcut.h"

#include <QHash>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUuid>

#include <functional>

class QSettings;

namespace KeyboardShortcuts {

class Registry;

// An open stream of a name's key events; destroying or cancelling it ends the stream.
class EventStream
{
public:
    EventStream() = default;
    EventStream(EventStream &&other) noexcept;
    EventStream &operator=(EventStream &&other) noexcept;
    ~EventStream();

    void cancel();
    // False once cancelled, or when its name's handlers were removed.
    bool isActive() const;

private:
    friend class Registry;
    EventStream(Registry *registry, QString name, QUuid id);

    QPointer<Registry> m_registry;
    QString m_name;
    QUuid m_id;
};

// Named shortcuts: stored in the settings under "KeyboardShortcuts_" plus the name as the
// shortcut's JSON text, registered with the system while some handler wants them, and
// dispatched to every name that stores the pressed shortcut (in the order the registry first
// saw the names; each name's handlers in the order added, then its streams). Main thread only.
//
// A name that was never set reads as its default shortcut; clearing stores an empty text, so a
// cleared name stays cleared across launches.
class Registry : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void()>;
    using StreamHandler = std::function<void(EventType)>;

    static QString settingsKey(const Name &name);

    // The settings and the backend must outlive the registry.
    Registry(QSettings &settings, HotKeyBackend &backend, QObject *parent = nullptr);
    ~Registry() override;

    // Makes the name known (to allNames and resetAll); every call taking a name does this too.
    void declare(const Name &name);
    QList<Name> allNames() const { return m_names; }

    std::optional<Shortcut> getShortcut(const Name &name) const;
    // Stores or clears, then announces the change, which updates the registrations.
    void setShortcut(const std::optional<Shortcut> &shortcut, const Name &name);

    void onKeyDown(const Name &name, Handler action);
    void onKeyUp(const Name &name, Handler action);
    [[nodiscard]] EventStream events(const Name &name, StreamHandler handler);
    [[nodiscard]] EventStream events(EventType type, const Name &name, Handler handler);

    // Registers or unregisters the names' shortcuts without touching what is stored or the
    // handlers; a disabled name gets no events until enabled again.
    void enable(const Name &name);
    void enable(const QList<Name> &names);
    void disable(const Name &name);
    void disable(const QList<Name> &names);
    // Whether the name's shortcut is registered with the system (refused ones are not).
    bool isEnabled(const Name &name) const;
    // Whether the system refused the shortcut the name wants now (another program holds it):
    // it has handlers, is not disabled, but is not registered.
    bool isRefused(const Name &name) const;
    // Asks the system again for every refused shortcut (the other program may have let go);
    // each one still refused is reported as at the first try.
    void retryRefused();

    // Stores the default shortcut again (clears when there is none).
    void reset(const Name &name);
    void reset(const QList<Name> &names);
    void resetAll();

    void removeHandler(const Name &name);
    void removeAllHandlers();

    // The shortcuts handed to the system (a refused one stays here until no name wants it, so
    // that it is not retried, and reported, on every change).
    QList<Shortcut> registeredShortcuts() const { return m_registered; }
    const CarbonKeyboardShortcuts &hotKeys() const { return m_carbon; }

signals:
    // What is registered with the system changed, or a refused shortcut was tried again.
    void registrationsChanged();

private:
    friend class EventStream;

    const Name &known(const Name &name);
    bool hasHandlers(const QString &name) const;
    bool hasStream(const QString &name, const QUuid &id) const;
    void removeStream(const QString &name, const QUuid &id);
    void updateRegistrations();
    void dispatch(const Shortcut &shortcut, EventType type);

    QSettings &m_settings;
    CarbonKeyboardShortcuts m_carbon;
    QList<Name> m_names;
    QHash<QString, QList<Handler>> m_keyDownHandlers;
    QHash<QString, QList<Handler>> m_keyUpHandlers;
    QHash<QString, QMap<QUuid, StreamHandler>> m_streamHandlers;
    QSet<QString> m_disabled;
    QList<Shortcut> m_registered;
};

} // namespace KeyboardShortcuts
