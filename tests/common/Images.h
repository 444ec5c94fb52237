#pragma once

#include <QBuffer>
#include <QColor>
#include <QImage>

// Encodes an image in a format Qt writes (PNG unless told otherwise).
inline QByteArray encodeImage(const QImage &image, const char *format = "PNG")
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, format))
        qFatal("could not encode a test image as %s", format);
    return bytes;
}

// A small picture with one odd pixel, so a decoded copy can be compared exactly.
inline QImage testImage(QSize size = QSize(40, 30))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkMagenta);
    image.setPixel(3, 2, qRgb(1, 200, 3));
    return image;
}

inline QByteArray solidImage(QColor colour, QSize size, const char *format = "PNG")
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return encodeImage(image, format);
}
