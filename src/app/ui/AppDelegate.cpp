#include "AppDelegate.h"

#include "KeyboardShortcuts/Registry.h"
#include "PreferencesWindow.h"
#include "SparkleUpdater.h"
#include "TrayIcon.h"
#include "app/AppPrefs.h"
#include "app/ShortcutNames.h"
#include "app/x11/X11OpenWindows.h"
#include "capture/CapturedImageText.h"
#include "capture/ClipboardMonitor.h"
#include "capture/LinkPreviewCache.h"
#include "model/SeedData.h"
#include "overlay/HotkeyCaps.h"
#include "overlay/MoreMenu.h"
#include "overlay/OverlayWindow.h"
#include "overlay/PreviewWindow.h"
#include "overlay/QuickLookController.h"
#include "paste/Paster.h"
#include "platform/x11/X11WindowHints.h"

#include <QApplication>
#include <QCursor>
#include <QGridLayout>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QQuickWindow>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace {

// The one-time explainer before the first pause; true when the user chose "Pause".
bool confirmPause()
{
    QMessageBox box(QMessageBox::Information,
                    QStringLiteral("Cliphaven"),
                    MoreMenu::kExplainerMessage,
                    QMessageBox::NoButton);
    box.setInformativeText(MoreMenu::kExplainerText);
    box.setWindowIcon(QIcon(QStringLiteral(":/cliphaven/icons/cliphaven.svg")));
    QPushButton *pause = box.addButton(QStringLiteral("Pause"), QMessageBox::AcceptRole);
    box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(pause);
    // Wide enough that the explanation reads as a paragraph, not a column.
    if (auto *grid = qobject_cast<QGridLayout *>(box.layout()))
        grid->addItem(new QSpacerItem(420, 0, QSizePolicy::Minimum, QSizePolicy::Minimum),
                      grid->rowCount(),
                      0,
                      1,
                      grid->columnCount());
    box.exec();
    return box.clickedButton() == pause;
}

} // namespace

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent)
    , m_store(Store::defaultStoreFilePath(), &m_ocr)
    , m_sounds(AppPrefs::shared())
    , m_keyboard(KeyboardShortcuts::SystemKeyboard::create())
{}

AppDelegate::~AppDelegate()
{
    KeyboardShortcuts::setCurrentKeyboardLayout(nullptr);
}

void AppDelegate::applicationDidFinishLaunching()
{
    // No taskbar entry and no main menu on Linux: the overlay is a tool window, and text
    // fields have their editing shortcuts already.

    // "Check for Updates…" reads the feed on demand.
    SparkleUpdater::shared();

    if (qEnvironmentVariable("CLIPHAVEN_SEED") == u"1")
        SeedData::populateIfEmpty(m_store);

    // Capture starts at once; what is on the clipboard now is not taken.
    m_monitor = std::make_unique<ClipboardMonitor>(m_pasteboard,
                                                   m_workspace,
                                                   AppPrefs::shared(),
                                                   m_sounds);
    connect(m_monitor.get(), &ClipboardMonitor::onNew, this, [this](const ClipItem &item) {
        m_store.captureFromClipboard(item);
        recognizeCapturedImage(item, m_ocr, m_store);
    });
    m_monitor->start();
    m_paster = std::make_unique<Paster>(m_pasteboard,
                                        m_workspace,
                                        m_keyPoster,
                                        m_sounds,
                                        AppPrefs::shared());

    QTimer::singleShot(kBackfillDelayMs, this, [this] { m_store.backfillMissingOCR(); });

    // The overlay, built on the next turn so the first shortcut press opens a ready panel
    // without delaying capture.
    m_overlay = std::make_unique<OverlayWindow>(m_store,
                                                m_overlayState,
                                                &LinkPreviewCache::shared());
    m_overlay->onPick = [this](const ClipItem &item) { handlePick(item); };
    m_overlay->onBeep = [] { QApplication::beep(); };
    m_overlay->beforeMap = [](QWindow &window) { X11WindowHints::skipTaskbar(window); };
    // The screen the user is working on: where the pointer is, else the primary one.
    m_overlay->screenForShow = [] { return QGuiApplication::screenAt(QCursor::pos()); };
    // The top row: the shortcut's key caps (read once the shortcuts are set up, below) and
    // the overflow menu.
    m_hotkeyCaps = std::make_unique<HotkeyCaps>();
    m_moreMenu = std::make_unique<MoreMenu>(AppPrefs::shared());
    m_moreMenu->confirmPause = confirmPause;
    m_moreMenu->onShowPreferences = [this] {
        m_overlay->hide();
        showPreferences();
    };
    m_moreMenu->onCheckForUpdates = [] { SparkleUpdater::shared().checkForUpdates(); };
    m_moreMenu->onQuit = [] { QCoreApplication::quit(); };
    m_overlay->setTopRow(m_hotkeyCaps.get(), m_moreMenu.get());
    // Space previews the current item over the overlay, which stays while the preview has the
    // focus. When another application takes the focus from the preview, the overlay goes too.
    m_preview = std::make_unique<PreviewWindow>(QuickLookController::shared());
    m_preview->beforeMap = [](QWindow &window) { X11WindowHints::skipTaskbar(window); };
    m_preview->onClosed = [this](PreviewWindow::CloseReason reason) {
        const QQuickWindow *overlay = m_overlay->window();
        if (reason == PreviewWindow::CloseReason::FocusLost && overlay && !overlay->isActive())
            m_overlay->hide();
    };
    m_overlay->onQuickLook = [this](const ClipItem &item) {
        m_preview->toggle(item, m_overlay->window());
    };
    m_overlay->isPreviewVisible = [this] { return m_preview->isVisible(); };
    QTimer::singleShot(0, this, [this] {
        if (!m_overlay->isBuilt())
            m_overlay->build();
        // The preview's window too (a megabyte), so the first Space shows it at once.
        m_preview->build();
    });

    // The tray icon follows "Show icon in the panel's system tray" live.
    m_tray = std::make_unique<TrayIcon>(AppPrefs::shared());
    connect(m_tray.get(), &TrayIcon::toggleOverlayRequested, this, &AppDelegate::toggleOverlay);
    connect(m_tray.get(), &TrayIcon::preferencesRequested, this, &AppDelegate::showPreferences);
    connect(m_tray.get(),
            &TrayIcon::checkForUpdatesRequested,
            &SparkleUpdater::shared(),
            &SparkleUpdater::checkForUpdates);
    connect(m_tray.get(), &TrayIcon::quitRequested, qApp, &QCoreApplication::quit);

    // The global shortcut: Shift+Super+V unless the user chose another.
    KeyboardShortcuts::setCurrentKeyboardLayout(m_keyboard.layout.get());
    m_shortcuts = std::make_unique<KeyboardShortcuts::Registry>(AppPrefs::shared().settings(),
                                                                *m_keyboard.hotKeys);
    m_shortcuts->onKeyDown(ShortcutNames::toggleOverlay, [self = QPointer(this)] {
        if (self)
            self->toggleOverlay();
    });
    m_hotkeyCaps->setSource(
        [this] { return m_shortcuts->getShortcut(ShortcutNames::toggleOverlay); });
}

void AppDelegate::toggleOverlay()
{
    if (!m_overlay)
        qFatal("toggleOverlay before launch");
    if (m_overlay->isVisible() && !m_overlay->isHiding()) {
        m_preview->close();
        m_overlay->hide();
        return;
    }
    // Remembered on opening only: it is where the pick will be pasted.
    m_previousApp = m_workspace.frontmostApplication();
    m_overlay->show();
}

void AppDelegate::handlePick(const ClipItem &item)
{
    if (!m_overlay || !m_monitor)
        qFatal("handlePick before launch");
    m_overlay->hide();
    QTimer::singleShot(kPasteDelayMs, this, [this, item] {
        m_paster->paste(item, m_previousApp, *m_monitor);
    });
}

void AppDelegate::showPreferences()
{
    if (!m_preferences) {
        m_openWindows = std::make_unique<X11OpenWindows>();
        m_preferences = std::make_unique<PreferencesWindow>(m_store,
                                                            AppPrefs::shared(),
                                                            *m_shortcuts,
                                                            m_openWindows.get());
    }
    m_preferences->showPreferences();
}
