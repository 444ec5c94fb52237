import QtQuick
import Cliphaven.Overlay

// One category: tap to show it, right-click for its menu, drag it onto another row to move it
// there, drop tiles on it to file them, and edit its name in place.
SidebarRow {
    id: row
    objectName: "categoryRow"

    required property string categoryId
    required property string name
    required property int slot
    required property string hint
    required property int index
    required property SidebarController controller

    readonly property bool renaming: controller.renamingId === categoryId

    // position: in scene coordinates.
    signal contextMenuRequested(string categoryId, point position)

    glyph: "folder"
    label: renaming ? "" : name
    keyHint: renaming ? "" : hint
    selected: controller.shownCategoryId === categoryId

    onActivated: controller.showCategory(categoryId)
    onMenuKeyPressed: contextMenuRequested(categoryId, mapToItem(null, 24, height - 4))
    // Reached by Tab in a list that scrolls: brought into view.
    onActiveFocusChanged: if (activeFocus) ListView.view.positionViewAtIndex(index, ListView.Contain)

    MouseArea {
        id: pointer
        anchors.fill: parent
        enabled: !row.renaming
        drag.target: dragSource
        drag.threshold: 6

        onClicked: row.controller.showCategory(row.categoryId)
        // Past the threshold the platform's drag takes over; it returns once dropped.
        drag.onActiveChanged: {
            if (!drag.active)
                return
            dragSource.Drag.mimeData = { "text/plain": row.controller.dragPayload(row.categoryId) }
            dragSource.Drag.active = true
            dragSource.Drag.startDrag(Qt.CopyAction)
            dragSource.Drag.active = false
            // The drop took the release: start over unpressed, with the proxy back home.
            enabled = false
            enabled = Qt.binding(() => !row.renaming)
            dragSource.x = 0
            dragSource.y = 0
        }
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onPressedChanged: {
            if (pressed)
                row.contextMenuRequested(row.categoryId,
                                         row.mapToItem(null, point.position.x, point.position.y))
        }
    }

    DropArea {
        anchors.fill: parent
        onEntered: (drag) => {
            row.dropTargeted = drag.hasText
            drag.accepted = drag.hasText
        }
        onExited: row.dropTargeted = false
        onDropped: (drop) => {
            row.dropTargeted = false
            if (drop.hasText && row.controller.handleDrop(row.categoryId, drop.text))
                drop.accept()
        }
    }

    Item {
        id: dragSource
    }

    Loader {
        parent: row.labelArea
        anchors.fill: parent
        active: row.renaming
        sourceComponent: RenameField {
            initialText: row.name
            onCommitted: (text) => row.controller.commitRename(row.categoryId, text)
            onCanceled: row.controller.cancelRename()
        }
    }
}
