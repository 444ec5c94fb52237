#include "common/OverlayRig.h"
#include "common/TestPrefs.h"
#include "overlay/CategoryListModel.h"
#include "overlay/MoreMenu.h"
#include "overlay/SidebarController.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

constexpr auto idString = &OverlayRig::idString;

// Three history items "0" (newest) ... "2" and the categories named, behind a sidebar controller.
struct Fixture : OverlayRig
{
    explicit Fixture(const QStringList &names = {QStringLiteral("Work"), QStringLiteral("Home")})
    {
        fill(3);
        for (const QString &name : names)
            ids.append(store.addCategory(name));
    }

    QVariant row(int index, int role) const
    {
        return sidebar.categories()->data(sidebar.categories()->index(index), role);
    }

    SidebarController sidebar{store, state};
    QAbstractItemModelTester tester{sidebar.categories(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest};
    QList<QUuid> ids;
};

// The controls around the grid: the sidebar and the overflow menu's pause explainer.
class SidebarAndTopBarTest : public QObject
{
    Q_OBJECT

private slots:
    void rowsFollowTheStoreWithoutRebuilding()
    {
        Fixture f({"A", "B", "C"});
        CategoryListModel *model = f.sidebar.categories();
        QSignalSpy resets(model, &QAbstractItemModel::modelReset);
        QSignalSpy moves(model, &QAbstractItemModel::rowsMoved);
        QSignalSpy changes(model, &QAbstractItemModel::dataChanged);

        // Filing an item touches the categories but no row.
        f.store.add(f.store.history().first(), f.ids[1]);
        QCOMPARE(changes.count(), 0);

        f.store.reorderCategory(f.ids[2], f.ids[0]);
        QCOMPARE(moves.count(), 1);
        QCOMPARE(f.row(0, CategoryListModel::NameRole), "C");
        QCOMPARE(f.row(2, CategoryListModel::HintRole), "Ctrl+4");
        changes.clear();
        f.store.renameCategory(f.ids[0], QStringLiteral("Renamed"));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.first().at(0).toModelIndex().row(), 1);
        QCOMPARE(resets.count(), 0);
    }

    void newCategoryIsShownAndNamed()
    {
        Fixture f;
        QSignalSpy renaming(&f.sidebar, &SidebarController::renamingIdChanged);
        f.sidebar.newCategory();
        QCOMPARE(f.categoryNames(), QStringList({"Work", "Home", "New Category"}));
        const QUuid created = f.store.categories().last().id;
        QCOMPARE(f.state.tab(), Tab::category(created));
        QCOMPARE(f.sidebar.shownCategoryId(), idString(created));
        QCOMPARE(f.sidebar.renamingId(), idString(created));
        QVERIFY(f.state.isRenaming());
        QCOMPARE(f.state.pendingRenameID(), std::nullopt);
        QCOMPARE(renaming.count(), 1);
        // Reopening the overlay leaves no row editing.
        f.state.resetForShow();
        QCOMPARE(f.sidebar.renamingId(), QString());
    }

    // Return and Escape in the field are the view's test; these are the names it ends with.
    void renameCommits_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("name");
        QTest::newRow("trimmed") << "  Projects \n" << QStringLiteral("Projects");
        QTest::newRow("blank keeps the name") << " \t " << QStringLiteral("Work");
    }
    void renameCommits()
    {
        QFETCH(QString, typed);
        QFETCH(QString, name);
        Fixture f;
        const QString id = idString(f.ids[0]);
        f.sidebar.beginRename(id);
        QVERIFY(f.state.isRenaming());
        f.sidebar.commitRename(id, typed);
        QCOMPARE(f.categoryNames().first(), name);
        QVERIFY(!f.state.isRenaming());
        QCOMPARE(f.sidebar.renamingId(), QString());
    }

    void deleteCategory_data()
    {
        QTest::addColumn<bool>("shown");
        QTest::newRow("the shown one: back to History") << true;
        QTest::newRow("another: the tab stays") << false;
    }
    void deleteCategory()
    {
        QFETCH(bool, shown);
        Fixture f;
        f.store.add(f.store.history().first(), f.ids[0]);
        const Tab before = Tab::category(shown ? f.ids[0] : f.ids[1]);
        f.state.setTab(before);
        f.sidebar.deleteCategory(idString(f.ids[0]));
        QCOMPARE(f.categoryNames(), QStringList({"Home"}));
        QCOMPARE(f.state.tab(), shown ? Tab::history() : before);
        QCOMPARE(f.store.history().size(), 3);
    }

    void parseItemIDs_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("ids");
        const QString a = QStringLiteral("0F6B1C1E-2D39-4F5A-9C44-3B1A2E5D7C80");
        const QString b = QStringLiteral("6c1f0a57-8d3e-4b0e-a1f2-9e7d6c5b4a30");
        QTest::newRow("items") << "items:" + a + "," + b << QStringList{a, b.toUpper()};
        QTest::newRow("a space spoils its piece") << "items:" + a + ", " + b << QStringList{a};
        QTest::newRow("braces are no standard form") << "item:{" + a + "}" << QStringList{};
        QTest::newRow("item") << "item:" + a << QStringList{a};
        QTest::newRow("other text") << "cat:" + a << QStringList{};
    }
    void parseItemIDs()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, ids);
        QStringList parsed;
        for (const QUuid &id : SidebarController::parseItemIDs(text))
            parsed.append(idString(id));
        QCOMPARE(parsed, ids);
    }

    void drops_data()
    {
        QTest::addColumn<QString>("payload");
        QTest::addColumn<QStringList>("target");
        QTest::addColumn<QStringList>("order");
        // Placeholders: @0..@2 history items, #0..#2 categories, ? an unknown id.
        // The same order as "Add Selection to Category" gives them.
        QTest::newRow("items keep their order, an unknown one skipped")
            << "items:@0,?,@2" << QStringList{"0", "2"} << QStringList{"A", "B", "C"};
        QTest::newRow("items in reverse order stay reversed")
            << "items:@2,@1" << QStringList{"2", "1"} << QStringList{"A", "B", "C"};
        QTest::newRow("cat: malformed falls through")
            << "cat:#2x" << QStringList{} << QStringList{"A", "B", "C"};
    }
    void drops()
    {
        QFETCH(QString, payload);
        QFETCH(QStringList, target);
        QFETCH(QStringList, order);
        Fixture f({"A", "B", "C"});
        for (int i = 0; i < 3; ++i) {
            payload.replace(QStringLiteral("@%1").arg(i), idString(f.id(i)));
            payload.replace(QStringLiteral("#%1").arg(i), idString(f.ids[i]));
        }
        payload.replace(u'?', idString(QUuid::createUuid()));
        f.sidebar.applyDrop(f.ids[0], payload);
        QCOMPARE(f.categoryNames(), order);
        QCOMPARE(f.categoryTexts(f.ids[0]), target);
        // Filed, not moved: the history keeps everything.
        QCOMPARE(f.store.history().size(), 3);
    }

    void pauseExplainsOnceBeforeTheFirstPause_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<bool>("seen");
        QTest::addColumn<bool>("choosePause");
        QTest::addColumn<int>("asked");
        QTest::addColumn<bool>("pausedAfter");

        QTest::newRow("first pause, Pause chosen") << false << false << true << 1 << true;
        QTest::newRow("first pause, Cancel keeps capturing")
            << false << false << false << 1 << false;
        QTest::newRow("explainer seen: pauses at once") << false << true << true << 0 << true;
        QTest::newRow("resume never explains") << true << false << true << 0 << false;
    }

    void pauseExplainsOnceBeforeTheFirstPause()
    {
        QFETCH(bool, paused);
        QFETCH(bool, seen);
        QFETCH(bool, choosePause);
        QFETCH(int, asked);
        QFETCH(bool, pausedAfter);

        TestPrefs test;
        AppPrefs &prefs = test.prefs;
        prefs.setPaused(paused);
        prefs.setSeenPauseExplainer(seen);
        MoreMenu menu(prefs);
        int questions = 0;
        bool seenWhenAsked = false;
        menu.askToPause = [&](const std::function<void(bool)> &answer) {
            ++questions;
            seenWhenAsked = prefs.seenPauseExplainer();
            answer(choosePause);
        };
        QSignalSpy pausedChanged(&menu, &MoreMenu::pausedChanged);

        menu.togglePause();
        // The alert waits for the next turn; the menu's state is already settled.
        QCOMPARE(questions, 0);
        QCOMPARE(prefs.seenPauseExplainer(), seen || !paused);
        QTest::qWait(50);
        QCOMPARE(questions, asked);
        // Marked before it shows, whatever the answer.
        QCOMPARE(seenWhenAsked, asked > 0);
        QCOMPARE(prefs.paused(), pausedAfter);
        QCOMPARE(menu.paused(), pausedAfter);
        QCOMPARE(pausedChanged.count(), paused != pausedAfter ? 1 : 0);
    }
};

QTEST_GUILESS_MAIN(SidebarAndTopBarTest)
#include "tst_sidebarandtopbar.moc"
