#include "FakeTextRecognizer.h"
#include "model/Store.h"
#include "model/StoreCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

ClipItem text(const QString &t)
{
    return ClipItem::makeText(t);
}

QStringList texts(const QList<ClipItem> &items)
{
    QStringList out;
    for (const ClipItem &item : items)
        out.append(item.preview());
    return out;
}

} // namespace

class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void captureSkipsTheNewestSameContent();
    void captureMovesAnOlderEntryToTheFrontKeepingItsIdentity();
    void captureDropsTheOldestBeyondTheLimit();
    void categoryAddCopiesWithNewIdAndSkipsDuplicates();
    void categoryCopySurvivesHistoryDeletion();
    void deleteItemAndUnknownCategory();
    void reorder_data();
    void reorder();
    void renameAndDelete();
    void setOcrReachesEveryEntryWithThoseBytes();
    void findItemSearchesHistoryFirst();
    void backfillRecognisesEachDistinctImageOnce();
    void backfillResultAfterStoreIsGoneIsDropped();

    void burstOfEditsIsOneWrite();
    void saveAndLoadRoundTrip();
    void fileAndFolderArePrivate();
    void pendingSaveIsFlushedOnDestruction();
    void corruptFileIsKeptAsideAndStoreStartsEmpty();
    void missingFileIsNotAnError();
    void loadingDoesNotSave();

private:
    std::unique_ptr<Store> makeStore() { return std::make_unique<Store>(m_path, &m_recognizer); }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
    FakeTextRecognizer m_recognizer;
};

void TestStore::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_path = m_dir->filePath(QStringLiteral("Cliphaven/store.json"));
    m_recognizer = FakeTextRecognizer();
}

void TestStore::captureSkipsTheNewestSameContent()
{
    auto store = makeStore();
    QSignalSpy changed(store.get(), &Store::historyChanged);
    store->captureFromClipboard(text(QStringLiteral("A")));
    store->captureFromClipboard(text(QStringLiteral("A")));
    QCOMPARE(store->history().size(), 1);
    QCOMPARE(changed.count(), 1);
}

void TestStore::captureMovesAnOlderEntryToTheFrontKeepingItsIdentity()
{
    auto store = makeStore();
    ClipItem first = text(QStringLiteral("A"));
    first.createdAt = Timestamp{100};
    first.ocrText = QStringLiteral("kept");
    store->captureFromClipboard(first);
    store->captureFromClipboard(text(QStringLiteral("B")));
    store->captureFromClipboard(text(QStringLiteral("C")));

    ClipItem again = text(QStringLiteral("A"));
    store->captureFromClipboard(again);
    QCOMPARE(texts(store->history()), (QStringList{"A", "C", "B"}));
    QCOMPARE(store->history().first(), first); // old id, date and OCR text
}

void TestStore::captureDropsTheOldestBeyondTheLimit()
{
    auto store = makeStore();
    for (int i = 0; i < Store::kHistoryLimit; ++i)
        store->captureFromClipboard(text(QString::number(i)));
    QCOMPARE(store->history().size(), 200);
    QCOMPARE(store->history().last().preview(), QStringLiteral("0"));

    store->captureFromClipboard(text(QStringLiteral("new")));
    QCOMPARE(store->history().size(), 200);
    QCOMPARE(store->history().first().preview(), QStringLiteral("new"));
    QCOMPARE(store->history().last().preview(), QStringLiteral("1"));

    // Moving the oldest to the front keeps the count.
    store->captureFromClipboard(text(QStringLiteral("1")));
    QCOMPARE(store->history().size(), 200);
    QCOMPARE(store->history().first().preview(), QStringLiteral("1"));
}

void TestStore::categoryAddCopiesWithNewIdAndSkipsDuplicates()
{
    auto store = makeStore();
    const QUuid id = store->addCategory(QStringLiteral("Snippets"));
    ClipItem item = text(QStringLiteral("hello"));
    item.createdAt = Timestamp{5};
    item.flavors = Flavors{{QStringLiteral("text/html"), QByteArray("<i>hello</i>")}};
    store->captureFromClipboard(item);

    QSignalSpy changed(store.get(), &Store::categoriesChanged);
    store->add(item, id);
    store->add(item, id);
    const Category *category = store->category(id);
    QCOMPARE(category->items.size(), 1);
    QCOMPARE(changed.count(), 1);
    const ClipItem &copy = category->items.first();
    QVERIFY(copy.id != item.id);
    QVERIFY(copy.createdAt > item.createdAt);
    QCOMPARE(copy.flavors, item.flavors);
    QVERIFY(copy.sameContent(item));

    store->add(item, QUuid::createUuid()); // unknown category: nothing happens
    QCOMPARE(changed.count(), 1);
}

void TestStore::categoryCopySurvivesHistoryDeletion()
{
    auto store = makeStore();
    const QUuid id = store->addCategory(QStringLiteral("Keep"));
    const ClipItem item = text(QStringLiteral("x"));
    store->captureFromClipboard(item);
    store->add(item, id);
    store->deleteFromHistory(item.id);
    QVERIFY(store->history().isEmpty());
    store->captureFromClipboard(text(QStringLiteral("y")));
    store->eraseHistory();
    QVERIFY(store->history().isEmpty());
    QCOMPARE(store->category(id)->items.size(), 1);
}

void TestStore::deleteItemAndUnknownCategory()
{
    auto store = makeStore();
    const QUuid id = store->addCategory(QStringLiteral("C"));
    store->add(text(QStringLiteral("a")), id);
    store->add(text(QStringLiteral("b")), id);
    const QUuid first = store->category(id)->items.first().id;
    store->deleteItem(first, QUuid::createUuid());
    QCOMPARE(store->category(id)->items.size(), 2);
    store->deleteItem(first, id);
    QCOMPARE(texts(store->category(id)->items), QStringList{"a"});
}

void TestStore::reorder_data()
{
    QTest::addColumn<QString>("moved");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("order");

    const QStringList unchanged{"A", "B", "C", "D"};
    QTest::newRow("later before earlier") << "C"
                                          << "A" << QStringList{"C", "A", "B", "D"};
    QTest::newRow("earlier before later") << "A"
                                          << "C" << QStringList{"B", "A", "C", "D"};
    QTest::newRow("first before last") << "A"
                                       << "D" << QStringList{"B", "C", "A", "D"};
    QTest::newRow("before its successor is no move") << "B"
                                                     << "C" << unchanged;
    QTest::newRow("before its predecessor") << "B"
                                            << "A" << QStringList{"B", "A", "C", "D"};
    QTest::newRow("before itself") << "B"
                                   << "B" << unchanged;
    QTest::newRow("unknown target") << "B"
                                    << "?" << unchanged;
    QTest::newRow("unknown category") << "?"
                                      << "A" << unchanged;
}

void TestStore::reorder()
{
    QFETCH(QString, moved);
    QFETCH(QString, target);
    QFETCH(QStringList, order);

    auto store = makeStore();
    QHash<QString, QUuid> ids;
    for (const char *name : {"A", "B", "C", "D"})
        ids.insert(QString::fromUtf8(name), store->addCategory(QString::fromUtf8(name)));
    auto idOf = [&](const QString &name) { return ids.value(name, QUuid::createUuid()); };

    QSignalSpy changed(store.get(), &Store::categoriesChanged);
    store->reorderCategory(idOf(moved), idOf(target));
    QStringList names;
    for (const Category &category : store->categories())
        names.append(category.name);
    QCOMPARE(names, order);
    const bool reordered = names != QStringList{"A", "B", "C", "D"};
    QCOMPARE(changed.count(), reordered ? 1 : 0);
}

void TestStore::renameAndDelete()
{
    auto store = makeStore();
    const QUuid a = store->addCategory(QStringLiteral("A"));
    const QUuid b = store->addCategory(QStringLiteral("B"));
    store->renameCategory(a, QStringLiteral("  spaced  ")); // the store keeps names as given
    QCOMPARE(store->category(a)->name, QStringLiteral("  spaced  "));
    store->renameCategory(QUuid::createUuid(), QStringLiteral("nobody"));
    store->deleteCategory(a);
    QCOMPARE(store->categories().size(), 1);
    QCOMPARE(store->categories().first().id, b);
}

void TestStore::setOcrReachesEveryEntryWithThoseBytes()
{
    auto store = makeStore();
    const QByteArray png("png-bytes");
    const ClipItem image = ClipItem::makeImage(png);
    const ClipItem other = ClipItem::makeImage(QByteArray("other"));
    store->captureFromClipboard(image);
    store->captureFromClipboard(other);
    const QUuid one = store->addCategory(QStringLiteral("One"));
    const QUuid two = store->addCategory(QStringLiteral("Two"));
    store->add(image, one);
    // A separate buffer with the same bytes counts too.
    store->add(ClipItem::makeImage(QByteArray(png.constData(), png.size())), two);

    QSignalSpy history(store.get(), &Store::historyChanged);
    QSignalSpy categories(store.get(), &Store::categoriesChanged);
    store->setOCR(QStringLiteral("Hello World"), png);
    QCOMPARE(store->history().at(1).ocrText, QStringLiteral("Hello World"));
    QCOMPARE(store->history().at(1).id, image.id); // position and identity kept
    QVERIFY(!store->history().at(0).ocrText);
    QCOMPARE(store->category(one)->items.first().ocrText, QStringLiteral("Hello World"));
    QCOMPARE(store->category(two)->items.first().ocrText, QStringLiteral("Hello World"));
    QCOMPARE(history.count(), 1);
    QCOMPARE(categories.count(), 1);

    store->setOCR(QStringLiteral("x"), QByteArray("nothing has these"));
    QCOMPARE(history.count(), 1);
    QCOMPARE(categories.count(), 1);
}

void TestStore::findItemSearchesHistoryFirst()
{
    auto store = makeStore();
    const ClipItem item = text(QStringLiteral("a"));
    store->captureFromClipboard(item);
    const QUuid c = store->addCategory(QStringLiteral("C"));
    store->add(text(QStringLiteral("b")), c);
    QCOMPARE(store->findItem(item.id), item);
    const QUuid inCategory = store->category(c)->items.first().id;
    QCOMPARE(store->findItem(inCategory)->preview(), QStringLiteral("b"));
    QVERIFY(!store->findItem(QUuid::createUuid()));
}

void TestStore::backfillRecognisesEachDistinctImageOnce()
{
    auto store = makeStore();
    const QByteArray a("image-a");
    const QByteArray b("image-b");
    ClipItem done = ClipItem::makeImage(QByteArray("already"));
    done.ocrText = QStringLiteral("old");
    store->captureFromClipboard(ClipItem::makeImage(a));
    store->captureFromClipboard(ClipItem::makeImage(b));
    store->captureFromClipboard(done);
    store->captureFromClipboard(text(QStringLiteral("text")));
    const QUuid c = store->addCategory(QStringLiteral("C"));
    store->add(ClipItem::makeImage(a), c);

    m_recognizer.answers.insert(a, QStringLiteral("Text A"));
    store->backfillMissingOCR();
    QCOMPARE(m_recognizer.pending.size(), 2); // a once, b once; not the done one
    m_recognizer.finishAll();

    for (const ClipItem &item : store->history()) {
        if (item.imageData == a)
            QCOMPARE(item.ocrText, QStringLiteral("Text A"));
        if (item.imageData == b)
            QVERIFY(!item.ocrText); // nothing recognised: stays absent, retried next start
    }
    QCOMPARE(store->category(c)->items.first().ocrText, QStringLiteral("Text A"));
}

void TestStore::backfillResultAfterStoreIsGoneIsDropped()
{
    auto store = makeStore();
    store->captureFromClipboard(ClipItem::makeImage(QByteArray("a")));
    m_recognizer.answers.insert(QByteArray("a"), QStringLiteral("late"));
    store->backfillMissingOCR();
    store.reset();
    m_recognizer.finishAll(); // must not touch the destroyed store
}

void TestStore::burstOfEditsIsOneWrite()
{
    auto store = makeStore();
    for (int i = 0; i < 50; ++i)
        store->captureFromClipboard(text(QString::number(i)));
    store->addCategory(QStringLiteral("C"));
    QVERIFY(store->hasPendingSave());
    QCOMPARE(store->savesStarted(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!store->hasPendingSave(), 10000);
    store->waitForWrites();
    QCOMPARE(store->savesStarted(), 1);
    QVERIFY(QFile::exists(m_path));
}

void TestStore::saveAndLoadRoundTrip()
{
    QList<ClipItem> history;
    QList<Category> categories;
    {
        auto store = makeStore();
        ClipItem image = ClipItem::makeImage(QByteArray(1000, '\x89'));
        image.flavors = Flavors{{QStringLiteral("image/png"), *image.imageData},
                                {QStringLiteral("image/tiff"), QByteArray(10, 't')}};
        image.ocrText = QStringLiteral("ocr");
        store->captureFromClipboard(image);
        store->captureFromClipboard(text(QStringLiteral("line1\nline2 \u00fc")));
        const QUuid c = store->addCategory(QStringLiteral("Ünïcode"));
        store->add(image, c);
        store->flushSave();
        store->waitForWrites();
        history = store->history();
        categories = store->categories();
    }
    auto loaded = makeStore();
    QCOMPARE(loaded->history(), history);
    QCOMPARE(loaded->categories(), categories);
    QVERIFY(loaded->keptAsidePath().isEmpty());
}

void TestStore::fileAndFolderArePrivate()
{
    auto store = makeStore();
    store->captureFromClipboard(text(QStringLiteral("secret")));
    store->flushSave();
    store->waitForWrites();
    const QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::WriteGroup
                                            | QFileDevice::ExeGroup | QFileDevice::ReadOther
                                            | QFileDevice::WriteOther | QFileDevice::ExeOther;
    const QFileDevice::Permissions file = QFileInfo(m_path).permissions();
    QVERIFY(file.testFlags(QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QVERIFY(!(file & (others | QFileDevice::ExeOwner)));
    QVERIFY(!(QFileInfo(QFileInfo(m_path).absolutePath()).permissions() & others));
    // No temporary files are left beside it.
    QCOMPARE(QDir(QFileInfo(m_path).absolutePath()).entryList(QDir::Files),
             QStringList{"store.json"});
}

void TestStore::pendingSaveIsFlushedOnDestruction()
{
    {
        auto store = makeStore();
        store->captureFromClipboard(text(QStringLiteral("last words")));
        QVERIFY(store->hasPendingSave());
    }
    auto loaded = makeStore();
    QCOMPARE(texts(loaded->history()), QStringList{"last words"});
}

void TestStore::corruptFileIsKeptAsideAndStoreStartsEmpty()
{
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    const QByteArray garbage("{\"history\":[{\"id\":\"broken");
    {
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(garbage);
    }
    auto store = makeStore();
    QVERIFY(store->history().isEmpty());
    QVERIFY(store->categories().isEmpty());
    QVERIFY(!store->keptAsidePath().isEmpty());
    QFile kept(store->keptAsidePath());
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), garbage);

    store->captureFromClipboard(text(QStringLiteral("fresh")));
    store->flushSave();
    store->waitForWrites();
    QVERIFY(QFile::exists(store->keptAsidePath())); // the first save did not destroy it
    QVERIFY(StoreCodec::decode([&] {
        QFile f(m_path);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }()));
}

void TestStore::missingFileIsNotAnError()
{
    auto store = makeStore();
    QVERIFY(store->history().isEmpty());
    QVERIFY(store->keptAsidePath().isEmpty());
    QVERIFY(!QFile::exists(m_path));
}

void TestStore::loadingDoesNotSave()
{
    {
        auto store = makeStore();
        store->captureFromClipboard(text(QStringLiteral("a")));
    }
    const QDateTime written = QFileInfo(m_path).lastModified();
    auto store = makeStore();
    QVERIFY(!store->hasPendingSave());
    QCOMPARE(store->savesStarted(), 0);
    store.reset();
    QCOMPARE(QFileInfo(m_path).lastModified(), written);
}

QTEST_GUILESS_MAIN(TestStore)
#include "tst_store.moc"
