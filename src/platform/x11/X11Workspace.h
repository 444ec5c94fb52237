#pragma once

#include "platform/Workspace.h"

#include <QByteArray>

struct xcb_connection_t;

// The active window as the window manager announces it (_NET_ACTIVE_WINDOW), identified by the
// class part of its WM_CLASS. Talks only to the X server, over a connection of its own.
class X11Workspace : public Workspace
{
public:
    // displayName empty: the DISPLAY of the environment.
    explicit X11Workspace(const QByteArray &displayName = {});
    ~X11Workspace() override;

    bool isConnected() const { return m_connection != nullptr; }

    std::optional<RunningApplication> frontmostApplication() override;
    // Asks the window manager to activate the window, as a pager would (so it is not refused
    // as focus stealing).
    void activate(const RunningApplication &app) override;
    std::optional<QRect> windowFrame(const RunningApplication &app) override;

private:
    quint32 atom(const char *name);

    xcb_connection_t *m_connection = nullptr;
    quint32 m_root = 0;
    quint32 m_activeWindowAtom = 0;
    quint32 m_pidAtom = 0;
};
