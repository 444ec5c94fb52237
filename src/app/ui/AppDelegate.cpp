#include "AppDelegate.h"

#include "KeyboardShortcuts/Registry.h"
#include "PreferencesWindow.h"
#include "SparkleUpdater.h"
#include "TrayIcon.h"
#include "app/AppPrefs.h"
#include "app/ShortcutNames.h"
#include "app/SingleInstance.h"
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
#include "platform/portal/MutterKeyPoster.h"
#include "platform/portal/PortalHotKeyBackend.h"
#include "platform/portal/RemoteDesktopKeyPoster.h"
#include "platform/x11/X11WindowHints.h"

#include <QApplication>
#include <QDBusConnection>
#include <QGridLayout>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QQuickWindow>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace {

// A voice on the sound server, opened on the first turn of the event loop (or at its first
// play, if sooner): connecting to the server would otherwise hold up capturing at start-up.
class VoiceOpenedAfterLaunch : public Sounds::Voice
{
public:
    explicit VoiceOpenedAfterLaunch(const QList<float> &samples)
        : m_samples(samples)
    {
        QTimer::singleShot(0, &m_context, [this] { open(); });
    }

    void play() override
    {
        open();
        if (m_voice)
            m_voice->play();
    }

private:
    void open()
    {
        if (m_opened)
            return;
        m_opened = true;
        m_voice = Sounds::audioSinkVoices()(std::exchange(m_samples, {}));
    }

    QObject m_context;
    QList<float> m_samples;
    bool m_opened = false;
    std::unique_ptr<Sounds::Voice> m_voice;
};

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

// Each launch step as it completes, with the time since the delegate was made: where start-up
// time goes, and the moment capturing begins. QT_LOGGING_RULES="cliphaven.startup.debug=true"
// shows it.
Q_LOGGING_CATEGORY(lcStartup, "cliphaven.startup", QtInfoMsg)

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent)
    // Read on a worker thread: capturing starts without waiting for a large history.
    , m_store(Store::defaultStoreFilePath(), Store::Loading::inBackground, &m_ocr)
    , m_sounds(AppPrefs::shared(),
               [](const QList<float> &samples) {
                   return std::make_unique<VoiceOpenedAfterLaunch>(samples);
               })
    , m_keyboard(KeyboardShortcuts::SystemKeyboard::create())
{}

AppDelegate::~AppDelegate()
{
    KeyboardShortcuts::setCurrentKeyboardLayout(nullptr);
    // Quitting during a background load finishes it in the store's destructor, when this
    // delegate is half gone.
    m_store.disconnect(this);
}

void AppDelegate::applicationDidFinishLaunching(SingleInstance &instance)
{
    const auto done = [this](const QString &step) {
        qCDebug(lcStartup).noquote() << step << "+" << m_launchClock.elapsed() << "ms";
    };
    connect(&m_store, &Store::loaded, this, [this, done] {
        done(QStringLiteral("history loaded: %1 entries").arg(m_store.history().size()));
    });

    // A background utility: closing a window (preferences, alerts) never ends it, and the
    // overlay is a tool window kept off the taskbar (its hint is set before it is mapped).
    // No main menu: Qt's text fields have their editing shortcuts already.
    QApplication::setQuitOnLastWindowClosed(false);
    done(QStringLiteral("background utility"));

    // "Check for Updates…" reads the feed on demand.
    SparkleUpdater::shared();
    done(QStringLiteral("updater"));

    if (qEnvironmentVariable("CLIPHAVEN_SEED") == u"1") {
        // Only an empty history gets samples, so this one waits for the history.
        m_store.waitUntilLoaded();
        SeedData::populateIfEmpty(m_store);
        done(QStringLiteral("sample data"));
    }

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
    done(QStringLiteral("capturing"));
    setUpDesktopPortal();
    m_paster = std::make_unique<Paster>(m_pasteboard,
                                        m_workspace,
                                        *m_keys,
                                        m_sounds,
                                        AppPrefs::shared());

    QTimer::singleShot(kBackfillDelayMs, this, [this, done] {
        m_store.backfillMissingOCR();
        done(QStringLiteral("recognition backfill"));
    });

    // The overlay, built on the next turn so the first shortcut press opens a ready panel
    // without delaying capture.
    m_overlay = std::make_unique<OverlayWindow>(m_store,
                                                m_overlayState,
                                                &LinkPreviewCache::shared());
    m_overlay->onPick = [this](const ClipItem &item) { handlePick(item); };
    m_overlay->onBeep = [] { QApplication::beep(); };
    m_overlay->beforeMap = [](QWindow &window) { X11WindowHints::skipTaskbar(window); };
    // The screen of the window the user was in, else the primary one.
    m_overlay->screenForShow = [this]() -> QScreen * {
        const std::optional<QRect> frame = m_previousApp ? m_workspace.windowFrame(*m_previousApp)
                                                         : std::nullopt;
        return frame ? OverlayWindow::screenOfWindow(*frame) : nullptr;
    };
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
    QTimer::singleShot(0, this, [this, done] {
        if (!m_overlay->isBuilt())
            m_overlay->build();
        // The preview's window too (a megabyte), so the first Space shows it at once.
        m_preview->build();
        done(QStringLiteral("overlay built"));
    });

    // The tray icon, present while "Show icon in the panel's system tray" is on.
    m_tray = std::make_unique<TrayIcon>(AppPrefs::shared());
    connect(m_tray.get(), &TrayIcon::toggleOverlayRequested, this, &AppDelegate::toggleOverlay);
    connect(m_tray.get(), &TrayIcon::preferencesRequested, this, &AppDelegate::showPreferences);
    connect(m_tray.get(),
            &TrayIcon::checkForUpdatesRequested,
            &SparkleUpdater::shared(),
            &SparkleUpdater::checkForUpdates);
    connect(m_tray.get(), &TrayIcon::quitRequested, qApp, &QCoreApplication::quit);
    done(m_tray->statusItem() ? QStringLiteral("tray icon: on") : QStringLiteral("tray icon: off"));

    // The global shortcut: Shift+Super+V unless the user chose another.
    KeyboardShortcuts::setCurrentKeyboardLayout(m_keyboard.layout.get());
    KeyboardShortcuts::HotKeyBackend *hotKeys = m_keyboard.hotKeys.get();
    if (m_portalHotKeys)
        hotKeys = m_portalHotKeys.get();
    m_shortcuts = std::make_unique<KeyboardShortcuts::Registry>(AppPrefs::shared().settings(),
                                                                *hotKeys);
    if (m_portalHotKeys) {
        // A portal that cannot make a session refuses from then on: registering again makes
        // the registry see the refusal, so Preferences shows what to do instead.
        connect(m_portalHotKeys.get(), &PortalHotKeyBackend::stateChanged, this, [this] {
            if (m_portalHotKeys->state() != PortalHotKeyBackend::State::unavailable)
                return;
            m_shortcuts->disable(ShortcutNames::toggleOverlay);
            m_shortcuts->enable(ShortcutNames::toggleOverlay);
        });
    }
    m_shortcuts->onKeyDown(ShortcutNames::toggleOverlay, [self = QPointer(this)] {
        if (self)
            self->toggleOverlay();
    });
    m_hotkeyCaps->setSource([this]() -> std::optional<KeyboardShortcuts::Shortcut> {
        // Through the portal, only a shortcut the desktop has bound works.
        if (m_portalHotKeys && m_portalHotKeys->boundTrigger().isEmpty())
            return std::nullopt;
        return m_shortcuts->getShortcut(ShortcutNames::toggleOverlay);
    });
    if (m_portalHotKeys)
        connect(m_portalHotKeys.get(),
                &PortalHotKeyBackend::boundTriggerChanged,
                m_hotkeyCaps.get(),
                &HotkeyCaps::refresh);
    const auto shortcut = m_shortcuts->getShortcut(ShortcutNames::toggleOverlay);
    done(QStringLiteral("global shortcut: ")
         + (shortcut ? shortcut->description() : QStringLiteral("none")));

    // From here on the tray follows the settings live.
    m_tray->followPreferences();
    done(QStringLiteral("settings observed"));

    // Launching Cliphaven again (or with --toggle) while it runs toggles the overlay.
    connect(&instance, &SingleInstance::reopenRequested, this, &AppDelegate::toggleOverlay);
    done(QStringLiteral("reopen handled"));

    // Pasting types keys into other applications; where that cannot work the user is told once.
    done(m_paster->promptIfUntrusted() ? QStringLiteral("paste check: keys can be posted")
                                       : QStringLiteral("paste check: keys cannot be posted"));
}

// On a Wayland session keystrokes and the global shortcut go through the desktop portal, where
// a session can really be had. GNOME's compositor service stands behind the portal for pasting
// (its own portal backend wraps it), and XTest through Xwayland behind that (X11 programs only).
void AppDelegate::setUpDesktopPortal()
{
    if (qEnvironmentVariable("XDG_SESSION_TYPE") != u"wayland"
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QSettings &settings = AppPrefs::shared().settings();
    m_mutterKeys = std::make_unique<MutterKeyPoster>(bus, &m_keyPoster);
    m_portalKeys = std::make_unique<RemoteDesktopKeyPoster>(
        bus,
        settings.value(AppPrefs::kRemoteDesktopRestoreTokenKey).toString(),
        settings.value(AppPrefs::kRemoteDesktopRefusedKey).toBool(),
        m_mutterKeys.get());
    connect(m_portalKeys.get(),
            &RemoteDesktopKeyPoster::restoreTokenChanged,
            this,
            [](const QString &token) {
                AppPrefs::shared().settings().setValue(AppPrefs::kRemoteDesktopRestoreTokenKey,
                                                       token);
            });
    connect(m_portalKeys.get(), &RemoteDesktopKeyPoster::refusedChanged, this, [](bool refused) {
        AppPrefs::shared().settings().setValue(AppPrefs::kRemoteDesktopRefusedKey, refused);
    });
    connect(m_portalKeys.get(),
            &RemoteDesktopKeyPoster::problem,
            this,
            [this](RemoteDesktopKeyPoster::Problem problem) { explainPasteProblem(int(problem)); });
    connect(m_mutterKeys.get(), &MutterKeyPoster::undelivered, this, [this] {
        explainPasteProblem(int(RemoteDesktopKeyPoster::Problem::failed));
    });
    m_keys = m_portalKeys.get();

    m_portalHotKeys = std::make_unique<PortalHotKeyBackend>(bus,
                                                            QStringLiteral("toggle-overlay"),
                                                            QStringLiteral(
                                                                "Open or close Cliphaven"));
}

// Once per run: a refusal is remembered and never asked again, and a silent or failing portal
// is not retried in this run either.
void AppDelegate::explainPasteProblem(int problem)
{
    if (std::exchange(m_pasteProblemExplained, true))
        return;
    // This is the paster's one-time explanation too: a later launch does not repeat it.
    AppPrefs::shared().settings().setValue(AppPrefs::kAccessibilityPromptedKey, true);
    QString text;
    switch (RemoteDesktopKeyPoster::Problem(problem)) {
    case RemoteDesktopKeyPoster::Problem::refused:
        text = QStringLiteral(
            "You declined to let Cliphaven type into other apps, so it will not ask again. The "
            "item you pick is put on your clipboard — press Ctrl+V to paste it. To paste "
            "automatically, choose “Ask Again” under Pasting in Preferences.");
        break;
    case RemoteDesktopKeyPoster::Problem::noAnswer:
        text = QStringLiteral(
            "The desktop did not answer Cliphaven's request to type into other apps. The item "
            "you pick is on your clipboard — press Ctrl+V to paste it.");
        break;
    case RemoteDesktopKeyPoster::Problem::failed:
        text = QStringLiteral(
            "This desktop offers Cliphaven no way to type into other apps. The item you pick is "
            "on your clipboard — press Ctrl+V to paste it.");
        break;
    }
    QTimer::singleShot(0, this, [text] {
        QMessageBox box(QMessageBox::Information,
                        QStringLiteral("Cliphaven"),
                        QStringLiteral("Cliphaven could not paste for you"),
                        QMessageBox::Ok);
        box.setInformativeText(text);
        box.setWindowIcon(QIcon(QStringLiteral(":/cliphaven/icons/cliphaven.svg")));
        // Wide enough that the explanation reads as a paragraph, not a column.
        if (auto *grid = qobject_cast<QGridLayout *>(box.layout()))
            grid->addItem(new QSpacerItem(420, 0, QSizePolicy::Minimum, QSizePolicy::Minimum),
                          grid->rowCount(),
                          0,
                          1,
                          grid->columnCount());
        box.exec();
    });
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
        m_preferences->setDesktopServices(m_portalHotKeys.get(), m_portalKeys.get());
    }
    m_preferences->showPreferences();
}
