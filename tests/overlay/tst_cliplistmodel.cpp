#include "capture/LinkPreviewCache.h"
#include "model/Store.h"
#include "overlay/ClipListModel.h"
#include "overlay/OverlayState.h"
#include "overlay/TileImageProvider.h"

#include <QAbstractItemModelTester>
#include <QBuffer>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray pngBytes(const QColor &color, QSize size = QSize(40, 20))
{
    QImage image(size, QImage::Format_ARGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

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

} // namespace

// A store with history "5" (newest) ... "1", one category, and the model over them, checked
// by QAbstractItemModelTester throughout.
class Fixture
{
public:
    Fixture()
        : store(dir.path() + QStringLiteral("/store.json"))
        , images(std::make_shared<TileImageSource>())
    {
        for (int i = 1; i <= 5; ++i)
            store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
        categoryId = store.addCategory(QStringLiteral("Saved"));
        model = std::make_unique<ClipListModel>(store, state, images, nullptr);
        tester = std::make_unique<QAbstractItemModelTester>(
            model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    }

    QStringList texts() const { return column(*model, ClipListModel::ExcerptRole); }

    QTemporaryDir dir;
    Store store;
    OverlayState state;
    std::shared_ptr<TileImageSource> images;
    QUuid categoryId;
    std::unique_ptr<ClipListModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

class ClipListModelTest : public QObject
{
    Q_OBJECT

private slots:
    void presentationIsTriedImageColourLinkText_data()
    {
        QTest::addColumn<ClipItem>("item");
        QTest::addColumn<QString>("kind");
        const QByteArray png = pngBytes(Qt::red);
        QTest::newRow("decodable image") << imageWithBytes(png) << "image";
        // Images never count as colours or links, so an undecodable one ends as text.
        QTest::newRow("image that does not decode")
            << imageWithBytes("not an image", QStringLiteral("#ff0000")) << "text";
        QTest::newRow("image with a PNG signature and nothing after it")
            << imageWithBytes("\x89PNG\r\n\x1a\n") << "text";
        QTest::newRow("image without bytes or text") << imageWithBytes(QByteArray()) << "text";
        QTest::newRow("hex colour") << ClipItem::makeText(QStringLiteral("#3B82F6")) << "color";
        QTest::newRow("colour and link at once: the colour wins")
            << ClipItem::makeText(QStringLiteral("#abc")) << "color";
        QTest::newRow("link") << ClipItem::makeText(QStringLiteral("https://example.org/a"))
                              << "link";
        QTest::newRow("bare host")
            << ClipItem::makeText(QStringLiteral("example.org/guides")) << "link";
        QTest::newRow("text") << ClipItem::makeText(QStringLiteral("just words")) << "text";
    }
    void presentationIsTriedImageColourLinkText()
    {
        QFETCH(ClipItem, item);
        QFETCH(QString, kind);
        Fixture f;
        f.store.captureFromClipboard(item);
        QCOMPARE(f.model->data(f.model->index(0), ClipListModel::KindRole).toString(), kind);
    }

    void swatchCaptionFollowsLuminance_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("light");
        QTest::newRow("white, L = 1") << "#FFFFFF" << true;
        QTest::newRow("yellow, L = 0.9278") << "#FFFF00" << true;
        QTest::newRow("blue, L = 0.0722") << "#0000FF" << false;
        QTest::newRow("black") << "#000" << false;
        QTest::newRow("grey just below 0.6") << "#989898" << false;
        QTest::newRow("just above 0.6") << "#9A9A9A" << true;
    }
    void swatchCaptionFollowsLuminance()
    {
        QFETCH(QString, text);
        QFETCH(bool, light);
        Fixture f;
        f.store.captureFromClipboard(ClipItem::makeText(text));
        const QModelIndex first = f.model->index(0);
        QCOMPARE(f.model->data(first, ClipListModel::CaptionOnLightRole).toBool(), light);
        QCOMPARE(f.model->data(first, ClipListModel::HexLabelRole).toString(), text);
    }

    void imageRowsPublishTheirBytesForTheProvider()
    {
        Fixture f;
        const QByteArray png = pngBytes(Qt::green);
        f.store.captureFromClipboard(ClipItem::makeImage(png));
        const QString source = f.model->data(f.model->index(0), ClipListModel::ImageSourceRole)
                                   .toString();
        const QString id = f.model->data(f.model->index(0), ClipListModel::IdRole).toString();
        QCOMPARE(source, QStringLiteral("image://tiles/item/%1/12").arg(id));
        QCOMPARE(f.images->itemImage(id), png);
        // Filtered out, it stays reachable for a tile still loading it...
        f.state.setQuery(QStringLiteral("no such text"));
        QCOMPARE(f.images->itemImage(id), png);
        // ...but gone from the store, it is gone.
        f.store.deleteFromHistory(QUuid::fromString(id));
        QVERIFY(f.images->itemImage(id).isEmpty());
    }

    void imagesAlreadyInTheStoreArePublishedAtOnce()
    {
        QTemporaryDir dir;
        Store store(dir.path() + QStringLiteral("/store.json"));
        const QByteArray png = pngBytes(Qt::yellow);
        store.captureFromClipboard(ClipItem::makeImage(png));
        OverlayState state;
        auto images = std::make_shared<TileImageSource>();
        ClipListModel model(store, state, images, nullptr);
        const QString id = model.data(model.index(0), ClipListModel::IdRole).toString();
        QCOMPARE(images->itemImage(id), png);
    }

    void longTextIsCutToAnExcerpt()
    {
        Fixture f;
        f.store.captureFromClipboard(ClipItem::makeText(QString(100000, u'x')));
        QCOMPARE(f.texts().first().size(), ClipListModel::kExcerptLength);
    }

    void aNewCaptureIsOneInsertAtTheTop()
    {
        Fixture f;
        QSignalSpy inserted(f.model.get(), &QAbstractItemModel::rowsInserted);
        QSignalSpy reset(f.model.get(), &QAbstractItemModel::modelReset);
        QSignalSpy count(f.model.get(), &ClipListModel::countChanged);
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("6")));
        QCOMPARE(inserted.size(), 1);
        QCOMPARE(inserted.first().at(1).toInt(), 0);
        QCOMPARE(inserted.first().at(2).toInt(), 0);
        QCOMPARE(reset.size(), 0);
        QCOMPARE(count.size(), 1);
        QCOMPARE(f.texts(), QStringList({"6", "5", "4", "3", "2", "1"}));
    }

    void recapturingAnOlderEntryIsOneMove()
    {
        Fixture f;
        QSignalSpy moved(f.model.get(), &QAbstractItemModel::rowsMoved);
        QSignalSpy inserted(f.model.get(), &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(f.model.get(), &QAbstractItemModel::rowsRemoved);
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("2")));
        QCOMPARE(moved.size(), 1);
        QCOMPARE(inserted.size(), 0);
        QCOMPARE(removed.size(), 0);
        QCOMPARE(f.texts(), QStringList({"2", "5", "4", "3", "1"}));
    }

    void deletingSeparateEntriesRemovesExactlyThoseRows()
    {
        Fixture f;
        const QList<ClipItem> items = f.model->items();
        QSignalSpy removed(f.model.get(), &QAbstractItemModel::rowsRemoved);
        f.store.deleteFromHistory(QSet<QUuid>{items.at(1).id, items.at(3).id});
        QCOMPARE(removed.size(), 2);
        QCOMPARE(f.texts(), QStringList({"5", "3", "1"}));
    }

    void deletingNeighboursIsOneRemoval()
    {
        Fixture f;
        const QList<ClipItem> items = f.model->items();
        QSignalSpy removed(f.model.get(), &QAbstractItemModel::rowsRemoved);
        f.store.deleteFromHistory(QSet<QUuid>{items.at(1).id, items.at(2).id, items.at(3).id});
        QCOMPARE(removed.size(), 1);
        QCOMPARE(removed.first().at(1).toInt(), 1);
        QCOMPARE(removed.first().at(2).toInt(), 3);
        QCOMPARE(f.texts(), QStringList({"5", "1"}));
    }

    void typingAndClearingTheQueryRemovesAndRestoresRows()
    {
        Fixture f;
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("12")));
        QSignalSpy removed(f.model.get(), &QAbstractItemModel::rowsRemoved);
        QSignalSpy inserted(f.model.get(), &QAbstractItemModel::rowsInserted);
        QSignalSpy reset(f.model.get(), &QAbstractItemModel::modelReset);
        f.state.setQuery(QStringLiteral("1"));
        QCOMPARE(f.texts(), QStringList({"12", "1"}));
        QCOMPARE(inserted.size(), 0);
        f.state.setQuery(QString());
        QCOMPARE(f.texts(), QStringList({"12", "5", "4", "3", "2", "1"}));
        QCOMPARE(reset.size(), 0);
        QVERIFY(removed.size() >= 1);
        QVERIFY(inserted.size() >= 1);
    }

    void switchingTabsReplacesTheList()
    {
        Fixture f;
        f.store.add(ClipItem::makeText(QStringLiteral("kept")), f.categoryId);
        QSignalSpy reset(f.model.get(), &QAbstractItemModel::modelReset);
        f.state.setTab(Tab::category(f.categoryId));
        QCOMPARE(reset.size(), 1);
        QCOMPARE(f.texts(), QStringList({"kept"}));
        // A history change no longer touches the category's rows.
        QSignalSpy changed(f.model.get(), &QAbstractItemModel::dataChanged);
        QSignalSpy inserted(f.model.get(), &QAbstractItemModel::rowsInserted);
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("elsewhere")));
        QCOMPARE(inserted.size(), 0);
        QCOMPARE(changed.size(), 0);
    }

    void aDeletedCategoryTabShowsNothing()
    {
        Fixture f;
        f.store.add(ClipItem::makeText(QStringLiteral("kept")), f.categoryId);
        f.state.setTab(Tab::category(f.categoryId));
        f.store.deleteCategory(f.categoryId);
        QCOMPARE(f.model->rowCount(), 0);
    }

    void selectionChangesRepaintOnlyTheRowsThatChanged()
    {
        Fixture f;
        const QList<ClipItem> items = f.model->items();
        QSignalSpy changed(f.model.get(), &QAbstractItemModel::dataChanged);
        f.state.setSelection({items.at(1).id, items.at(3).id});
        QCOMPARE(changed.size(), 2);
        for (const QList<QVariant> &signal : std::as_const(changed))
            QCOMPARE(signal.at(2).value<QList<int>>(), QList<int>{ClipListModel::SelectedRole});
        changed.clear();
        f.state.setSelection({items.at(3).id, items.at(4).id});
        QCOMPARE(changed.size(), 2);
        QCOMPARE(column(*f.model, ClipListModel::SelectedRole),
                 QStringList({"false", "false", "false", "true", "true"}));
    }

    void newRowsComeSelectedWhenTheirIdIs()
    {
        Fixture f;
        const ClipItem fresh = ClipItem::makeText(QStringLiteral("fresh"));
        f.state.setSelection({fresh.id});
        f.store.captureFromClipboard(fresh);
        QVERIFY(f.model->data(f.model->index(0), ClipListModel::SelectedRole).toBool());
    }

    void recognisedTextChangesNoTile()
    {
        Fixture f;
        const QByteArray png = pngBytes(Qt::blue);
        f.store.captureFromClipboard(ClipItem::makeImage(png));
        QSignalSpy changed(f.model.get(), &QAbstractItemModel::dataChanged);
        f.store.setOCR(QStringLiteral("words"), png);
        QCOMPARE(changed.size(), 0);
        // The row still carries the new value for those who read the item.
        QCOMPARE(f.model->itemAt(0).ocrText, QStringLiteral("words"));
        // And the query finds it.
        f.state.setQuery(QStringLiteral("WORDS"));
        QCOMPARE(f.model->rowCount(), 1);
    }

    void linkRowsShowTheCachedPreviewOnceItArrives()
    {
        // A server that never answers: the fetch ends at the timeout with the host only.
        LinkPreviewCache cache(std::chrono::milliseconds(200));
        QTemporaryDir dir;
        Store store(dir.path() + QStringLiteral("/store.json"));
        OverlayState state;
        ClipListModel model(store, state, std::make_shared<TileImageSource>(), &cache);
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        store.captureFromClipboard(ClipItem::makeText(QStringLiteral("http://127.0.0.1:9/page")));
        const QModelIndex first = model.index(0);
        QCOMPARE(model.data(first, ClipListModel::LinkFetchedRole).toBool(), false);
        QCOMPARE(model.data(first, ClipListModel::LinkHostRole).toString(), "127.0.0.1");
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        model.loadLinkPreview(0);
        model.loadLinkPreview(0);
        QTRY_VERIFY_WITH_TIMEOUT(model.data(first, ClipListModel::LinkFetchedRole).toBool(), 10000);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(model.data(first, ClipListModel::LinkTitleRole).toString(), QString());
        QCOMPARE(model.data(first, ClipListModel::LinkImageRole).toString(), QString());
    }
};

QTEST_GUILESS_MAIN(ClipListModelTest)
#include "tst_cliplistmodel.moc"
