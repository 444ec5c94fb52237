#include "KeyboardShortcuts/Registry.h"
#include "KeyboardShortcuts/SystemKeyboard.h"
#include "app/AppPrefs.h"
#include "app/QuitOnSignals.h"
#include "capture/CapturedImageText.h"
#include "capture/ClipboardMonitor.h"
#include "capture/OCR.h"
#include "model/SeedData.h"
#include "model/Store.h"
#include "paste/Sounds.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11Workspace.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Cliphaven"));
    QApplication::setOrganizationName(QStringLiteral("Cliphaven"));
    QApplication::setApplicationVersion(QStringLiteral(CLIPHAVEN_VERSION));
    // Closing a window (preferences, alerts) never ends a background utility.
    QApplication::setQuitOnLastWindowClosed(false);
    // Logging out or Ctrl+C quits normally, so the store writes a pending save.
    quitApplicationOnTerminationSignals();

    AppPrefs::shared();

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

    // The global shortcut: Shift+Super+V unless the user chose another.
    const KeyboardShortcuts::SystemKeyboard keyboard = KeyboardShortcuts::SystemKeyboard::create();
    KeyboardShortcuts::setCurrentKeyboardLayout(keyboard.layout.get());
    KeyboardShortcuts::Registry shortcuts(AppPrefs::shared().settings(), *keyboard.hotKeys);
    const KeyboardShortcuts::Name
        toggleOverlay(QStringLiteral("toggleOverlay"),
                      KeyboardShortcuts::Shortcut(KeyboardShortcuts::Key::v,
                                                  KeyboardShortcuts::ModifierFlag::command
                                                      | KeyboardShortcuts::ModifierFlag::shift));
    shortcuts.onKeyDown(toggleOverlay, [] { qInfo("toggleOverlay"); });

    const int status = app.exec();
    KeyboardShortcuts::setCurrentKeyboardLayout(nullptr);
    return status;
}
