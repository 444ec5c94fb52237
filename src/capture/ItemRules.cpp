#include "ItemRules.h"

#include "model/TextFlavors.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QStringList>

#include <algorithm>

namespace {

QByteArray encodePng(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image))
        return {};
    return png;
}

ClipItem withFlavors(ClipItem item, const Flavors &flavors)
{
    item.flavors = flavors;
    return item;
}

} // namespace

namespace ItemRules {

std::optional<ClipItem> itemFromFlavors(const Flavors &flavors)
{
    if (flavors.isEmpty() || isConcealed(flavors))
        return std::nullopt;

    if (const auto png = flavors.constFind(kPngType); png != flavors.cend())
        return withFlavors(ClipItem::makeImage(*png), flavors);

    // TIFF first, then any other image type the image plugins can read, in name order.
    QStringList imageTypes;
    if (flavors.contains(kTiffType))
        imageTypes.append(kTiffType);
    for (auto it = flavors.cbegin(); it != flavors.cend(); ++it) {
        if (it.key().startsWith(u"image/") && it.key() != kTiffType)
            imageTypes.append(it.key());
    }
    for (const QString &type : std::as_const(imageTypes)) {
        const QImage image = QImage::fromData(flavors.value(type));
        if (image.isNull())
            continue;
        const QByteArray png = encodePng(image);
        if (png.isEmpty())
            continue;
        Flavors withPng = flavors;
        withPng.insert(kPngType, png);
        return withFlavors(ClipItem::makeImage(png), withPng);
    }

    if (const std::optional<QString> text = TextFlavors::plainText(flavors);
        text && !text->trimmed().isEmpty()) {
        return withFlavors(ClipItem::makeText(*text), flavors);
    }

    return withFlavors(ClipItem::makeText(formatsLabel(flavors)), flavors);
}

QString formatsLabel(const Flavors &flavors)
{
    const qsizetype count = flavors.size();
    const QStringList smallest = flavors.keys().mid(0, 2);
    const QString noun = count == 1 ? QStringLiteral("format") : QStringLiteral("formats");
    return QStringLiteral("[%1 %2]  %3")
        .arg(QString::number(count), noun, smallest.join(QStringLiteral(", ")));
}

bool isConcealed(const Flavors &flavors)
{
    const auto hint = flavors.constFind(kPasswordManagerHintType);
    return hint != flavors.cend() && hint->trimmed() == "secret";
}

bool isBlank(const Flavors &flavors)
{
    return std::all_of(flavors.cbegin(), flavors.cend(), [](const QByteArray &bytes) {
        return bytes.trimmed().isEmpty();
    });
}

} // namespace ItemRules
