#include "KeyboardShortcuts/Registry.h"
#include "KeyboardShortcuts/SystemKeyboard.h"
#include "app/AppPrefs.h"
#include "app/QuitOnSignals.h"
#include "app/ShortcutNames.h"
#include "app/SingleInstance.h"
#include "app/ui/PreferencesWindow.h"
#include "app/ui/SparkleUpdater.h"
#include "app/ui/TrayIcon.h"
#include "app/x11/X11OpenWindows.h"
#include "capture/CapturedImageText.h"
#include "capture/ClipboardMonitor.h"
#include "capture/LinkPreviewCache.h"
#include "capture/OCR.h"
#include "model/SeedData.h"
#include "model/Store.h"
#include "overlay/OverlayState.h"
#include "overlay/OverlayWindow.h"
#include "overlay/SceneGraphBackend.h"
#include "paste/Sounds.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11WindowHints.h"
#include "platform/x11/X11Workspace.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <QWindow>

#include <functional>
#include <malloc.h>
#include <optional>

int main(int argc, char *argv[])
{
    // Images are decoded a few megabytes at a time on worker threads and dropped once scaled
    // down; a fixed mmap threshold hands that memory straight back instead of letting it
    // collect in per-thread heaps (measured: about 45 MB kept otherwise).
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Cliphaven"));
    QApplication::setOrganizationName(QStringLiteral("Cliphaven"));
    QApplication::setApplicationVersion(QStringLiteral(CLIPHAVEN_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("cliphaven"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/cliphaven/icons/cliphaven.svg")));
    // Closing a window (preferences, alerts) never ends a background utility.
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser arguments;
    arguments.setApplicationDescription(QStringLiteral("Clipboard history for the desktop."));
    arguments.addHelpOption();
    arguments.addVersionOption();
    const QCommandLineOption
        toggleOption(QStringLiteral("toggle"),
                     QStringLiteral(
                         "Open or close the overlay (starting Cliphaven when it is not running)."));
    arguments.addOption(toggleOption);
    arguments.process(app);

    // One Cliphaven per user: launching it again, plainly or with --toggle, asks the running
    // one to toggle its overlay, and this process ends.
    SingleInstance instance;
    switch (instance.start()) {
    case SingleInstance::Role::forwarded:
        return 0;
    case SingleInstance::Role::unreachable:
        qWarning("Cliphaven is already running but does not answer.");
        return 1;
    case SingleInstance::Role::primary:
        break;
    }

    // Logging out or Ctrl+C quits normally, so the store writes a pending save.
    quitApplicationOnTerminationSignals();
    // Qt Quick's renderer, chosen before any window exists.
    SceneGraphBackend::choose();

    AppPrefs::shared();
    // "Check for Updates…" reads the feed on demand; nothing runs in the background.
    SparkleUpdater::shared();

    // Text recognition in images, off the main thread; it outlives the store that uses it.
    // Each captured image goes through recognizeCapturedImage (capture/CapturedImageText.h).
    OCR ocr;
    // History and categories, loaded now and saved 300 ms after each change.
    Store store(Store::defaultStoreFilePath(), &ocr);
    if (qEnvironmentVariable("CLIPHAVEN_SEED") == u"1")
        SeedData::populateIfEmpty(store);
    // Older images without text are recognised once, shortly after start.
    QTimer::singleShot(1000, &store, [&store] { store.backfillMissingOCR(); });

    // Capture, started at once: every new copy becomes the newest history entry, and an image's
    // text is recognised in the background.
    Sounds sounds(AppPrefs::shared());
    X11Pasteboard pasteboard;
    X11Workspace workspace;
    ClipboardMonitor monitor(pasteboard, workspace, AppPrefs::shared(), sounds);
    QObject::connect(&monitor, &ClipboardMonitor::onNew, &store, [&](const ClipItem &item) {
        store.captureFromClipboard(item);
        recognizeCapturedImage(item, ocr, store);
    });
    monitor.start();

    // The overlay, built hidden on the next turn so the first shortcut press opens a ready panel.
    OverlayState overlayState;
    OverlayWindow overlay(store, overlayState, &LinkPreviewCache::shared());
    overlay.onBeep = [] { QApplication::beep(); };
    overlay.beforeMap = [](QWindow &window) { X11WindowHints::skipTaskbar(window); };
    QTimer::singleShot(0, &overlay, [&overlay] { overlay.build(); });

    // The application in front when the overlay opened: where a pick is pasted.
    std::optional<RunningApplication> previousApp;
    const std::function<void()> toggleOverlay = [&] {
        if (overlay.isVisible()) {
            overlay.hide();
            return;
        }
        previousApp = workspace.frontmostApplication();
        overlay.show();
    };
    // Called 0.16 s after a pick, once the overlay is gone and focus is back: the paster's place.
    std::function<void(const ClipItem &, const std::optional<RunningApplication> &)> paste =
        [](const ClipItem &item, const std::optional<RunningApplication> &app) {
            qInfo().noquote() << "picked" << item.id.toString(QUuid::WithoutBraces)
                              << item.preview().left(60) << "for"
                              << (app ? app->identifier : QStringLiteral("no application"));
        };
    overlay.onPick = [&](const ClipItem &item) {
        overlay.hide();
        QTimer::singleShot(160, &overlay, [&paste, &previousApp, item] {
            if (paste)
                paste(item, previousApp);
        });
    };

    // The global shortcut: Shift+Super+V unless the user chose another.
    const KeyboardShortcuts::SystemKeyboard keyboard = KeyboardShortcuts::SystemKeyboard::create();
    KeyboardShortcuts::setCurrentKeyboardLayout(keyboard.layout.get());
    KeyboardShortcuts::Registry shortcuts(AppPrefs::shared().settings(), *keyboard.hotKeys);
    shortcuts.onKeyDown(ShortcutNames::toggleOverlay, toggleOverlay);

    // The preferences window, built on first use.
    const X11OpenWindows openWindows;
    PreferencesWindow preferences(store, AppPrefs::shared(), shortcuts, &openWindows);

    // The tray icon, present while "Show icon in the panel's system tray" is on.
    TrayIcon tray(AppPrefs::shared());
    QObject::connect(&tray, &TrayIcon::toggleOverlayRequested, &app, toggleOverlay);
    QObject::connect(&tray,
                     &TrayIcon::preferencesRequested,
                     &preferences,
                     &PreferencesWindow::showPreferences);
    QObject::connect(&tray,
                     &TrayIcon::checkForUpdatesRequested,
                     &SparkleUpdater::shared(),
                     &SparkleUpdater::checkForUpdates);
    QObject::connect(&tray, &TrayIcon::quitRequested, &app, &QApplication::quit);

    // The reopen event: a later launch toggles the overlay, and so does this one with --toggle.
    QObject::connect(&instance, &SingleInstance::reopenRequested, &app, toggleOverlay);
    if (arguments.isSet(toggleOption))
        QTimer::singleShot(0, &app, toggleOverlay);

    const int status = app.exec();
    KeyboardShortcuts::setCurrentKeyboardLayout(nullptr);
    return status;
}
