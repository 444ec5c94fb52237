#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>

#include <functional>

// The desktop portal's service, object and the Request/Session interfaces every portal shares.
namespace Portal {
inline const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
inline const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
inline const QString kRequestInterface = QStringLiteral("org.freedesktop.portal.Request");
inline const QString kSessionInterface = QStringLiteral("org.freedesktop.portal.Session");

// A token unique within the process, usable as a handle or session handle token.
QString newToken();
// The session handle of a CreateSession answer (a string as the portal documents it, an object path
// by some backends).
QString sessionHandle(const QVariantMap &results);
// Closes a session, without waiting for the answer; an empty handle is ignored.
void closeSession(const QDBusConnection &bus, const QString &handle);
} // namespace Portal

// One call of a portal method that answers through a Request object. The Response signal is
// subscribed to before the call (its path follows from the handle token), so an answer sent at
// once is not missed; a portal that never answers is given up at the deadline and its request
// closed. Exactly one outcome reaches the callback, on the main thread, unless the context
// object is gone by then. Deletes itself afterwards.
class PortalRequest : public QObject
{
    Q_OBJECT

public:
    enum class Outcome {
        success,   // response 0
        cancelled, // response 1: the user said no
        failed,    // response 2, or the method call itself failed (no such interface, ...)
        noAnswer,  // the deadline passed first
    };
    using Done = std::function<void(Outcome, const QVariantMap &results)>;

    // Calls interface.method(arguments..., options) on the portal; options gets the handle
    // token added.
    static void call(const QDBusConnection &bus,
                     const QString &interface,
                     const QString &method,
                     const QVariantList &arguments,
                     QVariantMap options,
                     int deadlineMs,
                     QObject *context,
                     Done done);

private slots:
    void onResponse(uint response, const QVariantMap &results);

private:
    PortalRequest(const QDBusConnection &bus, QObject *context, Done done);
    void subscribe(const QString &path);
    void unsubscribe();
    void finish(Outcome outcome, const QVariantMap &results = {});

    QDBusConnection m_bus;
    QPointer<QObject> m_context;
    Done m_done;
    QString m_path;
    QTimer m_deadline;
    bool m_finished = false;
};
