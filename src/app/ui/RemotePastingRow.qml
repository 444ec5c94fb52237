import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// After the user declined the desktop's request to let Cliphaven type into other apps: says so,
// and offers to be asked again on the next paste. A section of its own, with its divider below.
ColumnLayout {
    id: row

    // The portal's key poster, or null where pasting does not go through the portal.
    property QtObject remotePaste: null

    objectName: "remotePastingRow"
    visible: remotePaste !== null && remotePaste.refused
    spacing: 8

    SectionTitle {
        text: "Pasting"
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: 8
        Caption {
            Layout.fillWidth: true
            text: "You declined to let Cliphaven type into other apps: picked items stay on the clipboard for Ctrl+V."
        }
        Button {
            objectName: "askAgainButton"
            text: "Ask Again"
            font.pixelSize: 11
            onClicked: row.remotePaste.askAgain()
        }
    }
    Divider {
        Layout.topMargin: 12
    }
}
