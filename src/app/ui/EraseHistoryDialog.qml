import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Templates as T
import QtQuick.Layouts

// The confirmation before the history is erased: "Erase" or "Cancel".
Dialog {
    id: dialog

    required property QtObject model

    modal: true
    focus: true
    anchors.centerIn: T.Overlay.overlay
    width: Math.min(380, parent ? parent.width - 40 : 380)
    padding: 20
    closePolicy: Popup.CloseOnEscape
    T.Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0, 0, 0.25)
    }

    contentItem: RowLayout {
        spacing: 16
        Image {
            Layout.alignment: Qt.AlignTop
            source: "icons/warning.svg"
            sourceSize: Qt.size(40, 40)
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 8
            Label {
                objectName: "eraseMessage"
                Layout.fillWidth: true
                text: "Erase clipboard history?"
                font.pixelSize: 14
                font.weight: Font.DemiBold
                wrapMode: Text.WordWrap
            }
            Label {
                objectName: "eraseInformative"
                Layout.fillWidth: true
                text: dialog.model.eraseHistoryInformativeText
                font.pixelSize: 12
                wrapMode: Text.WordWrap
            }
        }
    }

    footer: DialogButtonBox {
        padding: 14
        spacing: 8
        Button {
            objectName: "eraseCancelButton"
            text: "Cancel"
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
        Button {
            objectName: "eraseConfirmButton"
            text: "Erase"
            highlighted: true
            palette.highlight: "#d0393b"
            palette.highlightedText: "#ffffff"
            DialogButtonBox.buttonRole: DialogButtonBox.DestructiveRole
            onClicked: {
                dialog.model.eraseHistory()
                dialog.close()
            }
        }
    }
}
