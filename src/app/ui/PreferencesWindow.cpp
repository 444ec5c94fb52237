#include "PreferencesWindow.h"

#include "AppIconProvider.h"
#include "KeyboardShortcuts/Registry.h"
#include "app/AppPrefs.h"
#include "app/ApplicationCatalog.h"
#include "app/ApplicationChooserModel.h"
#include "app/AutostartEntry.h"
#include "app/DesktopColorScheme.h"
#include "app/IgnoredAppsModel.h"
#include "app/PasteKeystrokesModel.h"
#include "app/PreferencesModel.h"
#include "app/ShortcutNames.h"
#include "app/ShortcutRecorder.h"

#include <QCursor>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QScreen>
#include <QSystemTrayIcon>

#include <algorithm>

PreferencesWindow::PreferencesWindow(Store &store,
                                     AppPrefs &prefs,
                                     KeyboardShortcuts::Registry &shortcuts,
                                     const OpenWindows *windows,
                                     QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_prefs(prefs)
    , m_shortcuts(shortcuts)
    , m_windows(windows)
{}

PreferencesWindow::~PreferencesWindow()
{
    delete m_window;
}

void PreferencesWindow::build()
{
    auto catalog = std::make_shared<const ApplicationCatalog>();
    m_model = std::make_unique<PreferencesModel>(m_store);
    m_model->setTrayAvailable(QSystemTrayIcon::isSystemTrayAvailable());
    m_recorder = std::make_unique<ShortcutRecorder>(m_shortcuts, ShortcutNames::toggleOverlay);
    m_ignoredApps = std::make_unique<IgnoredAppsModel>(m_prefs, catalog);
    m_chooser = std::make_unique<ApplicationChooserModel>(m_prefs, catalog, m_windows);
    m_pasteKeystrokes = std::make_unique<PasteKeystrokesModel>(m_prefs, catalog);
    m_autostart = std::make_unique<AutostartEntry>();

    m_engine = std::make_unique<QQmlEngine>();
    m_engine->addImageProvider(AppIconProvider::kId, new AppIconProvider);
    QQmlComponent component(m_engine.get(),
                            QUrl(QStringLiteral(
                                "qrc:/Cliphaven/Preferences/PreferencesWindow.qml")));
    QObject *root = component.createWithInitialProperties({
        {QStringLiteral("prefs"), QVariant::fromValue<QObject *>(&m_prefs)},
        {QStringLiteral("model"), QVariant::fromValue<QObject *>(m_model.get())},
        {QStringLiteral("recorder"), QVariant::fromValue<QObject *>(m_recorder.get())},
        {QStringLiteral("ignoredApps"), QVariant::fromValue<QObject *>(m_ignoredApps.get())},
        {QStringLiteral("chooser"), QVariant::fromValue<QObject *>(m_chooser.get())},
        {QStringLiteral("pasteKeystrokes"), QVariant::fromValue<QObject *>(m_pasteKeystrokes.get())},
        {QStringLiteral("autostart"), QVariant::fromValue<QObject *>(m_autostart.get())},
        {QStringLiteral("session"), QVariant::fromValue<QObject *>(m_session)},
        {QStringLiteral("desktopShortcut"), QVariant::fromValue(m_desktopShortcut)},
        {QStringLiteral("remotePaste"), QVariant::fromValue(m_remotePaste)},
    });
    m_window = qobject_cast<QQuickWindow *>(root);
    if (!m_window)
        qFatal("The preferences window failed to load: %s", qPrintable(component.errorString()));

    m_colorScheme = std::make_unique<DesktopColorScheme>();
    const auto applyScheme = [this] { m_window->setProperty("dark", m_colorScheme->dark()); };
    applyScheme();
    connect(m_colorScheme.get(), &DesktopColorScheme::darkChanged, m_window, applyScheme);
}

void PreferencesWindow::showPreferences()
{
    // The program that held the shortcut may have let go since: ask again, so what the window
    // says is true now.
    m_shortcuts.retryRefused();
    // A panel with a tray may have started, or ended, since the last time.
    if (m_model)
        m_model->setTrayAvailable(QSystemTrayIcon::isSystemTrayAvailable());
    if (!m_window) {
        build();
    } else {
        // Applications may have come and gone since the last time.
        auto catalog = std::make_shared<const ApplicationCatalog>();
        m_ignoredApps->setCatalog(catalog);
        m_chooser->refresh(catalog);
        m_pasteKeystrokes->setCatalog(catalog);
        m_recorder->reload();
    }
    if (!m_window->isVisible()) {
        // Centred on the screen the user is working on.
        QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
        if (!screen)
            screen = QGuiApplication::primaryScreen();
        m_window->setScreen(screen);
        const QRect area = screen->availableGeometry();
        // Tall enough for every section, on any scale, as far as the screen allows; below
        // that it scrolls.
        const int wanted = m_window->property("preferredHeight").toInt();
        const int fits = std::min(wanted, area.height() * 9 / 10);
        m_window->resize(m_window->width(), std::max(fits, m_window->minimumHeight()));
        m_window->setPosition(area.center() - QPoint(m_window->width(), m_window->height()) / 2);
    }
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
}
