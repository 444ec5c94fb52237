// Memory after link previews of 500 distinct links, each with a 512 x 512 preview image, served
// by a local web server. Two runs, each in a process of its own so neither inherits the other's
// heap: the cache holding every result (as it did before its bound), and the cache as the
// program runs it, within its byte bound and told after every copy which links the 200-entry
// history still holds. Prints the resident memory of each and their ratio.

#include "../tests/common/HttpServer.h"
#include "Measure.h"
#include "capture/LinkPreviewCache.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImage>
#include <QProcess>
#include <QSet>

#include <cstdio>
#include <limits>

namespace {

constexpr int kLinks = 500;
constexpr int kHistory = 200;

QByteArray pngOfShade(int i)
{
    QImage image(512, 512, QImage::Format_RGB32);
    image.fill(qRgb(i % 256, (i * 7) % 256, (i * 13) % 256));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

// One run: returns resident kB after all the fetches.
int run(bool bounded)
{
    TestHttpServer server;
    LinkPreviewCache cache(std::chrono::seconds(10),
                           nullptr,
                           bounded ? LinkPreviewCache::kImageCacheBytes
                                   : std::numeric_limits<qsizetype>::max());
    QList<QString> recent;
    int images = 0;
    for (int i = 0; i < kLinks; ++i) {
        const QString page = QStringLiteral("/p%1.html").arg(i);
        const QString image = QStringLiteral("/p%1.png").arg(i);
        server.route(page,
                     TestHttpServer::Response::html("<title>Page</title><meta property=og:image "
                                                    "content="
                                                    + image.toUtf8() + ">"));
        server.route(image, TestHttpServer::Response::image(pngOfShade(i)));
        const QUrl url = server.url(page);
        bool done = false;
        cache.fetch(url, [&](const LinkPreviewCache::Entry &entry) {
            done = true;
            images += entry.image.isNull() ? 0 : 1;
        });
        while (!done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (bounded) {
            // What the overlay's model does on every change of the store.
            recent.append(LinkPreviewCache::key(url));
            if (recent.size() > kHistory)
                recent.removeFirst();
            cache.keepOnly(QSet<QString>(recent.cbegin(), recent.cend()));
        }
    }
    if (images != kLinks)
        qFatal("only %d of %d previews had their image", images, kLinks);
    std::printf("%lld %lld\n", bench::statusKb("VmRSS"), qint64(cache.cachedImageBytes() / 1024));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 2)
        return run(QByteArray(argv[1]) == "bounded");

    auto measure = [&](const char *mode) {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(mode)});
        if (!child.waitForFinished(300'000) || child.exitCode() != 0)
            qFatal("the %s run failed: %s", mode, child.readAllStandardError().constData());
        const QList<QByteArray> fields = child.readAllStandardOutput().trimmed().split(' ');
        return std::pair(fields.value(0).toLongLong(), fields.value(1).toLongLong());
    };
    const auto [unboundedRss, unboundedImages] = measure("unbounded");
    const auto [boundedRss, boundedImages] = measure("bounded");
    std::printf("link previews of %d distinct links, 512x512 images:\n", kLinks);
    std::printf("  every result kept:  RSS %6.1f MB, images %6.1f MB\n",
                unboundedRss / 1024.0,
                unboundedImages / 1024.0);
    std::printf("  bounded cache:      RSS %6.1f MB, images %6.1f MB (bound %lld MB)\n",
                boundedRss / 1024.0,
                boundedImages / 1024.0,
                qint64(LinkPreviewCache::kImageCacheBytes / 1024 / 1024));
    std::printf("  ratio bounded / every result kept: %.2f\n",
                double(boundedRss) / double(unboundedRss));
    return 0;
}
