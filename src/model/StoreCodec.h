#pragma once

#include "Category.h"
#include "ClipItem.h"

#include <QByteArray>
#include <QList>

#include <optional>

// The "store.json" format: {"history":[item...],"categories":[{"id","name","items"}...]}.
// Items: "id" (upper-case UUID), "kind", "createdAt" (seconds since 2001-01-01 UTC) required;
// "text", "imageData" (Base64), "flavors" (type -> Base64), "ocrText" optional and omitted when
// absent. Unknown keys are ignored; null reads as absent.
namespace StoreCodec {

struct Disk
{
    QList<ClipItem> history;
    QList<Category> categories;
};

QByteArray encode(const Disk &disk);

// Fails as a whole when any required key is missing or any value is malformed. Identical
// byte payloads (an image, its PNG flavor, its copies in categories) share one buffer.
std::optional<Disk> decode(QByteArrayView json);

// The canonical upper-case 8-4-4-4-12 form.
QString uuidString(const QUuid &id);

} // namespace StoreCodec
