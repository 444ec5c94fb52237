import QtQuick

// What the desktop itself bound for the shortcut through its portal, which may differ from the
// one recorded above (the desktop keeps or lets the user pick its own trigger).
Caption {
    id: caption

    // The portal's hot-key service, or null where the shortcut is not the portal's.
    property QtObject desktopShortcut: null

    objectName: "desktopShortcut"
    visible: desktopShortcut !== null && desktopShortcut.boundTrigger.length > 0
    text: desktopShortcut ? "The desktop bound it to: " + desktopShortcut.boundTrigger : ""
}
