import QtQuick
import QtQuick.Controls.Fusion

Label {
    font.pixelSize: 14
    font.weight: Font.DemiBold
}
