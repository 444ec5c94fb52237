import QtQuick
import QtQuick.Controls.Fusion

// The shortcut recorder control: shows the shortcut as key caps; a click starts recording,
// the next combination with a modifier is stored at once, Escape cancels, Backspace clears.
FocusScope {
    id: field

    required property QtObject recorder

    implicitWidth: 168
    implicitHeight: 28
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: recorder.recording ? "Recording shortcut" : (recorder.hasShortcut ? recorder.displayText : "Record Shortcut")

    readonly property color accent: palette.highlight

    Rectangle {
        id: frame
        anchors.fill: parent
        radius: 6
        color: field.recorder.recording ? Qt.rgba(field.accent.r, field.accent.g, field.accent.b, 0.10) : palette.base
        border.width: field.activeFocus || field.recorder.recording ? 2 : 1
        border.color: field.activeFocus || field.recorder.recording ? field.accent : Qt.rgba(0.5, 0.5, 0.5, 0.45)
    }

    Row {
        id: caps
        objectName: "shortcutCaps"
        anchors.centerIn: parent
        anchors.horizontalCenterOffset: clearButton.visible ? -10 : 0
        spacing: 3
        visible: field.recorder.recording ? field.recorder.heldModifiers.length > 0 : field.recorder.hasShortcut

        Repeater {
            model: field.recorder.recording ? field.recorder.heldModifiers : field.recorder.keyCaps
            KeyCap {
                text: modelData
                faded: field.recorder.recording
            }
        }
    }

    Label {
        objectName: "shortcutPlaceholder"
        anchors.centerIn: parent
        visible: !caps.visible
        text: field.recorder.recording ? "Type shortcut…" : "Record Shortcut"
        font.pixelSize: 12
        color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, field.recorder.recording ? 0.75 : 0.5)
    }

    // Clears the shortcut without recording.
    ToolButton {
        id: clearButton
        objectName: "shortcutClearButton"
        anchors.right: parent.right
        anchors.rightMargin: 3
        anchors.verticalCenter: parent.verticalCenter
        width: 20
        height: 20
        padding: 0
        visible: field.recorder.hasShortcut && !field.recorder.recording
        focusPolicy: Qt.NoFocus
        icon.source: "icons/remove.svg"
        icon.width: 14
        icon.height: 14
        icon.color: "transparent"
        ToolTip.visible: hovered
        ToolTip.text: "Clear"
        onClicked: field.recorder.clear()
    }

    TapHandler {
        onTapped: {
            field.forceActiveFocus(Qt.MouseFocusReason)
            if (field.recorder.recording)
                field.recorder.cancelRecording()
            else
                field.recorder.startRecording()
        }
    }

    Keys.onPressed: (event) => {
        if (field.recorder.recording) {
            event.accepted = field.recorder.keyPressed(event.key, event.modifiers, event.nativeScanCode, event.text)
        } else if (event.key === Qt.Key_Space || event.key === Qt.Key_Return || event.key === Qt.Key_Enter) {
            field.recorder.startRecording()
            event.accepted = true
        }
    }
    Keys.onReleased: (event) => {
        if (field.recorder.recording)
            event.accepted = field.recorder.keyReleased(event.key, event.modifiers, event.nativeScanCode)
    }

    // Recording ends when the control loses the keyboard.
    onActiveFocusChanged: if (!activeFocus) field.recorder.cancelRecording()
}
