#include "common/OverlayRig.h"
#include "overlay/OverlayWindow.h"
#include "overlay/SceneGraphBackend.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

namespace {

// How far a pixel is from a colour, summed over the channels.
int distance(QRgb pixel, QColor colour)
{
    return std::abs(qRed(pixel) - colour.red()) + std::abs(qGreen(pixel) - colour.green())
           + std::abs(qBlue(pixel) - colour.blue());
}

} // namespace

// The overlay drawn on a real X server at the scale factor the test runs with (QT_SCALE_FACTOR
// set by CTest: 1, 1.5 and 2): a selected tile keeps its content, and the card is there while
// it zooms in.
class ScaledOverlayTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { SceneGraphBackend::choose(); }

    void selectedTileAndZoomingCardAreDrawn()
    {
        OverlayRig rig;
        rig.fill(8);
        rig.store.captureFromClipboard(
            ClipItem::makeText(QStringLiteral("WWWWWWWW WWWWWWWW WWWWWWWW WWWWWWWW WWWWWWWW")));
        OverlayWindow overlay(rig.store, rig.state);
        overlay.show();
        QTRY_COMPARE_WITH_TIMEOUT(rig.state.appearance(), 1.0, 10000);
        QQuickWindow *window = overlay.window();
        QTRY_VERIFY_WITH_TIMEOUT(window->isExposed(), 10000);
        const qreal ratio = window->devicePixelRatio();
        QCOMPARE(ratio, qEnvironmentVariable("QT_SCALE_FACTOR", QStringLiteral("1")).toDouble());

        rig.state.selectOnly(rig.model.items(), 0);
        QQuickItem *face = nullptr;
        QTRY_VERIFY((face = findQuickItem(window->contentItem(), QStringLiteral("tileFace"), 0)));
        QTRY_COMPARE_WITH_TIMEOUT(face->parentItem()->property("lift").toDouble(), 1.0, 5000);

        const QImage frame = window->grabWindow();
        QCOMPARE(frame.size(), (QSizeF(window->size()) * ratio).toSize());
        const QRectF rect = QRectF(face->mapToScene(QPointF(0, 0)), face->size());
        const QRect pixels = QRectF(rect.topLeft() * ratio, rect.size() * ratio).toRect();
        QVERIFY(frame.rect().contains(pixels));

        // The text: bright pixels in its upper part, where the words are.
        int bright = 0;
        const QRect words = pixels.adjusted(pixels.width() / 10,
                                            pixels.height() / 12,
                                            -pixels.width() / 10,
                                            -pixels.height() / 2);
        for (int y = words.top(); y < words.bottom(); ++y) {
            for (int x = words.left(); x < words.right(); ++x) {
                if (qGray(frame.pixel(x, y)) > 170)
                    ++bright;
            }
        }
        QVERIFY2(bright > words.width() * words.height() / 50,
                 qPrintable(QStringLiteral("%1 bright pixels").arg(bright)));

        // Half way through a zoom the card is drawn, scaled, not left out.
        overlay.hide();
        QTRY_VERIFY_WITH_TIMEOUT(!overlay.isVisible(), 5000);
        overlay.show();
        QTRY_COMPARE_WITH_TIMEOUT(rig.state.appearance(), 1.0, 10000);
        QSignalSpy swapped(window, &QQuickWindow::frameSwapped);
        rig.state.setAppearance(0.5);
        QVERIFY(swapped.wait(5000));
        // A layer made in one frame is filled in the next ones.
        QTest::qWait(500);
        // What the X server shows: a layer is drawn by the window's own render pass only.
        const QImage zooming = window->screen()->grabWindow(window->winId()).toImage();
        const QPoint centre = zooming.rect().center();
        const QColor material = QColor::fromRgbF(0.102f, 0.108f, 0.128f);
        QVERIFY2(distance(zooming.pixel(centre), material) < 60,
                 qPrintable(QColor(zooming.pixel(centre)).name()));
    }
};

QTEST_MAIN(ScaledOverlayTest)
#include "tst_scaledoverlay.moc"
