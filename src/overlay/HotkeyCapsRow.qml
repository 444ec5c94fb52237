import QtQuick
import QtQuick.Controls.Basic
import Cliphaven.Overlay

// The shortcut that opens the overlay, one cap per key; nothing when there is none. A shortcut
// the desktop refused is struck through in red, with the reason on hover.
Row {
    id: row

    property HotkeyCaps caps: null
    readonly property bool refused: row.caps !== null && row.caps.refused

    spacing: 3

    Repeater {
        model: row.caps ? row.caps.keys : []
        delegate: KeyCap {
            required property string modelData
            label: modelData
            refused: row.refused
        }
    }

    HoverHandler {
        id: hover
        enabled: row.refused
    }
    ToolTip.visible: hover.hovered
    ToolTip.text: "Another application holds this shortcut, so it does not open Cliphaven. Choose another in Preferences."
}
