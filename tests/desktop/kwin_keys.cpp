// The keyboard and the eyes of the KWin tests: types through KWin's fake input device, as a user
// at the keyboard would, and says which window is in front. KWin lends both only to a program
// whose desktop entry asks for them; the test writes that entry first.
//   kwin_keys type TEXT     types lowercase letters, digits and spaces
//   kwin_keys key NAME      presses and releases Return, Escape or Tab
//   kwin_keys active        prints the app_id of the window in front ("(none)" when none)
//   kwin_keys window APPID  shows a window with that app_id until killed
//   kwin_keys point X Y     moves the pointer to X,Y of the whole desktop
//   kwin_keys screenshot FILE  saves the whole desktop as a PNG (KWin needs a session bus, and
//                           this program's entry X-KDE-DBUS-Restricted-Interfaces=
//                           org.kde.KWin.ScreenShot2)
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandWorkspace.h"

#include "fake-input-client-protocol.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QGuiApplication>
#include <QImage>
#include <QPoint>
#include <QRasterWindow>
#include <QString>

#include <wayland-client.h>

#include <cstdio>
#include <cstring>
#include <optional>

#include <linux/input-event-codes.h>
#include <unistd.h>

namespace {

// US key positions: KWin's keymap when nothing configures another.
int keyFor(char c)
{
    static const char *rows[] = {"1234567890", "qwertyuiop", "asdfghjkl", "zxcvbnm"};
    static const int firsts[] = {KEY_1, KEY_Q, KEY_A, KEY_Z};
    for (int row = 0; row < 4; ++row) {
        if (const char *at = std::strchr(rows[row], c); at && c)
            return firsts[row] + int(at - rows[row]);
    }
    return c == ' ' ? KEY_SPACE : -1;
}

int namedKey(const QString &name)
{
    if (name == u"Return")
        return KEY_ENTER;
    if (name == u"Escape")
        return KEY_ESC;
    if (name == u"Tab")
        return KEY_TAB;
    return -1;
}

// Keys to type, or a pointer position when keys is empty.
int send(const QList<int> &keys, std::optional<QPoint> pointer = std::nullopt)
{
    WaylandConnection connection;
    const auto deadline = WaylandConnection::Clock::now() + std::chrono::seconds(10);
    if (!connection.fetchGlobals(deadline)) {
        std::fprintf(stderr, "kwin_keys: no compositor\n");
        return 1;
    }
    auto *input = static_cast<org_kde_kwin_fake_input *>(
        connection.bind(&org_kde_kwin_fake_input_interface, 4));
    if (!input) {
        std::fprintf(stderr, "kwin_keys: KWin lends no fake input to this program\n");
        return 1;
    }
    org_kde_kwin_fake_input_authenticate(input, "kwin_keys", "typing for a test");
    if (pointer) {
        org_kde_kwin_fake_input_pointer_motion_absolute(input,
                                                        wl_fixed_from_int(pointer->x()),
                                                        wl_fixed_from_int(pointer->y()));
    }
    for (int key : keys) {
        org_kde_kwin_fake_input_keyboard_key(input, uint32_t(key), WL_KEYBOARD_KEY_STATE_PRESSED);
        org_kde_kwin_fake_input_keyboard_key(input, uint32_t(key), WL_KEYBOARD_KEY_STATE_RELEASED);
        // One key at a time, as typed: a client sees each before the next.
        if (!connection.roundtrip(deadline))
            return 1;
    }
    org_kde_kwin_fake_input_destroy(input);
    return connection.roundtrip(deadline) ? 0 : 1;
}

// KWin writes the raw pixels into the pipe and answers with their layout.
int screenshot(const QString &file)
{
    int fds[2];
    if (pipe(fds) != 0)
        return 1;
    QDBusMessage reply;
    {
        QDBusMessage call
            = QDBusMessage::createMethodCall(QStringLiteral("org.kde.KWin"),
                                             QStringLiteral("/org/kde/KWin/ScreenShot2"),
                                             QStringLiteral("org.kde.KWin.ScreenShot2"),
                                             QStringLiteral("CaptureWorkspace"));
        // The message holds a copy of the pipe's writing end: it must be gone before the read
        // below can see the end of the pixels.
        call << QVariantMap() << QVariant::fromValue(QDBusUnixFileDescriptor(fds[1]));
        close(fds[1]);
        reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 20000);
    }
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        std::fprintf(stderr, "kwin_keys: %s\n", qPrintable(reply.errorMessage()));
        close(fds[0]);
        return 1;
    }
    QByteArray pixels;
    char buffer[65536];
    for (ssize_t got; (got = read(fds[0], buffer, sizeof buffer)) > 0;)
        pixels.append(buffer, got);
    close(fds[0]);
    const QVariantMap layout = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    const QImage image(reinterpret_cast<const uchar *>(pixels.constData()),
                       layout.value(QStringLiteral("width")).toInt(),
                       layout.value(QStringLiteral("height")).toInt(),
                       layout.value(QStringLiteral("stride")).toInt(),
                       QImage::Format(layout.value(QStringLiteral("format")).toInt()));
    return !image.isNull() && image.save(file) ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    const QString command = argc > 1 ? QString::fromUtf8(argv[1]) : QString();
    const QString argument = argc > 2 ? QString::fromUtf8(argv[2]) : QString();
    if (command == u"window") {
        qputenv("QT_QPA_PLATFORM", "wayland");
        QGuiApplication app(argc, argv);
        // Qt's Wayland windows take their app_id from the desktop file name.
        QGuiApplication::setDesktopFileName(argument);
        QRasterWindow window;
        window.resize(320, 200);
        window.show();
        return app.exec();
    }
    if (command == u"screenshot" && !argument.isEmpty()) {
        QCoreApplication app(argc, argv);
        return screenshot(argument);
    }
    if (command == u"active") {
        QCoreApplication app(argc, argv);
        WaylandWorkspace workspace;
        if (!workspace.isActive()) {
            std::fprintf(stderr, "kwin_keys: KWin lends no window list to this program\n");
            return 1;
        }
        const auto front = workspace.frontmostApplication();
        std::printf("%s\n", front ? qPrintable(front->identifier) : "(none)");
        return 0;
    }
    QList<int> keys;
    if (command == u"type") {
        for (const QChar c : argument) {
            const int key = keyFor(char(c.toLatin1()));
            if (key < 0) {
                std::fprintf(stderr, "kwin_keys: cannot type %s\n", qPrintable(QString(c)));
                return 2;
            }
            keys.append(key);
        }
    } else if (command == u"key" && namedKey(argument) >= 0) {
        keys.append(namedKey(argument));
    } else if (command == u"point" && argc > 3) {
        return send({}, QPoint(QByteArray(argv[2]).toInt(), QByteArray(argv[3]).toInt()));
    } else {
        std::fprintf(stderr,
                     "usage: kwin_keys type TEXT | key Return|Escape|Tab | active | window APPID | "
                     "point X Y\n");
        return 2;
    }
    return send(keys);
}
