import QtQuick
import Cliphaven.Overlay

// The shortcut that opens the overlay, one cap per key; nothing when there is none.
Row {
    id: row

    property HotkeyCaps caps: null

    spacing: 3

    Repeater {
        model: row.caps ? row.caps.keys : []
        delegate: KeyCap {
            required property string modelData
            label: modelData
        }
    }
}
