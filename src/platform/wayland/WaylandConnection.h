#pragma once

#include <QByteArray>
#include <QHash>

#include <chrono>
#include <cstdint>

struct wl_display;
struct wl_registry;

// A client connection to the Wayland compositor whose every wait has a deadline: a compositor
// that stops answering costs the caller that long, never a hang. Used by one thread at a time.
class WaylandConnection
{
public:
    using Clock = std::chrono::steady_clock;

    struct Global
    {
        uint32_t name = 0;
        uint32_t version = 0;
    };

    // socket empty: WAYLAND_DISPLAY of the environment (a name under XDG_RUNTIME_DIR or an
    // absolute path). Does not wait for the compositor; globals() is empty until
    // fetchGlobals() succeeds.
    explicit WaylandConnection(const QByteArray &socket = {});
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection &) = delete;
    WaylandConnection &operator=(const WaylandConnection &) = delete;

    // Whether a compositor accepted the connection and it has not failed since.
    bool isOpen() const { return m_display != nullptr && !m_failed; }
    wl_display *display() const { return m_display; }
    wl_registry *registry() const { return m_registry; }

    // Lists the compositor's globals; false when it does not answer by the deadline.
    bool fetchGlobals(Clock::time_point deadline);
    // Interface name to its globals, as the compositor announced them; several for an interface
    // the compositor offers more than once (wl_output, one per screen).
    const QMultiHash<QByteArray, Global> &globals() const { return m_globals; }
    bool offers(const char *interface) const { return m_globals.contains(interface); }
    // Binds a global for interface at min(version, offered version); null when not offered.
    void *bind(const struct wl_interface *interface, uint32_t version) const;

    // Waits until everything sent so far has been handled by the compositor and its answers
    // dispatched; false on a deadline or a broken connection.
    bool roundtrip(Clock::time_point deadline);
    // Reads and dispatches what arrives before the deadline, waiting at most until then;
    // false when the connection broke.
    bool dispatchOnce(Clock::time_point deadline);

    // Whether the WAYLAND_DISPLAY of the environment names a socket at all.
    static bool sessionAdvertised();

private:
    static void onGlobal(
        void *data, wl_registry *, uint32_t name, const char *interface, uint32_t version);
    static void onGlobalRemove(void *data, wl_registry *, uint32_t name);

    wl_display *m_display = nullptr;
    wl_registry *m_registry = nullptr;
    bool m_failed = false;
    QMultiHash<QByteArray, Global> m_globals;
};
