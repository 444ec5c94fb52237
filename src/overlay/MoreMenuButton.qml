import QtQuick
import Cliphaven.Overlay

// The "…" button at the end of the top row, opening the overflow menu.
Item {
    id: button
    objectName: "moreButton"

    required property MoreMenu actions
    // Its menuOpen keeps the overlay's keys away from an open menu.
    required property GridController controller

    readonly property bool menuVisible: menu.item !== null && menu.item.visible

    function openMenu() {
        // Made on first use: the controls it needs cost memory most sessions never use.
        menu.active = true
        menu.item.open()
    }

    implicitWidth: 22
    implicitHeight: 22
    // Reached by Tab; Return, Space or Down opens the menu with its first entry current.
    activeFocusOnTab: true
    readonly property bool takesKeys: true
    Keys.onPressed: (event) => {
        if (event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter && event.key !== Qt.Key_Space
                && event.key !== Qt.Key_Down)
            return
        button.openMenu()
        menu.item.currentIndex = 0
        event.accepted = true
    }

    Rectangle {
        anchors.fill: parent
        anchors.margins: -2
        radius: 8
        color: "transparent"
        border.width: 2
        border.color: Theme.focusRing
        visible: button.activeFocus
    }

    Rectangle {
        anchors.fill: parent
        radius: 6
        color: area.containsMouse || button.menuVisible ? Qt.rgba(1, 1, 1, 0.10) : "transparent"
    }

    Row {
        anchors.centerIn: parent
        spacing: 2.5
        Repeater {
            model: 3
            Rectangle {
                width: 3.5
                height: 3.5
                radius: 1.75
                color: Theme.textSecondary
            }
        }
    }

    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        onPressed: {
            if (button.menuVisible)
                menu.item.close()
            else
                button.openMenu()
        }
    }

    // The menu's shortcuts work whenever the overlay has the focus.
    Shortcut {
        sequence: "Ctrl+,"
        onActivated: button.actions.showPreferences()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: button.actions.quit()
    }

    Loader {
        id: menu
        active: false
        sourceComponent: MoreMenuPopup {
            actions: button.actions
            y: button.height + 6
            x: button.width - width
            onOpened: button.controller.menuOpen = true
            onClosed: button.controller.menuOpen = false
        }
    }
}
