import QtQuick
import QtQuick.Templates as T

// The preferences' push button, in the overlay's shapes: rounded, a quiet fill that follows the
// palette, red text for what destroys something, and a focus ring when reached by Tab.
T.Button {
    id: control

    property bool destructive: false
    readonly property color ink: !enabled ? Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.4)
                                : destructive ? (palette.window.hslLightness < 0.5 ? "#ff6961" : "#c62828")
                                              : palette.buttonText

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    leftPadding: 12
    rightPadding: 12
    topPadding: 5
    bottomPadding: 5
    font.pixelSize: 13

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }

    background: Item {
        implicitHeight: 26
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            radius: 10
            color: "transparent"
            border.width: 2
            border.color: control.palette.highlight
            visible: control.visualFocus
        }
        Rectangle {
            anchors.fill: parent
            radius: 7
            color: control.down ? Qt.darker(control.palette.button, 1.15)
                 : control.hovered ? Qt.lighter(control.palette.button, 1.12) : control.palette.button
            border.width: 1
            border.color: Qt.rgba(control.palette.windowText.r, control.palette.windowText.g,
                                  control.palette.windowText.b, 0.14)
        }
    }
}
