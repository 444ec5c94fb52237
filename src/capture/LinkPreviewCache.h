#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>

class QNetworkAccessManager;

// Fetches, once per URL, the title, preview image and host of a web link so that link tiles can
// show a card. Results, failures included, stay in memory while their link is in the history or
// a category (keepOnly()), and the images among them within kImageCacheBytes: beyond it the
// least recently used entry with an image goes, and is fetched again if asked for. Only
// http and https are fetched; the page head is read from at most kMaxPageBytes of HTML, an image
// from at most kMaxImageBytes, and the whole fetch (page and image) is given up after the
// timeout. Main thread only: fetching runs on Qt's network thread, parsing and decoding on the
// global thread pool, and completions come back to the main thread.
class LinkPreviewCache : public QObject
{
    Q_OBJECT

public:
    struct Entry
    {
        // The page's title; absent when the fetch failed or the page has none.
        std::optional<QString> title;
        // The page's preview image, else its icon; null when neither loads.
        QImage image;
        // The URL's host; the whole URL when it has no host.
        QString host;
        // True for every entry the cache produces: a finished fetch that found nothing, as
        // opposed to one not done yet.
        bool fetched = true;

        friend bool operator==(const Entry &, const Entry &) = default;
    };
    using Completion = std::function<void(const Entry &)>;

    static constexpr std::chrono::milliseconds kDefaultTimeout{5000};
    static constexpr qint64 kMaxPageBytes = 1024 * 1024;
    static constexpr qint64 kMaxImageBytes = 5 * 1024 * 1024;
    static constexpr int kMaxRedirects = 5;
    // Preview and icon candidates tried, in order, before giving up on an image.
    static constexpr int kMaxImageAttempts = 4;
    // Images are kept scaled down to fit this square: a tile is a few hundred pixels wide.
    static constexpr int kMaxImageSide = 512;
    // What the kept images may take in memory together (decoded, at most 1 MB each).
    static constexpr qsizetype kImageCacheBytes = 32 * 1024 * 1024;

    explicit LinkPreviewCache(std::chrono::milliseconds timeout = kDefaultTimeout,
                              QObject *parent = nullptr,
                              qsizetype imageCacheBytes = kImageCacheBytes);
    ~LinkPreviewCache() override;

    // The process-wide instance, made on first use. Tests may install their own.
    static LinkPreviewCache &shared();
    static void setShared(LinkPreviewCache *cache);

    // The cache key: the URL's full string as given, without normalisation (a trailing slash
    // makes a different key).
    static QString key(const QUrl &url);

    std::optional<Entry> cached(const QUrl &url) const;
    // Starts a fetch unless one for the same key is under way; then this call is dropped on
    // purpose: its completion never runs, and the caller finds the first caller's result with
    // cached() later. A URL already cached is answered from memory without fetching again.
    // The completion always runs later, never from inside this call.
    void fetch(const QUrl &url, Completion completion);
    bool isFetching(const QUrl &url) const;

    // Drops the entries of every link whose key is not given: links no longer in the history
    // or any category. Fetches under way are left to finish.
    void keepOnly(const QSet<QString> &keys);
    qsizetype cachedImageBytes() const { return m_imageBytes; }
    qsizetype cachedEntries() const { return m_cache.size(); }

    std::chrono::milliseconds timeout() const { return m_timeout; }
    // Applies to fetches started afterwards.
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

private:
    class Fetch;
    struct Slot
    {
        Entry entry;
        // When it was last asked for: the least recent image goes first.
        quint64 lastUse = 0;
    };

    void finish(Fetch *fetch, const Entry &entry);
    void trimImages(const QString &keep);

    std::chrono::milliseconds m_timeout;
    QNetworkAccessManager *m_network;
    const qsizetype m_imageCacheBytes;
    qsizetype m_imageBytes = 0;
    mutable quint64 m_uses = 0;
    mutable QHash<QString, Slot> m_cache;
    QHash<QString, Fetch *> m_inflight;
};
