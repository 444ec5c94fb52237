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

// The PNG with the width and height of its header rewritten (and the header's checksum fixed),
// so that only the size is a lie.
inline QByteArray pngClaimingSize(QByteArray png, quint32 width, quint32 height)
{
    // Signature (8), chunk length (4), "IHDR" (4), then width and height, then 5 bytes, CRC.
    const auto put = [&png](int at, quint32 value) {
        for (int i = 0; i < 4; ++i)
            png[at + i] = char(value >> (24 - 8 * i));
    };
    put(16, width);
    put(20, height);
    quint32 crc = 0xffffffffu;
    for (const char byte : png.mid(12, 17)) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    put(29, ~crc);
    return png;
}
