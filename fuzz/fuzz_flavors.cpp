// The item rules on what clipboard owners supply: the input is split into typed flavors, each
// "type NUL length(2 bytes, little-endian) bytes" (the last one takes what is left when the
// length runs past the end). Never crashes; a PNG flavor is kept byte-exact; a text item is
// never blank; COMPOUND_TEXT that decodes survives its own encoding.
#include "capture/ItemRules.h"
#include "model/TextFlavors.h"

#include <cstdint>
#include <cstdlib>

namespace {

Flavors splitFlavors(const QByteArray &input)
{
    Flavors flavors;
    qsizetype at = 0;
    while (at < input.size()) {
        const qsizetype end = input.indexOf('\0', at);
        if (end < 0)
            break;
        const QString type = QString::fromUtf8(input.mid(at, end - at));
        at = end + 1;
        qsizetype length = input.size() - at;
        if (at + 2 <= input.size()) {
            length = uchar(input.at(at)) | (qsizetype(uchar(input.at(at + 1))) << 8);
            at += 2;
            length = std::min(length, input.size() - at);
        }
        flavors.insert(type, input.mid(at, length));
        at += length;
    }
    return flavors;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const Flavors flavors = splitFlavors(input);

    const std::optional<ClipItem> item = ItemRules::itemFromFlavors(flavors);
    if (flavors.isEmpty() || ItemRules::isConcealed(flavors)) {
        if (item)
            std::abort(); // nothing is made of no flavors or a password manager's copy
        return 0;
    }
    if (!item || !item->flavors)
        std::abort();
    if (const auto png = flavors.constFind(ItemRules::kPngType); png != flavors.cend()) {
        if (!item->imageData || *item->imageData != *png)
            std::abort();
    }
    if (!item->imageData && (!item->text || item->text->trimmed().isEmpty()))
        std::abort();

    for (const QByteArray &bytes : flavors) {
        if (const auto text = TextFlavors::decodeCompoundText(bytes)) {
            const auto again = TextFlavors::decodeCompoundText(
                TextFlavors::encodeCompoundText(*text));
            if (!again || *again != *text)
                std::abort();
        }
    }
    if (const auto text = TextFlavors::plainText(flavors)) {
        for (const QString &type : TextFlavors::kServedTypes) {
            TextFlavors::bytesFor(type, *text);
            TextFlavors::replyType(type, *text);
        }
    }
    return 0;
}
