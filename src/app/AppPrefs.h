#pragma once

#include "model/PasteKeystrokeRules.h"

#include <QObject>
#include <QSettings>
#include <QStringList>

#include <memory>

// The user's settings, each written to the settings file at once on every assignment.
// Change signals fire only when a value really changes.
class AppPrefs : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool paused READ paused WRITE setPaused NOTIFY pausedChanged)
    Q_PROPERTY(
        bool showInMenuBar READ showInMenuBar WRITE setShowInMenuBar NOTIFY showInMenuBarChanged)
    Q_PROPERTY(bool seenPauseExplainer READ seenPauseExplainer WRITE setSeenPauseExplainer NOTIFY
                   seenPauseExplainerChanged)
    Q_PROPERTY(
        QStringList ignoredApps READ ignoredApps WRITE setIgnoredApps NOTIFY ignoredAppsChanged)
    Q_PROPERTY(bool playSounds READ playSounds WRITE setPlaySounds NOTIFY playSoundsChanged)
    // The user's paste keystroke per program, in the settings form of PasteKeystrokeRules.
    // Whether a copy its own program clears within a minute is removed from the history.
    Q_PROPERTY(bool forgetTransientCopies READ forgetTransientCopies WRITE setForgetTransientCopies
                   NOTIFY forgetTransientCopiesChanged)
    // Whether text selections (PRIMARY) are recorded as well as copies.
    Q_PROPERTY(bool recordPrimarySelection READ recordPrimarySelection WRITE
                   setRecordPrimarySelection NOTIFY recordPrimarySelectionChanged)
    Q_PROPERTY(QStringList pasteKeystrokes READ pasteKeystrokes WRITE setPasteKeystrokes NOTIFY
                   pasteKeystrokesChanged)

public:
    static inline const QString kPausedKey = QStringLiteral("CliphavenPaused");
    static inline const QString kShowInMenuBarKey = QStringLiteral("CliphavenShowInMenuBar");
    static inline const QString kSeenPauseExplainerKey = QStringLiteral(
        "CliphavenSeenPauseExplainer");
    static inline const QString kIgnoredAppsKey = QStringLiteral("CliphavenIgnoredApps");
    static inline const QString kPlaySoundsKey = QStringLiteral("CliphavenPlaySounds");
    static inline const QString kForgetTransientCopiesKey = QStringLiteral(
        "CliphavenForgetTransientCopies");
    static inline const QString kRecordPrimarySelectionKey = QStringLiteral(
        "CliphavenRecordPrimarySelection");
    static inline const QString kPasteKeystrokesKey = QStringLiteral("CliphavenPasteKeystrokes");
    static inline const QString kAccessibilityPromptedKey = QStringLiteral(
        "CliphavenAccessibilityPrompted");
    // The desktop portal's grant to type into other programs: the token that restores it
    // without asking, and whether the user refused it.
    static inline const QString kRemoteDesktopRestoreTokenKey = QStringLiteral(
        "CliphavenRemoteDesktopRestoreToken");
    static inline const QString kRemoteDesktopRefusedKey = QStringLiteral(
        "CliphavenRemoteDesktopRefused");

    // Reads the five settings; writes nothing back.
    explicit AppPrefs(std::unique_ptr<QSettings> settings, QObject *parent = nullptr);
    ~AppPrefs() override;

    // The process-wide instance on the user's settings file (~/.config/Cliphaven/Cliphaven.conf),
    // made on first use. Tests may install their own with setShared().
    static AppPrefs &shared();
    static void setShared(AppPrefs *prefs);
    // A settings object on the user's settings file, for keys that are not AppPrefs properties.
    static std::unique_ptr<QSettings> makeUserSettings();

    QSettings &settings() { return *m_settings; }

    bool paused() const { return m_paused; }
    void setPaused(bool paused);
    bool showInMenuBar() const { return m_showInMenuBar; }
    void setShowInMenuBar(bool show);
    bool seenPauseExplainer() const { return m_seenPauseExplainer; }
    void setSeenPauseExplainer(bool seen);
    QStringList ignoredApps() const { return m_ignoredApps; }
    void setIgnoredApps(const QStringList &apps);
    bool playSounds() const { return m_playSounds; }
    void setPlaySounds(bool play);

    bool forgetTransientCopies() const { return m_forgetTransientCopies; }
    void setForgetTransientCopies(bool forget);
    bool recordPrimarySelection() const { return m_recordPrimarySelection; }
    void setRecordPrimarySelection(bool record);
    QStringList pasteKeystrokes() const { return m_pasteKeystrokes; }
    void setPasteKeystrokes(const QStringList &entries);
    QList<PasteKeystrokeRules::Override> pasteKeystrokeOverrides() const;
    // Sets or replaces the keystroke for one program; removing drops the user's choice, so the
    // built-in rule applies again.
    void setPasteKeystroke(const QString &identifier, PasteKeystroke keystroke);
    void removePasteKeystroke(const QString &identifier);

    // Appends unless already present (exact, case-sensitive); nothing is written when present.
    void addIgnoredApp(const QString &identifier);
    // Removes every equal entry and writes the list back, even when nothing matched.
    void removeIgnoredApp(const QString &identifier);

signals:
    void pausedChanged();
    void showInMenuBarChanged();
    void seenPauseExplainerChanged();
    void ignoredAppsChanged();
    void playSoundsChanged();
    void forgetTransientCopiesChanged();
    void recordPrimarySelectionChanged();
    void pasteKeystrokesChanged();

private:
    void writeBool(const QString &key, bool value);

    std::unique_ptr<QSettings> m_settings;
    bool m_paused = false;
    bool m_showInMenuBar = true;
    bool m_seenPauseExplainer = false;
    QStringList m_ignoredApps;
    bool m_playSounds = true;
    bool m_forgetTransientCopies = true;
    bool m_recordPrimarySelection = false;
    QStringList m_pasteKeystrokes;
};
