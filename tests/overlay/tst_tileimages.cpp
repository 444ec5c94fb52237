#include "common/Images.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/ShapeImageProvider.h"
#include "overlay/SoftShadow.h"
#include "overlay/TileImageProvider.h"

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
    image.fill(Qt::blue);
    QPainter(&image).fillRect(0, 0, size.width() / 2, size.height(), Qt::red);
    return encodeImage(image);
}

int alphaAt(const QImage &image, int x, int y)
{
    return qAlpha(image.pixel(x, y));
}

std::shared_ptr<TileImageSource> sourceOf(const QHash<QString, QByteArray> &images)
{
    auto source = std::make_shared<TileImageSource>();
    source->setItemImages(images);
    return source;
}

} // namespace

class TileImagesTest : public QObject
{
    Q_OBJECT

private slots:
    void thumbnailsAreCroppedToTheCentreAndBounded()
    {
        TileImageProvider provider(
            sourceOf({{"A", halvesPng(QSize(800, 200))}, {"B", halvesPng(QSize(3000, 1500))}}));
        const QImage image = provider.render(QStringLiteral("item/A/12"), QSize(100, 100));
        QCOMPARE(image.size(), QSize(100, 100));
        // The centre of a 4:1 image cropped to a square still holds both halves.
        QCOMPARE(QColor(image.pixel(25, 50)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(75, 50)), QColor(Qt::blue));
        // Rounded corners are baked in.
        QCOMPARE(alphaAt(image, 0, 0), 0);
        QCOMPARE(alphaAt(image, 99, 99), 0);
        QCOMPARE(alphaAt(image, 50, 0), 255);
        // Without a requested size, the thumbnail stays bounded.
        const QImage unsized = provider.render(QStringLiteral("item/B/0"), QSize());
        QCOMPARE(unsized.size(), QSize(1024, 512));
        QCOMPARE(alphaAt(unsized, 0, 0), 255);
    }

    void linkImagesRoundOnlyTheTopCorners()
    {
        auto source = std::make_shared<TileImageSource>();
        QImage green(300, 200, QImage::Format_ARGB32);
        green.fill(Qt::green);
        source->setLinkImage(QStringLiteral("token"), green);
        const QImage image = TileImageProvider(source).render(QStringLiteral("link/token/12"),
                                                              QSize(160, 80));
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
        QTest::newRow("a header claiming 60000 x 60000") << "item/huge/12";
        QTest::newRow("unknown item") << "item/nobody/12";
        QTest::newRow("unknown kind") << "other/A/12";
        QTest::newRow("malformed") << "item";
    }
    void whatCannotBeMadeIsNull()
    {
        QFETCH(QString, id);
        TileImageProvider provider(
            sourceOf({{"bad", QByteArray("\x89PNG\r\n\x1a\n garbage")},
                      {"huge", pngClaimingSize(halvesPng(QSize(8, 8)), 60000, 60000)}}));
        QVERIFY(provider.render(id, QSize(180, 150)).isNull());
    }

    void theCacheStaysWithinItsBound()
    {
        QHash<QString, QByteArray> images;
        for (int i = 0; i < 20; ++i)
            images.insert(QString::number(i), halvesPng(QSize(200, 200)));
        // Room for about two 100 x 100 images of four bytes a pixel.
        TileImageProvider provider(sourceOf(images), 100 * 1024);
        for (int i = 0; i < 20; ++i)
            QVERIFY(!provider.render(QStringLiteral("item/%1/12").arg(i), QSize(100, 100)).isNull());
        QVERIFY(provider.cachedBytes() > 0);
        QVERIFY(provider.cachedBytes() <= 100 * 1024);
    }

    // Every response finishes: with the image, with an error, or cancelled.
    void responsesAlwaysFinish()
    {
        TileImageProvider provider(sourceOf({{"A", halvesPng(QSize(400, 300))}}));
        const auto request = [&](const char *id) {
            return std::unique_ptr<QQuickImageResponse>(
                provider.requestImageResponse(QString::fromLatin1(id), QSize(120, 90)));
        };
        const auto image = request("item/A/12");
        const auto missing = request("item/missing/12");
        const auto cancelled = request("item/A/12");
        QSignalSpy imageDone(image.get(), &QQuickImageResponse::finished);
        QSignalSpy missingDone(missing.get(), &QQuickImageResponse::finished);
        QSignalSpy cancelledDone(cancelled.get(), &QQuickImageResponse::finished);
        cancelled->cancel();
        QTRY_VERIFY_WITH_TIMEOUT(!imageDone.isEmpty() && !missingDone.isEmpty()
                                     && !cancelledDone.isEmpty(),
                                 10000);
        QVERIFY(image->errorString().isEmpty());
        QCOMPARE(std::unique_ptr<QQuickTextureFactory>(image->textureFactory())->textureSize(),
                 QSize(120, 90));
        QVERIFY(!missing->errorString().isEmpty());
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
        const int size = image.width();
        const int middle = size / 2;
        const int margin = SoftShadow::geometry(style).margin;
        QCOMPARE(image.height(), size);
        QCOMPARE(alphaAt(image, middle, middle), 0);
        QCOMPARE(alphaAt(image, 0, 0), 0);
        // Just outside the left edge there is shadow, less of it further out.
        const int near = alphaAt(image, margin - 2, middle);
        QVERIFY(near > alphaAt(image, margin / 3, middle));
        // Left and right match; the middle rows repeat, so stretching them is seamless.
        QCOMPARE(alphaAt(image, size - margin + 1, middle), near);
        QCOMPARE(image.pixel(margin - 2, middle - 1), image.pixel(margin - 2, middle));
        QCOMPARE(image.pixel(middle - 1, margin - 2), image.pixel(middle, margin - 2));
    }

    void roundedBoxesFollowQtQuickRectangles()
    {
        QSize size;
        // Radius 6, all corners and edges, white fill, red 2 px stroke.
        const QImage image = ShapeImageProvider()
                                 .requestImage(QStringLiteral("rounded/6/15/15/ffffff/ff0000/2"),
                                               &size,
                                               QSize());
        const int inset = 6 + 2;
        QCOMPARE(size, QSize(2 * inset + 2, 2 * inset + 2));
        QCOMPARE(image.size(), size);
        QCOMPARE(alphaAt(image, 0, 0), 0);
        // The stroke lies inside the edge, the fill inside the stroke.
        QCOMPARE(QColor(image.pixel(inset, 1)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(inset, 2)), QColor(Qt::white));

        // Rounded at the top left only, stroked on top and left only: a card's sidebar half.
        const QImage half = ShapeImageProvider::render(
            {10, 1, 1 | 8, QColor(Qt::white), QColor(Qt::blue), 1});
        const int last = half.width() - 1;
        QCOMPARE(alphaAt(half, 0, 0), 0);
        QCOMPARE(QColor(half.pixel(last, 0)), QColor(Qt::blue));
        QCOMPARE(QColor(half.pixel(0, last)), QColor(Qt::blue));
        QCOMPARE(QColor(half.pixel(last, last)), QColor(Qt::white));

        // Translucent colours keep their alpha.
        const QImage faint = ShapeImageProvider::render(
            {4, 15, 15, QColor(255, 255, 255, 20), QColor(Qt::transparent), 0});
        QCOMPARE(alphaAt(faint, faint.width() / 2, faint.height() / 2), 20);
    }

    void softwareRenderersAreRecognised_data()
    {
        QTest::addColumn<QByteArray>("renderer");
        QTest::addColumn<bool>("software");
        QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
        QTest::newRow("no context at all") << QByteArray() << true;
        QTest::newRow("Intel") << QByteArray("Mesa Intel(R) UHD Graphics 620 (KBL GT2)") << false;
        QTest::newRow("AMD, built with LLVM")
            << QByteArray("AMD Radeon RX 6600 (navi23, LLVM 15.0.6)") << false;
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
