#pragma once

#include "KeyboardShortcuts/HotKeyBackend.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QObject>
#include <QString>

#include <optional>

// The system-wide hot key through the desktop portal's GlobalShortcuts interface: one session,
// created at construction, and one shortcut in it under a fixed id, bound with the stored
// shortcut as its preferred trigger. The desktop decides the trigger (it may keep an earlier
// one, or let the user pick another): boundTrigger() is what it reported. Activated and
// Deactivated arrive as key down and key up.
//
// Used only where a session can really be created: until the session exists a registration is
// accepted and bound once it does; when it cannot be created, the backend becomes unavailable
// and refuses like a desktop without global shortcuts.
class PortalHotKeyBackend : public QObject, public KeyboardShortcuts::HotKeyBackend
{
    Q_OBJECT
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(QString boundTrigger READ boundTrigger NOTIFY boundTriggerChanged)

public:
    enum class State { connecting, ready, unavailable };
    Q_ENUM(State)

    // The preferred trigger in the shortcuts specification's form, as in "SHIFT+LOGO+v".
    static QString preferredTrigger(const KeyboardShortcuts::Shortcut &shortcut);

    PortalHotKeyBackend(const QDBusConnection &bus,
                        const QString &shortcutId,
                        const QString &description,
                        int deadlineMs = 5000,
                        QObject *parent = nullptr);
    ~PortalHotKeyBackend() override;

    int registerHotKey(int hotKeyId, const KeyboardShortcuts::Shortcut &shortcut) override;
    void unregisterHotKey(int hotKeyId) override;
    void setEventHandler(EventHandler handler) override { m_handler = std::move(handler); }

    State state() const { return m_state; }
    // The trigger the desktop reported for the shortcut; empty until bound.
    QString boundTrigger() const { return m_boundTrigger; }

signals:
    void stateChanged();
    void boundTriggerChanged();

private slots:
    void onActivated(const QDBusObjectPath &session,
                     const QString &shortcutId,
                     qulonglong timestamp,
                     const QVariantMap &options);
    void onDeactivated(const QDBusObjectPath &session,
                       const QString &shortcutId,
                       qulonglong timestamp,
                       const QVariantMap &options);
    void onShortcutsChanged(const QDBusObjectPath &session, const QDBusArgument &shortcuts);

private:
    void setState(State state);
    void bind();
    void takeTriggers(const QVariant &shortcuts);
    void setBoundTrigger(const QString &trigger);

    QDBusConnection m_bus;
    QString m_shortcutId;
    QString m_description;
    int m_deadlineMs;
    State m_state = State::connecting;
    QString m_session;
    // The registered hot key, bound to the portal's one shortcut.
    std::optional<int> m_hotKeyId;
    KeyboardShortcuts::Shortcut m_shortcut;
    bool m_binding = false;
    bool m_rebindWanted = false;
    QString m_boundTrigger;
    EventHandler m_handler;
};
