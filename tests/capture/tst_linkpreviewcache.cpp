#include "capture/LinkPreviewCache.h"
#include "common/HttpServer.h"
#include "common/Images.h"

#include <QTest>

#include <memory>

using Entry = LinkPreviewCache::Entry;
using Response = TestHttpServer::Response;
using Routes = QList<QPair<QString, Response>>;
Q_DECLARE_METATYPE(Response)
Q_DECLARE_METATYPE(Routes)

using namespace std::chrono_literals;

namespace {

constexpr int kWaitMs = 20'000;
constexpr qint64 kMegabyte = 1024 * 1024;

// What became of one fetch() call.
struct Delivery
{
    int calls = 0;
    bool returned = false; // fetch() had returned when the completion ran
    bool answeredInsideCall = false;
    Entry entry;
};

} // namespace

class LinkPreviewCacheTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<LinkPreviewCache> m_cache;

    // Calls fetch() and records its completion; the recording lives as long as the test.
    std::shared_ptr<Delivery> startFetch(const QUrl &url)
    {
        auto delivery = std::make_shared<Delivery>();
        m_cache->fetch(url, [delivery](const Entry &entry) {
            ++delivery->calls;
            delivery->answeredInsideCall = !delivery->returned;
            delivery->entry = entry;
        });
        delivery->returned = true;
        return delivery;
    }

    // A fetch that must finish; its entry.
    Entry fetched(const QUrl &url)
    {
        const auto delivery = startFetch(url);
        if (!QTest::qWaitFor([&] { return delivery->calls > 0; }, kWaitMs))
            qFatal("no entry for %s", qPrintable(url.toString()));
        if (delivery->answeredInsideCall)
            qFatal("the completion ran inside fetch()");
        return delivery->entry;
    }

    static QColor colourOf(const Entry &entry)
    {
        return entry.image.isNull()
                   ? QColor()
                   : entry.image.pixelColor(entry.image.width() / 2, entry.image.height() / 2);
    }

private slots:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        // Short enough to keep the tests quick, long enough for a loaded machine.
        m_cache = std::make_unique<LinkPreviewCache>(3s);
    }
    void cleanup()
    {
        m_cache.reset();
        m_server.reset();
    }

    void readsTitleImageAndHost()
    {
        m_server->route("/post", Response::html(R"(<html><head><title>Site | Post</title>
            <meta property="og:title" content="A &quot;fine&quot;   post">
            <meta property="og:image" content="img/card.png"></head><body>...</body></html>)"));
        m_server->route("/img/card.png", Response::image(solidImage(Qt::red, QSize(64, 32))));
        const QUrl url = m_server->url("/post");
        const Entry entry = fetched(url);
        QCOMPARE(entry.title, QStringLiteral("A \"fine\" post"));
        QCOMPARE(entry.image.size(), QSize(64, 32));
        QCOMPARE(colourOf(entry), QColor(Qt::red));
        QCOMPARE(entry.host, QStringLiteral("127.0.0.1"));
        QVERIFY(entry.fetched);
        QCOMPARE(m_cache->cached(url), entry);
        QVERIFY(!m_cache->isFetching(url));
    }

    void findsAnImage_data()
    {
        QTest::addColumn<Routes>("routes");
        QTest::addColumn<QColor>("colour");
        const Response favicon = Response::image(solidImage(Qt::blue, QSize(32, 32), "ICO"),
                                                 "image/x-icon");
        const Response icon = Response::image(solidImage(Qt::green, QSize(16, 16)));
        QTest::newRow("the icon when there is no preview image")
            << Routes{{"/", Response::html("<title>T</title><link rel=icon href=/i.png>")},
                      {"/i.png", icon},
                      {"/favicon.ico", favicon}}
            << QColor(Qt::green);
        QTest::newRow("favicon.ico when the page names none")
            << Routes{{"/", Response::html("<title>T</title>")}, {"/favicon.ico", favicon}}
            << QColor(Qt::blue);
        QTest::newRow("the next candidate when the preview image is missing")
            << Routes{{"/",
                       Response::html("<meta property=og:image content=/gone.png>"
                                      "<link rel=icon href=/i.png>")},
                      {"/i.png", icon}}
            << QColor(Qt::green);
        QTest::newRow("the next candidate when an image address answers with a page")
            << Routes{{"/", Response::html("<meta property=og:image content=/login>")},
                      {"/login", Response::html("<title>Sign in</title>")},
                      {"/favicon.ico", favicon}}
            << QColor(Qt::blue);
        QTest::newRow("the next candidate when the image does not decode")
            << Routes{{"/", Response::html("<meta property=og:image content=/bad.png>")},
                      {"/bad.png", Response::image("\x89PNG\r\n\x1a\n but then nothing")},
                      {"/favicon.ico", favicon}}
            << QColor(Qt::blue);
        QTest::newRow("none at all")
            << Routes{{"/", Response::html("<meta property=og:image content=/login>")},
                      {"/login", Response::html("<title>Sign in</title>")}}
            << QColor();
    }
    void findsAnImage()
    {
        QFETCH(Routes, routes);
        QFETCH(QColor, colour);
        for (const auto &[path, response] : routes)
            m_server->route(path, response);
        const Entry entry = fetched(m_server->url("/"));
        QCOMPARE(colourOf(entry), colour);
        QCOMPARE(entry.host, QStringLiteral("127.0.0.1"));
    }

    // A broken server leaves the host alone, cached like any result.
    void givesUpOnServersThatStall_data()
    {
        QTest::addColumn<Response>("response");
        QTest::newRow("never answers") << Response::silent();
        QTest::newRow("trickles bytes forever") << Response::trickle();
    }
    void givesUpOnServersThatStall()
    {
        QFETCH(Response, response);
        m_server->route("/", response);
        m_cache->setTimeout(300ms);
        const QUrl url = m_server->url("/");
        const Entry entry = fetched(url);
        QCOMPARE(entry, (Entry{std::nullopt, QImage(), QStringLiteral("127.0.0.1"), true}));
        QCOMPARE(m_cache->cached(url), entry);
    }

    void stopsReadingLargePages_data()
    {
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<std::optional<QString>>("title");
        QTest::newRow("title in the first megabyte")
            << QByteArray("<html><head><title>Big</title><script>")
            << std::optional<QString>("Big");
        QTest::newRow("title after the first megabyte")
            << QByteArray("<html><head><script>") + QByteArray(kMegabyte + 10, ' ')
                   + "</script><title>Late</title>"
            << std::optional<QString>();
    }
    void stopsReadingLargePages()
    {
        QFETCH(QByteArray, start);
        QFETCH(std::optional<QString>, title);
        Response page = Response::html(start);
        page.paddedSize = 50 * kMegabyte;
        m_server->route("/", page);
        const Entry entry = fetched(m_server->url("/"));
        QCOMPARE(entry.title, title);
        // Whatever the socket buffers took, nowhere near the 50 MB offered.
        QCOMPARE_LT(m_server->bytesSent("/"), 25 * kMegabyte);
    }

    void refusesLargeImages_data()
    {
        QTest::addColumn<bool>("announced");
        QTest::newRow("size announced") << true;
        QTest::newRow("size not announced") << false;
    }
    void refusesLargeImages()
    {
        QFETCH(bool, announced);
        m_server->route("/",
                        Response::html("<title>T</title><meta property=og:image content=/huge>"));
        Response huge = Response::image(solidImage(Qt::red, QSize(10, 10)));
        huge.paddedSize = 50 * kMegabyte;
        huge.sendLength = announced;
        m_server->route("/huge", huge);
        const Entry entry = fetched(m_server->url("/"));
        QCOMPARE(entry.title, QStringLiteral("T"));
        QVERIFY(entry.image.isNull());
        QCOMPARE_LT(m_server->bytesSent("/huge"), 25 * kMegabyte);
    }

    void readsOnlyPagesAndImages_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QColor>("colour");
        QTest::newRow("PDF") << QByteArray("application/pdf") << QColor();
        QTest::newRow("JSON") << QByteArray("application/json") << QColor();
        QTest::newRow("plain text") << QByteArray("text/plain") << QColor();
        QTest::newRow("an image is its own preview") << QByteArray("image/png") << QColor(Qt::red);
    }
    void readsOnlyPagesAndImages()
    {
        QFETCH(QByteArray, contentType);
        QFETCH(QColor, colour);
        m_server->route("/doc", Response::image(solidImage(Qt::red, QSize(8, 8)), contentType));
        m_server->route("/favicon.ico",
                        Response::image(solidImage(Qt::blue, QSize(8, 8)), "image/png"));
        const Entry entry = fetched(m_server->url("/doc"));
        QCOMPARE(entry.title, std::nullopt);
        QCOMPARE(colourOf(entry), colour);
        QCOMPARE(m_server->totalRequests(), 1);
    }

    void survivesBrokenPages_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<std::optional<QString>>("title");
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe\x01<<<>>>\x00", 11)
                                << std::optional<QString>();
        QTest::newRow("unterminated everything")
            << QByteArray("<html><head><title>Broken &amp page</title><meta property=og:image "
                          "content=\"<<<\" <link rel=icon href=")
            << std::optional<QString>("Broken & page");
        QTest::newRow("empty") << QByteArray() << std::optional<QString>();
    }
    void survivesBrokenPages()
    {
        QFETCH(QByteArray, body);
        QFETCH(std::optional<QString>, title);
        m_server->route("/", Response::html(body));
        const Entry entry = fetched(m_server->url("/"));
        QCOMPARE(entry.title, title);
        QVERIFY(entry.image.isNull());
    }

    void followsRedirects()
    {
        m_server->route("/short", Response::redirect("/dir/article.html", 301));
        m_server->route("/dir/article.html",
                        Response::html(
                            "<title>Moved</title><meta property=og:image content=pic.png>"));
        m_server->route("/dir/pic.png", Response::image(solidImage(Qt::red, QSize(8, 8))));
        const Entry entry = fetched(m_server->url("/short"));
        QCOMPARE(entry.title, QStringLiteral("Moved"));
        // Relative to where the page was found, not to the link.
        QCOMPARE(colourOf(entry), QColor(Qt::red));
        QCOMPARE(m_server->requests("/dir/pic.png"), 1);
    }

    void givesUpOnBadRedirects_data()
    {
        QTest::addColumn<Routes>("routes");
        QTest::newRow("loop") << Routes{{"/", Response::redirect("/")}};
        QTest::newRow("cycle of two")
            << Routes{{"/", Response::redirect("/b")}, {"/b", Response::redirect("/")}};
        QTest::newRow("to a file") << Routes{{"/", Response::redirect("file:///etc/hostname")}};
        QTest::newRow("endless chain") << Routes{{"/", Response::redirect("/1")},
                                                 {"/1", Response::redirect("/2")},
                                                 {"/2", Response::redirect("/3")},
                                                 {"/3", Response::redirect("/4")},
                                                 {"/4", Response::redirect("/5")},
                                                 {"/5", Response::redirect("/6")},
                                                 {"/6", Response::redirect("/7")},
                                                 {"/7", Response::html("<title>End</title>")}};
    }
    void givesUpOnBadRedirects()
    {
        QFETCH(Routes, routes);
        for (const auto &[path, response] : routes)
            m_server->route(path, response);
        const Entry entry = fetched(m_server->url("/"));
        QCOMPARE(entry, (Entry{std::nullopt, QImage(), QStringLiteral("127.0.0.1"), true}));
        QCOMPARE_LE(m_server->totalRequests(), LinkPreviewCache::kMaxRedirects + 1);
    }

    void fetchesWebAddressesOnly_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("host");
        QTest::newRow("file") << QUrl("file:///etc/hostname") << "file:///etc/hostname";
        QTest::newRow("mail") << QUrl("mailto:someone@example.com") << "mailto:someone@example.com";
        QTest::newRow("http without a host") << QUrl("http:///index.html") << "http:///index.html";
        QTest::newRow("ftp to a host") << QUrl("ftp://127.0.0.1/file") << "127.0.0.1";
    }
    void fetchesWebAddressesOnly()
    {
        QFETCH(QUrl, url);
        QFETCH(QString, host);
        const Entry entry = fetched(url);
        QCOMPARE(entry, (Entry{std::nullopt, QImage(), host, true}));
        QCOMPARE(m_cache->cached(url), entry);
    }

    // Tiles for one link that appear together start one fetch; the later callers are dropped
    // and find the result in the cache.
    void oneFetchPerUrlAtATime()
    {
        m_server->route("/", Response::html("<title>Once</title>"));
        const QUrl url = m_server->url("/");
        const auto first = startFetch(url);
        const auto second = startFetch(url);
        const auto third = startFetch(url);
        QVERIFY(m_cache->isFetching(url));
        QTRY_COMPARE_WITH_TIMEOUT(first->calls, 1, kWaitMs);
        QTest::qWait(100);
        QCOMPARE(second->calls, 0);
        QCOMPARE(third->calls, 0);
        QCOMPARE(m_server->requests("/"), 1);
        QCOMPARE(m_cache->cached(url), first->entry);
    }

    void trailingSlashMakesAnotherKey()
    {
        m_server->route("/a", Response::html("<title>No slash</title>"));
        m_server->route("/a/", Response::html("<title>Slash</title>"));
        const auto plain = startFetch(m_server->url("/a"));
        const auto slashed = startFetch(m_server->url("/a/"));
        QTRY_VERIFY_WITH_TIMEOUT(plain->calls == 1 && slashed->calls == 1, kWaitMs);
        QCOMPARE(plain->entry.title, QStringLiteral("No slash"));
        QCOMPARE(slashed->entry.title, QStringLiteral("Slash"));
        QCOMPARE(m_cache->cached(m_server->url("/a"))->title, QStringLiteral("No slash"));
    }

    // Successes and failures alike: one network fetch per URL for the whole process.
    void answersFromMemoryAfterwards_data()
    {
        QTest::addColumn<Response>("response");
        QTest::newRow("page") << Response::html("<title>Kept</title>");
        QTest::newRow("server error") << Response{.status = 500, .body = "<title>Oops</title>"};
    }
    void answersFromMemoryAfterwards()
    {
        QFETCH(Response, response);
        m_server->route("/", response);
        const QUrl url = m_server->url("/");
        const Entry first = fetched(url);
        const int requests = m_server->totalRequests();
        const Entry again = fetched(url);
        QCOMPARE(again, first);
        QCOMPARE(m_server->totalRequests(), requests);
    }

    void destroyingTheCacheMidFetch()
    {
        m_server->route("/", Response::trickle());
        const auto delivery = startFetch(m_server->url("/"));
        QTRY_COMPARE_WITH_TIMEOUT(m_server->requests("/"), 1, kWaitMs);
        m_cache.reset();
        QTest::qWait(200);
        QCOMPARE(delivery->calls, 0);
    }
};

QTEST_MAIN(LinkPreviewCacheTest)
#include "tst_linkpreviewcache.moc"
