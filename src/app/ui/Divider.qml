import QtQuick
import QtQuick.Layouts

Rectangle {
    Layout.fillWidth: true
    implicitHeight: 1
    color: Qt.rgba(0.5, 0.5, 0.5, 0.28)
}
