import QtQuick
import Cliphaven.Overlay

// The sidebar: the title with the new-category button, then the history row and one row per
// category, scrolling when they do not fit.
Item {
    id: sidebar
    objectName: "sidebar"

    required property SidebarController controller

    readonly property alias list: list

    function openMenu(categoryId, position) {
        // Made on first use: the controls it needs cost memory most sessions never use.
        menu.active = true
        menu.item.openFor(categoryId, sidebar, sidebar.mapFromItem(null, position))
    }

    function scrollTo(y) {
        const max = Math.max(0, list.contentHeight - list.height)
        list.contentY = Math.max(0, Math.min(y, max)) + list.originY
    }

    Item {
        id: header
        width: parent.width
        height: 14 + title.height + 10

        Text {
            id: title
            x: 14
            y: 14
            text: "Cliphaven"
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.textPrimary
        }

        Item {
            id: plus
            objectName: "newCategoryButton"
            width: 22
            height: 22
            activeFocusOnTab: true
            readonly property bool takesKeys: true
            Keys.onReturnPressed: sidebar.controller.newCategory()
            Keys.onEnterPressed: sidebar.controller.newCategory()
            Keys.onSpacePressed: sidebar.controller.newCategory()

            Rectangle {
                anchors.fill: parent
                anchors.margins: -2
                radius: 7
                color: "transparent"
                border.width: 2
                border.color: Theme.focusRing
                visible: plus.activeFocus
            }
            anchors {
                right: parent.right
                rightMargin: 14 - 3
                verticalCenter: title.verticalCenter
            }

            SidebarGlyph {
                anchors.centerIn: parent
                kind: "plus"
                color: Theme.over(plusPointer.containsMouse ? Theme.textPrimary
                                                            : Theme.textSecondary,
                                  Theme.sidebarFill)
            }

            MouseArea {
                id: plusPointer
                anchors.fill: parent
                hoverEnabled: true
                onClicked: sidebar.controller.newCategory()
            }

            // The button's help: shown after a moment's hover, like a tooltip.
            Rectangle {
                objectName: "newCategoryHelp"
                anchors {
                    top: parent.bottom
                    topMargin: 4
                    right: parent.right
                }
                width: help.implicitWidth + 16
                height: help.implicitHeight + 8
                radius: 5
                color: "#2a2b31"
                border.width: 1
                border.color: Qt.rgba(1, 1, 1, 0.12)
                visible: (helpDelay.shown && plusPointer.containsMouse) || plus.activeFocus
                z: 3

                Text {
                    id: help
                    anchors.centerIn: parent
                    text: "New category"
                    font.pixelSize: 12
                    color: Theme.textPrimary
                }
            }
            Timer {
                id: helpDelay
                property bool shown: false
                interval: 700
                running: plusPointer.containsMouse && !shown
                onTriggered: shown = true
            }
            Connections {
                target: plusPointer
                function onContainsMouseChanged() {
                    if (!plusPointer.containsMouse)
                        helpDelay.shown = false
                }
            }
        }
    }

    ListView {
        id: list
        objectName: "sidebarList"
        z: -1
        anchors {
            top: header.bottom
            topMargin: 10
            left: parent.left
            leftMargin: 8
            right: parent.right
            rightMargin: 8
            bottom: parent.bottom
            bottomMargin: 8
        }
        clip: true
        // Scrolled by the wheel only: a mouse drag moves a category instead.
        interactive: false
        boundsBehavior: Flickable.StopAtBounds
        spacing: 2
        model: sidebar.controller.categories

        header: Item {
            width: list.width
            height: historyRow.height + list.spacing

            HistoryRow {
                id: historyRow
                width: parent.width
                controller: sidebar.controller
                onContextMenuRequested: (position) => sidebar.openMenu("", position)
            }
        }

        delegate: CategoryRow {
            width: list.width
            controller: sidebar.controller
            onContextMenuRequested: (id, position) => sidebar.openMenu(id, position)
        }

        WheelHandler {
            target: null
            onWheel: (event) => {
                const dy = event.pixelDelta.y !== 0 ? event.pixelDelta.y : event.angleDelta.y / 120 * 60
                sidebar.scrollTo(list.contentY - list.originY - dy)
            }
        }
    }

    // A slim scroll indicator, as the grid's, while the list moves.
    Rectangle {
        id: indicator
        readonly property real ratio: list.visibleArea.heightRatio
        x: sidebar.width - 5
        width: 3
        radius: 1.5
        y: list.y + list.visibleArea.yPosition * list.height
        height: Math.max(20, ratio * list.height)
        color: Qt.rgba(1, 1, 1, 0.28)
        opacity: 0
        visible: ratio < 1

        Connections {
            target: list
            function onContentYChanged() {
                indicator.opacity = 1
                fade.restart()
            }
        }
        Timer {
            id: fade
            interval: 900
            onTriggered: indicator.opacity = 0
        }
        Behavior on opacity {
            NumberAnimation { duration: 200 }
        }
    }

    // A row about to be renamed is brought into view first.
    Connections {
        target: sidebar.controller
        function onRenamingIdChanged() {
            const row = sidebar.controller.categories.rowOf(sidebar.controller.renamingId)
            if (row >= 0)
                list.positionViewAtIndex(row, ListView.Contain)
        }
    }

    Loader {
        id: menu
        active: false
        sourceComponent: SidebarMenu {
            controller: sidebar.controller
        }
    }
}
