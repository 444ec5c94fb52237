#include "RemoteDesktopKeyPoster.h"

#include "PasteKeysyms.h"
#include "PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcRemoteDesktop, "cliphaven.portal.remotedesktop", QtInfoMsg)

namespace {

const QString kInterface = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
constexpr uint kKeyboard = 1;
constexpr uint kPersistUntilRevoked = 2;

} // namespace

RemoteDesktopKeyPoster::RemoteDesktopKeyPoster(const QDBusConnection &bus,
                                               const QString &restoreToken,
                                               bool refused,
                                               KeyPoster *next,
                                               Deadlines deadlines,
                                               QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_next(next)
    , m_deadlines(deadlines)
    , m_restoreToken(restoreToken)
{
    if (refused)
        m_state = State::refused;
    else
        probe();
}

RemoteDesktopKeyPoster::RemoteDesktopKeyPoster(const QDBusConnection &bus,
                                               const QString &restoreToken,
                                               bool refused,
                                               KeyPoster *next,
                                               QObject *parent)
    : RemoteDesktopKeyPoster(bus, restoreToken, refused, next, Deadlines{}, parent)
{}

RemoteDesktopKeyPoster::~RemoteDesktopKeyPoster()
{
    Portal::closeSession(m_bus, m_session);
}

bool RemoteDesktopKeyPoster::isTrusted()
{
    if (m_state == State::refused)
        return false;
    if (m_state == State::unavailable)
        return m_next && m_next->isTrusted();
    return true;
}

void RemoteDesktopKeyPoster::postPasteKeystroke(PasteKeystroke keystroke)
{
    switch (m_state) {
    case State::ready:
        send(keystroke);
        return;
    case State::refused:
        return;
    case State::unavailable:
        if (m_next && m_next->isTrusted())
            m_next->postPasteKeystroke(keystroke);
        return;
    case State::probing:
    case State::opening:
        // Only the latest pick is typed once the session is there.
        m_pending = keystroke;
        return;
    case State::idle:
        m_pending = keystroke;
        open();
        return;
    }
}

void RemoteDesktopKeyPoster::askAgain()
{
    if (m_state != State::refused)
        return;
    setState(State::idle);
    emit refusedChanged(false);
}

void RemoteDesktopKeyPoster::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    qCDebug(lcRemoteDesktop) << "state" << state;
    emit stateChanged(state);
}

// Whether the portal offers a keyboard at all. Answering says little (any backend may have
// answered); the session decides.
void RemoteDesktopKeyPoster::probe()
{
    QDBusMessage get = QDBusMessage::createMethodCall(Portal::kService,
                                                      Portal::kPath,
                                                      QStringLiteral(
                                                          "org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("Get"));
    get.setArguments({kInterface, QStringLiteral("AvailableDeviceTypes")});
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(get, m_deadlines.requestMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        const bool keyboard = !reply.isError()
                              && (reply.value().variant().toUInt() & kKeyboard) != 0;
        if (m_state != State::probing)
            return;
        if (!keyboard) {
            qCDebug(lcRemoteDesktop) << "no keyboard offered:" << reply.error().message();
            giveUp(State::unavailable, Problem::failed);
            return;
        }
        setState(State::idle);
        if (m_pending)
            open();
    });
}

void RemoteDesktopKeyPoster::open()
{
    setState(State::opening);
    const QVariantMap options{{QStringLiteral("session_handle_token"), Portal::newToken()}};
    PortalRequest::call(m_bus,
                        kInterface,
                        QStringLiteral("CreateSession"),
                        {},
                        options,
                        m_deadlines.requestMs,
                        this,
                        [this](PortalRequest::Outcome outcome, const QVariantMap &results) {
                            m_session = Portal::sessionHandle(results);
                            if (outcome != PortalRequest::Outcome::success || m_session.isEmpty()) {
                                giveUp(State::unavailable,
                                       outcome == PortalRequest::Outcome::noAnswer
                                           ? Problem::noAnswer
                                           : Problem::failed);
                                return;
                            }
                            m_bus.connect(Portal::kService,
                                          m_session,
                                          Portal::kSessionInterface,
                                          QStringLiteral("Closed"),
                                          this,
                                          SLOT(onSessionClosed()));
                            selectDevices();
                        });
}

void RemoteDesktopKeyPoster::selectDevices()
{
    QVariantMap options{{QStringLiteral("types"), kKeyboard},
                        {QStringLiteral("persist_mode"), kPersistUntilRevoked}};
    if (!m_restoreToken.isEmpty())
        options.insert(QStringLiteral("restore_token"), m_restoreToken);
    PortalRequest::call(m_bus,
                        kInterface,
                        QStringLiteral("SelectDevices"),
                        {QVariant::fromValue(QDBusObjectPath(m_session))},
                        options,
                        m_deadlines.requestMs,
                        this,
                        [this](PortalRequest::Outcome outcome, const QVariantMap &) {
                            if (outcome == PortalRequest::Outcome::success)
                                start();
                            else
                                giveUp(State::unavailable,
                                       outcome == PortalRequest::Outcome::noAnswer
                                           ? Problem::noAnswer
                                           : Problem::failed);
                        });
}

void RemoteDesktopKeyPoster::start()
{
    const bool withToken = !m_restoreToken.isEmpty();
    PortalRequest::call(m_bus,
                        kInterface,
                        QStringLiteral("Start"),
                        {QVariant::fromValue(QDBusObjectPath(m_session)), QString()},
                        {},
                        m_deadlines.approvalMs,
                        this,
                        [this, withToken](PortalRequest::Outcome outcome,
                                          const QVariantMap &results) {
                            const bool keyboard = (results.value(QStringLiteral("devices")).toUInt()
                                                   & kKeyboard)
                                                  != 0;
                            if (outcome == PortalRequest::Outcome::success && keyboard) {
                                const QString token = results.value(QStringLiteral("restore_token"))
                                                          .toString();
                                if (!token.isEmpty())
                                    setRestoreToken(token);
                                setState(State::ready);
                                if (const auto pending = std::exchange(m_pending, std::nullopt))
                                    send(*pending);
                                return;
                            }
                            if (outcome == PortalRequest::Outcome::cancelled) {
                                giveUp(State::refused, Problem::refused);
                                emit refusedChanged(true);
                                return;
                            }
                            if (outcome == PortalRequest::Outcome::noAnswer) {
                                giveUp(State::unavailable, Problem::noAnswer);
                                return;
                            }
                            // A saved token the portal no longer honours: forget it and ask the user, once.
                            if (withToken && !m_tokenRejected) {
                                qCDebug(lcRemoteDesktop) << "restore token rejected; asking again";
                                m_tokenRejected = true;
                                setRestoreToken(QString());
                                dropSession();
                                open();
                                return;
                            }
                            giveUp(State::unavailable, Problem::failed);
                        });
}

void RemoteDesktopKeyPoster::send(PasteKeystroke keystroke)
{
    // Only keys this session pressed can be released through it: modifiers the user still
    // holds on the real keyboard are the compositor's to know.
    const QList<quint32> keysyms = pasteKeysyms(keystroke);
    auto notify = [this](quint32 keysym, uint state) {
        QDBusMessage message = QDBusMessage::createMethodCall(Portal::kService,
                                                              Portal::kPath,
                                                              kInterface,
                                                              QStringLiteral(
                                                                  "NotifyKeyboardKeysym"));
        message.setArguments(
            {QVariant::fromValue(QDBusObjectPath(m_session)), QVariantMap(), int(keysym), state});
        m_bus.send(message);
    };
    for (const quint32 keysym : keysyms)
        notify(keysym, 1);
    for (auto it = keysyms.crbegin(); it != keysyms.crend(); ++it)
        notify(*it, 0);
}

// A refusal is the user's answer for every way of typing into their programs, so nothing
// falls through after it; it is explained whether or not a paste was waiting.
void RemoteDesktopKeyPoster::giveUp(State state, Problem problem)
{
    dropSession();
    setState(state);
    const std::optional<PasteKeystroke> pending = std::exchange(m_pending, std::nullopt);
    if (problem == Problem::refused) {
        emit this->problem(problem);
        return;
    }
    if (!pending)
        return;
    if (m_next && m_next->isTrusted())
        m_next->postPasteKeystroke(*pending);
    else
        emit this->problem(problem);
}

void RemoteDesktopKeyPoster::dropSession()
{
    if (m_session.isEmpty())
        return;
    m_bus.disconnect(Portal::kService,
                     m_session,
                     Portal::kSessionInterface,
                     QStringLiteral("Closed"),
                     this,
                     SLOT(onSessionClosed()));
    Portal::closeSession(m_bus, std::exchange(m_session, QString()));
}

// The desktop ended the session (revoked, or the portal restarted): the next paste opens
// another, with the saved token.
void RemoteDesktopKeyPoster::onSessionClosed()
{
    m_bus.disconnect(Portal::kService,
                     m_session,
                     Portal::kSessionInterface,
                     QStringLiteral("Closed"),
                     this,
                     SLOT(onSessionClosed()));
    m_session.clear();
    if (m_state == State::ready)
        setState(State::idle);
}

void RemoteDesktopKeyPoster::setRestoreToken(const QString &token)
{
    if (m_restoreToken == token)
        return;
    m_restoreToken = token;
    emit restoreTokenChanged(token);
}
