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

        // A broken server leaves the host alone.
        QTest::newRow("never answers") << Routes{{"/", Response::silent()}} << Title() << none << 0;
        QTest::newRow("trickles bytes forever")
            << Routes{{"/", Response::trickle()}} << Title() << none << 0;
        QTest::newRow("50 MB page, title in the first megabyte")
            << Routes{{"/", huge(Response::html("<html><head><title>Big</title><script>"))}}
            << Title("Big") << none << 0;
        const Response page = Response::html("<title>T</title><meta property=og:image content=/x>");
        QTest::newRow("50 MB image, size not announced")
            << Routes{{"/", page}, {"/x", huge(red, false)}} << Title("T") << none << 0;

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

    void localFilesAreNeverRead()
    {
        const QUrl url(QStringLiteral("file:///etc/hostname"));
        const Entry entry = fetched(url);
        QCOMPARE(entry, (Entry{std::nullopt, QImage(), url.toString(), true}));
        QCOMPARE(m_cache->cached(url), entry);
    }

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
        QTest::addColumn<Title>("title");
        QTest::addColumn<Urls>("images");

        QTest::newRow("only web addresses, each once")
            << QByteArray("<meta property=og:image content=\"javascript:alert(1)\">"
                          "<meta property=og:image content=\"file:///etc/passwd\">"
                          "<meta property=og:image content=b.png><meta name=twitter:image "
                          "content=https://example.org/blog/b.png>")
            << Title() << urls({"https://example.org/blog/b.png"});

        // Parsing costs the square of the nesting depth: a megabyte of opening tags would take
        // minutes. Only the head is parsed, so what comes after the body begins is not seen.
        QByteArray nested = "<title>Real</title>";
        for (int i = 0; i < 200'000; ++i)
            nested += "<div>";
        nested += "<meta property=og:image content=/deep.png>";
        QTest::newRow("200000 nested elements") << nested << Title("Real") << Urls();
    }
    void parse()
    {
        QFETCH(QByteArray, html);
        QFETCH(Title, title);
        QFETCH(Urls, images);
        const PageHead head = parsePageHead(html, kPage, {});
        QCOMPARE(head.title, title);
        QCOMPARE(head.previewImages, images);
        QVERIFY(head.icons.isEmpty());
    }
};

QTEST_MAIN(LinkPreviewCacheTest)
#include "tst_linkpreviewcache.moc"
