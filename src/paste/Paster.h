#pragma once

#include "model/ClipItem.h"
#include "platform/KeyPoster.h"
#include "platform/Workspace.h"

#include <QObject>

#include <functional>
#include <optional>

class AppPrefs;
class ClipboardMonitor;
class Pasteboard;
class Sounds;

// Puts a chosen item back on the clipboard with every flavor it was captured with, brings the
// application that was in front back to the front and types the paste keystroke into it. When
// keystrokes cannot be posted here, the item is left on the clipboard and the user is told so,
// once per installation. Main thread only.
class Paster : public QObject
{
    Q_OBJECT

public:
    // Time the reactivated application gets to take the keyboard focus.
    static constexpr int kKeystrokeDelayMs = 120;

    static QString alertMessage();
    // onWayland: worded for a Wayland desktop, where no X11 session is needed.
    static QString alertInformativeText(bool onWayland = false);

    Paster(Pasteboard &pasteboard,
           Workspace &workspace,
           KeyPoster &keys,
           Sounds &sounds,
           AppPrefs &prefs,
           QObject *parent = nullptr);

    void paste(const ClipItem &item,
               const std::optional<RunningApplication> &app,
               ClipboardMonitor &monitor);

    // Puts a chosen item back on the clipboard with every flavor, without pasting it and
    // without recording it again.
    void copy(const ClipItem &item, ClipboardMonitor &monitor);

    // At launch: whether keystrokes can be posted here; when not, the same one-time
    // explanation a failed paste would give. Returns whether they can.
    bool promptIfUntrusted();

    // Shows the one-time explanation; by default a modal message box. Tests replace it.
    void setAlertPresenter(std::function<void()> present) { m_presentAlert = std::move(present); }
    // The default explanation's wording follows the session.
    void setOnWayland(bool onWayland) { m_onWayland = onWayland; }

    // The keystroke that pastes into the application: Ctrl+V unless a rule says otherwise.
    PasteKeystroke keystrokeFor(const std::optional<RunningApplication> &app) const;

private:
    static std::optional<QString> plainText(const ClipItem &item);
    void write(const ClipItem &item);
    void promptForAccessibilityOnce();

    Pasteboard &m_pasteboard;
    Workspace &m_workspace;
    KeyPoster &m_keys;
    Sounds &m_sounds;
    AppPrefs &m_prefs;
    std::function<void()> m_presentAlert;
    bool m_onWayland = false;
};
