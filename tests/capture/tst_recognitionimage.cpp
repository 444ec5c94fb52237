#include "TestImages.h"
#include "capture/RecognitionImage.h"

#include <QTest>

#include <zlib.h>

// Left half black, right half white: survives every format and a grey conversion.
static QImage halves(QImage::Format format, QSize size = QSize(200, 100))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter(&image).fillRect(0, 0, size.width() / 2, size.height(), Qt::black);
    return image.convertToFormat(format);
}

class RecognitionImageTest : public QObject
{
    Q_OBJECT

private slots:
    void decodesEveryKindOfImage_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("RGB PNG") << encodeImage(halves(QImage::Format_RGB32));
        QTest::newRow("palette PNG") << encodeImage(halves(QImage::Format_Indexed8));
        QTest::newRow("16-bit RGBA PNG") << encodeImage(halves(QImage::Format_RGBA64));
        QTest::newRow("interlaced PNG")
            << writePngRows(200, 100, PNG_COLOR_TYPE_GRAY, true, [](int, png_bytep row) {
                   memset(row, 0, 100);
                   memset(row + 100, 255, 100);
               });
        QTest::newRow("JPEG") << encodeImage(halves(QImage::Format_RGB32), "JPEG");
    }
    void decodesEveryKindOfImage()
    {
        QFETCH(QByteArray, bytes);
        const QImage grey = decodeForRecognition(bytes);
        QCOMPARE(grey.format(), QImage::Format_Grayscale8);
        QCOMPARE(grey.size(), QSize(200, 100));
        QCOMPARE_LT(qGray(grey.pixel(20, 50)), 40);
        QCOMPARE_GT(qGray(grey.pixel(180, 50)), 215);
    }

    // Text on a transparent background would vanish if transparency turned black.
    void putsTransparencyOnWhite_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QImage argb(100, 100, QImage::Format_ARGB32);
        argb.fill(Qt::transparent);
        QPainter(&argb).fillRect(40, 40, 20, 20, Qt::black);
        QTest::newRow("RGBA") << encodeImage(argb);
        QTest::newRow("palette with transparency")
            << encodeImage(argb.convertToFormat(QImage::Format_Indexed8));
        QTest::newRow("grey and alpha")
            << writePngRows(100, 100, PNG_COLOR_TYPE_GRAY_ALPHA, false, [](int y, png_bytep row) {
                   for (int x = 0; x < 100; ++x) {
                       const bool square = x >= 40 && x < 60 && y >= 40 && y < 60;
                       row[2 * x] = 0;
                       row[2 * x + 1] = square ? 255 : 0;
                   }
               });
    }
    void putsTransparencyOnWhite()
    {
        QFETCH(QByteArray, bytes);
        const QImage grey = decodeForRecognition(bytes);
        QCOMPARE(grey.size(), QSize(100, 100));
        QCOMPARE_GT(qGray(grey.pixel(5, 5)), 245);
        QCOMPARE_LT(qGray(grey.pixel(50, 50)), 10);
    }

    void fitsLargeImagesWithinTheLimits_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("5K screenshot") << QSize(5120, 2880);
        QTest::newRow("long and narrow") << QSize(300, 20000);
    }
    void fitsLargeImagesWithinTheLimits()
    {
        QFETCH(QSize, size);
        const QImage grey = decodeForRecognition(
            encodeImage(halves(QImage::Format_Grayscale8, size)));
        const qint64 area = qint64(grey.width()) * grey.height();
        const int longer = std::max(grey.width(), grey.height());
        QCOMPARE_LE(area, kRecognitionMaxPixels);
        QCOMPARE_LE(longer, kRecognitionMaxSide);
        // Shrunk no more than the tighter limit needs.
        QVERIFY(area > kRecognitionMaxPixels * 97 / 100 || longer > kRecognitionMaxSide - 2);
        const double aspect = double(size.width()) / size.height();
        QVERIFY(qAbs(double(grey.width()) / grey.height() - aspect) / aspect < 0.02);
        // The black half is still black, the white half still white.
        QCOMPARE_LT(qGray(grey.pixel(grey.width() / 10, grey.height() / 2)), 40);
        QCOMPARE_GT(qGray(grey.pixel(grey.width() * 9 / 10, grey.height() / 2)), 215);
    }

    // Garbage and truncated files are refused on the way through the recogniser; these are
    // the decoder's own cases.
    void refusesWhatIsNoImage_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray png = encodeImage(halves(QImage::Format_RGB32));
        QByteArray badChecksum = png;
        badChecksum[20] = char(badChecksum[20] ^ 0x40); // inside the IHDR chunk
        QTest::newRow("PNG with a broken header") << badChecksum;
        // A small file that claims 40000 x 40000 pixels (1.6 billion): refused, not decoded.
        QTest::newRow("PNG claiming 40000 x 40000") << pngHeaderOnly(40000, 40000);
    }
    void refusesWhatIsNoImage()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(decodeForRecognition(bytes).isNull());
    }

private:
    static QByteArray pngHeaderOnly(int width, int height)
    {
        // A real 1-row image, with the width and height fields of IHDR rewritten (and its
        // checksum fixed), so that only the size is a lie.
        QByteArray png = writePngRows(1, 1, PNG_COLOR_TYPE_GRAY, false, [](int, png_bytep row) {
            row[0] = 0;
        });
        auto putBigEndian = [&](int offset, quint32 value) {
            for (int i = 0; i < 4; ++i)
                png[offset + i] = char(value >> (24 - 8 * i));
        };
        putBigEndian(16, quint32(width));
        putBigEndian(20, quint32(height));
        const auto *chunk = reinterpret_cast<const Bytef *>(png.constData() + 12);
        putBigEndian(29, quint32(crc32(0, chunk, 17)));
        return png;
    }
};

QTEST_MAIN(RecognitionImageTest)
#include "tst_recognitionimage.moc"
