import QtQuick
import Cliphaven.Overlay

// The first row: the clipboard history, always slot 1.
SidebarRow {
    id: row
    objectName: "historyRow"

    required property SidebarController controller

    // position: in scene coordinates.
    signal contextMenuRequested(point position)

    glyph: "clock"
    label: "History"
    keyHint: controller.historyHint
    selected: controller.shownCategoryId === ""

    onActivated: controller.showHistory()
    onMenuKeyPressed: contextMenuRequested(mapToItem(null, 24, height - 4))

    TapHandler {
        onTapped: row.controller.showHistory()
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onPressedChanged: {
            if (pressed)
                row.contextMenuRequested(row.mapToItem(null, point.position.x, point.position.y))
        }
    }
}
