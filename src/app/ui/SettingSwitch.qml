import QtQuick
import QtQuick.Templates as T

// The preferences' on/off control: a rounded track with a round knob, the accent when on, and
// a focus ring when reached from the keyboard. The label sits on the left, the switch on the
// right edge, as in the overlay's own settings rows.
T.Switch {
    id: control

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(implicitContentHeight, implicitIndicatorHeight) + topPadding + bottomPadding
    padding: 4
    leftPadding: 0
    spacing: 12
    font.pixelSize: 13

    indicator: Item {
        implicitWidth: 38
        implicitHeight: 22
        x: control.width - width - control.rightPadding
        y: control.topPadding + (control.availableHeight - height) / 2

        // The focus ring, outside the track.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            radius: height / 2
            color: "transparent"
            border.width: 2
            border.color: control.palette.highlight
            visible: control.visualFocus
        }
        Rectangle {
            id: track
            anchors.fill: parent
            radius: height / 2
            color: control.checked ? control.palette.highlight
                                   : Qt.rgba(control.palette.windowText.r, control.palette.windowText.g,
                                             control.palette.windowText.b, 0.22)
            opacity: control.enabled ? 1 : 0.45
            Behavior on color {
                ColorAnimation { duration: 120 }
            }
        }
        Rectangle {
            width: 18
            height: 18
            radius: 9
            y: 2
            x: control.checked ? parent.width - width - 2 : 2
            color: "white"
            border.width: 1
            border.color: Qt.rgba(0, 0, 0, 0.12)
            Behavior on x {
                NumberAnimation { duration: 120; easing.type: Easing.OutCubic }
            }
        }
    }

    contentItem: Text {
        rightPadding: control.indicator.width + control.spacing
        text: control.text
        font: control.font
        color: control.palette.windowText
        opacity: control.enabled ? 1 : 0.5
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
    }
}
