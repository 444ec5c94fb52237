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
    property var entries: ({ categories: [], categoryTitle: "", deleteTitle: "", targets: [] })
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
        onTriggered: menu.controller.deleteItems(menu.entries.targets)
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

    onOpened: {
        controller.menuOpen = true
        controller.menuTargets = entries.targets
    }
    onClosed: {
        controller.menuOpen = false
        controller.menuTargets = []
    }
    Component.onCompleted: addItem(deleteItem)

    Instantiator {
        model: menu.entries.categories
        delegate: Action {
            required property var modelData
            text: modelData.name
            onTriggered: menu.controller.addToCategory(menu.entries.targets, modelData.id)
        }
        onObjectAdded: (index, object) => menu.categoryMenu.insertAction(index, object)
        onObjectRemoved: (index, object) => menu.categoryMenu.removeAction(object)
    }

    // Raised above the card: a lighter face, a brighter outline and a soft shadow in three
    // steps (plain rectangles: no shader effects on the software renderer).
    component MenuBackground: Rectangle {
        implicitWidth: 210
        radius: Theme.menuRadius
        color: Theme.raised
        border.width: 1
        border.color: Theme.raisedOutline

        Repeater {
            model: [{ d: 14, a: 0.10 }, { d: 8, a: 0.16 }, { d: 3, a: 0.24 }]
            Rectangle {
                required property var modelData
                z: -1
                x: -modelData.d
                y: -modelData.d + 5
                width: parent.width + 2 * modelData.d
                height: parent.height + 2 * modelData.d
                radius: Theme.menuRadius + modelData.d
                color: Qt.rgba(0, 0, 0, modelData.a)
            }
        }
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
