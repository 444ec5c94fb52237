#pragma once

#include <QByteArray>
#include <QImage>

#include <QSize>

// The most pixels handed to the recogniser: a 4K screenshot passes unscaled; larger images are
// shrunk, since the recogniser's memory grows with the area (about 130 MB at 4096 x 4096).
inline constexpr qint64 kRecognitionMaxPixels = 3840 * 2160;
// The longest edge handed to the recogniser, for very long and narrow images.
inline constexpr int kRecognitionMaxSide = 8192;
// Larger images are refused outright: decoding alone would take too long.
inline constexpr qint64 kRecognitionMaxSourcePixels = 400'000'000;

// The size an image of `source` size is recognised at: the same, or scaled down with its
// aspect kept to fit both limits.
QSize recognitionSize(QSize source,
                      qint64 maxPixels = kRecognitionMaxPixels,
                      int maxSide = kRecognitionMaxSide);

// Decodes encoded image bytes into an 8-bit grey image of recognitionSize() for text
// recognition, transparency composited onto white. PNGs are decoded row by row straight into
// the smaller image (each pixel the mean of those it covers), so a huge image never exists at
// full size in memory. Null when the bytes are not an image or exceed the limits. Safe on any
// thread.
QImage decodeForRecognition(const QByteArray &data);
