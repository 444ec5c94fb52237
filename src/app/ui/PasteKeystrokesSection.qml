import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Templates as T
import QtQuick.Layouts

// The paste keystroke per program: the user's choices, each with its keystroke, and a button
// that picks another program the way the ignore list does.
ColumnLayout {
    id: section

    required property QtObject keystrokes
    required property QtObject chooser

    Layout.fillWidth: true
    spacing: 8

    RowLayout {
        Layout.fillWidth: true
        SectionTitle {
            text: "Paste Keystroke"
        }
        Item {
            Layout.fillWidth: true
        }
        ToolButton {
            objectName: "addPasteKeystrokeButton"
            implicitWidth: 28
            implicitHeight: 28
            padding: 0
            icon.source: "icons/add.svg"
            icon.width: 18
            icon.height: 18
            icon.color: "transparent"
            Accessible.name: "Choose the keystroke for an application"
            ToolTip.visible: hovered
            ToolTip.text: "Choose the keystroke for an application"
            onClicked: keystrokeChooser.open()
        }
    }
    Caption {
        Layout.fillWidth: true
        text: "Cliphaven pastes with Ctrl+V, with Ctrl+Shift+V into terminals and with Shift+Insert into xterm and its kin. Set another keystroke for an application here."
    }
    ColumnLayout {
        objectName: "pasteKeystrokeRows"
        Layout.fillWidth: true
        spacing: 6
        Repeater {
            model: section.keystrokes
            delegate: Rectangle {
                id: row

                required property string identifier
                required property string name
                required property string iconName
                required property bool installed
                required property int keystroke

                Layout.fillWidth: true
                implicitHeight: content.implicitHeight + 12
                radius: 7
                color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.06)

                RowLayout {
                    id: content
                    anchors.fill: parent
                    anchors.leftMargin: 10
                    anchors.rightMargin: 6
                    spacing: 10

                    AppIcon {
                        iconName: row.installed ? row.iconName : ""
                    }
                    Label {
                        Layout.fillWidth: true
                        text: row.name
                        font.pixelSize: 13
                        elide: Text.ElideRight
                    }
                    ComboBox {
                        objectName: "pasteKeystrokeChoice"
                        model: section.keystrokes.keystrokeNames
                        currentIndex: row.keystroke
                        Accessible.name: "Paste keystroke for " + row.name
                        onActivated: index => section.keystrokes.setKeystroke(row.identifier, index)
                    }
                    ToolButton {
                        objectName: "removePasteKeystroke"
                        Layout.preferredWidth: 26
                        Layout.preferredHeight: 26
                        padding: 0
                        icon.source: "icons/remove.svg"
                        icon.width: 16
                        icon.height: 16
                        icon.color: "transparent"
                        focusPolicy: Qt.TabFocus
                        Accessible.name: "Remove " + row.name
                        ToolTip.visible: hovered
                        ToolTip.text: "Use the built-in keystroke"
                        onClicked: section.keystrokes.remove(row.identifier)
                    }
                }
            }
        }
    }

    ApplicationChooser {
        id: keystrokeChooser
        objectName: "pasteKeystrokeChooser"
        parent: T.Overlay.overlay
        chooser: section.chooser
        ignores: false
        actionText: "Choose"
        onPicked: identifier => section.keystrokes.add(identifier)
    }
}
