#include "TileImageProvider.h"

#include <QBuffer>
#include <QImageReader>
#include <QMutexLocker>
#include <QPainter>
#include <QPainterPath>
#include <QQuickTextureFactory>
#include <QRunnable>
#include <QUrl>

#include <algorithm>

namespace {

// Without a requested size, thumbnails are kept no larger than this square.
constexpr int kMaxSide = 1024;

QSize fillSize(const QSize &image, const QSize &requested)
{
    if (!requested.isValid() || requested.isEmpty())
        return image.scaled(QSize(kMaxSide, kMaxSide), Qt::KeepAspectRatio).boundedTo(image);
    return image.scaled(requested, Qt::KeepAspectRatioByExpanding);
}

// Crops the centre of image to target and rounds the corners (all four, or only the top two).
QImage roundedCrop(const QImage &image, const QSize &target, double radius, bool topOnly)
{
    QImage out(target, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QPointF origin((target.width() - image.width()) / 2.0,
                         (target.height() - image.height()) / 2.0);
    QBrush brush(image);
    brush.setTransform(QTransform::fromTranslate(origin.x(), origin.y()));
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    const QRectF rect(QPointF(0, 0), target);
    if (radius <= 0) {
        painter.drawRect(rect);
    } else if (topOnly) {
        QPainterPath path;
        path.addRoundedRect(rect.adjusted(0, 0, 0, radius), radius, radius);
        painter.setClipRect(rect);
        painter.drawPath(path);
    } else {
        painter.drawRoundedRect(rect, radius, radius);
    }
    return out;
}

// A crop that would cut away more than this share of the picture's width or height hides what
// it shows (a label near its edge, the words of a screenshot): such a picture is fitted whole.
constexpr double kMostCropped = 0.12;

bool fitsByCropping(const QSize &image, const QSize &target)
{
    if (image.isEmpty() || target.isEmpty())
        return true;
    const double imageRatio = double(image.width()) / image.height();
    const double targetRatio = double(target.width()) / target.height();
    return 1.0 - std::min(imageRatio / targetRatio, targetRatio / imageRatio) <= kMostCropped;
}

// The whole picture inside target, centred; the bands beside it continue its edge rows (or
// columns), dimmed, so the tile keeps its size and never shows flat letterbox bars.
QImage fittedOnBackdrop(const QImage &image, const QSize &target)
{
    const QSize fitted = image.size().scaled(target, Qt::KeepAspectRatio);
    const QRectF place(QPointF((target.width() - fitted.width()) / 2.0,
                               (target.height() - fitted.height()) / 2.0),
                       fitted);
    QImage out(target, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::black);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const int w = image.width();
    const int h = image.height();
    if (fitted.width() < target.width()) {
        painter.drawImage(QRectF(0, 0, place.left(), target.height()), image, QRectF(0, 0, 1, h));
        painter.drawImage(QRectF(place.right(), 0, target.width() - place.right(), target.height()),
                          image,
                          QRectF(w - 1, 0, 1, h));
    } else {
        painter.drawImage(QRectF(0, 0, target.width(), place.top()), image, QRectF(0, 0, w, 1));
        painter.drawImage(QRectF(0, place.bottom(), target.width(), target.height() - place.bottom()),
                          image,
                          QRectF(0, h - 1, w, 1));
    }
    painter.fillRect(out.rect(), QColor(0, 0, 0, 110));
    painter.drawImage(place, image);
    return out;
}

QImage decodeScaled(const QByteArray &bytes, const QSize &requested)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize full = reader.size();
    if (full.isValid() && !full.isEmpty()) {
        const QSize wanted = fillSize(full, requested);
        // Decoders that can, decode straight at the smaller size.
        if (wanted.width() < full.width())
            reader.setScaledSize(wanted);
    }
    QImage image = reader.read();
    if (image.isNull())
        return {};
    const QSize wanted = fillSize(image.size(), requested);
    if (image.size() != wanted)
        image = image.scaled(wanted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return image;
}

class Response : public QQuickImageResponse
{
public:
    QQuickTextureFactory *textureFactory() const override
    {
        return QQuickTextureFactory::textureFactoryForImage(m_image);
    }
    QString errorString() const override { return m_error; }
    void finish(const QImage &image)
    {
        m_image = image;
        if (image.isNull())
            m_error = QStringLiteral("image could not be made");
        // Queued: the loader connects to finished() only after this object is returned.
        QMetaObject::invokeMethod(this, &QQuickImageResponse::finished, Qt::QueuedConnection);
    }

private:
    QImage m_image;
    QString m_error;
};

} // namespace

void TileImageSource::setItemImages(QHash<QString, QByteArray> bytesById)
{
    QMutexLocker lock(&m_mutex);
    m_itemImages = std::move(bytesById);
    ++m_version;
}

void TileImageSource::setLinkImage(const QString &key, const QImage &image)
{
    QMutexLocker lock(&m_mutex);
    m_linkImages.insert(key, image);
}

void TileImageSource::keepLinkImages(const QSet<QString> &keys)
{
    QMutexLocker lock(&m_mutex);
    if (m_linkImages.removeIf([&](const auto &it) { return !keys.contains(it.key()); }) > 0)
        ++m_version;
}

quint64 TileImageSource::version() const
{
    QMutexLocker lock(&m_mutex);
    return m_version;
}

bool TileImageSource::holds(const QString &imageId) const
{
    const QStringList parts = imageId.split(u'/');
    if (parts.size() != 3)
        return false;
    QMutexLocker lock(&m_mutex);
    if (parts[0] == u"item")
        return m_itemImages.contains(parts[1]);
    return parts[0] == u"link"
           && m_linkImages.contains(QUrl::fromPercentEncoding(parts[1].toUtf8()));
}

QByteArray TileImageSource::itemImage(const QString &id) const
{
    QMutexLocker lock(&m_mutex);
    return m_itemImages.value(id);
}

QImage TileImageSource::linkImage(const QString &key) const
{
    QMutexLocker lock(&m_mutex);
    return m_linkImages.value(key);
}

TileImageProvider::TileImageProvider(std::shared_ptr<TileImageSource> source, qsizetype cacheBytes)
    : m_source(std::move(source))
{
    Q_ASSERT(m_source);
    m_pool.setMaxThreadCount(2);
    m_cache.setMaxCost(cacheBytes);
}

TileImageProvider::~TileImageProvider()
{
    m_pool.clear();
    m_pool.waitForDone();
}

qsizetype TileImageProvider::cachedBytes() const
{
    QMutexLocker lock(&m_cacheMutex);
    return m_cache.totalCost();
}

QImage TileImageProvider::render(const QString &id, const QSize &requestedSize)
{
    const QString cacheKey = id + u'@' + QString::number(requestedSize.width()) + u'x'
                             + QString::number(requestedSize.height());
    {
        QMutexLocker lock(&m_cacheMutex);
        // Tiles of clips the store no longer holds go as soon as the store has changed,
        // rather than when the cache's bound pushes them out.
        if (const quint64 version = m_source->version(); version != m_prunedVersion) {
            m_prunedVersion = version;
            const QList<QString> keys = m_cache.keys();
            for (const QString &key : keys) {
                if (!m_source->holds(key.left(key.lastIndexOf(u'@'))))
                    m_cache.remove(key);
            }
        }
        if (const QImage *hit = m_cache.object(cacheKey))
            return *hit;
    }

    const QStringList parts = id.split(u'/');
    QImage result;
    if (parts.size() == 3 && (parts[0] == u"item" || parts[0] == u"link")) {
        const double radius = parts[2].toDouble();
        QImage decoded;
        if (parts[0] == u"item") {
            const QByteArray bytes = m_source->itemImage(parts[1]);
            if (!bytes.isEmpty()) {
                decoded = decodeScaled(bytes, requestedSize);
                // Pictures far from the tile's shape are shown whole rather than cropped.
                if (!decoded.isNull() && requestedSize.isValid() && !requestedSize.isEmpty()
                    && !fitsByCropping(decoded.size(), requestedSize))
                    decoded = fittedOnBackdrop(decoded, requestedSize);
            }
        } else {
            const QImage full = m_source->linkImage(QUrl::fromPercentEncoding(parts[1].toUtf8()));
            if (!full.isNull())
                decoded = full.scaled(fillSize(full.size(), requestedSize),
                                      Qt::IgnoreAspectRatio,
                                      Qt::SmoothTransformation);
        }
        if (!decoded.isNull()) {
            const QSize target = requestedSize.isValid() && !requestedSize.isEmpty()
                                     ? requestedSize
                                     : decoded.size();
            result = roundedCrop(decoded, target, radius, parts[0] == u"link");
        }
    }
    if (!result.isNull()) {
        QMutexLocker lock(&m_cacheMutex);
        m_cache.insert(cacheKey, new QImage(result), result.sizeInBytes());
    }
    return result;
}

QQuickImageResponse *TileImageProvider::requestImageResponse(const QString &id,
                                                             const QSize &requestedSize)
{
    // The engine deletes a response only after its finished(), cancelled or not, so the job
    // may hold it until then.
    auto *response = new Response;
    m_pool.start([this, response, id, requestedSize] {
        // Made even when cancelled: the engine may hand this response's result to a newer
        // request for the same image, which must not see an error.
        response->finish(render(id, requestedSize));
    });
    return response;
}
