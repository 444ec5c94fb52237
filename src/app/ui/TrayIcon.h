#pragma once

#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include <memory>

class AppPrefs;
class QAction;
class QMenu;

// Cliphaven's icon in the panel's tray: present while showInMenuBar is on, a clipboard
// or, while capturing is paused, a pause sign. A left click asks for the overlay; the right
// click opens the menu.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    explicit TrayIcon(AppPrefs &prefs, QObject *parent = nullptr);
    ~TrayIcon() override;

    // Creates or removes the icon to match the setting; harmless to repeat.
    void applyMenuBarVisibility();
    void refreshStatusItemAppearance();
    // From now on the icon appears, disappears and changes its look with the settings.
    void followPreferences();

    // Null while the setting is off.
    QSystemTrayIcon *statusItem() const { return m_statusItem.get(); }
    QMenu *menu() const { return m_menu.get(); }
    // The resource the icon shows now.
    QString iconPath() const;
    // "Check for Updates…" is in the menu only where there is an update feed.
    void setCanCheckForUpdates(bool can);

    // A problem the user must know of, shown at the top of the menu and in the tooltip, with a
    // warning on the icon, and announced once as a message when it appears; empty clears it.
    void setNotice(const QString &text);
    QString notice() const { return m_notice; }

signals:
    // A left click, or "Show Cliphaven".
    void toggleOverlayRequested();
    void preferencesRequested();
    void checkForUpdatesRequested();
    void quitRequested();

private:
    void activated(QSystemTrayIcon::ActivationReason reason);

    AppPrefs &m_prefs;
    std::unique_ptr<QMenu> m_menu;
    QAction *m_checkForUpdates = nullptr;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    QAction *m_noticeAction = nullptr;
    QString m_notice;
};
