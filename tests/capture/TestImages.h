#pragma once

#include "PngRows.h"
#include "common/Images.h"

#include <QFont>
#include <QImage>
#include <QPainter>
#include <QStringList>

// Black lines of text on white, one line per entry, in a font every test machine has.
inline QImage renderLines(const QStringList &lines, int pixelSize, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    painter.setPen(Qt::black);
    int baseline = pixelSize * 2;
    for (const QString &line : lines) {
        painter.drawText(pixelSize, baseline, line);
        baseline += pixelSize * 2;
    }
    return image;
}

// A grey PNG `scale` times the size of `small`, written row by row (nearest neighbour), so a
// 10000 x 10000 test image never exists uncompressed.
inline QByteArray upscaledGreyPng(const QImage &small, int scale)
{
    const QImage grey = small.convertToFormat(QImage::Format_Grayscale8);
    return writePngRows(grey.width() * scale,
                        grey.height() * scale,
                        PNG_COLOR_TYPE_GRAY,
                        false,
                        [&](int y, png_bytep row) {
                            const uchar *source = grey.constScanLine(y / scale);
                            for (int x = 0; x < grey.width() * scale; ++x)
                                row[x] = source[x / scale];
                        });
}
