#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <functional>

class AppPrefs;

// The actions of the overlay's overflow menu. Pausing the first time explains what pausing
// means and asks first; every later pause, and every resume, happens at once.
class MoreMenu : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application owns the overflow menu's actions.")
    Q_PROPERTY(bool paused READ paused NOTIFY pausedChanged)
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates WRITE setCanCheckForUpdates NOTIFY
                   canCheckForUpdatesChanged)

public:
    static inline const QString kExplainerMessage = QStringLiteral("Pause clipboard capturing");
    static inline const QString kExplainerText = QStringLiteral(
        "While paused, Cliphaven stops watching the clipboard — nothing new joins your history. "
        "Items already in History stay put. You can paste from saved categories the whole time. "
        "Toggle this off to resume.");

    explicit MoreMenu(AppPrefs &prefs, QObject *parent = nullptr);

    // The explainer: shows kExplainerMessage and kExplainerText with "Cancel" and "Pause" and
    // later calls the function given with true when "Pause" was chosen. Unset, pausing needs
    // no confirmation.
    std::function<void(std::function<void(bool)>)> askToPause;
    // Set by the owner: open the preferences (the overlay hides first), check for updates, quit.
    std::function<void()> onShowPreferences;
    std::function<void()> onCheckForUpdates;
    std::function<void()> onQuit;

    bool paused() const;
    // Whether "Check for Updates…" is offered: not in a build without an update feed.
    bool canCheckForUpdates() const { return m_canCheckForUpdates; }
    void setCanCheckForUpdates(bool can);

    Q_INVOKABLE void togglePause();
    Q_INVOKABLE void showPreferences();
    Q_INVOKABLE void checkForUpdates();
    Q_INVOKABLE void quit();

signals:
    void pausedChanged();
    void canCheckForUpdatesChanged();

private:
    AppPrefs &m_prefs;
    bool m_canCheckForUpdates = true;
};
