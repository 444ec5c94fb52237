// Types on a headless GNOME compositor's seat, as a keyboard would: through a session of
// mutter's org.gnome.Mutter.RemoteDesktop service (the seat has no other keyboard).
// Arguments, in order: "--type TEXT" types each character, "--key NAME" presses and releases
// an XKB keysym name (Return, Escape, ...), "--wait MS" pauses. Exits 0 when every key was sent.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QThread>

#include <xkbcommon/xkbcommon.h>

#include <cstdio>

namespace {

const QString kService = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString kSession = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");

bool call(const QString &path,
          const QString &interface,
          const QString &method,
          const QVariantList &arguments,
          QDBusMessage *reply = nullptr)
{
    QDBusMessage message = QDBusMessage::createMethodCall(kService, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage answer = QDBusConnection::sessionBus().call(message, QDBus::Block, 20000);
    if (answer.type() != QDBusMessage::ReplyMessage) {
        std::fprintf(stderr,
                     "mutter_keys: %s: %s\n",
                     qPrintable(method),
                     qPrintable(answer.errorMessage()));
        return false;
    }
    if (reply)
        *reply = answer;
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QDBusMessage created;
    if (!call(QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
              kService,
              QStringLiteral("CreateSession"),
              {},
              &created))
        return 1;
    const QString session = created.arguments().value(0).value<QDBusObjectPath>().path();
    if (!call(session, kSession, QStringLiteral("Start"), {}))
        return 1;
    auto tap = [&](quint32 keysym) {
        return call(session, kSession, QStringLiteral("NotifyKeyboardKeysym"), {keysym, true})
               && call(session, kSession, QStringLiteral("NotifyKeyboardKeysym"), {keysym, false});
    };
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i + 1 < arguments.size(); i += 2) {
        const QString &option = arguments[i];
        const QString &value = arguments[i + 1];
        if (option == QLatin1String("--type")) {
            for (const uint character : value.toUcs4()) {
                if (!tap(xkb_utf32_to_keysym(character)))
                    return 1;
                QThread::msleep(20);
            }
        } else if (option == QLatin1String("--key")) {
            const xkb_keysym_t keysym = xkb_keysym_from_name(qPrintable(value), XKB_KEYSYM_NO_FLAGS);
            if (keysym == XKB_KEY_NoSymbol || !tap(keysym))
                return 1;
        } else if (option == QLatin1String("--wait")) {
            QThread::msleep(value.toULong());
        } else {
            return 2;
        }
    }
    // The keys are in; stopping now could drop the last release.
    QThread::msleep(100);
    call(session, kSession, QStringLiteral("Stop"), {});
    return 0;
}
