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

    // Return or Space on the focused row; its menu from the Menu key or Shift+F10.
    signal activated()
    signal menuKeyPressed()

    implicitHeight: 30
    // Reached by Tab; the overlay's keys leave Return, Space, the arrows and the Menu key to it.
    activeFocusOnTab: true
    readonly property bool takesKeys: true

    Keys.onPressed: (event) => {
        if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter || event.key === Qt.Key_Space) {
            row.activated()
        } else if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
            row.menuKeyPressed()
        } else if (event.key === Qt.Key_Down || event.key === Qt.Key_Up) {
            const next = row.nextItemInFocusChain(event.key === Qt.Key_Down)
            // Only to another row: the arrows stay inside the list.
            if (next && next.takesKeys === true && next.glyph !== undefined)
                next.forceActiveFocus(Qt.TabFocusReason)
        } else {
            return
        }
        event.accepted = true
    }

    // The list shown: filled. A drop about to land: outlined, so it never looks like a second
    // list shown.
    RoundedBox {
        anchors.fill: parent
        visible: row.selected
        radius: 8
        color: Theme.withAlpha(Theme.accent, 0.18)
    }
    Rectangle {
        objectName: "dropMark"
        anchors.fill: parent
        visible: row.dropTargeted
        radius: 8
        color: Theme.withAlpha(Theme.accent, 0.08)
        border.width: 1.5
        border.color: Theme.accent
    }
    // Keyboard focus.
    Rectangle {
        objectName: "focusRing"
        anchors.fill: parent
        visible: row.activeFocus && !row.dropTargeted
        radius: 8
        color: "transparent"
        border.width: 2
        border.color: Theme.focusRing
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
