#include "KeyboardShortcuts/Registry.h"
#include "KeyboardShortcuts/SystemKeyboard.h"
#include "app/AppPrefs.h"
#include "app/QuitOnSignals.h"
#include "capture/LinkPreviewCache.h"
#include "model/SeedData.h"
#include "model/Store.h"
#include "overlay/OverlayState.h"
#include "overlay/OverlayWindow.h"
#include "overlay/SceneGraphBackend.h"
#include "platform/x11/X11WindowHints.h"

#include <QApplication>
#include <QTimer>
#include <QWindow>

#include <functional>
#include <malloc.h>

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
    // Closing a window (preferences, alerts) never ends a background utility.
    QApplication::setQuitOnLastWindowClosed(false);
    // Logging out or Ctrl+C quits normally, so the store writes a pending save.
    quitApplicationOnTerminationSignals();
    // Qt Quick's renderer, chosen before any window exists.
    SceneGraphBackend::choose();

    AppPrefs::shared();

    // History and categories, loaded now and saved 300 ms after each change.
    Store store(Store::defaultStoreFilePath());
    if (qEnvironmentVariable("CLIPHAVEN_SEED") == u"1")
        SeedData::populateIfEmpty(store);

    // The overlay, built hidden on the next turn so the first shortcut press opens a ready panel.
    OverlayState overlayState;
    OverlayWindow overlay(store, overlayState, &LinkPreviewCache::shared());
    overlay.onBeep = [] { QApplication::beep(); };
    overlay.beforeMap = [](QWindow &window) { X11WindowHints::skipTaskbar(window); };
    // Called 0.16 s after a pick, once the overlay is gone and focus is back: the paster's place.
    std::function<void(const ClipItem &)> paste = [](const ClipItem &item) {
        qInfo().noquote() << "picked" << item.id.toString(QUuid::WithoutBraces)
                          << item.preview().left(60);
    };
    overlay.onPick = [&overlay, &paste](const ClipItem &item) {
        overlay.hide();
        QTimer::singleShot(160, &overlay, [&paste, item] {
            if (paste)
                paste(item);
        });
    };
    QTimer::singleShot(0, &overlay, [&overlay] { overlay.build(); });

    // The global shortcut: Shift+Super+V unless the user chose another.
    const KeyboardShortcuts::SystemKeyboard keyboard = KeyboardShortcuts::SystemKeyboard::create();
    KeyboardShortcuts::setCurrentKeyboardLayout(keyboard.layout.get());
    KeyboardShortcuts::Registry shortcuts(AppPrefs::shared().settings(), *keyboard.hotKeys);
    const KeyboardShortcuts::Name
        toggleOverlay(QStringLiteral("toggleOverlay"),
                      KeyboardShortcuts::Shortcut(KeyboardShortcuts::Key::v,
                                                  KeyboardShortcuts::ModifierFlag::command
                                                      | KeyboardShortcuts::ModifierFlag::shift));
    shortcuts.onKeyDown(toggleOverlay, [&overlay] {
        if (overlay.isVisible())
            overlay.hide();
        else
            overlay.show();
    });

    const int status = app.exec();
    KeyboardShortcuts::setCurrentKeyboardLayout(nullptr);
    return status;
}
