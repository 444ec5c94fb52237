#include "MoreMenu.h"

#include "app/AppPrefs.h"

#include <QPointer>
#include <QTimer>

MoreMenu::MoreMenu(AppPrefs &prefs, QObject *parent)
    : QObject(parent)
    , m_prefs(prefs)
{
    connect(&m_prefs, &AppPrefs::pausedChanged, this, &MoreMenu::pausedChanged);
}

bool MoreMenu::paused() const
{
    return m_prefs.paused();
}

void MoreMenu::setCanCheckForUpdates(bool can)
{
    if (can == m_canCheckForUpdates)
        return;
    m_canCheckForUpdates = can;
    emit canCheckForUpdatesChanged();
}

void MoreMenu::togglePause()
{
    if (m_prefs.paused() || m_prefs.seenPauseExplainer()) {
        m_prefs.setPaused(!m_prefs.paused());
        return;
    }
    // Marked first, so the explainer shows once whatever the answer; asked on the next turn,
    // once the menu that asked has closed.
    m_prefs.setSeenPauseExplainer(true);
    QTimer::singleShot(0, this, [this] {
        if (!askToPause) {
            m_prefs.setPaused(true);
            return;
        }
        askToPause([menu = QPointer<MoreMenu>(this)](bool pause) {
            if (menu && pause)
                menu->m_prefs.setPaused(true);
        });
    });
}

void MoreMenu::showPreferences()
{
    if (onShowPreferences)
        onShowPreferences();
}

void MoreMenu::checkForUpdates()
{
    if (onCheckForUpdates)
        onCheckForUpdates();
}

void MoreMenu::quit()
{
    if (onQuit)
        onQuit();
}
