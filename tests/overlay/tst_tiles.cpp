#include "capture/LinkPreviewCache.h"
#include "common/Images.h"
#include "common/OverlayRig.h"
#include "overlay/CodeText.h"
#include "overlay/SceneGraphBackend.h"
#include "overlay/TileImageProvider.h"

#include <QAbstractItemModelTester>
#include <QPainter>
#include <QQuickImageResponse>
#include <QQuickTextureFactory>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

ClipItem imageWithBytes(const QByteArray &bytes, const QString &text = {})
{
    ClipItem item = ClipItem::makeImage(bytes);
    if (!text.isEmpty())
        item.text = text;
    return item;
}

QStringList column(const ClipListModel &model, int role)
{
    QStringList values;
    for (int row = 0; row < model.rowCount(); ++row)
        values.append(model.data(model.index(row), role).toString());
    return values;
}

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

// A history "0" (newest) ... "4" and one category, the model checked by
// QAbstractItemModelTester throughout; its row changes are written down in edits.
struct Fixture : OverlayRig
{
    explicit Fixture(LinkPreviewCache *links = nullptr)
        : OverlayRig(links)
    {
        fill(5);
        categoryId = store.addCategory(QStringLiteral("Saved"));
        const auto span = [this](const char *what) {
            return [this, what](const QModelIndex &, int first, int last) {
                edits.append(QStringLiteral("%1 %2-%3").arg(what).arg(first).arg(last));
            };
        };
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, span("insert"));
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, span("remove"));
        QObject::connect(&model, &QAbstractItemModel::rowsMoved, span("move"));
        QObject::connect(&model, &QAbstractItemModel::modelReset, [this] {
            edits.append(QStringLiteral("reset"));
        });
    }

    QStringList texts() const { return column(model, ClipListModel::ExcerptRole); }
    QVariant first(int role) const { return model.data(model.index(0), role); }

    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::QtTest};
    QUuid categoryId;
    QStringList edits;
};

// The tiles: what the list model gives each one, and the images drawn for them.
class TilesTest : public QObject
{
    Q_OBJECT

private slots:
    void presentationIsTriedImageColourLinkText_data()
    {
        QTest::addColumn<ClipItem>("item");
        QTest::addColumn<QString>("kind");
        QTest::newRow("decodable image")
            << imageWithBytes(solidImage(Qt::red, {40, 20})) << "image";
        // Images never count as colours or links, so an undecodable one ends as text.
        QTest::newRow("image that does not decode")
            << imageWithBytes("not an image", QStringLiteral("#ff0000")) << "text";
        QTest::newRow("image without bytes or text") << imageWithBytes(QByteArray()) << "text";
        QTest::newRow("hex colour") << ClipItem::makeText(QStringLiteral("#3B82F6")) << "color";
        QTest::newRow("link") << ClipItem::makeText(QStringLiteral("example.org/guides")) << "link";
        QTest::newRow("text") << ClipItem::makeText(QStringLiteral("just words")) << "text";
    }
    void presentationIsTriedImageColourLinkText()
    {
        QFETCH(ClipItem, item);
        QFETCH(QString, kind);
        Fixture f;
        f.store.captureFromClipboard(item);
        QCOMPARE(f.first(ClipListModel::KindRole).toString(), kind);
    }

    void codeIsToldFromProse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("code");
        QTest::newRow("a shell command") << "docker compose up -d --build" << true;
        QTest::newRow("a query") << "SELECT name FROM orders WHERE id = 4;" << true;
        QTest::newRow("a line of a program")
            << "const total = items.reduce((sum, item) => sum + item.price, 0);" << true;
        QTest::newRow("an indented block") << "if ready:\n    go()\n    stop()" << true;
        QTest::newRow("a configuration line") << "max_connections = 200" << true;
        QTest::newRow("settings on several lines") << "host: db.local\nport: 5432" << true;
        QTest::newRow("a sentence") << "The quick brown fox jumps over the lazy dog." << false;
        QTest::newRow("a note with a colon") << "Note: call back after lunch" << false;
        QTest::newRow("a word that is also a command")
            << "make sure the door is locked before you leave" << false;
        QTest::newRow("nothing") << "   " << false;
    }
    void codeIsToldFromProse()
    {
        QFETCH(QString, text);
        QFETCH(bool, code);
        QCOMPARE(CodeText::looksLikeCode(text), code);
        Fixture f;
        f.store.captureFromClipboard(ClipItem::makeText(text.trimmed().isEmpty() ? u"x"_s : text));
        QCOMPARE(f.first(ClipListModel::CodeRole).toBool(), code);
    }

    void imageRowsPublishTheirBytesForTheProvider()
    {
        Fixture f;
        const QByteArray png = solidImage(Qt::green, {40, 20});
        f.store.captureFromClipboard(ClipItem::makeImage(png));
        const QString id = f.first(ClipListModel::IdRole).toString();
        QCOMPARE(f.first(ClipListModel::ImageSourceRole).toString(),
                 QStringLiteral("image://tiles/item/%1/12").arg(id));
        QCOMPARE(f.images->itemImage(id), png);
        // A model made over a store that already holds images publishes them at once.
        auto others = std::make_shared<TileImageSource>();
        ClipListModel later(f.store, f.state, others, nullptr);
        QCOMPARE(others->itemImage(id), png);
        // Filtered out, it stays reachable for a tile still loading it...
        f.state.setQuery(QStringLiteral("no such text"));
        QCOMPARE(f.images->itemImage(id), png);
        // ...but gone from the store, it is gone.
        f.store.deleteFromHistory(QUuid::fromString(id));
        QVERIFY(f.images->itemImage(id).isEmpty());
    }

    void longTextIsCutToAnExcerpt()
    {
        Fixture f;
        f.store.captureFromClipboard(ClipItem::makeText(QString(100000, u'x')));
        QCOMPARE(f.texts().first().size(), ClipListModel::kExcerptLength);
    }

    // History changes reach the view as the smallest row edits, never as a reset.
    void historyChangesAreRowEdits_data()
    {
        QTest::addColumn<QString>("captured");
        QTest::addColumn<QList<int>>("deleted"); // rows
        QTest::addColumn<QStringList>("edits");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("a new capture is one insert at the top")
            << "5" << QList<int>() << QStringList{"insert 0-0"}
            << QStringList{"5", "0", "1", "2", "3", "4"};
        QTest::newRow("recapturing an older entry is one move")
            << "3" << QList<int>() << QStringList{"move 3-3"}
            << QStringList{"3", "0", "1", "2", "4"};
        QTest::newRow("separate entries are removed row by row")
            << "" << QList{1, 3} << QStringList{"remove 3-3", "remove 1-1"}
            << QStringList{"0", "2", "4"};
        QTest::newRow("neighbours are one removal")
            << "" << QList{1, 2, 3} << QStringList{"remove 1-3"} << QStringList{"0", "4"};
    }
    void historyChangesAreRowEdits()
    {
        QFETCH(QString, captured);
        QFETCH(QList<int>, deleted);
        QFETCH(QStringList, edits);
        QFETCH(QStringList, texts);
        Fixture f;
        QSignalSpy count(&f.model, &ClipListModel::countChanged);
        if (!captured.isEmpty())
            f.store.captureFromClipboard(ClipItem::makeText(captured));
        QSet<QUuid> ids;
        for (int row : deleted)
            ids.insert(f.model.itemAt(row).id);
        if (!ids.isEmpty())
            f.store.deleteFromHistory(ids);
        QCOMPARE(f.edits, edits);
        QCOMPARE(f.texts(), texts);
        QCOMPARE(count.isEmpty(), f.texts().size() == 5);
    }

    void typingAndClearingTheQueryRemovesAndRestoresRows()
    {
        Fixture f;
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("12")));
        f.edits.clear();
        f.state.setQuery(QStringLiteral("1"));
        QCOMPARE(f.texts(), QStringList({"12", "1"}));
        QVERIFY(!f.edits.join(' ').contains(u"insert"));
        f.state.setQuery(QString());
        QCOMPARE(f.texts(), QStringList({"12", "0", "1", "2", "3", "4"}));
        QVERIFY(!f.edits.contains(u"reset"));
    }

    void switchingTabsReplacesTheList()
    {
        Fixture f;
        f.store.add(ClipItem::makeText(QStringLiteral("kept")), f.categoryId);
        f.store.add(ClipItem::makeText(QStringLiteral("newer")), f.categoryId);
        f.state.setTab(Tab::category(f.categoryId));
        QCOMPARE(f.edits, QStringList{"reset"});
        QCOMPARE(f.texts(), QStringList({"newer", "kept"}));
        // A history change no longer touches the category's rows.
        QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("elsewhere")));
        QCOMPARE(f.edits, QStringList{"reset"});
        QCOMPARE(changed.size(), 0);
        // A tab whose category is gone shows nothing.
        f.store.deleteCategory(f.categoryId);
        QCOMPARE(f.model.rowCount(), 0);
    }

    void selectionChangesRepaintOnlyTheRowsThatChanged()
    {
        Fixture f;
        const QList<ClipItem> items = f.model.items();
        QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
        f.state.setSelection({items.at(1).id, items.at(3).id});
        QCOMPARE(changed.size(), 2);
        for (const QList<QVariant> &signal : std::as_const(changed))
            QCOMPARE(signal.at(2).value<QList<int>>(), QList<int>{ClipListModel::SelectedRole});
        changed.clear();
        f.state.setSelection({items.at(3).id, items.at(4).id});
        QCOMPARE(changed.size(), 2);
        QCOMPARE(column(f.model, ClipListModel::SelectedRole),
                 QStringList({"false", "false", "false", "true", "true"}));
        // A new row comes selected when its id is.
        const ClipItem fresh = ClipItem::makeText(QStringLiteral("fresh"));
        f.state.setSelection({fresh.id});
        f.store.captureFromClipboard(fresh);
        QVERIFY(f.first(ClipListModel::SelectedRole).toBool());
    }

    void recognisedTextChangesNoTile()
    {
        Fixture f;
        const QByteArray png = solidImage(Qt::blue, {40, 20});
        f.store.captureFromClipboard(ClipItem::makeImage(png));
        QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
        f.store.setOCR(QStringLiteral("words"), png);
        QCOMPARE(changed.size(), 0);
        // The row still carries the new value for those who read the item, and the query finds it.
        QCOMPARE(f.model.itemAt(0).ocrText, QStringLiteral("words"));
        f.state.setQuery(QStringLiteral("WORDS"));
        QCOMPARE(f.model.rowCount(), 1);
    }

    void linkRowsShowTheCachedPreviewOnceItArrives()
    {
        // A server that never answers: the fetch ends at the timeout with the host only.
        LinkPreviewCache cache(std::chrono::milliseconds(200));
        Fixture f(&cache);
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("http://127.0.0.1:9/page")));
        QCOMPARE(f.first(ClipListModel::LinkFetchedRole).toBool(), false);
        QCOMPARE(f.first(ClipListModel::LinkHostRole).toString(), "127.0.0.1");
        QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
        f.model.loadLinkPreview(0);
        f.model.loadLinkPreview(0);
        QTRY_VERIFY_WITH_TIMEOUT(f.first(ClipListModel::LinkFetchedRole).toBool(), 10000);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(f.first(ClipListModel::LinkTitleRole).toString(), QString());
        QCOMPARE(f.first(ClipListModel::LinkImageRole).toString(), QString());
    }

    // Near the tile's shape a picture fills it, cropped at the centre; far from it (a wide
    // screenshot, a label near the edge) it is shown whole over a dimmed fill of itself.
    void thumbnailsFitOrCropByShapeAndStayBounded()
    {
        const auto source = sourceOf({{"A", halvesPng(QSize(800, 200))},
                                      {"B", halvesPng(QSize(3000, 1500))},
                                      {"C", halvesPng(QSize(106, 100))}});
        TileImageProvider provider(source);
        const QImage image = provider.render(QStringLiteral("item/A/12"), QSize(100, 100));
        QCOMPARE(image.size(), QSize(100, 100));
        // The whole 4:1 image, both ends included, across the middle.
        QCOMPARE(QColor(image.pixel(2, 50)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(25, 50)), QColor(Qt::red));
        QCOMPARE(QColor(image.pixel(75, 50)), QColor(Qt::blue));
        QCOMPARE(QColor(image.pixel(97, 50)), QColor(Qt::blue));
        // Above and below it a darker fill, not the picture itself and not empty.
        const QColor above = QColor(image.pixel(25, 12));
        QVERIFY(above != QColor(Qt::red));
        QVERIFY(above.red() > above.green());
        QCOMPARE(alphaAt(image, 25, 12), 255);
        // Nearly square: cropped to fill, the halves meeting at the centre.
        const QImage square = provider.render(QStringLiteral("item/C/0"), QSize(100, 100));
        QCOMPARE(QColor(square.pixel(1, 1)), QColor(Qt::red));
        QCOMPARE(QColor(square.pixel(98, 98)), QColor(Qt::blue));
        // Without a requested size, the thumbnail stays bounded.
        const QImage unsized = provider.render(QStringLiteral("item/B/0"), QSize());
        QCOMPARE(unsized.size(), QSize(1024, 512));
        QCOMPARE(alphaAt(unsized, 0, 0), 255);
    }

    void whatCannotBeMadeIsNull_data()
    {
        QTest::addColumn<QString>("id");
        QTest::newRow("garbage bytes") << "item/bad/12";
        QTest::newRow("a header claiming 60000 x 60000") << "item/huge/12";
        QTest::newRow("unknown item") << "item/nobody/12";
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

    // Tiles of clips the store let go leave the cache with the next tile made, not when the
    // bound pushes them out; so do link images of links no longer held.
    void tilesOfClipsGoneLeaveTheCache()
    {
        const auto source = sourceOf(
            {{"A", halvesPng(QSize(200, 200))}, {"B", halvesPng(QSize(200, 200))}});
        source->setLinkImage(QStringLiteral("L"), QImage(50, 50, QImage::Format_RGB32));
        TileImageProvider provider(source);
        for (const char *id : {"item/A/12", "item/B/12", "link/L/12"})
            QVERIFY(!provider.render(QString::fromLatin1(id), QSize(100, 100)).isNull());
        const qsizetype oneTile = 100 * 100 * 4;
        QCOMPARE(provider.cachedBytes(), 3 * oneTile);

        source->setItemImages({{"B", halvesPng(QSize(200, 200))}});
        source->keepLinkImages({});
        QVERIFY(!provider.render(QStringLiteral("item/B/12"), QSize(100, 100)).isNull());
        QCOMPARE(provider.cachedBytes(), oneTile);
        QVERIFY(provider.render(QStringLiteral("link/L/12"), QSize(100, 100)).isNull());
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

    void softwareRenderersAreRecognised_data()
    {
        QTest::addColumn<QByteArray>("renderer");
        QTest::addColumn<bool>("software");
        QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
        QTest::newRow("no context at all") << QByteArray() << true;
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

QTEST_MAIN(TilesTest)
#include "tst_tiles.moc"
