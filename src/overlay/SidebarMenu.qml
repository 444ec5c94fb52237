import QtQuick
import QtQuick.Controls.Basic
import Cliphaven.Overlay

// A sidebar row's context menu, in the tile menu's style: "Clear History" for the history row;
// "Rename" and "Delete" for a category.
Menu {
    id: menu
    objectName: "sidebarMenu"

    required property SidebarController controller
    // The category the menu is for; empty for the history row.
    property string categoryId: ""
    // Rename starts once the menu has closed: closing hands the focus back to the window,
    // which would take it from the new field at once.
    property bool renameChosen: false

    property MenuItem renameItem: TileMenu.StyledMenuItem {
        objectName: "renameEntry"
        text: "Rename"
        onTriggered: menu.renameChosen = true
    }
    property MenuItem deleteItem: TileMenu.StyledMenuItem {
        objectName: "deleteEntry"
        text: "Delete"
        destructive: true
        onTriggered: menu.controller.deleteCategory(menu.categoryId)
    }
    property MenuItem clearHistoryItem: TileMenu.StyledMenuItem {
        objectName: "clearHistoryEntry"
        text: "Clear History"
        destructive: true
        onTriggered: menu.controller.clearHistory()
    }

    function openFor(id, parentItem, position) {
        categoryId = id
        renameChosen = false
        while (count > 0)
            takeItem(0)
        if (id === "") {
            addItem(clearHistoryItem)
        } else {
            addItem(renameItem)
            addItem(deleteItem)
        }
        popup(parentItem, position)
    }

    topPadding: 5
    bottomPadding: 5
    background: TileMenu.MenuBackground {
        implicitWidth: 170
    }

    onOpened: controller.menuOpen = true
    onClosed: {
        controller.menuOpen = false
        if (renameChosen)
            controller.beginRename(categoryId)
        renameChosen = false
    }
}
