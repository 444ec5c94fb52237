#include "StoreCodec.h"

#include "JsonReader.h"
#include "JsonWriter.h"

#include <QSet>

#include <string_view>
#include <unordered_map>

namespace StoreCodec {

namespace {

qsizetype estimatedSize(const ClipItem &item)
{
    qsizetype size = 200 + item.text.value_or(QString()).size() * 2
                     + item.ocrText.value_or(QString()).size() * 2;
    if (item.imageData)
        size += JsonWriter::base64Size(item.imageData->size());
    if (item.flavors) {
        for (auto it = item.flavors->cbegin(); it != item.flavors->cend(); ++it)
            size += it.key().size() + 8 + JsonWriter::base64Size(it.value().size());
    }
    return size;
}

void writeItem(JsonWriter &w, const ClipItem &item)
{
    w.beginObject();
    w.key(u"id");
    w.string(uuidString(item.id));
    w.key(u"kind");
    w.string(clipKindRawValue(item.kind));
    if (item.text) {
        w.key(u"text");
        w.string(*item.text);
    }
    if (item.imageData) {
        w.key(u"imageData");
        w.base64(*item.imageData);
    }
    w.key(u"createdAt");
    w.number(item.createdAt.secondsSinceReferenceDate);
    if (item.flavors) {
        w.key(u"flavors");
        w.beginObject();
        for (auto it = item.flavors->cbegin(); it != item.flavors->cend(); ++it) {
            w.key(it.key());
            w.base64(it.value());
        }
        w.endObject();
    }
    if (item.ocrText) {
        w.key(u"ocrText");
        w.string(*item.ocrText);
    }
    w.endObject();
}

class Decoder
{
public:
    // Keeps the items that parse; false when the value is not an array at all.
    bool items(const Json::Value *array, QList<ClipItem> &out, int &unreadable)
    {
        if (!array || !array->isArray())
            return false;
        out.reserve(qsizetype(array->elements().size()));
        for (const Json::Value &element : array->elements()) {
            std::optional<ClipItem> item = this->item(element);
            if (item)
                out.append(std::move(*item));
            else
                ++unreadable;
        }
        return true;
    }

    std::optional<Category> category(const Json::Value &v, int &unreadable)
    {
        if (!v.isObject())
            return std::nullopt;
        const auto id = uuid(v.member("id"));
        const Json::Value *name = v.member("name");
        if (!id || !name || !name->isString())
            return std::nullopt;
        Category category;
        category.id = *id;
        const auto nameText = name->toString();
        if (!nameText)
            return std::nullopt;
        category.name = *nameText;
        if (!items(v.member("items"), category.items, unreadable))
            return std::nullopt;
        return category;
    }

    // The entries a category that cannot be used takes with it.
    static int entriesIn(const Json::Value &category)
    {
        const Json::Value *items = category.isObject() ? category.member("items") : nullptr;
        return items && items->isArray() ? int(items->elements().size()) : 0;
    }

private:
    static bool absent(const Json::Value *v) { return !v || v->isNull(); }

    static std::optional<QUuid> uuid(const Json::Value *v)
    {
        if (!v || !v->isString() || v->stringHasEscapes() || v->rawString().size() != 36)
            return std::nullopt;
        const std::string_view raw = v->rawString();
        const QUuid id = QUuid::fromString(QLatin1StringView(raw.data(), qsizetype(raw.size())));
        if (id.isNull() && raw != "00000000-0000-0000-0000-000000000000")
            return std::nullopt;
        return id;
    }

    // Decodes a Base64 string once per distinct text; equal payloads share the buffer.
    std::optional<QByteArray> bytes(const Json::Value &v)
    {
        if (!v.isString())
            return std::nullopt;
        const std::string_view raw = v.rawString();
        if (const auto seen = m_decoded.find(raw); seen != m_decoded.end())
            return seen->second;
        const QByteArray encoded = v.stringHasEscapes()
                                       ? v.stringBytes()
                                       : QByteArray::fromRawData(raw.data(), qsizetype(raw.size()));
        auto result = QByteArray::fromBase64Encoding(encoded,
                                                     QByteArray::AbortOnBase64DecodingErrors);
        if (!result)
            return std::nullopt;
        QByteArray decoded = std::move(result.decoded);
        decoded.squeeze();
        m_decoded.emplace(raw, decoded);
        return decoded;
    }

    static std::optional<QString> optionalString(const Json::Value *v, bool &ok)
    {
        if (absent(v))
            return std::nullopt;
        if (!v->isString()) {
            ok = false;
            return std::nullopt;
        }
        auto text = v->toString();
        if (!text)
            ok = false;
        return text;
    }

    std::optional<ClipItem> item(const Json::Value &v)
    {
        if (!v.isObject())
            return std::nullopt;
        ClipItem item;
        const auto id = uuid(v.member("id"));
        if (!id)
            return std::nullopt;
        item.id = *id;

        const Json::Value *kind = v.member("kind");
        if (!kind || !kind->isString())
            return std::nullopt;
        const auto kindText = kind->toString();
        const auto parsedKind = kindText ? clipKindFromRawValue(*kindText) : std::nullopt;
        if (!parsedKind)
            return std::nullopt;
        item.kind = *parsedKind;

        const Json::Value *createdAt = v.member("createdAt");
        if (!createdAt || !createdAt->isNumber())
            return std::nullopt;
        item.createdAt = Timestamp{createdAt->toNumber()};

        bool ok = true;
        item.text = optionalString(v.member("text"), ok);
        item.ocrText = optionalString(v.member("ocrText"), ok);
        if (!ok)
            return std::nullopt;

        if (const Json::Value *image = v.member("imageData"); !absent(image)) {
            item.imageData = bytes(*image);
            if (!item.imageData)
                return std::nullopt;
        }

        if (const Json::Value *flavors = v.member("flavors"); !absent(flavors)) {
            if (!flavors->isObject())
                return std::nullopt;
            Flavors map;
            for (const auto &[type, value] : flavors->members()) {
                const auto typeName = type.toString();
                auto data = bytes(value);
                if (!typeName || !data)
                    return std::nullopt;
                map.insert(*typeName, *data);
            }
            item.flavors = std::move(map);
        }
        return item;
    }

    std::unordered_map<std::string_view, QByteArray> m_decoded;
};

// Everything in the program finds entries by id, so a file edited by hand that repeats one
// would have a delete or a paste reach the wrong entry. Each later holder of a repeated id
// gets a fresh one; its content is kept.
void makeIdsUnique(Disk &disk)
{
    QSet<QUuid> seen;
    const auto claim = [&seen](QUuid &id) {
        if (seen.contains(id))
            id = QUuid::createUuid();
        seen.insert(id);
    };
    for (ClipItem &item : disk.history)
        claim(item.id);
    QSet<QUuid> categoryIds;
    for (Category &category : disk.categories) {
        if (categoryIds.contains(category.id))
            category.id = QUuid::createUuid();
        categoryIds.insert(category.id);
        for (ClipItem &item : category.items)
            claim(item.id);
    }
}

} // namespace

QString uuidString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

namespace {

void writeDisk(JsonWriter &w, const Disk &disk)
{
    w.beginObject();
    w.key(u"history");
    w.beginArray();
    for (const ClipItem &item : disk.history)
        writeItem(w, item);
    w.endArray();
    w.key(u"categories");
    w.beginArray();
    for (const Category &category : disk.categories) {
        w.beginObject();
        w.key(u"id");
        w.string(uuidString(category.id));
        w.key(u"name");
        w.string(category.name);
        w.key(u"items");
        w.beginArray();
        for (const ClipItem &item : category.items)
            writeItem(w, item);
        w.endArray();
        w.endObject();
    }
    w.endArray();
    w.endObject();
}

} // namespace

QByteArray encode(const Disk &disk)
{
    qsizetype expected = 64;
    for (const ClipItem &item : disk.history)
        expected += estimatedSize(item);
    for (const Category &category : disk.categories) {
        expected += 100 + category.name.size() * 2;
        for (const ClipItem &item : category.items)
            expected += estimatedSize(item);
    }
    JsonWriter w(expected);
    writeDisk(w, disk);
    return w.take();
}

bool encode(const Disk &disk, const JsonWriter::Sink &sink)
{
    JsonWriter w(sink);
    writeDisk(w, disk);
    return w.finish();
}

std::optional<Salvage> salvage(QByteArrayView json)
{
    const auto root = Json::parse(std::string_view(json.data(), size_t(json.size())));
    if (!root || !root->isObject())
        return std::nullopt;
    Salvage result;
    Decoder decoder;
    const Json::Value *history = root->member("history");
    if (!decoder.items(history, result.disk.history, result.unreadableEntries) && history)
        ++result.unreadableEntries;
    const Json::Value *categories = root->member("categories");
    if (!categories || !categories->isArray()) {
        result.unreadableCategories += categories ? 1 : 0;
    } else {
        for (const Json::Value &element : categories->elements()) {
            int unreadable = 0;
            if (auto category = decoder.category(element, unreadable)) {
                result.disk.categories.append(std::move(*category));
                result.unreadableEntries += unreadable;
            } else {
                ++result.unreadableCategories;
                result.unreadableEntries += Decoder::entriesIn(element);
            }
        }
    }
    // Both lists are required: a file without them is not a store, whatever else it holds.
    if (!history || !categories)
        ++result.unreadableCategories;
    makeIdsUnique(result.disk);
    return result;
}

std::optional<Disk> decode(QByteArrayView json)
{
    auto result = salvage(json);
    if (!result || !result->isWhole())
        return std::nullopt;
    return std::move(result->disk);
}

} // namespace StoreCodec
