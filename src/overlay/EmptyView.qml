import QtQuick
import Cliphaven.Overlay

// Stands in for the grid when the list shown is empty.
Column {
    spacing: 12

    // A clipboard: its board, the clip on top and two lines of text.
    Item {
        anchors.horizontalCenter: parent.horizontalCenter
        width: 40
        height: 48

        Rectangle {
            y: 4
            width: parent.width
            height: parent.height - 4
            radius: 7
            color: "transparent"
            border.width: 2
            border.color: Theme.textTertiary
        }
        Rectangle {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 18
            height: 9
            radius: 3
            color: Theme.textTertiary
        }
        Repeater {
            model: [20, 29]
            Rectangle {
                required property int modelData
                x: 10
                y: modelData
                width: modelData === 20 ? 20 : 14
                height: 2
                radius: 1
                color: Theme.textTertiary
            }
        }
    }

    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        text: "Nothing here yet"
        font.pixelSize: 14
        color: Theme.textSecondary
    }
}
