#pragma once

#include <QString>

#include <functional>
#include <memory>

class KeyPoster;
class OpenWindows;
class Pasteboard;
class WaylandWorkspace;
class QWindow;
class Workspace;

// The desktop session Cliphaven runs in and the backends that serve it: X11's on an X11
// session and, through Xwayland, on a Wayland session whose compositor offers no data-control
// protocol (GNOME); Wayland's where the compositor offers one.
class PlatformSession
{
public:
    enum class Kind {
        x11,
        // Wayland, with the clipboard through the compositor's data-control protocol.
        wayland,
        // Wayland without data-control: X11's backends through the Xwayland server.
        xwayland,
        // Wayland without data-control and without Xwayland: nothing can be captured.
        waylandWithoutDataControl,
    };

    // Before the application object exists: on a Wayland session, runs Qt natively when the
    // compositor offers data-control and through Xwayland when it does not (where Qt's own
    // choice would differ). QT_QPA_PLATFORM, when set, decides instead.
    static void chooseQtPlatform();

    // After the application object exists: the backends for the platform Qt runs on.
    PlatformSession();
    ~PlatformSession();

    Kind kind() const { return m_kind; }
    // One line for the start-up log and Preferences' about line, e.g. "Wayland (sway), clipboard
    // through zwlr_data_control_manager_v1".
    QString description() const { return m_description; }
    // False where copies cannot be seen at all; Preferences says why.
    bool capturesClipboard() const { return m_kind != Kind::waylandWithoutDataControl; }
    // Whether the desktop lets a program grab a key system-wide (X11 does, Wayland does not).
    bool hasGlobalKeyGrabs() const { return m_kind == Kind::x11; }
    // Whether the workspace names the application in front, so the ignore list can match it.
    bool knowsFrontmostApplication() const { return m_knowsFrontmost; }

    Pasteboard &pasteboard() { return *m_pasteboard; }
    Workspace &workspace() { return *m_workspace; }
    KeyPoster &keyPoster() { return *m_keyPoster; }
    std::unique_ptr<OpenWindows> makeOpenWindows() const;
    // The text selection (PRIMARY) as a clipboard of its own, where the session can read it.
    std::unique_ptr<Pasteboard> makePrimaryPasteboard() const;
    // Readies a floating window (the overlay, the preview) just before it is first shown.
    void prepareFloatingWindow(QWindow &window) const;
    // Called when the compositor goes away; Cliphaven then has nothing left to serve.
    void onSessionLost(std::function<void()> handler);

private:
    Kind m_kind = Kind::x11;
    bool m_knowsFrontmost = true;
    QString m_description;
    std::unique_ptr<Pasteboard> m_pasteboard;
    std::unique_ptr<Workspace> m_workspace;
    std::unique_ptr<KeyPoster> m_keyPoster;
    // The workspace when it lists Wayland toplevels.
    WaylandWorkspace *m_toplevels = nullptr;
};
