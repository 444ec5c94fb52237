import QtQuick
import Cliphaven.Overlay

// The panel's content: the card, inset by the margin where its shadows fall, zooming and
// fading with the state's appearance.
Item {
    id: root

    required property OverlayState overlayState
    required property GridController controller

    readonly property real margin: 100

    Item {
        id: card
        objectName: "card"
        anchors.fill: parent
        anchors.margins: root.margin
        scale: 0.85 + 0.15 * root.overlayState.appearance
        opacity: root.overlayState.appearance
        visible: opacity > 0

        SoftShadow {
            anchors.fill: parent
            style: SoftShadow.Card
        }

        // One rounded shape holds both fills, so the sidebar's darker band follows the
        // card's corners without a clip.
        Rectangle {
            id: fill
            readonly property real edge: Theme.sidebarWidth / Math.max(width, 1)

            anchors.fill: parent
            radius: Theme.cardRadius
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: Theme.sidebarFill }
                GradientStop { position: fill.edge; color: Theme.sidebarFill }
                GradientStop { position: fill.edge; color: Theme.material }
                GradientStop { position: 1; color: Theme.material }
            }
        }

        // The sidebar's place until it has views of its own.
        Item {
            id: sidebar
            objectName: "sidebar"
            width: Theme.sidebarWidth
            height: parent.height
        }

        Rectangle {
            x: Theme.sidebarWidth
            width: 1
            height: parent.height
            color: Qt.rgba(1, 1, 1, 0.05)
        }

        Item {
            id: content
            x: Theme.sidebarWidth + 1
            width: parent.width - x
            height: parent.height

            Item {
                id: topRow
                width: parent.width
                height: search.height + 28

                SearchField {
                    id: search
                    overlayState: root.overlayState
                    anchors {
                        left: parent.left
                        right: parent.right
                        verticalCenter: parent.verticalCenter
                        leftMargin: 14
                        rightMargin: 14
                    }
                }
            }

            Rectangle {
                id: divider
                anchors.top: topRow.bottom
                width: parent.width
                height: 1
                color: Theme.hairline
            }

            ItemGrid {
                controller: root.controller
                anchors {
                    top: divider.bottom
                    left: parent.left
                    right: parent.right
                    bottom: parent.bottom
                    // Keeps scrolled tiles clear of the card's rounded bottom corner.
                    bottomMargin: 5
                }
            }
        }

        // Drawn last, over anything that scrolls up to the edge.
        Rectangle {
            anchors.fill: parent
            radius: Theme.cardRadius
            color: "transparent"
            border.width: 1
            border.color: Qt.rgba(1, 1, 1, 0.10)
        }
    }
}
