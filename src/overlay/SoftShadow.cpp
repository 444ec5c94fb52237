#include "SoftShadow.h"

#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>
#include <QSGImageNode>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

struct ShadowLayer
{
    QColor color;
    double radius; // blur radius; the Gaussian's sigma is half of it
    double offsetY;
};

struct ShapeSpec
{
    double cornerRadius;
    std::vector<ShadowLayer> layers;
};

constexpr double kCardCorner = 22;
constexpr double kTileCorner = 12;

ShapeSpec shapeSpec(SoftShadow::Style style)
{
    if (style == SoftShadow::Card) {
        return {kCardCorner,
                {{QColor::fromRgbF(0.3f, 0.55f, 1.0f, 0.18f), 22, 0},
                 {QColor::fromRgbF(0.2f, 0.45f, 1.0f, 0.10f), 50, 8},
                 {QColor::fromRgbF(0.0f, 0.0f, 0.0f, 0.18f), 28, 14}}};
    }
    QColor glow = SoftShadow::accentColor();
    glow.setAlphaF(0.55f);
    return {kTileCorner, {{glow, 14, 0}}};
}

// Three box blurs in a row come within a few percent of a Gaussian.
void boxBlurLine(const float *in, float *out, int count, int stride, int radius)
{
    const float scale = 1.0f / float(2 * radius + 1);
    float sum = 0;
    for (int i = -radius; i <= radius; ++i)
        sum += in[std::clamp(i, 0, count - 1) * stride];
    for (int i = 0; i < count; ++i) {
        out[i * stride] = sum * scale;
        sum += in[std::min(i + radius + 1, count - 1) * stride];
        sum -= in[std::max(i - radius, 0) * stride];
    }
}

void gaussianBlur(std::vector<float> &plane, int size, double sigma)
{
    // Box sizes for three passes that add up to the Gaussian's variance.
    const double ideal = std::sqrt(12.0 * sigma * sigma / 3.0 + 1.0);
    const int radius = std::max(0, int(std::round((ideal - 1.0) / 2.0)));
    std::vector<float> scratch(plane.size());
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < size; ++y)
            boxBlurLine(&plane[y * size], &scratch[y * size], size, 1, radius);
        for (int x = 0; x < size; ++x)
            boxBlurLine(&scratch[x], &plane[x], size, size, radius);
    }
}

QImage shapeMask(int size, const QRectF &shape, double corner)
{
    QImage mask(size, size, QImage::Format_Alpha8);
    mask.fill(0);
    QPainter painter(&mask);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::black);
    painter.drawRoundedRect(shape, corner, corner);
    return mask;
}

QImage renderShadow(SoftShadow::Style style)
{
    const ShapeSpec spec = shapeSpec(style);
    const SoftShadow::Geometry geometry = SoftShadow::geometry(style);
    // The shape's straight middle part must lie beyond the reach of the corners and the blur,
    // so the stretched border patches repeat a uniform profile.
    const int inner = 2 * (geometry.border - geometry.margin) + 2;
    const int size = inner + 2 * geometry.margin;
    const QRectF shape(geometry.margin, geometry.margin, inner, inner);

    std::vector<float> red(size * size), green(size * size), blue(size * size), alpha(size * size);
    for (const ShadowLayer &layer : spec.layers) {
        const QImage mask = shapeMask(size, shape.translated(0, layer.offsetY), spec.cornerRadius);
        std::vector<float> plane(size * size);
        for (int y = 0; y < size; ++y) {
            const uchar *line = mask.constScanLine(y);
            for (int x = 0; x < size; ++x)
                plane[y * size + x] = line[x] / 255.0f;
        }
        gaussianBlur(plane, size, layer.radius / 2.0);
        // Each layer goes over the ones before it (premultiplied "over").
        const float a = layer.color.alphaF();
        for (int i = 0; i < size * size; ++i) {
            const float coverage = plane[i] * a;
            red[i] = layer.color.redF() * coverage + red[i] * (1 - coverage);
            green[i] = layer.color.greenF() * coverage + green[i] * (1 - coverage);
            blue[i] = layer.color.blueF() * coverage + blue[i] * (1 - coverage);
            alpha[i] = coverage + alpha[i] * (1 - coverage);
        }
    }

    // Leave the shape itself clear.
    const QImage hole = shapeMask(size, shape, spec.cornerRadius);
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < size; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        const uchar *holeLine = hole.constScanLine(y);
        for (int x = 0; x < size; ++x) {
            const int i = y * size + x;
            const float keep = 1.0f - holeLine[x] / 255.0f;
            auto channel = [keep](float v) {
                return std::clamp(int(v * keep * 255.0f + 0.5f), 0, 255);
            };
            line[x] = qRgba(channel(red[i]), channel(green[i]), channel(blue[i]), channel(alpha[i]));
        }
    }
    return image;
}

} // namespace

SoftShadow::SoftShadow(QQuickItem *parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
}

void SoftShadow::setStyle(Style style)
{
    if (m_style == style)
        return;
    m_style = style;
    m_styleChanged = true;
    update();
    emit styleChanged();
}

SoftShadow::Geometry SoftShadow::geometry(Style style)
{
    // Margin: the reach of the widest blur plus its offset. Border: the margin plus the corner
    // and that reach again, inside the shape.
    if (style == Card)
        return {100, 100 + 112};
    return {24, 24 + 34};
}

const QImage &SoftShadow::image(Style style)
{
    static const QImage card = renderShadow(Card);
    static const QImage tile = renderShadow(TileGlow);
    return style == Card ? card : tile;
}

QColor SoftShadow::accentColor()
{
    return QColor::fromRgb(0x3d, 0x8b, 0xff);
}

void SoftShadow::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size())
        update();
}

QSGNode *SoftShadow::updatePaintNode(QSGNode *oldNode, UpdatePaintNodeData *)
{
    const Geometry g = geometry(m_style);
    const double w = width();
    const double h = height();
    // Too small to hold the unstretched corners: draw nothing rather than overlap them.
    if (w < 2 * (g.border - g.margin) || h < 2 * (g.border - g.margin)) {
        delete oldNode;
        return nullptr;
    }

    QSGNode *root = oldNode;
    if (!root || m_styleChanged) {
        delete root;
        root = new QSGNode;
        QSGTexture *texture = window()->createTextureFromImage(image(m_style));
        for (int i = 0; i < 8; ++i) {
            QSGImageNode *node = window()->createImageNode();
            node->setTexture(texture);
            // One node owns the shared texture and deletes it last.
            node->setOwnsTexture(i == 7);
            node->setFiltering(QSGTexture::Linear);
            root->appendChildNode(node);
        }
        m_styleChanged = false;
    }

    const double s = image(m_style).width();
    const double b = g.border;
    const double m = g.margin;
    const double mid = s - 2 * b;
    // Source rectangles in the image and target rectangles around the item, clockwise from
    // the top-left corner.
    const QRectF sources[8] = {{0, 0, b, b},
                               {b, 0, mid, b},
                               {s - b, 0, b, b},
                               {s - b, b, b, mid},
                               {s - b, s - b, b, b},
                               {b, s - b, mid, b},
                               {0, s - b, b, b},
                               {0, b, b, mid}};
    const double innerW = w + 2 * m - 2 * b;
    const double innerH = h + 2 * m - 2 * b;
    const QRectF targets[8] = {{-m, -m, b, b},
                               {b - m, -m, innerW, b},
                               {w + m - b, -m, b, b},
                               {w + m - b, b - m, b, innerH},
                               {w + m - b, h + m - b, b, b},
                               {b - m, h + m - b, innerW, b},
                               {-m, h + m - b, b, b},
                               {-m, b - m, b, innerH}};
    int i = 0;
    for (QSGNode *child = root->firstChild(); child; child = child->nextSibling(), ++i) {
        auto *node = static_cast<QSGImageNode *>(child);
        node->setSourceRect(sources[i]);
        node->setRect(targets[i]);
    }
    return root;
}
