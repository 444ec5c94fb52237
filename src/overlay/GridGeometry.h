#pragma once

#include <QRectF>

#include <optional>

// Where the grid puts its tiles. Columns are flexible and share the width equally: tiles are at
// least kMinTileWidth wide, kSpacing apart, inside kPadding on every side. Frames are in content
// coordinates (origin at the top-left of the scrolling content, padding included).
namespace GridGeometry {

constexpr double kPadding = 16;
constexpr double kSpacing = 14;
constexpr double kMinTileWidth = 180;
constexpr double kTileHeight = 150;
// A tile closer than this to the viewport's edge counts as not comfortably visible.
constexpr double kComfortMargin = 16;

int columnsForWidth(double width);
double tileWidth(double width, int columns);
QRectF tileFrame(int index, double width);
// The height of the scrolling content for count tiles, padding included.
double contentHeight(int count, double width);

// The scroll offset that brings an anchored tile into view, or none when it is comfortably
// visible already. A tile above the viewport lands at 0.12 of its height, one below at 0.88,
// so a little context stays visible beyond it. The result is clamped to the content.
std::optional<double> scrollOffsetToReveal(const QRectF &frame,
                                           double scrollOffset,
                                           double viewportHeight,
                                           double contentHeight);

} // namespace GridGeometry
