#include "ClipItem.h"

#include "LinkDetector.h"

#include <QHashFunctions>

QString clipKindRawValue(ClipKind kind)
{
    switch (kind) {
    case ClipKind::Text:
        return QStringLiteral("text");
    case ClipKind::Image:
        return QStringLiteral("image");
    }
    Q_UNREACHABLE();
}

std::optional<ClipKind> clipKindFromRawValue(QStringView raw)
{
    if (raw == u"text")
        return ClipKind::Text;
    if (raw == u"image")
        return ClipKind::Image;
    return std::nullopt;
}

ClipItem ClipItem::makeText(const QString &text, Timestamp createdAt)
{
    ClipItem item;
    item.id = QUuid::createUuid();
    item.kind = ClipKind::Text;
    item.text = text;
    item.createdAt = createdAt;
    return item;
}

ClipItem ClipItem::makeImage(const QByteArray &png, Timestamp createdAt)
{
    ClipItem item;
    item.id = QUuid::createUuid();
    item.kind = ClipKind::Image;
    item.imageData = png;
    item.createdAt = createdAt;
    return item;
}

QString ClipItem::preview() const
{
    if (kind == ClipKind::Image)
        return QStringLiteral("Image");
    return text.value_or(QString()).trimmed();
}

QImage ClipItem::image() const
{
    if (!imageData || imageData->isEmpty())
        return {};
    return QImage::fromData(*imageData);
}

bool ClipItem::sameContent(const ClipItem &other) const
{
    return kind == other.kind && text == other.text && imageData == other.imageData;
}

std::optional<QUrl> ClipItem::detectedURL() const
{
    if (kind == ClipKind::Image || !text)
        return std::nullopt;
    return detectWholeTextLink(text->trimmed());
}

std::optional<QColor> ClipItem::detectedHexColor() const
{
    if (kind == ClipKind::Image || !text)
        return std::nullopt;
    return parseHexColor(text->trimmed());
}

std::optional<QColor> parseHexColor(QStringView text)
{
    text = text.trimmed();
    if (text.startsWith(u'#'))
        text = text.mid(1);
    const qsizetype n = text.size();
    if (n != 3 && n != 4 && n != 6 && n != 8)
        return std::nullopt;
    for (QChar c : text) {
        const char16_t u = c.unicode();
        const bool hex = (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
        if (!hex)
            return std::nullopt;
    }
    QString digits;
    if (n == 3 || n == 4) {
        for (QChar c : text)
            digits += QString(2, c);
        if (n == 3)
            digits += QStringLiteral("ff");
    } else {
        digits = text.toString();
        if (n == 6)
            digits += QStringLiteral("ff");
    }
    bool ok = false;
    const quint32 rgba = digits.toUInt(&ok, 16);
    Q_ASSERT(ok);
    return QColor::fromRgbF(float((rgba >> 24) & 0xff) / 255.0f,
                            float((rgba >> 16) & 0xff) / 255.0f,
                            float((rgba >> 8) & 0xff) / 255.0f,
                            float(rgba & 0xff) / 255.0f);
}

size_t qHash(const ClipItem &item, size_t seed) noexcept
{
    QtPrivate::QHashCombine combine;
    seed = combine(seed, item.id);
    seed = combine(seed, int(item.kind));
    seed = combine(seed, item.text.value_or(QString()));
    seed = combine(seed, item.imageData.value_or(QByteArray()));
    seed = combine(seed, item.createdAt);
    if (item.flavors) {
        for (auto it = item.flavors->cbegin(); it != item.flavors->cend(); ++it) {
            seed = combine(seed, it.key());
            seed = combine(seed, it.value());
        }
    }
    seed = combine(seed, item.ocrText.value_or(QString()));
    return seed;
}
