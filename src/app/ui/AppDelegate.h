#pragma once

#include "KeyboardShortcuts/SystemKeyboard.h"
#include "PlatformSession.h"
#include "capture/OCR.h"
#include "model/Store.h"
#include "overlay/OverlayState.h"
#include "paste/Sounds.h"
#include "platform/Workspace.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>
#include <optional>

class ClipboardMonitor;
class FieldPasteGuard;
class HotkeyCaps;
class KeyPoster;
class MutterKeyPoster;
class PortalHotKeyBackend;
class RemoteDesktopKeyPoster;
class MoreMenu;
class OverlayWindow;
class Paster;
class PreviewWindow;
class PreferencesWindow;
class SessionInfo;
class SingleInstance;
class OpenWindows;
class TrayIcon;

namespace KeyboardShortcuts {
class Registry;
}

// Owns every long-lived object and wires them at launch: copies go into the store, the global
// shortcut, the tray and a second launch toggle the overlay, and a pick is pasted into the
// window that was active when the overlay opened.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    // Delay between hiding the overlay and pasting, so focus is back where it was.
    static constexpr int kPasteDelayMs = 160;
    static constexpr int kBackfillDelayMs = 1000;
    // The overlay's panel (tens of milliseconds of QML) is built this long after launch, so a
    // command already waiting (a script, a launch with --toggle's forwarding) is answered first;
    // a show before then builds it on the spot.
    static constexpr int kOverlayBuildDelayMs = 100;

    explicit AppDelegate(QObject *parent = nullptr);
    ~AppDelegate() override;

    // The launch sequence, in order; a later launch reaches this one through instance.
    void applicationDidFinishLaunching(SingleInstance &instance);

    void toggleOverlay();
    void handlePick(const ClipItem &item);
    void showPreferences();

    Store &store() { return m_store; }
    const PlatformSession &platform() const { return m_platform; }

private:
    void followSelectionRecording();
    void setUpDesktopPortal();
    void explainPasteProblem(int problem);

    static QElapsedTimer startedClock()
    {
        QElapsedTimer clock;
        clock.start();
        return clock;
    }

private:
    // Start-up times are logged from here: the delegate's own creation is part of them.
    QElapsedTimer m_launchClock = startedClock();
    // Recognition outlives the store that queues work on it.
    OCR m_ocr;
    Store m_store;
    Sounds m_sounds;
    // The clipboard, the frontmost application and key posting of this desktop session.
    PlatformSession m_platform;
    // On Wayland where the session cannot type itself: the portal first, then GNOME's
    // compositor service, then the session's own poster (XTest through Xwayland).
    std::unique_ptr<MutterKeyPoster> m_mutterKeys;
    std::unique_ptr<RemoteDesktopKeyPoster> m_portalKeys;
    KeyPoster *m_keys = nullptr;
    std::unique_ptr<PortalHotKeyBackend> m_portalHotKeys;
    bool m_pasteProblemExplained = false;
    std::unique_ptr<ClipboardMonitor> m_monitor;
    // The text selection's watch, only while the user wants selections recorded.
    std::unique_ptr<Pasteboard> m_primaryPasteboard;
    std::unique_ptr<ClipboardMonitor> m_primaryMonitor;
    std::unique_ptr<FieldPasteGuard> m_fieldPaste;
    std::unique_ptr<Paster> m_paster;
    OverlayState m_overlayState;
    // The overlay's top row and preview, kept longer than the views that show them.
    std::unique_ptr<HotkeyCaps> m_hotkeyCaps;
    std::unique_ptr<MoreMenu> m_moreMenu;
    std::unique_ptr<PreviewWindow> m_preview;
    std::unique_ptr<OverlayWindow> m_overlay;
    KeyboardShortcuts::SystemKeyboard m_keyboard;
    std::unique_ptr<KeyboardShortcuts::Registry> m_shortcuts;
    std::unique_ptr<OpenWindows> m_openWindows;
    std::unique_ptr<SessionInfo> m_sessionInfo;
    std::unique_ptr<PreferencesWindow> m_preferences;
    std::unique_ptr<TrayIcon> m_tray;
    // The paste target: the application that was in front when the overlay last opened.
    std::optional<RunningApplication> m_previousApp;
};
