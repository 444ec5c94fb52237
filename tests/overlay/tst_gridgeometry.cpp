#include "overlay/GridGeometry.h"

#include <QTest>

using namespace GridGeometry;

class GridGeometryTest : public QObject
{
    Q_OBJECT

private slots:
    void columnsFollowTheWidth_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<int>("columns");
        QTest::newRow("1000 wide: floor(982 / 194)") << 1000.0 << 5;
        QTest::newRow("200 wide") << 200.0 << 1;
        QTest::newRow("narrower than one tile") << 50.0 << 1;
        QTest::newRow("no width at all") << 0.0 << 1;
        QTest::newRow("just fits two") << 406.0 << 2;
        QTest::newRow("one short of two") << 405.0 << 1;
    }
    void columnsFollowTheWidth()
    {
        QFETCH(double, width);
        QFETCH(int, columns);
        QCOMPARE(columnsForWidth(width), columns);
    }

    void tilesShareTheWidthInsideThePadding()
    {
        const double width = 1000;
        const int columns = columnsForWidth(width);
        const QRectF first = tileFrame(0, width);
        const QRectF last = tileFrame(columns - 1, width);
        QCOMPARE(first.left(), 16.0);
        QCOMPARE(first.top(), 16.0);
        QCOMPARE(last.right(), width - 16);
        QCOMPARE(first.height(), 150.0);
        QVERIFY(first.width() >= kMinTileWidth);
        QCOMPARE(tileFrame(1, width).left() - first.right(), 14.0);
    }

    void nextRowStartsBelowWithSpacing()
    {
        const QRectF second = tileFrame(5, 1000);
        QCOMPARE(second.left(), 16.0);
        QCOMPARE(second.top(), 16.0 + 150 + 14);
    }

    void contentHeightCoversEveryRowAndThePadding()
    {
        QCOMPARE(contentHeight(0, 1000), 32.0);
        QCOMPARE(contentHeight(5, 1000), 32.0 + 150);
        QCOMPARE(contentHeight(6, 1000), 32.0 + 2 * 150 + 14);
        QCOMPARE(contentHeight(6, 1000), tileFrame(5, 1000).bottom() + 16);
    }

    void revealKeepsComfortablyVisibleTilesStill()
    {
        // Viewport 0..500; the tile 100..250 has far more than 16 px on either side.
        QCOMPARE(scrollOffsetToReveal(QRectF(16, 100, 180, 150), 0, 500, 2000), std::nullopt);
        // Exactly 16 px from both edges still counts as comfortable.
        QCOMPARE(scrollOffsetToReveal(QRectF(16, 116, 180, 150), 100, 182, 2000), std::nullopt);
    }

    void revealPutsATileAboveNearTheTop()
    {
        // Tile at 100..250, viewport scrolled to 400 with height 500.
        const auto offset = scrollOffsetToReveal(QRectF(16, 100, 180, 150), 400, 500, 2000);
        QVERIFY(offset);
        // The point at 0.12 of the tile meets the point at 0.12 of the viewport.
        QCOMPARE(*offset, 100 + 0.12 * (150 - 500));
        QVERIFY(100 > *offset && 100 - *offset < 0.12 * 500);
    }

    void revealPutsATileBelowNearTheBottom()
    {
        const auto offset = scrollOffsetToReveal(QRectF(16, 900, 180, 150), 0, 500, 2000);
        QVERIFY(offset);
        QCOMPARE(*offset, 900 + 0.88 * (150 - 500));
        const double below = *offset + 500 - 1050;
        QVERIFY(below > 16 && below < 0.12 * 500);
    }

    void revealOfATileCrowdingTheTopEdgeStaysAtTheTop()
    {
        // Its top is inside the viewport but within the 16 px margin: it must not be sent
        // to the bottom of the viewport.
        const auto offset = scrollOffsetToReveal(QRectF(16, 405, 180, 150), 400, 500, 2000);
        QVERIFY(offset);
        QVERIFY(*offset < 405);
        QCOMPARE(*offset, 405 + 0.12 * (150 - 500));
    }

    void revealStaysInsideTheContent()
    {
        // The first row cannot be pulled below the top of the content...
        QCOMPARE(scrollOffsetToReveal(QRectF(16, 16, 180, 150), 300, 500, 2000), 0.0);
        // ...and the last row cannot push past its end.
        QCOMPARE(scrollOffsetToReveal(QRectF(16, 1834, 180, 150), 0, 500, 2000), 1500.0);
        // Content shorter than the viewport never scrolls.
        QCOMPARE(scrollOffsetToReveal(QRectF(16, 10, 180, 150), 0, 200, 160), std::nullopt);
    }
};

QTEST_APPLESS_MAIN(GridGeometryTest)
#include "tst_gridgeometry.moc"
