import QtQuick
import Cliphaven.Overlay

// A colour filling the tile, with its text in a small capsule that stays readable on it.
Item {
    id: swatchTile

    property color swatch
    property string label
    // A light colour (luminance above 0.6) gets a white capsule, a dark one a black capsule.
    property bool lightCaption

    RoundedBox {
        anchors.fill: parent
        radius: Theme.tileRadius
        color: swatchTile.swatch
    }

    Rectangle {
        anchors {
            left: parent.left
            bottom: parent.bottom
            margins: 10
        }
        height: 22
        width: Math.min(caption.implicitWidth + 18, swatchTile.width - 20)
        radius: height / 2
        color: swatchTile.lightCaption ? Qt.rgba(1, 1, 1, 0.55) : Qt.rgba(0, 0, 0, 0.40)

        Text {
            id: caption
            anchors.centerIn: parent
            width: Math.min(implicitWidth, parent.width - 18)
            text: swatchTile.label
            elide: Text.ElideRight
            font.pixelSize: 11
            font.weight: Font.DemiBold
            font.letterSpacing: 0.3
            color: swatchTile.lightCaption ? Qt.rgba(0, 0, 0, 0.78) : Qt.rgba(1, 1, 1, 0.95)
        }
    }
}
