#pragma once

#include <QImage>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

// A soft shadow drawn around the item's own rectangle, which stands for the rounded shape that
// casts it. The shadow comes from an image blurred once in C++ and laid out as eight border
// patches; the inside is left out, so a translucent shape above it stays clear. No shader is
// involved, so it draws the same on the software scene graph.
class SoftShadow : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Style style READ style WRITE setStyle NOTIFY styleChanged)

public:
    enum Style {
        // Under the overlay card: a blue glow, a wide blue haze and a dark drop shadow.
        Card,
        // Around a selected tile: a glow in the accent colour.
        TileGlow,
    };
    Q_ENUM(Style)

    // How an image is laid out: the shape sits at margin from every edge, and each side's
    // border (in pixels of the image) is copied unstretched at the corners.
    struct Geometry
    {
        int margin;
        int border;
    };

    explicit SoftShadow(QQuickItem *parent = nullptr);

    Style style() const { return m_style; }
    void setStyle(Style style);

    static Geometry geometry(Style style);
    // Rendered on first use and kept for the process; safe from any thread.
    static const QImage &image(Style style);
    // The accent colour of selections, shared with the views.
    static QColor accentColor();

signals:
    void styleChanged();

protected:
    QSGNode *updatePaintNode(QSGNode *oldNode, UpdatePaintNodeData *data) override;
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;

private:
    Style m_style = Card;
    bool m_styleChanged = true;
};
