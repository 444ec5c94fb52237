import QtQuick
import Cliphaven.Overlay

// The panel's content: the card, inset by the margin where its shadows fall, zooming and
// fading with the state's appearance.
Item {
    id: root

    required property OverlayState overlayState
    required property GridController controller
    required property SidebarController sidebarController
    // The top row's key caps and overflow menu; left out when not given.
    property HotkeyCaps hotkeyCaps: null
    property MoreMenu moreMenu: null
    property StoreNotice storeNotice: null
    // Questions and messages shown over the card; none when not given.
    property OverlayAlert alert: null

    readonly property real margin: 100

    // The grid's stop in the Tab order: with the focus here the overlay's keys drive the grid.
    activeFocusOnTab: true

    Item {
        id: card
        objectName: "card"
        anchors.fill: parent
        anchors.margins: root.margin
        scale: 0.85 + 0.15 * root.overlayState.appearance
        // Not made invisible at nothing: the renderer skips a transparent card anyway, and
        // turning it visible again touched every item inside it at the start of each show.
        opacity: root.overlayState.appearance

        SoftShadow {
            anchors.fill: parent
            style: SoftShadow.Card
        }

        Item {
            id: face
            anchors.fill: parent
            // While the card zooms it is drawn once at full size and scaled as one picture:
            // text and images are not rasterised again at every step, and the fade covers
            // the card as a whole.
            // At a device pixel ratio of 2 and above the software renderer's layer comes out
            // empty (seen at 2, not at 1.5): there the parts are scaled one by one instead.
            layer.enabled: root.overlayState.appearance < 1 && Screen.devicePixelRatio < 2
            layer.smooth: true

            // The sidebar's band and the rest side by side, each rounded on its outer corners.
            RoundedBox {
                width: Theme.sidebarWidth
                height: parent.height
                radius: Theme.cardRadius
                corners: 1 | 8
                edges: 1 | 4 | 8
                color: Theme.sidebarFill
                borderColor: Theme.cardOutline
                borderWidth: 1
            }
            RoundedBox {
                x: Theme.sidebarWidth
                width: parent.width - x
                height: parent.height
                radius: Theme.cardRadius
                corners: 2 | 4
                edges: 1 | 2 | 4
                color: Theme.material
                borderColor: Theme.cardOutline
                borderWidth: 1
            }

            Sidebar {
                id: sidebar
                controller: root.sidebarController
                width: Theme.sidebarWidth
                height: parent.height
            }

            Rectangle {
                x: Theme.sidebarWidth
                y: 1
                width: 1
                height: parent.height - 2
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
                            right: trailing.left
                            verticalCenter: parent.verticalCenter
                            leftMargin: 14
                            rightMargin: trailing.width > 0 ? 12 : 0
                        }
                    }

                    Row {
                        id: trailing
                        anchors {
                            right: parent.right
                            rightMargin: 14
                            verticalCenter: parent.verticalCenter
                        }
                        spacing: 12

                        HotkeyCapsRow {
                            anchors.verticalCenter: parent.verticalCenter
                            caps: root.hotkeyCaps
                            visible: root.hotkeyCaps !== null && root.hotkeyCaps.keys.length > 0
                        }
                        Loader {
                            anchors.verticalCenter: parent.verticalCenter
                            active: root.moreMenu !== null
                            visible: active
                            sourceComponent: MoreMenuButton {
                                actions: root.moreMenu
                                controller: root.controller
                            }
                        }
                    }
                }

                // The material again under the grid, as a plain opaque fill: the renderer then
                // skips the stretched box beneath wherever scrolling repaints, and fills this
                // faster. Clear of the box's stroke and rounded corner, so it looks the same.
                Rectangle {
                    anchors {
                        top: divider.bottom
                        left: parent.left
                        right: parent.right
                        bottom: parent.bottom
                        rightMargin: 1
                        bottomMargin: Theme.cardRadius
                    }
                    color: Theme.material
                }

                Rectangle {
                    id: divider
                    anchors.top: topRow.bottom
                    width: parent.width - 1
                    height: 1
                    color: Theme.hairline
                }

                ItemGrid {
                    id: grid
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

                EmptyView {
                    objectName: "emptyView"
                    // Followed only while shown: typing into a full list lays out nothing here.
                    query: visible ? root.overlayState.query : ""
                    anchors.centerIn: grid
                    visible: root.controller.model.count === 0
                }

                StoreNoticeBar {
                    notice: root.storeNotice
                    anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: 14 }
                }
            }

            // Made when first needed: most sessions never show an alert.
            Loader {
                anchors.fill: parent
                active: root.alert !== null && (root.alert.shown || item !== null)
                sourceComponent: AlertSheet {
                    alert: root.alert
                }
            }
        }
    }
}
