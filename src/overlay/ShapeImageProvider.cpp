#include "ShapeImageProvider.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace {

enum Corner { TopLeft = 1, TopRight = 2, BottomRight = 4, BottomLeft = 8 };
enum Edge { Top = 1, Right = 2, Bottom = 4, Left = 8 };

QPainterPath roundedPath(const QRectF &r, double radius, int corners)
{
    const auto rounded = [&](int corner) { return (corners & corner) && radius > 0; };
    const double d = 2 * radius;
    QPainterPath path;
    path.moveTo(r.left() + (rounded(TopLeft) ? radius : 0), r.top());
    path.lineTo(r.right() - (rounded(TopRight) ? radius : 0), r.top());
    if (rounded(TopRight))
        path.arcTo(QRectF(r.right() - d, r.top(), d, d), 90, -90);
    path.lineTo(r.right(), r.bottom() - (rounded(BottomRight) ? radius : 0));
    if (rounded(BottomRight))
        path.arcTo(QRectF(r.right() - d, r.bottom() - d, d, d), 0, -90);
    path.lineTo(r.left() + (rounded(BottomLeft) ? radius : 0), r.bottom());
    if (rounded(BottomLeft))
        path.arcTo(QRectF(r.left(), r.bottom() - d, d, d), 270, -90);
    path.lineTo(r.left(), r.top() + (rounded(TopLeft) ? radius : 0));
    if (rounded(TopLeft))
        path.arcTo(QRectF(r.left(), r.top(), d, d), 180, -90);
    path.closeSubpath();
    return path;
}

std::optional<QColor> parseColor(const QString &hex)
{
    if (hex.size() != 6 && hex.size() != 8)
        return std::nullopt;
    const QColor color = QColor::fromString(QString(u'#' + hex));
    if (!color.isValid())
        return std::nullopt;
    return color;
}

} // namespace

ShapeImageProvider::ShapeImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{}

int ShapeImageProvider::inset(const Box &box)
{
    return box.radius + box.strokeWidth;
}

QImage ShapeImageProvider::render(const Box &box)
{
    const int border = inset(box);
    const int size = 2 * border + 2;
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);

    // An edge without a stroke is pushed out of the image, taking its stroke along.
    const double w = box.strokeWidth;
    const QRectF outer = QRectF(0, 0, size, size)
                             .adjusted(box.edges & Left ? 0 : -w - 1,
                                       box.edges & Top ? 0 : -w - 1,
                                       box.edges & Right ? 0 : w + 1,
                                       box.edges & Bottom ? 0 : w + 1);
    if (w > 0) {
        painter.setBrush(box.stroke);
        painter.drawPath(roundedPath(outer, box.radius, box.corners));
    }
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setBrush(box.fill);
    painter.drawPath(
        roundedPath(outer.adjusted(w, w, -w, -w), std::max(0.0, box.radius - w), box.corners));
    return image;
}

std::optional<ShapeImageProvider::Box> ShapeImageProvider::parse(const QString &id)
{
    const QStringList parts = id.split(u'/');
    if (parts.size() != 7 || parts[0] != u"rounded")
        return std::nullopt;
    bool ok[4] = {};
    Box box;
    box.radius = parts[1].toInt(&ok[0]);
    box.corners = parts[2].toInt(&ok[1]);
    box.edges = parts[3].toInt(&ok[2]);
    box.strokeWidth = parts[6].toInt(&ok[3]);
    const auto fill = parseColor(parts[4]);
    const auto stroke = parseColor(parts[5]);
    if (!ok[0] || !ok[1] || !ok[2] || !ok[3] || !fill || !stroke)
        return std::nullopt;
    // Shapes are a few dozen pixels; anything larger is a mistake, not a reason to allocate.
    if (box.radius < 0 || box.radius > 256 || box.strokeWidth < 0 || box.strokeWidth > 64
        || box.corners < 0 || box.corners > 15 || box.edges < 0 || box.edges > 15)
        return std::nullopt;
    box.fill = *fill;
    box.stroke = *stroke;
    return box;
}

QImage ShapeImageProvider::requestImage(const QString &id, QSize *size, const QSize &)
{
    const std::optional<Box> box = parse(id);
    const QImage image = box ? render(*box) : QImage();
    if (size)
        *size = image.size();
    return image;
}
