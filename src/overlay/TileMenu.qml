import QtQuick
import QtQuick.Controls.Basic
import Cliphaven.Overlay

// A tile's context menu: file the item (or the selection it belongs to) into a category, or
// delete it. The category submenu and its divider are left out when there are no categories.
Menu {
    id: menu

    required property GridController controller
    property int tileIndex: -1
    property var entries: ({ categories: [], categoryTitle: "", deleteTitle: "" })
    property bool categoriesShown: true

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

    onOpened: controller.menuOpen = true
    onClosed: controller.menuOpen = false

    topPadding: 5
    bottomPadding: 5
    delegate: menuItem
    background: MenuBackground {}

    Menu {
        id: categoryMenu
        title: menu.entries.categoryTitle
        topPadding: 5
        bottomPadding: 5
        delegate: menuItem
        background: MenuBackground {}

        Instantiator {
            model: menu.entries.categories
            delegate: Action {
                required property var modelData
                text: modelData.name
                onTriggered: menu.controller.addToCategory(menu.tileIndex, modelData.id)
            }
            onObjectAdded: (index, object) => categoryMenu.insertAction(index, object)
            onObjectRemoved: (index, object) => categoryMenu.removeAction(object)
        }
    }

    MenuSeparator {
        id: separator
        topPadding: 4
        bottomPadding: 4
        contentItem: Rectangle {
            implicitWidth: 180
            implicitHeight: 1
            color: Qt.rgba(1, 1, 1, 0.10)
        }
    }

    Action {
        readonly property bool destructive: true
        text: menu.entries.deleteTitle
        onTriggered: menu.controller.deleteItems(menu.tileIndex)
    }

    component MenuBackground: Rectangle {
        implicitWidth: 210
        radius: 8
        color: "#2a2b31"
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.12)
    }

    Component {
        id: menuItem
        MenuItem {
            id: entry
            readonly property bool destructive: action !== null && action.destructive === true

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
}
