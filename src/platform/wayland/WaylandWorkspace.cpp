#include "WaylandWorkspace.h"

#include "WaylandConnection.h"

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

#include <QSocketNotifier>

#include <wayland-client.h>

#include <cstring>

namespace {

constexpr std::chrono::seconds kSetupTimeout{1};

} // namespace

struct WaylandWorkspace::Output
{
    wl_output *output = nullptr;
    QRect frame;
};

struct WaylandWorkspace::Toplevel
{
    WaylandWorkspace *workspace = nullptr;
    zwlr_foreign_toplevel_handle_v1 *handle = nullptr;
    quint64 window = 0;
    QString appId;
    wl_output *output = nullptr;
    bool activated = false;
    // What arrives before "done" applies at "done".
    QString pendingAppId;
    bool pendingActivated = false;
};

// The protocol's callbacks, which reach the workspace through their data pointer.
struct WorkspaceEvents
{
    static void geometry(void *data,
                         wl_output *,
                         int32_t x,
                         int32_t y,
                         int32_t,
                         int32_t,
                         int32_t,
                         const char *,
                         const char *,
                         int32_t)
    {
        static_cast<WaylandWorkspace::Output *>(data)->frame.moveTopLeft(QPoint(x, y));
    }
    static void mode(void *data, wl_output *, uint32_t flags, int32_t width, int32_t height, int32_t)
    {
        if (flags & WL_OUTPUT_MODE_CURRENT)
            static_cast<WaylandWorkspace::Output *>(data)->frame.setSize(QSize(width, height));
    }
    static void ignoreOutput(void *, wl_output *) {}
    static void scale(void *, wl_output *, int32_t) {}
    static void text(void *, wl_output *, const char *) {}

    static void toplevel(void *data,
                         zwlr_foreign_toplevel_manager_v1 *,
                         zwlr_foreign_toplevel_handle_v1 *handle)
    {
        static const zwlr_foreign_toplevel_handle_v1_listener listener = {
            &WorkspaceEvents::title,
            &WorkspaceEvents::appId,
            &WorkspaceEvents::outputEnter,
            &WorkspaceEvents::outputLeave,
            &WorkspaceEvents::state,
            &WorkspaceEvents::done,
            &WorkspaceEvents::closed,
            &WorkspaceEvents::parent,
        };
        auto *workspace = static_cast<WaylandWorkspace *>(data);
        auto *toplevel = new WaylandWorkspace::Toplevel;
        toplevel->workspace = workspace;
        toplevel->handle = handle;
        toplevel->window = ++workspace->m_lastWindow;
        workspace->m_toplevels.append(toplevel);
        zwlr_foreign_toplevel_handle_v1_add_listener(handle, &listener, toplevel);
    }
    static void finished(void *data, zwlr_foreign_toplevel_manager_v1 *)
    {
        auto *workspace = static_cast<WaylandWorkspace *>(data);
        zwlr_foreign_toplevel_manager_v1_destroy(workspace->m_manager);
        workspace->m_manager = nullptr;
    }

    static WaylandWorkspace::Toplevel *of(void *data)
    {
        return static_cast<WaylandWorkspace::Toplevel *>(data);
    }
    static void title(void *, zwlr_foreign_toplevel_handle_v1 *, const char *) {}
    static void appId(void *data, zwlr_foreign_toplevel_handle_v1 *, const char *appId)
    {
        of(data)->pendingAppId = QString::fromUtf8(appId);
    }
    static void outputEnter(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_output *output)
    {
        of(data)->output = output;
    }
    static void outputLeave(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_output *output)
    {
        if (of(data)->output == output)
            of(data)->output = nullptr;
    }
    static void state(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_array *states)
    {
        bool activated = false;
        const auto *begin = static_cast<const uint32_t *>(states->data);
        for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i)
            activated = activated || begin[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
        of(data)->pendingActivated = activated;
    }
    static void done(void *data, zwlr_foreign_toplevel_handle_v1 *)
    {
        WaylandWorkspace::Toplevel *toplevel = of(data);
        toplevel->appId = toplevel->pendingAppId;
        toplevel->activated = toplevel->pendingActivated;
    }
    static void closed(void *data, zwlr_foreign_toplevel_handle_v1 *handle)
    {
        WaylandWorkspace::Toplevel *toplevel = of(data);
        toplevel->workspace->m_toplevels.removeOne(toplevel);
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
        delete toplevel;
    }
    static void parent(void *, zwlr_foreign_toplevel_handle_v1 *, zwlr_foreign_toplevel_handle_v1 *)
    {}
};

WaylandWorkspace::WaylandWorkspace(const QByteArray &socket, QObject *parent)
    : QObject(parent)
    , m_connection(std::make_unique<WaylandConnection>(socket))
{
    const auto deadline = WaylandConnection::Clock::now() + kSetupTimeout;
    if (!m_connection->fetchGlobals(deadline)
        || !m_connection->offers(zwlr_foreign_toplevel_manager_v1_interface.name))
        return;
    m_seat = static_cast<wl_seat *>(m_connection->bind(&wl_seat_interface, 1));
    static const wl_output_listener outputListener = {&WorkspaceEvents::geometry,
                                                      &WorkspaceEvents::mode,
                                                      &WorkspaceEvents::ignoreOutput,
                                                      &WorkspaceEvents::scale,
                                                      &WorkspaceEvents::text,
                                                      &WorkspaceEvents::text};
    for (auto it = m_connection->globals().cbegin(); it != m_connection->globals().cend(); ++it) {
        if (it.key() != wl_output_interface.name)
            continue;
        auto *output = new Output{static_cast<wl_output *>(
                                      wl_registry_bind(m_connection->registry(),
                                                       it->name,
                                                       &wl_output_interface,
                                                       std::min<uint32_t>(it->version, 2))),
                                  {}};
        wl_output_add_listener(output->output, &outputListener, output);
        m_outputs.append(output);
    }
    // Version 2: the parent event of version 3 is not needed.
    m_manager = static_cast<zwlr_foreign_toplevel_manager_v1 *>(
        m_connection->bind(&zwlr_foreign_toplevel_manager_v1_interface, 2));
    static const zwlr_foreign_toplevel_manager_v1_listener managerListener
        = {&WorkspaceEvents::toplevel, &WorkspaceEvents::finished};
    zwlr_foreign_toplevel_manager_v1_add_listener(m_manager, &managerListener, this);
    // The toplevels open now, and the outputs' frames.
    m_connection->roundtrip(deadline);
    m_connection->roundtrip(deadline);

    m_notifier = new QSocketNotifier(wl_display_get_fd(m_connection->display()),
                                     QSocketNotifier::Read,
                                     this);
    connect(m_notifier, &QSocketNotifier::activated, this, &WaylandWorkspace::readEvents);
}

WaylandWorkspace::~WaylandWorkspace()
{
    for (Toplevel *toplevel : std::as_const(m_toplevels)) {
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
        delete toplevel;
    }
    for (Output *output : std::as_const(m_outputs)) {
        wl_output_destroy(output->output);
        delete output;
    }
    if (m_manager)
        zwlr_foreign_toplevel_manager_v1_destroy(m_manager);
    if (m_seat)
        wl_seat_destroy(m_seat);
}

void WaylandWorkspace::readEvents()
{
    // Nothing waits here: what is there is read and handled, and the notifier says when more
    // comes. A broken connection stops the notifier; the last state stays.
    if (!m_notifier || !m_notifier->isEnabled())
        return;
    if (!m_connection->dispatchOnce(WaylandConnection::Clock::now()))
        m_notifier->setEnabled(false);
}

std::optional<RunningApplication> WaylandWorkspace::frontmostApplication()
{
    // Events may be waiting that the event loop has not handed over yet.
    readEvents();
    for (const Toplevel *toplevel : std::as_const(m_toplevels)) {
        if (toplevel->activated)
            return RunningApplication{toplevel->window, toplevel->appId, 0};
    }
    return std::nullopt;
}

WaylandWorkspace::Toplevel *WaylandWorkspace::find(quint64 window)
{
    for (Toplevel *toplevel : std::as_const(m_toplevels)) {
        if (toplevel->window == window)
            return toplevel;
    }
    return nullptr;
}

void WaylandWorkspace::activate(const RunningApplication &app)
{
    Toplevel *toplevel = find(app.window);
    if (!toplevel || !m_seat)
        return;
    zwlr_foreign_toplevel_handle_v1_activate(toplevel->handle, m_seat);
    wl_display_flush(m_connection->display());
}

std::optional<QRect> WaylandWorkspace::windowFrame(const RunningApplication &app)
{
    const Toplevel *toplevel = find(app.window);
    if (!toplevel || !toplevel->output)
        return std::nullopt;
    for (const Output *output : std::as_const(m_outputs)) {
        if (output->output == toplevel->output && !output->frame.isEmpty())
            return output->frame;
    }
    return std::nullopt;
}

QStringList WaylandWorkspace::applicationIdentifiers()
{
    readEvents();
    QStringList identifiers;
    for (const Toplevel *toplevel : std::as_const(m_toplevels)) {
        if (!toplevel->appId.isEmpty() && !identifiers.contains(toplevel->appId))
            identifiers.append(toplevel->appId);
    }
    return identifiers;
}
