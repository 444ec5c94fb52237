pragma Singleton
import QtQuick

// Colours and measures shared by the overlay's views.
QtObject {
    // The selection accent; SoftShadow draws the selected tile's glow in the same colour.
    readonly property color accent: "#3d8bff"
    // A dark stand-in for a blurred material (no shader). Opaque: without the blur, any
    // translucency shows the window behind as a ghost among the tiles.
    readonly property color material: Qt.rgba(0.102, 0.108, 0.128, 1)
    // The material under the sidebar's black at 18 %.
    readonly property color sidebarFill: over(Qt.rgba(0, 0, 0, 0.18), material)
    readonly property color textPrimary: Qt.rgba(1, 1, 1, 0.92)
    readonly property color textSecondary: Qt.rgba(1, 1, 1, 0.56)
    readonly property color textTertiary: Qt.rgba(1, 1, 1, 0.36)
    readonly property color hairline: Qt.rgba(1, 1, 1, 0.08)
    readonly property color cardOutline: Qt.rgba(1, 1, 1, 0.10)
    readonly property color destructive: "#ff6961"

    // Menus, alerts and the preview: raised a step above the card, with the same outline.
    readonly property color raised: Qt.rgba(0.165, 0.172, 0.2, 1)
    readonly property color raisedOutline: Qt.rgba(1, 1, 1, 0.14)
    // Keyboard focus: a ring in the accent colour around the focused control.
    readonly property color focusRing: withAlpha(accent, 0.9)

    // The type scale: captions, body text and controls, titles.
    readonly property string fontFamily: Qt.application.font.family
    readonly property string monospace: "monospace"
    readonly property real fontCaption: 11
    readonly property real fontBody: 13
    readonly property real fontTitle: 15

    readonly property real cardRadius: 22
    readonly property real menuRadius: 10
    readonly property real controlRadius: 7
    readonly property real tileRadius: 12
    readonly property real sidebarWidth: 240
    readonly property real tileHeight: 150

    function withAlpha(c, alpha) {
        return Qt.rgba(c.r, c.g, c.b, alpha)
    }

    // From a (t = 0) to b (t = 1), alpha included.
    function mix(a, b, t) {
        return Qt.rgba(a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t,
                       a.a + (b.a - a.a) * t)
    }

    // Source-over of two translucent colours.
    function over(top, bottom) {
        const a = top.a + bottom.a * (1 - top.a)
        if (a <= 0)
            return Qt.rgba(0, 0, 0, 0)
        const mix = (t, b) => (t * top.a + b * bottom.a * (1 - top.a)) / a
        return Qt.rgba(mix(top.r, bottom.r), mix(top.g, bottom.g), mix(top.b, bottom.b), a)
    }

    // The same easing curves as the window's own animations.
    readonly property var easeOut: [0, 0, 0.58, 1, 1, 1]
}
