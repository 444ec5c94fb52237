#include "overlay/GridGeometry.h"

#include <QTest>

using namespace GridGeometry;
using Offset = std::optional<double>;

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
        const QRectF first = tileFrame(0, 1000);
        QCOMPARE(first.topLeft(), QPointF(16, 16));
        QCOMPARE(first.height(), 150.0);
        QCOMPARE(tileFrame(4, 1000).right(), 1000.0 - 16);
        QCOMPARE(tileFrame(1, 1000).left() - first.right(), 14.0);
        // The next row starts below, with the spacing.
        QCOMPARE(tileFrame(5, 1000).topLeft(), QPointF(16, 16 + 150 + 14));
        QCOMPARE(contentHeight(0, 1000), 32.0);
        QCOMPARE(contentHeight(6, 1000), tileFrame(5, 1000).bottom() + 16);
    }

    // A tile 150 high at the given top, a viewport 500 high scrolled to the given offset over
    // content 2000 high: the offset that reveals the tile, if any.
    void reveal_data()
    {
        QTest::addColumn<double>("top");
        QTest::addColumn<double>("scroll");
        QTest::addColumn<double>("viewport");
        QTest::addColumn<double>("content");
        QTest::addColumn<Offset>("offset");
        QTest::newRow("comfortably visible") << 100.0 << 0.0 << 500.0 << 2000.0 << Offset();
        QTest::newRow("exactly 16 from both edges")
            << 116.0 << 100.0 << 182.0 << 2000.0 << Offset();
        QTest::newRow("above: its 0.12 point meets the viewport's")
            << 100.0 << 400.0 << 500.0 << 2000.0 << Offset(100 + 0.12 * (150 - 500));
        QTest::newRow("below: at 0.88")
            << 900.0 << 0.0 << 500.0 << 2000.0 << Offset(900 + 0.88 * (150 - 500));
        // Its top is inside the viewport but within the margin: not sent to the bottom.
        QTest::newRow("crowding the top edge")
            << 405.0 << 400.0 << 500.0 << 2000.0 << Offset(405 + 0.12 * (150 - 500));
        QTest::newRow("not above the content") << 16.0 << 300.0 << 500.0 << 2000.0 << Offset(0);
        QTest::newRow("not past its end") << 1834.0 << 0.0 << 500.0 << 2000.0 << Offset(1500);
        QTest::newRow("short content never scrolls") << 10.0 << 0.0 << 200.0 << 160.0 << Offset();
    }
    void reveal()
    {
        QFETCH(double, top);
        QFETCH(double, scroll);
        QFETCH(double, viewport);
        QFETCH(double, content);
        QFETCH(Offset, offset);
        QCOMPARE(scrollOffsetToReveal(QRectF(16, top, 180, 150), scroll, viewport, content), offset);
    }
};

QTEST_APPLESS_MAIN(GridGeometryTest)
#include "tst_gridgeometry.moc"
