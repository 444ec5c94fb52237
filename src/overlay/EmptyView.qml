import QtQuick
import Cliphaven.Overlay

// Stands in for the grid when the list shown is empty: a list with nothing in it yet, or a
// search that found nothing (then saying what was searched for).
Column {
    id: empty

    // The search as typed; blank when not searching.
    property string query: ""
    readonly property bool searching: query.trim().length > 0

    spacing: 12

    // A magnifying glass: its lens and handle.
    Item {
        anchors.horizontalCenter: parent.horizontalCenter
        visible: empty.searching
        width: 44
        height: 48

        Rectangle {
            x: 4
            y: 6
            width: 30
            height: 30
            radius: 15
            color: "transparent"
            border.width: 2.5
            border.color: Theme.textTertiary
        }
        Rectangle {
            x: 29
            y: 36
            width: 15
            height: 4
            radius: 2
            rotation: 45
            transformOrigin: Item.Left
            color: Theme.textTertiary
        }
    }

    // A clipboard: its board, the clip on top and two lines of text.
    Item {
        visible: !empty.searching
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
        objectName: "emptyTitle"
        anchors.horizontalCenter: parent.horizontalCenter
        text: empty.searching ? "No matches" : "Nothing here yet"
        font.pixelSize: Theme.fontTitle
        font.weight: empty.searching ? Font.DemiBold : Font.Normal
        color: Theme.textSecondary
    }

    Text {
        objectName: "emptyQuery"
        anchors.horizontalCenter: parent.horizontalCenter
        visible: empty.searching
        width: Math.min(implicitWidth, 420)
        horizontalAlignment: Text.AlignHCenter
        text: "Nothing matches \u201c" + empty.query.trim() + "\u201d"
        textFormat: Text.PlainText
        elide: Text.ElideMiddle
        font.pixelSize: Theme.fontBody
        color: Theme.textTertiary
    }
}
