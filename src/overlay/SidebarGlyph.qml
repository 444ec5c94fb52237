import QtQuick

// The sidebar's small icons in a 16 by 16 box, drawn from plain shapes like the search field's
// magnifying glass: "clock" (a disc with its hands cut out), "folder" and "plus". The colour
// must be opaque, since the shapes overlap.
Item {
    id: glyph

    property string kind: "folder"
    property color color: "white"

    implicitWidth: 16
    implicitHeight: 16

    // Clock: the hands are dark strokes on the disc, so they read as cut out on any row.
    Rectangle {
        visible: glyph.kind === "clock"
        x: 1.5
        y: 1.5
        width: 13
        height: 13
        radius: 6.5
        color: glyph.color

        Rectangle {
            x: 5.75
            y: 2.8
            width: 1.5
            height: 4.45
            radius: 0.75
            color: Qt.rgba(0, 0, 0, 0.62)
        }
        Rectangle {
            x: 5.75
            y: 5.75
            width: 4
            height: 1.5
            radius: 0.75
            color: Qt.rgba(0, 0, 0, 0.62)
        }
    }

    // Folder: a tab on the back, the body in front.
    Item {
        visible: glyph.kind === "folder"
        anchors.fill: parent

        Rectangle {
            x: 1
            y: 2.5
            width: 6.5
            height: 4
            radius: 1.5
            color: glyph.color
        }
        Rectangle {
            x: 1
            y: 4.5
            width: 14
            height: 9.5
            radius: 2
            color: glyph.color
        }
    }

    // Plus: two rounded bars.
    Item {
        visible: glyph.kind === "plus"
        anchors.fill: parent

        Rectangle {
            x: 2.5
            y: 7.1
            width: 11
            height: 1.8
            radius: 0.9
            color: glyph.color
        }
        Rectangle {
            x: 7.1
            y: 2.5
            width: 1.8
            height: 11
            radius: 0.9
            color: glyph.color
        }
    }
}
