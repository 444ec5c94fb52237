#include "GridGeometry.h"

#include <algorithm>
#include <cmath>

namespace GridGeometry {

int columnsForWidth(double width)
{
    const double fitting = std::floor((width - 2 * kPadding + kSpacing)
                                      / (kMinTileWidth + kSpacing));
    return std::max(1, static_cast<int>(fitting));
}

double tileWidth(double width, int columns)
{
    columns = std::max(columns, 1);
    const double inner = width - 2 * kPadding - (columns - 1) * kSpacing;
    return std::max(inner / columns, 10.0);
}

QRectF tileFrame(int index, double width)
{
    const int columns = columnsForWidth(width);
    const double tile = tileWidth(width, columns);
    const int row = index / columns;
    const int column = index % columns;
    return QRectF(kPadding + column * (tile + kSpacing),
                  kPadding + row * (kTileHeight + kSpacing),
                  tile,
                  kTileHeight);
}

double contentHeight(int count, double width)
{
    if (count <= 0)
        return 2 * kPadding;
    const int columns = columnsForWidth(width);
    const int rows = (count + columns - 1) / columns;
    return 2 * kPadding + rows * kTileHeight + (rows - 1) * kSpacing;
}

std::optional<double> scrollOffsetToReveal(const QRectF &frame,
                                           double scrollOffset,
                                           double viewportHeight,
                                           double contentHeight)
{
    const bool clearOfTop = frame.top() >= scrollOffset + kComfortMargin;
    const bool clearOfBottom = frame.bottom() <= scrollOffset + viewportHeight - kComfortMargin;
    if (clearOfTop && clearOfBottom)
        return std::nullopt;
    // Align the point at this fraction of the tile with the same fraction of the viewport. A
    // tile crowding the top edge goes near the top, so it never jumps to the far side.
    const double fraction = clearOfTop ? 0.88 : 0.12;
    const double target = frame.top() + fraction * (frame.height() - viewportHeight);
    const double maxOffset = std::max(0.0, contentHeight - viewportHeight);
    const double clamped = std::clamp(target, 0.0, maxOffset);
    if (clamped == scrollOffset)
        return std::nullopt;
    return clamped;
}

} // namespace GridGeometry
