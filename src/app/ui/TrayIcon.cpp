#include "TrayIcon.h"

#include "app/AppPrefs.h"

#include <QAction>
#include <QMenu>

namespace {

const QString kClipboardIcon = QStringLiteral(":/cliphaven/icons/tray-clipboard.svg");
const QString kPausedIcon = QStringLiteral(":/cliphaven/icons/tray-paused.svg");

} // namespace

TrayIcon::TrayIcon(AppPrefs &prefs, QObject *parent)
    : QObject(parent)
    , m_prefs(prefs)
    , m_menu(std::make_unique<QMenu>())
{
    // The menu is made once and kept: a tray that exports menus (StatusNotifierItem) needs it
    // before the click, and the left click never opens it.
    m_menu->addAction(QStringLiteral("Show Cliphaven"), this, &TrayIcon::toggleOverlayRequested);
    m_menu->addAction(QStringLiteral("Preferences…"), this, &TrayIcon::preferencesRequested);
    m_menu->addSeparator();
    m_checkForUpdates = m_menu->addAction(QStringLiteral("Check for Updates…"),
                                          this,
                                          &TrayIcon::checkForUpdatesRequested);
    m_menu->addAction(QStringLiteral("Quit Cliphaven"), this, &TrayIcon::quitRequested);
    applyMenuBarVisibility();
}

void TrayIcon::followPreferences()
{
    connect(&m_prefs,
            &AppPrefs::showInMenuBarChanged,
            this,
            &TrayIcon::applyMenuBarVisibility,
            Qt::UniqueConnection);
    connect(&m_prefs,
            &AppPrefs::pausedChanged,
            this,
            &TrayIcon::refreshStatusItemAppearance,
            Qt::UniqueConnection);
}

TrayIcon::~TrayIcon()
{
    // The icon refers to the menu; it goes first.
    m_statusItem.reset();
}

QString TrayIcon::iconPath() const
{
    return m_prefs.paused() ? kPausedIcon : kClipboardIcon;
}

void TrayIcon::setCanCheckForUpdates(bool can)
{
    m_checkForUpdates->setVisible(can);
}

void TrayIcon::applyMenuBarVisibility()
{
    if (!m_prefs.showInMenuBar()) {
        m_statusItem.reset();
        return;
    }
    if (!m_statusItem) {
        m_statusItem = std::make_unique<QSystemTrayIcon>();
        m_statusItem->setToolTip(QStringLiteral("Cliphaven"));
        m_statusItem->setContextMenu(m_menu.get());
        connect(m_statusItem.get(), &QSystemTrayIcon::activated, this, &TrayIcon::activated);
    }
    refreshStatusItemAppearance();
    m_statusItem->show();
}

void TrayIcon::refreshStatusItemAppearance()
{
    if (m_statusItem)
        m_statusItem->setIcon(QIcon(iconPath()));
}

void TrayIcon::activated(QSystemTrayIcon::ActivationReason reason)
{
    // A double click arrives as a click and then a double click; one toggle is enough.
    if (reason == QSystemTrayIcon::Trigger)
        emit toggleOverlayRequested();
}
