#pragma once

#include "KeyboardShortcuts/SystemKeyboard.h"
#include "capture/OCR.h"
#include "model/Store.h"
#include "overlay/OverlayState.h"
#include "paste/Sounds.h"
#include "platform/Workspace.h"
#include "platform/x11/X11KeyPoster.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11Workspace.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>
#include <optional>

class ClipboardMonitor;
class FieldPasteGuard;
class HotkeyCaps;
class MoreMenu;
class OverlayWindow;
class Paster;
class PreviewWindow;
class PreferencesWindow;
class SingleInstance;
class TrayIcon;
class X11OpenWindows;

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

    explicit AppDelegate(QObject *parent = nullptr);
    ~AppDelegate() override;

    // The launch sequence, in order; a later launch reaches this one through instance.
    void applicationDidFinishLaunching(SingleInstance &instance);

    void toggleOverlay();
    void handlePick(const ClipItem &item);
    void showPreferences();

    Store &store() { return m_store; }

private:
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
    X11Pasteboard m_pasteboard;
    X11Workspace m_workspace;
    X11KeyPoster m_keyPoster;
    std::unique_ptr<ClipboardMonitor> m_monitor;
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
    std::unique_ptr<X11OpenWindows> m_openWindows;
    std::unique_ptr<PreferencesWindow> m_preferences;
    std::unique_ptr<TrayIcon> m_tray;
    // The paste target: the application that was in front when the overlay last opened.
    std::optional<RunningApplication> m_previousApp;
};
