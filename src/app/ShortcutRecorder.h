#pragma once

#include "KeyboardShortcuts/Name.h"

#include <QObject>
#include <QStringList>

class QKeyEvent;

namespace KeyboardShortcuts {
class Registry;
}

// The logic of the shortcut recorder control for one name: shows the stored shortcut and,
// once started, turns the next key combination into the name's new shortcut, applied at once
// through the registry. Escape cancels, Backspace or Delete clears, and a key without a
// modifier is refused, as is Shift alone on a key that types a character.
class ShortcutRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool recording READ isRecording NOTIFY recordingChanged)
    Q_PROPERTY(bool hasShortcut READ hasShortcut NOTIFY shortcutChanged)
    Q_PROPERTY(QString displayText READ displayText NOTIFY shortcutChanged)
    Q_PROPERTY(QStringList keyCaps READ keyCaps NOTIFY shortcutChanged)
    Q_PROPERTY(bool isAtDefault READ isAtDefault NOTIFY shortcutChanged)
    Q_PROPERTY(QStringList heldModifiers READ heldModifiers NOTIFY heldModifiersChanged)
    Q_PROPERTY(QString problem READ problem NOTIFY problemChanged)

public:
    ShortcutRecorder(KeyboardShortcuts::Registry &registry,
                     KeyboardShortcuts::Name name,
                     QObject *parent = nullptr);
    ~ShortcutRecorder() override;

    bool isRecording() const { return m_recording; }
    bool hasShortcut() const { return m_shortcut.has_value(); }
    std::optional<KeyboardShortcuts::Shortcut> shortcut() const { return m_shortcut; }
    // The Linux display text ("Shift+Super+V"); empty when no shortcut is set.
    QString displayText() const;
    QStringList keyCaps() const;
    bool isAtDefault() const { return m_shortcut == m_name.defaultShortcut; }
    // While recording: the names of the modifier keys held down so far.
    QStringList heldModifiers() const { return m_heldModifiers; }
    // Why the last combination was not taken, or why the stored one does not work; empty when
    // all is well.
    QString problem() const { return m_problem; }

    // Recording keeps the name's own hot key out of the way, so pressing the current
    // combination records it instead of opening the overlay.
    Q_INVOKABLE void startRecording();
    Q_INVOKABLE void cancelRecording();
    Q_INVOKABLE void clear();
    // Stores the name's default shortcut again.
    Q_INVOKABLE void reset();
    // Reads the stored shortcut again (the control is shown anew).
    Q_INVOKABLE void reload();

    // Return whether the event was used. Outside recording nothing is used.
    bool handleKeyPress(const QKeyEvent &event);
    bool handleKeyRelease(const QKeyEvent &event);
    // The same for key events coming from QML, which carry the fields but not the event.
    Q_INVOKABLE bool keyPressed(int key, int modifiers, quint32 nativeScanCode, const QString &text);
    Q_INVOKABLE bool keyReleased(int key, int modifiers, quint32 nativeScanCode);

signals:
    void recordingChanged();
    void shortcutChanged();
    void heldModifiersChanged();
    void problemChanged();

private:
    void stopRecording();
    void setShortcut(const std::optional<KeyboardShortcuts::Shortcut> &shortcut);
    void setHeldModifiers(Qt::KeyboardModifiers modifiers);
    void setProblem(const QString &problem);
    void checkRegistration();

    KeyboardShortcuts::Registry &m_registry;
    KeyboardShortcuts::Name m_name;
    std::optional<KeyboardShortcuts::Shortcut> m_shortcut;
    bool m_recording = false;
    QStringList m_heldModifiers;
    QString m_problem;
};
