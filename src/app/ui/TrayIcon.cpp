#include "TrayIcon.h"

#include "app/AppPrefs.h"

#include <QAction>
#include <QMenu>

namespace {

const QString kClipboardIcon = QStringLiteral(":/cliphaven/icons/tray-clipboard.svg");
const QString kPausedIcon = QStringLiteral(":/cliphaven/icons/tray-paused.svg");
const QString kWarningIcon = QStringLiteral(":/cliphaven/icons/warning.svg");

} // namespace

TrayIcon::TrayIcon(AppPrefs &prefs, QObject *parent)
    : QObject(parent)
    , m_prefs(prefs)
    , m_menu(std::make_unique<QMenu>())
{
    // The menu is made once and kept: a tray that exports menus (StatusNotifierItem) needs it
    // before the click, and the left click never opens it.
    m_noticeAction = m_menu->addAction(QIcon(kWarningIcon), QString());
    m_noticeAction->setEnabled(false);
    m_noticeAction->setVisible(false);
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
    if (!m_notice.isEmpty())
        return kWarningIcon;
    return m_prefs.paused() ? kPausedIcon : kClipboardIcon;
}

void TrayIcon::setNotice(const QString &text)
{
    if (m_notice == text)
        return;
    const bool appeared = m_notice.isEmpty();
    m_notice = text;
    m_noticeAction->setText(text);
    m_noticeAction->setVisible(!text.isEmpty());
    if (m_statusItem) {
        m_statusItem->setToolTip(text.isEmpty() ? QStringLiteral("Cliphaven")
                                                : QStringLiteral("Cliphaven: ") + text);
        if (appeared && !text.isEmpty())
            m_statusItem->showMessage(QStringLiteral("Cliphaven"), text, QSystemTrayIcon::Warning);
    }
    refreshStatusItemAppearance();
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
        m_statusItem->setToolTip(m_notice.isEmpty() ? QStringLiteral("Cliphaven")
                                                    : QStringLiteral("Cliphaven: ") + m_notice);
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
