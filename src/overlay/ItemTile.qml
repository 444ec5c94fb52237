import QtQuick
import Cliphaven.Overlay

// One grid cell. The tile face sits inside it (the cell's extra width and height are the
// spacing) and shows the item as an image, a colour swatch, a link card or a text excerpt.
Item {
    id: cell

    required property int index
    required property string itemId
    required property string kind
    required property string excerpt
    required property color hexColor
    required property string hexLabel
    required property bool captionOnLight
    required property string imageSource
    required property string linkUrl
    required property string linkHost
    required property string linkTitle
    required property string linkImage
    required property bool linkFetched
    required property bool selected

    property GridController controller

    // position: in scene coordinates.
    signal contextMenuRequested(int index, point position)

    function requestLinkPreview() {
        if (kind === "link" && !linkFetched && controller)
            controller.model.loadLinkPreview(index)
    }

    width: GridView.view.cellWidth
    height: GridView.view.cellHeight
    z: selected ? 2 : 1

    Component.onCompleted: requestLinkPreview()
    GridView.onReused: requestLinkPreview()
    onLinkUrlChanged: requestLinkPreview()

    // The selection's glow lies beside the face rather than in it, at the face's scaled frame
    // rounded to whole pixels: scaled with the face, its parts would meet with a visible seam.
    Loader {
        active: cell.selected
        x: Math.round(face.x - face.width * (face.scale - 1) / 2)
        y: Math.round(face.y - face.height * (face.scale - 1) / 2)
        width: Math.round(face.width * face.scale)
        height: Math.round(face.height * face.scale)
        sourceComponent: SoftShadow { style: SoftShadow.TileGlow }
    }

    Item {
        id: face
        objectName: "tileFace"
        x: 16
        width: cell.width - 14
        height: Theme.tileHeight
        scale: cell.selected ? 1.03 : 1.0
        // While scaled it is drawn at its own size and the picture scaled: drawn scaled part by
        // part, the software renderer leaves a gap where a rounded box's parts meet.
        layer.enabled: scale !== 1
        layer.smooth: true

        Behavior on scale {
            NumberAnimation {
                duration: 120
                easing.type: Easing.Bezier
                easing.bezierCurve: Theme.easeOut
            }
        }

        Rectangle {
            anchors.fill: parent
            radius: Theme.tileRadius
            color: cell.selected ? Theme.withAlpha(Theme.accent, 0.22)
                                 : pointer.containsMouse ? Qt.rgba(1, 1, 1, 0.075)
                                                         : Qt.rgba(1, 1, 1, 0.045)
            border.color: Qt.rgba(1, 1, 1, 0.08)
            border.width: 1
        }

        Loader {
            anchors.fill: parent
            anchors.margins: cell.kind === "text" ? 10 : 0
            sourceComponent: {
                switch (cell.kind) {
                case "image": return imageContent
                case "color": return colorContent
                case "link": return linkContent
                default: return textContent
                }
            }
        }

        // Over the content, so images and swatches show it too.
        RoundedBox {
            anchors.fill: parent
            visible: cell.selected
            radius: Theme.tileRadius
            borderColor: Theme.accent
            borderWidth: 2
        }

        MouseArea {
            id: pointer
            objectName: "tilePointer"
            anchors.fill: parent
            hoverEnabled: true
            drag.target: dragSource
            drag.threshold: 6

            onClicked: (mouse) => cell.controller.handleTap(cell.index, mouse.modifiers)
            // Past the threshold the platform's drag takes over; it returns once dropped.
            drag.onActiveChanged: {
                if (!drag.active)
                    return
                dragSource.Drag.mimeData = { "text/plain": cell.controller.dragPayload(cell.index) }
                dragSource.Drag.active = true
                dragSource.Drag.startDrag(Qt.CopyAction)
                dragSource.Drag.active = false
                // The drop took the release: start over unpressed, with the proxy back home.
                enabled = false
                enabled = true
                dragSource.x = 0
                dragSource.y = 0
            }
        }

        TapHandler {
            acceptedButtons: Qt.RightButton
            onPressedChanged: {
                if (pressed)
                    cell.contextMenuRequested(cell.index,
                                              face.mapToItem(null, point.position.x, point.position.y))
            }
        }

        // Stands for the tile while a drag is under way: what it carries is the ids of the
        // items the tile stands for, as plain text.
        Item {
            id: dragSource
        }
    }

    Component {
        id: imageContent
        Item {
            Image {
                id: picture
                anchors.fill: parent
                asynchronous: true
                cache: true
                // Decoded at the tile's size, cropped and rounded by the provider.
                sourceSize: Qt.size(Math.ceil(width), Math.ceil(height))
                source: width > 0 ? cell.imageSource : ""
                opacity: status === Image.Ready ? 1 : 0
                Behavior on opacity {
                    NumberAnimation { duration: 120 }
                }
            }
            Text {
                anchors.centerIn: parent
                visible: picture.status === Image.Error
                text: "Image"
                color: Theme.textTertiary
                font.pixelSize: 12
            }
        }
    }

    Component {
        id: colorContent
        HexSwatch {
            swatch: cell.hexColor
            label: cell.hexLabel
            lightCaption: cell.captionOnLight
        }
    }

    Component {
        id: linkContent
        LinkCard {
            url: cell.linkUrl
            host: cell.linkHost
            title: cell.linkTitle
            image: cell.linkImage
        }
    }

    Component {
        id: textContent
        Text {
            text: cell.excerpt
            textFormat: Text.PlainText
            color: Theme.textPrimary
            font.pixelSize: 12
            lineHeight: 1.12
            wrapMode: Text.Wrap
            elide: Text.ElideRight
            verticalAlignment: Text.AlignTop
            horizontalAlignment: Text.AlignLeft
        }
    }
}
