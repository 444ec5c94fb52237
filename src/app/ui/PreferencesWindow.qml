import QtQuick
import QtQuick.Controls.Fusion

// The preferences panel: a fixed 460 × 560 window that hides on close and is shown again.
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

    title: "Cliphaven Preferences"
    width: 460
    height: 560
    minimumWidth: 460
    maximumWidth: 460
    minimumHeight: 560
    maximumHeight: 560
    flags: Qt.Dialog | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    visible: false

    PreferencesView {
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

    // Closing only hides; a recording in progress ends with it.
    onVisibleChanged: if (!visible) recorder.cancelRecording()
}
