#include "capture/CapturedImageText.h"
#include "common/Files.h"
#include "fakes/FakeTextRecognizer.h"
#include "model/JsonWriter.h"
#include "model/Store.h"
#include "model/StoreCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
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

// A small file system of its own, so a test can fill it or make it read-only. Needs the right
// to mount (root, as in CI).
class SmallFileSystem
{
public:
    explicit SmallFileSystem(const QString &kilobytes)
    {
        m_mounted = QProcess::execute(QStringLiteral("mount"),
                                      {"-t",
                                       "tmpfs",
                                       "-o",
                                       QStringLiteral("size=%1k,mode=0700").arg(kilobytes),
                                       "tmpfs",
                                       m_dir.path()})
                    == 0;
    }
    ~SmallFileSystem()
    {
        if (m_mounted)
            QProcess::execute(QStringLiteral("umount"), {m_dir.path()});
    }
    bool isMounted() const { return m_mounted; }
    QString path(const QString &name) const { return m_dir.filePath(name); }
    // Writes zeros until the file system is full.
    void fill() const
    {
        QFile filler(path(QStringLiteral("filler")));
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return;
        const QByteArray block(4096, '\0');
        while (filler.write(block) > 0) {
        }
    }
    void remount(const QString &mode) const
    {
        QProcess::execute(QStringLiteral("mount"), {"-o", "remount," + mode, m_dir.path()});
    }

private:
    QTemporaryDir m_dir;
    bool m_mounted = false;
};

QByteArray itemJson(const QString &id, const QString &text)
{
    return QStringLiteral(R"({"id":"%1","kind":"text","text":"%2","createdAt":10})")
        .arg(id, text)
        .toUtf8();
}

} // namespace

class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_path = m_dir->filePath(QStringLiteral("Cliphaven/store.json"));
        m_recognizer = FakeTextRecognizer();
    }

    void captureRule_data()
    {
        QTest::addColumn<QStringList>("captures");
        QTest::addColumn<QStringList>("history");
        QTest::addColumn<int>("changes");

        QTest::newRow("same as the newest is skipped")
            << QStringList{"A", "A"} << QStringList{"A"} << 1;
        QTest::newRow("an older equal entry moves to the front")
            << QStringList{"A", "B", "C", "A"} << QStringList{"A", "C", "B"} << 4;
        QTest::newRow("equal only after trimming is new")
            << QStringList{"A", "A "} << QStringList{"A ", "A"} << 2;
    }

    void captureRule()
    {
        QFETCH(QStringList, captures);
        QFETCH(QStringList, history);
        QFETCH(int, changes);
        auto store = makeStore();
        QSignalSpy changed(store.get(), &Store::historyChanged);
        ClipItem first = text(captures.first());
        first.createdAt = Timestamp{100};
        first.ocrText = QStringLiteral("kept");
        // Later captures are fresh items; the first keeps its id, date and OCR text wherever it
        // now stands.
        for (qsizetype i = 0; i < captures.size(); ++i)
            store->captureFromClipboard(i == 0 ? first : text(captures.at(i)));
        for (const ClipItem &item : store->history())
            QVERIFY(item.text != first.text || item == first);
        QStringList stored;
        for (const ClipItem &item : store->history())
            stored.append(*item.text);
        QCOMPARE(stored, history);
        QCOMPARE(changed.count(), changes);
    }

    void captureDropsTheOldestBeyondTheLimit()
    {
        auto store = makeStore();
        for (int i = 0; i < Store::kHistoryLimit; ++i)
            store->captureFromClipboard(text(QString::number(i)));
        QCOMPARE(store->history().size(), 200);
        store->captureFromClipboard(text(QStringLiteral("new")));
        QCOMPARE(store->history().size(), 200);
        QCOMPARE(store->history().first().preview(), QStringLiteral("new"));
        QCOMPARE(store->history().last().preview(), QStringLiteral("1"));
        // Moving the oldest to the front keeps the count.
        store->captureFromClipboard(text(QStringLiteral("1")));
        QCOMPARE(store->history().size(), 200);
        QCOMPARE(store->history().first().preview(), QStringLiteral("1"));
    }

    void categoryAddCopiesWithNewIdAndSkipsDuplicates()
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
        store->add(item, QUuid::createUuid()); // unknown category: nothing happens
        QCOMPARE(store->category(id)->items.size(), 1);
        QCOMPARE(changed.count(), 1);
        const ClipItem &copy = store->category(id)->items.first();
        QVERIFY(copy.id != item.id);
        QVERIFY(copy.createdAt > item.createdAt);
        QCOMPARE(copy.flavors, item.flavors);
        QVERIFY(copy.sameContent(item));
    }

    void categoryEditsAndUnknownIds()
    {
        auto store = makeStore();
        const QUuid a = store->addCategory(QStringLiteral("A"));
        const QUuid b = store->addCategory(QStringLiteral("B"));
        const ClipItem item = text(QStringLiteral("x"));
        store->captureFromClipboard(item);
        store->add(item, a);
        store->add(text(QStringLiteral("y")), a);
        // The category's copy outlives the history entry.
        store->deleteFromHistory(item.id);
        store->eraseHistory();
        QCOMPARE(texts(store->category(a)->items), (QStringList{"y", "x"}));

        const QUuid first = store->category(a)->items.first().id;
        store->deleteItem(first, b);
        store->renameCategory(QUuid::createUuid(), QStringLiteral("nobody"));
        QCOMPARE(store->category(a)->items.size(), 2);
        QCOMPARE(store->findItem(first)->preview(), QStringLiteral("y"));
        store->deleteItem(first, a);
        QCOMPARE(texts(store->category(a)->items), QStringList{"x"});
        QVERIFY(!store->findItem(first));

        store->renameCategory(a, QStringLiteral("Renamed"));
        store->deleteCategory(b);
        QCOMPARE(store->categories().size(), 1);
        QCOMPARE(store->categories().first().name, QStringLiteral("Renamed"));
    }

    void reorder_data()
    {
        QTest::addColumn<QChar>("moved");
        QTest::addColumn<QChar>("target");
        QTest::addColumn<QString>("order");

        QTest::newRow("later before earlier") << QChar('C') << QChar('A') << "CABD";
        QTest::newRow("earlier before later") << QChar('A') << QChar('C') << "BACD";
        QTest::newRow("unknown target") << QChar('B') << QChar('?') << "ABCD";
    }

    void reorder()
    {
        QFETCH(QChar, moved);
        QFETCH(QChar, target);
        QFETCH(QString, order);

        auto store = makeStore();
        QHash<QChar, QUuid> ids;
        for (const QChar name : QStringLiteral("ABCD"))
            ids.insert(name, store->addCategory(name));
        QSignalSpy changed(store.get(), &Store::categoriesChanged);
        store->reorderCategory(ids.value(moved, QUuid::createUuid()),
                               ids.value(target, QUuid::createUuid()));
        QString names;
        for (const Category &category : store->categories())
            names += category.name;
        QCOMPARE(names, order);
        QCOMPARE(changed.count(), order == u"ABCD" ? 0 : 1);
    }

    // A captured image's text reaches every entry with those bytes, in the history and in the
    // categories; text items and images without bytes are not sent to the recogniser.
    void recognisedTextReachesEveryEntryWithThoseBytes()
    {
        auto store = makeStore();
        const QByteArray png("png-bytes");
        const auto samePng = [&png] { return QByteArray(png.constData(), png.size()); };
        const ClipItem image = ClipItem::makeImage(png);
        store->captureFromClipboard(image);
        store->captureFromClipboard(ClipItem::makeImage(QByteArray("other")));
        const QUuid one = store->addCategory(QStringLiteral("One"));
        const QUuid two = store->addCategory(QStringLiteral("Two"));
        store->add(image, one);
        store->add(ClipItem::makeImage(samePng()), two);
        ClipItem noBytes = ClipItem::makeImage({});
        noBytes.imageData.reset();
        recognizeCapturedImage(text(QStringLiteral("plain")), m_recognizer, *store);
        recognizeCapturedImage(noBytes, m_recognizer, *store);
        QVERIFY(m_recognizer.pending.isEmpty());

        QSignalSpy history(store.get(), &Store::historyChanged);
        QSignalSpy categories(store.get(), &Store::categoriesChanged);
        m_recognizer.answers.insert(png, QStringLiteral("Hello World"));
        // The monitor's item is a fresh value with the same bytes, not the stored entry.
        recognizeCapturedImage(ClipItem::makeImage(samePng()), m_recognizer, *store);
        recognizeCapturedImage(ClipItem::makeImage(QByteArray("other")), m_recognizer, *store);
        m_recognizer.finishAll();
        store->setOCR(QStringLiteral("x"), QByteArray("nothing has these"));
        QCOMPARE(store->history().at(1).ocrText, QStringLiteral("Hello World"));
        QCOMPARE(store->history().at(1).id, image.id); // position and identity kept
        QVERIFY(!store->history().at(0).ocrText);
        QCOMPARE(store->category(one)->items.first().ocrText, QStringLiteral("Hello World"));
        QCOMPARE(store->category(two)->items.first().ocrText, QStringLiteral("Hello World"));
        QCOMPARE(history.count(), 1);
        QCOMPARE(categories.count(), 1);

        // An answer after the store is gone is dropped.
        recognizeCapturedImage(image, m_recognizer, *store);
        store.reset();
        m_recognizer.finishAll();
    }

    void burstOfEditsIsOneWrite()
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

    void saveAndLoadRoundTripInAPrivateFile()
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
            store->add(image, store->addCategory(QStringLiteral("Ünïcode")));
            store->flushSave();
            store->waitForWrites();
            history = store->history();
            categories = store->categories();
        }
        auto loaded = makeStore();
        QCOMPARE(loaded->history(), history);
        QCOMPARE(loaded->categories(), categories);
        QVERIFY(loaded->keptAsidePath().isEmpty());

        // The file and its folder are the user's alone, with no temporary files beside it.
        const auto others = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup
                            | QFileDevice::ReadOther | QFileDevice::WriteOther
                            | QFileDevice::ExeOther;
        const QFileInfo file(m_path);
        QVERIFY(file.permissions().testFlags(QFileDevice::ReadOwner | QFileDevice::WriteOwner));
        QVERIFY(!(file.permissions() & (others | QFileDevice::ExeOwner)));
        QVERIFY(!(QFileInfo(file.absolutePath()).permissions() & others));
        QCOMPARE(QDir(file.absolutePath()).entryList(QDir::Files), QStringList{"store.json"});
    }

    // A missing file is an empty store; a pending save is written on destruction; loading
    // alone writes nothing.
    void missingFileFlushOnDestructionAndLoadingDoesNotSave()
    {
        {
            auto store = makeStore();
            QVERIFY(store->history().isEmpty());
            QVERIFY(store->keptAsidePath().isEmpty());
            QVERIFY(!QFile::exists(m_path));
            store->captureFromClipboard(text(QStringLiteral("last words")));
            QVERIFY(store->hasPendingSave());
        }
        const QDateTime written = QFileInfo(m_path).lastModified();
        auto store = makeStore();
        QCOMPARE(texts(store->history()), QStringList{"last words"});
        QVERIFY(!store->hasPendingSave());
        store.reset();
        QCOMPARE(QFileInfo(m_path).lastModified(), written);
    }

    // Loading on a worker thread: captures meanwhile are shown at once and land on top of the
    // loaded history; the backfill waits for the loaded images.
    void capturesWhileLoadingGoOnTopOfTheLoadedHistory()
    {
        writeLoadedStore();
        Store store(m_path, Store::Loading::inBackground, &m_recognizer);
        QSignalSpy loaded(&store, &Store::loaded);
        QVERIFY(!store.isLoaded());
        store.captureFromClipboard(text(QStringLiteral("C")));
        store.captureFromClipboard(text(QStringLiteral("B")));
        QCOMPARE(texts(store.history()), (QStringList{"B", "C"}));
        QVERIFY(!store.hasPendingSave()); // it would replace the file with these two
        store.backfillMissingOCR();
        QCOMPARE(m_recognizer.pending.size(), 0);

        QVERIFY(loaded.wait(10000));
        QCOMPARE(texts(store.history()), (QStringList{"B", "C", "Image", "A"}));
        QCOMPARE(store.categories().size(), 1);
        QCOMPARE(m_recognizer.pending.size(), 1);
        store.flushSave();
        store.waitForWrites();
        QCOMPARE(texts(makeStore()->history()), texts(store.history()));
    }

    // Anything but a capture first waits for the load; quitting too, so nothing is lost.
    void editingOrQuittingWhileLoadingLosesNothing_data()
    {
        QTest::addColumn<bool>("quit");
        QTest::newRow("a new category") << false;
        QTest::newRow("quitting") << true;
    }

    void editingOrQuittingWhileLoadingLosesNothing()
    {
        QFETCH(bool, quit);
        writeLoadedStore();
        auto store = std::make_unique<Store>(m_path, Store::Loading::inBackground);
        store->captureFromClipboard(text(QStringLiteral("C")));
        if (quit) {
            store.reset();
            store = makeStore();
        } else {
            store->addCategory(QStringLiteral("New"));
            QVERIFY(store->isLoaded());
        }
        QCOMPARE(texts(store->history()), (QStringList{"C", "Image", "A"}));
        QCOMPARE(store->categories().size(), quit ? 1 : 2);
    }

    // Saving streams the text in pieces: the same bytes as encoding it whole, for payloads
    // across several pieces and shared between an image and its flavor; a refused piece stops it.
    void streamedEncodingIsTheSameText()
    {
        QByteArray payload(3 * JsonWriter::kChunkBytes + 1, Qt::Uninitialized);
        for (qsizetype i = 0; i < payload.size(); ++i)
            payload[i] = char(i * 7919 % 251);
        ClipItem image = ClipItem::makeImage(payload);
        image.flavors = Flavors{{QStringLiteral("image/png"), payload}};
        StoreCodec::Disk disk{{image, text(QStringLiteral("line \"1\"\n"))}, {}};
        disk.categories.append(Category::make(QStringLiteral("C")));
        disk.categories.first().items.append(image);

        QByteArray streamed;
        int pieces = 0;
        QVERIFY(StoreCodec::encode(disk, [&](QByteArrayView piece) {
            streamed.append(piece);
            ++pieces;
            return true;
        }));
        QCOMPARE_GT(pieces, 4);
        QVERIFY(streamed == StoreCodec::encode(disk));
        QCOMPARE(StoreCodec::decode(streamed)->history, disk.history);

        int offered = 0;
        QVERIFY(!StoreCodec::encode(disk, [&](QByteArrayView) { return ++offered < 2; }));
        QCOMPARE(offered, 2);
    }

    // A save that cannot be written leaves the old file byte for byte, says why, and retries
    // later; once the disk takes writes again, the retry or quitting writes what was kept.
    void failedSaveKeepsTheFileAndIsRetried_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<bool>("retry"); // or quit
        QTest::newRow("full disk, then a retry") << "full"
                                                 << "the disk is full" << true;
        QTest::newRow("read-only disk, then quitting") << "ro"
                                                       << "the disk is read-only" << false;
    }

    void failedSaveKeepsTheFileAndIsRetried()
    {
        QFETCH(QString, fault);
        QFETCH(QString, failure);
        QFETCH(bool, retry);
        SmallFileSystem disk(QStringLiteral("256"));
        if (!disk.isMounted())
            QSKIP("mounting a small tmpfs needs root; the full-disk rules are untested here");
        const QString path = disk.path(QStringLiteral("Cliphaven/store.json"));
        auto store = std::make_unique<Store>(path);
        QSignalSpy failureChanged(store.get(), &Store::saveFailureChanged);
        store->captureFromClipboard(text(QStringLiteral("first")));
        store->flushSave();
        store->waitForWrites();
        const QByteArray before = readFile(path);
        QVERIFY(!before.isEmpty());

        if (fault == QLatin1String("full"))
            disk.fill();
        else
            disk.remount(QStringLiteral("ro"));
        store->captureFromClipboard(text(QStringLiteral("second, while the disk fails")));
        store->flushSave();
        store->waitForWrites();
        QTRY_COMPARE(store->saveFailure(), failure);
        QCOMPARE(failureChanged.count(), 1);
        QCOMPARE(readFile(path), before);
        QVERIFY(store->isRetryingSave());
        // The retry fails again: the wait grows, the notice stays as it was.
        const int firstDelay = store->retryDelayMs();
        store->flushSave();
        store->waitForWrites();
        QTRY_COMPARE(store->retryDelayMs(), firstDelay * 2);
        QCOMPARE(failureChanged.count(), 1);
        QCOMPARE(readFile(path), before);

        if (fault == QLatin1String("full"))
            QVERIFY(QFile::remove(disk.path(QStringLiteral("filler"))));
        else
            disk.remount(QStringLiteral("rw"));
        if (retry) {
            // The retry's own timer, shortened only by calling its step.
            store->flushSave();
            store->waitForWrites();
            QTRY_VERIFY(store->saveFailure().isEmpty());
            QCOMPARE(failureChanged.count(), 2);
            QVERIFY(!store->isRetryingSave());
            QCOMPARE(store->retryDelayMs(), Store::kFirstRetryMs);
        }
        store.reset();
        QCOMPARE(texts(Store(path).history()),
                 (QStringList{"second, while the disk fails", "first"}));
        QCOMPARE(QDir(QFileInfo(path).path()).entryList(QDir::Files), QStringList{"store.json"});
    }

    // A link planted at the store's path is replaced by the store, never written through; a
    // temporary file left by a killed write is cleared at the next start.
    void saveReplacesALinkAndClearsLeftovers()
    {
        const QString victim = m_dir->filePath(QStringLiteral("victim"));
        const QByteArray victimBytes = R"({"history":[],"categories":[]})";
        QVERIFY(writeFile(victim, victimBytes));
        QVERIFY(writeFile(m_path + QStringLiteral(".saving-Zz99Yy"), "half a store"));
        QVERIFY(QFile::link(victim, m_path));
        {
            auto store = makeStore();
            QCOMPARE(QDir(QFileInfo(m_path).path()).entryList(QDir::Files | QDir::System),
                     QStringList{"store.json"});
            store->captureFromClipboard(text(QStringLiteral("A")));
        }
        QCOMPARE(readFile(victim), victimBytes);
        QVERIFY(!QFileInfo(m_path).isSymLink());
        QCOMPARE(texts(makeStore()->history()), QStringList{"A"});
    }

    // A damaged file: everything that parses is loaded and saved anew, the original is kept
    // aside whole, and the entries that could not be read are counted.
    void salvage_data()
    {
        const QString good1 = itemJson(QStringLiteral("11111111-1111-1111-1111-111111111111"),
                                       QStringLiteral("good one"));
        const QString good2 = itemJson(QStringLiteral("22222222-2222-2222-2222-222222222222"),
                                       QStringLiteral("good two"));
        const QString noId = QStringLiteral(R"({"kind":"text","text":"no id","createdAt":1})");
        const QString badKind = QStringLiteral(
            R"({"id":"33333333-3333-3333-3333-333333333333","kind":"sound","createdAt":1})");
        const QString category = QStringLiteral(
            R"({"id":"44444444-4444-4444-4444-444444444444","name":"Kept","items":[%1]})");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("history");
        QTest::addColumn<QStringList>("categories");
        QTest::addColumn<int>("unreadable");
        QTest::addColumn<bool>("keptAside");

        QTest::newRow("whole file")
            << QStringLiteral(R"({"history":[%1,%2],"categories":[]})").arg(good1, good2).toUtf8()
            << QStringList{"good one", "good two"} << QStringList{} << 0 << false;
        QTest::newRow("one entry without its id among good ones")
            << QStringLiteral(R"({"history":[%1,%2,%3],"categories":[]})")
                   .arg(good1, noId, good2)
                   .toUtf8()
            << QStringList{"good one", "good two"} << QStringList{} << 1 << true;
        QTest::newRow("a bad entry in a category keeps the category")
            << QStringLiteral(R"({"history":[%1],"categories":[%2]})")
                   .arg(good1, category.arg(noId + u',' + good2))
                   .toUtf8()
            << QStringList{"good one"} << QStringList{"Kept: good two"} << 1 << true;
        QTest::newRow("a category without a name is lost with its entries")
            << QStringLiteral(R"({"history":[%1],"categories":[{"id":"x","items":[%2,%3]}]})")
                   .arg(good1, good2, good2)
                   .toUtf8()
            << QStringList{"good one"} << QStringList{} << 2 << true;
        QTest::newRow("no categories list")
            << QStringLiteral(R"({"history":[%1,%2]})").arg(good1, badKind).toUtf8()
            << QStringList{"good one"} << QStringList{} << 1 << true;
        QTest::newRow("not JSON at all")
            << QByteArray("\x89PNG\r\n garbage") << QStringList{} << QStringList{} << 0 << true;
    }

    void salvage()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, history);
        QFETCH(QStringList, categories);
        QFETCH(int, unreadable);
        QFETCH(bool, keptAside);
        QVERIFY(writeFile(m_path, file));
        auto store = makeStore();
        QCOMPARE(texts(store->history()), history);
        QStringList loadedCategories;
        for (const Category &category : store->categories()) {
            for (const ClipItem &item : category.items)
                loadedCategories.append(category.name + QStringLiteral(": ") + *item.text);
        }
        QCOMPARE(loadedCategories, categories);
        QCOMPARE(store->unreadableEntries(), unreadable);
        QCOMPARE(!store->keptAsidePath().isEmpty(), keptAside);
        if (!keptAside)
            return;
        QCOMPARE(readFile(store->keptAsidePath()), file);
        QCOMPARE(store->wasUnreadable(), history.isEmpty() && categories.isEmpty());
        // What was salvaged is saved at once, so the next start finds a whole file; the copy
        // kept aside survives that save.
        const QString keptAsidePath = store->keptAsidePath();
        store.reset();
        auto reloaded = makeStore();
        QCOMPARE(texts(reloaded->history()), history);
        QVERIFY(reloaded->keptAsidePath().isEmpty());
        QCOMPARE(readFile(keptAsidePath), file);
    }

private:
    std::unique_ptr<Store> makeStore() { return std::make_unique<Store>(m_path, &m_recognizer); }

    // History: an image without recognised text, then "A"; one category.

    void writeLoadedStore()
    {
        Store store(m_path);
        store.captureFromClipboard(text(QStringLiteral("A")));
        store.captureFromClipboard(ClipItem::makeImage(QByteArray(100, 'i')));
        store.addCategory(QStringLiteral("Saved"));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
    FakeTextRecognizer m_recognizer;
};

QTEST_MAIN(TestStore)
#include "tst_store.moc"
