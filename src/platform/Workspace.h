#pragma once

#include <QRect>
#include <QString>

#include <optional>

// An application window as the workspace reports it.
struct RunningApplication
{
    // The platform's handle of the window (an X11 window id); activation targets it.
    quint64 window = 0;
    // The stable identifier the ignore list matches; empty when the application has none.
    QString identifier;
    // 0 when unknown.
    qint64 pid = 0;
    // A second name the program goes by, matched like the identifier (on X11 the instance part
    // of WM_CLASS, "xterm" for the class "XTerm"); empty when there is none.
    QString instanceName;

    friend bool operator==(const RunningApplication &, const RunningApplication &) = default;
};

// The desktop's notion of the frontmost application. Main thread only.
class Workspace
{
public:
    virtual ~Workspace() = default;

    virtual std::optional<RunningApplication> frontmostApplication() = 0;
    // Brings the application's window to the front, ahead of every other application.
    virtual void activate(const RunningApplication &app) = 0;
    // The window's frame on the desktop, in the platform's own pixels; none when it is gone.
    virtual std::optional<QRect> windowFrame(const RunningApplication &app) = 0;
};
