import QtQuick
import Cliphaven.Overlay

// The look both kinds of sidebar row share: an icon, the label, the key hint, on a rounded
// highlight that marks the row shown and, stronger, a drop about to land on it.
Item {
    id: row

    property bool selected: false
    property bool dropTargeted: false
    property string glyph: "folder"
    property string label
    property string keyHint
    // What stands in the label's place instead of the label (the rename field).
    property alias labelArea: labelArea

    implicitHeight: 30

    RoundedBox {
        anchors.fill: parent
        visible: row.dropTargeted || row.selected
        radius: 8
        color: Theme.withAlpha(Theme.accent, row.dropTargeted ? 0.25 : 0.18)
    }

    SidebarGlyph {
        id: icon
        x: 10
        anchors.verticalCenter: parent.verticalCenter
        kind: row.glyph
        color: row.selected ? Theme.accent : Theme.over(Theme.textSecondary, Theme.sidebarFill)
    }

    Item {
        id: labelArea
        anchors {
            left: icon.right
            leftMargin: 8
            right: hintText.visible ? hintText.left : parent.right
            rightMargin: hintText.visible ? 8 : 10
            verticalCenter: parent.verticalCenter
        }
        height: 18

        Text {
            objectName: "rowLabel"
            anchors.fill: parent
            visible: row.label.length > 0
            text: row.label
            textFormat: Text.PlainText
            maximumLineCount: 1
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
            font.pixelSize: 13
            color: Theme.textPrimary
        }
    }

    Text {
        id: hintText
        objectName: "rowHint"
        anchors {
            right: parent.right
            rightMargin: 10
            verticalCenter: parent.verticalCenter
        }
        visible: row.keyHint.length > 0
        text: row.keyHint
        font.pixelSize: 10
        font.weight: Font.Medium
        color: Theme.textTertiary
    }
}
