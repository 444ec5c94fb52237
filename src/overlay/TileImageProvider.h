#pragma once

#include <QByteArray>
#include <QCache>
#include <QHash>
#include <QImage>
#include <QMutex>
#include <QQuickAsyncImageProvider>
#include <QSet>
#include <QThreadPool>

#include <memory>

// The images tiles draw, as the model hands them over: encoded bytes of image items by item id
// and decoded link preview images by link key. Shared between the main thread, which fills it,
// and the image loader threads, which read it.
class TileImageSource
{
public:
    void setItemImages(QHash<QString, QByteArray> bytesById);
    void setLinkImage(const QString &key, const QImage &image);
    // Lets go of the link images whose keys are not given.
    void keepLinkImages(const QSet<QString> &keys);
    QByteArray itemImage(const QString &id) const;
    // Moves whenever images may have gone.
    quint64 version() const;
    // Whether the image an id of the provider ("item/<id>/<radius>") stands for is still here.
    bool holds(const QString &imageId) const;
    QImage linkImage(const QString &key) const;

private:
    mutable QMutex m_mutex;
    QHash<QString, QByteArray> m_itemImages;
    QHash<QString, QImage> m_linkImages;
    quint64 m_version = 0;
};

// Serves "image://tiles/...":
//   item/<id>/<radius>             an image item's bytes, decoded at the requested size
//   link/<token>/<radius>          a link preview image, top corners rounded
// Decoding runs on the provider's own threads, never on the main thread; results are cropped
// to fill the requested size with rounded corners baked in, and kept in a cache bounded by
// their size in bytes.
class TileImageProvider : public QQuickAsyncImageProvider
{
public:
    static constexpr qsizetype kDefaultCacheBytes = 16 * 1024 * 1024;

    explicit TileImageProvider(std::shared_ptr<TileImageSource> source,
                               qsizetype cacheBytes = kDefaultCacheBytes);
    ~TileImageProvider() override;

    QQuickImageResponse *requestImageResponse(const QString &id,
                                              const QSize &requestedSize) override;

    // The image an id stands for, made on the calling thread; null when it cannot be made.
    QImage render(const QString &id, const QSize &requestedSize);
    qsizetype cachedBytes() const;

private:
    std::shared_ptr<TileImageSource> m_source;
    QThreadPool m_pool;
    mutable QMutex m_cacheMutex;
    QCache<QString, QImage> m_cache;
    quint64 m_prunedVersion = 0;
};
