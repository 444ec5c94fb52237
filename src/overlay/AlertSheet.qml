import QtQuick
import Cliphaven.Overlay

// An alert inside the card: the card dims behind a raised panel with a title, a message and
// its buttons, the last being the default. Keyboard: Tab and the arrows move between the
// buttons, Return or Space presses the focused one, Escape chooses the first.
Item {
    id: sheet
    objectName: "alertSheet"

    required property OverlayAlert alert

    visible: alert.shown
    opacity: alert.shown ? 1 : 0
    Behavior on opacity {
        NumberAnimation { duration: 120; easing.type: Easing.OutCubic }
    }

    onVisibleChanged: {
        if (visible)
            Qt.callLater(() => buttons.focusDefault())
    }

    // The card behind it, dimmed and out of reach of the pointer.
    Rectangle {
        anchors.fill: parent
        radius: Theme.cardRadius
        color: Qt.rgba(0, 0, 0, 0.45)
    }
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
        hoverEnabled: true
        onWheel: (wheel) => wheel.accepted = true
    }

    Item {
        id: panel
        anchors.centerIn: parent
        width: Math.min(440, parent.width - 48)
        height: content.implicitHeight + 44
        scale: sheet.alert.shown ? 1 : 0.96
        Behavior on scale {
            NumberAnimation { duration: 120; easing.type: Easing.OutCubic }
        }

        // A soft shadow in three steps, the same fall as the card's.
        Repeater {
            model: [{ d: 18, a: 0.10 }, { d: 10, a: 0.16 }, { d: 4, a: 0.22 }]
            Rectangle {
                required property var modelData
                x: -modelData.d
                y: -modelData.d + 6
                width: panel.width + 2 * modelData.d
                height: panel.height + 2 * modelData.d
                radius: Theme.menuRadius + 4 + modelData.d
                color: Qt.rgba(0, 0, 0, modelData.a)
            }
        }
        Rectangle {
            anchors.fill: parent
            radius: Theme.menuRadius + 4
            color: Theme.raised
            border.width: 1
            border.color: Theme.raisedOutline
        }

        Column {
            id: content
            x: 22
            y: 22
            width: parent.width - 44
            spacing: 10

            Row {
                width: parent.width
                spacing: 10
                BusySpinner {
                    visible: sheet.alert.busy
                    running: visible
                    anchors.verticalCenter: parent.verticalCenter
                }
                Text {
                    objectName: "alertTitle"
                    width: parent.width - (sheet.alert.busy ? 30 : 0)
                    text: sheet.alert.title
                    textFormat: Text.PlainText
                    wrapMode: Text.Wrap
                    color: Theme.textPrimary
                    font.pixelSize: Theme.fontTitle
                    font.weight: Font.DemiBold
                }
            }
            Text {
                objectName: "alertText"
                width: parent.width
                visible: text.length > 0
                text: sheet.alert.text
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                lineHeight: 1.15
                color: Theme.textSecondary
                font.pixelSize: Theme.fontBody
            }
            Item {
                width: 1
                height: 6
            }
            Row {
                id: buttons
                anchors.right: parent.right
                spacing: 8

                function focusDefault() {
                    const last = repeater.count - 1
                    if (last >= 0)
                        repeater.itemAt(last).forceActiveFocus(Qt.TabFocusReason)
                }

                Repeater {
                    id: repeater
                    model: sheet.alert.buttons
                    SheetButton {
                        required property string modelData
                        required property int index
                        objectName: "alertButton" + index
                        text: modelData
                        prominent: index === repeater.count - 1
                        destructive: prominent && sheet.alert.destructive
                        onClicked: sheet.alert.choose(index)
                        KeyNavigation.right: index + 1 < repeater.count ? repeater.itemAt(index + 1) : null
                        KeyNavigation.left: index > 0 ? repeater.itemAt(index - 1) : null
                    }
                }
            }
        }
    }

    component BusySpinner: Item {
        id: spinner
        property bool running: false
        implicitWidth: 20
        implicitHeight: 20
        Rectangle {
            anchors.fill: parent
            radius: width / 2
            color: "transparent"
            border.width: 2.5
            border.color: Theme.withAlpha(Theme.textPrimary, 0.18)
        }
        Rectangle {
            width: 6
            height: 6
            radius: 3
            x: parent.width / 2 - 3
            y: -0.5
            color: Theme.accent
        }
        RotationAnimation on rotation {
            running: spinner.running
            from: 0
            to: 360
            duration: 900
            loops: Animation.Infinite
        }
    }
}
