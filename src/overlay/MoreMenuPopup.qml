import QtQuick
import QtQuick.Controls.Basic
import Cliphaven.Overlay

// The overflow menu: pause or resume capturing, the preferences, updates and quitting.
Menu {
    id: menu
    objectName: "moreMenu"

    required property MoreMenu actions

    topPadding: 5
    bottomPadding: 5
    background: TileMenu.MenuBackground { implicitWidth: 220 }

    Entry {
        objectName: "pauseEntry"
        text: menu.actions.paused ? "Resume Capturing" : "Pause Capturing"
        onTriggered: menu.actions.togglePause()
    }
    Divider {}
    Entry {
        text: "Preferences…"
        shortcutText: "Ctrl+,"
        onTriggered: menu.actions.showPreferences()
    }
    Entry {
        objectName: "checkForUpdatesEntry"
        text: "Check for Updates…"
        // Not offered by a build without an update feed; a hidden entry takes no room.
        visible: menu.actions.canCheckForUpdates
        height: visible ? implicitHeight : 0
        onTriggered: menu.actions.checkForUpdates()
    }
    Divider {}
    Entry {
        text: "Quit Cliphaven"
        shortcutText: "Ctrl+Q"
        onTriggered: menu.actions.quit()
    }

    // A menu entry with its shortcut at the right.
    component Entry: TileMenu.StyledMenuItem {
        id: entry

        property string shortcutText

        contentItem: Item {
            implicitHeight: label.implicitHeight
            implicitWidth: label.implicitWidth + keys.implicitWidth + 24

            Text {
                id: label
                anchors.verticalCenter: parent.verticalCenter
                text: entry.text
                font: entry.font
                color: entry.highlighted ? "white" : Theme.textPrimary
            }
            Text {
                id: keys
                anchors {
                    right: parent.right
                    verticalCenter: parent.verticalCenter
                }
                text: entry.shortcutText
                font.pixelSize: 12
                color: entry.highlighted ? Qt.rgba(1, 1, 1, 0.8) : Theme.textTertiary
            }
        }
    }

    component Divider: MenuSeparator {
        topPadding: 4
        bottomPadding: 4
        contentItem: Rectangle {
            implicitWidth: 180
            implicitHeight: 1
            color: Qt.rgba(1, 1, 1, 0.10)
        }
    }
}
