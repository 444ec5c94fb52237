#pragma once

#include "Category.h"
#include "ClipItem.h"
#include "JsonWriter.h"

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
// The same text in pieces, never whole in memory: a store of large images is saved without a
// second copy of it. False when the sink refused a piece.
bool encode(const Disk &disk, const JsonWriter::Sink &sink);

// What a damaged file still holds: every entry and category that parses, and a count of the
// entries that did not (a category that does not parse counts with its entries).
struct Salvage
{
    Disk disk;
    int unreadableEntries = 0;
    int unreadableCategories = 0;
    bool isWhole() const { return unreadableEntries == 0 && unreadableCategories == 0; }
};

// Fails as a whole when any required key is missing or any value is malformed. Identical
// byte payloads (an image, its PNG flavor, its copies in categories) share one buffer.
std::optional<Disk> decode(QByteArrayView json);
// Keeps what parses. Fails only when the text is not JSON or its root is not an object.
std::optional<Salvage> salvage(QByteArrayView json);

// The canonical upper-case 8-4-4-4-12 form.
QString uuidString(const QUuid &id);

} // namespace StoreCodec
