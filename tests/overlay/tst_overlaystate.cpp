#include "model/Store.h"
#include "overlay/KeyControl.h"
#include "overlay/OverlayState.h"

#include <QTemporaryDir>
#include <QTest>

using K = KeyControl;
using Key = KeyControl::KeyPress;

namespace {

Key code(int keyCode)
{
    Key key;
    key.keyCode = keyCode;
    return key;
}

Key typed(const QString &text, int keyCode = 0)
{
    Key key = code(keyCode);
    key.characters = text;
    key.charactersIgnoringModifiers = text;
    return key;
}

Key command(const QString &text)
{
    Key key = typed(text, 18);
    key.command = true;
    return key;
}

} // namespace

// Ten history items ("0" newest ... "9"), three categories and a record of every callback.
struct Fixture
{
    Fixture()
    {
        for (int i = 9; i >= 0; --i)
            store.captureFromClipboard(ClipItem::makeText(QString::number(i)));
        for (const char *name : {"A", "B", "C"})
            store.addCategory(QString::fromUtf8(name));
        control.onPick = [this](const ClipItem &item) { log << "pick " + item.preview(); };
        control.onClose = [this] { log << QStringLiteral("close"); };
        control.onQuickLook = [this](const ClipItem &item) { log << "look " + item.preview(); };
        control.onBeep = [this] { log << QStringLiteral("beep"); };
        control.onClearFocus = [this] { log << QStringLiteral("unfocus"); };
        control.onOpenMenu = [this](int row) { log << "menu " + QString::number(row); };
    }

    QList<ClipItem> items() const { return itemsForCurrentTab(state, store); }
    QStringList texts() const { return previews(items()); }
    static QStringList previews(const QList<ClipItem> &items)
    {
        QStringList list;
        for (const ClipItem &item : items)
            list.append(item.preview());
        return list;
    }

    QTemporaryDir dir;
    Store store{dir.filePath(QStringLiteral("store.json"))};
    OverlayState state;
    KeyControl control{state, store};
    QStringList log;
};

// The overlay's state: what the current tab shows, and the keyboard rules acting on it.
class TestOverlayState : public QObject
{
    Q_OBJECT

private slots:
    void filter_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("found");

        QTest::newRow("blank query shows all")
            << QStringLiteral(" \n\t ")
            << QStringList{"xabcx", "Image", "ÀBC", "two  spaces", "café"};
        QTest::newRow("case-insensitive, text and recognised text")
            << QStringLiteral("  ABC\n") << QStringList{"xabcx", "Image"};
        QTest::newRow("no diacritic folding") << QStringLiteral("cafe") << QStringList{};
        QTest::newRow("accented letters match themselves")
            << QStringLiteral("CAFÉ") << QStringList{"café"};
        QTest::newRow("interior spaces are literal")
            << QStringLiteral("two spaces") << QStringList{};
        QTest::newRow("kind is not searched") << QStringLiteral("image") << QStringList{};
    }

    void filter()
    {
        QFETCH(QString, query);
        QFETCH(QStringList, found);

        QTemporaryDir dir;
        Store store(dir.filePath(QStringLiteral("store.json")));
        for (const char *text : {"café", "two  spaces", "ÀBC"})
            store.captureFromClipboard(ClipItem::makeText(QString::fromUtf8(text)));
        ClipItem image = ClipItem::makeImage(QByteArray("png"));
        image.ocrText = QStringLiteral("Abc");
        store.captureFromClipboard(image);
        store.captureFromClipboard(
            ClipItem::makeImage(QByteArray("no text"))); // never found by a query
        store.captureFromClipboard(ClipItem::makeText(QStringLiteral("xabcx")));

        OverlayState state;
        state.setQuery(query);
        QStringList expected = found;
        if (query.trimmed().isEmpty())
            expected.insert(2, QStringLiteral("Image")); // the image without text
        QCOMPARE(Fixture::previews(itemsForCurrentTab(state, store)), expected);
    }

    void resetForShowKeepsFocusAndColumns()
    {
        const QList<ClipItem> items(3, ClipItem::makeText(QStringLiteral("x")));
        OverlayState state;
        state.setTab(Tab::category(QUuid::createUuid()));
        state.setQuery(QStringLiteral("q"));
        state.setIsRenaming(true);
        state.setPendingRenameID(QUuid::createUuid());
        state.selectOnly(items, 2);
        state.setAppearance(1.0);
        state.setSearchFocused(true);
        state.setGridColumns(7);

        state.resetForShow();
        QVERIFY(state.tab().isHistory());
        QVERIFY(state.query().isEmpty());
        QVERIFY(!state.isRenaming());
        QVERIFY(!state.pendingRenameID());
        QVERIFY(state.selection().isEmpty());
        QVERIFY(!state.selectionAnchor());
        QCOMPARE(state.appearance(), 0.0);
        QCOMPARE(state.searchFocused(), true);
        QCOMPARE(state.gridColumns(), 7);
    }

    void keyMap_data()
    {
        QTest::addColumn<Key>("key");
        QTest::addColumn<int>("anchor"); // -1: none
        QTest::addColumn<QString>("context");
        QTest::addColumn<bool>("consumed");
        QTest::addColumn<int>("newAnchor"); // -1: none
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<QString>("query");

        // context: "typing" (a text field has the focus), "preview" (it is open) or "renaming".
        const auto row = [](const char *name,
                            const Key &key,
                            int anchor,
                            const char *context,
                            bool consumed,
                            int newAnchor,
                            const QStringList &log = {},
                            const char *query = "") {
            QTest::newRow(name) << key << anchor << context << consumed << newAnchor << log
                                << query;
        };
        row("Escape while typing still closes", code(K::Escape), 2, "typing", true, 2, {"close"});
        row("Escape while renaming passes", code(K::Escape), 2, "renaming", false, 2);
        row("Escape with the preview open passes", code(K::Escape), 2, "preview", false, 2);
        row("Return picks the anchored item", code(K::Return), 3, "", true, 3, {"pick 3"});
        row("keypad Enter picks the first", code(K::KeypadEnter), -1, "", true, -1, {"pick 0"});
        row("Return clamps a stale anchor", code(K::Return), 40, "", true, 40, {"pick 9"});
        row("Space previews", code(K::Space), 1, "", true, 1, {"look 1"});
        row("Space while typing passes", code(K::Space), 1, "typing", false, 1);
        row("down from 2 with 5 columns", code(K::DownArrow), 2, "", true, 7);
        row("down from the last row stops at the end", code(K::DownArrow), 7, "", true, 9);
        row("up from the first row stops at 0", code(K::UpArrow), 3, "", true, 0);
        row("first arrow, even up, selects 0", code(K::UpArrow), -1, "", true, 0);
        row("left wraps to the previous row", code(K::LeftArrow), 5, "", true, 4);
        row("an arrow leaves the field", code(K::RightArrow), 0, "typing", true, 1, {"unfocus"});
        row("typing a starts a search", typed("a"), -1, "", true, -1, {}, "a");
        row("typing é passes", typed("é"), -1, "", false, -1);
        row("a typed space passes", typed(" "), -1, "", false, -1);
        row("typing into the field passes", typed("a"), -1, "typing", false, -1);
        row("Delete while typing passes", code(K::Delete), 1, "typing", false, 1);
        row("Ctrl+0 passes", command("0"), -1, "", false, -1);
        row("Ctrl+A passes", command("a"), -1, "", false, -1);
        row("Ctrl+5 with 3 categories beeps", command("5"), -1, "", true, -1, {"beep"});
        Key alt = typed("a");
        alt.option = true;
        row("Alt+a passes", alt, -1, "", false, -1);
        Key shiftDown = code(K::DownArrow);
        shiftDown.characters = QStringLiteral("\uF701");
        row("Shift is never looked at", shiftDown, 0, "", true, 5);
        // A page is one row here (the fixture's grid shows one row whole), over two rows of 5.
        row("Home goes to the first", code(K::Home), 7, "", true, 0);
        row("End goes to the last, even with no anchor", code(K::End), -1, "", true, 9);
        row("Page Down goes a page down", code(K::PageDown), 2, "", true, 7);
        row("Page Down on the last page keeps the column", code(K::PageDown), 8, "", true, 8);
        row("Page Up goes a page up", code(K::PageUp), 9, "", true, 4);
        row("Page Down leaves the field", code(K::PageDown), -1, "typing", true, 0, {"unfocus"});
        Key menuKey;
        menuKey.menuKey = true;
        row("the Menu key opens the current tile's menu", menuKey, 3, "", true, 3, {"menu 3"});
        Key shiftF10 = code(K::F10);
        shiftF10.shift = true;
        row("Shift+F10 with no anchor: the first tile's menu",
            shiftF10,
            -1,
            "",
            true,
            -1,
            {"menu 0"});
        row("F10 alone passes", code(K::F10), -1, "", false, -1);
    }

    void keyMap()
    {
        QFETCH(Key, key);
        QFETCH(int, anchor);
        QFETCH(QString, context);
        QFETCH(bool, consumed);
        QFETCH(int, newAnchor);
        QFETCH(QStringList, log);
        QFETCH(QString, query);

        Fixture f;
        if (anchor >= 0)
            f.state.setSelectionAnchor(anchor);
        f.state.setIsRenaming(context == u"renaming");
        QCOMPARE(f.control.handle(key, {context == u"typing", context == u"preview"}), consumed);
        QCOMPARE(f.state.selectionAnchor(),
                 newAnchor >= 0 ? std::optional<int>(newAnchor) : std::nullopt);
        QCOMPARE(f.log, log);
        QCOMPARE(f.state.query(), query);
        QCOMPARE(f.state.searchFocused(), !query.isEmpty());
        const QList<int> moves{K::LeftArrow,
                               K::RightArrow,
                               K::DownArrow,
                               K::UpArrow,
                               K::Home,
                               K::End,
                               K::PageUp,
                               K::PageDown};
        if (consumed && moves.contains(key.keyCode))
            QCOMPARE(f.state.selection(), QSet<QUuid>{f.items().at(newAnchor).id});
    }

    void commandDigitsSwitchLists()
    {
        Fixture f;
        f.state.selectOnly(f.items(), 4);
        QVERIFY(f.control.handle(command("3"), {}));
        QCOMPARE(f.state.tab(), Tab::category(f.store.categories().at(1).id));
        QCOMPARE(f.state.selectionAnchor(), 4); // switching leaves the selection alone
        QVERIFY(f.control.handle(command("+2"), {}));
        QCOMPARE(f.state.tab(), Tab::category(f.store.categories().at(0).id));
        QVERIFY(f.control.handle(command("1"), {}));
        QVERIFY(f.state.tab().isHistory());
        QVERIFY(f.control.handle(command("f"), {}));
        QVERIFY(f.state.searchFocused());
        QVERIFY(f.log.isEmpty());
    }

    void deleteInHistoryRemovesEverySelectedAndSelectsTheSuccessor()
    {
        Fixture f;
        const QList<ClipItem> before = f.items();
        f.state.setSelection({before.at(2).id, before.at(4).id});
        f.state.setSelectionAnchor(4);
        const QUuid category = f.store.categories().first().id;
        f.store.add(before.at(2), category);

        QVERIFY(f.control.handle(code(K::Delete), {}));
        QCOMPARE(f.texts(), (QStringList{"0", "1", "3", "5", "6", "7", "8", "9"}));
        QCOMPARE(f.state.selectionAnchor(), 2);
        QCOMPARE(f.state.selection(), QSet<QUuid>{f.items().at(2).id});
        QCOMPARE(f.store.category(category)->items.size(), 1); // categories untouched
    }

    void deleteInACategoryLeavesHistoryAlone()
    {
        Fixture f;
        const QUuid category = f.store.categories().first().id;
        f.store.add(f.items().at(0), category);
        f.store.add(f.items().at(1), category);
        f.state.setTab(Tab::category(category));
        f.state.selectOnly(f.items(), 1);
        QVERIFY(f.control.handle(code(K::ForwardDelete), {}));
        QCOMPARE(f.store.category(category)->items.size(), 1);
        QCOMPARE(f.store.history().size(), 10);
        QCOMPARE(f.state.selectionAnchor(), 0); // clamped to the new end
    }

    void deletingTheLastItemLeavesAListWhereKeysDoNothing()
    {
        Fixture f;
        f.state.setQuery(QStringLiteral("7"));
        f.state.selectOnly(f.items(), 0);
        QVERIFY(f.control.handle(code(K::Delete), {}));
        QVERIFY(f.items().isEmpty());
        QVERIFY(f.state.selection().isEmpty());
        QVERIFY(!f.state.selectionAnchor());
        // The empty list still takes the keys, and nothing happens.
        for (int keyCode : {int(K::Return), int(K::Space), int(K::DownArrow), int(K::Delete)})
            QVERIFY(f.control.handle(code(keyCode), {}));
        QVERIFY(f.log.isEmpty());
        QVERIFY(!f.state.selectionAnchor());
        QCOMPARE(f.store.history().size(), 9);
    }
};

QTEST_GUILESS_MAIN(TestOverlayState)
#include "tst_overlaystate.moc"
