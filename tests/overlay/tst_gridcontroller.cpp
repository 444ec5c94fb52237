#include "model/Store.h"
#include "overlay/ClipListModel.h"
#include "overlay/GridController.h"
#include "overlay/GridGeometry.h"
#include "overlay/OverlayState.h"
#include "overlay/TileImageProvider.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString idString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

// Ten history items, "0" newest ... "9", two categories, and a grid 1000 wide (five columns).
class Fixture
{
public:
    Fixture()
        : store(dir.path() + QStringLiteral("/store.json"))
        , model(store, state, std::make_shared<TileImageSource>(), nullptr)
        , grid(store, state, model)
    {
        for (int i = 9; i >= 0; --i)
            store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
        work = store.addCategory(QStringLiteral("Work"));
        home = store.addCategory(QStringLiteral("Home"));
        grid.onPick = [this](const ClipItem &item) { picked.append(*item.text); };
    }

    QUuid id(int index) const { return model.itemAt(index).id; }
    QSet<QUuid> ids(std::initializer_list<int> indexes) const
    {
        QSet<QUuid> set;
        for (int index : indexes)
            set.insert(id(index));
        return set;
    }
    QStringList texts(const QList<ClipItem> &items) const
    {
        QStringList list;
        for (const ClipItem &item : items)
            list.append(*item.text);
        return list;
    }
    QStringList categoryTexts(const QUuid &category) const
    {
        return texts(store.category(category)->items);
    }
    QPointF centreOf(int index) const { return GridGeometry::tileFrame(index, 1000).center(); }

    QTemporaryDir dir;
    Store store;
    OverlayState state;
    ClipListModel model;
    GridController grid;
    QUuid work;
    QUuid home;
    QStringList picked;
};

class GridControllerTest : public QObject
{
    Q_OBJECT

private slots:
    void columnsAreWrittenToTheState()
    {
        Fixture f;
        QSignalSpy spy(&f.state, &OverlayState::gridColumnsChanged);
        QCOMPARE(f.grid.updateColumns(200), 1);
        QCOMPARE(f.state.gridColumns(), 1);
        QCOMPARE(f.grid.updateColumns(1000), 5);
        QCOMPARE(f.state.gridColumns(), 5);
        QCOMPARE(spy.size(), 2);
    }

    void plainClickPicksEvenInsideASelection()
    {
        Fixture f;
        f.state.setSelection(f.ids({1, 2, 3}));
        f.state.setSelectionAnchor(3);
        f.grid.handleTap(2, Qt::NoModifier);
        QCOMPARE(f.picked, QStringList{"2"});
        QCOMPARE(f.state.selection(), f.ids({1, 2, 3}));
        QCOMPARE(f.state.selectionAnchor(), 3);
    }

    void ctrlClickTogglesAndMovesTheAnchor()
    {
        Fixture f;
        f.grid.handleTap(4, Qt::ControlModifier);
        QCOMPARE(f.state.selection(), f.ids({4}));
        QCOMPARE(f.state.selectionAnchor(), 4);
        // The only selected tile: the selection empties, the anchor stays on it.
        f.grid.handleTap(4, Qt::ControlModifier);
        QVERIFY(f.state.selection().isEmpty());
        QCOMPARE(f.state.selectionAnchor(), 4);
        QVERIFY(f.picked.isEmpty());
    }

    void ctrlWinsOverShift()
    {
        Fixture f;
        f.grid.handleTap(1, Qt::ControlModifier);
        f.grid.handleTap(5, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(f.state.selection(), f.ids({1, 5}));
    }

    void shiftClickSelectsTheRangeFromTheMovingAnchor()
    {
        Fixture f;
        f.grid.handleTap(5, Qt::ControlModifier);
        f.grid.handleTap(2, Qt::ShiftModifier);
        QCOMPARE(f.state.selection(), f.ids({2, 3, 4, 5}));
        QCOMPARE(f.state.selectionAnchor(), 2);
        f.grid.handleTap(7, Qt::ShiftModifier);
        QCOMPARE(f.state.selection(), f.ids({2, 3, 4, 5, 6, 7}));
    }

    void shiftClickWithoutAnAnchorSelectsTheTile()
    {
        Fixture f;
        f.grid.handleTap(6, Qt::ShiftModifier);
        QCOMPARE(f.state.selection(), f.ids({6}));
        QCOMPARE(f.state.selectionAnchor(), 6);
    }

    void shiftClickAfterTheListShrankStartsAtTheClick()
    {
        Fixture f;
        f.grid.handleTap(9, Qt::ControlModifier);
        f.store.deleteFromHistory(f.ids({7, 8, 9}));
        f.grid.handleTap(3, Qt::ShiftModifier);
        QCOMPARE(f.state.selection(), f.ids({3}));
    }

    void clicksOutsideTheListAreIgnored()
    {
        Fixture f;
        f.grid.handleTap(-1, Qt::NoModifier);
        f.grid.handleTap(10, Qt::ControlModifier);
        QVERIFY(f.picked.isEmpty());
        QVERIFY(f.state.selection().isEmpty());
    }

    void rubberBandSelectsExactlyTheTilesItTouches()
    {
        Fixture f;
        f.state.setSelection(f.ids({9}));
        // From the middle of tile 1 to the middle of tile 7 (second row, third column).
        f.grid.applyMarquee(f.centreOf(7), f.centreOf(1), 1000);
        QCOMPARE(f.state.selection(), f.ids({1, 2, 6, 7}));
    }

    void rubberBandOverTheGapsOnlyClearsTheSelection()
    {
        Fixture f;
        f.state.setSelection(f.ids({0, 1}));
        const QRectF first = GridGeometry::tileFrame(0, 1000);
        // Down the spacing between the first two columns.
        f.grid.applyMarquee(QPointF(first.right() + 3, 0), QPointF(first.right() + 10, 600), 1000);
        QVERIFY(f.state.selection().isEmpty());
    }

    void targetsAreTheSelectionInListOrderOnlyWhenTheTileIsInIt()
    {
        Fixture f;
        f.state.setSelection(f.ids({6, 1, 3}));
        QCOMPARE(f.texts(f.grid.targetItems(3)), QStringList({"1", "3", "6"}));
        QCOMPARE(f.texts(f.grid.targetItems(2)), QStringList({"2"}));
        f.state.setSelection(f.ids({3}));
        QCOMPARE(f.texts(f.grid.targetItems(3)), QStringList({"3"}));
    }

    void menuForOneTile()
    {
        Fixture f;
        f.state.setSelection(f.ids({1, 2, 3}));
        const QVariantMap menu = f.grid.tileMenu(5);
        QCOMPARE(menu.value("multiple").toBool(), false);
        QCOMPARE(menu.value("categoryTitle").toString(), "Add to Category");
        QCOMPARE(menu.value("deleteTitle").toString(), "Delete");
        const QVariantList categories = menu.value("categories").toList();
        QCOMPARE(categories.size(), 2);
        QCOMPARE(categories.at(0).toMap().value("name").toString(), "Work");
        QCOMPARE(categories.at(0).toMap().value("id").toString(), idString(f.work));
        QCOMPARE(categories.at(1).toMap().value("name").toString(), "Home");
    }

    void menuInsideASelectionOfThree()
    {
        Fixture f;
        f.state.setSelection(f.ids({1, 2, 3}));
        const QVariantMap menu = f.grid.tileMenu(2);
        QCOMPARE(menu.value("multiple").toBool(), true);
        QCOMPARE(menu.value("categoryTitle").toString(), "Add Selection to Category");
        QCOMPARE(menu.value("deleteTitle").toString(), "Delete Selection");
    }

    void menuWithoutCategoriesHoldsOnlyDelete()
    {
        Fixture f;
        f.store.deleteCategory(f.work);
        f.store.deleteCategory(f.home);
        const QVariantMap menu = f.grid.tileMenu(0);
        QVERIFY(menu.value("categories").toList().isEmpty());
        QCOMPARE(menu.value("deleteTitle").toString(), "Delete");
    }

    void addingASelectionKeepsItsOrderInTheCategory()
    {
        Fixture f;
        f.state.setSelection(f.ids({4, 2, 7}));
        f.grid.addToCategory(4, idString(f.home));
        QCOMPARE(f.categoryTexts(f.home), QStringList({"2", "4", "7"}));
        QVERIFY(f.categoryTexts(f.work).isEmpty());
        f.grid.addToCategory(9, idString(f.work));
        QCOMPARE(f.categoryTexts(f.work), QStringList({"9"}));
    }

    void deletingFromHistoryLeavesCategoriesAlone()
    {
        Fixture f;
        f.grid.addToCategory(1, idString(f.work));
        f.state.setSelection(f.ids({1, 2}));
        f.state.setSelectionAnchor(2);
        f.grid.deleteItems(1);
        QCOMPARE(f.texts(f.store.history()), QStringList({"0", "3", "4", "5", "6", "7", "8", "9"}));
        QCOMPARE(f.categoryTexts(f.work), QStringList({"1"}));
        QVERIFY(f.state.selection().isEmpty());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
    }

    void deletingInACategoryTabRemovesFromThatCategoryOnly()
    {
        Fixture f;
        for (int i : {3, 2, 1})
            f.grid.addToCategory(i, idString(f.work));
        f.state.setTab(Tab::category(f.work));
        QCOMPARE(f.texts(f.model.items()), QStringList({"1", "2", "3"}));
        f.grid.deleteItems(1);
        QCOMPARE(f.categoryTexts(f.work), QStringList({"1", "3"}));
        QCOMPARE(f.store.history().size(), 10);
    }

    void dragCarriesOneIdOrTheSelectionsIds()
    {
        Fixture f;
        QCOMPARE(f.grid.dragPayload(3), "item:" + idString(f.id(3)));
        f.state.setSelection(f.ids({5, 3}));
        QCOMPARE(f.grid.dragPayload(5), "items:" + idString(f.id(3)) + "," + idString(f.id(5)));
        QCOMPARE(f.grid.dragPayload(4), "item:" + idString(f.id(4)));
        QCOMPARE(f.grid.dragPayload(42), QString());
    }

    void switchingTabsClearsTheSelectionAndScrollsToTop()
    {
        Fixture f;
        f.grid.addToCategory(0, idString(f.work));
        f.state.setSelection(f.ids({1}));
        f.state.setSelectionAnchor(1);
        QSignalSpy top(&f.grid, &GridController::scrollToTopRequested);
        f.state.setTab(Tab::category(f.work));
        QVERIFY(f.state.selection().isEmpty());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        QCOMPARE(top.size(), 1);
        // An empty list has nothing to scroll to.
        f.state.setTab(Tab::category(f.home));
        QCOMPARE(top.size(), 1);
    }

    void typingClearsTheSelectionWithoutScrolling()
    {
        Fixture f;
        f.state.setSelection(f.ids({1}));
        f.state.setSelectionAnchor(1);
        QSignalSpy top(&f.grid, &GridController::scrollToTopRequested);
        f.state.setQuery(QStringLiteral("3"));
        QVERIFY(f.state.selection().isEmpty());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        QCOMPARE(top.size(), 0);
    }

    void aMovedAnchorAsksToBeShown()
    {
        Fixture f;
        QSignalSpy reveal(&f.grid, &GridController::revealRequested);
        f.state.setSelectionAnchor(7);
        f.state.setSelectionAnchor(std::nullopt);
        f.state.setSelectionAnchor(99);
        QCOMPARE(reveal.size(), 1);
        QCOMPARE(reveal.first().first().toInt(), 7);
    }

    void revealUsesTheTilesFrame()
    {
        Fixture f;
        // Ten items in five columns: two rows, 346 px of content. A 200 px viewport at the
        // top shows the first row comfortably, not the second.
        QCOMPARE(f.grid.scrollOffsetToReveal(0, 0, 200, 1000), -1.0);
        const QRectF second = GridGeometry::tileFrame(7, 1000);
        QCOMPARE(f.grid.scrollOffsetToReveal(7, 0, 200, 1000),
                 second.top() + 0.88 * (second.height() - 200));
        QCOMPARE(f.grid.scrollOffsetToReveal(10, 0, 200, 1000), -1.0);
    }
};

QTEST_GUILESS_MAIN(GridControllerTest)
#include "tst_gridcontroller.moc"
