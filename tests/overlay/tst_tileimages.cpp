#include "overlay/SceneGraphBackend.h"
#include "overlay/ShapeImageProvider.h"
#include "overlay/SoftShadow.h"
#include "overlay/TileImageProvider.h"

#include <QBuffer>
#include <QPainter>
#include <QQuickImageResponse>
#include <QQuickTextureFactory>
#include <QSignalSpy>
#include <QTest>

namespace {

// Left half red, right half blue.
QByteArray halvesPng(QSize size)
{
    QImage image(size, QImage::Format_ARGB32);
    QPainter painter(&image);
    painter.fillRect(0, 0, size.width() / 2, size.height(), Qt::red);
    painter.fillRect(size.width() / 2, 0, size.width() - size.width() / 2, size.height(), Qt::blue);
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

// A valid small PNG whose header claims width by height pixels.
QByteArray pngClaiming(quint32 width, quint32 height)
{
    QByteArray png = halvesPng(QSize(8, 8));
    // Signature (8), chunk length (4), "IHDR" (4), then width and height, then 5 bytes, CRC.
    const auto put = [&png](int at, quint32 value) {
        for (int i = 0; i < 4; ++i)
            png[at + i] = char(value >> (24 - 8 * i));
    };
    put(16, width);
    put(20, height);
    put(29, crc32(png.mid(12, 17)));
    return png;
}

int alphaAt(const QImage &image, int x, int y)
{
    return qAlpha(image.pixel(x, y));
}

} // namespace

class TileImagesTest : public QObject
{
    Q_OBJECT

private slots:
    void thumbnailsFillTheRequestedSizeCroppedToTheCentre()
    {
        auto source = std::make_shared<TileImageSource>();
        source->setItemImages({{"A", halvesPng(QSize(800, 200))}});
        TileImageProvider provider(source);
        const QImage image = provider.render(QStringLiteral("item/A/12"), QSize(100, 100));
        QCOMPARE(image.size(), QSize(100, 100));
        // The centre of a 4:1 image cropped to a square still holds both halves.
        QCOMPARE(QColor(image.pixel(25, 50)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(75, 50)), QColor(Qt::blue));
        // Rounded corners are baked in.
        QCOMPARE(alphaAt(image, 0, 0), 0);
        QCOMPARE(alphaAt(image, 99, 99), 0);
        QCOMPARE(alphaAt(image, 50, 0), 255);
    }

    void withoutARequestedSizeThumbnailsStayBounded()
    {
        auto source = std::make_shared<TileImageSource>();
        source->setItemImages({{"A", halvesPng(QSize(3000, 1500))}});
        TileImageProvider provider(source);
        const QImage image = provider.render(QStringLiteral("item/A/0"), QSize());
        QCOMPARE(image.size(), QSize(1024, 512));
        QCOMPARE(alphaAt(image, 0, 0), 255);
    }

    void linkImagesRoundOnlyTheTopCorners()
    {
        auto source = std::make_shared<TileImageSource>();
        QImage green(300, 200, QImage::Format_ARGB32);
        green.fill(Qt::green);
        source->setLinkImage(QStringLiteral("token"), green);
        TileImageProvider provider(source);
        const QImage image = provider.render(QStringLiteral("link/token/12"), QSize(160, 80));
        QCOMPARE(image.size(), QSize(160, 80));
        QCOMPARE(alphaAt(image, 0, 0), 0);
        QCOMPARE(alphaAt(image, 159, 0), 0);
        QCOMPARE(alphaAt(image, 0, 79), 255);
        QCOMPARE(alphaAt(image, 159, 79), 255);
    }

    void whatCannotBeMadeIsNull_data()
    {
        QTest::addColumn<QString>("id");
        QTest::newRow("garbage bytes") << "item/bad/12";
        QTest::newRow("unknown item") << "item/nobody/12";
        QTest::newRow("unknown link") << "link/nothing/12";
        QTest::newRow("unknown kind") << "other/A/12";
        QTest::newRow("shadows are not served") << "shadow/card";
        QTest::newRow("malformed") << "item";
    }
    void whatCannotBeMadeIsNull()
    {
        QFETCH(QString, id);
        auto source = std::make_shared<TileImageSource>();
        source->setItemImages({{"bad", QByteArray("\x89PNG\r\n\x1a\n garbage")}});
        TileImageProvider provider(source);
        QVERIFY(provider.render(id, QSize(100, 100)).isNull());
    }

    void anImageClaimingGiganticSizeIsRefused()
    {
        auto source = std::make_shared<TileImageSource>();
        source->setItemImages({{"huge", pngClaiming(60000, 60000)}});
        TileImageProvider provider(source);
        QVERIFY(provider.render(QStringLiteral("item/huge/12"), QSize(180, 150)).isNull());
    }

    void theCacheStaysWithinItsBound()
    {
        auto source = std::make_shared<TileImageSource>();
        QHash<QString, QByteArray> images;
        for (int i = 0; i < 20; ++i)
            images.insert(QString::number(i), halvesPng(QSize(200, 200)));
        source->setItemImages(images);
        // Room for about two 100 x 100 images of four bytes a pixel.
        TileImageProvider provider(source, 100 * 1024);
        for (int i = 0; i < 20; ++i)
            QVERIFY(!provider.render(QStringLiteral("item/%1/12").arg(i), QSize(100, 100)).isNull());
        QVERIFY(provider.cachedBytes() > 0);
        QVERIFY(provider.cachedBytes() <= 100 * 1024);
    }

    void responsesFinishWithTheImage()
    {
        auto source = std::make_shared<TileImageSource>();
        source->setItemImages({{"A", halvesPng(QSize(400, 300))}});
        TileImageProvider provider(source);
        std::unique_ptr<QQuickImageResponse> response(
            provider.requestImageResponse(QStringLiteral("item/A/12"), QSize(120, 90)));
        QSignalSpy finished(response.get(), &QQuickImageResponse::finished);
        QVERIFY(finished.wait(10000));
        QVERIFY(response->errorString().isEmpty());
        std::unique_ptr<QQuickTextureFactory> texture(response->textureFactory());
        QCOMPARE(texture->textureSize(), QSize(120, 90));

        std::unique_ptr<QQuickImageResponse> failed(
            provider.requestImageResponse(QStringLiteral("item/missing/12"), QSize(120, 90)));
        QSignalSpy failedSpy(failed.get(), &QQuickImageResponse::finished);
        QVERIFY(failedSpy.wait(10000));
        QVERIFY(!failed->errorString().isEmpty());
    }

    void cancelledResponsesStillFinish()
    {
        auto source = std::make_shared<TileImageSource>();
        source->setItemImages({{"A", halvesPng(QSize(400, 300))}});
        TileImageProvider provider(source);
        std::unique_ptr<QQuickImageResponse> response(
            provider.requestImageResponse(QStringLiteral("item/A/12"), QSize(120, 90)));
        QSignalSpy finished(response.get(), &QQuickImageResponse::finished);
        response->cancel();
        QVERIFY(finished.wait(10000));
    }

    void shadowsLeaveTheShapeClearAndFadeOutward_data()
    {
        QTest::addColumn<SoftShadow::Style>("style");
        QTest::newRow("card") << SoftShadow::Card;
        QTest::newRow("tile glow") << SoftShadow::TileGlow;
    }
    void shadowsLeaveTheShapeClearAndFadeOutward()
    {
        QFETCH(SoftShadow::Style, style);
        const QImage &image = SoftShadow::image(style);
        const SoftShadow::Geometry geometry = SoftShadow::geometry(style);
        const int size = image.width();
        QCOMPARE(image.height(), size);
        const int middle = size / 2;
        const int margin = geometry.margin;
        QCOMPARE(alphaAt(image, middle, middle), 0);
        QCOMPARE(alphaAt(image, 0, 0), 0);
        // Just outside the left edge there is shadow, less of it further out.
        const int near = alphaAt(image, margin - 2, middle);
        const int far = alphaAt(image, margin / 3, middle);
        QVERIFY(near > 0);
        QVERIFY(near > far);
        // Left and right match; the middle rows repeat, so stretching them is seamless.
        QCOMPARE(alphaAt(image, size - margin + 1, middle), near);
        QCOMPARE(image.pixel(margin - 2, middle - 1), image.pixel(margin - 2, middle));
        QCOMPARE(image.pixel(middle - 1, margin - 2), image.pixel(middle, margin - 2));
    }

    void roundedBoxesFollowQtQuickRectangles()
    {
        ShapeImageProvider provider;
        QSize size;
        // Radius 6, all corners and edges, white fill, red 2 px stroke.
        const QImage image = provider.requestImage(QStringLiteral(
                                                       "rounded/6/15/15/ffffff/ff0000/2"),
                                                   &size,
                                                   QSize());
        const int inset = 6 + 2;
        QCOMPARE(size, QSize(2 * inset + 2, 2 * inset + 2));
        QCOMPARE(image.size(), size);
        QCOMPARE(alphaAt(image, 0, 0), 0);
        // The stroke lies inside the edge, the fill inside the stroke.
        QCOMPARE(QColor(image.pixel(inset, 0)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(inset, 1)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(inset, 2)), QColor(Qt::white));
        QCOMPARE(QColor(image.pixel(inset, inset)), QColor(Qt::white));
    }

    void roundedBoxesCanLeaveOutCornersAndEdges()
    {
        // Rounded at the top left only, stroked on top and left only: a card's sidebar half.
        const QImage image = ShapeImageProvider::render(
            {10, 1, 1 | 8, QColor(Qt::white), QColor(Qt::blue), 1});
        const int last = image.width() - 1;
        QCOMPARE(alphaAt(image, 0, 0), 0);
        QCOMPARE(alphaAt(image, last, 0), 255);
        QCOMPARE(alphaAt(image, 0, last), 255);
        QCOMPARE(QColor(image.pixel(last, 0)), QColor(Qt::blue));
        QCOMPARE(QColor(image.pixel(last, last)), QColor(Qt::white));
        QCOMPARE(QColor(image.pixel(0, last)), QColor(Qt::blue));
    }

    void translucentColoursKeepTheirAlpha()
    {
        const QImage image = ShapeImageProvider::render(
            {4, 15, 15, QColor(255, 255, 255, 20), QColor(Qt::transparent), 0});
        QCOMPARE(alphaAt(image, image.width() / 2, image.height() / 2), 20);
    }

    void malformedShapesAreNull_data()
    {
        QTest::addColumn<QString>("id");
        QTest::newRow("too few parts") << "rounded/6/15/15/ffffff/ff0000";
        QTest::newRow("not a shape") << "square/6/15/15/ffffff/ff0000/1";
        QTest::newRow("colour with #") << "rounded/6/15/15/#fff/ff0000/1";
        QTest::newRow("bad colour") << "rounded/6/15/15/zzzzzz/ff0000/1";
        QTest::newRow("huge radius") << "rounded/100000/15/15/ffffff/ff0000/1";
        QTest::newRow("negative stroke") << "rounded/6/15/15/ffffff/ff0000/-1";
        QTest::newRow("corner mask out of range") << "rounded/6/16/15/ffffff/ff0000/1";
    }
    void malformedShapesAreNull()
    {
        QFETCH(QString, id);
        ShapeImageProvider provider;
        QSize size(-1, -1);
        QVERIFY(provider.requestImage(id, &size, QSize()).isNull());
        QVERIFY(size.isEmpty());
    }

    void softwareRenderersAreRecognised_data()
    {
        QTest::addColumn<QByteArray>("renderer");
        QTest::addColumn<bool>("software");
        QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
        QTest::newRow("softpipe") << QByteArray("softpipe") << true;
        QTest::newRow("swrast") << QByteArray("Mesa DRI swrast") << true;
        QTest::newRow("no context at all") << QByteArray() << true;
        QTest::newRow("Intel") << QByteArray("Mesa Intel(R) UHD Graphics 620 (KBL GT2)") << false;
        QTest::newRow("AMD") << QByteArray("AMD Radeon RX 6600 (navi23, LLVM 15.0.6)") << false;
        QTest::newRow("NVIDIA") << QByteArray("NVIDIA GeForce GTX 1060/PCIe/SSE2") << false;
    }
    void softwareRenderersAreRecognised()
    {
        QFETCH(QByteArray, renderer);
        QFETCH(bool, software);
        QCOMPARE(SceneGraphBackend::isSoftwareRenderer(renderer), software);
    }
};

QTEST_MAIN(TileImagesTest)
#include "tst_tileimages.moc"
