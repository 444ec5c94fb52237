import QtQuick
import QtTest
import Cliphaven.Overlay

Item {
    id: root
    width: 240
    height: 400

    Sidebar {
        id: sidebar
        anchors.fill: parent
        controller: fixture.sidebar
    }

    TestCase {
        name: "Sidebar"
        when: windowShown

        // slot 1 is History, 2 the first category.
        function row(slot) {
            const list = sidebar.list
            return slot === 1 ? list.headerItem.children[0] : list.itemAtIndex(slot - 2)
        }

        function field() {
            return findChild(sidebar, "renameField")
        }

        function type(text) {
            for (const c of text)
                keyClick(c)
        }

        function init() {
            fixture.reset(3)
            for (const name of ["Work", "Home", "Links"])
                fixture.addCategory(name)
            waitForRendering(sidebar)
        }

        function test_endingANewName_data() {
            return [
                { tag: "Return commits", key: Qt.Key_Return, names: ["Work", "Home", "Links", "Pins"] },
                { tag: "Escape cancels", key: Qt.Key_Escape, names: ["Work", "Home", "Links", "New Category"] },
            ]
        }
        function test_endingANewName(data) {
            mouseClick(findChild(sidebar, "newCategoryButton"))
            tryVerify(() => field() && field().activeFocus, 2000)
            compare(field().selectedText, "New Category")
            verify(row(5).selected)
            compare(row(5).keyHint, "")
            type("Pins")
            keyClick(data.key)
            compare(fixture.categoryNames(), data.names)
            tryVerify(() => field() === null, 2000)
            compare(row(5).keyHint, "Ctrl+5")
            verify(!fixture.sidebar.renamingId)
        }

        function test_clickElsewhereCommitsAndStillActs() {
            mouseClick(row(3))
            verify(row(3).selected)
            mouseClick(row(3), 20, 10, Qt.RightButton)
            const menu = findChild(sidebar, "sidebarMenu")
            tryCompare(menu, "opened", true)
            verify(fixture.sidebar.menuOpen)
            // Laid out once it has rendered.
            tryVerify(() => menu.height > 20, 2000)
            mouseClick(findChild(menu, "renameEntry"))
            tryVerify(() => field() && field().activeFocus, 2000)
            compare(field().selectedText, "Home")
            type("House")
            mouseClick(row(1))
            compare(fixture.categoryNames(), ["Work", "House", "Links"])
            verify(row(1).selected)
            verify(!fixture.sidebar.menuOpen)
        }

        function test_tilesDropOntoARow() {
            const target = row(3)
            fixture.dragEnter(target, 30, 10, fixture.controller.dragPayload(1))
            verify(target.dropTargeted)
            verify(fixture.drop(target, 30, 10))
            verify(!target.dropTargeted)
            tryVerify(() => String(fixture.categoryTexts(1)) === "1", 2000)
        }

        function test_aRowDropsOntoAnother() {
            const payload = fixture.sidebar.dragPayload(row(4).categoryId)
            fixture.dragEnter(row(2), 30, 10, payload)
            verify(fixture.drop(row(2), 30, 10))
            tryVerify(() => String(fixture.categoryNames()) === "Links,Work,Home", 2000)
            tryVerify(() => row(2).name === "Links", 2000)
            compare(row(2).keyHint, "Ctrl+2")
        }
    }
}
