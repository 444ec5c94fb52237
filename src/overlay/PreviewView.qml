import QtQuick
import Cliphaven.Overlay

// The preview's card: the clip's title above the file, text scrollable, an image at its own
// size or fitted into the card.
Item {
    id: root

    required property PreviewWindow preview

    readonly property real margin: 100

    focus: true

    // Arrows and page keys scroll the text; Space and Escape never get here.
    Keys.onPressed: (event) => {
        if (event.matches(StandardKey.Copy) && body.item && body.item.copy) {
            body.item.copy()
            event.accepted = true
            return
        }
        const text = body.item && body.item.flickable ? body.item.flickable : null
        if (!text)
            return
        const page = text.height - 40
        const steps = {
            [Qt.Key_Up]: -40, [Qt.Key_Down]: 40,
            [Qt.Key_PageUp]: -page, [Qt.Key_PageDown]: page,
            [Qt.Key_Home]: -text.contentHeight, [Qt.Key_End]: text.contentHeight
        }
        if (steps[event.key] === undefined)
            return
        const max = Math.max(0, text.contentHeight - text.height)
        text.contentY = Math.max(0, Math.min(max, text.contentY + steps[event.key]))
        event.accepted = true
    }

    SoftShadow {
        anchors.fill: card
        style: SoftShadow.Card
    }

    RoundedBox {
        id: card
        anchors.fill: parent
        anchors.margins: root.margin
        radius: Theme.cardRadius
        color: Theme.material
        borderColor: Theme.cardOutline
        borderWidth: 1
    }

    Item {
        id: header
        x: card.x
        y: card.y
        width: card.width
        height: 44

        Text {
            objectName: "previewTitle"
            anchors {
                left: parent.left
                right: parent.right
                leftMargin: 48
                rightMargin: 48
                verticalCenter: parent.verticalCenter
            }
            horizontalAlignment: Text.AlignHCenter
            text: root.preview.title
            textFormat: Text.PlainText
            elide: Text.ElideRight
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.textPrimary
        }

        // Closes the preview, as Space and Escape do.
        Rectangle {
            objectName: "previewClose"
            anchors {
                right: parent.right
                rightMargin: 14
                verticalCenter: parent.verticalCenter
            }
            width: 18
            height: 18
            radius: 9
            color: closeArea.containsMouse ? Qt.rgba(1, 1, 1, 0.30) : Qt.rgba(1, 1, 1, 0.16)

            Repeater {
                model: [45, -45]
                Rectangle {
                    required property int modelData
                    anchors.centerIn: parent
                    width: 8
                    height: 1.6
                    radius: 0.8
                    rotation: modelData
                    color: Theme.material
                }
            }

            MouseArea {
                id: closeArea
                anchors.fill: parent
                hoverEnabled: true
                onClicked: root.preview.close()
            }
        }
    }

    Rectangle {
        x: card.x + 1
        y: card.y + header.height
        width: card.width - 2
        height: 1
        color: Theme.hairline
    }

    Loader {
        id: body
        x: card.x + 1
        y: card.y + header.height + 1
        width: card.width - 2
        height: card.height - header.height - 2
        sourceComponent: root.preview.isImage ? imageBody : textBody
    }

    Component {
        id: imageBody
        Item {
            Image {
                objectName: "previewImage"
                anchors.centerIn: parent
                width: root.preview.imageSize.width
                height: root.preview.imageSize.height
                fillMode: Image.PreserveAspectFit
                // Decoded in the background, at full size: a scaled decode of a large PNG
                // costs a smooth scaling pass on top, longer than drawing it scaled. Not kept
                // once the card closes.
                source: root.preview.source
                asynchronous: true
                cache: false
                smooth: true
            }
        }
    }

    Component {
        id: textBody
        Item {
            readonly property alias flickable: flickable
            clip: true

            function copy() {
                edit.copy()
            }

            Flickable {
                id: flickable
                objectName: "previewText"
                anchors.fill: parent
                contentWidth: width
                contentHeight: edit.height
                boundsBehavior: Flickable.StopAtBounds

                TextEdit {
                    id: edit
                    width: flickable.width
                    padding: 20
                    readOnly: true
                    selectByMouse: true
                    activeFocusOnPress: false
                    wrapMode: TextEdit.Wrap
                    textFormat: TextEdit.PlainText
                    text: root.preview.text
                    color: Theme.textPrimary
                    selectionColor: Theme.withAlpha(Theme.accent, 0.55)
                    selectedTextColor: "white"
                    font.family: root.preview.code ? Theme.monospace : Theme.fontFamily
                    font.pixelSize: root.preview.code ? 13 : 14
                }
            }

            Rectangle {
                readonly property real ratio: flickable.visibleArea.heightRatio
                x: parent.width - 7
                y: 4 + flickable.visibleArea.yPosition * (parent.height - 8)
                width: 4
                height: Math.max(24, ratio * (parent.height - 8))
                radius: 2
                color: Qt.rgba(1, 1, 1, 0.22)
                visible: ratio < 1
            }
        }
    }
}
