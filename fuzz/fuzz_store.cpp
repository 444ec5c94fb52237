// The store loader on arbitrary bytes: never crashes, and what it loads saves and loads again
// to the same lists.
#include "model/StoreCodec.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto salvaged = StoreCodec::salvage(bytes);
    const auto whole = StoreCodec::decode(bytes);
    if (whole && (!salvaged || !salvaged->isWhole()))
        std::abort(); // a file that decodes whole salvages whole
    if (!salvaged)
        return 0;
    const QByteArray saved = StoreCodec::encode(salvaged->disk);
    const auto again = StoreCodec::decode(saved);
    if (!again || again->history != salvaged->disk.history
        || again->categories != salvaged->disk.categories)
        std::abort();
    return 0;
}
