#include "X11WindowHints.h"

#include <QGuiApplication>
#include <QList>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace X11WindowHints {

namespace {

struct FreeDeleter
{
    void operator()(void *p) const { std::free(p); }
};

template<typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

xcb_atom_t internAtom(xcb_connection_t *connection, const char *name)
{
    const auto cookie = xcb_intern_atom(connection, 0, uint16_t(qstrlen(name)), name);
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace

void skipTaskbar(QWindow &window)
{
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return;
    xcb_connection_t *connection = x11->connection();
    const auto id = xcb_window_t(window.winId());
    const xcb_atom_t state = internAtom(connection, "_NET_WM_STATE");
    const xcb_atom_t wanted[] = {internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                 internAtom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    if (state == XCB_ATOM_NONE || wanted[0] == XCB_ATOM_NONE || wanted[1] == XCB_ATOM_NONE)
        return;

    if (window.isVisible()) {
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        xcb_client_message_event_t message = {};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = id;
        message.type = state;
        message.data.data32[0] = 1; // _NET_WM_STATE_ADD
        message.data.data32[1] = wanted[0];
        message.data.data32[2] = wanted[1];
        message.data.data32[3] = 1; // from an application
        xcb_send_event(connection,
                       0,
                       screen->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char *>(&message));
        xcb_flush(connection);
        return;
    }

    QList<xcb_atom_t> atoms;
    const auto cookie = xcb_get_property(connection, 0, id, state, XCB_ATOM_ATOM, 0, 1024);
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (reply && reply->format == 32 && reply->type == XCB_ATOM_ATOM) {
        const auto *existing = static_cast<const xcb_atom_t *>(xcb_get_property_value(reply.get()));
        atoms = QList<xcb_atom_t>(existing,
                                  existing + xcb_get_property_value_length(reply.get()) / 4);
    }
    for (const xcb_atom_t atom : wanted) {
        if (!atoms.contains(atom))
            atoms.append(atom);
    }
    xcb_change_property(connection,
                        XCB_PROP_MODE_REPLACE,
                        id,
                        state,
                        XCB_ATOM_ATOM,
                        32,
                        uint32_t(atoms.size()),
                        atoms.constData());
    xcb_flush(connection);
}

} // namespace X11WindowHints
