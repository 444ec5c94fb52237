import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// One ignored application: its icon and name (or the bare identifier when it is not
// installed) and a button that takes it off the list.
Rectangle {
    id: row

    required property string identifier
    required property string name
    required property string iconName
    required property bool installed
    signal removeClicked()

    Layout.fillWidth: true
    implicitHeight: content.implicitHeight + 12
    radius: 7
    color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.06)

    RowLayout {
        id: content
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 6
        spacing: 10

        AppIcon {
            iconName: row.installed ? row.iconName : ""
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 0
            Label {
                Layout.fillWidth: true
                text: row.name
                font.pixelSize: 13
                elide: Text.ElideRight
            }
            // Which windows the entry matches, for names that hide it.
            Caption {
                Layout.fillWidth: true
                visible: row.installed && row.name !== row.identifier
                text: row.identifier
                elide: Text.ElideRight
                wrapMode: Text.NoWrap
                font.pixelSize: 10
            }
        }
        ToolButton {
            objectName: "removeIgnoredApp"
            Layout.preferredWidth: 26
            Layout.preferredHeight: 26
            padding: 0
            icon.source: "icons/remove.svg"
            icon.width: 16
            icon.height: 16
            icon.color: "transparent"
            focusPolicy: Qt.TabFocus
            Accessible.name: "Remove " + row.name
            ToolTip.visible: hovered
            ToolTip.text: "Remove"
            onClicked: row.removeClicked()
        }
    }
}
