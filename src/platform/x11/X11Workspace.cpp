#include "X11Workspace.h"

#include <QList>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

template<typename T>
std::unique_ptr<T, decltype(&free)> reply(T *raw)
{
    return {raw, &free};
}

xcb_get_property_cookie_t askProperty(xcb_connection_t *connection,
                                      xcb_window_t window,
                                      xcb_atom_t property,
                                      xcb_atom_t type,
                                      uint32_t longs)
{
    return xcb_get_property(connection, 0, window, property, type, 0, longs);
}

} // namespace

X11Workspace::X11Workspace(const QByteArray &displayName)
{
    m_connection = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), nullptr);
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    if (xcb_connection_has_error(m_connection) || !screens.rem) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        return;
    }
    m_root = screens.data->root;
    m_activeWindowAtom = atom("_NET_ACTIVE_WINDOW");
    m_pidAtom = atom("_NET_WM_PID");
}

X11Workspace::~X11Workspace()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

quint32 X11Workspace::atom(const char *name)
{
    auto answer = reply(
        xcb_intern_atom_reply(m_connection,
                              xcb_intern_atom(m_connection, 0, uint16_t(strlen(name)), name),
                              nullptr));
    return answer ? answer->atom : XCB_NONE;
}

std::optional<RunningApplication> X11Workspace::frontmostApplication()
{
    if (!m_connection)
        return std::nullopt;
    auto active = reply(xcb_get_property_reply(m_connection,
                                               askProperty(m_connection,
                                                           m_root,
                                                           m_activeWindowAtom,
                                                           XCB_ATOM_WINDOW,
                                                           1),
                                               nullptr));
    if (!active || active->format != 32 || xcb_get_property_value_length(active.get()) < 4)
        return std::nullopt;
    const xcb_window_t window = *static_cast<const uint32_t *>(xcb_get_property_value(active.get()));
    if (window == XCB_NONE)
        return std::nullopt;

    const auto classCookie = askProperty(m_connection,
                                         window,
                                         XCB_ATOM_WM_CLASS,
                                         XCB_ATOM_STRING,
                                         256);
    const auto pidCookie = askProperty(m_connection, window, m_pidAtom, XCB_ATOM_CARDINAL, 1);
    auto wmClass = reply(xcb_get_property_reply(m_connection, classCookie, nullptr));
    auto pid = reply(xcb_get_property_reply(m_connection, pidCookie, nullptr));

    RunningApplication app;
    app.window = window;
    if (wmClass && wmClass->format == 8) {
        // "instance\0class\0": the class names the application, and the instance is often its
        // program's name.
        const QByteArray value(static_cast<const char *>(xcb_get_property_value(wmClass.get())),
                               xcb_get_property_value_length(wmClass.get()));
        const QList<QByteArray> parts = value.split('\0');
        if (parts.size() >= 2) {
            app.instanceName = QString::fromUtf8(parts.at(0));
            app.identifier = QString::fromUtf8(parts.at(1));
        }
    }
    if (pid && pid->format == 32 && xcb_get_property_value_length(pid.get()) >= 4)
        app.pid = *static_cast<const uint32_t *>(xcb_get_property_value(pid.get()));
    return app;
}

void X11Workspace::activate(const RunningApplication &app)
{
    if (!m_connection || app.window == 0)
        return;
    xcb_client_message_event_t message = {};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = xcb_window_t(app.window);
    message.type = m_activeWindowAtom;
    message.data.data32[0] = 2; // source: a pager, acting for the user
    message.data.data32[1] = XCB_CURRENT_TIME;
    message.data.data32[2] = XCB_NONE;
    xcb_send_event(m_connection,
                   0,
                   m_root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&message));
    xcb_flush(m_connection);
}

std::optional<QRect> X11Workspace::windowFrame(const RunningApplication &app)
{
    if (!m_connection || app.window == 0)
        return std::nullopt;
    const auto window = xcb_window_t(app.window);
    const auto geometryCookie = xcb_get_geometry(m_connection, window);
    const auto originCookie = xcb_translate_coordinates(m_connection, window, m_root, 0, 0);
    // A window that is gone answers with errors, taken here so they do not queue up as events.
    xcb_generic_error_t *geometryError = nullptr;
    xcb_generic_error_t *originError = nullptr;
    auto geometry = reply(xcb_get_geometry_reply(m_connection, geometryCookie, &geometryError));
    auto origin = reply(xcb_translate_coordinates_reply(m_connection, originCookie, &originError));
    free(geometryError);
    free(originError);
    if (!geometry || !origin)
        return std::nullopt;
    return QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
}
