#pragma once

#include "platform/Workspace.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QRect>
#include <QString>
#include <QStringList>

#include <memory>

class QSocketNotifier;
class WaylandConnection;
struct wl_output;
struct wl_seat;
struct zwlr_foreign_toplevel_manager_v1;
struct org_kde_plasma_window_management;

// The toplevel windows of every program as the compositor lists them, on a connection of its own
// read from the main thread: through zwlr_foreign_toplevel_manager_v1 (wlroots compositors) or
// else org_kde_plasma_window_management (KWin, offered only to a program whose installed desktop
// entry names it). The activated toplevel is the frontmost application, identified by its app_id
// as X11 identifies a window by its class.
class WaylandWorkspace final : public QObject, public Workspace
{
    Q_OBJECT

public:
    // socket empty: WAYLAND_DISPLAY of the environment.
    explicit WaylandWorkspace(const QByteArray &socket = {}, QObject *parent = nullptr);
    ~WaylandWorkspace() override;

    // Whether the compositor lists its toplevels.
    bool isActive() const { return m_manager != nullptr || m_plasma != nullptr; }
    // The protocol the toplevels come through, for the log; empty when none.
    QString protocolName() const;

    std::optional<RunningApplication> frontmostApplication() override;
    void activate(const RunningApplication &app) override;
    // The output the window is on stands in for its frame, which is all the overlay needs to
    // open on the same screen (a wlroots compositor does not say where a window is; KWin does,
    // and the output holding its centre is taken).
    std::optional<QRect> windowFrame(const RunningApplication &app) override;

    // The app_id of every toplevel, each once, oldest first; those without one are left out.
    QStringList applicationIdentifiers();

    struct Output;
    struct Toplevel;

private:
    void readEvents();
    Toplevel *find(quint64 window);
    void bindOutputs();
    void removeToplevel(Toplevel *toplevel);

    std::unique_ptr<WaylandConnection> m_connection;
    zwlr_foreign_toplevel_manager_v1 *m_manager = nullptr;
    org_kde_plasma_window_management *m_plasma = nullptr;
    wl_seat *m_seat = nullptr;
    QList<Output *> m_outputs;
    QList<Toplevel *> m_toplevels;
    quint64 m_lastWindow = 0;
    QSocketNotifier *m_notifier = nullptr;

    friend struct WorkspaceEvents;
};
