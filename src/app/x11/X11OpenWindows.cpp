#include "X11OpenWindows.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

struct Disconnect
{
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};

template<typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

xcb_atom_t internAtom(xcb_connection_t *connection, const char *name)
{
    const Reply<xcb_intern_atom_reply_t>
        reply(xcb_intern_atom_reply(connection,
                                    xcb_intern_atom(connection, 1, uint16_t(strlen(name)), name),
                                    nullptr),
              &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace

QStringList X11OpenWindows::windowClasses() const
{
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, nullptr));
    if (!connection || xcb_connection_has_error(connection.get()))
        return {};
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
    const xcb_atom_t clientList = internAtom(connection.get(), "_NET_CLIENT_LIST");
    if (!screen || clientList == XCB_ATOM_NONE)
        return {};

    const Reply<xcb_get_property_reply_t>
        list(xcb_get_property_reply(connection.get(),
                                    xcb_get_property(connection.get(),
                                                     0,
                                                     screen->root,
                                                     clientList,
                                                     XCB_ATOM_WINDOW,
                                                     0,
                                                     4096),
                                    nullptr),
             &std::free);
    if (!list || list->type != XCB_ATOM_WINDOW || list->format != 32)
        return {};
    const auto *windows = static_cast<const xcb_window_t *>(xcb_get_property_value(list.get()));
    const int count = xcb_get_property_value_length(list.get()) / int(sizeof(xcb_window_t));

    // Ask for every window's class first, then collect: one round trip instead of one each.
    std::vector<xcb_get_property_cookie_t> cookies;
    cookies.reserve(count);
    for (int i = 0; i < count; ++i)
        cookies.push_back(xcb_get_property(
            connection.get(), 0, windows[i], XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256));
    QStringList classes;
    for (const xcb_get_property_cookie_t cookie : cookies) {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection.get(),
                                                                           cookie,
                                                                           nullptr),
                                                    &std::free);
        if (!reply || reply->format != 8)
            continue;
        // "instance\0class\0"
        const QByteArray value(static_cast<const char *>(xcb_get_property_value(reply.get())),
                               xcb_get_property_value_length(reply.get()));
        const QList<QByteArray> parts = value.split('\0');
        const QString windowClass = QString::fromLocal8Bit(parts.value(1)).trimmed();
        if (!windowClass.isEmpty() && !classes.contains(windowClass))
            classes.append(windowClass);
    }
    return classes;
}
