#include "capture/OCR.h"
#include "capture/RecognitionImage.h"
#include "common/Images.h"

#include <QDir>
#include <QFile>
#include <QFont>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <png.h>

#include <algorithm>
#include <functional>

namespace {

constexpr int kWaitMs = 60'000;

// The whole grey image the recogniser is handed in bands, each band giving the rows it owns;
// null when the bytes do not decode to the end.
QImage decodeForRecognition(const QByteArray &data)
{
    RecognitionBandReader reader(data);
    if (reader.size().isEmpty())
        return {};
    QImage grey(reader.size(), QImage::Format_Grayscale8);
    RecognitionBand band;
    QImage pixels;
    while (reader.next(band, pixels)) {
        for (int y = band.ownTop; y < band.ownBottom; ++y)
            memcpy(grey.scanLine(y), pixels.constScanLine(y - band.area.y()), size_t(grey.width()));
    }
    return reader.failed() ? QImage() : grey;
}

// Writes a PNG one row at a time, so a test can make a huge image without ever holding it in
// memory. fill(y, row) writes one row of bytes (width * channels); with interlacing it is asked
// for every row once per pass.
QByteArray writePngRows(int width,
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

// Black lines of text on white, one line per entry, in a font every test machine has.
QImage renderLines(const QStringList &lines, int pixelSize, QSize size)
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
QByteArray upscaledGreyPng(const QImage &small, int scale)
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

// Resident memory of this process, from /proc/self/status, in kB; -1 when unknown.
qint64 residentKb(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').constFirst().toLongLong();
    }
    return -1;
}

// Starts a new peak: the kernel sets VmHWM back to the current resident size.
bool resetPeakResident()
{
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    return clearRefs.open(QIODevice::WriteOnly) && clearRefs.write("5") == 1;
}

// One recognition's outcome, with where and how often its completion ran.
struct Outcome
{
    int calls = 0;
    bool onMainThread = true;
    std::optional<QString> text;
};

TextRecognizer::Completion recordInto(Outcome &outcome)
{
    return [&outcome](std::optional<QString> text) {
        ++outcome.calls;
        outcome.onMainThread = outcome.onMainThread && QThread::currentThread() == qApp->thread();
        outcome.text = std::move(text);
    };
}

} // namespace

class OCRTest : public QObject
{
    Q_OBJECT

private slots:
    // The backfill may queue hundreds; the machine must stay usable. Tesseract's OpenMP teams
    // would add helper threads to every worker, and on two cores make recognition several times
    // slower: the workers are the only threads it may add. First in this file, as helper
    // threads left by an earlier engine would hide new ones.
    void runsAtMostTwoAtOnceWithoutHelperThreads()
    {
        const auto threads = [] {
            return QDir(QStringLiteral("/proc/self/task"))
                .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                .size();
        };
        OCR ocr;
        const qsizetype before = threads();
        // Lines are joined in reading order with one space.
        const QList<QStringList> images{{"Apple"}, {"Hello", "World"}, {"Violet"}, {"Marble"}};
        std::vector<Outcome> outcomes(size_t(images.size()));
        for (int i = 0; i < images.size(); ++i) {
            ocr.recognize(encodeImage(renderLines(images[i], 40, QSize(400, 240))),
                          recordInto(outcomes[size_t(i)]));
        }
        QTRY_COMPARE_WITH_TIMEOUT(ocr.pendingCount(), 0, kWaitMs);
        QCOMPARE_LE(ocr.peakConcurrency(), OCR::kMaxConcurrent);
        QCOMPARE_LE(threads(), before + OCR::kMaxConcurrent);
        for (int i = 0; i < images.size(); ++i) {
            QCOMPARE(outcomes[size_t(i)].calls, 1);
            QVERIFY(outcomes[size_t(i)].onMainThread);
            QCOMPARE(outcomes[size_t(i)].text, images[i].join(u' '));
        }
    }

    void givesNothingWithoutText_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QImage frames(640, 400, QImage::Format_RGB32);
        frames.fill(QColor(236, 236, 236));
        {
            // The chrome of a window with nothing written in it.
            QPainter painter(&frames);
            painter.fillRect(0, 0, 640, 32, QColor(60, 60, 60));
            painter.setPen(QPen(Qt::gray, 1));
            for (int y = 60; y < 380; y += 40)
                painter.drawRect(20, y, 600, 28);
        }
        const QByteArray png = encodeImage(renderLines({"Hello"}, 40, QSize(300, 120)));
        QTest::newRow("empty window frames") << encodeImage(frames);
        QTest::newRow("truncated PNG") << png.left(png.size() / 3);
        // A small file that claims 1.6 billion pixels: refused, not decoded.
        QTest::newRow("PNG claiming 40000 x 40000") << pngClaimingSize(png, 40000, 40000);
    }
    void givesNothingWithoutText()
    {
        QFETCH(QByteArray, bytes);
        OCR ocr;
        Outcome outcome;
        ocr.recognize(bytes, recordInto(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, kWaitMs);
        QVERIFY(outcome.onMainThread);
        QCOMPARE(outcome.text, std::nullopt);
    }

    // 10000 x 10000 pixels, recognised after scaling down, without the full image in memory.
    void hugeImageIsRecognisedInBoundedMemory()
    {
        const QByteArray png = upscaledGreyPng(renderLines({"HELLO"}, 40, QSize(1000, 1000)), 10);
        OCR ocr;
        Outcome outcome;
        const bool measured = resetPeakResident();
        const qint64 before = residentKb("VmRSS");
        ocr.recognize(png, recordInto(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, kWaitMs);
        const qint64 peakRiseMb = (residentKb("VmHWM") - before) / 1024;
        QCOMPARE(outcome.text, QStringLiteral("HELLO"));
        if (measured)
            QCOMPARE_LT(peakRiseMb, 150);
    }

    // A 4K screenshot of small print, with lines placed across the band edges: each line read
    // once.
    void screenshotTextAcrossBandsIsReadOnce()
    {
        const QSize size(3840, 2160);
        QImage image(size, QImage::Format_RGB32);
        image.fill(QColor(246, 246, 246));
        QPainter painter(&image);
        QFont font(QStringLiteral("DejaVu Sans"));
        font.setPixelSize(13);
        painter.setFont(font);
        painter.setPen(QColor(30, 30, 30));
        const QStringList words
            = QStringLiteral("Orchard Pelican Quarry Saddle Thimble Walnut Harbour Lantern "
                             "Meadow Granite")
                  .split(u' ');
        QList<int> baselines{40};
        for (const RecognitionBand &band : recognitionBands(size)) {
            if (band.ownBottom < size.height()) {
                // Cut through the middle, just above and just below the edge.
                baselines << band.ownBottom + 5 << band.ownBottom - 20 << band.ownBottom + 30;
            }
        }
        std::sort(baselines.begin(), baselines.end());
        QStringList expected;
        for (int i = 0; i < baselines.size(); ++i) {
            const QString line = words.at(i % words.size()) + u' ' + QString::number(100 + i);
            // Half the lines far to the right, as on a wide screen with a sidebar.
            painter.drawText(i % 2 ? 2400 : 24, baselines.at(i), line);
            expected << line;
        }
        painter.end();
        QCOMPARE_GT(recognitionBands(size).size(), 1);

        OCR ocr;
        Outcome outcome;
        ocr.recognize(encodeImage(image), recordInto(outcome));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, kWaitMs);
        // Blocks far apart may come in either order; what counts is that each line comes once.
        QVERIFY(outcome.text);
        const QString text = *outcome.text;
        for (const QString &line : std::as_const(expected))
            QVERIFY2(text.count(line) == 1, qPrintable(line + u" in: " + text));
        QCOMPARE(text.split(u' ').size(), expected.size() * 2);
    }

    // What the recogniser is given: grey, transparency on white, within the size limits.
    // The streamed bands carry exactly the rows of the image they cover, the overlap included;
    // an image that breaks off part way fails rather than passing on what came before.
    void bandsHoldTheirRows_data()
    {
        QTest::addColumn<bool>("interlaced");
        QTest::addColumn<double>("kept");
        QTest::newRow("streamed PNG") << false << 1.0;
        QTest::newRow("interlaced PNG, decoded whole") << true << 1.0;
        QTest::newRow("PNG cut off half way") << false << 0.5;
    }
    void bandsHoldTheirRows()
    {
        QFETCH(bool, interlaced);
        QFETCH(double, kept);
        const QSize size(1200, 2500);
        const auto grey = [](int x, int y) { return uchar((x * 7 + y * 13) & 0xff); };
        QByteArray bytes = writePngRows(size.width(),
                                        size.height(),
                                        PNG_COLOR_TYPE_GRAY,
                                        interlaced,
                                        [&](int y, png_bytep row) {
                                            for (int x = 0; x < size.width(); ++x)
                                                row[x] = grey(x, y);
                                        });
        bytes.truncate(qsizetype(bytes.size() * kept));

        RecognitionBandReader reader(bytes);
        QCOMPARE(reader.size(), size);
        const QList<RecognitionBand> expected = recognitionBands(size);
        QCOMPARE_GT(expected.size(), 1);
        RecognitionBand band;
        QImage pixels;
        qsizetype count = 0;
        while (reader.next(band, pixels)) {
            QCOMPARE(band.area, expected.at(count).area);
            QCOMPARE(pixels.size(), band.area.size());
            for (int row = 0; row < pixels.height(); ++row) {
                const uchar *line = pixels.constScanLine(row);
                for (int x = 0; x < size.width(); ++x) {
                    if (line[x] != grey(x, band.area.y() + row))
                        QFAIL(qPrintable(QStringLiteral("band %1, row %2, column %3")
                                             .arg(count)
                                             .arg(band.area.y() + row)
                                             .arg(x)));
                }
            }
            ++count;
        }
        const bool whole = kept >= 1.0;
        QCOMPARE(reader.failed(), !whole);
        QCOMPARE(count == expected.size(), whole);
        QCOMPARE(decodeForRecognition(bytes).isNull(), !whole);
    }

    void destroyingDropsQueuedWork()
    {
        Outcome outcome;
        {
            OCR ocr;
            for (int i = 0; i < 20; ++i)
                ocr.recognize(encodeImage(renderLines({"Dropped"}, 32, QSize(320, 120))),
                              recordInto(outcome));
        }
        QTest::qWait(200);
        QCOMPARE(outcome.calls, 0);
    }
};

QTEST_MAIN(OCRTest)
#include "tst_ocr.moc"
