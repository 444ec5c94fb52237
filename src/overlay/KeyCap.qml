import QtQuick
import Cliphaven.Overlay

// One key of the overlay's shortcut, as a small key top.
Rectangle {
    id: cap

    required property string label
    // The shortcut does not work: another application holds it.
    property bool refused: false

    implicitWidth: Math.max(text.implicitWidth + 10, 20)
    implicitHeight: 20
    radius: 5
    color: Qt.rgba(1, 1, 1, 0.07)
    border.width: 1
    border.color: cap.refused ? Theme.destructive : Qt.rgba(1, 1, 1, 0.10)

    Text {
        id: text
        anchors.centerIn: parent
        text: cap.label
        font.pixelSize: 11
        font.weight: Font.DemiBold
        font.strikeout: cap.refused
        color: cap.refused ? Theme.destructive : Theme.textSecondary
    }
}
