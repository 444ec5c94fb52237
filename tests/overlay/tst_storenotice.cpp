#include "common/Files.h"
#include "model/Store.h"
#include "overlay/StoreNotice.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// What the overlay says about the history file: a failing save while it fails, first; a
// damaged file's count and where it went, until the user closes it.
class TestStoreNotice : public QObject
{
    Q_OBJECT

private slots:
    void damagedFileThenFailingSaveThenRecovery()
    {
        QTemporaryDir dir;
        // The folder is a plain file at first, so nothing can be saved in it.
        const QString folder = dir.filePath(QStringLiteral("Cliphaven"));
        QVERIFY(writeFile(folder, "in the way"));
        const QString path = folder + QStringLiteral("/store.json");

        Store store(path);
        StoreNotice notice(store);
        QVERIFY(notice.text().isEmpty());
        QSignalSpy changed(&notice, &StoreNotice::changed);

        store.captureFromClipboard(ClipItem::makeText(QStringLiteral("A")));
        store.flushSave();
        store.waitForWrites();
        QTRY_VERIFY(!notice.text().isEmpty());
        QVERIFY2(notice.text().startsWith(QStringLiteral("History cannot be saved: ")),
                 qPrintable(notice.text()));
        QVERIFY(!notice.dismissible());
        notice.dismiss();
        QVERIFY(!notice.text().isEmpty());

        QVERIFY(QFile::remove(folder));
        store.flushSave();
        store.waitForWrites();
        QTRY_VERIFY(notice.text().isEmpty());
        QCOMPARE(changed.count(), 2);
    }

    // Told once: the notice stays until closed, and a later start has nothing to say.
    void damagedFileIsToldUntilClosed()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("store.json"));
        QVERIFY(writeFile(path,
                          R"({"history":[{"id":"11111111-1111-1111-1111-111111111111","kind":)"
                          R"("text","text":"ok","createdAt":1},{"kind":"text"}],"categories":[]})"));
        {
            Store store(path, Store::Loading::inBackground);
            StoreNotice notice(store);
            QVERIFY(notice.text().isEmpty()); // not before the load has finished
            QSignalSpy loaded(&store, &Store::loaded);
            QVERIFY(loaded.wait(10000));
            QVERIFY2(notice.text().startsWith(QStringLiteral("1 entry could not be read")),
                     qPrintable(notice.text()));
            QVERIFY(notice.text().contains(store.keptAsidePath()));
            QVERIFY(notice.dismissible());
            notice.dismiss();
            QVERIFY(notice.text().isEmpty());
        }
        Store again(path);
        QVERIFY(StoreNotice(again).text().isEmpty());
        QCOMPARE(again.history().size(), 1);
    }
};

QTEST_MAIN(TestStoreNotice)
#include "tst_storenotice.moc"
