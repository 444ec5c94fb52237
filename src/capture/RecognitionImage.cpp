#include "RecognitionImage.h"

#include <QBuffer>
#include <QImageReader>
#include <QPainter>

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace {

bool isPng(const QByteArray &data)
{
    static constexpr char kSignature[] = "\x89PNG\r\n\x1a\n";
    return data.startsWith(QByteArray::fromRawData(kSignature, 8));
}

// Luminance of an RGBA pixel seen on a white page.
inline uint greyOnWhite(const png_byte *rgba)
{
    const uint luma = (rgba[0] * 77u + rgba[1] * 150u + rgba[2] * 29u) >> 8;
    const uint alpha = rgba[3];
    return (luma * alpha + 255u * (255u - alpha) + 127u) / 255u;
}

// Averages full-size rows, as they arrive, into rows of recognitionSize(): each output pixel
// is the mean of the source pixels that fall into it.
class Downscaler
{
public:
    bool begin(png_uint_32 width, png_uint_32 height)
    {
        m_width = width;
        m_height = height;
        const QSize target = recognitionSize(QSize(int(width), int(height)));
        m_outWidth = png_uint_32(target.width());
        m_outHeight = png_uint_32(target.height());
        m_column.resize(width);
        m_columnsPerPixel.assign(m_outWidth, 0);
        for (png_uint_32 x = 0; x < width; ++x) {
            m_column[x] = png_uint_32(quint64(x) * m_outWidth / width);
            ++m_columnsPerPixel[m_column[x]];
        }
        m_sums.assign(m_outWidth, 0);
        m_row.resize(size_t(width) * 4);
        return true;
    }

    QSize outputSize() const { return QSize(int(m_outWidth), int(m_outHeight)); }
    png_bytep row() { return m_row.data(); }

    // Takes the next source row from row(); true when that completed an output row, which is
    // then written to out.
    bool addRow(uchar *out)
    {
        const png_uint_32 y = m_sourceRow++;
        const png_byte *pixel = m_row.data();
        for (png_uint_32 x = 0; x < m_width; ++x, pixel += 4)
            m_sums[m_column[x]] += greyOnWhite(pixel);
        ++m_rowsInPixel;
        if (y + 1 < m_height && outRow(y + 1) == outRow(y))
            return false;
        for (png_uint_32 ox = 0; ox < m_outWidth; ++ox) {
            out[ox] = uchar(m_sums[ox] / (quint64(m_columnsPerPixel[ox]) * m_rowsInPixel));
            m_sums[ox] = 0;
        }
        m_rowsInPixel = 0;
        return true;
    }

private:
    png_uint_32 outRow(png_uint_32 y) const
    {
        return png_uint_32(quint64(y) * m_outHeight / m_height);
    }

    png_uint_32 m_width = 0;
    png_uint_32 m_height = 0;
    png_uint_32 m_outWidth = 0;
    png_uint_32 m_outHeight = 0;
    png_uint_32 m_sourceRow = 0;
    png_uint_32 m_rowsInPixel = 0;
    std::vector<png_uint_32> m_column;          // output column of each source column
    std::vector<png_uint_32> m_columnsPerPixel; // source columns in each output column
    std::vector<quint64> m_sums;
    std::vector<png_byte> m_row;
};

struct PngInput
{
    const png_byte *data;
    size_t size;
    size_t offset;
};

void readPngBytes(png_structp png, png_bytep out, size_t length)
{
    auto *input = static_cast<PngInput *>(png_get_io_ptr(png));
    if (length > input->size - input->offset)
        png_error(png, "truncated");
    std::memcpy(out, input->data + input->offset, length);
    input->offset += length;
}

[[noreturn]] void onPngError(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void onPngWarning(png_structp, png_const_charp) {}

enum class PngResult { Decoded, Failed, Interlaced };

// The functions libpng may jump out of own no object with a destructor: the state they change
// is reached through pointers set before setjmp, and each sets its own jump target, as the
// rows are read over several calls.
PngResult readPngHeader(png_structp png, png_infop info, Downscaler *scaler)
{
    if (setjmp(png_jmpbuf(png)))
        return PngResult::Failed;
    png_read_info(png, info);
    const png_uint_32 width = png_get_image_width(png, info);
    const png_uint_32 height = png_get_image_height(png, info);
    if (width == 0 || height == 0 || width > png_uint_32(std::numeric_limits<int>::max())
        || height > png_uint_32(std::numeric_limits<int>::max())
        || qint64(width) * height > kRecognitionMaxSourcePixels)
        return PngResult::Failed;
    if (png_get_interlace_type(png, info) != PNG_INTERLACE_NONE)
        return PngResult::Interlaced;
    // Every colour type and depth arrives as 8-bit RGBA.
    png_set_expand(png);
    png_set_strip_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 0xff, PNG_FILLER_AFTER);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != size_t(width) * 4 || !scaler->begin(width, height))
        return PngResult::Failed;
    return PngResult::Decoded;
}

// Writes the next `rows` output rows to out, a line every bytesPerLine bytes.
bool readPngRows(png_structp png, Downscaler *scaler, uchar *out, qsizetype bytesPerLine, int rows)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    for (int i = 0; i < rows; ++i) {
        uchar *line = out + i * bytesPerLine;
        do {
            png_read_row(png, scaler->row(), nullptr);
        } while (!scaler->addRow(line));
    }
    return true;
}

class PngReadStruct
{
public:
    PngReadStruct()
    {
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, onPngError, onPngWarning);
        if (png)
            info = png_create_info_struct(png);
    }
    ~PngReadStruct() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
    PngReadStruct(const PngReadStruct &) = delete;
    PngReadStruct &operator=(const PngReadStruct &) = delete;

    png_structp png = nullptr;
    png_infop info = nullptr;
};

QImage fitForRecognition(const QImage &grey)
{
    const QSize target = recognitionSize(grey.size());
    if (target == grey.size())
        return grey;
    return grey.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .convertToFormat(QImage::Format_Grayscale8);
}

QImage flattenToGrey(QImage image)
{
    if (image.hasAlphaChannel()) {
        QImage flat(image.size(), QImage::Format_RGB32);
        if (flat.isNull())
            return {};
        flat.fill(Qt::white);
        QPainter painter(&flat);
        painter.drawImage(0, 0, image);
        painter.end();
        image = flat;
    }
    return fitForRecognition(image.convertToFormat(QImage::Format_Grayscale8));
}

QImage decodeWithQt(const QByteArray &data)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize size = reader.size();
    if (size.isValid()) {
        if (qint64(size.width()) * size.height() > kRecognitionMaxSourcePixels)
            return {};
        // Formats that can decode at a reduced size (JPEG) do so; the rest stay within the
        // reader's allocation limit or fail.
        const QSize target = recognitionSize(size);
        if (target != size)
            reader.setScaledSize(target);
    }
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    return flattenToGrey(image);
}

} // namespace

QSize recognitionSize(QSize source, qint64 maxPixels, int maxSide)
{
    Q_ASSERT(maxPixels > 0 && maxSide > 0);
    if (source.isEmpty())
        return source;
    const double area = double(source.width()) * source.height();
    const double scale = std::min({1.0,
                                   std::sqrt(double(maxPixels) / area),
                                   double(maxSide) / std::max(source.width(), source.height())});
    if (scale >= 1.0)
        return source;
    return QSize(std::max(1, int(source.width() * scale)),
                 std::max(1, int(source.height() * scale)));
}

QList<RecognitionBand> recognitionBands(QSize size,
                                        qint64 maxBandPixels,
                                        int overlap,
                                        qint64 wholePixels)
{
    Q_ASSERT(maxBandPixels > 0 && overlap >= 0);
    QList<RecognitionBand> bands;
    if (size.isEmpty())
        return bands;
    const int width = size.width();
    const int height = size.height();
    if (qint64(width) * height <= std::max(maxBandPixels, wholePixels)) {
        bands.append({QRect(QPoint(0, 0), size), 0, height});
        return bands;
    }
    // Each band's own rows plus the overlap on both sides stay within the budget, but a band
    // owns at least as many rows as it overlaps, so narrow-and-tall images still progress.
    const int ownRows = int(
        std::max<qint64>(maxBandPixels / width - 2 * overlap, std::max(overlap, 1)));
    for (int top = 0; top < height; top += ownRows) {
        const int bottom = int(std::min<qint64>(qint64(top) + ownRows, height));
        const int areaTop = std::max(0, top - overlap);
        const int areaBottom = int(std::min<qint64>(qint64(bottom) + overlap, height));
        bands.append({QRect(0, areaTop, width, areaBottom - areaTop), top, bottom});
    }
    return bands;
}

struct RecognitionBandReader::PngRows
{
    PngReadStruct reader;
    PngInput input{};
    Downscaler scaler;
};

RecognitionBandReader::RecognitionBandReader(const QByteArray &data,
                                             qint64 maxBandPixels,
                                             int overlap,
                                             qint64 wholePixels)
    : m_data(data)
{
    if (data.isEmpty())
        return;
    bool whole = !isPng(data);
    if (!whole) {
        m_png = std::make_unique<PngRows>();
        if (!m_png->reader.info) {
            m_png.reset();
            return;
        }
        m_png->input = {reinterpret_cast<const png_byte *>(m_data.constData()),
                        size_t(m_data.size()),
                        0};
        png_set_read_fn(m_png->reader.png, &m_png->input, readPngBytes);
        switch (readPngHeader(m_png->reader.png, m_png->reader.info, &m_png->scaler)) {
        case PngResult::Decoded:
            m_size = m_png->scaler.outputSize();
            break;
        case PngResult::Interlaced:
            whole = true;
            m_png.reset();
            break;
        case PngResult::Failed:
            m_png.reset();
            return;
        }
    }
    if (whole) {
        m_whole = decodeWithQt(m_data);
        m_size = m_whole.size();
    }
    m_bands = recognitionBands(m_size, maxBandPixels, overlap, wholePixels);
}

RecognitionBandReader::~RecognitionBandReader() = default;

bool RecognitionBandReader::next(RecognitionBand &band, QImage &pixels)
{
    if (m_failed || m_nextBand >= m_bands.size())
        return false;
    band = m_bands.at(m_nextBand++);
    const QRect area = band.area;
    if (!m_whole.isNull()) {
        pixels = QImage(m_whole.constScanLine(area.y()),
                        area.width(),
                        area.height(),
                        m_whole.bytesPerLine(),
                        QImage::Format_Grayscale8);
        return true;
    }
    if (m_buffer.isNull()) {
        int tallest = 0;
        for (const RecognitionBand &each : std::as_const(m_bands))
            tallest = std::max(tallest, each.area.height());
        m_buffer = QImage(m_size.width(), tallest, QImage::Format_Grayscale8);
        if (m_buffer.isNull()) {
            m_failed = true;
            return false;
        }
    }
    // The rows this band shares with the previous one move to the top; the rest are decoded.
    Q_ASSERT(area.y() >= m_bufferTop && area.y() <= m_decodedRows);
    const qsizetype bytesPerLine = m_buffer.bytesPerLine();
    const int kept = m_decodedRows - area.y();
    if (kept > 0 && area.y() > m_bufferTop) {
        std::memmove(m_buffer.bits(),
                     m_buffer.constScanLine(area.y() - m_bufferTop),
                     size_t(kept) * size_t(bytesPerLine));
    }
    m_bufferTop = area.y();
    const int missing = area.y() + area.height() - m_decodedRows;
    if (missing > 0
        && !readPngRows(m_png->reader.png,
                        &m_png->scaler,
                        m_buffer.scanLine(kept),
                        bytesPerLine,
                        missing)) {
        m_failed = true;
        m_png.reset();
        m_buffer = QImage();
        return false;
    }
    m_decodedRows += std::max(missing, 0);
    pixels = QImage(m_buffer.constBits(),
                    area.width(),
                    area.height(),
                    bytesPerLine,
                    QImage::Format_Grayscale8);
    if (m_nextBand == m_bands.size()) {
        // The decoder's row buffers go now; the band itself stays until the next call.
        m_png.reset();
    }
    return true;
}
