#include "MutterKeyPoster.h"

#include "PasteKeysyms.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcMutter, "cliphaven.mutter.remotedesktop", QtInfoMsg)

namespace {

const QString kService = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString kPath = QStringLiteral("/org/gnome/Mutter/RemoteDesktop");
const QString kInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString kSessionInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");

} // namespace

MutterKeyPoster::MutterKeyPoster(const QDBusConnection &bus,
                                 KeyPoster *next,
                                 int deadlineMs,
                                 QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_next(next)
    , m_deadlineMs(deadlineMs)
{
    // Only a running GNOME compositor owns the name; elsewhere this poster stands aside at once.
    QDBusMessage hasOwner = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                           QStringLiteral("/org/freedesktop/DBus"),
                                                           QStringLiteral("org.freedesktop.DBus"),
                                                           QStringLiteral("NameHasOwner"));
    hasOwner.setArguments({kService});
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(hasOwner, m_deadlineMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<bool> reply = *watcher;
        if (m_state != State::probing)
            return;
        if (reply.isError() || !reply.value()) {
            giveUp();
            return;
        }
        setState(State::idle);
        if (m_pending)
            open();
    });
}

MutterKeyPoster::~MutterKeyPoster()
{
    if (!m_session.isEmpty())
        m_bus.asyncCall(
            QDBusMessage::createMethodCall(kService, m_session, kSessionInterface, "Stop"));
}

bool MutterKeyPoster::isTrusted()
{
    if (m_state == State::unavailable)
        return m_next && m_next->isTrusted();
    return true;
}

void MutterKeyPoster::postPasteKeystroke(PasteKeystroke keystroke)
{
    switch (m_state) {
    case State::ready:
        send(keystroke);
        return;
    case State::unavailable:
        if (m_next && m_next->isTrusted())
            m_next->postPasteKeystroke(keystroke);
        return;
    case State::probing:
    case State::opening:
        m_pending = keystroke;
        return;
    case State::idle:
        m_pending = keystroke;
        open();
        return;
    }
}

void MutterKeyPoster::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    qCDebug(lcMutter) << "state" << state;
    emit stateChanged(state);
}

void MutterKeyPoster::open()
{
    setState(State::opening);
    const auto create = QDBusMessage::createMethodCall(kService,
                                                       kPath,
                                                       kInterface,
                                                       QStringLiteral("CreateSession"));
    auto *created = new QDBusPendingCallWatcher(m_bus.asyncCall(create, m_deadlineMs), this);
    connect(created, &QDBusPendingCallWatcher::finished, this, [this, created] {
        created->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *created;
        if (reply.isError()) {
            qCDebug(lcMutter) << "no session:" << reply.error().message();
            giveUp();
            return;
        }
        m_session = reply.value().path();
        m_bus.connect(kService,
                      m_session,
                      kSessionInterface,
                      QStringLiteral("Closed"),
                      this,
                      SLOT(onSessionClosed()));
        const auto start = QDBusMessage::createMethodCall(kService,
                                                          m_session,
                                                          kSessionInterface,
                                                          QStringLiteral("Start"));
        auto *started = new QDBusPendingCallWatcher(m_bus.asyncCall(start, m_deadlineMs), this);
        connect(started, &QDBusPendingCallWatcher::finished, this, [this, started] {
            started->deleteLater();
            if (started->isError()) {
                qCDebug(lcMutter) << "session not started:" << started->error().message();
                giveUp();
                return;
            }
            setState(State::ready);
            if (const auto pending = std::exchange(m_pending, std::nullopt))
                send(*pending);
        });
    });
}

void MutterKeyPoster::send(PasteKeystroke keystroke)
{
    const QList<quint32> keysyms = pasteKeysyms(keystroke);
    auto notify = [this](quint32 keysym, bool pressed) {
        QDBusMessage message = QDBusMessage::createMethodCall(kService,
                                                              m_session,
                                                              kSessionInterface,
                                                              QStringLiteral(
                                                                  "NotifyKeyboardKeysym"));
        message.setArguments({uint(keysym), pressed});
        m_bus.send(message);
    };
    for (const quint32 keysym : keysyms)
        notify(keysym, true);
    for (auto it = keysyms.crbegin(); it != keysyms.crend(); ++it)
        notify(*it, false);
}

void MutterKeyPoster::giveUp()
{
    m_session.clear();
    setState(State::unavailable);
    const std::optional<PasteKeystroke> pending = std::exchange(m_pending, std::nullopt);
    if (!pending)
        return;
    if (m_next && m_next->isTrusted())
        m_next->postPasteKeystroke(*pending);
    else
        emit undelivered();
}

// The compositor ended the session (it restarts, or a remote-desktop policy stopped it): the
// next paste opens another.
void MutterKeyPoster::onSessionClosed()
{
    m_bus.disconnect(kService,
                     m_session,
                     kSessionInterface,
                     QStringLiteral("Closed"),
                     this,
                     SLOT(onSessionClosed()));
    m_session.clear();
    if (m_state == State::ready)
        setState(State::idle);
}
