import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// Two choices about what is recorded: copies their app clears again (forgotten by default),
// and text selections (not recorded by default); each with the reason for it.
ColumnLayout {
    id: options

    required property QtObject prefs

    Layout.fillWidth: true
    Layout.topMargin: 4
    spacing: 8

    Switch {
        leftPadding: 0
        objectName: "forgetTransientCopiesSwitch"
        Layout.fillWidth: true
        text: "Forget copies their app clears again"
        checked: options.prefs.forgetTransientCopies
        onToggled: options.prefs.forgetTransientCopies = checked
    }
    Caption {
        Layout.fillWidth: true
        text: "Password tools copy a password and clear the clipboard a few seconds later. When an app clears its own copy within a minute, Cliphaven removes it from the history, so the secret is not kept."
    }
    Switch {
        leftPadding: 0
        objectName: "recordSelectionSwitch"
        Layout.fillWidth: true
        text: "Record selected text too"
        checked: options.prefs.recordPrimarySelection
        onToggled: options.prefs.recordPrimarySelection = checked
    }
    Caption {
        Layout.fillWidth: true
        text: "For apps such as xterm, where selecting text is how you copy. A selection is recorded once it has stayed the same for a second."
    }
}
