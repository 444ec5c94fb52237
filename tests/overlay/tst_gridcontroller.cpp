#include "common/OverlayRig.h"
#include "overlay/GridGeometry.h"

#include <QSignalSpy>
#include <QTest>

constexpr auto idString = &OverlayRig::idString;

using Offset = std::optional<double>;

// Ten history items, "0" newest ... "9", two categories, and a grid 1000 wide (five columns).
struct Fixture : OverlayRig
{
    Fixture()
    {
        fill(10);
        work = store.addCategory(QStringLiteral("Work"));
        home = store.addCategory(QStringLiteral("Home"));
    }

    void select(const QList<int> &rows) { state.setSelection(ids(rows)); }
    // What a context menu opened on this row acts on.
    QStringList targets(int row) const
    {
        return grid.tileMenu(row).value("targets").toStringList();
    }

    QUuid work;
    QUuid home;
};

class GridControllerTest : public QObject
{
    Q_OBJECT

private slots:
    // Before it is laid out the grid still has a column for the arrows to move in.
    void aGridWithNoWidthStillHasAColumn() { QCOMPARE(GridGeometry::columnsForWidth(0.0), 1); }

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
        QTest::newRow("above: its 0.12 point meets the viewport's")
            << 100.0 << 400.0 << 500.0 << 2000.0 << Offset(100 + 0.12 * (150 - 500));
        QTest::newRow("below: at 0.88")
            << 900.0 << 0.0 << 500.0 << 2000.0 << Offset(900 + 0.88 * (150 - 500));
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
        const QRectF tile(16, top, 180, 150);
        QCOMPARE(GridGeometry::scrollOffsetToReveal(tile, scroll, viewport, content), offset);
    }

    // Taps: p plain, c Ctrl, s Shift, x Ctrl+Shift, then the index. The selection given first
    // has its last entry as the anchor.
    void taps_data()
    {
        QTest::addColumn<QList<int>>("selected");
        QTest::addColumn<QString>("taps");
        QTest::addColumn<QList<int>>("selection");
        QTest::addColumn<int>("anchor"); // -1: none
        QTest::addColumn<QStringList>("picked");

        QTest::newRow("a plain click picks, even inside a selection")
            << QList{1, 2, 3} << "p2" << QList{1, 2, 3} << 3 << QStringList{"2"};
        QTest::newRow("ctrl-click on the only selected tile keeps the anchor")
            << QList<int>() << "c4 c4" << QList<int>() << 4 << QStringList();
        QTest::newRow("ctrl wins over shift")
            << QList<int>() << "c1 x5" << QList{1, 5} << 5 << QStringList();
        QTest::newRow("shift without an anchor selects the tile")
            << QList<int>() << "s6" << QList{6} << 6 << QStringList();
        QTest::newRow("clicks outside the list are ignored")
            << QList<int>() << "p-1 c10" << QList<int>() << -1 << QStringList();
    }
    void taps()
    {
        QFETCH(QList<int>, selected);
        QFETCH(QString, taps);
        QFETCH(QList<int>, selection);
        QFETCH(int, anchor);
        QFETCH(QStringList, picked);
        Fixture f;
        f.select(selected);
        if (!selected.isEmpty())
            f.state.setSelectionAnchor(selected.last());
        const QHash<QChar, Qt::KeyboardModifiers> modifiers{{u'p', Qt::NoModifier},
                                                            {u'c', Qt::ControlModifier},
                                                            {u's', Qt::ShiftModifier},
                                                            {u'x',
                                                             Qt::ControlModifier
                                                                 | Qt::ShiftModifier}};
        for (const QString &tap : taps.split(u' '))
            f.grid.handleTap(tap.mid(1).toInt(), modifiers.value(tap.at(0)).toInt());
        QCOMPARE(f.state.selection(), f.ids(selection));
        QCOMPARE(f.state.selectionAnchor(), anchor < 0 ? std::nullopt : std::optional(anchor));
        QCOMPARE(f.picked, picked);
    }

    void shiftClickAfterTheListShrankStartsAtTheClick()
    {
        Fixture f;
        f.grid.handleTap(9, Qt::ControlModifier);
        f.store.deleteFromHistory(f.ids({7, 8, 9}));
        f.grid.handleTap(3, Qt::ShiftModifier);
        QCOMPARE(f.state.selection(), f.ids({3}));
    }

    // Actions and drags on a tile inside a selection take the selection, in list order.
    void targetsAreTheSelectionOnlyWhenTheTileIsInIt()
    {
        Fixture f;
        f.select({6, 1, 3});
        QCOMPARE(f.texts(f.grid.targetItems(3)), QStringList({"1", "3", "6"}));
        QCOMPARE(f.texts(f.grid.targetItems(2)), QStringList({"2"}));
        QCOMPARE(f.grid.dragPayload(6),
                 "items:" + idString(f.id(1)) + "," + idString(f.id(3)) + "," + idString(f.id(6)));
        QCOMPARE(f.grid.dragPayload(2), "item:" + idString(f.id(2)));
        QCOMPARE(f.grid.dragPayload(42), QString());
        f.select({3});
        QCOMPARE(f.grid.dragPayload(3), "item:" + idString(f.id(3)));
    }

    void addAndDeleteApplyToTheirTargets()
    {
        Fixture f;
        f.select({4, 2, 7});
        f.state.setSelectionAnchor(7);
        f.grid.addToCategory(f.targets(4), idString(f.home));
        f.grid.addToCategory(f.targets(9), idString(f.work));
        QCOMPARE(f.categoryTexts(f.home), QStringList({"2", "4", "7"}));
        QCOMPARE(f.categoryTexts(f.work), QStringList({"9"}));

        // Deleting from the history leaves the categories alone.
        f.grid.deleteItems(f.targets(2));
        QCOMPARE(f.texts(f.store.history()), QStringList({"0", "1", "3", "5", "6", "8", "9"}));
        QCOMPARE(f.categoryTexts(f.home), QStringList({"2", "4", "7"}));
        QVERIFY(f.state.selection().isEmpty());
        QCOMPARE(f.state.selectionAnchor(), std::nullopt);
        // In a category's tab, only that category loses the item.
        f.state.setTab(Tab::category(f.home));
        f.grid.deleteItems(f.targets(1));
        QCOMPARE(f.categoryTexts(f.home), QStringList({"2", "7"}));
        QCOMPARE(f.store.history().size(), 7);
    }

    // Clips arriving while a menu is open shift the rows under it: its actions still reach the
    // items it was opened on, and ids that are gone by then are skipped.
    void anOpenMenuKeepsItsItemsWhileTheListShifts()
    {
        Fixture f;
        f.select({2, 3});
        const QStringList targets = f.targets(3);
        const QUuid three = f.id(3);
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("new")));
        f.store.captureFromClipboard(ClipItem::makeText(QStringLiteral("newer")));
        f.grid.addToCategory(targets, idString(f.work));
        QCOMPARE(f.categoryTexts(f.work), QStringList({"2", "3"}));
        f.store.deleteFromHistory({three});
        f.grid.deleteItems(targets);
        QCOMPARE(f.texts(f.store.history()),
                 QStringList({"newer", "new", "0", "1", "4", "5", "6", "7", "8", "9"}));
        f.grid.deleteItems({QStringLiteral("not an id")});
        QCOMPARE(f.store.history().size(), 10);
    }

    // Typing or switching tabs clears the selection; only a new tab scrolls to the top, and
    // only when it has something to show.
    void listChangesClearTheSelection()
    {
        Fixture f;
        f.grid.addToCategory(f.targets(0), idString(f.work));
        const QSet<QUuid> one = f.ids({1});
        QSignalSpy top(&f.grid, &GridController::scrollToTopRequested);
        for (int step = 0; step < 3; ++step) {
            f.state.setQuery(QString());
            f.state.setSelection(one);
            f.state.setSelectionAnchor(0);
            if (step == 0)
                f.state.setQuery(QStringLiteral("1"));
            else
                f.state.setTab(Tab::category(step == 1 ? f.work : f.home));
            QVERIFY(f.state.selection().isEmpty());
            QCOMPARE(f.state.selectionAnchor(), std::nullopt);
            QCOMPARE(top.size(), step == 0 ? 0 : 1);
        }
    }

    void aMovedAnchorAsksToBeShownWhereTheTileIs()
    {
        Fixture f;
        QSignalSpy reveal(&f.grid, &GridController::revealRequested);
        f.state.setSelectionAnchor(7);
        f.state.setSelectionAnchor(std::nullopt);
        f.state.setSelectionAnchor(99);
        QCOMPARE(reveal.size(), 1);
        QCOMPARE(reveal.first().first().toInt(), 7);
    }
};

QTEST_GUILESS_MAIN(GridControllerTest)
#include "tst_gridcontroller.moc"
