import QtQuick
import QtTest
import Cliphaven.Preferences

// The view lives in this item: a TestCase itself is never visible.
Item {
    id: root

    width: 460
    height: 560

TestCase {
    id: testCase

    name: "PreferencesView"
    when: windowShown

    Component {
        id: viewComponent
        PreferencesView {
            width: 460
            height: 560
            prefs: testPrefs
            model: testModel
            recorder: testRecorder
            ignoredApps: testIgnoredApps
            chooser: testChooser
            pasteKeystrokes: testPasteKeystrokes
            autostart: testAutostart
        }
    }

    function createView() {
        testHelper.reset()
        const view = createTemporaryObject(viewComponent, root)
        verify(view)
        return view
    }

    // Every text shown in the item's tree.
    function texts(item) {
        let found = []
        if (item.text !== undefined && item.visible)
            found.push(item.text)
        for (let i = 0; i < item.children.length; ++i)
            found = found.concat(texts(item.children[i]))
        return found
    }

    function rowFor(rows, identifier) {
        for (let i = 0; i < rows.children.length; ++i) {
            if (rows.children[i].identifier === identifier)
                return rows.children[i]
        }
        fail("no row for " + identifier)
    }

    function test_recorderRecordsACombination() {
        const view = createView()
        const field = findChild(view, "shortcutRecorder")
        const reset = findChild(view, "resetShortcutButton")
        mouseClick(field)
        verify(testRecorder.recording)
        compare(findChild(field, "shortcutPlaceholder").text, "Type shortcut…")
        // A key without a modifier is refused, and the problem is shown.
        keyClick(Qt.Key_B)
        verify(testRecorder.recording)
        const problem = findChild(view, "shortcutProblem")
        verify(problem.visible)
        keyPress(Qt.Key_Control)
        compare(testRecorder.heldModifiers, ["Ctrl"])
        keyClick(Qt.Key_B, Qt.ControlModifier | Qt.AltModifier)
        keyRelease(Qt.Key_Control)
        verify(!testRecorder.recording)
        compare(testRecorder.displayText, "Ctrl+Alt+B")
        verify(texts(field).indexOf("Alt") >= 0)
        verify(reset.visible)

        mouseClick(reset)
        compare(testRecorder.displayText, "Shift+Super+V")
        verify(!reset.visible)
    }

    function test_switchesChangeTheSettings_data() {
        return [
            { tag: "transient copies", name: "forgetTransientCopiesSwitch", property: "forgetTransientCopies" },
            { tag: "selected text", name: "recordSelectionSwitch", property: "recordPrimarySelection" },
        ]
    }

    function test_switchesChangeTheSettings(data) {
        const view = createView()
        const toggle = scrolledTo(view, data.name)
        const before = testPrefs[data.property]
        compare(toggle.checked, before)
        mouseClick(toggle)
        compare(testPrefs[data.property], !before)
    }

    // Taking the focus elsewhere ends a recording. The launch-at-login entry finds the program
    // it starts, and is written and removed by the switch.
    function test_launchAtLoginEndsRecording() {
        const view = createView()
        verify(!findChild(view, "notInstalledNote").visible)
        mouseClick(findChild(view, "shortcutRecorder"))
        verify(testRecorder.recording)
        mouseClick(findChild(view, "launchAtLoginSwitch"))
        verify(!testRecorder.recording)
        verify(testAutostart.enabled)
        verify(testHelper.autostartFileExists())
        mouseClick(findChild(view, "launchAtLoginSwitch"))
        verify(!testHelper.autostartFileExists())
    }

    function test_eraseAsksFirst_data() {
        return [
            { tag: "cancel keeps the history", button: "eraseCancelButton", clips: 1, left: 1,
              count: "1 item stored",
              informative: "All 1 item in History will be removed. Saved categories are kept. This can't be undone." },
            { tag: "erase empties it", button: "eraseConfirmButton", clips: 3, left: 0,
              count: "0 items stored",
              informative: "All 3 items in History will be removed. Saved categories are kept. This can't be undone." },
        ]
    }

    function test_eraseAsksFirst(data) {
        const view = createView()
        testHelper.addClips(data.clips)
        mouseClick(findChild(view, "eraseHistoryButton"))
        const dialog = findChild(view, "eraseDialog")
        tryCompare(dialog, "opened", true)
        compare(testHelper.historyCount(), data.clips)
        const shown = texts(dialog.contentItem)
        verify(shown.indexOf("Erase clipboard history?") >= 0)
        verify(shown.indexOf(data.informative) >= 0)

        mouseClick(findChild(dialog.footer, data.button))
        tryCompare(dialog, "visible", false)
        compare(testHelper.historyCount(), data.left)
        // The count follows, and with nothing left there is nothing to erase.
        compare(findChild(view, "historyCount").text, data.count)
        compare(findChild(view, "eraseHistoryButton").enabled, data.left > 0)
    }

    // Scrolls the view so that the item is on screen, as a user would, and returns it.
    function scrolledTo(view, name) {
        const item = findChild(view, name)
        const flickable = findChild(view, "preferencesScroll").contentItem
        tryVerify(() => item.width > 0)
        const y = item.mapToItem(flickable.contentItem, 0, 0).y
        flickable.contentY = Math.max(0, Math.min(y - 40, flickable.contentHeight - flickable.height))
        return item
    }

    function test_addingThroughTheChooser() {
        const view = createView()
        mouseClick(scrolledTo(view, "addIgnoredAppButton"))
        const dialog = findChild(view, "chooserDialog")
        tryCompare(dialog, "opened", true)
        const list = findChild(dialog.contentItem, "chooserList")
        // The open window first, then the installed applications.
        tryCompare(list, "count", 3)
        const ignore = findChild(dialog.footer, "chooserIgnoreButton")
        verify(!ignore.enabled)

        keyClick(Qt.Key_X)
        keyClick(Qt.Key_T)
        tryCompare(list, "count", 1)
        verify(ignore.enabled)
        mouseClick(ignore)
        tryCompare(dialog, "visible", false)
        compare(testPrefs.ignoredApps, ["xterm"])

        // What is ignored is no longer offered.
        mouseClick(scrolledTo(view, "addIgnoredAppButton"))
        tryCompare(dialog, "opened", true)
        tryCompare(list, "count", 2)
        keyClick(Qt.Key_Escape)
        tryCompare(dialog, "visible", false)
    }

    function test_pasteKeystrokePerApplication() {
        const view = createView()
        mouseClick(scrolledTo(view, "addPasteKeystrokeButton"))
        const dialog = findChild(view, "pasteKeystrokeChooser")
        tryCompare(dialog, "opened", true)
        const list = findChild(dialog.contentItem, "chooserList")
        keyClick(Qt.Key_X)
        keyClick(Qt.Key_T)
        tryCompare(list, "count", 1)
        mouseClick(findChild(dialog.footer, "chooserIgnoreButton"))
        tryCompare(dialog, "visible", false)
        // Added with the keystroke it gets already, and not ignored.
        compare(testPrefs.pasteKeystrokes, ["shift+insert xterm"])
        compare(testPrefs.ignoredApps.length, 0)

        const rows = findChild(view, "pasteKeystrokeRows")
        // The Repeater is a child too.
        tryCompare(rows.children, "length", 2)
        const choice = findChild(rowFor(rows, "xterm"), "pasteKeystrokeChoice")
        compare(choice.currentText, "Shift+Insert")
        choice.activated(1)
        compare(testPrefs.pasteKeystrokes, ["ctrl+shift+v xterm"])
        compare(choice.currentText, "Ctrl+Shift+V")

        mouseClick(scrolledTo(view, "removePasteKeystroke"))
        compare(testPrefs.pasteKeystrokes.length, 0)
    }

    // What the session lacks is said where it matters, and only there.
    function test_sessionNotes_data() {
        return [
            { tag: "X11: no notes", session: x11Session, notes: false },
            { tag: "bare Wayland: every note", session: bareWaylandSession, notes: true },
        ]
    }

    function test_sessionNotes(data) {
        const view = createView()
        view.session = data.session
        for (const name of ["toggleCommandField", "copyToggleCommandButton", "captureNotice",
                            "ignoreListNotice"]) {
            const item = findChild(view, name)
            verify(item, name)
            // The field and button sit in the note's row: visible only as far as the note is.
            compare(item.visible, data.notes, name)
        }
        compare(findChild(view, "aboutLine").text, data.session.aboutLine)
        verify(findChild(view, "aboutLine").text.startsWith("Cliphaven "))
    }

    function test_copyButtonCopiesTheExactCommand() {
        const view = createView()
        view.session = bareWaylandSession
        compare(findChild(view, "toggleCommandField").text, "cliphaven --toggle")
        const button = findChild(view, "copyToggleCommandButton")
        tryVerify(() => button.width > 0 && button.height > 0)
        waitForRendering(view)
        const before = testHelper.copiedTexts().length
        mouseClick(button)
        compare(testHelper.copiedTexts().length, before + 1)
        compare(testHelper.copiedTexts()[before], "cliphaven --toggle")
    }
}
}
