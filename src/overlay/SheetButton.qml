import QtQuick
import Cliphaven.Overlay

// A push button in the overlay's look: the prominent one filled with the accent (red when it
// destroys something), the others quiet. A ring marks keyboard focus.
FocusScope {
    id: button

    property string text
    property bool prominent: false
    property bool destructive: false
    signal clicked()

    implicitWidth: Math.max(84, label.implicitWidth + 28)
    implicitHeight: 30
    activeFocusOnTab: true

    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
    Keys.onSpacePressed: button.clicked()

    Rectangle {
        anchors.fill: parent
        anchors.margins: -3
        radius: Theme.controlRadius + 3
        color: "transparent"
        border.width: 2
        border.color: Theme.focusRing
        visible: button.activeFocus
    }
    Rectangle {
        anchors.fill: parent
        radius: Theme.controlRadius
        color: button.destructive ? Theme.destructive
             : button.prominent ? Theme.accent
             : pointer.containsMouse ? Qt.rgba(1, 1, 1, 0.16) : Qt.rgba(1, 1, 1, 0.10)
        opacity: pointer.pressed ? 0.8 : 1
        border.width: button.prominent ? 0 : 1
        border.color: Qt.rgba(1, 1, 1, 0.10)
    }
    Text {
        id: label
        anchors.centerIn: parent
        text: button.text
        color: button.prominent ? "white" : Theme.textPrimary
        font.pixelSize: Theme.fontBody
        font.weight: button.prominent ? Font.DemiBold : Font.Normal
    }
    MouseArea {
        id: pointer
        anchors.fill: parent
        hoverEnabled: true
        onClicked: button.clicked()
    }
}
