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
        QList<ClipKind> saved;
        for (const Category &category : store.categories()) {
            names.append(category.name);
            for (const ClipItem &item : category.items)
                saved.append(item.kind);
        }
        QCOMPARE(names, (QStringList{"Snippets", "Links", "Prompts", "Email", "Code"}));
        QCOMPARE(saved.count(ClipKind::Text), 12);
        QCOMPARE(saved.count(ClipKind::Image), 1);

        // The four images first, last captured first, although their dates run the other way;
        // then the sixteen texts, the table's first row newest.
        const QList<ClipItem> &history = store.history();
        QCOMPARE(history.size(), 20);
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(history.at(i).kind, i < 4 ? ClipKind::Image : ClipKind::Text);
            if (i > 4)
                QVERIFY(history.at(i - 1).createdAt > history.at(i).createdAt);
        }
        QCOMPARE(history.at(0).image().size(), QSize(480, 320));
        QVERIFY(history.at(0).createdAt < history.at(3).createdAt);
        // The kinds the overlay shows differently are all there.
        QVERIFY(std::count_if(history.cbegin(),
                              history.cend(),
                              [](const ClipItem &item) { return item.detectedURL().has_value(); })
                >= 2);
        QVERIFY(
            std::count_if(history.cbegin(),
                          history.cend(),
                          [](const ClipItem &item) { return item.detectedHexColor().has_value(); })
            >= 2);
    }

    void neverMixesIntoRealData()
    {
        for (const bool withHistory : {true, false}) {
            Store store(m_dir.filePath(withHistory ? "history.json" : "categories.json"));
            if (withHistory)
                store.captureFromClipboard(ClipItem::makeText(QStringLiteral("mine")));
            else
                store.addCategory(QStringLiteral("Mine"));
            SeedData::populateIfEmpty(store);
            QCOMPARE(store.history().size(), withHistory ? 1 : 0);
            QCOMPARE(store.categories().size(), withHistory ? 0 : 1);
        }
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestSeedData)
#include "tst_seeddata.moc"
