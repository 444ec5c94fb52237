import QtQuick

// An application's icon at 22 × 22, or the generic placeholder when it has none.
Item {
    id: appIcon

    property string iconName

    implicitWidth: 22
    implicitHeight: 22

    Image {
        id: image
        anchors.fill: parent
        sourceSize: Qt.size(44, 44)
        source: appIcon.iconName.length > 0 ? "image://appicon/" + encodeURIComponent(appIcon.iconName) : ""
        smooth: true
        asynchronous: false
    }
    Image {
        anchors.fill: parent
        sourceSize: Qt.size(44, 44)
        visible: image.status !== Image.Ready
        source: "icons/app-placeholder.svg"
    }
}
