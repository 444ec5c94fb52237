import QtQuick

// A rounded rectangle from a tiny shared image stretched in nine parts (ShapeImageProvider),
// so boxes of any size cost one small texture per look. The stroke lies inside the box, as in
// a Rectangle.
BorderImage {
    id: box

    property int radius: 0
    property color color: "transparent"
    property color borderColor: "transparent"
    property int borderWidth: 0
    // Rounded corners: 1 top left, 2 top right, 4 bottom right, 8 bottom left.
    property int corners: 15
    // Stroked edges: 1 top, 2 right, 4 bottom, 8 left.
    property int edges: 15

    readonly property int inset: radius + borderWidth

    function hex(c) {
        return String(c).substring(1)
    }

    source: "image://shapes/rounded/" + radius + "/" + corners + "/" + edges + "/" + hex(color)
            + "/" + hex(borderColor) + "/" + borderWidth
    border.left: inset
    border.right: inset
    border.top: inset
    border.bottom: inset
    cache: true
    // The stretched parts are uniform: nearest-pixel scaling looks the same and costs far less.
    smooth: false
}
