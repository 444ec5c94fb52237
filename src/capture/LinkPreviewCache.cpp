#include "LinkPreviewCache.h"

#include "PageHead.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFutureWatcher>
#include <QImageReader>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace {

// Large enough for any sane preview; a decompression bomb stops here before it is decoded.
constexpr qint64 kMaxImagePixels = 25'000'000;
// How far the network layer may read ahead of us.
constexpr qint64 kReadBufferBytes = 64 * 1024;
const QByteArray kUserAgent = QByteArrayLiteral(
    "Mozilla/5.0 (X11; Linux x86_64) Cliphaven/" CLIPHAVEN_VERSION);

LinkPreviewCache *g_shared = nullptr;

bool isWebUrl(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty()
           && (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"));
}

QString hostOf(const QUrl &url)
{
    return url.host().isEmpty() ? url.toString() : url.host();
}

// The media type of a Content-Type header, lower case, without parameters; empty when none.
QByteArray mediaType(const QByteArray &contentType)
{
    return contentType.split(';').constFirst().trimmed().toLower();
}

QByteArray charsetParameter(const QByteArray &contentType)
{
    const QList<QByteArray> parts = contentType.split(';');
    for (qsizetype i = 1; i < parts.size(); ++i) {
        const QByteArray part = parts.at(i).trimmed();
        if (part.toLower().startsWith("charset="))
            return part.mid(8).trimmed().replace('"', QByteArray()).replace('\'', QByteArray());
    }
    return {};
}

bool isHtmlType(const QByteArray &type)
{
    return type == "text/html" || type == "application/xhtml+xml";
}

// Decodes a preview image or icon, scaled down to fit a tile. Runs on a pool thread.
QImage decodePreviewImage(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    // An .ico file holds several sizes; the largest makes the best card.
    if (reader.imageCount() > 1 && reader.format() == "ico") {
        int largest = 0;
        qint64 largestArea = -1;
        for (int i = 0; i < reader.imageCount() && reader.jumpToImage(i); ++i) {
            const QSize size = reader.size();
            if (qint64(size.width()) * size.height() > largestArea) {
                largestArea = qint64(size.width()) * size.height();
                largest = i;
            }
        }
        reader.jumpToImage(largest);
    }
    const QSize size = reader.size();
    if (size.isValid()) {
        if (qint64(size.width()) * size.height() > kMaxImagePixels)
            return {};
        const int side = LinkPreviewCache::kMaxImageSide;
        if (size.width() > side || size.height() > side)
            reader.setScaledSize(size.scaled(side, side, Qt::KeepAspectRatio));
    }
    QImage image = reader.read();
    if (image.isNull())
        return {};
    const int side = LinkPreviewCache::kMaxImageSide;
    if (image.width() > side || image.height() > side)
        image = image.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

} // namespace

// One URL's way from request to entry: the page (redirects followed), its head parsed, then
// the preview image candidates in order until one decodes, all under one deadline.
class LinkPreviewCache::Fetch : public QObject
{
public:
    Fetch(LinkPreviewCache *cache,
          QNetworkAccessManager *network,
          const QUrl &url,
          Completion completion,
          std::chrono::milliseconds timeout)
        : QObject(cache)
        , m_cache(cache)
        , m_network(network)
        , m_url(url)
        , m_key(LinkPreviewCache::key(url))
        , m_completion(std::move(completion))
    {
        m_deadline.setSingleShot(true);
        m_deadline.setTimerType(Qt::PreciseTimer);
        m_deadline.setInterval(timeout);
        connect(&m_deadline, &QTimer::timeout, this, [this] {
            // Out of time while reading the page: nothing is known. While loading an image:
            // the title is.
            give(m_stage == Stage::Page || m_stage == Stage::Parsing ? hostOnly() : withTitle());
        });
    }

    const QString &key() const { return m_key; }
    Completion takeCompletion() { return std::exchange(m_completion, nullptr); }

    void start()
    {
        m_deadline.start();
        if (!isWebUrl(m_url)) {
            QTimer::singleShot(0, this, [this] { give(hostOnly()); });
            return;
        }
        get(m_url, kMaxPageBytes);
    }

private:
    enum class Stage { Page, Parsing, Image, Decoding };

    Entry hostOnly() const { return Entry{std::nullopt, QImage(), hostOf(m_url), true}; }
    Entry withTitle(const QImage &image = QImage()) const
    {
        return Entry{m_title, image, hostOf(m_url), true};
    }

    void get(const QUrl &url, qint64 limit)
    {
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                             QNetworkRequest::NoLessSafeRedirectPolicy);
        request.setMaximumRedirectsAllowed(kMaxRedirects);
        request.setHeader(QNetworkRequest::UserAgentHeader, kUserAgent);
        request.setRawHeader("Accept",
                             m_stage == Stage::Page
                                 ? QByteArrayLiteral("text/html,application/xhtml+xml,*/*;q=0.8")
                                 : QByteArrayLiteral("image/*,*/*;q=0.8"));
        m_body.clear();
        m_limit = limit;
        m_verdict = Verdict::Unchecked;
        m_reply = m_network->get(request);
        m_reply->setParent(this);
        m_reply->setReadBufferSize(kReadBufferBytes);
        connect(m_reply, &QNetworkReply::readyRead, this, &Fetch::onReadyRead);
        connect(m_reply, &QNetworkReply::finished, this, &Fetch::onFinished);
    }

    enum class Verdict { Unchecked, Read, Refuse, AwaitError };

    // First look at the response, once it has headers: is it worth reading on?
    Verdict judgeResponse()
    {
        // An error status ends in an error anyway. Aborting such a reply from its readyRead
        // makes Qt warn about reporting an error twice, so it is left to finish (bounded by
        // the deadline), its body unread.
        const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (status >= 400)
            return Verdict::AwaitError;
        const QByteArray contentType = m_reply->header(QNetworkRequest::ContentTypeHeader)
                                           .toByteArray();
        const QByteArray type = mediaType(contentType);
        if (m_stage == Stage::Page) {
            m_pageUrl = m_reply->url();
            m_charset = charsetParameter(contentType);
            // A link straight to an image is its own preview.
            m_pageIsImage = type.startsWith("image/");
            if (m_pageIsImage)
                m_limit = kMaxImageBytes;
            else if (!type.isEmpty() && !isHtmlType(type))
                return Verdict::Refuse;
        } else if (isHtmlType(type)) {
            return Verdict::Refuse; // an image address answered with a page (a login wall)
        }
        const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
        if (readingImage() && length.isValid() && length.toLongLong() > m_limit)
            return Verdict::Refuse;
        return Verdict::Read;
    }

    bool readingImage() const { return m_stage == Stage::Image || m_pageIsImage; }

    void onReadyRead()
    {
        if (m_verdict == Verdict::Unchecked)
            m_verdict = judgeResponse();
        if (m_verdict == Verdict::AwaitError) {
            m_reply->skip(m_reply->bytesAvailable());
            return;
        }
        if (m_verdict == Verdict::Refuse) {
            stopReading();
            failed();
            return;
        }
        const qsizetype scannedBefore = m_body.size();
        m_body += m_reply->readAll();
        if (m_body.size() > m_limit) {
            stopReading();
            if (readingImage()) {
                failed();
            } else {
                // The head is what matters, and it comes first: parse what fits.
                m_body.truncate(m_limit);
                pageRead();
            }
            return;
        }
        if (!readingImage() && headEnded(scannedBefore)) {
            stopReading();
            pageRead();
        }
    }

    // Whether "</head" arrived in the bytes read since `from` (with room for a split tag).
    bool headEnded(qsizetype from) const
    {
        static const QByteArray kHeadEnd = QByteArrayLiteral("</head");
        const qsizetype start = std::max<qsizetype>(0, from - kHeadEnd.size());
        return m_body.mid(start).toLower().contains(kHeadEnd);
    }

    void onFinished()
    {
        if (m_verdict == Verdict::Unchecked)
            m_verdict = judgeResponse();
        const bool ok = m_reply->error() == QNetworkReply::NoError && m_verdict == Verdict::Read;
        if (ok)
            m_body += m_reply->readAll();
        stopReading();
        if (!ok || (readingImage() && m_body.size() > m_limit)) {
            failed();
            return;
        }
        m_body.truncate(std::min<qsizetype>(m_body.size(), m_limit));
        if (m_stage == Stage::Page)
            pageRead();
        else
            decodeImage();
    }

    void stopReading()
    {
        if (!m_reply)
            return;
        QNetworkReply *reply = std::exchange(m_reply, nullptr);
        reply->disconnect(this);
        if (!reply->isFinished())
            reply->abort();
        reply->deleteLater();
    }

    void failed()
    {
        if (m_stage == Stage::Page)
            give(hostOnly());
        else
            tryNextImage();
    }

    void pageRead()
    {
        if (m_pageIsImage) {
            decodeImage();
            return;
        }
        m_stage = Stage::Parsing;
        auto *watcher = new QFutureWatcher<PageHead>(this);
        connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
            watcher->deleteLater();
            parsed(watcher->result());
        });
        watcher->setFuture(QtConcurrent::run(parsePageHead, m_body, m_pageUrl, m_charset));
        m_body.clear();
    }

    void parsed(const PageHead &head)
    {
        m_title = head.title;
        m_candidates = head.previewImages + head.icons;
        const QUrl favicon = m_pageUrl.resolved(QUrl(QStringLiteral("/favicon.ico")));
        if (!m_candidates.contains(favicon))
            m_candidates.append(favicon);
        m_stage = Stage::Image;
        tryNextImage();
    }

    void tryNextImage()
    {
        if (m_candidates.isEmpty() || m_attempts >= kMaxImageAttempts) {
            give(withTitle());
            return;
        }
        ++m_attempts;
        m_stage = Stage::Image;
        get(m_candidates.takeFirst(), kMaxImageBytes);
    }

    void decodeImage()
    {
        m_stage = Stage::Decoding;
        auto *watcher = new QFutureWatcher<QImage>(this);
        connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
            watcher->deleteLater();
            const QImage image = watcher->result();
            if (!image.isNull())
                give(withTitle(image));
            else if (m_pageIsImage)
                give(withTitle());
            else
                tryNextImage();
        });
        watcher->setFuture(QtConcurrent::run(decodePreviewImage, std::exchange(m_body, {})));
    }

    void give(const Entry &entry)
    {
        if (m_done)
            return;
        m_done = true;
        m_deadline.stop();
        stopReading();
        m_cache->finish(this, entry);
    }

    LinkPreviewCache *m_cache;
    QNetworkAccessManager *m_network;
    QUrl m_url;
    QString m_key;
    Completion m_completion;
    QTimer m_deadline;
    Stage m_stage = Stage::Page;
    bool m_done = false;

    // The response being read.
    QNetworkReply *m_reply = nullptr;
    QByteArray m_body;
    qint64 m_limit = 0;
    Verdict m_verdict = Verdict::Unchecked;

    // What the page gave.
    QUrl m_pageUrl;
    QByteArray m_charset;
    bool m_pageIsImage = false;
    std::optional<QString> m_title;
    QList<QUrl> m_candidates;
    int m_attempts = 0;
};

LinkPreviewCache::LinkPreviewCache(std::chrono::milliseconds timeout,
                                   QObject *parent,
                                   qsizetype imageCacheBytes)
    : QObject(parent)
    , m_timeout(timeout)
    , m_network(new QNetworkAccessManager(this))
    , m_imageCacheBytes(imageCacheBytes)
{
    Q_ASSERT(timeout.count() > 0);
    // Redirects are followed per request (bounded, never from https down to http).
    m_network->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
}

LinkPreviewCache::~LinkPreviewCache()
{
    // Fetches own their replies; they go before the network manager does.
    qDeleteAll(m_inflight);
    m_inflight.clear();
    if (g_shared == this)
        g_shared = nullptr;
}

LinkPreviewCache &LinkPreviewCache::shared()
{
    if (!g_shared) {
        // Parented to the application, so it is gone before Qt's network layer is.
        g_shared = new LinkPreviewCache(kDefaultTimeout, QCoreApplication::instance());
    }
    return *g_shared;
}

void LinkPreviewCache::setShared(LinkPreviewCache *cache)
{
    g_shared = cache;
}

QString LinkPreviewCache::key(const QUrl &url)
{
    return url.toString(QUrl::FullyEncoded);
}

std::optional<LinkPreviewCache::Entry> LinkPreviewCache::cached(const QUrl &url) const
{
    const auto it = m_cache.find(key(url));
    if (it == m_cache.end())
        return std::nullopt;
    it->lastUse = ++m_uses;
    return it->entry;
}

void LinkPreviewCache::keepOnly(const QSet<QString> &keys)
{
    for (auto it = m_cache.begin(); it != m_cache.end();) {
        if (keys.contains(it.key())) {
            ++it;
            continue;
        }
        m_imageBytes -= it->entry.image.sizeInBytes();
        it = m_cache.erase(it);
    }
}

void LinkPreviewCache::trimImages(const QString &keep)
{
    while (m_imageBytes > m_imageCacheBytes) {
        auto oldest = m_cache.end();
        for (auto it = m_cache.begin(); it != m_cache.end(); ++it) {
            if (!it->entry.image.isNull() && it.key() != keep
                && (oldest == m_cache.end() || it->lastUse < oldest->lastUse))
                oldest = it;
        }
        if (oldest == m_cache.end())
            return;
        m_imageBytes -= oldest->entry.image.sizeInBytes();
        m_cache.erase(oldest);
    }
}

bool LinkPreviewCache::isFetching(const QUrl &url) const
{
    return m_inflight.contains(key(url));
}

void LinkPreviewCache::fetch(const QUrl &url, Completion completion)
{
    Q_ASSERT(completion);
    const QString k = key(url);
    if (m_inflight.contains(k))
        return;
    if (const auto hit = m_cache.find(k); hit != m_cache.end()) {
        hit->lastUse = ++m_uses;
        QMetaObject::invokeMethod(
            this, [completion, entry = hit->entry] { completion(entry); }, Qt::QueuedConnection);
        return;
    }
    auto *fetch = new Fetch(this, m_network, url, std::move(completion), m_timeout);
    m_inflight.insert(k, fetch);
    fetch->start();
}

void LinkPreviewCache::finish(Fetch *fetch, const Entry &entry)
{
    m_inflight.remove(fetch->key());
    if (const auto old = m_cache.constFind(fetch->key()); old != m_cache.cend())
        m_imageBytes -= old->entry.image.sizeInBytes();
    m_cache.insert(fetch->key(), Slot{entry, ++m_uses});
    m_imageBytes += entry.image.sizeInBytes();
    trimImages(fetch->key());
    const Completion completion = fetch->takeCompletion();
    fetch->deleteLater();
    if (completion)
        completion(entry);
}
