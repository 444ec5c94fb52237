import QtQuick
import QtQuick.Controls.Fusion

// The preferences panel: as tall as its sections (within the screen), resizable, hidden on
// close and shown again. Its look follows the desktop's dark or light preference, in the
// overlay's palette: the same accent, type and radii.
ApplicationWindow {
    id: window

    required property QtObject prefs
    required property QtObject model
    required property QtObject recorder
    required property QtObject ignoredApps
    required property QtObject chooser
    required property QtObject pasteKeystrokes
    required property QtObject autostart
    property QtObject session: null
    property QtObject desktopShortcut: null
    property QtObject remotePaste: null
    // Set by the owner from the desktop's colour scheme.
    property bool dark: true
    // The height that shows everything; the owner opens the window at it, up to the screen's.
    readonly property real preferredHeight: Math.ceil(view.fullHeight)

    title: "Cliphaven Preferences"
    width: 460
    height: 560
    minimumWidth: 420
    minimumHeight: 300
    flags: Qt.Dialog | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    visible: false
    color: palette.window

    // The overlay's accent on a dark face like the card's, or a light one.
    palette.window: dark ? "#1a1b21" : "#f4f4f6"
    palette.windowText: dark ? "#ebebed" : "#1d1d21"
    palette.base: dark ? "#24252c" : "#ffffff"
    palette.alternateBase: dark ? "#2a2b32" : "#ebebef"
    palette.text: dark ? "#ebebed" : "#1d1d21"
    palette.button: dark ? "#2e2f37" : "#ffffff"
    palette.buttonText: dark ? "#ebebed" : "#1d1d21"
    palette.brightText: "#ffffff"
    palette.highlight: dark ? "#3d8bff" : "#2f7cf6"
    palette.highlightedText: "#ffffff"
    palette.light: dark ? "#3a3b44" : "#ffffff"
    palette.midlight: dark ? "#33343c" : "#e4e4e9"
    palette.mid: dark ? "#2a2b32" : "#c9c9d0"
    palette.dark: dark ? "#121317" : "#a8a8b0"
    palette.shadow: "#000000"
    palette.placeholderText: dark ? "#8c8d94" : "#8a8a92"
    palette.toolTipBase: dark ? "#2a2b31" : "#ffffff"
    palette.toolTipText: dark ? "#ebebed" : "#1d1d21"
    palette.link: dark ? "#6aa6ff" : "#1f6fe5"

    PreferencesView {
        id: view
        anchors.fill: parent
        prefs: window.prefs
        model: window.model
        recorder: window.recorder
        ignoredApps: window.ignoredApps
        chooser: window.chooser
        pasteKeystrokes: window.pasteKeystrokes
        autostart: window.autostart
        session: window.session
        desktopShortcut: window.desktopShortcut
        remotePaste: window.remotePaste
    }

    // Closed from the keyboard like any dialog; while a shortcut is being recorded, Escape
    // belongs to the recorder, and an open alert takes it first.
    Shortcut {
        sequences: ["Ctrl+W", "Escape"]
        enabled: window.visible && !window.recorder.recording && !view.dialogOpen
        onActivated: window.close()
    }

    // The owner opens it as tall as the sections, within the screen; when they grow after
    // that (laid out, or an application added to the ignore list) the window grows with them
    // rather than clip.
    onPreferredHeightChanged: {
        if (visible && preferredHeight > height)
            height = Math.min(preferredHeight, Screen.desktopAvailableHeight * 0.9)
    }

    // Closing only hides; a recording in progress ends with it.
    onVisibleChanged: if (!visible) recorder.cancelRecording()
}
