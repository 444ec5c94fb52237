#pragma once

#include <QByteArray>
#include <QImage>

// The longer edge of the image handed to the recogniser. Screenshots pass unscaled; larger
// images are shrunk so that recognising them costs bounded memory and time.
inline constexpr int kRecognitionMaxSide = 4096;
// Larger images are refused outright: decoding alone would take too long.
inline constexpr qint64 kRecognitionMaxSourcePixels = 400'000'000;

// Decodes encoded image bytes into an 8-bit grey image for text recognition: transparency
// composited onto white, scaled down (box filter) to fit maxSide on its longer edge. PNGs are
// decoded row by row straight into the smaller image, so a huge image never exists at full size
// in memory. Null when the bytes are not an image or exceed the limits. Safe on any thread.
QImage decodeForRecognition(const QByteArray &data, int maxSide = kRecognitionMaxSide);
