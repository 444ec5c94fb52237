import QtQuick
import Cliphaven.Overlay

// The search field: its text is the state's query, its focus the state's searchFocused.
Rectangle {
    id: field

    required property OverlayState overlayState

    readonly property color iconColor: input.activeFocus ? Theme.textSecondary : Theme.textTertiary

    implicitHeight: 36
    radius: 10
    color: input.activeFocus ? Qt.rgba(1, 1, 1, 0.085) : Qt.rgba(1, 1, 1, 0.055)
    border.width: 1
    border.color: input.activeFocus ? Theme.withAlpha(Theme.accent, 0.7) : Theme.hairline

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.IBeamCursor
        onPressed: input.forceActiveFocus()
    }

    // A magnifying glass from two shapes.
    Item {
        id: glass
        x: 12
        width: 16
        height: 16
        anchors.verticalCenter: parent.verticalCenter

        Rectangle {
            x: 1
            y: 1
            width: 10.5
            height: 10.5
            radius: width / 2
            color: "transparent"
            border.width: 1.6
            border.color: field.iconColor
        }
        Rectangle {
            x: 9.6
            y: 9.4
            width: 6
            height: 1.8
            radius: 0.9
            rotation: 45
            transformOrigin: Item.Left
            color: field.iconColor
        }
    }

    TextInput {
        id: input
        objectName: "searchInput"
        anchors {
            left: glass.right
            leftMargin: 8
            right: clear.visible ? clear.left : parent.right
            rightMargin: clear.visible ? 6 : 12
            verticalCenter: parent.verticalCenter
        }
        clip: true
        font.pixelSize: 14
        color: Theme.textPrimary
        selectionColor: Theme.withAlpha(Theme.accent, 0.55)
        selectedTextColor: "white"
        selectByMouse: true
        activeFocusOnTab: true
        Component.onCompleted: text = field.overlayState.query
        onTextEdited: field.overlayState.query = text
        onActiveFocusChanged: field.overlayState.searchFocused = activeFocus

        Text {
            anchors.fill: parent
            verticalAlignment: Text.AlignVCenter
            text: "Search"
            font: input.font
            color: Theme.textTertiary
            visible: input.text.length === 0 && input.preeditText.length === 0
        }
    }

    // Empties the query; shown only while there is one.
    Rectangle {
        id: clear
        objectName: "clearButton"
        anchors {
            right: parent.right
            rightMargin: 10
            verticalCenter: parent.verticalCenter
        }
        width: 16
        height: 16
        radius: 8
        visible: field.overlayState.query.length > 0
        color: clearArea.containsMouse ? Theme.textSecondary : Theme.textTertiary

        Repeater {
            model: [45, -45]
            Rectangle {
                required property int modelData
                anchors.centerIn: parent
                width: 8
                height: 1.6
                radius: 0.8
                rotation: modelData
                color: Theme.material
            }
        }

        MouseArea {
            id: clearArea
            anchors.fill: parent
            hoverEnabled: true
            onClicked: field.overlayState.query = ""
        }
    }

    Connections {
        target: field.overlayState
        function onQueryChanged() {
            if (input.text !== field.overlayState.query) {
                input.text = field.overlayState.query
                input.cursorPosition = input.text.length
            }
        }
        function onSearchFocusedChanged() {
            if (field.overlayState.searchFocused && !input.activeFocus) {
                input.forceActiveFocus()
                input.cursorPosition = input.text.length
            }
        }
    }
}
