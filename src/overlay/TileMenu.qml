import QtQuick
import QtQuick.Controls.Basic
import Cliphaven.Overlay

// A tile's context menu: file the item (or the selection it belongs to) into a category, or
// delete it. The category submenu and its divider are left out when there are no categories.
Menu {
    id: menu
    objectName: "tileMenu"

    required property GridController controller
    property int tileIndex: -1
    property var entries: ({ categories: [], categoryTitle: "", deleteTitle: "" })
    property bool categoriesShown: false

    // Entries are added once the delegate is set: items made before it would miss the style.
    property Menu categoryMenu: Menu {
        title: menu.entries.categoryTitle
        topPadding: 5
        bottomPadding: 5
        delegate: StyledMenuItem {}
        background: MenuBackground {}
    }
    property MenuSeparator separator: MenuSeparator {
        topPadding: 4
        bottomPadding: 4
        contentItem: Rectangle {
            implicitWidth: 180
            implicitHeight: 1
            color: Qt.rgba(1, 1, 1, 0.10)
        }
    }
    property MenuItem deleteItem: StyledMenuItem {
        objectName: "deleteEntry"
        destructive: true
        text: menu.entries.deleteTitle
        onTriggered: menu.controller.deleteItems(menu.tileIndex)
    }

    function openAt(index, parentItem, position) {
        tileIndex = index
        entries = controller.tileMenu(index)
        const wanted = entries.categories.length > 0
        if (wanted && !categoriesShown) {
            insertMenu(0, categoryMenu)
            insertItem(1, separator)
        } else if (!wanted && categoriesShown) {
            takeItem(1)
            takeMenu(0)
        }
        categoriesShown = wanted
        popup(parentItem, position)
    }

    topPadding: 5
    bottomPadding: 5
    delegate: StyledMenuItem {}
    // Wide enough for "Add Selection to Category" and its arrow.
    background: MenuBackground { implicitWidth: 250 }

    onOpened: controller.menuOpen = true
    onClosed: controller.menuOpen = false
    Component.onCompleted: addItem(deleteItem)

    Instantiator {
        model: menu.entries.categories
        delegate: Action {
            required property var modelData
            text: modelData.name
            onTriggered: menu.controller.addToCategory(menu.tileIndex, modelData.id)
        }
        onObjectAdded: (index, object) => menu.categoryMenu.insertAction(index, object)
        onObjectRemoved: (index, object) => menu.categoryMenu.removeAction(object)
    }

    component MenuBackground: Rectangle {
        implicitWidth: 210
        radius: 8
        color: "#2a2b31"
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.12)
    }

    component StyledMenuItem: MenuItem {
        id: entry

        property bool destructive: false

        implicitHeight: 28
        leftPadding: 14
        rightPadding: 14
        font.pixelSize: 13
        indicator: Item {}
        arrow: Text {
            x: entry.width - width - 12
            anchors.verticalCenter: parent.verticalCenter
            visible: entry.subMenu !== null
            text: "›"
            font.pixelSize: 17
            color: entry.highlighted ? "white" : Theme.textSecondary
        }
        contentItem: Text {
            text: entry.text
            font: entry.font
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
            rightPadding: entry.subMenu !== null ? 18 : 0
            color: entry.highlighted ? "white" : entry.destructive ? Theme.destructive
                                                                   : Theme.textPrimary
        }
        background: Rectangle {
            x: 5
            width: entry.width - 10
            height: entry.height
            radius: 5
            color: !entry.highlighted ? "transparent"
                                      : entry.destructive ? Theme.destructive : Theme.accent
        }
    }
}
