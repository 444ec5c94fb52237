#pragma once

#include <QByteArray>
#include <QImage>

#include <QList>
#include <QRect>
#include <QSize>

#include <memory>

// The most pixels handed to the recogniser: a 4K screenshot passes unscaled; larger images are
// shrunk, since the recogniser's memory grows with the area (about 130 MB at 4096 x 4096).
inline constexpr qint64 kRecognitionMaxPixels = 3840 * 2160;
// The longest edge handed to the recogniser, for very long and narrow images.
inline constexpr int kRecognitionMaxSide = 8192;
// Larger images are refused outright: decoding alone would take too long.
inline constexpr qint64 kRecognitionMaxSourcePixels = 400'000'000;

// Images up to this many pixels, screens up to 1920 x 1200, are recognised whole.
inline constexpr qint64 kRecognitionWholePixels = 1920 * 1200;
// Larger ones are recognised in horizontal bands of about this many pixels: the recogniser's
// working memory grows with the area it is given (about 10 bytes a pixel, more for noisy
// pictures), and a band keeps the text at full size where shrinking the image would blur small
// print. Bands are smaller than a screen because a picture this large is already large in
// memory: a 40 MB PNG and its bands stay within twice its size.
inline constexpr qint64 kRecognitionBandPixels = 1920 * 600;
// Bands overlap by this many rows, more than a line of screen text is tall, so that every line
// lies whole in the band that owns its middle.
inline constexpr int kRecognitionBandOverlap = 96;

struct RecognitionBand
{
    QRect area; // handed to the recogniser
    int ownTop; // lines whose middle lies in [ownTop, ownBottom) belong to this band
    int ownBottom;
};

// The bands an image of `size` is recognised in, top to bottom; one band for an image of up to
// wholePixels. The owned ranges cover every row exactly once.
QList<RecognitionBand> recognitionBands(QSize size,
                                        qint64 maxBandPixels = kRecognitionBandPixels,
                                        int overlap = kRecognitionBandOverlap,
                                        qint64 wholePixels = kRecognitionWholePixels);

// The size an image of `source` size is recognised at: the same, or scaled down with its
// aspect kept to fit both limits.
QSize recognitionSize(QSize source,
                      qint64 maxPixels = kRecognitionMaxPixels,
                      int maxSide = kRecognitionMaxSide);

// Hands out an image's pixels for text recognition: 8-bit grey at recognitionSize(),
// transparency composited onto white, one band of recognitionBands() at a time. A PNG is decoded
// row by row as the bands are asked for, each pixel the mean of those it covers, so neither the
// image at full size nor the whole grey image ever stands in memory: only the rows of one band.
// Other formats (and interlaced PNGs, whose rows complete only in the last pass) are decoded
// whole and handed out in the same bands. Safe on any thread.
class RecognitionBandReader
{
public:
    explicit RecognitionBandReader(const QByteArray &data,
                                   qint64 maxBandPixels = kRecognitionBandPixels,
                                   int overlap = kRecognitionBandOverlap,
                                   qint64 wholePixels = kRecognitionWholePixels);
    ~RecognitionBandReader();
    RecognitionBandReader(const RecognitionBandReader &) = delete;
    RecognitionBandReader &operator=(const RecognitionBandReader &) = delete;

    // The size the image is recognised at; empty when the bytes are not an image or exceed the
    // limits.
    QSize size() const { return m_size; }
    // The next band, and its pixels (8-bit grey, exactly the band's area), which stay valid
    // until the next call. False after the last band, or once the image fails to decode.
    bool next(RecognitionBand &band, QImage &pixels);
    // Whether the image broke off before its last row.
    bool failed() const { return m_failed; }

private:
    struct PngRows;

    QByteArray m_data;
    std::unique_ptr<PngRows> m_png;
    QImage m_whole;
    QSize m_size;
    QList<RecognitionBand> m_bands;
    qsizetype m_nextBand = 0;
    bool m_failed = false;
    // Rows [m_bufferTop, m_decodedRows) of the grey image, from the first line of m_buffer.
    QImage m_buffer;
    int m_bufferTop = 0;
    int m_decodedRows = 0;
};
