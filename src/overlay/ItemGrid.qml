import QtQuick
import Cliphaven.Overlay

// The scrolling grid of tiles. Positions handed to the controller are in grid space: content
// coordinates with the 16-pixel padding included, so the top of the first row is at 16.
Item {
    id: area

    required property GridController controller

    readonly property real padding: 16
    readonly property alias view: view
    readonly property int columns: controller.columnsForWidth(width)

    clip: true

    function scrollOffset() {
        return view.contentY + view.topMargin
    }

    function setScrollOffset(offset) {
        const max = Math.max(0, controller.contentHeight(view.width) - view.height)
        view.contentY = Math.max(0, Math.min(offset, max)) - view.topMargin
    }

    function toGridSpace(x, y) {
        return Qt.point(x, y + scrollOffset())
    }

    // Rows shown whole: how far Page Up and Page Down move.
    readonly property int pageRows: Math.max(1, Math.floor((height - padding) / view.cellHeight))
    onPageRowsChanged: controller.pageRows = pageRows
    onColumnsChanged: controller.updateColumns(width)
    onWidthChanged: setScrollOffset(scrollOffset())
    onHeightChanged: setScrollOffset(scrollOffset())
    Component.onCompleted: {
        controller.updateColumns(width)
        controller.pageRows = pageRows
    }

    function openMenu(index, position) {
        // Made on first use: the controls it needs cost memory most sessions never use.
        menu.active = true
        menu.item.openAt(index, area, position)
    }

    Connections {
        target: area.controller
        function onRevealRequested(index) {
            const target = area.controller.scrollOffsetToReveal(index, area.scrollOffset(),
                                                                view.height, view.width)
            if (target >= 0)
                area.setScrollOffset(target)
        }
        function onScrollToTopRequested() {
            area.setScrollOffset(0)
        }
        // From the keyboard: the menu opens over the tile, once it is in view.
        function onMenuRequested(index) {
            const target = area.controller.scrollOffsetToReveal(index, area.scrollOffset(),
                                                                view.height, view.width)
            if (target >= 0)
                area.setScrollOffset(target)
            const tile = view.itemAtIndex(index)
            if (!tile)
                return
            const face = tile.face
            area.openMenu(index, area.mapFromItem(face, face.width / 2, face.height / 2))
            // Opened from the keyboard: its first entry current, for the arrows and Return.
            menu.item.currentIndex = 0
        }
    }

    // The rubber band. It lies under the tiles, so it starts on the space between them; a
    // drag that starts on a tile drags the tile instead.
    MouseArea {
        id: band
        objectName: "rubberBand"

        property point start
        property point current
        property point pointer
        property bool active: false

        anchors.fill: parent
        acceptedButtons: Qt.LeftButton

        function track(x, y) {
            pointer = Qt.point(x, y)
            const p = area.toGridSpace(x, y)
            if (!active && Math.abs(p.x - start.x) < 4 && Math.abs(p.y - start.y) < 4)
                return
            active = true
            current = p
            area.controller.applyMarquee(start, current, view.width)
        }

        onPressed: (mouse) => {
            start = area.toGridSpace(mouse.x, mouse.y)
            current = start
            active = false
        }
        onPositionChanged: (mouse) => track(mouse.x, mouse.y)
        onReleased: active = false
        onCanceled: active = false

        // Near or past the top or bottom edge the grid scrolls on, and the band with it.
        Timer {
            interval: 16
            repeat: true
            running: band.active && (band.pointer.y < 24 || band.pointer.y > band.height - 24)
            onTriggered: {
                const y = band.pointer.y
                const step = y < 24 ? Math.max(-30, (y - 24) / 2) : Math.min(30, (y - band.height + 24) / 2)
                area.setScrollOffset(area.scrollOffset() + step)
                band.track(band.pointer.x, band.pointer.y)
            }
        }
    }

    GridView {
        id: view
        objectName: "gridView"
        anchors.fill: parent
        // Scrolled by the wheel only: a mouse drag draws the rubber band or drags a tile.
        interactive: false
        topMargin: area.padding
        // The last row's spacing already gives two of the padding's sixteen pixels.
        bottomMargin: area.padding - 14
        cellWidth: (width - 2 * area.padding + 14) / area.columns
        cellHeight: Theme.tileHeight + 14
        reuseItems: true
        cacheBuffer: 2 * cellHeight
        model: area.controller.model

        delegate: ItemTile {
            controller: area.controller
            onContextMenuRequested: (index, position) => area.openMenu(index, area.mapFromItem(null, position))
        }

        WheelHandler {
            target: null
            onWheel: (event) => {
                const dy = event.pixelDelta.y !== 0 ? event.pixelDelta.y : event.angleDelta.y / 120 * 96
                area.setScrollOffset(area.scrollOffset() - dy)
            }
        }

        onCountChanged: area.setScrollOffset(area.scrollOffset())
    }

    Rectangle {
        id: marquee
        objectName: "marquee"
        visible: band.active
        x: Math.min(band.start.x, band.current.x)
        y: Math.min(band.start.y, band.current.y) - view.contentY - view.topMargin
        width: Math.abs(band.current.x - band.start.x)
        height: Math.abs(band.current.y - band.start.y)
        radius: 4
        color: Theme.withAlpha(Theme.accent, 0.14)
        border.width: 1
        border.color: Theme.withAlpha(Theme.accent, 0.75)
    }

    // A slim scroll indicator that shows while the grid moves.
    Rectangle {
        id: indicator
        readonly property real ratio: view.visibleArea.heightRatio
        x: area.width - 7
        width: 4
        radius: 2
        y: 4 + view.visibleArea.yPosition * (area.height - 8)
        height: Math.max(24, ratio * (area.height - 8))
        color: Qt.rgba(1, 1, 1, 0.28)
        opacity: 0
        visible: ratio < 1

        Connections {
            target: view
            function onContentYChanged() {
                // Not for the hidden panel's reset: it would still be fading when the panel
                // opens, and the card drawn ahead of time with it.
                if (!area.Window.window || !area.Window.window.visible)
                    return
                indicator.opacity = 1
                fade.restart()
            }
        }
        Timer {
            id: fade
            interval: 900
            onTriggered: indicator.opacity = 0
        }
        Behavior on opacity {
            NumberAnimation { duration: 200 }
        }
    }

    Loader {
        id: menu
        active: false
        sourceComponent: TileMenu {
            controller: area.controller
        }
    }
}
