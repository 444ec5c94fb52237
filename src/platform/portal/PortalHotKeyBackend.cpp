#include "PortalHotKeyBackend.h"

#include "KeyboardShortcuts/KeyTable.h"
#include "PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QLoggingCategory>

#include <xkbcommon/xkbcommon.h>

Q_LOGGING_CATEGORY(lcGlobalShortcuts, "cliphaven.portal.globalshortcuts", QtInfoMsg)

namespace {

const QString kInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

// One entry of the portal's a(sa{sv}) shortcut lists.
struct PortalShortcut
{
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(PortalShortcut)

using KeyboardShortcuts::CarbonModifier::command;
using KeyboardShortcuts::CarbonModifier::control;
using KeyboardShortcuts::CarbonModifier::option;
using KeyboardShortcuts::CarbonModifier::shift;

QString PortalHotKeyBackend::preferredTrigger(const KeyboardShortcuts::Shortcut &shortcut)
{
    QStringList parts;
    if (shortcut.carbonModifiers & control)
        parts << QStringLiteral("CTRL");
    if (shortcut.carbonModifiers & option)
        parts << QStringLiteral("ALT");
    if (shortcut.carbonModifiers & shift)
        parts << QStringLiteral("SHIFT");
    if (shortcut.carbonModifiers & command)
        parts << QStringLiteral("LOGO");
    const KeyboardShortcuts::KeyTableRow *row = KeyboardShortcuts::keyTableRow(shortcut.key());
    char name[64] = {};
    if (!row || row->keysym == 0 || xkb_keysym_get_name(row->keysym, name, sizeof name) <= 0)
        return {};
    parts << QString::fromLatin1(name);
    return parts.join(QLatin1Char('+'));
}

PortalHotKeyBackend::PortalHotKeyBackend(const QDBusConnection &bus,
                                         const QString &shortcutId,
                                         const QString &description,
                                         int deadlineMs,
                                         QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_shortcutId(shortcutId)
    , m_description(description)
    , m_deadlineMs(deadlineMs)
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();

    const QVariantMap options{{QStringLiteral("session_handle_token"), Portal::newToken()}};
    PortalRequest::call(m_bus,
                        kInterface,
                        QStringLiteral("CreateSession"),
                        {},
                        options,
                        m_deadlineMs,
                        this,
                        [this](PortalRequest::Outcome outcome, const QVariantMap &results) {
                            m_session = Portal::sessionHandle(results);
                            if (outcome != PortalRequest::Outcome::success || m_session.isEmpty()) {
                                qCDebug(lcGlobalShortcuts)
                                    << "no session:" << int(outcome) << results;
                                m_session.clear();
                                setState(State::unavailable);
                                return;
                            }
                            for (const char *signal : {"Activated", "Deactivated"}) {
                                m_bus.connect(Portal::kService,
                                              Portal::kPath,
                                              kInterface,
                                              QString::fromLatin1(signal),
                                              this,
                                              qstrcmp(signal, "Activated") == 0
                                                  ? SLOT(onActivated(QDBusObjectPath,
                                                                     QString,
                                                                     qulonglong,
                                                                     QVariantMap))
                                                  : SLOT(onDeactivated(QDBusObjectPath,
                                                                       QString,
                                                                       qulonglong,
                                                                       QVariantMap)));
                            }
                            m_bus.connect(Portal::kService,
                                          Portal::kPath,
                                          kInterface,
                                          QStringLiteral("ShortcutsChanged"),
                                          this,
                                          SLOT(onShortcutsChanged(QDBusObjectPath, QDBusArgument)));
                            setState(State::ready);
                            if (m_hotKeyId)
                                bind();
                        });
}

PortalHotKeyBackend::~PortalHotKeyBackend()
{
    Portal::closeSession(m_bus, m_session);
}

int PortalHotKeyBackend::registerHotKey(int hotKeyId, const KeyboardShortcuts::Shortcut &shortcut)
{
    // One shortcut in the session: the desktop knows it by its id, whatever its trigger.
    if (m_state == State::unavailable || (m_hotKeyId && *m_hotKeyId != hotKeyId))
        return kUnsupported;
    if (preferredTrigger(shortcut).isEmpty())
        return kUnsupported;
    m_hotKeyId = hotKeyId;
    m_shortcut = shortcut;
    if (m_state == State::ready)
        bind();
    return 0;
}

void PortalHotKeyBackend::unregisterHotKey(int hotKeyId)
{
    // The portal has no unbinding: presses are no longer delivered, and the next registration
    // binds the same shortcut again with its own trigger.
    if (m_hotKeyId == hotKeyId)
        m_hotKeyId.reset();
}

void PortalHotKeyBackend::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    emit stateChanged();
}

void PortalHotKeyBackend::bind()
{
    if (m_binding) {
        m_rebindWanted = true;
        return;
    }
    m_binding = true;
    const QList<PortalShortcut> shortcuts{
        {m_shortcutId,
         {{QStringLiteral("description"), m_description},
          {QStringLiteral("preferred_trigger"), preferredTrigger(m_shortcut)}}}};
    // Binding may show the desktop's dialog; the user gets as long as a paste approval.
    PortalRequest::call(m_bus,
                        kInterface,
                        QStringLiteral("BindShortcuts"),
                        {QVariant::fromValue(QDBusObjectPath(m_session)),
                         QVariant::fromValue(shortcuts),
                         QString()},
                        {},
                        m_deadlineMs * 6,
                        this,
                        [this](PortalRequest::Outcome outcome, const QVariantMap &results) {
                            m_binding = false;
                            if (outcome == PortalRequest::Outcome::success)
                                takeTriggers(results.value(QStringLiteral("shortcuts")));
                            else
                                qCDebug(lcGlobalShortcuts) << "not bound:" << int(outcome);
                            if (std::exchange(m_rebindWanted, false) && m_hotKeyId)
                                bind();
                        });
}

void PortalHotKeyBackend::takeTriggers(const QVariant &shortcuts)
{
    if (!shortcuts.canConvert<QDBusArgument>())
        return;
    QList<PortalShortcut> list;
    shortcuts.value<QDBusArgument>() >> list;
    for (const PortalShortcut &shortcut : std::as_const(list)) {
        if (shortcut.id == m_shortcutId)
            setBoundTrigger(
                shortcut.properties.value(QStringLiteral("trigger_description")).toString());
    }
}

void PortalHotKeyBackend::setBoundTrigger(const QString &trigger)
{
    if (m_boundTrigger == trigger)
        return;
    m_boundTrigger = trigger;
    emit boundTriggerChanged();
}

void PortalHotKeyBackend::onActivated(const QDBusObjectPath &session,
                                      const QString &shortcutId,
                                      qulonglong,
                                      const QVariantMap &)
{
    if (session.path() == m_session && shortcutId == m_shortcutId && m_hotKeyId && m_handler)
        m_handler(*m_hotKeyId, KeyboardShortcuts::EventType::keyDown);
}

void PortalHotKeyBackend::onDeactivated(const QDBusObjectPath &session,
                                        const QString &shortcutId,
                                        qulonglong,
                                        const QVariantMap &)
{
    if (session.path() == m_session && shortcutId == m_shortcutId && m_hotKeyId && m_handler)
        m_handler(*m_hotKeyId, KeyboardShortcuts::EventType::keyUp);
}

// The user changed the trigger in the desktop's settings.
void PortalHotKeyBackend::onShortcutsChanged(const QDBusObjectPath &session,
                                             const QDBusArgument &shortcuts)
{
    if (session.path() == m_session)
        takeTriggers(QVariant::fromValue(shortcuts));
}
