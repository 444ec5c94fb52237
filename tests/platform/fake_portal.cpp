// A stand-in for the desktop portal on a private session bus: org.freedesktop.portal.Desktop
// with the RemoteDesktop and GlobalShortcuts interfaces, answering through real Request
// objects. Tests steer it through org.cliphaven.FakePortal on /control: how the next requests
// are answered, which restore tokens are still honoured, and Activated signals. It records
// every call and every keysym it is sent.
#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QSet>
#include <QTimer>

namespace {

const QString kDesktopPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kRemoteDesktop = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
const QString kGlobalShortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
const QString kSession = QStringLiteral("org.freedesktop.portal.Session");
const QString kControl = QStringLiteral("org.cliphaven.FakePortal");

struct Shortcut
{
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Shortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Shortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(Shortcut)

namespace {

// Arguments reach a virtual object unconverted: a{sv} as a QDBusArgument.
QVariantMap mapArgument(const QVariant &argument)
{
    if (argument.canConvert<QDBusArgument>())
        return qdbus_cast<QVariantMap>(argument.value<QDBusArgument>());
    return argument.toMap();
}

QString senderPart(const QDBusMessage &message)
{
    return message.service().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
}

class FakePortal : public QDBusVirtualObject
{
public:
    explicit FakePortal(QDBusConnection bus)
        : m_bus(bus)
    {}

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        const QString interface = message.interface();
        const QString member = message.member();
        const QVariantList args = message.arguments();
        if (message.path() == QLatin1String("/control") && interface == kControl)
            return control(message, member, args);
        if (interface == QLatin1String("org.freedesktop.DBus.Properties") && member == "Get") {
            if (!m_offered.contains(args.value(0).toString()))
                return error(message, "org.freedesktop.DBus.Error.UnknownInterface");
            const uint value = args.value(1).toString() == QLatin1String("AvailableDeviceTypes")
                                   ? m_deviceTypes
                                   : 1u;
            m_bus.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
            return true;
        }
        if ((interface == kRequest || interface == kSession) && member == QLatin1String("Close")) {
            m_calls.append(interface.section(QLatin1Char('.'), -1) + QStringLiteral(".Close"));
            m_sessions.remove(message.path());
            m_bus.send(message.createReply());
            return true;
        }
        if (!m_offered.contains(interface))
            return error(message, "org.freedesktop.DBus.Error.UnknownInterface");
        if (member == QLatin1String("CreateSession"))
            return createSession(message, interface, mapArgument(args.value(0)));
        if (interface == kRemoteDesktop)
            return remoteDesktop(message, member, args);
        return globalShortcuts(message, member, args);
    }

private:
    struct Session
    {
        QString interface;
        QString restoreToken;
        uint types = 0;
        uint persistMode = 0;
        bool started = false;
    };

    bool error(const QDBusMessage &message, const char *name)
    {
        m_bus.send(message.createErrorReply(QString::fromLatin1(name), QStringLiteral("fake")));
        return true;
    }

    // Replies with the request handle, then answers on it unless told never to.
    void answer(const QDBusMessage &message,
                const QVariantMap &options,
                const QString &mode,
                const QVariantMap &results)
    {
        const QString path = QStringLiteral("%1/request/%2/%3")
                                 .arg(kDesktopPath,
                                      senderPart(message),
                                      options.value(QStringLiteral("handle_token")).toString());
        m_bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(path))));
        if (mode == QLatin1String("never"))
            return;
        const uint response = mode == QLatin1String("approve")  ? 0
                              : mode == QLatin1String("cancel") ? 1
                                                                : 2;
        QTimer::singleShot(0, [bus = m_bus, path, response, results]() mutable {
            QDBusMessage signal = QDBusMessage::createSignal(path, kRequest, "Response");
            signal << response << results;
            bus.send(signal);
        });
    }

    bool createSession(const QDBusMessage &message,
                       const QString &interface,
                       const QVariantMap &options)
    {
        m_calls.append(interface.section(QLatin1Char('.'), -1) + QStringLiteral(".CreateSession"));
        const QString handle = QStringLiteral("%1/session/%2/%3")
                                   .arg(kDesktopPath,
                                        senderPart(message),
                                        options.value("session_handle_token").toString());
        if (m_createAnswer == QLatin1String("approve"))
            m_sessions.insert(handle, Session{interface});
        answer(message, options, m_createAnswer, {{QStringLiteral("session_handle"), handle}});
        if (interface == kGlobalShortcuts)
            m_shortcutSession = handle;
        return true;
    }

    bool remoteDesktop(const QDBusMessage &message, const QString &member, const QVariantList &args)
    {
        const QString handle = args.value(0).value<QDBusObjectPath>().path();
        if (!m_sessions.contains(handle))
            return error(message, "org.freedesktop.portal.Error.NotFound");
        Session &session = m_sessions[handle];
        if (member == QLatin1String("SelectDevices")) {
            const QVariantMap options = mapArgument(args.value(1));
            session.types = options.value("types").toUInt();
            session.persistMode = options.value("persist_mode").toUInt();
            session.restoreToken = options.value("restore_token").toString();
            m_calls.append(QStringLiteral("SelectDevices types=%1 persist=%2 token=%3")
                               .arg(session.types)
                               .arg(session.persistMode)
                               .arg(session.restoreToken));
            answer(message, options, QStringLiteral("approve"), {});
            return true;
        }
        if (member == QLatin1String("Start")) {
            const QVariantMap options = mapArgument(args.value(2));
            QString mode = m_startAnswer;
            if (!session.restoreToken.isEmpty())
                mode = m_validTokens.contains(session.restoreToken) ? QStringLiteral("approve")
                                                                    : QStringLiteral("fail");
            m_calls.append(QStringLiteral("Start %1")
                               .arg(session.restoreToken.isEmpty() ? "asked" : "restored"));
            QVariantMap results;
            if (mode == QLatin1String("approve")) {
                session.started = true;
                results.insert(QStringLiteral("devices"), session.types & m_deviceTypes);
                if (session.persistMode == 2) {
                    const QString token = QStringLiteral("token-%1").arg(++m_tokenCount);
                    m_validTokens.insert(token);
                    results.insert(QStringLiteral("restore_token"), token);
                }
            }
            answer(message, options, mode, results);
            return true;
        }
        if (member == QLatin1String("NotifyKeyboardKeysym")) {
            if (!session.started || !(session.types & 1))
                return error(message, "org.freedesktop.DBus.Error.AccessDenied");
            m_keysyms.append(QStringLiteral("%1:%2")
                                 .arg(args.value(2).toInt(), 0, 16)
                                 .arg(args.value(3).toUInt()));
            m_bus.send(message.createReply());
            return true;
        }
        return error(message, "org.freedesktop.DBus.Error.UnknownMethod");
    }

    bool globalShortcuts(const QDBusMessage &message,
                         const QString &member,
                         const QVariantList &args)
    {
        const QString handle = args.value(0).value<QDBusObjectPath>().path();
        if (member != QLatin1String("BindShortcuts") || !m_sessions.contains(handle))
            return error(message, "org.freedesktop.DBus.Error.UnknownMethod");
        QList<Shortcut> shortcuts;
        args.value(1).value<QDBusArgument>() >> shortcuts;
        for (Shortcut &shortcut : shortcuts) {
            const QString preferred = shortcut.properties.value("preferred_trigger").toString();
            m_calls.append(QStringLiteral("BindShortcuts %1 %2").arg(shortcut.id, preferred));
            shortcut.properties.insert(QStringLiteral("trigger_description"),
                                       m_boundTrigger.isEmpty() ? preferred : m_boundTrigger);
            shortcut.properties.remove(QStringLiteral("preferred_trigger"));
        }
        answer(message,
               mapArgument(args.value(3)),
               m_bindAnswer,
               {{QStringLiteral("shortcuts"), QVariant::fromValue(shortcuts)}});
        return true;
    }

    bool control(const QDBusMessage &message, const QString &member, const QVariantList &args)
    {
        QVariant reply;
        const QHash<QString, QString *> answers{{QStringLiteral("SetCreateAnswer"), &m_createAnswer},
                                                {QStringLiteral("SetStartAnswer"), &m_startAnswer},
                                                {QStringLiteral("SetBindAnswer"), &m_bindAnswer},
                                                {QStringLiteral("SetBoundTrigger"),
                                                 &m_boundTrigger}};
        if (answers.contains(member))
            *answers.value(member) = args.value(0).toString();
        else if (member == QLatin1String("SetOffered")) {
            const QStringList offered = args.value(0).toStringList();
            m_offered = QSet<QString>(offered.cbegin(), offered.cend());
        } else if (member == QLatin1String("SetDeviceTypes"))
            m_deviceTypes = args.value(0).toUInt();
        else if (member == QLatin1String("CloseSessions")) {
            for (auto it = m_sessions.cbegin(); it != m_sessions.cend(); ++it)
                m_bus.send(QDBusMessage::createSignal(it.key(), kSession, "Closed")
                           << QVariantMap());
            m_sessions.clear();
        } else if (member == QLatin1String("EmitActivated") || member == "EmitDeactivated") {
            QDBusMessage signal = QDBusMessage::createSignal(kDesktopPath,
                                                             kGlobalShortcuts,
                                                             member.mid(4));
            signal << QVariant::fromValue(QDBusObjectPath(m_shortcutSession)) << args.value(0)
                   << qulonglong(1) << QVariantMap();
            m_bus.send(signal);
        } else if (member == QLatin1String("Calls"))
            reply = m_calls;
        else if (member == QLatin1String("Keysyms"))
            reply = m_keysyms;
        else
            return error(message, "org.freedesktop.DBus.Error.UnknownMethod");
        m_bus.send(reply.isValid() ? message.createReply(reply) : message.createReply());
        return true;
    }

    QDBusConnection m_bus;
    QString m_createAnswer = QStringLiteral("approve");
    QString m_startAnswer = QStringLiteral("approve");
    QString m_bindAnswer = QStringLiteral("approve");
    QString m_boundTrigger;
    QSet<QString> m_offered{kRemoteDesktop, kGlobalShortcuts};
    uint m_deviceTypes = 3; // keyboard and pointer
    QSet<QString> m_validTokens;
    int m_tokenCount = 0;
    QHash<QString, Session> m_sessions;
    QString m_shortcutSession;
    QStringList m_calls;
    QStringList m_keysyms;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    QDBusConnection bus = QDBusConnection::sessionBus();
    FakePortal portal(bus);
    if (!bus.registerVirtualObject(kDesktopPath, &portal, QDBusConnection::SubPath)
        || !bus.registerVirtualObject(QStringLiteral("/control"), &portal)
        || !bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
        qCritical("fake portal: cannot register on the session bus");
        return 1;
    }
    return app.exec();
}
