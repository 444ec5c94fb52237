import QtQuick
import QtQuick.Controls.Fusion

// An explanatory line under a setting: small, in the secondary colour.
Label {
    font.pixelSize: 11
    color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.6)
    wrapMode: Text.WordWrap
}
