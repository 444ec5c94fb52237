import QtQuick
import Cliphaven.Overlay

// A link as a card: the page's preview image over its title and host. Until the preview
// arrives, and when the page has none, a gradient with the host's initial stands in for the
// image and the address for the title.
Item {
    id: card

    property string url
    property string host
    property string title
    property string image

    readonly property real pictureHeight: Math.round(height * 0.56)
    readonly property string address: url.replace(/^[a-z]+:\/\//i, "").replace(/^www\./i, "")
                                         .replace(/\/$/, "")

    function hue(text) {
        let h = 0
        for (let i = 0; i < text.length; ++i)
            h = (h * 31 + text.charCodeAt(i)) % 360
        return h / 360
    }

    Item {
        id: picture
        width: parent.width
        height: card.pictureHeight
        clip: true

        // Rounded only at the top: the bottom corners fall outside the clip.
        Rectangle {
            width: parent.width
            height: parent.height + Theme.tileRadius
            radius: Theme.tileRadius
            visible: photo.status !== Image.Ready
            gradient: Gradient {
                GradientStop { position: 0; color: Qt.hsla(card.hue(card.host), 0.50, 0.46, 1) }
                GradientStop { position: 1; color: Qt.hsla((card.hue(card.host) + 0.08) % 1, 0.55, 0.26, 1) }
            }

            Rectangle {
                x: (parent.width - width) / 2
                y: (picture.height - height) / 2
                width: 38
                height: 38
                radius: 19
                color: Qt.rgba(1, 1, 1, 0.16)
                border.width: 1
                border.color: Qt.rgba(1, 1, 1, 0.22)

                Text {
                    anchors.centerIn: parent
                    text: card.host.replace(/^www\./i, "").charAt(0).toUpperCase()
                    color: Qt.rgba(1, 1, 1, 0.95)
                    font.pixelSize: 17
                    font.weight: Font.DemiBold
                }
            }
        }

        Image {
            id: photo
            anchors.fill: parent
            asynchronous: true
            sourceSize: Qt.size(Math.ceil(width), Math.ceil(height))
            source: width > 0 ? card.image : ""
            visible: status === Image.Ready
        }
    }

    Rectangle {
        y: card.pictureHeight
        width: parent.width
        height: 1
        color: Qt.rgba(1, 1, 1, 0.06)
    }

    Column {
        x: 10
        y: card.pictureHeight + 8
        width: parent.width - 20
        spacing: 3

        Text {
            width: parent.width
            text: card.title.length > 0 ? card.title : card.address
            textFormat: Text.PlainText
            color: Theme.textPrimary
            font.pixelSize: 12
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            maximumLineCount: 2
            elide: Text.ElideRight
        }

        Text {
            width: parent.width
            text: card.host
            textFormat: Text.PlainText
            color: Theme.textSecondary
            font.pixelSize: 11
            elide: Text.ElideRight
        }
    }
}
