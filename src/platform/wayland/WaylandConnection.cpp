#include "WaylandConnection.h"

#include <wayland-client.h>

#include <cerrno>
#include <poll.h>

namespace {

int millisecondsUntil(WaylandConnection::Clock::time_point deadline)
{
    using namespace std::chrono;
    const auto left = duration_cast<milliseconds>(deadline - WaylandConnection::Clock::now());
    return int(std::max<milliseconds::rep>(0, left.count()));
}

} // namespace

WaylandConnection::WaylandConnection(const QByteArray &socket)
    : m_display(wl_display_connect(socket.isEmpty() ? nullptr : socket.constData()))
{
    if (!m_display)
        return;
    static const wl_registry_listener listener = {&WaylandConnection::onGlobal,
                                                  &WaylandConnection::onGlobalRemove};
    m_registry = wl_display_get_registry(m_display);
    wl_registry_add_listener(m_registry, &listener, this);
}

WaylandConnection::~WaylandConnection()
{
    if (m_registry)
        wl_registry_destroy(m_registry);
    if (m_display)
        wl_display_disconnect(m_display);
}

bool WaylandConnection::sessionAdvertised()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

void WaylandConnection::onGlobal(
    void *data, wl_registry *, uint32_t name, const char *interface, uint32_t version)
{
    static_cast<WaylandConnection *>(data)->m_globals.insert(interface, Global{name, version});
}

void WaylandConnection::onGlobalRemove(void *data, wl_registry *, uint32_t name)
{
    auto &globals = static_cast<WaylandConnection *>(data)->m_globals;
    for (auto it = globals.begin(); it != globals.end(); ++it) {
        if (it->name == name) {
            globals.erase(it);
            return;
        }
    }
}

bool WaylandConnection::fetchGlobals(Clock::time_point deadline)
{
    return roundtrip(deadline);
}

void *WaylandConnection::bind(const wl_interface *interface, uint32_t version) const
{
    const auto it = m_globals.constFind(interface->name);
    if (it == m_globals.cend())
        return nullptr;
    return wl_registry_bind(m_registry, it->name, interface, std::min(version, it->version));
}

bool WaylandConnection::roundtrip(Clock::time_point deadline)
{
    if (!isOpen())
        return false;
    bool done = false;
    static const wl_callback_listener listener = {
        [](void *data, wl_callback *, uint32_t) { *static_cast<bool *>(data) = true; }};
    wl_callback *callback = wl_display_sync(m_display);
    wl_callback_add_listener(callback, &listener, &done);
    while (!done && dispatchOnce(deadline) && Clock::now() < deadline) {
    }
    wl_callback_destroy(callback);
    return done;
}

bool WaylandConnection::dispatchOnce(Clock::time_point deadline)
{
    if (!isOpen())
        return false;
    while (wl_display_prepare_read(m_display) != 0) {
        if (wl_display_dispatch_pending(m_display) < 0) {
            m_failed = true;
            return false;
        }
    }
    // A full socket (EAGAIN) is flushed again on the next turn.
    if (wl_display_flush(m_display) < 0 && errno != EAGAIN) {
        wl_display_cancel_read(m_display);
        m_failed = true;
        return false;
    }
    pollfd fd = {wl_display_get_fd(m_display), POLLIN, 0};
    const int ready = ::poll(&fd, 1, millisecondsUntil(deadline));
    if (ready > 0 && (fd.revents & POLLIN)) {
        if (wl_display_read_events(m_display) < 0) {
            m_failed = true;
            return false;
        }
    } else {
        wl_display_cancel_read(m_display);
        if (ready > 0 && (fd.revents & (POLLHUP | POLLERR))) {
            m_failed = true;
            return false;
        }
    }
    if (wl_display_dispatch_pending(m_display) < 0) {
        m_failed = true;
        return false;
    }
    return true;
}
