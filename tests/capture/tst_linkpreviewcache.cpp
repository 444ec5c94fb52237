#include "capture/LinkPreviewCache.h"
#include "capture/PageHead.h"
#include "common/HttpServer.h"
#include "common/Images.h"

#include <QTest>

#include <memory>

using Entry = LinkPreviewCache::Entry;
using Response = TestHttpServer::Response;
using Routes = QList<QPair<QString, Response>>;
using Title = std::optional<QString>;
using Urls = QList<QUrl>;
Q_DECLARE_METATYPE(Routes)

using namespace std::chrono_literals;

namespace {

constexpr int kWaitMs = 20'000;
constexpr qint64 kMegabyte = 1024 * 1024;
const QUrl kPage(QStringLiteral("https://example.org/blog/post.html"));

Urls urls(const QStringList &strings)
{
    Urls out;
    for (const QString &string : strings)
        out.append(QUrl(string));
    return out;
}

// What became of one fetch() call.
struct Delivery
{
    int calls = 0;
    bool returned = false; // fetch() had returned when the completion ran
    bool answeredInsideCall = false;
    Entry entry;
};

// The response, going on with filler up to 50 MB.
Response huge(Response response, bool sendLength = true)
{
    response.paddedSize = 50 * kMegabyte;
    response.sendLength = sendLength;
    return response;
}

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
        // Short enough for the stalling servers, long enough for a loaded machine.
        m_cache = std::make_unique<LinkPreviewCache>(3s);
    }
    void cleanup()
    {
        m_cache.reset();
        m_server.reset();
    }

    // What the server at "/" does, and the preview that comes of it: its title and the centre
    // colour of its image.
    void preview_data()
    {
        QTest::addColumn<Routes>("routes");
        QTest::addColumn<Title>("title");
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<int>("maxRequests"); // 0: any number

        const Response red = Response::image(solidImage(Qt::red, QSize(64, 32)));
        const Response icon = Response::image(solidImage(Qt::green, QSize(16, 16)));
        const Response favicon = Response::image(solidImage(Qt::blue, QSize(32, 32), "ICO"),
                                                 "image/x-icon");
        const Response login = Response::html("<title>Sign in</title>");
        const QColor none;

        QTest::newRow("title and preview image")
            << Routes{{"/", Response::html(R"(<html><head><title>Site | Post</title>
                <meta property="og:title" content="A &quot;fine&quot;   post">
                <meta property="og:image" content="img/card.png"></head><body>...</body>)")},
                      {"/img/card.png", red}}
            << Title("A \"fine\" post") << QColor(Qt::red) << 0;
        QTest::newRow("the icon when there is no preview image")
            << Routes{{"/", Response::html("<title>T</title><link rel=icon href=/i.png>")},
                      {"/i.png", icon},
                      {"/favicon.ico", favicon}}
            << Title("T") << QColor(Qt::green) << 0;
        QTest::newRow("favicon.ico when the page names none")
            << Routes{{"/", Response::html("<title>T</title>")}, {"/favicon.ico", favicon}}
            << Title("T") << QColor(Qt::blue) << 0;
        QTest::newRow("the next candidate when the preview image is missing")
            << Routes{{"/",
                       Response::html("<meta property=og:image content=/gone.png>"
                                      "<link rel=icon href=/i.png>")},
                      {"/i.png", icon}}
            << Title() << QColor(Qt::green) << 0;
        QTest::newRow("no image at all")
            << Routes{{"/", Response::html("<meta property=og:image content=/login>")},
                      {"/login", login}}
            << Title() << none << 0;

        // A broken server leaves the host alone.
        QTest::newRow("never answers") << Routes{{"/", Response::silent()}} << Title() << none << 0;
        QTest::newRow("trickles bytes forever")
            << Routes{{"/", Response::trickle()}} << Title() << none << 0;
        QTest::newRow("50 MB page, title in the first megabyte")
            << Routes{{"/", huge(Response::html("<html><head><title>Big</title><script>"))}}
            << Title("Big") << none << 0;
        const Response page = Response::html("<title>T</title><meta property=og:image content=/x>");
        QTest::newRow("50 MB image, size announced")
            << Routes{{"/", page}, {"/x", huge(red)}} << Title("T") << none << 0;
        QTest::newRow("50 MB image, size not announced")
            << Routes{{"/", page}, {"/x", huge(red, false)}} << Title("T") << none << 0;

        // Only pages and images are read; for anything else not even the icon is asked for.
        QTest::newRow("a PDF") << Routes{{"/", Response::image("%PDF-1.4 x", "application/pdf")},
                                         {"/favicon.ico", favicon}}
                               << Title() << none << 1;
        QTest::newRow("an image is its own preview")
            << Routes{{"/", red}, {"/favicon.ico", favicon}} << Title() << QColor(Qt::red) << 1;

        // Images are found relative to where the page was, not to the link.
        QTest::newRow("redirect followed")
            << Routes{{"/", Response::redirect("/dir/a.html", 301)},
                      {"/dir/a.html",
                       Response::html(
                           "<title>Moved</title><meta property=og:image content=p.png>")},
                      {"/dir/p.png", red}}
            << Title("Moved") << QColor(Qt::red) << 3;
        const int maxRequests = LinkPreviewCache::kMaxRedirects + 1;
        QTest::newRow("redirect to a file")
            << Routes{{"/", Response::redirect("file:///etc/hostname")}} << Title() << none
            << maxRequests;
        Routes chain;
        for (int i = 0; i < 7; ++i)
            chain.append({i ? QStringLiteral("/%1").arg(i) : QStringLiteral("/"),
                          Response::redirect("/" + QByteArray::number(i + 1))});
        chain.append({"/7", Response::html("<title>End</title>")});
        QTest::newRow("endless redirect chain") << chain << Title() << none << maxRequests;
    }
    void preview()
    {
        QFETCH(Routes, routes);
        QFETCH(Title, title);
        QFETCH(QColor, colour);
        QFETCH(int, maxRequests);
        for (const auto &[path, response] : routes)
            m_server->route(path, response);

        const QUrl url = m_server->url("/");
        const Entry entry = fetched(url);
        QCOMPARE(entry.title, title);
        QCOMPARE(colourOf(entry), colour);
        QCOMPARE(entry.host, QStringLiteral("127.0.0.1"));
        QVERIFY(entry.fetched);
        if (maxRequests)
            QCOMPARE_LE(m_server->totalRequests(), maxRequests);
        // Whatever the socket buffers took, nowhere near the 50 MB offered.
        for (const auto &[path, response] : routes)
            QCOMPARE_LT(m_server->bytesSent(path), 25 * kMegabyte);

        // Successes and failures alike: one network fetch per URL for the whole process.
        QVERIFY(!m_cache->isFetching(url));
        QCOMPARE(m_cache->cached(url), entry);
        const int requests = m_server->totalRequests();
        QCOMPARE(fetched(url), entry);
        QCOMPARE(m_server->totalRequests(), requests);
    }

    // Images are kept within the cache's bound, the least recently asked for going first (and
    // fetched again when asked for later); links held nowhere any more are let go at once.
    void imagesStayWithinTheBoundLeastRecentFirst()
    {
        // 100 x 100 ARGB: 40,000 bytes each; room for three.
        const qsizetype imageBytes = 100 * 100 * 4;
        m_cache = std::make_unique<LinkPreviewCache>(3s, nullptr, 3 * imageBytes + 100);
        const QList<Qt::GlobalColor> colours{Qt::red, Qt::green, Qt::blue, Qt::yellow};
        Urls pages;
        for (int i = 0; i < colours.size(); ++i) {
            const QString page = QStringLiteral("/%1.html").arg(i);
            const QString image = QStringLiteral("/%1.png").arg(i);
            m_server->route(page,
                            Response::html("<title>T</title><meta property=og:image content="
                                           + image.toUtf8() + ">"));
            m_server->route(image, Response::image(solidImage(colours.at(i), QSize(100, 100))));
            pages.append(m_server->url(page));
        }
        for (int i = 0; i < 3; ++i)
            QCOMPARE(colourOf(fetched(pages.at(i))), QColor(colours.at(i)));
        QCOMPARE(m_cache->cachedImageBytes(), 3 * imageBytes);
        // The first is asked for again, so the second is now the least recent.
        QVERIFY(m_cache->cached(pages.at(0)));
        QCOMPARE(colourOf(fetched(pages.at(3))), QColor(colours.at(3)));
        QCOMPARE(m_cache->cachedImageBytes(), 3 * imageBytes);
        QVERIFY(m_cache->cached(pages.at(0)));
        QVERIFY(!m_cache->cached(pages.at(1)));
        QVERIFY(m_cache->cached(pages.at(2)));
        const int requests = m_server->totalRequests();
        QCOMPARE(colourOf(fetched(pages.at(1))), QColor(colours.at(1)));
        QCOMPARE_GT(m_server->totalRequests(), requests);

        m_cache->keepOnly({LinkPreviewCache::key(pages.at(1))});
        QCOMPARE(m_cache->cachedEntries(), 1);
        QCOMPARE(m_cache->cachedImageBytes(), imageBytes);
        QVERIFY(m_cache->cached(pages.at(1)));
    }

    void fetchesWebAddressesOnly_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("host");
        QTest::newRow("file") << QUrl("file:///etc/hostname") << "file:///etc/hostname";
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
    // and find the result in the cache. A trailing slash makes another link.
    void oneFetchPerUrlAtATime()
    {
        m_server->route("/a", Response::html("<title>No slash</title>"));
        m_server->route("/a/", Response::html("<title>Slash</title>"));
        const QUrl url = m_server->url("/a");
        const auto first = startFetch(url);
        const auto second = startFetch(url);
        const auto slashed = startFetch(m_server->url("/a/"));
        QVERIFY(m_cache->isFetching(url));
        QTRY_VERIFY_WITH_TIMEOUT(first->calls == 1 && slashed->calls == 1, kWaitMs);
        QTest::qWait(100);
        QCOMPARE(second->calls, 0);
        QCOMPARE(m_server->requests("/a"), 1);
        QCOMPARE(m_cache->cached(url), first->entry);
        QCOMPARE(first->entry.title, QStringLiteral("No slash"));
        QCOMPARE(slashed->entry.title, QStringLiteral("Slash"));
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

    // The page rules a served page alone does not show.
    void parse_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<QByteArray>("charset"); // from the Content-Type header
        QTest::addColumn<Title>("title");
        QTest::addColumn<Urls>("images");
        QTest::addColumn<Urls>("icons");

        const QByteArray none;
        QTest::newRow("blank og:title falls back to the title element")
            << QByteArray("<meta property=og:title content=\"  \"><title>Kept</title>") << none
            << Title("Kept") << Urls() << Urls();
        QTest::newRow("the header's charset wins over the page's")
            << QByteArray("<meta charset=\"utf-8\"><title>Caf\xe9</title>") << QByteArray("latin1")
            << Title(QStringLiteral("Caf\u00e9")) << Urls() << Urls();
        QTest::newRow("og:image before twitter:image, whatever the page order")
            << QByteArray("<meta name=twitter:image content=/t.png>"
                          "<meta property=og:image:secure_url content=//cdn.example.net/a.jpg>")
            << none << Title()
            << urls({"https://cdn.example.net/a.jpg", "https://example.org/t.png"}) << Urls();
        QTest::newRow("only web addresses, each once")
            << QByteArray("<meta property=og:image content=\"javascript:alert(1)\">"
                          "<meta property=og:image content=\"file:///etc/passwd\">"
                          "<meta property=og:image content=b.png><meta name=twitter:image "
                          "content=https://example.org/blog/b.png>")
            << none << Title() << urls({"https://example.org/blog/b.png"}) << Urls();
        QTest::newRow("touch icons first, each kind largest first")
            << QByteArray("<link rel=icon sizes=16x16 href=/16.png><link rel=icon "
                          "href=/unsized.png><link rel=icon>"
                          "<link rel=\"SHORTCUT ICON\" sizes=\"32x32 192x192\" href=/192.png>"
                          "<link rel=apple-touch-icon sizes=57x57 href=/57.png>"
                          "<link rel=apple-touch-icon sizes=180x180 href=/180.png>"
                          "<link rel=stylesheet href=/s.css><link rel=mask-icon href=/m.svg>")
            << none << Title() << Urls()
            << urls({"https://example.org/180.png",
                     "https://example.org/57.png",
                     "https://example.org/192.png",
                     "https://example.org/16.png",
                     "https://example.org/unsized.png"});

        // Parsing costs the square of the nesting depth: a megabyte of opening tags would take
        // minutes. Only the head is parsed, so what comes after the body begins is not seen.
        QByteArray nested = "<title>Real</title>";
        for (int i = 0; i < 200'000; ++i)
            nested += "<div>";
        nested += "<meta property=og:image content=/deep.png>";
        QTest::newRow("200000 nested elements")
            << nested << none << Title("Real") << Urls() << Urls();
        QTest::newRow("head closed in capitals, body tag missing")
            << QByteArray("<HEAD><META PROPERTY=og:image CONTENT=/i.png></HEAD>"
                          "<meta property=og:image content=/late.png>")
            << none << Title() << urls({"https://example.org/i.png"}) << Urls();
    }
    void parse()
    {
        QFETCH(QByteArray, html);
        QFETCH(QByteArray, charset);
        QFETCH(Title, title);
        QFETCH(Urls, images);
        QFETCH(Urls, icons);
        const PageHead head = parsePageHead(html, kPage, charset);
        QCOMPARE(head.title, title);
        QCOMPARE(head.previewImages, images);
        QCOMPARE(head.icons, icons);
    }
};

QTEST_MAIN(LinkPreviewCacheTest)
#include "tst_linkpreviewcache.moc"
