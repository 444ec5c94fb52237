#include "PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QRandomGenerator>

namespace Portal {

QString newToken()
{
    static quint32 counter = 0;
    return QStringLiteral("cliphaven%1_%2")
        .arg(++counter)
        .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
}

QString sessionHandle(const QVariantMap &results)
{
    const QVariant handle = results.value(QStringLiteral("session_handle"));
    if (handle.canConvert<QDBusObjectPath>()
        && handle.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return handle.value<QDBusObjectPath>().path();
    return handle.toString();
}

void closeSession(const QDBusConnection &bus, const QString &handle)
{
    if (handle.isEmpty())
        return;
    QDBusConnection(bus).asyncCall(QDBusMessage::createMethodCall(kService,
                                                                  handle,
                                                                  kSessionInterface,
                                                                  QStringLiteral("Close")));
}

} // namespace Portal

PortalRequest::PortalRequest(const QDBusConnection &bus, QObject *context, Done done)
    : m_bus(bus)
    , m_context(context)
    , m_done(std::move(done))
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        // Withdraws a dialog the user may still be looking at.
        if (!m_path.isEmpty())
            m_bus.asyncCall(QDBusMessage::createMethodCall(Portal::kService,
                                                           m_path,
                                                           Portal::kRequestInterface,
                                                           QStringLiteral("Close")));
        finish(Outcome::noAnswer);
    });
}

void PortalRequest::call(const QDBusConnection &bus,
                         const QString &interface,
                         const QString &method,
                         const QVariantList &arguments,
                         QVariantMap options,
                         int deadlineMs,
                         QObject *context,
                         Done done)
{
    auto *request = new PortalRequest(bus, context, std::move(done));
    const QString token = Portal::newToken();
    options.insert(QStringLiteral("handle_token"), token);
    // The request's path: the caller's unique name without the colon, dots made underscores.
    QString sender = bus.baseService();
    sender.remove(0, 1).replace(QLatin1Char('.'), QLatin1Char('_'));
    request->subscribe(
        QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token));
    request->m_deadline.start(deadlineMs);

    QDBusMessage message = QDBusMessage::createMethodCall(Portal::kService,
                                                          Portal::kPath,
                                                          interface,
                                                          method);
    message.setArguments(QVariantList(arguments) << options);
    auto *watcher = new QDBusPendingCallWatcher(request->m_bus.asyncCall(message, deadlineMs),
                                                request);
    connect(watcher, &QDBusPendingCallWatcher::finished, request, [request, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isError()) {
            request->finish(reply.error().type() == QDBusError::NoReply ? Outcome::noAnswer
                                                                        : Outcome::failed);
            return;
        }
        // Portals older than the handle token answer on a path of their own choosing.
        const QString path = reply.value().path();
        if (!request->m_finished && path != request->m_path) {
            request->unsubscribe();
            request->subscribe(path);
        }
    });
}

void PortalRequest::subscribe(const QString &path)
{
    m_path = path;
    m_bus.connect(Portal::kService,
                  m_path,
                  Portal::kRequestInterface,
                  QStringLiteral("Response"),
                  this,
                  SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::unsubscribe()
{
    m_bus.disconnect(Portal::kService,
                     m_path,
                     Portal::kRequestInterface,
                     QStringLiteral("Response"),
                     this,
                     SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::onResponse(uint response, const QVariantMap &results)
{
    finish(response == 0   ? Outcome::success
           : response == 1 ? Outcome::cancelled
                           : Outcome::failed,
           results);
}

void PortalRequest::finish(Outcome outcome, const QVariantMap &results)
{
    if (m_finished)
        return;
    m_finished = true;
    m_deadline.stop();
    unsubscribe();
    if (m_context)
        m_done(outcome, results);
    deleteLater();
}
