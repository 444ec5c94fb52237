#include "app/CommandRunner.h"
#include "common/Files.h"
#include "common/Images.h"
#include "model/Store.h"
#include "model/StoreCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

// The command line's commands over a store: what they print, what they change, and that a
// failing command changes nothing and says why.
class TestCommandRunner : public QObject
{
    Q_OBJECT

private:
    struct Calls
    {
        QList<ClipItem> copied, pasted, put;
        QList<bool> paused;
    };

    CommandRunner::Actions recordingActions()
    {
        CommandRunner::Actions actions;
        actions.copy = [this](const ClipItem &item) { m_calls.copied.append(item); };
        actions.paste = [this](const ClipItem &item) { m_calls.pasted.append(item); };
        actions.put = [this](const ClipItem &item) { m_calls.put.append(item); };
        actions.setPaused = [this](bool paused) { m_calls.paused.append(paused); };
        return actions;
    }

    // History, newest first: "second line\nmore", an image with recognised text, "first".
    void fill(Store &store)
    {
        store.captureFromClipboard(ClipItem::makeText(QStringLiteral("first")));
        ClipItem image = ClipItem::makeImage(m_png);
        image.ocrText = QStringLiteral("Invoice 42");
        image.flavors = Flavors{{QStringLiteral("image/png"), m_png}};
        store.captureFromClipboard(image);
        ClipItem text = ClipItem::makeText(QStringLiteral("second   line\n\tmore"));
        text.flavors = Flavors{{QStringLiteral("text/html"), QByteArrayLiteral("<b>second</b>")}};
        store.captureFromClipboard(text);
        const QUuid work = store.addCategory(QStringLiteral("Work"));
        store.add(ClipItem::makeText(QStringLiteral("filed away")), work);
    }

    QString path() const { return m_dir.filePath(QStringLiteral("store.json")); }

    // A filled store and a runner over it, for the test that calls it.
    Store &open()
    {
        fill(m_store.emplace(path()));
        m_runner.emplace(*m_store, recordingActions());
        return *m_store;
    }
    CommandReply run(const QStringList &arguments, const QByteArray &input = {})
    {
        return m_runner->run(arguments, input);
    }

    QTemporaryDir m_dir;
    Calls m_calls;
    std::optional<Store> m_store;
    std::optional<CommandRunner> m_runner;
    const QByteArray m_png = encodeImage(testImage(QSize(40, 30)));

private slots:
    void init() { m_calls = {}; }
    void cleanup()
    {
        m_runner.reset();
        m_store.reset();
        QFile::remove(path());
    }

    void listPrintsOneLinePerClip()
    {
        open();
        CommandReply reply = run({"list"});
        QCOMPARE(reply.status, 0);
        QCOMPARE(QString::fromUtf8(reply.out),
                 QStringLiteral("0\ttext\tsecond line more\n"
                                "1\timage\tImage 40×30: Invoice 42\n"
                                "2\ttext\tfirst\n"));
        QVERIFY(reply.err.isEmpty());

        reply = run({"list", "--limit=1"});
        QCOMPARE(reply.out, QByteArray("0\ttext\tsecond line more\n"));
        reply = run({"list", "--category", "work"});
        QCOMPARE(reply.out, QByteArray("0\ttext\tfiled away\n"));
        reply = run({"categories"});
        QCOMPARE(reply.out, QByteArray("Work\n"));
    }

    // Kinds, ids, flavors and sizes are checked against a running instance by the command-line
    // desktop test; the index, recognised text and date only here.
    void jsonCarriesIndexesDatesAndRecognisedText()
    {
        open();
        const CommandReply reply = run({"list", "--json"});
        QCOMPARE(reply.status, 0);
        const QJsonArray clips = QJsonDocument::fromJson(reply.out).array();
        QCOMPARE(clips.size(), 3);
        const QJsonObject image = clips[1].toObject();
        QCOMPARE(image[u"index"].toInt(), 1);
        QCOMPARE(image[u"ocrText"].toString(), QStringLiteral("Invoice 42"));
        QVERIFY(QDateTime::fromString(clips[2].toObject()[u"date"].toString(), Qt::ISODateWithMs)
                    .isValid());
    }

    void getWritesTheClipsBytes()
    {
        Store &store = open();
        QCOMPARE(run({"get", "0"}).out, QByteArray("second   line\n\tmore"));
        QCOMPARE(run({"get", "0", "--type", "text/html"}).out, QByteArray("<b>second</b>"));
        const QString id = StoreCodec::uuidString(store.history()[2].id);
        QCOMPARE(run({"get", id}).out, QByteArray("first"));
        // An id finds a clip of a category too.
        const QString filed = StoreCodec::uuidString(store.categories()[0].items[0].id);
        QCOMPARE(run({"get", filed}).out, QByteArray("filed away"));
    }

    // Copy, paste, pause and resume reach a running instance in the command-line desktop test.
    void writingCommandsChangeTheStore()
    {
        Store &store = open();
        const ClipItem image = store.history()[1];
        QCOMPARE(run({"add", "--category", "Work"}, "from a pipe").status, 0);
        QCOMPARE(m_calls.put.size(), 1);
        QCOMPARE(m_calls.put[0].text, QStringLiteral("from a pipe"));
        QCOMPARE(store.categories()[0].items[0].text, QStringLiteral("from a pipe"));

        // Another image type goes on the clipboard as given, with a PNG beside it.
        const QByteArray jpeg = encodeImage(testImage(), "JPEG");
        QCOMPARE(run({"add", "--type", "image/jpeg"}, jpeg).status, 0);
        const ClipItem added = m_calls.put.last();
        QCOMPARE(added.kind, ClipKind::Image);
        QCOMPARE(added.flavors->value(QStringLiteral("image/jpeg")), jpeg);
        QCOMPARE(QImage::fromData(*added.imageData).size(), QSize(40, 30));

        QCOMPARE(run({"delete", "0"}).status, 0);
        QCOMPARE(store.history().size(), 2);
        QCOMPARE(store.history()[0], image);
        QCOMPARE(run({"clear"}).status, 0);
        QVERIFY(store.history().isEmpty());
        QCOMPARE(store.categories()[0].items.size(), 2);
    }

    void failuresSayWhyAndChangeNothing_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("status");

        const auto row =
            [](const char *name, QStringList arguments, int status, QByteArray input = {}) {
                QTest::newRow(name) << arguments << input << status;
            };
        row("unknown command", {"frobnicate"}, 2);
        row("option without its value", {"list", "--limit"}, 2);
        row("index past the end", {"get", "3"}, 1);
        row("neither index nor id", {"copy", "newest"}, 2);
        row("unknown id", {"delete", "{6F1D3C55-0000-4000-8000-000000000000}"}, 1);
        row("add to an unknown category", {"add", "--category", "Recipes"}, 1, "text");
        row("index past the end of a category", {"delete", "1", "--category", "Work"}, 1);
        row("missing flavor", {"get", "0", "--type", "image/png"}, 1);
        row("nothing to add", {"add"}, 1);
        row("add bytes that are no image", {"add", "--type", "image/png"}, 1, "not a picture");
    }

    void failuresSayWhyAndChangeNothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(int, status);
        Store &store = open();
        const QList<ClipItem> history = store.history();
        const QList<Category> categories = store.categories();

        const CommandReply reply = run(arguments, input);
        QCOMPARE(reply.status, status);
        QVERIFY(reply.out.isEmpty());
        QVERIFY2(reply.err.startsWith("cliphaven: ") && reply.err.endsWith('\n'), reply.err);
        QCOMPARE(store.history(), history);
        QCOMPARE(store.categories(), categories);
        QVERIFY(m_calls.copied.isEmpty() && m_calls.put.isEmpty() && m_calls.paused.isEmpty());
    }

    // Reads and refused writes on a saved history are checked with a stopped instance by the
    // command-line desktop test; these are the files it cannot read.
    void savedHistoryMissingOrDamaged()
    {
        QString error;
        QVERIFY(CommandRunner::fromStoreFile(path(), error)->run({"list"}).out.isEmpty());
        QVERIFY(writeFile(path(), "{\"history\": [garbage"));
        QVERIFY(!CommandRunner::fromStoreFile(path(), error));
        QVERIFY(error.contains(path()));
        QVERIFY(QFile::exists(path()));
    }
};

QTEST_GUILESS_MAIN(TestCommandRunner)
#include "tst_commandrunner.moc"
