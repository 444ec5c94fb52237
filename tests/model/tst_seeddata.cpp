#include "model/SeedData.h"
#include "model/Store.h"

#include <QTemporaryDir>
#include <QTest>

class TestSeedData : public QObject
{
    Q_OBJECT

private slots:
    void fillsAnEmptyStoreInOrder()
    {
        Store store(m_dir.filePath(QStringLiteral("seed.json")));
        SeedData::populateIfEmpty(store);

        QStringList names;
        int categoryTexts = 0;
        int categoryImages = 0;
        for (const Category &category : store.categories()) {
            names.append(category.name);
            for (const ClipItem &item : category.items)
                (item.kind == ClipKind::Image ? categoryImages : categoryTexts)++;
        }
        QCOMPARE(names, (QStringList{"Snippets", "Links", "Prompts", "Email", "Code"}));
        QCOMPARE(categoryTexts, 12);
        QCOMPARE(categoryImages, 1);

        const QList<ClipItem> &history = store.history();
        QCOMPARE(history.size(), 20);
        // The four images first, last captured first, although their dates run the other way.
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(history.at(i).kind, ClipKind::Image);
            QCOMPARE(history.at(i).image().size(), QSize(480, 320));
            QVERIFY(!history.at(i).flavors);
            QVERIFY(!history.at(i).ocrText);
        }
        QVERIFY(history.at(0).createdAt < history.at(3).createdAt);
        // Then the sixteen texts, the table's first row newest.
        for (int i = 4; i < 20; ++i) {
            QCOMPARE(history.at(i).kind, ClipKind::Text);
            if (i > 4)
                QVERIFY(history.at(i - 1).createdAt > history.at(i).createdAt);
        }
        // The kinds the overlay shows differently are all there.
        auto count = [&](auto predicate) {
            return std::count_if(history.cbegin(), history.cend(), predicate);
        };
        QVERIFY(count([](const ClipItem &item) { return item.detectedURL().has_value(); }) >= 2);
        QVERIFY(count([](const ClipItem &item) { return item.detectedHexColor().has_value(); })
                >= 2);
    }

    void neverMixesIntoRealData_data()
    {
        QTest::addColumn<bool>("withHistory");
        QTest::newRow("one history entry") << true;
        QTest::newRow("one category") << false;
    }

    void neverMixesIntoRealData()
    {
        QFETCH(bool, withHistory);
        Store store(
            m_dir.filePath(QString::fromUtf8(QTest::currentDataTag()) + QStringLiteral(".json")));
        if (withHistory)
            store.captureFromClipboard(ClipItem::makeText(QStringLiteral("mine")));
        else
            store.addCategory(QStringLiteral("Mine"));
        SeedData::populateIfEmpty(store);
        QCOMPARE(store.history().size(), withHistory ? 1 : 0);
        QCOMPARE(store.categories().size(), withHistory ? 0 : 1);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestSeedData)
#include "tst_seeddata.moc"
