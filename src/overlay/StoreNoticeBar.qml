import QtQuick
import Cliphaven.Overlay

// A strip at the foot of the card telling what went wrong with the history file; a damaged
// file's notice has a close button, a failing save's goes away by itself once a save works.
Rectangle {
    id: bar
    objectName: "storeNotice"

    property StoreNotice notice: null

    visible: notice !== null && notice.text.length > 0
    implicitHeight: Math.max(message.implicitHeight, close.height) + 20
    radius: 10
    color: Qt.rgba(0.36, 0.25, 0.05, 0.96)
    border.width: 1
    border.color: Qt.rgba(0.95, 0.62, 0.04, 0.6)

    // A warning sign from two shapes: the mark on a filled circle.
    Rectangle {
        id: sign
        x: 12
        anchors.verticalCenter: parent.verticalCenter
        width: 18
        height: 18
        radius: 9
        color: "#f29d0b"
        Text {
            anchors.centerIn: parent
            text: "!"
            font.pixelSize: 13
            font.bold: true
            color: "white"
        }
    }

    Text {
        id: message
        objectName: "storeNoticeText"
        anchors {
            left: sign.right
            leftMargin: 10
            right: close.visible ? close.left : parent.right
            rightMargin: 12
            verticalCenter: parent.verticalCenter
        }
        text: bar.notice ? bar.notice.text : ""
        wrapMode: Text.Wrap
        font.pixelSize: 13
        color: Theme.textPrimary
    }

    Rectangle {
        id: close
        objectName: "storeNoticeClose"
        anchors {
            right: parent.right
            rightMargin: 8
            verticalCenter: parent.verticalCenter
        }
        visible: bar.notice !== null && bar.notice.dismissible
        width: 24
        height: 24
        radius: 6
        color: closeArea.containsMouse ? Qt.rgba(1, 1, 1, 0.12) : "transparent"
        Text {
            anchors.centerIn: parent
            text: "\u00d7"
            font.pixelSize: 16
            color: Theme.textSecondary
        }
        MouseArea {
            id: closeArea
            anchors.fill: parent
            hoverEnabled: true
            onClicked: bar.notice.dismiss()
        }
    }
}
