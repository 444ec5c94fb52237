#include "model/Store.h"
#include "overlay/KeyControl.h"
#include "overlay/OverlayState.h"

#include <QTemporaryDir>
#include <QTest>

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
    Key key;
    key.keyCode = keyCode;
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

// One overlay with ten history items ("0" newest ... "9"), three categories and recorders for
// every callback.
class Fixture
{
public:
    explicit Fixture(const QString &path)
        : store(path)
        , control(state, store)
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
    }

    QList<ClipItem> items() const { return itemsForCurrentTab(state, store); }

    Store store;
    OverlayState state;
    KeyControl control;
    QStringList log;
};

class TestKeyControl : public QObject
{
    Q_OBJECT

private slots:
    void keyMap_data();
    void keyMap();
    void commandDigitsSwitchLists();
    void deleteInHistoryRemovesEverySelectedAndSelectsTheSuccessor();
    void deleteInACategoryLeavesHistoryAlone();
    void deleteOfTheLastItemsClearsTheSelection();
    void emptyListConsumesWithoutActing();

private:
    QTemporaryDir m_dir;
    int m_run = 0;
    QString path() { return m_dir.filePath(QStringLiteral("k%1.json").arg(++m_run)); }
};

void TestKeyControl::keyMap_data()
{
    QTest::addColumn<Key>("key");
    QTest::addColumn<int>("anchor"); // -1: none
    QTest::addColumn<bool>("editingText");
    QTest::addColumn<bool>("previewVisible");
    QTest::addColumn<bool>("renaming");
    QTest::addColumn<bool>("consumed");
    QTest::addColumn<int>("newAnchor"); // -1: none
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<QString>("query");

    const QStringList none;
    QTest::newRow("Escape closes") << code(KeyControl::Escape) << 2 << false << false << false
                                   << true << 2 << QStringList{"close"} << "";
    QTest::newRow("Escape while typing still closes")
        << code(KeyControl::Escape) << 2 << true << false << false << true << 2
        << QStringList{"close"} << "";
    QTest::newRow("Escape while renaming passes")
        << code(KeyControl::Escape) << 2 << false << false << true << false << 2 << none << "";
    QTest::newRow("Escape with the preview open passes")
        << code(KeyControl::Escape) << 2 << false << true << false << false << 2 << none << "";
    QTest::newRow("Return picks the anchored item")
        << code(KeyControl::Return) << 3 << false << false << false << true << 3
        << QStringList{"pick 3"} << "";
    QTest::newRow("keypad Enter picks") << code(KeyControl::KeypadEnter) << -1 << false << false
                                        << false << true << -1 << QStringList{"pick 0"} << "";
    QTest::newRow("Return clamps a stale anchor")
        << code(KeyControl::Return) << 40 << false << false << false << true << 40
        << QStringList{"pick 9"} << "";
    QTest::newRow("Space previews") << code(KeyControl::Space) << 1 << false << false << false
                                    << true << 1 << QStringList{"look 1"} << "";
    QTest::newRow("Space while typing passes")
        << code(KeyControl::Space) << 1 << true << false << false << false << 1 << none << "";
    QTest::newRow("down from 2 with 5 columns")
        << code(KeyControl::DownArrow) << 2 << false << false << false << true << 7 << none << "";
    QTest::newRow("down from the last row stops at the end")
        << code(KeyControl::DownArrow) << 7 << false << false << false << true << 9 << none << "";
    QTest::newRow("up from the first row stops at 0")
        << code(KeyControl::UpArrow) << 3 << false << false << false << true << 0 << none << "";
    QTest::newRow("first arrow, even up, selects 0")
        << code(KeyControl::UpArrow) << -1 << false << false << false << true << 0 << none << "";
    QTest::newRow("left wraps to the previous row")
        << code(KeyControl::LeftArrow) << 5 << false << false << false << true << 4 << none << "";
    QTest::newRow("right") << code(KeyControl::RightArrow) << 5 << false << false << false << true
                           << 6 << none << "";
    QTest::newRow("arrow while typing leaves the field")
        << code(KeyControl::RightArrow) << 0 << true << false << false << true << 1
        << QStringList{"unfocus"} << "";
    QTest::newRow("typing a starts a search")
        << typed(QStringLiteral("a")) << -1 << false << false << false << true << -1 << none << "a";
    QTest::newRow("typing ~ starts a search")
        << typed(QStringLiteral("~")) << -1 << false << false << false << true << -1 << none << "~";
    QTest::newRow("typing é passes")
        << typed(QStringLiteral("é")) << -1 << false << false << false << false << -1 << none << "";
    QTest::newRow("a typed space passes") << typed(QStringLiteral(" "), 0) << -1 << false << false
                                          << false << false << -1 << none << "";
    QTest::newRow("typing into the field passes")
        << typed(QStringLiteral("a")) << -1 << true << false << false << false << -1 << none << "";
    QTest::newRow("Delete while typing passes")
        << code(KeyControl::Delete) << 1 << true << false << false << false << 1 << none << "";
    QTest::newRow("Ctrl+0 passes") << command(QStringLiteral("0")) << -1 << false << false << false
                                   << false << -1 << none << "";
    QTest::newRow("Ctrl+A passes") << command(QStringLiteral("a")) << -1 << false << false << false
                                   << false << -1 << none << "";
    QTest::newRow("Ctrl+5 with three categories beeps")
        << command(QStringLiteral("5")) << -1 << false << false << false << true << -1
        << QStringList{"beep"} << "";
    Key alt = typed(QStringLiteral("a"));
    alt.option = true;
    QTest::newRow("Alt+a passes") << alt << -1 << false << false << false << false << -1 << none
                                  << "";
    Key shiftDown = code(KeyControl::DownArrow);
    shiftDown.characters = QStringLiteral("\uF701");
    QTest::newRow("Shift is never looked at")
        << shiftDown << 0 << false << false << false << true << 5 << none << "";
}

void TestKeyControl::keyMap()
{
    QFETCH(Key, key);
    QFETCH(int, anchor);
    QFETCH(bool, editingText);
    QFETCH(bool, previewVisible);
    QFETCH(bool, renaming);
    QFETCH(bool, consumed);
    QFETCH(int, newAnchor);
    QFETCH(QStringList, log);
    QFETCH(QString, query);

    Fixture f(path());
    if (anchor >= 0)
        f.state.setSelectionAnchor(anchor);
    f.state.setIsRenaming(renaming);
    QCOMPARE(f.control.handle(key, {editingText, previewVisible}), consumed);
    QCOMPARE(f.state.selectionAnchor(),
             newAnchor >= 0 ? std::optional<int>(newAnchor) : std::nullopt);
    QCOMPARE(f.log, log);
    QCOMPARE(f.state.query(), query);
    QCOMPARE(f.state.searchFocused(), !query.isEmpty());
    if (consumed && key.keyCode >= KeyControl::LeftArrow && key.keyCode <= KeyControl::UpArrow)
        QCOMPARE(f.state.selection(), QSet<QUuid>{f.items().at(newAnchor).id});
}

void TestKeyControl::commandDigitsSwitchLists()
{
    Fixture f(path());
    f.state.selectOnly(f.items(), 4);
    QVERIFY(f.control.handle(command(QStringLiteral("3")), {}));
    QCOMPARE(f.state.tab(), Tab::category(f.store.categories().at(1).id));
    QCOMPARE(f.state.selectionAnchor(), 4); // switching leaves the selection alone
    QVERIFY(f.control.handle(command(QStringLiteral("+2")), {}));
    QCOMPARE(f.state.tab(), Tab::category(f.store.categories().at(0).id));
    QVERIFY(f.control.handle(command(QStringLiteral("1")), {}));
    QVERIFY(f.state.tab().isHistory());
    QVERIFY(f.control.handle(command(QStringLiteral("f")), {}));
    QVERIFY(f.state.searchFocused());
    QVERIFY(f.log.isEmpty());
}

void TestKeyControl::deleteInHistoryRemovesEverySelectedAndSelectsTheSuccessor()
{
    Fixture f(path());
    const QList<ClipItem> before = f.items();
    f.state.setSelection({before.at(2).id, before.at(4).id});
    f.state.setSelectionAnchor(4);
    const QUuid category = f.store.categories().first().id;
    f.store.add(before.at(2), category);

    QVERIFY(f.control.handle(code(KeyControl::Delete), {}));
    QStringList left;
    for (const ClipItem &item : f.items())
        left << item.preview();
    QCOMPARE(left, (QStringList{"0", "1", "3", "5", "6", "7", "8", "9"}));
    QCOMPARE(f.state.selectionAnchor(), 2);
    QCOMPARE(f.state.selection(), QSet<QUuid>{f.items().at(2).id});
    QCOMPARE(f.store.category(category)->items.size(), 1); // categories untouched
}

void TestKeyControl::deleteInACategoryLeavesHistoryAlone()
{
    Fixture f(path());
    const QUuid category = f.store.categories().first().id;
    f.store.add(f.items().at(0), category);
    f.store.add(f.items().at(1), category);
    f.state.setTab(Tab::category(category));
    f.state.selectOnly(f.items(), 1);
    QVERIFY(f.control.handle(code(KeyControl::ForwardDelete), {}));
    QCOMPARE(f.store.category(category)->items.size(), 1);
    QCOMPARE(f.store.history().size(), 10);
    QCOMPARE(f.state.selectionAnchor(), 0); // clamped to the new end
}

void TestKeyControl::deleteOfTheLastItemsClearsTheSelection()
{
    Fixture f(path());
    f.state.setQuery(QStringLiteral("7"));
    f.state.selectOnly(f.items(), 0);
    QVERIFY(f.control.handle(code(KeyControl::Delete), {}));
    QVERIFY(f.items().isEmpty());
    QVERIFY(f.state.selection().isEmpty());
    QVERIFY(!f.state.selectionAnchor());
    QCOMPARE(f.store.history().size(), 9);
}

void TestKeyControl::emptyListConsumesWithoutActing()
{
    Fixture f(path());
    f.state.setQuery(QStringLiteral("nothing matches"));
    for (int keyCode : {int(KeyControl::Return),
                        int(KeyControl::Space),
                        int(KeyControl::DownArrow),
                        int(KeyControl::Delete)})
        QVERIFY(f.control.handle(code(keyCode), {}));
    QVERIFY(f.log.isEmpty());
    QVERIFY(!f.state.selectionAnchor());
}

QTEST_GUILESS_MAIN(TestKeyControl)
#include "tst_keycontrol.moc"
