#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <png.h>

#include <functional>

// Writes a PNG one row at a time, so a test can make a huge image without ever holding it in
// memory. fill(y, row) writes one row of bytes (width * channels); with interlacing it is asked
// for every row once per pass.
inline QByteArray writePngRows(int width,
                               int height,
                               int colorType,
                               bool interlaced,
                               const std::function<void(int y, png_bytep row)> &fill)
{
    auto fail = [](png_structp, png_const_charp message) { qFatal("libpng: %s", message); };
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, nullptr);
    png_infop info = png_create_info_struct(png);
    QByteArray out;
    png_set_write_fn(
        png,
        &out,
        [](png_structp p, png_bytep data, size_t length) {
            static_cast<QByteArray *>(png_get_io_ptr(p))
                ->append(reinterpret_cast<const char *>(data), qsizetype(length));
        },
        nullptr);
    png_set_IHDR(png,
                 info,
                 png_uint_32(width),
                 png_uint_32(height),
                 8,
                 colorType,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const int passes = interlaced ? png_set_interlace_handling(png) : 1;
    QByteArray row(qsizetype(png_get_rowbytes(png, info)), '\0');
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < height; ++y) {
            fill(y, reinterpret_cast<png_bytep>(row.data()));
            png_write_row(png, reinterpret_cast<png_bytep>(row.data()));
        }
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}
