#pragma once

#include <QColor>
#include <QImage>
#include <QQuickImageProvider>

// Serves "image://shapes/rounded/<radius>/<corners>/<edges>/<fill>/<stroke>/<strokeWidth>": the
// smallest image of a rounded rectangle that a BorderImage can stretch to any size. Corners
// and edges are bit masks (corners: 1 top left, 2 top right, 4 bottom right, 8 bottom left;
// edges: 1 top, 2 right, 4 bottom, 8 left); an edge left out has no stroke and its corners stay
// square where no rounding is asked. Colours are hex without '#' (RRGGBB or AARRGGBB). As in a
// Qt Quick Rectangle, the stroke lies inside the shape and the fill inside the stroke.
//
// Every box is one tiny shared texture this way, where a Rectangle with a radius keeps a
// pixmap of its own full size on the software scene graph. Synchronous: the images are small,
// and a box that changes its look must not blink while a new image loads.
class ShapeImageProvider : public QQuickImageProvider
{
public:
    struct Box
    {
        int radius = 0;
        int corners = 15;
        int edges = 15;
        QColor fill = Qt::transparent;
        QColor stroke = Qt::transparent;
        int strokeWidth = 0;
    };

    ShapeImageProvider();

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    // The nine-part image of a box; its stretchable middle is the 2 x 2 pixels at the centre,
    // so a BorderImage's borders are all inset(box).
    static QImage render(const Box &box);
    static int inset(const Box &box);
    // Parses an id as above; none when it is malformed.
    static std::optional<Box> parse(const QString &id);
};
