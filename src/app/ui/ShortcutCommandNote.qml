import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// Where the desktop lets no program listen for a key of its own: the command to bind in the
// desktop's keyboard settings, with a button that copies it.
ColumnLayout {
    id: note

    required property QtObject session

    spacing: 6
    visible: note.session !== null && !note.session.globalShortcutAvailable

    Caption {
        Layout.fillWidth: true
        text: "This desktop does not let Cliphaven listen for a shortcut itself. To open Cliphaven with a shortcut, bind this command in your desktop's keyboard settings:"
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: 8
        TextField {
            objectName: "toggleCommandField"
            Layout.fillWidth: true
            readOnly: true
            selectByMouse: true
            font.family: "monospace"
            text: note.session ? note.session.toggleCommand : ""
        }
        Button {
            objectName: "copyToggleCommandButton"
            text: "Copy"
            onClicked: note.session.copyToggleCommand()
        }
    }
}
