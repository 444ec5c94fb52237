#include "model/Store.h"
#include "overlay/OverlayState.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

QStringList previews(const QList<ClipItem> &items)
{
    QStringList out;
    for (const ClipItem &item : items)
        out.append(item.preview());
    return out;
}

} // namespace

class TestOverlayState : public QObject
{
    Q_OBJECT

private slots:
    void filter_data();
    void filter();
    void categoryTabShowsItsItemsOrNothing();
    void resetForShowKeepsFocusAndColumns();

private:
    QTemporaryDir m_dir;
};

void TestOverlayState::filter_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QStringList>("found");

    QTest::newRow("empty query shows all")
        << QString() << QStringList{"xabcx", "Image", "ÀBC", "two  spaces", "café"};
    QTest::newRow("blank query shows all")
        << QStringLiteral(" \n\t ") << QStringList{"xabcx", "Image", "ÀBC", "two  spaces", "café"};
    QTest::newRow("case-insensitive, text and recognised text")
        << QStringLiteral("  ABC\n") << QStringList{"xabcx", "Image"};
    QTest::newRow("no diacritic folding") << QStringLiteral("cafe") << QStringList{};
    QTest::newRow("accented letters match themselves")
        << QStringLiteral("CAFÉ") << QStringList{"café"};
    QTest::newRow("interior spaces are literal") << QStringLiteral("two spaces") << QStringList{};
    QTest::newRow("interior spaces match") << QStringLiteral("o  s") << QStringList{"two  spaces"};
    QTest::newRow("kind is not searched") << QStringLiteral("image") << QStringList{};
}

void TestOverlayState::filter()
{
    QFETCH(QString, query);
    QFETCH(QStringList, found);

    Store store(m_dir.filePath(QStringLiteral("filter.json")));
    for (const char *text : {"café", "two  spaces", "ÀBC"})
        store.captureFromClipboard(ClipItem::makeText(QString::fromUtf8(text)));
    ClipItem image = ClipItem::makeImage(QByteArray("png"));
    image.ocrText = QStringLiteral("Abc");
    store.captureFromClipboard(image);
    store.captureFromClipboard(ClipItem::makeImage(QByteArray("no text"))); // never found by a query
    store.captureFromClipboard(ClipItem::makeText(QStringLiteral("xabcx")));

    OverlayState state;
    state.setQuery(query);
    QStringList expected = found;
    if (query.trimmed().isEmpty())
        expected.insert(2, QStringLiteral("Image")); // the image without text
    QCOMPARE(previews(itemsForCurrentTab(state, store)), expected);
}

void TestOverlayState::categoryTabShowsItsItemsOrNothing()
{
    Store store(m_dir.filePath(QStringLiteral("tabs.json")));
    store.captureFromClipboard(ClipItem::makeText(QStringLiteral("in history")));
    const QUuid id = store.addCategory(QStringLiteral("C"));
    store.add(ClipItem::makeText(QStringLiteral("older")), id);
    store.add(ClipItem::makeText(QStringLiteral("newer")), id);

    OverlayState state;
    state.setTab(Tab::category(id));
    QCOMPARE(previews(itemsForCurrentTab(state, store)), (QStringList{"newer", "older"}));
    store.deleteCategory(id);
    QVERIFY(itemsForCurrentTab(state, store).isEmpty());
}

void TestOverlayState::resetForShowKeepsFocusAndColumns()
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

QTEST_GUILESS_MAIN(TestOverlayState)
#include "tst_overlaystate.moc"
