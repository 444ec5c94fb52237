import QtQuick
import QtTest
import Cliphaven.Overlay

Item {
    id: root
    width: 1000
    height: 600

    ItemGrid {
        id: grid
        anchors.fill: parent
        controller: fixture.controller
    }

    TestCase {
        name: "ItemGrid"
        when: windowShown

        // Five columns 182.4 wide, 14 apart, inside 16 of padding; rows 164 apart.
        readonly property real tileWidth: (root.width - 32 - 4 * 14) / 5

        function tileCentre(index) {
            const column = index % 5
            const row = Math.floor(index / 5)
            return Qt.point(16 + column * (tileWidth + 14) + tileWidth / 2,
                            16 + row * 164 + 75)
        }

        function clickTile(index, modifiers, button) {
            const p = tileCentre(index)
            mouseClick(grid, p.x, p.y, button || Qt.LeftButton, modifiers || Qt.NoModifier)
        }

        function init() {
            fixture.reset(12)
            waitForRendering(grid)
        }

        function test_plainClickPicksWithoutSelecting() {
            clickTile(3)
            compare(fixture.picked(), ["3"])
            compare(fixture.selectedIndexes(), [])
        }

        function test_modifierClicksSelect() {
            clickTile(7, Qt.ControlModifier)
            compare(fixture.selectedIndexes(), [7])
            compare(fixture.anchor(), 7)
            clickTile(2, Qt.ControlModifier)
            compare(fixture.selectedIndexes(), [2, 7])
            clickTile(7, Qt.ControlModifier)
            compare(fixture.selectedIndexes(), [2])
            compare(fixture.anchor(), 7)
            // Shift extends from the anchor, which moves with it.
            clickTile(5, Qt.ShiftModifier)
            compare(fixture.selectedIndexes(), [5, 6, 7])
            clickTile(3, Qt.ShiftModifier)
            compare(fixture.selectedIndexes(), [3, 4, 5])
            compare(fixture.picked(), [])
        }

        // The Menu key's menu opens over the tile and acts on it; the tile is marked meanwhile.
        function test_menuFromTheKeyboard() {
            fixture.requestMenu(2)
            const menu = findChild(grid, "tileMenu")
            tryCompare(menu, "opened", true)
            const ring = findChild(grid.view.itemAtIndex(2), "currentRing")
            verify(ring.visible)
            const face = findChild(grid.view.itemAtIndex(2), "tileFace")
            const topLeft = face.mapToItem(grid, 0, 0)
            verify(menu.x >= topLeft.x && menu.x <= topLeft.x + face.width)
            verify(menu.y >= topLeft.y && menu.y <= topLeft.y + face.height)
            menu.itemAt(0).triggered()
            tryCompare(menu, "opened", false)
            compare(grid.view.count, 11)
        }

        function test_rubberBandSelectsTheTilesItCrosses() {
            // From the gap left of the second column, in the top padding, to the middle of
            // tile 6: only the second column's first two tiles are touched.
            const startX = 16 + tileWidth + 7
            const end = tileCentre(6)
            const marquee = findChild(grid, "marquee")
            mousePress(grid, startX, 8)
            mouseMove(grid, startX + 20, 60)
            mouseMove(grid, end.x, end.y)
            verify(marquee.visible)
            compare(fixture.selectedIndexes(), [1, 6])
            mouseRelease(grid, end.x, end.y)
            verify(!marquee.visible)
            compare(fixture.selectedIndexes(), [1, 6])
            compare(fixture.picked(), [])
        }

        function test_rightClickOpensTheTilesMenu() {
            clickTile(2, Qt.NoModifier, Qt.RightButton)
            const menu = findChild(grid, "tileMenu")
            tryCompare(menu, "opened", true)
            verify(fixture.controller.menuOpen)
            compare(menu.tileIndex, 2)
            // No categories: the delete entry alone.
            compare(menu.count, 1)
            compare(menu.itemAt(0).text, "Delete")
            menu.itemAt(0).triggered()
            tryCompare(menu, "opened", false)
            verify(!fixture.controller.menuOpen)
            compare(grid.view.count, 11)
            compare(fixture.picked(), [])

            // With a category, on a selection: its entries and the categories.
            fixture.addCategory("Work")
            clickTile(1, Qt.ControlModifier)
            clickTile(3, Qt.ControlModifier)
            clickTile(3, Qt.NoModifier, Qt.RightButton)
            tryCompare(menu, "opened", true)
            compare(menu.count, 3)
            compare(menu.itemAt(0).text, "Add Selection to Category")
            compare(menu.itemAt(2).text, "Delete Selection")
            compare(menu.itemAt(0).subMenu.count, 1)
            compare(menu.itemAt(0).subMenu.itemAt(0).text, "Work")
            menu.close()
            tryCompare(menu, "opened", false)
        }
    }
}
