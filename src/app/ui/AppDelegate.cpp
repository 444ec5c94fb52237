#include "AppDelegate.h"

#include "KeyboardShortcuts/Registry.h"
#include "PreferencesWindow.h"
#include "SparkleUpdater.h"
#include "TrayIcon.h"
#include "app/AppPrefs.h"
#include "app/CommandRunner.h"
#include "app/OpenWindows.h"
#include "app/SessionInfo.h"
#include "app/SessionRestore.h"
#include "app/ShortcutNames.h"
#include "app/SingleInstance.h"
#include "capture/CapturedImageText.h"
#include "capture/ClipboardMonitor.h"
#include "capture/LinkPreviewCache.h"
#include "model/SeedData.h"
#include "overlay/FieldPasteGuard.h"
#include "overlay/HotkeyCaps.h"
#include "overlay/MoreMenu.h"
#include "overlay/OverlayAlert.h"
#include "overlay/OverlayWindow.h"
#include "overlay/PreviewWindow.h"
#include "overlay/QuickLookController.h"
#include "overlay/StoreNotice.h"
#include "paste/Paster.h"
#include "platform/Pasteboard.h"
#include "platform/portal/MutterKeyPoster.h"
#include "platform/portal/PortalHotKeyBackend.h"
#include "platform/portal/RemoteDesktopKeyPoster.h"

#include <QApplication>
#include <QDBusConnection>
#include <QGridLayout>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPointer>
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
    optOutOfSessionRestore(*qApp);
    done(QStringLiteral("background utility"));
    qCInfo(lcStartup).noquote() << "session:" << m_platform.description();
    // Without the compositor there is nothing left to capture or serve: quit normally, so the
    // store writes what is pending.
    m_platform.onSessionLost([] {
        qCWarning(lcStartup, "The Wayland compositor went away; quitting.");
        QCoreApplication::quit();
    });

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
    m_monitor = std::make_unique<ClipboardMonitor>(m_platform.pasteboard(),
                                                   m_platform.workspace(),
                                                   AppPrefs::shared(),
                                                   m_sounds);
    connect(m_monitor.get(), &ClipboardMonitor::onNew, this, [this](const ClipItem &item) {
        m_store.captureFromClipboard(item);
        recognizeCapturedImage(item, m_ocr, m_store);
    });
    // The store may have kept an older entry of the same content in place of the new one.
    connect(m_monitor.get(),
            &ClipboardMonitor::transientCopyCleared,
            this,
            [this](const ClipItem &secret) {
                QSet<QUuid> ids;
                for (const ClipItem &entry : m_store.history()) {
                    if (entry.sameContent(secret))
                        ids.insert(entry.id);
                }
                if (!ids.isEmpty())
                    m_store.deleteFromHistory(ids);
            });
    m_monitor->start();
    followSelectionRecording();
    connect(&AppPrefs::shared(),
            &AppPrefs::recordPrimarySelectionChanged,
            this,
            &AppDelegate::followSelectionRecording);
    // Qt's own text fields must never read the clipboard on this thread; pasting into them
    // reads through the monitor instead.
    m_fieldPaste = std::make_unique<FieldPasteGuard>(
        [this](std::function<void(const QString &)> done) { m_monitor->readText(std::move(done)); });
    done(QStringLiteral("capturing"));
    m_keys = &m_platform.keyPoster();
    setUpDesktopPortal();
    m_paster = std::make_unique<Paster>(m_platform.pasteboard(),
                                        m_platform.workspace(),
                                        *m_keys,
                                        m_sounds,
                                        AppPrefs::shared());
    m_paster->setOnWayland(m_platform.kind() != PlatformSession::Kind::x11);

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
    m_overlay->beforeMap = [this](QWindow &window) { m_platform.prepareFloatingWindow(window); };
    // The screen of the window the user was in, else the primary one.
    m_overlay->screenForShow = [this]() -> QScreen * {
        const std::optional<QRect> frame = m_previousApp
                                               ? m_platform.workspace().windowFrame(*m_previousApp)
                                               : std::nullopt;
        return frame ? OverlayWindow::screenOfWindow(*frame) : nullptr;
    };
    // The top row: the shortcut's key caps (read once the shortcuts are set up, below) and
    // the overflow menu.
    m_hotkeyCaps = std::make_unique<HotkeyCaps>();
    m_moreMenu = std::make_unique<MoreMenu>(AppPrefs::shared());
    // The one-time explainer before the first pause, inside the card: a separate alert
    // window would take the focus, and the overlay hides when it loses it.
    m_moreMenu->askToPause = [this](std::function<void(bool)> answer) {
        m_overlay->alert()->show(MoreMenu::kExplainerMessage,
                                 MoreMenu::kExplainerText,
                                 {QStringLiteral("Cancel"), QStringLiteral("Pause")},
                                 [answer = std::move(answer)](int chosen) { answer(chosen == 1); });
    };
    m_moreMenu->onShowPreferences = [this] {
        m_overlay->hide();
        showPreferences();
    };
    m_moreMenu->onCheckForUpdates = [] { SparkleUpdater::shared().checkForUpdates(); };
    SparkleUpdater::shared().setInlineAlert(m_overlay->alert(), [this] {
        return m_overlay->isVisible() && !m_overlay->isHiding();
    });
    m_moreMenu->setCanCheckForUpdates(SparkleUpdater::shared().canCheckForUpdates());
    m_moreMenu->onQuit = [] { QCoreApplication::quit(); };
    m_overlay->setTopRow(m_hotkeyCaps.get(), m_moreMenu.get());
    // Space previews the current item over the overlay, which stays while the preview has the
    // focus. When another application takes the focus from the preview, the overlay goes too.
    m_preview = std::make_unique<PreviewWindow>(QuickLookController::shared());
    m_preview->beforeMap = [this](QWindow &window) { m_platform.prepareFloatingWindow(window); };
    m_preview->onClosed = [this](PreviewWindow::CloseReason reason) {
        const QQuickWindow *overlay = m_overlay->window();
        if (reason == PreviewWindow::CloseReason::FocusLost && overlay && !overlay->isActive())
            m_overlay->hide();
    };
    m_overlay->onQuickLook = [this](const ClipItem &item) {
        m_preview->toggle(item, m_overlay->window());
    };
    m_overlay->isPreviewVisible = [this] { return m_preview->isVisible(); };
    QTimer::singleShot(kOverlayBuildDelayMs, this, [this, done] {
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
    // A history that cannot be saved is said in the tray as well as in the overlay.
    connect(&m_store, &Store::saveFailureChanged, m_tray.get(), [this] {
        const QString failure = m_store.saveFailure();
        m_tray->setNotice(failure.isEmpty() ? QString() : StoreNotice::saveFailureText(failure));
    });
    m_tray->setCanCheckForUpdates(SparkleUpdater::shared().canCheckForUpdates());
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
    // Without global key grabs the stored shortcut does nothing, so the caps show nothing.
    // Through the portal, only a shortcut the desktop has bound works.
    m_hotkeyCaps->setSource([this]() -> std::optional<KeyboardShortcuts::Shortcut> {
        const bool portalBound = m_portalHotKeys
                                 && m_portalHotKeys->state() == PortalHotKeyBackend::State::ready
                                 && !m_portalHotKeys->boundTrigger().isEmpty();
        if (!m_platform.hasGlobalKeyGrabs() && !portalBound)
            return std::nullopt;
        return m_shortcuts->getShortcut(ShortcutNames::toggleOverlay);
    });
    // A refused shortcut shows on the overlay's caps, as soon as it is refused or won back.
    const auto markRefused = [this] {
        m_hotkeyCaps->setRefused(m_shortcuts->isRefused(ShortcutNames::toggleOverlay));
    };
    connect(m_shortcuts.get(),
            &KeyboardShortcuts::Registry::registrationsChanged,
            this,
            markRefused);
    markRefused();
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
    // The command line's commands act on this instance's store and clipboard.
    instance.setCommandHandler([this](const QStringList &arguments, const QByteArray &input) {
        CommandRunner::Actions actions;
        actions.copy = [this](const ClipItem &item) { m_paster->copy(item, *m_monitor); };
        // Into whatever program is active: the one the script or picker ran from.
        actions.paste = [this](const ClipItem &item) {
            m_paster->paste(item, std::nullopt, *m_monitor);
        };
        actions.put = [this](const ClipItem &item) {
            if (item.flavors)
                m_platform.pasteboard().writeFlavors(*item.flavors);
            else
                m_platform.pasteboard().writeString(item.text.value_or(QString()));
        };
        actions.setPaused = [](bool paused) { AppPrefs::shared().setPaused(paused); };
        return CommandRunner(m_store, std::move(actions)).run(arguments, input);
    });
    done(QStringLiteral("reopen handled"));

    // Pasting types keys into other applications; where that cannot work the user is told once.
    done(m_paster->promptIfUntrusted() ? QStringLiteral("paste check: keys can be posted")
                                       : QStringLiteral("paste check: keys cannot be posted"));
}

void AppDelegate::followSelectionRecording()
{
    if (!AppPrefs::shared().recordPrimarySelection()) {
        m_primaryMonitor.reset();
        m_primaryPasteboard.reset();
        return;
    }
    if (m_primaryMonitor)
        return;
    m_primaryPasteboard = m_platform.makePrimaryPasteboard();
    if (!m_primaryPasteboard)
        return;
    m_primaryMonitor = std::make_unique<ClipboardMonitor>(*m_primaryPasteboard,
                                                          m_platform.workspace(),
                                                          AppPrefs::shared(),
                                                          m_sounds);
    m_primaryMonitor->settleSelection(ClipboardMonitor::kSelectionSettleMs);
    connect(m_primaryMonitor.get(), &ClipboardMonitor::onNew, this, [this](const ClipItem &item) {
        m_store.captureFromClipboard(item);
    });
    m_primaryMonitor->start();
}

// On a Wayland session keystrokes and the global shortcut go through the desktop portal, where
// a session can really be had. GNOME's compositor service stands behind the portal for pasting
// (its own portal backend wraps it), and XTest through Xwayland behind that (X11 programs only).
void AppDelegate::setUpDesktopPortal()
{
    if (m_platform.kind() == PlatformSession::Kind::x11)
        return;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QSettings &settings = AppPrefs::shared().settings();
    m_portalHotKeys = std::make_unique<PortalHotKeyBackend>(bus,
                                                            QStringLiteral("toggle-overlay"),
                                                            QStringLiteral(
                                                                "Open or close Cliphaven"));
    // A compositor that types for us (a virtual keyboard) asks the user nothing: keep it.
    if (m_platform.kind() == PlatformSession::Kind::wayland && m_platform.keyPoster().isTrusted())
        return;
    m_mutterKeys = std::make_unique<MutterKeyPoster>(bus, &m_platform.keyPoster());
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
        // Asked for it gone: it goes now, without the fade that Escape or a pick plays.
        m_overlay->hide(OverlayWindow::Hiding::AtOnce);
        return;
    }
    // Remembered on opening only: it is where the pick will be pasted.
    m_previousApp = m_platform.workspace().frontmostApplication();
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
        m_openWindows = m_platform.makeOpenWindows();
        m_preferences = std::make_unique<PreferencesWindow>(m_store,
                                                            AppPrefs::shared(),
                                                            *m_shortcuts,
                                                            m_openWindows.get());
        m_sessionInfo = std::make_unique<SessionInfo>(
            SessionInfo::Facts{m_platform.description(),
                               m_platform.hasGlobalKeyGrabs(),
                               m_platform.capturesClipboard(),
                               m_platform.knowsFrontmostApplication()},
            [this](const QString &text) { m_platform.pasteboard().writeString(text); });
        m_preferences->setSession(m_sessionInfo.get());
        m_preferences->setDesktopServices(m_portalHotKeys.get(), m_portalKeys.get());
    }
    m_preferences->showPreferences();
}
