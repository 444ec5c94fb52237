import QtQuick
import QtQuick.Controls.Fusion

// One key of a shortcut, drawn as a small key top.
Rectangle {
    id: cap

    property alias text: label.text
    property bool faded: false

    implicitWidth: Math.max(label.implicitWidth + 10, 22)
    implicitHeight: 20
    radius: 4
    color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, faded ? 0.05 : 0.09)
    border.color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.22)
    border.width: 1

    Label {
        id: label
        anchors.centerIn: parent
        font.pixelSize: 11
        font.weight: Font.Medium
        opacity: cap.faded ? 0.55 : 1
    }
}
