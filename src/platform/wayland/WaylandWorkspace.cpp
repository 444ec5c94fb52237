#include "WaylandWorkspace.h"

#include "WaylandConnection.h"

#include "plasma-window-management-client-protocol.h"
#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

#include <QSocketNotifier>

#include <wayland-client.h>

#include <cstring>

namespace {

constexpr std::chrono::seconds kSetupTimeout{1};
// Every event up to resource_name_changed has a handler below.
constexpr uint32_t kPlasmaVersion = 16;
// From version 13 windows are announced by uuid, and the numeric id is deprecated.
constexpr uint32_t kPlasmaUuidVersion = 13;

} // namespace

struct WaylandWorkspace::Output
{
    wl_output *output = nullptr;
    QRect frame;
};

struct WaylandWorkspace::Toplevel
{
    WaylandWorkspace *workspace = nullptr;
    // One of the two, by the protocol that lists the toplevels.
    zwlr_foreign_toplevel_handle_v1 *handle = nullptr;
    org_kde_plasma_window *plasmaWindow = nullptr;
    quint64 window = 0;
    QString appId;
    qint64 pid = 0;
    wl_output *output = nullptr;
    // Where KWin says the window is, in the compositor's global coordinates.
    QRect geometry;
    bool activated = false;
    // What arrives before "done" applies at "done" (wlroots; KWin's changes apply at once).
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
    static void closed(void *data, zwlr_foreign_toplevel_handle_v1 *)
    {
        WaylandWorkspace::Toplevel *toplevel = of(data);
        toplevel->workspace->removeToplevel(toplevel);
    }
    static void parent(void *, zwlr_foreign_toplevel_handle_v1 *, zwlr_foreign_toplevel_handle_v1 *)
    {}
    // KWin's window management.
    static void showDesktopChanged(void *, org_kde_plasma_window_management *, uint32_t) {}
    static void plasmaWindow(void *data, org_kde_plasma_window_management *manager, uint32_t id)
    {
        if (wl_proxy_get_version(reinterpret_cast<wl_proxy *>(manager)) < kPlasmaUuidVersion)
            addPlasmaWindow(static_cast<WaylandWorkspace *>(data),
                            org_kde_plasma_window_management_get_window(manager, id));
    }
    static void stackingOrder(void *, org_kde_plasma_window_management *, wl_array *) {}
    static void stackingOrderUuids(void *, org_kde_plasma_window_management *, const char *) {}
    static void plasmaWindowWithUuid(void *data,
                                     org_kde_plasma_window_management *manager,
                                     uint32_t,
                                     const char *uuid)
    {
        addPlasmaWindow(static_cast<WaylandWorkspace *>(data),
                        org_kde_plasma_window_management_get_window_by_uuid(manager, uuid));
    }
    static void addPlasmaWindow(WaylandWorkspace *workspace, org_kde_plasma_window *window)
    {
        static const org_kde_plasma_window_listener listener = {
            &WorkspaceEvents::plasmaString,   // title_changed
            &WorkspaceEvents::plasmaAppId,    // app_id_changed
            &WorkspaceEvents::plasmaState,    // state_changed
            &WorkspaceEvents::plasmaInt,      // virtual_desktop_changed
            &WorkspaceEvents::plasmaString,   // themed_icon_name_changed
            &WorkspaceEvents::plasmaUnmapped, // unmapped
            &WorkspaceEvents::plasmaNothing,  // initial_state
            &WorkspaceEvents::plasmaParent,   // parent_window
            &WorkspaceEvents::plasmaGeometry, // geometry
            &WorkspaceEvents::plasmaNothing,  // icon_changed
            &WorkspaceEvents::plasmaPid,      // pid_changed
            &WorkspaceEvents::plasmaString,   // virtual_desktop_entered
            &WorkspaceEvents::plasmaString,   // virtual_desktop_left
            &WorkspaceEvents::plasmaMenu,     // application_menu
            &WorkspaceEvents::plasmaString,   // activity_entered
            &WorkspaceEvents::plasmaString,   // activity_left
            &WorkspaceEvents::plasmaString,   // resource_name_changed
        };
        auto *toplevel = new WaylandWorkspace::Toplevel;
        toplevel->workspace = workspace;
        toplevel->plasmaWindow = window;
        toplevel->window = ++workspace->m_lastWindow;
        workspace->m_toplevels.append(toplevel);
        org_kde_plasma_window_add_listener(window, &listener, toplevel);
    }
    static void plasmaNothing(void *, org_kde_plasma_window *) {}
    static void plasmaString(void *, org_kde_plasma_window *, const char *) {}
    static void plasmaInt(void *, org_kde_plasma_window *, int32_t) {}
    static void plasmaParent(void *, org_kde_plasma_window *, org_kde_plasma_window *) {}
    static void plasmaMenu(void *, org_kde_plasma_window *, const char *, const char *) {}
    static void plasmaAppId(void *data, org_kde_plasma_window *, const char *appId)
    {
        of(data)->appId = QString::fromUtf8(appId);
    }
    static void plasmaState(void *data, org_kde_plasma_window *, uint32_t flags)
    {
        of(data)->activated = flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE;
    }
    static void plasmaGeometry(
        void *data, org_kde_plasma_window *, int32_t x, int32_t y, uint32_t width, uint32_t height)
    {
        of(data)->geometry = QRect(x, y, int(width), int(height));
    }
    static void plasmaPid(void *data, org_kde_plasma_window *, uint32_t pid)
    {
        of(data)->pid = pid;
    }
    static void plasmaUnmapped(void *data, org_kde_plasma_window *)
    {
        WaylandWorkspace::Toplevel *toplevel = of(data);
        toplevel->workspace->removeToplevel(toplevel);
    }
};

WaylandWorkspace::WaylandWorkspace(const QByteArray &socket, QObject *parent)
    : QObject(parent)
    , m_connection(std::make_unique<WaylandConnection>(socket))
{
    const auto deadline = WaylandConnection::Clock::now() + kSetupTimeout;
    if (!m_connection->fetchGlobals(deadline))
        return;
    if (m_connection->offers(zwlr_foreign_toplevel_manager_v1_interface.name)) {
        bindOutputs();
        m_seat = static_cast<wl_seat *>(m_connection->bind(&wl_seat_interface, 1));
        // Version 2: the parent event of version 3 is not needed.
        m_manager = static_cast<zwlr_foreign_toplevel_manager_v1 *>(
            m_connection->bind(&zwlr_foreign_toplevel_manager_v1_interface, 2));
        static const zwlr_foreign_toplevel_manager_v1_listener managerListener
            = {&WorkspaceEvents::toplevel, &WorkspaceEvents::finished};
        zwlr_foreign_toplevel_manager_v1_add_listener(m_manager, &managerListener, this);
    } else if (m_connection->offers(org_kde_plasma_window_management_interface.name)) {
        bindOutputs();
        m_plasma = static_cast<org_kde_plasma_window_management *>(
            m_connection->bind(&org_kde_plasma_window_management_interface, kPlasmaVersion));
        static const org_kde_plasma_window_management_listener managerListener
            = {&WorkspaceEvents::showDesktopChanged,
               &WorkspaceEvents::plasmaWindow,
               &WorkspaceEvents::stackingOrder,
               &WorkspaceEvents::stackingOrderUuids,
               &WorkspaceEvents::plasmaWindowWithUuid};
        org_kde_plasma_window_management_add_listener(m_plasma, &managerListener, this);
    } else {
        return;
    }
    // The toplevels open now, then their state arrives, and the outputs' frames.
    m_connection->roundtrip(deadline);
    m_connection->roundtrip(deadline);

    m_notifier = new QSocketNotifier(wl_display_get_fd(m_connection->display()),
                                     QSocketNotifier::Read,
                                     this);
    connect(m_notifier, &QSocketNotifier::activated, this, &WaylandWorkspace::readEvents);
}

void WaylandWorkspace::bindOutputs()
{
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
}

void WaylandWorkspace::removeToplevel(Toplevel *toplevel)
{
    m_toplevels.removeOne(toplevel);
    if (toplevel->handle)
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    if (toplevel->plasmaWindow)
        org_kde_plasma_window_destroy(toplevel->plasmaWindow);
    delete toplevel;
}

QString WaylandWorkspace::protocolName() const
{
    if (m_manager)
        return QString::fromLatin1(zwlr_foreign_toplevel_manager_v1_interface.name);
    if (m_plasma)
        return QString::fromLatin1(org_kde_plasma_window_management_interface.name);
    return {};
}

WaylandWorkspace::~WaylandWorkspace()
{
    while (!m_toplevels.isEmpty())
        removeToplevel(m_toplevels.constLast());
    for (Output *output : std::as_const(m_outputs)) {
        wl_output_destroy(output->output);
        delete output;
    }
    if (m_manager)
        zwlr_foreign_toplevel_manager_v1_destroy(m_manager);
    if (m_plasma)
        org_kde_plasma_window_management_destroy(m_plasma);
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
            return RunningApplication{toplevel->window, toplevel->appId, toplevel->pid, {}};
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
    if (!toplevel)
        return;
    if (toplevel->plasmaWindow) {
        org_kde_plasma_window_set_state(toplevel->plasmaWindow,
                                        ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE,
                                        ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE);
    } else if (m_seat) {
        zwlr_foreign_toplevel_handle_v1_activate(toplevel->handle, m_seat);
    }
    wl_display_flush(m_connection->display());
}

std::optional<QRect> WaylandWorkspace::windowFrame(const RunningApplication &app)
{
    const Toplevel *toplevel = find(app.window);
    if (!toplevel)
        return std::nullopt;
    for (const Output *output : std::as_const(m_outputs)) {
        if (output->frame.isEmpty())
            continue;
        if (toplevel->output ? output->output == toplevel->output
                             : !toplevel->geometry.isEmpty()
                                   && output->frame.contains(toplevel->geometry.center()))
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
