#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickWindow>

#include <memory>

class AppPrefs;
class ApplicationCatalog;
class ApplicationChooserModel;
class AutostartEntry;
class DesktopColorScheme;
class IgnoredAppsModel;
class OpenWindows;
class PasteKeystrokesModel;
class PreferencesModel;
class QQmlEngine;

class ShortcutRecorder;
class Store;

namespace KeyboardShortcuts {
class Registry;
}

// The "Cliphaven Preferences" window: built on the first show, then hidden on close and shown
// again, with what may have changed meanwhile (the stored shortcut, installed applications)
// read anew each time.
class PreferencesWindow : public QObject
{
    Q_OBJECT

public:
    // Everything given must outlive the window; windows may be null.
    PreferencesWindow(Store &store,
                      AppPrefs &prefs,
                      KeyboardShortcuts::Registry &shortcuts,
                      const OpenWindows *windows,
                      QObject *parent = nullptr);
    ~PreferencesWindow() override;

    // What Preferences says about the desktop session; set before the first show.
    void setSession(QObject *session) { m_session = session; }
    // The desktop portal's shortcut and pasting services, shown where they are used; set before
    // the first show. Either may be null.
    void setDesktopServices(QObject *desktopShortcut, QObject *remotePaste)
    {
        m_desktopShortcut = desktopShortcut;
        m_remotePaste = remotePaste;
    }

    // Shows the window in front, building it first if needed.
    void showPreferences();
    // Null until first shown.
    QQuickWindow *window() const { return m_window; }

private:
    void build();

    Store &m_store;
    AppPrefs &m_prefs;
    KeyboardShortcuts::Registry &m_shortcuts;
    const OpenWindows *m_windows;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<PreferencesModel> m_model;
    std::unique_ptr<ShortcutRecorder> m_recorder;
    std::unique_ptr<IgnoredAppsModel> m_ignoredApps;
    std::unique_ptr<ApplicationChooserModel> m_chooser;
    std::unique_ptr<PasteKeystrokesModel> m_pasteKeystrokes;
    std::unique_ptr<AutostartEntry> m_autostart;
    std::unique_ptr<DesktopColorScheme> m_colorScheme;
    QPointer<QQuickWindow> m_window;
    QObject *m_session = nullptr;
    QObject *m_desktopShortcut = nullptr;
    QObject *m_remotePaste = nullptr;
};
