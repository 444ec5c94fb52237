import QtQuick
import Cliphaven.Overlay

// Edits a name in place. Return or losing focus (a click anywhere else in the window counts,
// and that click still does what it was for) commits; Escape cancels. Editing ends once:
// whatever follows the first end is ignored.
TextInput {
    id: field
    objectName: "renameField"

    required property string initialText
    // Set once the field has taken the focus; losing it afterwards ends the editing.
    property bool started: false
    property bool ended: false

    signal committed(string text)
    signal canceled()

    function end(commit) {
        if (ended)
            return
        ended = true
        if (commit)
            committed(text)
        else
            canceled()
    }

    height: 18
    clip: true
    verticalAlignment: TextInput.AlignVCenter
    font.pixelSize: 13
    color: Theme.textPrimary
    selectionColor: Theme.withAlpha(Theme.accent, 0.55)
    selectedTextColor: "white"
    selectByMouse: true

    Keys.onReturnPressed: end(true)
    Keys.onEnterPressed: end(true)
    Keys.onEscapePressed: end(false)
    onActiveFocusChanged: {
        if (!activeFocus && started)
            end(true)
    }

    // Focus and the watch for outside clicks start once the field is in its window; the
    // old name is all selected, so typing replaces it.
    Component.onCompleted: {
        text = initialText
        Qt.callLater(() => {
            if (ended)
                return
            forceActiveFocus()
            selectAll()
            started = true
            outside.target = field
        })
    }

    OutsideClickMonitor {
        id: outside
        onPressedOutside: field.end(true)
    }
}
