#include "app/PreferencesModel.h"
#include "model/Store.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestPreferencesModel : public QObject
{
    Q_OBJECT

private slots:
    void countTexts_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("countText");
        QTest::addColumn<QString>("items"); // as the erase confirmation says it

        QTest::newRow("none reads as plural") << 0 << u"0 items stored"_s << u"All 0 items"_s;
        QTest::newRow("one is singular") << 1 << u"1 item stored"_s << u"All 1 item"_s;
        QTest::newRow("eleven, not one") << 11 << u"11 items stored"_s << u"All 11 items"_s;
    }

    void countTexts()
    {
        QFETCH(int, count);
        QFETCH(QString, countText);
        QFETCH(QString, items);
        QCOMPARE(PreferencesModel::historyCountText(count), countText);
        const QString rest = u" in History will be removed. Saved categories are kept. "
                             u"This can't be undone."_s;
        QCOMPARE(PreferencesModel::eraseHistoryInformativeText(count), QString(items + rest));
    }

    void eraseEmptiesHistoryAndKeepsCategories()
    {
        QTemporaryDir dir;
        Store store(dir.filePath(QStringLiteral("store.json")));
        PreferencesModel model(store);
        QSignalSpy changed(&model, &PreferencesModel::historyChanged);
        QVERIFY(!model.canEraseHistory());
        QCOMPARE(model.historyCountText(), QStringLiteral("0 items stored"));

        store.captureFromClipboard(ClipItem::makeText(QStringLiteral("one")));
        QCOMPARE(model.historyCountText(), QStringLiteral("1 item stored"));
        QVERIFY(model.canEraseHistory());
        store.captureFromClipboard(ClipItem::makeText(QStringLiteral("two")));
        const QUuid category = store.addCategory(QStringLiteral("Kept"));
        store.add(store.history().front(), category);
        QCOMPARE(changed.size(), 2);
        QCOMPARE(model.historyCount(), 2);

        model.eraseHistory();
        QCOMPARE(changed.size(), 3);
        QCOMPARE(model.historyCount(), 0);
        QVERIFY(!model.canEraseHistory());
        QCOMPARE(store.categories().size(), 1);
        QCOMPARE(store.categories().front().items.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestPreferencesModel)
#include "tst_preferencesmodel.moc"
