#include "RecognitionImage.h"

#include <QBuffer>
#include <QImageReader>
#include <QPainter>

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
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

// Accumulates full-size rows into a box-filtered image smaller by an integer factor.
class Downscaler
{
public:
    bool begin(png_uint_32 width, png_uint_32 height, int maxSide)
    {
        m_width = width;
        m_height = height;
        const png_uint_32 longer = std::max(width, height);
        m_factor = std::max<png_uint_32>(1, (longer + maxSide - 1) / png_uint_32(maxSide));
        const int outWidth = int((width + m_factor - 1) / m_factor);
        const int outHeight = int((height + m_factor - 1) / m_factor);
        m_image = QImage(outWidth, outHeight, QImage::Format_Grayscale8);
        if (m_image.isNull())
            return false;
        m_sums.assign(size_t(outWidth), 0);
        m_row.resize(size_t(width) * 4);
        return true;
    }

    png_bytep row() { return m_row.data(); }

    void addRow(png_uint_32 y)
    {
        const png_byte *pixel = m_row.data();
        for (png_uint_32 x = 0; x < m_width; ++x, pixel += 4)
            m_sums[x / m_factor] += greyOnWhite(pixel);
        const bool blockDone = (y + 1) % m_factor == 0 || y + 1 == m_height;
        if (!blockDone)
            return;
        const png_uint_32 rows = y % m_factor + 1;
        uchar *out = m_image.scanLine(int(y / m_factor));
        for (size_t ox = 0; ox < m_sums.size(); ++ox) {
            const png_uint_32 columns = std::min<png_uint_32>(m_factor,
                                                              m_width - png_uint_32(ox) * m_factor);
            out[ox] = uchar(m_sums[ox] / (columns * rows));
            m_sums[ox] = 0;
        }
    }

    QImage image() const { return m_image; }

private:
    png_uint_32 m_width = 0;
    png_uint_32 m_height = 0;
    png_uint_32 m_factor = 1;
    QImage m_image;
    std::vector<quint32> m_sums;
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

// Everything libpng may jump out of lives in this function, which owns no object with a
// destructor: the state it changes is reached through pointers set before setjmp.
PngResult readPngRows(png_structp png, png_infop info, Downscaler *scaler, int maxSide)
{
    if (setjmp(png_jmpbuf(png)))
        return PngResult::Failed;
    png_read_info(png, info);
    const png_uint_32 width = png_get_image_width(png, info);
    const png_uint_32 height = png_get_image_height(png, info);
    if (width == 0 || height == 0 || qint64(width) * height > kRecognitionMaxSourcePixels)
        return PngResult::Failed;
    if (png_get_interlace_type(png, info) != PNG_INTERLACE_NONE)
        return PngResult::Interlaced;
    // Every colour type and depth arrives as 8-bit RGBA.
    png_set_expand(png);
    png_set_strip_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 0xff, PNG_FILLER_AFTER);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != size_t(width) * 4 || !scaler->begin(width, height, maxSide))
        return PngResult::Failed;
    for (png_uint_32 y = 0; y < height; ++y) {
        png_read_row(png, scaler->row(), nullptr);
        scaler->addRow(y);
    }
    return PngResult::Decoded;
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

QImage flattenToGrey(QImage image, int maxSide)
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
    QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
    if (std::max(grey.width(), grey.height()) > maxSide)
        grey = grey.scaled(maxSide, maxSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return grey;
}

QImage decodeWithQt(const QByteArray &data, int maxSide)
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
        if (std::max(size.width(), size.height()) > maxSide)
            reader.setScaledSize(size.scaled(maxSide, maxSide, Qt::KeepAspectRatio));
    }
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    return flattenToGrey(image, maxSide);
}

} // namespace

QImage decodeForRecognition(const QByteArray &data, int maxSide)
{
    Q_ASSERT(maxSide > 0);
    if (data.isEmpty())
        return {};
    if (!isPng(data))
        return decodeWithQt(data, maxSide);

    PngReadStruct reader;
    if (!reader.info)
        return {};
    PngInput input{reinterpret_cast<const png_byte *>(data.constData()), size_t(data.size()), 0};
    png_set_read_fn(reader.png, &input, readPngBytes);
    const auto scaler = std::make_unique<Downscaler>();
    switch (readPngRows(reader.png, reader.info, scaler.get(), maxSide)) {
    case PngResult::Decoded:
        return scaler->image();
    case PngResult::Interlaced:
        // Interlaced rows only complete in the last pass; Qt decodes those whole, which the
        // reader's allocation limit keeps bounded.
        return decodeWithQt(data, maxSide);
    case PngResult::Failed:
        break;
    }
    return {};
}
