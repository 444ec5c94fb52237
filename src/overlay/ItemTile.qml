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
    required property bool code

    property GridController controller
    readonly property alias face: face
    // The tile Return pastes: marked even before an arrow key has selected anything.
    readonly property bool current: controller !== null && index === controller.currentIndex
    // A context menu is open for it.
    readonly property bool menuTarget: controller !== null && controller.menuOpen
                                       && controller.menuTargets.indexOf(itemId) >= 0
    // 0 unselected ... 1 selected: fill, outline, glow and scale change together.
    property real lift: selected ? 1 : 0
    Behavior on lift {
        NumberAnimation {
            duration: 120
            easing.type: Easing.Bezier
            easing.bezierCurve: Theme.easeOut
        }
    }

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

    // The selection's glow lies beside the face rather than in it.
    Loader {
        active: cell.lift > 0
        opacity: cell.lift
        x: face.x
        y: face.y
        width: face.width
        height: face.height
        sourceComponent: SoftShadow { style: SoftShadow.TileGlow }
    }

    // The current tile when it is not selected (on opening, after a search), and the tiles an
    // open context menu acts on: a ring around it, open, so the eye finds what Return pastes.
    Rectangle {
        objectName: "currentRing"
        visible: (cell.current && !cell.selected) || cell.menuTarget
        x: face.x - 4
        y: face.y - 4
        width: face.width + 8
        height: face.height + 8
        radius: Theme.tileRadius + 4
        color: "transparent"
        border.width: 2
        border.color: cell.menuTarget ? "white" : Theme.withAlpha(Theme.accent, 0.85)
    }

    // Selected, the face grows by 3 % about its centre. It is laid out larger in whole pixels
    // rather than scaled: a scaled rounded box shows seams on the software renderer, and the
    // layer that hid them drew nothing at a device pixel ratio above 1. Text keeps its width,
    // so it never rewraps as the tile grows; pictures are scaled with the face.
    Item {
        id: face
        objectName: "tileFace"

        readonly property real baseWidth: cell.width - 14
        readonly property int growX: Math.round(baseWidth * 0.015 * cell.lift)
        readonly property int growY: Math.round(Theme.tileHeight * 0.015 * cell.lift)
        // 1 unselected, 1.03 selected, in between while it animates.
        readonly property real grown: width / baseWidth

        x: 16 - growX
        y: -growY
        width: baseWidth + 2 * growX
        height: Theme.tileHeight + 2 * growY

        Rectangle {
            anchors.fill: parent
            radius: Theme.tileRadius
            color: Theme.mix(pointer.containsMouse ? Qt.rgba(1, 1, 1, 0.075) : Qt.rgba(1, 1, 1, 0.045),
                             Theme.withAlpha(Theme.accent, 0.22), cell.lift)
            border.color: Qt.rgba(1, 1, 1, 0.08)
            border.width: 1
        }

        Loader {
            readonly property bool pictured: cell.kind === "image" || cell.kind === "link"
            readonly property real pad: cell.kind === "text" ? 10 : 0
            // Pictures and text at the unselected size, centred; swatches fill the face.
            x: cell.kind === "color" ? 0 : face.growX + pad
            y: cell.kind === "color" ? 0 : face.growY + pad
            width: cell.kind === "color" ? face.width : face.baseWidth - 2 * pad
            height: cell.kind === "color" ? face.height : Theme.tileHeight - 2 * pad
            scale: pictured ? face.grown : 1
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
            objectName: "selectionOutline"
            anchors.fill: parent
            visible: opacity > 0
            opacity: cell.lift
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
            function startDrag(payload) {
                dragSource.Drag.mimeData = { "text/plain": payload }
                dragSource.Drag.active = true
                dragSource.Drag.startDrag(Qt.CopyAction)
                dragSource.Drag.active = false
                dragSource.Drag.imageSource = ""
                // The drop took the release: start over unpressed, with the proxy back home.
                enabled = false
                enabled = true
                dragSource.x = 0
                dragSource.y = 0
            }
            drag.onActiveChanged: {
                if (!drag.active)
                    return
                const payload = cell.controller.dragPayload(cell.index)
                // A small picture of the tile follows the pointer; taken once the drag begins,
                // so plain clicks cost nothing.
                const size = Qt.size(Math.round(face.width * 0.6), Math.round(face.height * 0.6))
                const grabbing = face.grabToImage((result) => {
                    dragSource.Drag.imageSource = result.url
                    dragSource.Drag.hotSpot = Qt.point(size.width / 2, size.height / 2)
                    startDrag(payload)
                }, size)
                if (!grabbing)
                    startDrag(payload)
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
            font.family: cell.code ? Theme.monospace : Theme.fontFamily
            font.pixelSize: cell.code ? 11.5 : 12
            lineHeight: 1.12
            wrapMode: Text.Wrap
            elide: Text.ElideRight
            verticalAlignment: Text.AlignTop
            horizontalAlignment: Text.AlignLeft
        }
    }
}
