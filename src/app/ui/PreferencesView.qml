import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Templates as T
import QtQuick.Layouts

// The content of the preferences window: five sections, each change applied at once.
Pane {
    id: view

    required property QtObject prefs
    required property QtObject model
    required property QtObject recorder
    required property QtObject ignoredApps
    required property QtObject chooser
    required property QtObject pasteKeystrokes
    required property QtObject autostart
    // What the desktop session lacks, and the about line; none in tests that do not set it.
    property QtObject session: null
    property QtObject desktopShortcut: null
    property QtObject remotePaste: null

    readonly property color secondaryText: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.7)
    // The height that shows every section without scrolling.
    readonly property real fullHeight: sections.implicitHeight + 44
    // An alert or the chooser is open: it, not the window, takes Escape.
    readonly property bool dialogOpen: eraseDialog.visible || chooserDialog.visible

    // Brings a control reached by Tab into view, with a little room around it.
    function reveal(item) {
        const flickable = scroll.contentItem
        let inside = item
        while (inside && inside !== sections)
            inside = inside.parent
        if (!inside || !flickable)
            return
        const top = item.mapToItem(sections, 0, 0).y + sections.y
        const bottom = top + item.height
        const room = 16
        if (top - room < flickable.contentY)
            flickable.contentY = Math.max(0, top - room)
        else if (bottom + room > flickable.contentY + flickable.height)
            flickable.contentY = Math.min(flickable.contentHeight - flickable.height,
                                          bottom + room - flickable.height)
    }

    padding: 0

    Connections {
        target: view.Window.window
        function onActiveFocusItemChanged() {
            const item = view.Window.window.activeFocusItem
            if (item)
                view.reveal(item)
        }
    }

    ScrollView {
        id: scroll
        objectName: "preferencesScroll"
        anchors.fill: parent
        contentWidth: availableWidth
        ScrollBar.horizontal.policy: ScrollBar.AlwaysOff
        // Shown whenever something is out of view, not only while scrolling.
        ScrollBar.vertical.policy: view.fullHeight > height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff

        Item {
            width: scroll.availableWidth
            implicitHeight: sections.implicitHeight + 44

            ColumnLayout {
                id: sections
                x: 22
                y: 22
                width: parent.width - 44
                spacing: 20

                // 1. The global shortcut.
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 8
                    SectionTitle {
                        text: "Keyboard Shortcut"
                    }
                    RowLayout {
                        Layout.fillWidth: true
                        spacing: 8
                        Label {
                            text: "Open Cliphaven"
                            color: view.secondaryText
                        }
                        Item {
                            Layout.fillWidth: true
                        }
                        ShortcutRecorderField {
                            objectName: "shortcutRecorder"
                            recorder: view.recorder
                        }
                        PrefButton {
                            objectName: "resetShortcutButton"
                            text: "Reset"
                            visible: !view.recorder.isAtDefault
                            font.pixelSize: 11
                            leftPadding: 10
                            rightPadding: 10
                            topPadding: 2
                            bottomPadding: 2
                            onClicked: view.recorder.reset()
                        }
                    }
                    Caption {
                        Layout.fillWidth: true
                        text: "Requires at least one modifier key (Ctrl, Alt, Shift, Super)."
                    }
                    ShortcutCommandNote {
                        Layout.fillWidth: true
                        session: view.session
                    }
                    Caption {
                        objectName: "shortcutProblem"
                        Layout.fillWidth: true
                        visible: text.length > 0
                        text: view.recorder.problem
                        color: "#c62828"
                    }
                    DesktopShortcutCaption {
                        Layout.fillWidth: true
                        desktopShortcut: view.desktopShortcut
                    }
                }

                Divider {}

                RemotePastingRow {
                    Layout.fillWidth: true
                    remotePaste: view.remotePaste
                }

                // 2. The panel icon, and starting with the session.
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 8
                    SectionTitle {
                        text: "Panel"
                    }
                    SettingSwitch {
                        objectName: "showInMenuBarSwitch"
                        Layout.fillWidth: true
                        text: "Show icon in the panel's system tray"
                        checked: view.prefs.showInMenuBar
                        onToggled: view.prefs.showInMenuBar = checked
                    }
                    Caption {
                        Layout.fillWidth: true
                        text: "Open Cliphaven from your applications menu or use your shortcut to bring back the overlay."
                    }
                    Caption {
                        objectName: "noTrayNote"
                        Layout.fillWidth: true
                        visible: !view.model.trayAvailable
                        text: "This desktop has no system tray, so the icon cannot show. Preferences stay in the overlay's … menu."
                        color: "#c62828"
                    }
                    SettingSwitch {
                        objectName: "launchAtLoginSwitch"
                        Layout.fillWidth: true
                        text: "Launch at login"
                        checked: view.autostart.enabled
                        onToggled: {
                            view.autostart.enabled = checked
                            // A write that failed leaves the switch as it really is.
                            checked = Qt.binding(() => view.autostart.enabled)
                        }
                    }
                    Caption {
                        objectName: "notInstalledNote"
                        Layout.fillWidth: true
                        visible: !view.autostart.programInstalled
                        text: "Launching at login starts “cliphaven” from your PATH: install Cliphaven for it to work."
                    }
                }

                Divider {}

                // 3. Sounds.
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 8
                    SectionTitle {
                        text: "Sounds"
                    }
                    SettingSwitch {
                        objectName: "playSoundsSwitch"
                        Layout.fillWidth: true
                        text: "Play sound effects on copy and paste"
                        checked: view.prefs.playSounds
                        onToggled: view.prefs.playSounds = checked
                    }
                    Caption {
                        Layout.fillWidth: true
                        text: "A short tick when something new is copied, and a softer drop when you paste."
                    }
                }

                Divider {}

                // 4. The history.
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 8
                    SectionTitle {
                        text: "History"
                    }
                    SessionNotice {
                        objectName: "captureNotice"
                        Layout.fillWidth: true
                        visible: view.session !== null && !view.session.capturesClipboard
                        text: "Capturing needs the data-control protocol, which this desktop does not offer: copies are not recorded here."
                    }
                    RowLayout {
                        Layout.fillWidth: true
                        Label {
                            objectName: "historyCount"
                            text: view.model.historyCountText
                            color: view.secondaryText
                        }
                        Item {
                            Layout.fillWidth: true
                        }
                        PrefButton {
                            objectName: "eraseHistoryButton"
                            text: "Erase History…"
                            enabled: view.model.canEraseHistory
                            destructive: true
                            onClicked: eraseDialog.open()
                        }
                    }
                    Caption {
                        Layout.fillWidth: true
                        text: "Saved categories are not affected."
                    }
                    CaptureSwitches {
                        prefs: view.prefs
                    }
                }

                Divider {}

                // 5. Ignored applications.
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 8
                    RowLayout {
                        Layout.fillWidth: true
                        SectionTitle {
                            text: "Ignored Applications"
                        }
                        Item {
                            Layout.fillWidth: true
                        }
                        ToolButton {
                            objectName: "addIgnoredAppButton"
                            implicitWidth: 28
                            implicitHeight: 28
                            padding: 0
                            icon.source: "icons/add.svg"
                            icon.width: 18
                            icon.height: 18
                            icon.color: "transparent"
                            Accessible.name: "Add an application"
                            ToolTip.visible: hovered
                            ToolTip.text: "Add an application"
                            onClicked: chooserDialog.open()
                        }
                    }
                    Caption {
                        Layout.fillWidth: true
                        text: "Cliphaven will not capture clipboard activity while these apps are frontmost."
                    }
                    SessionNotice {
                        objectName: "ignoreListNotice"
                        Layout.fillWidth: true
                        visible: view.session !== null && !view.session.ignoreListApplies
                        text: "The ignore list cannot apply on this desktop: it does not tell Cliphaven which application is in front. Copies that password managers mark as secret are still skipped."
                    }
                    RowLayout {
                        objectName: "noIgnoredApps"
                        Layout.topMargin: 4
                        visible: view.ignoredApps.count === 0
                        spacing: 8
                        Image {
                            source: "icons/tray-placeholder.svg"
                            sourceSize: Qt.size(18, 18)
                            opacity: 0.8
                        }
                        Caption {
                            text: "No ignored apps"
                            opacity: 0.75
                        }
                    }
                    ColumnLayout {
                        objectName: "ignoredAppRows"
                        Layout.fillWidth: true
                        spacing: 6
                        Repeater {
                            model: view.ignoredApps
                            IgnoredAppRow {
                                onRemoveClicked: view.ignoredApps.remove(identifier)
                            }
                        }
                    }
                }

                Divider {}

                PasteKeystrokesSection {
                    keystrokes: view.pasteKeystrokes
                    chooser: view.chooser
                }

                Caption {
                    objectName: "aboutLine"
                    Layout.fillWidth: true
                    visible: view.session !== null
                    text: view.session ? view.session.aboutLine : ""
                }
            }
        }
    }

    EraseHistoryDialog {
        id: eraseDialog
        objectName: "eraseDialog"
        parent: T.Overlay.overlay
        model: view.model
    }

    ApplicationChooser {
        id: chooserDialog
        objectName: "chooserDialog"
        parent: T.Overlay.overlay
        chooser: view.chooser
    }
}
